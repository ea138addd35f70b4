#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "app/album_viewer.h"
#include "app/rect_geometry.h"
#include "platform/notification_center.h"

namespace slidebox::platform {
class UserDefaults;
}

namespace slidebox::app {

/// User-defaults key of the viewer catalogue and the keys of its entries.
extern const std::string albumsCatalogKey;      // "AM_albumsCatalog"
extern const std::string photoAlbumDictKey;     // "AM_photoAlbumDict"
extern const std::string viewerFrameKey;        // "AM_viewerFrame"
extern const std::string viewerCurrentIndexKey; // "AM_viewerCurrentIndex"

/// A registry of album viewers, each with its own library, frame and image,
/// carried across runs in the user defaults: rebuilt from the catalogue
/// when made, saved when the application ends. It owns its viewers but
/// places them in no window; that is the business of whoever asks for them.
///
/// Main thread only. The user defaults must outlive the registry.
class AlbumsManager {
  public:
    /// Listens for the end of the application, then rebuilds the viewers of
    /// the catalogue.
    explicit AlbumsManager(platform::UserDefaults& defaults);
    ~AlbumsManager();
    AlbumsManager(const AlbumsManager&) = delete;
    AlbumsManager& operator=(const AlbumsManager&) = delete;

    void registerForNotifications();
    /// One viewer per catalogue entry: frame, library, then the stored image.
    void getDefaults();
    /// Stores one entry per viewer that has a library, in list order.
    void registerDefaults();

    /// A new viewer at the frame, appended; the registry owns it.
    AlbumViewer* newViewerAtFrame(const RectF& frame);
    int numberOfViewer() const { return static_cast<int>(listOfAlbumViewer_.size()); }
    /// The viewer at the index; nullptr for a negative index or one past the end.
    AlbumViewer* viewerAtIndex(int index) const;
    /// Removes and ends the viewer; an index outside the list changes nothing.
    void removeViewerAtIndex(int index);
    /// Gives the viewer at the index a new library for the folder.
    void loadAlbumOfFolder(const std::filesystem::path& path, int index);

  private:
    platform::UserDefaults& defaults_;
    std::vector<std::unique_ptr<AlbumViewer>> listOfAlbumViewer_;
    platform::NotificationCenter::Observation observation_;
};

} // namespace slidebox::app
