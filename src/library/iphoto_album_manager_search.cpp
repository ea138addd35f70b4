// Recognition of libraries, discovery below a folder, and the thumbnail
// walks. Every folder is listed once per visit and the listing is handed to
// the tests, which gives the same answers as listing it once per test.
#include <QByteArray>
#include <QImage>

#include "library/iphoto_album_manager.h"
#include "library/library_walk.h"
#include "platform/file_system.h"

namespace slidebox {

const std::string iPhotoCheckFileName6 = "Library6.iPhoto";
const std::string iPhotoCheckFileName3 = "Library.iPhoto";
const std::string iPhotoCheckDirectoryName = "Albums";
const std::string iPhotoCheckFileName2 = "Photo Library";
const std::string imageDirectoryName = "Thumbs";
const std::string iPhoto6DataDirectoryName = "Data";

using platform::DirectoryListing;
using platform::listDirectory;

namespace {
// A path that can't be listed has an empty listing: every test answers false.
DirectoryListing listingOf(const std::filesystem::path& folder) {
    auto listing = listDirectory(folder);
    return listing ? std::move(*listing) : DirectoryListing{};
}
} // namespace

// --- recognition -------------------------------------------------------------

bool iPhotoAlbumManager::isiPhotoLibrary6(const Path& folder) {
    return walk::isLibrary6(folder, listingOf(folder));
}

bool iPhotoAlbumManager::isiPhotoLibrary3(const Path& folder) {
    return walk::isLibrary3(folder, listingOf(folder));
}

bool iPhotoAlbumManager::isiPhotoLibrary2(const Path& folder) {
    return walk::isLibrary2(folder, listingOf(folder));
}

bool iPhotoAlbumManager::isiPhotoLibrary(const Path& folder) {
    return walk::isLibrary(folder, listingOf(folder));
}

// --- discovery -----------------------------------------------------------------

iPhotoAlbumManager::PathList iPhotoAlbumManager::iPhotoLibrariesPathsInFolder(const Path& folder) {
    if (isiPhotoLibrary(folder))
        return {folder};
    auto searcher = init();
    return searcher->searchForLibsInFolder(folder);
}

iPhotoAlbumManager::PathList iPhotoAlbumManager::searchForLibsInFolder(const Path& folder) {
    directoryArray_.clear();
    recursiveSearchOfLibDirectoryIn(folder);
    PathList result = std::move(directoryArray_);
    directoryArray_.clear();
    return result;
}

void iPhotoAlbumManager::recursiveSearchOfLibDirectoryIn(const Path& folder) {
    auto listing = listDirectory(folder);
    if (!listing)
        return;
    walk::VisitedFolders visited;
    visited.enter(*listing);
    recursiveSearchOfLibDirectoryIn(folder, *listing, visited);
}

void iPhotoAlbumManager::recursiveSearchOfLibDirectoryIn(const Path& folder,
                                                         const DirectoryListing& listing,
                                                         walk::VisitedFolders& visited) {
    for (const auto& entry : listing.entries) {
        if (!platform::isDirectoryEntry(folder, entry))
            continue;
        Path child = folder / entry.name;
        DirectoryListing childListing = listingOf(child);
        // A folder reached before, through a link or a loop, is not looked at again.
        if (!visited.enter(childListing))
            continue;
        if (walk::isLibrary(child, childListing)) {
            directoryArray_.push_back(std::move(child));
            continue;
        }
        recursiveSearchOfLibDirectoryIn(child, childListing, visited);
    }
}

// --- thumbnail walks ---------------------------------------------------------------

std::optional<iPhotoAlbumManager::PathList> iPhotoAlbumManager::searchForImages() {
    if (!albumPath_)
        return std::nullopt;
    PathList paths;
    paths.reserve(100);
    directoryArray_.clear();
    recursiveSearchOfThumbsDirectoryIn(*albumPath_);
    collectImagePathsInArray(paths);
    directoryArray_.clear();
    return paths;
}

void iPhotoAlbumManager::recursiveSearchOfThumbsDirectoryIn(const Path& folder) {
    walk::VisitedFolders visited;
    if (isiPhotoLibrary6(folder)) {
        Path data = folder / iPhoto6DataDirectoryName;
        if (platform::isDirectory(data))
            searchOfDirectoryIn(data, visited);
        return;
    }
    searchOfThumbsDirectoryIn(folder, visited);
}

void iPhotoAlbumManager::searchOfThumbsDirectoryIn(const Path& folder,
                                                   walk::VisitedFolders& visited) {
    auto listing = listDirectory(folder);
    if (!listing || !visited.enter(*listing))
        return;
    for (const auto& entry : listing->entries) {
        if (!platform::isDirectoryEntry(folder, entry))
            continue;
        Path child = folder / entry.name;
        if (entry.name == imageDirectoryName)
            directoryArray_.push_back(std::move(child));
        else
            searchOfThumbsDirectoryIn(child, visited);
    }
}

bool iPhotoAlbumManager::searchOfDirectoryIn(const Path& folder, walk::VisitedFolders& visited) {
    auto listing = listDirectory(folder);
    if (!listing)
        return false;
    // A folder reached before through another link was collected or walked
    // then: it is neither entered again nor collected twice.
    if (!visited.enter(*listing))
        return true;
    bool hasSubfolders = false;
    for (const auto& entry : listing->entries) {
        if (!platform::isDirectoryEntry(folder, entry))
            continue;
        Path child = folder / entry.name;
        if (!searchOfDirectoryIn(child, visited))
            directoryArray_.push_back(std::move(child));
        hasSubfolders = true;
    }
    return hasSubfolders;
}

void iPhotoAlbumManager::collectImagePathsInArray(PathList& paths) const {
    for (const Path& folder : directoryArray_) {
        for (const std::string& name : platform::directoryContentsAtPath(folder)) {
            if (platform::pathExtension(name) == "jpg")
                paths.push_back(folder / name);
        }
    }
}

// --- images ------------------------------------------------------------------------

int iPhotoAlbumManager::numberOfImage() const {
    return imagePaths_ ? static_cast<int>(imagePaths_->size()) : 0;
}

QImage iPhotoAlbumManager::imageAtIndex(int index) const {
    int count = numberOfImage();
    if (count == 0)
        return {};
    if (index >= count || index < 0)
        index = 0;
    return imageAtPath((*imagePaths_)[static_cast<size_t>(index)]);
}

QImage iPhotoAlbumManager::imageAtPath(const Path& path) {
    // Read the bytes ourselves: the path need not be valid UTF-8, and only a
    // regular file of bounded size is read (a FIFO or a link to a device
    // named like a thumbnail must not hold the caller).
    auto bytes = platform::readWholeFile(path, maxImageFileBytes);
    if (!bytes)
        return {};
    QImage image;
    if (!image.loadFromData(
            QByteArray::fromRawData(bytes->data(), static_cast<qsizetype>(bytes->size()))))
        return {};
    image = image.copy(); // detach from the buffer that ends here
    setResolutionAt72dpi(image);
    return image;
}

void iPhotoAlbumManager::setResolutionAt72dpi(QImage& image) {
    if (image.isNull())
        return;
    // 72 dots per inch: one point is one pixel, whatever the file stated.
    constexpr int kDotsPerMeterAt72dpi = 2835; // 72 / 0.0254, rounded
    image.setDotsPerMeterX(kDotsPerMeterAt72dpi);
    image.setDotsPerMeterY(kDotsPerMeterAt72dpi);
    image.setDevicePixelRatio(1.0);
}

std::string iPhotoAlbumManager::fileNameAtIndex(int index) const {
    if (index < 0 || !imagePaths_ || index >= numberOfImage())
        return {};
    return Path((*imagePaths_).native(static_cast<size_t>(index))).filename().native();
}

} // namespace slidebox
