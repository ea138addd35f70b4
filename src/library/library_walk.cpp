#include "library/library_walk.h"

#include <algorithm>

#include "library/iphoto_album_manager.h"

namespace slidebox::walk {

using platform::DirectoryListing;
using platform::isDirectoryEntry;

bool hasNonDirectoryNamed(const std::filesystem::path& folder, const DirectoryListing& listing,
                          std::string_view name) {
    // The listing is sorted, but the name test must stay exact byte equality
    // over every entry of that name; there is at most one.
    auto it = std::lower_bound(
        listing.entries.begin(), listing.entries.end(), name,
        [](const platform::DirectoryEntry& e, std::string_view n) { return e.name < n; });
    return it != listing.entries.end() && it->name == name && !isDirectoryEntry(folder, *it);
}

bool isLibrary6(const std::filesystem::path& folder, const DirectoryListing& listing) {
    return hasNonDirectoryNamed(folder, listing, iPhotoCheckFileName6);
}

bool isLibrary3(const std::filesystem::path& folder, const DirectoryListing& listing) {
    return hasNonDirectoryNamed(folder, listing, iPhotoCheckFileName3);
}

bool isLibrary2(const std::filesystem::path& folder, const DirectoryListing& listing) {
    for (const auto& entry : listing.entries) {
        if (entry.name != iPhotoCheckDirectoryName || !isDirectoryEntry(folder, entry))
            continue;
        std::filesystem::path albums = folder / entry.name;
        if (auto inner = platform::listDirectory(albums);
            inner && hasNonDirectoryNamed(albums, *inner, iPhotoCheckFileName2))
            return true;
    }
    return false;
}

bool isLibrary(const std::filesystem::path& folder, const DirectoryListing& listing) {
    bool six = isLibrary6(folder, listing);
    bool three = isLibrary3(folder, listing);
    bool two = isLibrary2(folder, listing);
    return six || three || two;
}

bool VisitedFolders::enter(const DirectoryListing& listing) {
    return !listing.isKernelFileSystem && folders_.emplace(listing.device, listing.inode).second;
}

} // namespace slidebox::walk
