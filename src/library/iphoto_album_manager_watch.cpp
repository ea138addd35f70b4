// Change watching: each record polls its library's marker file and, when the
// date moves, scans again and tells the others. The same timer ends a record
// that nobody but the timer holds any more.
#include <chrono>

#include "library/iphoto_album_manager.h"
#include "library/library_walk.h"
#include "platform/notification_center.h"

namespace slidebox {

namespace {

constexpr std::chrono::milliseconds kPollInterval{2100};

// The first non-folder entry of that exact name, dated by itself (a link is
// not followed); an entry without a date lets the walk go on.
std::optional<platform::Date> markerDate(const std::filesystem::path& folder,
                                         const std::string& marker) {
    auto listing = platform::listDirectory(folder);
    if (!listing)
        return std::nullopt;
    for (const auto& entry : listing->entries) {
        if (entry.name != marker || platform::isDirectoryEntry(folder, entry))
            continue;
        if (auto date = platform::modificationDate(folder / entry.name, false))
            return date;
    }
    return std::nullopt;
}

} // namespace

std::optional<platform::Date> iPhotoAlbumManager::getLibraryModificationDate6() const {
    return albumPath_ ? markerDate(*albumPath_, iPhotoCheckFileName6) : std::nullopt;
}

std::optional<platform::Date> iPhotoAlbumManager::getLibraryModificationDate3() const {
    return albumPath_ ? markerDate(*albumPath_, iPhotoCheckFileName3) : std::nullopt;
}

std::optional<platform::Date> iPhotoAlbumManager::getLibraryModificationDate2() const {
    if (!albumPath_)
        return std::nullopt;
    auto listing = platform::listDirectory(*albumPath_);
    if (!listing)
        return std::nullopt;
    for (const auto& entry : listing->entries) {
        if (entry.name != iPhotoCheckDirectoryName ||
            !platform::isDirectoryEntry(*albumPath_, entry))
            continue;
        if (auto date = markerDate(*albumPath_ / entry.name, iPhotoCheckFileName2))
            return date;
    }
    return std::nullopt;
}

platform::Date iPhotoAlbumManager::getLibraryModificationDate() const {
    if (auto date = getLibraryModificationDate6())
        return *date;
    if (auto date = getLibraryModificationDate3())
        return *date;
    if (auto date = getLibraryModificationDate2())
        return *date;
    // No marker: a library that has gone or one not made yet. The current
    // date never equals the stored one, so every tick rescans until it settles.
    return platform::Date::now();
}

void iPhotoAlbumManager::startLookAtModificationDate() {
    if (timer_ || !albumPath_)
        return;
    // The timer holds its target, as the record's last owner of resort.
    timer_ = std::make_unique<platform::RepeatingTimer>(
        kPollInterval, [self = shared_from_this()] { self->checkLibraryModificationDate(); });
}

void iPhotoAlbumManager::stopLookAtModificationDate() {
    if (!timer_)
        return;
    // Invalidating lets go of the timer's reference; when a tick is running,
    // the record ends as soon as that tick returns.
    std::unique_ptr<platform::RepeatingTimer> timer = std::move(timer_);
    timer->invalidate();
}

void iPhotoAlbumManager::checkLibraryModificationDate() {
    // Only the timer still holds us: stop before any disk work, and end.
    if (weak_from_this().use_count() == 1) {
        stopLookAtModificationDate();
        return;
    }
    platform::Date date = getLibraryModificationDate();
    if (albumDate_ && *albumDate_ == date)
        return;
    updateDatas();
    platform::NotificationCenter::defaultCenter().postNotificationName(
        libraryModificationNotification, this);
}

} // namespace slidebox
