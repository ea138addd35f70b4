#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QImage>
#include <QObject>
#include <QRect>

#include "app/rect_geometry.h"
#include "draw/image_adaptation.h"
#include "library/iphoto_album_manager.h"
#include "platform/notification_center.h"

class QDialog;
class QLabel;
class QLineEdit;
class QPushButton;
class QStatusBar;
class QTimer;

namespace Ui {
class UIController;
}

namespace slidebox::app {

class AlbumViewer;
class AppContext;
class LibraryTableView;
class PhotoManagerTableModel;
class StatusItem;
class UIWindow;

/// User-defaults keys of the library list, the selection and the window.
extern const std::string photoAlbumDictionariesKey;         // "AM_photoAlbumDictionaries"
extern const std::string viewerCurrentPhotoManagerIndexKey; // "AM_viewerCurrentPhotoManagerIndex"
extern const std::string viewerCurrentPhotoIndexKey;        // "AM_viewerCurrentPhotoIndex"
extern const std::string firstStartDone;                    // "AM_firstStartDone"
extern const std::string viewerFrameAutoSaveName;           // "AM_viewerFrameAutoSaveName"

/// The application's driver: the main window of one window kind with the
/// ordered list of known photo libraries, its persistence in the user
/// defaults, the road from a row to the photo application running on that
/// library, and adding, creating and removing libraries.
///
/// Owned by the application delegate (or a test). Owns the list (one
/// reference per record) and the window; the window is built at the first
/// call of window(). Main thread only.
class UIController : public QObject {
    Q_OBJECT
  public:
    /// initWithWindowKind: no window yet. Marks the very first start of the
    /// application (and stores that it happened) when the user defaults
    /// don't know it yet. The context must outlive the controller.
    UIController(int windowKind, AppContext& context);
    ~UIController() override;

    /// Brings everything up: window, frame autosave, showing by kind, the
    /// list and the selection, notifications, table, status item, tool tips.
    void activateWindow();
    int windowKind() const { return windowKind_; }
    bool firstStart() const { return firstStart_; }
    /// The main window, loaded from the interface file at the first call.
    UIWindow* window();

    // --- the list and its persistence ---------------------------------------
    void registerForNotifications();
    void unregisterForNotifications();
    /// Loads the list and restores the selection and the image on show.
    void getDefaults();
    /// Fills the list from the stored dictionaries, or by a search of the
    /// Pictures folder when they give no record.
    void getAlbums();
    /// Saves the list, the image index and the selected row.
    void registerDefaults();
    /// Asks for registerDefaults() listSaveDelayMs after the last change of
    /// the list, so that a program that ends without quitting (a lost
    /// display, a crash) loses at most that last moment.
    void listDidChange();
    static constexpr int listSaveDelayMs = 500;
    void applicationWillTerminateNotification();
    void libraryModificationNotification(const void* object);

    int numberOfPhotoManager() const { return static_cast<int>(listOfPhotoManager_.size()); }
    /// The table's selected row; -1 when none.
    int currentPhotoManagerIndex() const;
    /// The record at the index; nullptr for any index outside the list.
    PhotoManagerPtr photoManagerAtIndex(int index) const;
    /// Position by identity; -1 when the record is not in the list.
    int indexOfPhotoManager(const iPhotoAlbumManager* photoManager) const;
    void addPhotoManagerToList(PhotoManagerPtr photoManager);
    void removePhotoManagerAtIndex(int index);
    void removePhotoManagerFromList(const iPhotoAlbumManager* photoManager);
    /// Exact string comparison with each record's path.
    bool isAlbumPathAlreadyInList(const std::filesystem::path& path) const;
    /// Selects that row alone and scrolls to it; no row of the list: nothing.
    void selectPhotoManagerRow(int row);

    // --- switching the photo application ------------------------------------
    void tableViewSelectionDidChange();
    void selectPhotoManager(QObject* sender);
    /// Puts the record (nullptr allowed) into the viewer. With the Control
    /// key down in the current event, the record being left first takes the
    /// image on show as its default image.
    void setPhotoManagerToViewer(PhotoManagerPtr photoManager);
    void enableiPhotoLaunch();
    void doubleClickOnCell();
    void launch();
    void launchiPhoto(QObject* sender);
    /// Switches the photo application to the viewer's library; with test,
    /// only when the folder is a library now.
    void launchiPhotoWithTestOfAlbum(bool test);
    /// Returns at once; the switch runs 0.2 s later on its own thread.
    void switchAlbum(const std::filesystem::path& path);

    // --- adding, creating, removing ------------------------------------------
    void newPhotoManager(QObject* sender);
    /// Adds the libraries found in the folders (asks for folders when none
    /// are given); without test each folder is taken as it is.
    void newPhotoManagerWithPaths(const std::optional<std::vector<std::filesystem::path>>& paths,
                                  bool testiPhotoLibrary);
    /// Creates a new empty folder under Pictures and starts the photo
    /// application on it.
    void launchiPhotoWithNewAlbum(QObject* sender);
    /// A button of the name dialog ends it with its tag; anything else runs it.
    void chooseLibraryName(QObject* sender);
    /// After the question, takes the selected library off the list.
    void deletePhotoManager(QObject* sender);
    /// Rescans the library on show.
    void updatePhotoManager(QObject* sender);
    /// The tag of the button that closed the name dialog (0 cancels).
    int libraryNameDialogChoice() const { return libraryNameDialogChoice_; }
    /// Why the text can't name the new library's folder (empty, "." or "..",
    /// a "/" or a NUL, longer than a file name may be); nothing when it can.
    static std::optional<QString> libraryNameRefusal(const QString& name);

    /// A short message in the main window's status line that goes away by
    /// itself, for outcomes that have no alert; the log gets it too.
    void showStatusMessage(const QString& text);
    static constexpr int statusMessageTimeoutMs = 8000;

    // --- the window ------------------------------------------------------------
    /// Shows the window in the manner of the kind: in the status item kind
    /// it slides down from above the top edge of the available area and
    /// returns when it has arrived.
    void showWindow(QObject* sender);
    /// Hides the window in the manner of the kind: in the status item kind
    /// it slides up first, and the Alt key held then quits the application.
    void hideWindow(QObject* sender);
    /// Puts the status item (tray icon, else the handle) on the screen; with
    /// no application delegate there is none.
    void activateStatusItem();
    /// A click on the status item: toggles the window by its visibility.
    void statusItemAction();
    /// The status item's picture: the delegate's icon at 16 pixels.
    QImage statusItemImage() const;
    /// The status item of the status item kind; in the other kinds, the one
    /// that stands in while the window is away after a drop at the top edge.
    StatusItem* statusItem() const { return statusItem_.get(); }
    void otherInit();
    void configurePhotoManagersTableView();
    int numberOfRowsInTableView() const { return numberOfPhotoManager(); }
    /// The row's picture: the library's default image in a copy of the film
    /// strip. The plain film strip when the library has no image.
    QImage tableViewObjectValue(int row) const;
    void setNameOfSelectedAlbumField();
    void setNumberOfAlbumField();

    /// Fits the source into the destination, keeping its proportions,
    /// centred, 2 points clear on each side along the limiting axis.
    static RectF adaptRect(const RectF& source, const RectF& destination) {
        return draw::adaptRect(source, destination);
    }
    /// The frame of the film strip picture that takes the thumbnail.
    static constexpr RectF filmStripThumbnailFrame{12.0f, 6.0f, 60.0f, 72.0f};

    // --- outlets (widgets of the interface file, owned by the window) --------
    AlbumViewer* albumViewer() const;
    LibraryTableView* photoManagersTableView() const;
    QPushButton* iPhotoButton() const;
    QPushButton* iPhotoNewAlbumButton() const;
    QPushButton* deleteButton() const;
    QPushButton* newButton() const;
    QPushButton* hideButton() const;
    QPushButton* rescanButton() const;
    QLabel* albumNameField() const;
    QLabel* albumNumberField() const;
    QStatusBar* statusLine() const;
    QLabel* libraryNameRefusalField() const;
    QDialog* chooseLibraryNameDialog() const { return chooseLibraryNameDialog_; }
    QLineEdit* libraryNameTextField() const;
    QPushButton* libraryNameCancelButton() const;
    QPushButton* libraryNameCreateButton() const;

  private:
    void loadWindow();
    void checkLibraryName();
    /// Tells the user in the status line why a switch to the record can't
    /// run as asked; false when the switch must not start at all.
    bool checkSwitchTo(const iPhotoAlbumManager& record);
    void windowCloseRequested();
    void keepWindowReachable();
    void followPrimaryScreen();
    void reloadData();
    void scrollSelectedRowToVisible();
    const QImage& filmStrip() const;

    AppContext& context_;
    std::vector<PhotoManagerPtr> listOfPhotoManager_;
    std::unique_ptr<UIWindow> window_;
    std::unique_ptr<Ui::UIController> ui_;
    std::unique_ptr<StatusItem> statusItem_;
    QRect lastAvailableGeometry_; // the available area the window was last placed in
    QMetaObject::Connection screenConnection_;
    PhotoManagerTableModel* tableModel_ = nullptr; // child of the table
    QDialog* chooseLibraryNameDialog_ = nullptr;   // child of the window
    int windowKind_ = 0;
    bool firstStart_ = false;
    int libraryNameDialogChoice_ = 0;
    QTimer* saveTimer_ = nullptr; // child of the controller
    bool loadingList_ = false;
    mutable std::optional<QImage> filmStrip_;
    std::vector<platform::NotificationCenter::Observation> observations_;
};

} // namespace slidebox::app
