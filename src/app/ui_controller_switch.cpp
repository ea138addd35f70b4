// UIController: the road from a row of the table to the photo application
// running on that library.
#include "app/ui_controller.h"

#include <QFile>
#include <QPushButton>
#include <QStringDecoder>

#include "app/album_viewer.h"
#include "app/app_context.h"
#include "app/current_event.h"
#include "app/library_table_view.h"
#include "app/localized.h"
#include "app/photo_manager_table_model.h"
#include "platform/file_system.h"
#include "platform/plist_file.h"
#include "platform/script_runner.h"
#include "ui_ui_controller.h"

namespace slidebox::app {

void UIController::tableViewSelectionDidChange() {
    selectPhotoManager(this);
}

void UIController::selectPhotoManager(QObject*) {
    setPhotoManagerToViewer(photoManagerAtIndex(currentPhotoManagerIndex()));
}

void UIController::setPhotoManagerToViewer(PhotoManagerPtr photoManager) {
    if (!ui_)
        return;
    AlbumViewer* viewer = ui_->albumViewer;
    // Control held while moving to another row: the library being left
    // keeps the image on show as its picture.
    if (viewer->photoManager() && CurrentEvent::hasCommandKey()) {
        viewer->photoManager()->setDefaultImageIndex(viewer->currentPhotoIndex());
        reloadData();
        listDidChange();
    }
    ui_->rescanButton->setEnabled(photoManager != nullptr);
    viewer->setPhotoManager(std::move(photoManager));
    setNameOfSelectedAlbumField();
    enableiPhotoLaunch();
}

void UIController::enableiPhotoLaunch() {
    if (!ui_)
        return;
    const PhotoManagerPtr& record = ui_->albumViewer->photoManager();
    ui_->iPhotoButton->setEnabled(record && record->isiPhotoAlbumPath());
}

void UIController::doubleClickOnCell() {
    launchiPhoto(this);
}

void UIController::launch() {
    launchiPhoto(this);
}

void UIController::launchiPhoto(QObject*) {
    launchiPhotoWithTestOfAlbum(true);
}

void UIController::launchiPhotoWithTestOfAlbum(bool test) {
    if (!ui_)
        return;
    const PhotoManagerPtr record = ui_->albumViewer->photoManager();
    if (!record || !record->albumPath())
        return;
    const QString path = QFile::decodeName(record->albumPath()->c_str());
    if (test && !record->isiPhotoAlbumPath()) {
        if (!platform::fileExistsAtPath(*record->albumPath()))
            showStatusMessage(
                localizedString(
                    QT_TRANSLATE_NOOP("localized", "The Library “%1” is no longer on the disk."))
                    .arg(path));
        else
            showStatusMessage(
                localizedString(QT_TRANSLATE_NOOP("localized", "“%1” is not an iPhoto Library."))
                    .arg(path));
        return;
    }
    if (!checkSwitchTo(*record))
        return;
    switchAlbum(*record->albumPath());
}

bool UIController::checkSwitchTo(const iPhotoAlbumManager& record) {
    const QString path = QFile::decodeName(record.albumPath()->c_str());
    // Neither form of the preference file can hold bytes that are no text.
    const std::string& bytes = record.albumPath()->native();
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    [[maybe_unused]] const QString decoded =
        utf8(QByteArrayView(bytes.data(), qsizetype(bytes.size())));
    if (utf8.hasError() || bytes.find('\0') != std::string::npos) {
        showStatusMessage(
            localizedString(
                QT_TRANSLATE_NOOP("localized",
                                  "The path of “%1” can't be written into iPhoto's preferences."))
                .arg(path));
        return false;
    }
    // The switch itself goes on as it always has: the preference is left
    // alone when it can't be read, and a missing program is not started.
    const iPhotoApplication& photoApplication = context_.photoApplication();
    const std::filesystem::path preference = photoApplication.preferenceFilePath();
    if (!photoApplication.getAppleScript(iPhotoApplication::launchScriptName) ||
        !platform::findInPath(iPhotoApplication::applicationName)) {
        showStatusMessage(localizedString(QT_TRANSLATE_NOOP(
            "localized", "iPhoto was not found: it can't be started on the Library.")));
    } else if (!platform::fileExistsAtPath(preference)) {
        showStatusMessage(localizedString(QT_TRANSLATE_NOOP(
            "localized", "iPhoto's preference file is missing: iPhoto opens its own Library.")));
    } else if (const auto document = platform::readPlistFile(preference);
               !document || !document->root.dictionary()) {
        showStatusMessage(localizedString(QT_TRANSLATE_NOOP(
            "localized", "iPhoto's preference file can't be read: iPhoto opens its own Library.")));
    }
    return true;
}

void UIController::switchAlbum(const std::filesystem::path& path) {
    // The switcher waits 0.2 s on the main loop, then quits the photo
    // application, rewrites its preference and starts it, on a thread that
    // is handed the path string and nothing else.
    context_.switcher().switchAlbum(path.string());
}

} // namespace slidebox::app
