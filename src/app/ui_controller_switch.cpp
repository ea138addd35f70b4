// UIController: the road from a row of the table to the photo application
// running on that library.
#include "app/ui_controller.h"

#include <QPushButton>

#include "app/album_viewer.h"
#include "app/app_context.h"
#include "app/current_event.h"
#include "app/library_table_view.h"
#include "app/photo_manager_table_model.h"
#include "ui_ui_controller.h"

namespace slidebox::app {

void UIController::tableViewSelectionDidChange() { selectPhotoManager(this); }

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
    }
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

void UIController::doubleClickOnCell() { launchiPhoto(this); }

void UIController::launch() { launchiPhoto(this); }

void UIController::launchiPhoto(QObject*) { launchiPhotoWithTestOfAlbum(true); }

void UIController::launchiPhotoWithTestOfAlbum(bool test) {
    if (!ui_)
        return;
    const PhotoManagerPtr record = ui_->albumViewer->photoManager();
    if (test && (!record || !record->isiPhotoAlbumPath()))
        return;
    if (!record || !record->albumPath())
        return;
    switchAlbum(*record->albumPath());
}

void UIController::switchAlbum(const std::filesystem::path& path) {
    // The switcher waits 0.2 s on the main loop, then quits the photo
    // application, rewrites its preference and starts it, on a thread that
    // is handed the path string and nothing else.
    context_.switcher().switchAlbum(path.string());
}

} // namespace slidebox::app
