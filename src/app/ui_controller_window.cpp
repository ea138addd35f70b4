// UIController: the window side, that is showing and hiding by kind, the
// status item, tool tips, the table's pictures, the name and count fields.
#include "app/ui_controller.h"

#include <QApplication>
#include <QFile>
#include <QGuiApplication>
#include <QHeaderView>
#include <QPainter>
#include <QPushButton>
#include <QScreen>

#include "app/album_viewer.h"
#include "app/app_context.h"
#include "app/app_delegate.h"
#include "app/current_event.h"
#include "app/library_table_view.h"
#include "app/localized.h"
#include "app/status_item.h"
#include "app/ui_window.h"
#include "app/window_geometry.h"
#include "app/window_kind.h"
#include "draw/image_adaptation.h"
#include "ui_ui_controller.h"

namespace slidebox::app {

void UIController::showWindow(QObject*) {
    UIWindow* mainWindow = window();
    if (windowKind_ == statusItemWindowKind) {
        if (mainWindow->isSliding())
            return;
        // From just above the top edge of the available area down under it.
        const ScreenFrames screen = mainScreenFrames();
        const RectF current = mainWindow->frame();
        const RectF parked =
            statusItemHiddenFrame(screen.visibleFrame, current.width, current.height);
        mainWindow->setFrameOrigin({parked.x, parked.y});
        mainWindow->show();
        mainWindow->raise();
        mainWindow->activateWindow();
        mainWindow->setFrame(
            statusItemShownFrame(screen.visibleFrame, current.width, current.height), true);
        if (QScreen* primary = QGuiApplication::primaryScreen())
            lastAvailableGeometry_ = primary->availableGeometry();
        if (statusItem_ && statusItem_->handle())
            statusItem_->handle()->raise();
        return;
    }
    // The hide button serves the status item kind only; the other kinds put
    // it out of view once.
    if (!ui_->hideButton->isHidden())
        ui_->hideButton->hide();
    if (firstStart_)
        mainWindow->center();
    mainWindow->show();
    mainWindow->raise();
    mainWindow->activateWindow();
    // The stand-in item of a window that was dropped at the top edge goes
    // once the window is back; later, since its own click may have led here.
    if (statusItem_)
        QTimer::singleShot(0, this, [this] {
            if (window_ && window_->isVisible())
                statusItem_.reset();
        });
}

void UIController::hideWindow(QObject*) {
    UIWindow* mainWindow = window();
    if (windowKind_ != statusItemWindowKind) {
        mainWindow->hide();
        return;
    }
    if (mainWindow->isSliding())
        return;
    // The key of the event that asked for the hide, read before the slide
    // brings events of its own.
    const bool quit = CurrentEvent::hasOptionKey() ||
                      QGuiApplication::queryKeyboardModifiers().testFlag(Qt::AltModifier);
    const ScreenFrames screen = mainScreenFrames();
    const RectF current = mainWindow->frame();
    mainWindow->setFrame(statusItemHiddenFrame(screen.visibleFrame, current.width, current.height),
                         true);
    mainWindow->hide();
    if (quit)
        QCoreApplication::exit(0);
}

void UIController::activateStatusItem() {
    followPrimaryScreen();
    AppDelegate* delegate = AppDelegate::sharedDelegate();
    if (!delegate)
        return;
    statusItem_ = std::make_unique<StatusItem>(statusItemImage(),
                                               [this] { return window_ && window_->isVisible(); });
    connect(statusItem_.get(), &StatusItem::clicked, this, &UIController::statusItemAction);
    connect(statusItem_.get(), &StatusItem::preferencesRequested, this, [this] {
        if (AppDelegate* current = AppDelegate::sharedDelegate())
            current->userPrefs(statusItem_->preferencesAction());
    });
    connect(statusItem_.get(), &StatusItem::quitRequested, this, [] { QCoreApplication::exit(0); });
}

void UIController::statusItemAction() {
    if (window()->isVisible()) {
        hideWindow(this);
        return;
    }
    showWindow(this);
    window()->activateWindow();
}

QImage UIController::statusItemImage() const {
    const AppDelegate* delegate = AppDelegate::sharedDelegate();
    if (!delegate || delegate->iPhotoIcon().isNull())
        return QImage();
    // A copy of the shared icon, brought to the square of the status bar.
    return draw::statusItemIcon(delegate->iPhotoIcon());
}

void UIController::windowCloseRequested() {
    if (windowKind_ == statusItemWindowKind) {
        hideWindow(window_.get());
        return;
    }
    // The way the Quit command ends the program: the list is saved on the way out.
    QCoreApplication::exit(0);
}

void UIController::followPrimaryScreen() {
    auto follow = [this](QScreen* screen) {
        disconnect(screenConnection_);
        if (screen)
            screenConnection_ = connect(screen, &QScreen::availableGeometryChanged, this,
                                        &UIController::keepWindowReachable);
    };
    follow(QGuiApplication::primaryScreen());
    connect(qGuiApp, &QGuiApplication::primaryScreenChanged, this, [this, follow](QScreen* screen) {
        follow(screen);
        keepWindowReachable();
    });
}

void UIController::keepWindowReachable() {
    QScreen* screen = QGuiApplication::primaryScreen();
    if (!window_ || !screen)
        return;
    const QRect previous = lastAvailableGeometry_;
    const QRect area = screen->availableGeometry();
    lastAvailableGeometry_ = area;
    if (!window_->isVisible() || window_->isSliding())
        return;
    // Docked under the old top edge: docked under the new one. Loose and
    // now out of reach: brought back under the top edge too.
    const QRect frame = window_->frameGeometry();
    const bool docked = frame.top() <= previous.top();
    if (docked || !area.intersects(frame)) {
        const RectF current = window_->frame();
        window_->setFrame(
            statusItemShownFrame(mainScreenFrames().visibleFrame, current.width, current.height),
            false);
    }
}

void UIController::otherInit() {
    window();
    ui_->photoManagersTableView->setToolTip(
        localizedString(QT_TRANSLATE_NOOP("localized", "List of iPhoto Libraries")));
    ui_->iPhotoButton->setToolTip(
        localizedString(QT_TRANSLATE_NOOP("localized", "Launch iPhoto with the selected Library")));
    ui_->iPhotoNewAlbumButton->setToolTip(
        localizedString(QT_TRANSLATE_NOOP("localized", "Launch iPhoto with a new Empty Library")));
    ui_->deleteButton->setToolTip(localizedString(
        QT_TRANSLATE_NOOP("localized", "Remove the selected Library from the List")));
    ui_->hideButton->setToolTip(
        localizedString(QT_TRANSLATE_NOOP("localized", "Close the window or the application"),
                        "Close the window/application"));
    ui_->newButton->setToolTip(
        localizedString(QT_TRANSLATE_NOOP("localized", "Add an existing Library into the List")));
    ui_->albumNameField->setToolTip(localizedString(
        QT_TRANSLATE_NOOP("localized", "Name of the selected album (Folder name)")));
    ui_->rescanButton->setToolTip(localizedString(
        QT_TRANSLATE_NOOP("localized", "Look again at the pictures of the selected Library")));
    ui_->photoManagersTableView->setFocus();
}

void UIController::configurePhotoManagersTableView() {
    LibraryTableView* table = window() ? ui_->photoManagersTableView : nullptr;
    const QImage& strip = filmStrip();
    if (!strip.isNull()) {
        table->setIconSize(strip.size());
        table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
        // The picture, and the library's name on one line under it.
        table->verticalHeader()->setDefaultSectionSize(strip.height() + 4 +
                                                       table->fontMetrics().height());
    }
    connect(table, &QAbstractItemView::doubleClicked, this, &UIController::doubleClickOnCell,
            Qt::UniqueConnection);
}

QImage UIController::tableViewObjectValue(int row) const {
    // The cell is a copy: the shared film strip is never drawn on.
    const PhotoManagerPtr record = photoManagerAtIndex(row);
    return draw::filmStripCell(filmStrip(), record ? record->defaultImage() : QImage(),
                               filmStripThumbnailFrame);
}

void UIController::setNameOfSelectedAlbumField() {
    if (!ui_)
        return;
    const PhotoManagerPtr& record = ui_->albumViewer->photoManager();
    if (record && record->albumPath()) {
        std::string path = record->albumPath()->string();
        std::string name = path;
        while (name.size() > 1 && name.back() == '/')
            name.pop_back();
        if (const auto slash = name.rfind('/'); slash != std::string::npos && name != "/")
            name = name.substr(slash + 1);
        ui_->albumNameField->setText(QFile::decodeName(name.c_str()));
        ui_->albumNameField->setToolTip(QFile::decodeName(path.c_str()));
    } else {
        ui_->albumNameField->setText(QString());
        ui_->albumNameField->setToolTip(QString());
    }
}

void UIController::setNumberOfAlbumField() {
    if (!ui_)
        return;
    const int n = numberOfPhotoManager();
    const QString word = n < 2 ? localizedString(QT_TRANSLATE_NOOP("localized", "Library"))
                               : localizedString(QT_TRANSLATE_NOOP("localized", "Libraries"));
    ui_->albumNumberField->setText(QStringLiteral("%1 %2").arg(n).arg(word));
}

const QImage& UIController::filmStrip() const {
    if (!filmStrip_)
        filmStrip_ = QImage(QFile::decodeName(context_.resourcePath("FilmStrip.tif").c_str()));
    return *filmStrip_;
}

AlbumViewer* UIController::albumViewer() const {
    return ui_ ? ui_->albumViewer : nullptr;
}
LibraryTableView* UIController::photoManagersTableView() const {
    return ui_ ? ui_->photoManagersTableView : nullptr;
}
QPushButton* UIController::iPhotoButton() const {
    return ui_ ? ui_->iPhotoButton : nullptr;
}
QPushButton* UIController::iPhotoNewAlbumButton() const {
    return ui_ ? ui_->iPhotoNewAlbumButton : nullptr;
}
QPushButton* UIController::deleteButton() const {
    return ui_ ? ui_->deleteButton : nullptr;
}
QPushButton* UIController::newButton() const {
    return ui_ ? ui_->newButton : nullptr;
}
QPushButton* UIController::hideButton() const {
    return ui_ ? ui_->hideButton : nullptr;
}
QPushButton* UIController::rescanButton() const {
    return ui_ ? ui_->rescanButton : nullptr;
}
QLabel* UIController::albumNameField() const {
    return ui_ ? ui_->albumNameField : nullptr;
}
QLabel* UIController::albumNumberField() const {
    return ui_ ? ui_->albumNumberField : nullptr;
}
QLineEdit* UIController::libraryNameTextField() const {
    return ui_ ? ui_->libraryNameTextField : nullptr;
}
QPushButton* UIController::libraryNameCancelButton() const {
    return ui_ ? ui_->libraryNameCancelButton : nullptr;
}
QPushButton* UIController::libraryNameCreateButton() const {
    return ui_ ? ui_->libraryNameCreateButton : nullptr;
}

} // namespace slidebox::app
