#pragma once

#include <string>

#include <QMainWindow>
#include <QTimer>

#include "app/window_geometry.h"

namespace slidebox::platform {
class UserDefaults;
}

namespace slidebox::app {

/// The main window. Its style and level come from the window kind of the
/// application delegate's current controller, not from the interface file:
/// the normal kind gives a titled window at the normal level, the status
/// item kind an untitled window that floats, every other kind a titled
/// window that floats. Every kind can become the active window.
///
/// Its background can be dragged (see WidgetDrag): a docked window, or one
/// of a titled kind, must first be pulled down more than 50 points.
class UIWindow : public QMainWindow {
    Q_OBJECT
  public:
    /// Reads the kind through AppDelegate::sharedDelegate()->uiController();
    /// a window made with no delegate (a controller used on its own) takes
    /// fallbackKind.
    explicit UIWindow(int fallbackKind);
    ~UIWindow() override;

    int windowKind() const { return windowKind_; }
    /// The window flags of a kind.
    static Qt::WindowFlags flagsForKind(int kind);
    /// Whether the kind floats above normal windows.
    static bool isFloatingKind(int kind);

    /// Keeps the window's frame in the user defaults under the name: the
    /// stored frame is applied now, and the frame is stored again a moment
    /// after each move or resize and when the window ends.
    void setFrameAutosaveName(const std::string& name, platform::UserDefaults& defaults);
    /// Whether a stored frame was applied by setFrameAutosaveName.
    bool hasRestoredFrame() const { return restoredFrame_; }

    /// Centres the window on its screen's available area.
    void center();

    /// The window's frame (title bar included) in screen points, y upwards.
    RectF frame() const;
    /// Moves the frame's lower left corner there (screen points, y upwards).
    void setFrameOrigin(PointF origin);
    /// Moves the frame there; with animate the window slides and the call
    /// returns when it has arrived. The size is the window's own.
    void setFrame(const RectF& frame, bool animate);
    /// Whether a slide is under way.
    bool isSliding() const { return sliding_; }
    /// Length of a slide, in milliseconds.
    static constexpr int slideDuration = 180;

  signals:
    /// A moved window was dropped with its top edge at or above the top of
    /// the available area.
    void droppedOnMenubar();
    /// The window manager's close button was used; the window stays until
    /// whoever listens decides.
    void closeRequested();

  protected:
    void closeEvent(QCloseEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

  private:
    void saveFrame();
    void moveWidgetWindow();

    int windowKind_ = 0;
    std::string autosaveName_;
    platform::UserDefaults* defaults_ = nullptr;
    QTimer saveTimer_;
    bool restoredFrame_ = false;
    bool wasShown_ = false; // a window never shown has no frame worth keeping
    bool sliding_ = false;
    WidgetDrag drag_;
};

} // namespace slidebox::app
