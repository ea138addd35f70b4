#pragma once

#include <memory>
#include <string>

#include <QImage>
#include <QObject>
#include <QUrl>

class QAction;
class QButtonGroup;
class QMainWindow;
class QMenuBar;
class QPushButton;
class QWidget;

namespace Ui {
class AppDelegate;
}

namespace slidebox::app {

class AppContext;
class UIController;

/// User default of the window kind; its registered default is 0.
extern const std::string viewerWindowKind; // "AM_viewerWindowKind"

/// Where the application's own logic begins: builds the UIController of the
/// stored window kind when launching has finished, replaces it when the user
/// picks another kind, owns the small icon, and answers the menu: the
/// preferences, help and about windows and the maker's web page.
///
/// One per process (sharedDelegate() finds it). Owns the controller and the
/// windows of the main interface file; the context must outlive it.
class AppDelegate : public QObject {
    Q_OBJECT
  public:
    /// Registers the default window kind, loads the main interface file and
    /// the small icon. No controller yet.
    explicit AppDelegate(AppContext& context);
    ~AppDelegate() override;
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;

    /// The living delegate, or nullptr.
    static AppDelegate* sharedDelegate();

    /// Reads the kind, shows it in the preferences and builds the controller.
    void applicationDidFinishLaunching();
    /// Saves the current controller's state (if any), then builds and
    /// activates a controller of the kind.
    void newUIControllerWithWindowKind(int kind);
    /// Makes the controller current (the old one ends here) and only then
    /// tells it activateWindow, so that its window finds it.
    void setUIController(std::unique_ptr<UIController> controller);
    UIController* uiController() const { return uiController_.get(); }

    /// Stores the sender's selected row as the kind and rebuilds the
    /// controller, also for the kind already in use. The new main window
    /// comes up above the delegate's other windows.
    void changePrefs(QButtonGroup* sender);
    /// From the preferences window's button ("Done"): closes that window and
    /// brings the main window forward (not in the status item kind). From
    /// anything else: centres and shows the preferences, above the main
    /// window.
    void userPrefs(QObject* sender);
    void showHelp(QObject* sender);
    void showAbout(QObject* sender);
    /// Opens softwares.html of the configured server in the browser.
    void goToHomePage(QObject* sender);
    static QUrl homePageUrl();

    /// The small icon; null when its picture could not be loaded. Not owned
    /// by the caller.
    const QImage& iPhotoIcon() const { return iPhotoIcon_; }
    /// The icon from "SmallFilmStrip.tif" of the resources.
    void createAppIcon();
    /// The photo application's own icon, when that application is found;
    /// an empty icon otherwise.
    void findiPhotoIcon();

    /// Puts the menus of the main interface file into a window's menu bar.
    void addMenusTo(QMenuBar* menuBar) const;

    // Outlets: windows and controls of the main interface file.
    QWidget* preferencesWindow() const { return preferencesWindow_; }
    QWidget* helpWindow() const { return helpWindow_; }
    QWidget* aboutWindow() const { return aboutWindow_; }
    QButtonGroup* windowKindMatrix() const;
    QPushButton* preferencesButton() const;
    QAction* preferencesAction() const;
    QAction* helpAction() const;
    QAction* aboutAction() const;
    QAction* homePageAction() const;
    QAction* quitAction() const;

  private:
    QWidget* makeWindow(QWidget* pane, const QString& title);
    static void center(QWidget* window);
    /// Floats the window when the main window floats, so that it opens
    /// above it, and lets it down to the normal level otherwise.
    void keepAboveMainWindow(QWidget* window) const;
    static void bringToFront(QWidget* window);

    AppContext& context_;
    QImage iPhotoIcon_;
    std::unique_ptr<UIController> uiController_;
    std::unique_ptr<QMainWindow> mainInterface_;
    std::unique_ptr<Ui::AppDelegate> ui_;
    QWidget* preferencesWindow_ = nullptr; // children of mainInterface_
    QWidget* helpWindow_ = nullptr;
    QWidget* aboutWindow_ = nullptr;
};

} // namespace slidebox::app
