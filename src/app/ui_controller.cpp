// UIController: how it is built and brought up, and the list of libraries
// with its persistence in the user defaults.
#include "app/ui_controller.h"

#include <QCoreApplication>
#include <QDialog>
#include <QFile>
#include <QKeySequence>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QTimer>
#include <QVBoxLayout>

#include "app/album_viewer.h"
#include "app/app_context.h"
#include "app/app_notifications.h"
#include "app/current_event.h"
#include "app/library_table_view.h"
#include "app/localized.h"
#include "app/photo_manager_table_model.h"
#include "app/status_item.h"
#include "app/ui_window.h"
#include "app/window_kind.h"
#include "platform/file_system.h"
#include "ui_ui_controller.h"

namespace slidebox::app {

const std::string photoAlbumDictionariesKey = "AM_photoAlbumDictionaries";
const std::string viewerCurrentPhotoManagerIndexKey = "AM_viewerCurrentPhotoManagerIndex";
const std::string viewerCurrentPhotoIndexKey = "AM_viewerCurrentPhotoIndex";
const std::string firstStartDone = "AM_firstStartDone";
const std::string viewerFrameAutoSaveName = "AM_viewerFrameAutoSaveName";

UIController::UIController(int windowKind, AppContext& context) : context_(context) {
    CurrentEvent::install();
    // A switch that failed or was refused tells its reason in the status
    // line of whichever controller is current when it ends.
    context_.switcher().setFailureHandler([self = QPointer<UIController>(this)](
                                              const std::string& path,
                                              const platform::Status& why) {
        if (self)
            self->showStatusMessage(
                localizedString(
                    QT_TRANSLATE_NOOP("localized", "iPhoto was not switched to “%1”: %2"))
                    .arg(QFile::decodeName(path.c_str()), QString::fromStdString(why.message())));
    });
    const bool done = !context_.userDefaults().objectForKey(firstStartDone).isNull();
    listOfPhotoManager_.reserve(10);
    windowKind_ = windowKind;
    if (!done) {
        firstStart_ = true;
        context_.userDefaults().setObject(firstStartDone, true);
    }
    saveTimer_ = new QTimer(this);
    saveTimer_->setSingleShot(true);
    saveTimer_->setInterval(listSaveDelayMs);
    connect(saveTimer_, &QTimer::timeout, this, &UIController::registerDefaults);
}

UIController::~UIController() {
    saveTimer_->stop();
    unregisterForNotifications();
    statusItem_.reset();
    listOfPhotoManager_.clear();
    // The viewer lets go of its record with the window.
    window_.reset();
}

UIWindow* UIController::window() {
    if (!window_)
        loadWindow();
    return window_.get();
}

void UIController::loadWindow() {
    window_ = std::make_unique<UIWindow>(windowKind_);
    ui_ = std::make_unique<Ui::UIController>();
    ui_->setupUi(window_.get());

    // Keyboard equivalents, set after the texts: setting a button's text
    // replaces its shortcut by the text's mnemonic.
    ui_->newButton->setShortcut(QKeySequence(QStringLiteral("Ctrl+O")));
    ui_->iPhotoNewAlbumButton->setShortcut(QKeySequence(QStringLiteral("Ctrl+N")));
    ui_->rescanButton->setShortcut(QKeySequence(QStringLiteral("Ctrl+R")));
    ui_->iPhotoButton->setShortcut(QKeySequence(QStringLiteral("Ctrl+Return")));

    // The table's data source and delegate are the controller.
    tableModel_ =
        new PhotoManagerTableModel([this] { return numberOfRowsInTableView(); },
                                   [this](int row) { return tableViewObjectValue(row); },
                                   [this](int row) -> std::optional<std::filesystem::path> {
                                       const PhotoManagerPtr record = photoManagerAtIndex(row);
                                       return record ? record->albumPath() : std::nullopt;
                                   },
                                   ui_->photoManagersTableView);
    ui_->photoManagersTableView->setModel(tableModel_);
    connect(ui_->photoManagersTableView->selectionModel(), &QItemSelectionModel::selectionChanged,
            this, &UIController::tableViewSelectionDidChange);

    connect(ui_->iPhotoButton, &QPushButton::clicked, this,
            [this] { launchiPhoto(ui_->iPhotoButton); });
    connect(ui_->iPhotoNewAlbumButton, &QPushButton::clicked, this,
            [this] { launchiPhotoWithNewAlbum(ui_->iPhotoNewAlbumButton); });
    connect(ui_->newButton, &QPushButton::clicked, this,
            [this] { newPhotoManager(ui_->newButton); });
    connect(ui_->deleteButton, &QPushButton::clicked, this,
            [this] { deletePhotoManager(ui_->deleteButton); });
    connect(ui_->hideButton, &QPushButton::clicked, this, [this] { hideWindow(ui_->hideButton); });
    connect(window_.get(), &UIWindow::droppedOnMenubar, this, [this] {
        hideWindow(window_.get());
        // The other kinds have no status item of their own: while their
        // window is away one stands in, so that the window can come back.
        if (windowKind_ != statusItemWindowKind && !window_->isVisible() && !statusItem_)
            activateStatusItem();
    });
    connect(window_.get(), &UIWindow::closeRequested, this, &UIController::windowCloseRequested);
    connect(ui_->rescanButton, &QPushButton::clicked, this,
            [this] { updatePhotoManager(ui_->rescanButton); });

    // The name dialog: its controls lie in the interface file, in a pane
    // that the dialog takes over, as a window of the file carries a view.
    chooseLibraryNameDialog_ = new QDialog(window_.get());
    chooseLibraryNameDialog_->setObjectName(QStringLiteral("chooseLibraryNameDialog"));
    chooseLibraryNameDialog_->setWindowTitle(
        QCoreApplication::translate("UIController", "New Library"));
    chooseLibraryNameDialog_->setModal(true);
    auto* layout = new QVBoxLayout(chooseLibraryNameDialog_);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(ui_->chooseLibraryNamePane);
    ui_->chooseLibraryNamePane->show();
    connect(ui_->libraryNameCancelButton, &QPushButton::clicked, this,
            [this] { chooseLibraryName(ui_->libraryNameCancelButton); });
    connect(ui_->libraryNameCreateButton, &QPushButton::clicked, this,
            [this] { chooseLibraryName(ui_->libraryNameCreateButton); });
    // Escape and the window's close control cancel, like the cancel button
    // (whose own tag is stored after this).
    connect(chooseLibraryNameDialog_, &QDialog::rejected, this,
            [this] { libraryNameDialogChoice_ = 0; });
    // Only one folder name makes a library beside the others: the create
    // button waits for one and the dialog says why.
    connect(ui_->libraryNameTextField, &QLineEdit::textChanged, this,
            &UIController::checkLibraryName);
    checkLibraryName();
}

void UIController::activateWindow() {
    UIWindow* mainWindow = window();
    mainWindow->setFrameAutosaveName(viewerFrameAutoSaveName, context_.userDefaults());
    if (windowKind_ != statusItemWindowKind || firstStart_)
        showWindow(this);
    getDefaults();
    registerForNotifications();
    configurePhotoManagersTableView();
    if (windowKind_ == statusItemWindowKind)
        activateStatusItem();
    otherInit();
}

void UIController::registerForNotifications() {
    auto& center = platform::NotificationCenter::defaultCenter();
    observations_.push_back(
        center.addObserver(slidebox::app::applicationWillTerminateNotification,
                           [this](const void*) { applicationWillTerminateNotification(); }));
    observations_.push_back(
        center.addObserver(slidebox::libraryModificationNotification, [this](const void* object) {
            libraryModificationNotification(object);
        }));
}

void UIController::unregisterForNotifications() {
    observations_.clear();
}

void UIController::getDefaults() {
    window();
    ui_->deleteButton->setEnabled(false);
    // What is read back is no change to save.
    loadingList_ = true;
    getAlbums();
    loadingList_ = false;
    setNumberOfAlbumField();
    reloadData();
    const platform::UserDefaults& defaults = context_.userDefaults();
    const int row = defaults.integerForKey(viewerCurrentPhotoManagerIndexKey);
    selectPhotoManagerRow(row);
    setPhotoManagerToViewer(photoManagerAtIndex(row));
    // The image on show at the last save wins over the default image that
    // handing the record to the viewer has just put up.
    ui_->albumViewer->setCurrentPhotoIndex(defaults.integerForKey(viewerCurrentPhotoIndexKey));
    ui_->albumViewer->setSliderPosition();
}

void UIController::getAlbums() {
    const platform::PlistValue& stored =
        context_.userDefaults().objectForKey(photoAlbumDictionariesKey);
    if (const platform::PlistArray* dictionaries = stored.array()) {
        for (const platform::PlistValue& entry : *dictionaries) {
            const platform::PlistDictionary* dictionary = entry.dictionary();
            if (!dictionary)
                continue;
            if (PhotoManagerPtr record = iPhotoAlbumManager::initWithDictionary(*dictionary))
                addPhotoManagerToList(std::move(record));
        }
    }
    if (!listOfPhotoManager_.empty())
        return;
    for (const auto& path :
         iPhotoAlbumManager::iPhotoLibrariesPathsInFolder(context_.picturesFolder())) {
        if (PhotoManagerPtr record = iPhotoAlbumManager::initWithAlbumPath(path))
            addPhotoManagerToList(std::move(record));
    }
}

void UIController::registerDefaults() {
    platform::PlistArray dictionaries;
    dictionaries.reserve(10);
    for (int i = 0; PhotoManagerPtr record = photoManagerAtIndex(i); ++i) {
        if (auto dictionary = record->dictionary())
            dictionaries.emplace_back(std::move(*dictionary));
    }
    std::vector<std::pair<std::string, platform::PlistValue>> values;
    values.emplace_back(photoAlbumDictionariesKey, std::move(dictionaries));
    values.emplace_back(viewerCurrentPhotoIndexKey,
                        ui_ ? ui_->albumViewer->currentPhotoIndex() : -1);
    values.emplace_back(viewerCurrentPhotoManagerIndexKey, currentPhotoManagerIndex());
    context_.userDefaults().setObjects(std::move(values));
}

void UIController::listDidChange() {
    if (!loadingList_)
        saveTimer_->start();
}

void UIController::applicationWillTerminateNotification() {
    saveTimer_->stop();
    registerDefaults();
}

void UIController::libraryModificationNotification(const void*) {
    reloadData();
    // The record has rescanned itself: its stored images and date changed.
    listDidChange();
}

int UIController::currentPhotoManagerIndex() const {
    return ui_ ? ui_->photoManagersTableView->selectedRow() : -1;
}

PhotoManagerPtr UIController::photoManagerAtIndex(int index) const {
    if (index < 0 || index >= numberOfPhotoManager())
        return nullptr;
    return listOfPhotoManager_[static_cast<size_t>(index)];
}

int UIController::indexOfPhotoManager(const iPhotoAlbumManager* photoManager) const {
    for (size_t i = 0; i < listOfPhotoManager_.size(); ++i) {
        if (listOfPhotoManager_[i].get() == photoManager)
            return static_cast<int>(i);
    }
    return -1;
}

void UIController::addPhotoManagerToList(PhotoManagerPtr photoManager) {
    if (!photoManager)
        return;
    listOfPhotoManager_.push_back(std::move(photoManager));
    setNumberOfAlbumField();
    listDidChange();
    if (ui_)
        ui_->deleteButton->setEnabled(true);
}

void UIController::removePhotoManagerAtIndex(int index) {
    if (!photoManagerAtIndex(index))
        return;
    listOfPhotoManager_.erase(listOfPhotoManager_.begin() + index);
    setNumberOfAlbumField();
    listDidChange();
}

void UIController::removePhotoManagerFromList(const iPhotoAlbumManager* photoManager) {
    const int index = indexOfPhotoManager(photoManager);
    if (index >= 0)
        removePhotoManagerAtIndex(index);
}

bool UIController::isAlbumPathAlreadyInList(const std::filesystem::path& path) const {
    for (const PhotoManagerPtr& record : listOfPhotoManager_) {
        if (record->albumPath() && record->albumPath()->native() == path.native())
            return true;
    }
    return false;
}

void UIController::selectPhotoManagerRow(int row) {
    if (!photoManagerAtIndex(row) || !ui_)
        return;
    // A row appended since the last reload is known to the table first.
    tableModel_->noteNumberOfRowsChanged();
    ui_->photoManagersTableView->selectRow(row);
    scrollSelectedRowToVisible();
}

void UIController::reloadData() {
    if (tableModel_)
        tableModel_->reloadData();
}

void UIController::scrollSelectedRowToVisible() {
    if (!ui_)
        return;
    const int row = ui_->photoManagersTableView->selectedRow();
    if (row >= 0)
        ui_->photoManagersTableView->scrollTo(tableModel_->index(row, 0));
}

} // namespace slidebox::app
