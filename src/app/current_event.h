#pragma once

#include <QEvent>
#include <QObject>

namespace slidebox::app {

/// The event the application is handling now, as far as the controller and
/// the viewer care: its type, the mouse button and the modifier keys.
///
/// Qt has no notion of a current event, so an application-wide event filter
/// records each event the event loop dispatches: input events that come from
/// the window system (or from Qt Test, which marks its events the same way),
/// timer events and queued calls. Events sent synchronously while one of
/// those is handled (paint, layout, show) leave the record alone, so a
/// button's click signal sees the mouse release that caused it.
class CurrentEvent : public QObject {
    Q_OBJECT
  public:
    /// Installs the recorder on the application object once; later calls do
    /// nothing. Needs a QCoreApplication.
    static void install();

    /// Type of the event being handled; QEvent::None before the first one.
    static QEvent::Type type();
    /// The button of a mouse event, Qt::NoButton for other events.
    static Qt::MouseButton button();
    /// The modifier keys of an input event; none for timers and queued calls.
    static Qt::KeyboardModifiers modifiers();

    /// A left mouse button released (the rate limiter lets those through).
    static bool isLeftMouseUp();
    /// The Command key of the original platform: the Control key here.
    static bool hasCommandKey();
    /// The Option key: the Alt key here.
    static bool hasOptionKey();

    /// Forgets the recorded event (tests start from no current event).
    static void clear();

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    explicit CurrentEvent(QObject* parent) : QObject(parent) {}
};

} // namespace slidebox::app
