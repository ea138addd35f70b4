#pragma once

#include <string>

#include <QMainWindow>
#include <QTimer>

namespace slidebox::platform {
class UserDefaults;
}

namespace slidebox::app {

/// The main window. Its style and level come from the window kind of the
/// application delegate's current controller, not from the interface file:
/// kind 1 is a titled window at the normal level, every other kind a titled
/// window that floats above the others. No kind has a close control.
///
/// The status item kind's untitled window that docks under the top bar and
/// its dragging are not built yet: kind 2 shows the floating titled window.
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
    static bool isFloatingKind(int kind) { return kind != 1; }

    /// Keeps the window's frame in the user defaults under the name: the
    /// stored frame is applied now, and the frame is stored again a moment
    /// after each move or resize and when the window ends.
    void setFrameAutosaveName(const std::string& name, platform::UserDefaults& defaults);
    /// Whether a stored frame was applied by setFrameAutosaveName.
    bool hasRestoredFrame() const { return restoredFrame_; }

    /// Centres the window on its screen's available area.
    void center();

protected:
    void closeEvent(QCloseEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void saveFrame();

    int windowKind_ = 0;
    std::string autosaveName_;
    platform::UserDefaults* defaults_ = nullptr;
    QTimer saveTimer_;
    bool restoredFrame_ = false;
    bool wasShown_ = false; // a window never shown has no frame worth keeping
};

} // namespace slidebox::app
