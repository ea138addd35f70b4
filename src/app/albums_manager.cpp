#include "app/albums_manager.h"

#include "app/app_notifications.h"
#include "platform/user_defaults.h"

namespace slidebox::app {

const std::string albumsCatalogKey = "AM_albumsCatalog";
const std::string photoAlbumDictKey = "AM_photoAlbumDict";
const std::string viewerFrameKey = "AM_viewerFrame";
const std::string viewerCurrentIndexKey = "AM_viewerCurrentIndex";

AlbumsManager::AlbumsManager(platform::UserDefaults& defaults) : defaults_(defaults) {
    listOfAlbumViewer_.reserve(10);
    registerForNotifications();
    getDefaults();
}

AlbumsManager::~AlbumsManager() {
    observation_.reset();
    listOfAlbumViewer_.clear();
}

void AlbumsManager::registerForNotifications() {
    observation_ = platform::NotificationCenter::defaultCenter().addObserver(
        applicationWillTerminateNotification, [this](const void*) { registerDefaults(); });
}

void AlbumsManager::getDefaults() {
    const platform::PlistArray* catalog = defaults_.objectForKey(albumsCatalogKey).array();
    if (!catalog)
        return;
    for (const platform::PlistValue& entry : *catalog) {
        const platform::PlistValue& frameText = entry[viewerFrameKey];
        const RectF frame = frameText.string() ? rectFromString(*frameText.string()) : RectF{};
        AlbumViewer* viewer = newViewerAtFrame(frame);
        const platform::PlistDictionary* dictionary = entry[photoAlbumDictKey].dictionary();
        viewer->setPhotoManager(dictionary ? iPhotoAlbumManager::initWithDictionary(*dictionary)
                                           : nullptr);
        // The stored image wins over the default image; the slider stays
        // where taking the library left it.
        viewer->setCurrentPhotoIndex(entry[viewerCurrentIndexKey].intValue());
    }
}

void AlbumsManager::registerDefaults() {
    platform::PlistArray catalog;
    catalog.reserve(10);
    for (int i = 0; AlbumViewer* viewer = viewerAtIndex(i); ++i) {
        if (!viewer->photoManager())
            continue;
        auto dictionary = viewer->photoManager()->dictionary();
        if (!dictionary)
            continue;
        platform::PlistDictionary entry;
        entry.emplace(photoAlbumDictKey, std::move(*dictionary));
        entry.emplace(viewerFrameKey, stringFromRect(rectFromQRect(viewer->geometry())));
        entry.emplace(viewerCurrentIndexKey, viewer->currentPhotoIndex());
        catalog.emplace_back(std::move(entry));
    }
    defaults_.setObject(albumsCatalogKey, std::move(catalog));
}

AlbumViewer* AlbumsManager::newViewerAtFrame(const RectF& frame) {
    listOfAlbumViewer_.push_back(AlbumViewer::viewerWithFrame(frame));
    return listOfAlbumViewer_.back().get();
}

AlbumViewer* AlbumsManager::viewerAtIndex(int index) const {
    if (index < 0 || index >= numberOfViewer())
        return nullptr;
    return listOfAlbumViewer_[static_cast<size_t>(index)].get();
}

void AlbumsManager::removeViewerAtIndex(int index) {
    if (!viewerAtIndex(index))
        return;
    listOfAlbumViewer_.erase(listOfAlbumViewer_.begin() + index);
}

void AlbumsManager::loadAlbumOfFolder(const std::filesystem::path& path, int index) {
    AlbumViewer* viewer = viewerAtIndex(index);
    if (!viewer)
        return;
    viewer->setPhotoManager(iPhotoAlbumManager::initWithAlbumPath(path));
}

} // namespace slidebox::app
