#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QImage>

#include "library/image_path_list.h"
#include "platform/date.h"
#include "platform/file_system.h"
#include "platform/plist_value.h"
#include "platform/repeating_timer.h"

namespace slidebox {

namespace walk {
class VisitedFolders;
}

/// Name of the notification a record posts when its library changed on disk;
/// the notification's object is the record (an iPhotoAlbumManager*).
extern const std::string libraryModificationNotification; // "VL_LibraryModificationNotification"

/// Keys of a record's dictionary form (a persisted format: the case differs).
extern const std::string imagePathsKey;        // "AM_ImagePaths"
extern const std::string albumPathKey;         // "AM_AlbumPath"
extern const std::string albumDateKey;         // "AM_AlbumDate"
extern const std::string defaultImageIndexKey; // "AM_defaultImageIndex"

/// Marker names of the three library generations, and the image folders.
extern const std::string iPhotoCheckFileName6;     // "Library6.iPhoto"
extern const std::string iPhotoCheckFileName3;     // "Library.iPhoto"
extern const std::string iPhotoCheckDirectoryName; // "Albums"
extern const std::string iPhotoCheckFileName2;     // "Photo Library"
extern const std::string imageDirectoryName;       // "Thumbs"
extern const std::string iPhoto6DataDirectoryName; // "Data"

/// The model of one photo library on disk: its folder, the thumbnail images
/// found in it, the library's date when that list was made, and the image
/// that stands for the library. Shared through std::shared_ptr by the list,
/// the viewers and its own watch timer; a record that only its timer still
/// holds stops the timer at the next tick and so ends.
///
/// Made only through the static factories, on the thread that runs the Qt
/// event loop (the watch ticks there every 2.1 s).
class iPhotoAlbumManager : public std::enable_shared_from_this<iPhotoAlbumManager> {
  public:
    using Path = std::filesystem::path;
    using PathList = std::vector<Path>;

    // --- creation (record) -------------------------------------------------
    /// The search-only record: no path, no timer, no image list, index -1.
    static std::shared_ptr<iPhotoAlbumManager> init();
    /// A record for a folder (tilde already expanded), scanned afresh, watching.
    static std::shared_ptr<iPhotoAlbumManager> initWithAlbumPath(const Path& albumPath);
    /// A record restored from its dictionary form without touching the disk.
    static std::shared_ptr<iPhotoAlbumManager>
    initWithDictionary(const platform::PlistDictionary& dictionary);

    /// Construction goes through the factories above; the tag keeps it so.
    struct PrivateTag {
        explicit PrivateTag() = default;
    };
    explicit iPhotoAlbumManager(PrivateTag) {}
    ~iPhotoAlbumManager();
    iPhotoAlbumManager(const iPhotoAlbumManager&) = delete;
    iPhotoAlbumManager& operator=(const iPhotoAlbumManager&) = delete;

    /// Scans again: new image list, new date, default image back to the first.
    void updateDatas();
    /// The dictionary form, brought up to date first (may scan and notify);
    /// nothing when the image list or the path is absent.
    std::optional<platform::PlistDictionary> dictionary();
    /// "PhotoAlbum with %d photos"; for logs.
    std::string description() const;

    /// imageAtIndex(defaultImageIndex()); a null image when there is none.
    QImage defaultImage() const;
    int defaultImageIndex() const { return defaultImageIndex_; }
    /// Stores the index limited to 0..count-1, or -1 when there are no images.
    void setDefaultImageIndex(int index);

    /// Absent until the first scan or load.
    const std::optional<ImagePathList>& imagePaths() const { return imagePaths_; }
    void setImagePaths(std::optional<ImagePathList> paths);
    const std::optional<Path>& albumPath() const { return albumPath_; }
    void setAlbumPath(std::optional<Path> path);
    const std::optional<platform::Date>& albumDate() const { return albumDate_; }
    void setAlbumDate(std::optional<platform::Date> date);

    /// isiPhotoLibrary(albumPath), asked of the disk at each call.
    bool isiPhotoAlbumPath() const;
    bool eraseFolderWhenRelease() const { return eraseFolder_; }
    void setEraseFolderWhenRelease(bool erase) { eraseFolder_ = erase; }

    // --- recognition and discovery -----------------------------------------
    static bool isiPhotoLibrary(const Path& folder);
    static bool isiPhotoLibrary6(const Path& folder);
    static bool isiPhotoLibrary3(const Path& folder);
    static bool isiPhotoLibrary2(const Path& folder);
    /// [folder] when it is a library, else every library below it, depth first.
    static PathList iPhotoLibrariesPathsInFolder(const Path& folder);
    PathList searchForLibsInFolder(const Path& folder);

    // --- images -------------------------------------------------------------
    /// Walks the library; nothing when the record has no path.
    std::optional<PathList> searchForImages();
    int numberOfImage() const;
    /// The image decoded afresh at one point per pixel; null when the list is
    /// empty or the file is gone or undecodable. An index past the end gives
    /// the first image.
    QImage imageAtIndex(int index) const;
    /// An image file decoded at one point per pixel; null when it is not a
    /// regular file, is larger than maxImageFileBytes, or doesn't decode.
    /// Touches no record: safe on any thread, so a viewer may read off its
    /// event loop.
    static QImage imageAtPath(const Path& path);
    static constexpr std::size_t maxImageFileBytes = std::size_t(32) << 20; ///< 32 MiB
    /// The last path component of the image's path; "" for -1 or no list.
    std::string fileNameAtIndex(int index) const;
    /// Makes one point of the image one pixel (72 dots per inch).
    static void setResolutionAt72dpi(QImage& image);

    // --- change watching ----------------------------------------------------
    /// The marker's date, else the current date.
    platform::Date getLibraryModificationDate() const;
    std::optional<platform::Date> getLibraryModificationDate6() const;
    std::optional<platform::Date> getLibraryModificationDate3() const;
    std::optional<platform::Date> getLibraryModificationDate2() const;
    /// One tick of the watch.
    void checkLibraryModificationDate();
    void startLookAtModificationDate();
    void stopLookAtModificationDate();
    bool isWatching() const { return timer_ != nullptr; }

  private:
    void initManager(std::optional<Path> albumPath);
    void initDatas();

    // The walks list each folder once and hand the listing down; a folder
    // reached again through a link is not entered again.
    void recursiveSearchOfLibDirectoryIn(const Path& folder);
    void recursiveSearchOfLibDirectoryIn(const Path& folder,
                                         const platform::DirectoryListing& listing,
                                         walk::VisitedFolders& visited);
    void recursiveSearchOfThumbsDirectoryIn(const Path& folder);
    void searchOfThumbsDirectoryIn(const Path& folder, walk::VisitedFolders& visited);
    bool searchOfDirectoryIn(const Path& folder, walk::VisitedFolders& visited);
    void collectImagePathsInArray(PathList& paths) const;

    std::optional<ImagePathList> imagePaths_;
    std::optional<Path> albumPath_;
    std::optional<platform::Date> albumDate_;
    PathList directoryArray_;
    std::unique_ptr<platform::RepeatingTimer> timer_;
    int defaultImageIndex_ = -1;
    bool eraseFolder_ = false;
};

using PhotoManagerPtr = std::shared_ptr<iPhotoAlbumManager>;

} // namespace slidebox
