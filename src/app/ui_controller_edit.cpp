// UIController: adding existing libraries, creating a new empty one,
// taking one off the list, rescanning the one on show.
#include "app/ui_controller.h"

#include <system_error>

#include <QDialog>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStatusBar>

#include "app/album_viewer.h"
#include "app/app_context.h"
#include "app/library_table_view.h"
#include "app/localized.h"
#include "app/ui_window.h"
#include "platform/file_system.h"
#include "platform/log.h"
#include "ui_ui_controller.h"

namespace slidebox::app {

namespace {

// Path strings are handled as the original handled them, as text: a name
// goes behind the folder with one slash, an empty name changes nothing, and
// the last component ignores a trailing slash.
std::string appendingPathComponent(const std::string& base, const std::string& component) {
    if (component.empty())
        return base;
    if (base.empty())
        return component;
    if (base.back() == '/')
        return base + component;
    return base + "/" + component;
}

std::string withoutTrailingSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

std::string lastPathComponent(const std::string& path) {
    const std::string trimmed = withoutTrailingSlashes(path);
    const auto slash = trimmed.rfind('/');
    if (slash == std::string::npos || trimmed == "/")
        return trimmed;
    return trimmed.substr(slash + 1);
}

std::string deletingLastPathComponent(const std::string& path) {
    const std::string trimmed = withoutTrailingSlashes(path);
    const auto slash = trimmed.rfind('/');
    if (slash == std::string::npos)
        return {};
    if (slash == 0)
        return "/";
    return trimmed.substr(0, slash);
}

// "iPhoto Library " ends in a blank and the format adds one more, so a
// proposal has two blanks before its number.
const std::string newLibraryStem = "iPhoto Library ";

// The longest file name of the usual Linux file systems, in bytes.
constexpr qsizetype maxNameBytes = 255;

QString quotedPath(const std::filesystem::path& path) {
    return QFile::decodeName(path.c_str());
}

} // namespace

std::optional<QString> UIController::libraryNameRefusal(const QString& name) {
    if (name.isEmpty())
        return localizedString(QT_TRANSLATE_NOOP("localized", "Type a name for the new Library."));
    if (name == QLatin1String(".") || name == QLatin1String(".."))
        return localizedString(QT_TRANSLATE_NOOP("localized", "“.” and “..” can't name a folder."));
    if (name.contains(QLatin1Char('/')) || name.contains(QChar(u'\0')))
        return localizedString(QT_TRANSLATE_NOOP(
            "localized", "A name can't hold “/”: the Library is made in the Pictures folder."));
    if (QFile::encodeName(name).size() > maxNameBytes)
        return localizedString(
            QT_TRANSLATE_NOOP("localized", "This name is too long for a folder."));
    return std::nullopt;
}

void UIController::checkLibraryName() {
    const auto refusal = libraryNameRefusal(ui_->libraryNameTextField->text());
    ui_->libraryNameCreateButton->setEnabled(!refusal);
    ui_->libraryNameRefusalField->setText(refusal.value_or(QString()));
    ui_->libraryNameRefusalField->setVisible(refusal.has_value());
}

void UIController::showStatusMessage(const QString& text) {
    platform::log(text.toStdString());
    if (ui_)
        ui_->statusLine->showMessage(text, statusMessageTimeoutMs);
}

void UIController::newPhotoManager(QObject*) {
    newPhotoManagerWithPaths(std::nullopt, true);
}

void UIController::newPhotoManagerWithPaths(
    const std::optional<std::vector<std::filesystem::path>>& paths, bool testiPhotoLibrary) {
    std::vector<std::filesystem::path> folders;
    if (paths) {
        folders = *paths;
    } else {
        auto chosen = context_.dialogs().chooseFolders(window(), context_.picturesFolder());
        if (!chosen)
            return;
        folders = std::move(*chosen);
    }
    bool added = false;
    for (const auto& folder : folders) {
        const auto candidates = testiPhotoLibrary
                                    ? iPhotoAlbumManager::iPhotoLibrariesPathsInFolder(folder)
                                    : iPhotoAlbumManager::PathList{folder};
        if (candidates.empty())
            showStatusMessage(
                localizedString(
                    QT_TRANSLATE_NOOP("localized", "No iPhoto Library was found in “%1”."))
                    .arg(quotedPath(folder)));
        for (const auto& candidate : candidates) {
            if (isAlbumPathAlreadyInList(candidate))
                continue;
            PhotoManagerPtr record = iPhotoAlbumManager::initWithAlbumPath(candidate);
            if (!record)
                continue;
            addPhotoManagerToList(record);
            if (!added) {
                added = true;
                setPhotoManagerToViewer(record);
                selectPhotoManagerRow(indexOfPhotoManager(record.get()));
            }
        }
        reloadData();
        scrollSelectedRowToVisible();
    }
    if (ui_)
        ui_->deleteButton->setEnabled(true);
}

void UIController::launchiPhotoWithNewAlbum(QObject*) {
    window();
    const std::string pictures = context_.picturesFolder().string();
    if (!platform::fileExistsAtPath(pictures)) {
        std::error_code error;
        std::filesystem::create_directory(pictures, error);
    }
    const std::string stem = appendingPathComponent(pictures, newLibraryStem);
    int number = 1;
    std::string proposal = stem + " " + std::to_string(number);
    while (platform::isDirectory(proposal))
        proposal = stem + " " + std::to_string(++number);

    ui_->libraryNameTextField->setText(QFile::decodeName(lastPathComponent(proposal).c_str()));
    chooseLibraryName(this);

    const std::string typed = QFile::encodeName(ui_->libraryNameTextField->text()).toStdString();
    std::string path = appendingPathComponent(deletingLastPathComponent(proposal), typed);
    // A taken name gets "_2" behind the whole path of the last attempt, so
    // X leads on to X_2, then X_2_3.
    int counter = 1;
    while (platform::isDirectory(path))
        path = path + "_" + std::to_string(++counter);

    if (libraryNameDialogChoice_ == 0)
        return;
    // The dialog lets no such name through; a name set from elsewhere
    // must not make a folder outside Pictures either.
    if (libraryNameRefusal(ui_->libraryNameTextField->text()))
        return;
    std::error_code error;
    if (!std::filesystem::create_directory(path, error) || error)
        return;
    newPhotoManagerWithPaths(std::vector<std::filesystem::path>{path}, false);
    // The empty folder can't pass the library test until the photo
    // application has made its library in it.
    launchiPhotoWithTestOfAlbum(false);
}

void UIController::chooseLibraryName(QObject* sender) {
    window();
    if (auto* button = qobject_cast<QAbstractButton*>(sender)) {
        chooseLibraryNameDialog_->done(button->property("tag").toInt());
        libraryNameDialogChoice_ = button->property("tag").toInt();
        return;
    }
    ui_->libraryNameTextField->selectAll();
    ui_->libraryNameTextField->setFocus();
    context_.dialogs().runModal(*chooseLibraryNameDialog_);
}

void UIController::deletePhotoManager(QObject*) {
    window();
    const int answer = context_.dialogs().runAlert(
        window(), localizedString(QT_TRANSLATE_NOOP("localized", "Remove Library's reference")),
        localizedString(
            QT_TRANSLATE_NOOP("localized", "Do you want to remove the Library's reference ?")),
        localizedString(QT_TRANSLATE_NOOP("localized", "Keep Library")),
        localizedString(QT_TRANSLATE_NOOP("localized", "Remove Only Reference")));
    if (answer != 0)
        return;
    const int row = currentPhotoManagerIndex();
    const PhotoManagerPtr record = photoManagerAtIndex(row);
    if (!record)
        return;
    removePhotoManagerFromList(record.get());
    setPhotoManagerToViewer(photoManagerAtIndex(row - 1));
    selectPhotoManagerRow(row - 1);
    // Without a previous row the viewer shows nothing: no row stays marked
    // as if it were on show, so that a click on any row picks it.
    if (row == 0)
        ui_->photoManagersTableView->clearSelection();
    reloadData();
    scrollSelectedRowToVisible();
    if (listOfPhotoManager_.empty())
        ui_->deleteButton->setEnabled(false);
}

void UIController::updatePhotoManager(QObject*) {
    if (!ui_)
        return;
    const PhotoManagerPtr record = ui_->albumViewer->photoManager();
    if (!record)
        return;
    if (record->albumPath() && !platform::fileExistsAtPath(*record->albumPath()))
        showStatusMessage(
            localizedString(
                QT_TRANSLATE_NOOP("localized", "The Library “%1” is no longer on the disk."))
                .arg(quotedPath(*record->albumPath())));
    record->updateDatas();
    setPhotoManagerToViewer(record);
    reloadData();
    listDidChange();
}

QStatusBar* UIController::statusLine() const {
    return ui_ ? ui_->statusLine : nullptr;
}
QLabel* UIController::libraryNameRefusalField() const {
    return ui_ ? ui_->libraryNameRefusalField : nullptr;
}

} // namespace slidebox::app
