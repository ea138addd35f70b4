#pragma once

#include <QObject>

class QSocketNotifier;

namespace slidebox::app {

/// Turns SIGTERM and SIGINT into a normal quit of the Qt application, so
/// that the will-terminate notification runs and everything is saved. The
/// signal handler only writes a byte into a pipe; the event loop reads it
/// through a socket notifier and ends the event loop.
///
/// One per process; the handlers are put back to the defaults when it ends.
class QuitSignalHandler : public QObject {
    Q_OBJECT
public:
    explicit QuitSignalHandler(QObject* parent = nullptr);
    ~QuitSignalHandler() override;

    /// False when the pipe or the handlers could not be set up.
    bool isActive() const { return notifier_ != nullptr; }

private:
    void readSignal();
    QSocketNotifier* notifier_ = nullptr;
};

} // namespace slidebox::app
