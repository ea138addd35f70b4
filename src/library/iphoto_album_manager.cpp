#include "library/iphoto_album_manager.h"

#include <cstdio>

#include "library/library_walk.h"

namespace slidebox {

const std::string libraryModificationNotification = "VL_LibraryModificationNotification";
const std::string imagePathsKey = "AM_ImagePaths";
const std::string albumPathKey = "AM_AlbumPath";
const std::string albumDateKey = "AM_AlbumDate";
const std::string defaultImageIndexKey = "AM_defaultImageIndex";

using platform::PlistDictionary;
using platform::PlistValue;

std::shared_ptr<iPhotoAlbumManager> iPhotoAlbumManager::init() {
    auto record = std::make_shared<iPhotoAlbumManager>(PrivateTag());
    record->initManager(std::nullopt);
    return record;
}

std::shared_ptr<iPhotoAlbumManager> iPhotoAlbumManager::initWithAlbumPath(const Path& albumPath) {
    auto record = std::make_shared<iPhotoAlbumManager>(PrivateTag());
    record->initManager(albumPath);
    record->updateDatas();
    return record;
}

std::shared_ptr<iPhotoAlbumManager>
iPhotoAlbumManager::initWithDictionary(const PlistDictionary& dictionary) {
    auto value = [&](const std::string& key) -> const PlistValue& {
        static const PlistValue absent;
        auto it = dictionary.find(key);
        return it == dictionary.end() ? absent : it->second;
    };
    auto record = std::make_shared<iPhotoAlbumManager>(PrivateTag());

    // A stored value of the wrong type counts as missing.
    std::optional<Path> path;
    if (auto s = value(albumPathKey).string())
        path = Path(*s);
    record->initManager(path);

    std::optional<platform::Date> date;
    if (auto d = value(albumDateKey).date())
        date = *d;
    record->setAlbumDate(date);

    record->setImagePaths(ImagePathList::fromPlist(value(imagePathsKey)));
    // After the list: the index is limited by the image count.
    record->setDefaultImageIndex(value(defaultImageIndexKey).intValue());
    return record;
}

void iPhotoAlbumManager::initManager(std::optional<Path> albumPath) {
    setAlbumPath(std::move(albumPath));
    setAlbumDate(platform::Date::now());
    initDatas();
}

void iPhotoAlbumManager::initDatas() {
    directoryArray_.clear();
    directoryArray_.reserve(100);
    startLookAtModificationDate();
}

iPhotoAlbumManager::~iPhotoAlbumManager() {
    stopLookAtModificationDate();
}

void iPhotoAlbumManager::updateDatas() {
    setImagePaths(searchForImages());
    setAlbumDate(getLibraryModificationDate());
    setDefaultImageIndex(0);
}

std::optional<PlistDictionary> iPhotoAlbumManager::dictionary() {
    if (!imagePaths_ || !albumPath_)
        return std::nullopt;
    // Saving brings the record up to date first; this may scan and notify.
    checkLibraryModificationDate();
    if (!imagePaths_ || !albumPath_)
        return std::nullopt;

    PlistDictionary dict;
    dict[imagePathsKey] = imagePaths_->toPlist();
    dict[albumPathKey] = PlistValue(albumPath_->native());
    if (albumDate_)
        dict[albumDateKey] = PlistValue(*albumDate_);
    dict[defaultImageIndexKey] = PlistValue(defaultImageIndex_);
    return dict;
}

std::string iPhotoAlbumManager::description() const {
    char text[64];
    std::snprintf(text, sizeof text, "PhotoAlbum with %d photos", numberOfImage());
    return text;
}

QImage iPhotoAlbumManager::defaultImage() const {
    return imageAtIndex(defaultImageIndex_);
}

void iPhotoAlbumManager::setDefaultImageIndex(int index) {
    int count = numberOfImage();
    if (index < 0)
        index = 0;
    if (index >= count)
        index = count - 1;
    defaultImageIndex_ = index;
}

void iPhotoAlbumManager::setImagePaths(std::optional<ImagePathList> paths) {
    imagePaths_ = std::move(paths);
}

void iPhotoAlbumManager::setAlbumPath(std::optional<Path> path) {
    albumPath_ = std::move(path);
}

void iPhotoAlbumManager::setAlbumDate(std::optional<platform::Date> date) {
    albumDate_ = date;
}

bool iPhotoAlbumManager::isiPhotoAlbumPath() const {
    return albumPath_ && isiPhotoLibrary(*albumPath_);
}

} // namespace slidebox
