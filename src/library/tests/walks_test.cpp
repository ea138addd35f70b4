// Recognition of the three library generations, discovery below a folder,
// the thumbnail walks and how one image is handed out.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "library/iphoto_album_manager.h"
#include "library/tests/support/library_fixtures.h"
#include "tests/temp_dir.h"
#include "tests/unprivileged.h"

using namespace slidebox;
using namespace slidebox::testing;
using Manager = iPhotoAlbumManager;
using Paths = Manager::PathList;
namespace fs = std::filesystem;

namespace {
// A record of the folder that doesn't watch it.
std::shared_ptr<Manager> open(const fs::path& folder) {
    auto record = Manager::initWithAlbumPath(folder);
    record->stopLookAtModificationDate();
    return record;
}
Paths imagesOf(const fs::path& folder) {
    const auto record = open(folder);
    return record->imagePaths() ? record->imagePaths()->toPathList() : Paths{};
}
} // namespace

TEST(ImageWalk, Generation6TakesOnlyTheLowestFoldersBelowDataAndEndsLinkLoops) {
    TempDir dir;
    const auto lib = dir / "lib";
    const Paths rolls = libraryOf(6, lib, {"2006/Roll 1", "2006/Roll 2"}, 2);
    makeJpeg(lib / "Data" / "2006" / "not-lowest.jpg");
    makeJpeg(lib / "Data" / "direct.jpg");
    makeJpeg(lib / "Thumbs" / "ignored.jpg"); // Thumbs don't count in generation 6
    fs::create_symlink(lib / "Data", lib / "Data" / "2006" / "loop");
    EXPECT_EQ(imagesOf(lib), rolls);
    // Without subfolders below Data, or without Data, no images.
    libraryOf(6, dir / "flat", {});
    makeJpeg(dir / "flat" / "Data" / "a.jpg");
    writeFile(dir / "nodata" / "Library6.iPhoto", "");
    makeJpeg(dir / "nodata" / "Thumbs" / "a.jpg");
    EXPECT_EQ(imagesOf(dir / "nodata"), Paths{});
    auto flat = open(dir / "flat");
    EXPECT_EQ(flat->imagePaths(), Paths{}); // empty, not absent
    EXPECT_EQ(flat->numberOfImage(), 0);
    EXPECT_TRUE(flat->imageAtIndex(0).isNull());
    EXPECT_TRUE(flat->defaultImage().isNull());
    EXPECT_EQ(flat->defaultImageIndex(), -1);
    auto searchOnly = Manager::init();
    EXPECT_FALSE(searchOnly->searchForImages().has_value()); // no path: no walk
    EXPECT_EQ(searchOnly->fileNameAtIndex(-1), "");
}

TEST(ImageWalk, ThumbsAtAnyDepthButNotInsideThumbsOnlyLowerCaseJpgOfAnyKind) {
    TempDir dir;
    const auto lib = dir / "lib";
    libraryOf(3, lib, {"Thumbs", "a/b/c/Thumbs"});
    makeJpeg(lib / "Thumbs" / "Thumbs" / "nested.jpg");
    makeJpeg(lib / "Thumbs" / "a.JPG");
    makeJpeg(lib / "Thumbs" / "b.jpeg");
    fs::create_directories(lib / "Thumbs" / "d.jpg"); // a folder with the extension is taken
    fs::create_symlink(lib, lib / "a" / "up");
    EXPECT_EQ(imagesOf(lib),
              (Paths{lib / "Thumbs/1.jpg", lib / "Thumbs/d.jpg", lib / "a/b/c/Thumbs/1.jpg"}));
    EXPECT_TRUE(open(lib)->imageAtIndex(1).isNull()); // the folder gives no image
}

TEST(ImageAccess, IndexRulesNamesOnePointPerPixelAndOnlyRegularFilesWithinTheLimit) {
    TempDir dir;
    const auto thumbs = dir / "lib" / "Thumbs";
    libraryOf(3, dir / "lib", {});
    makeJpeg(thumbs / "1 big.jpg", 300, 200, 144, 1);
    makeJpeg(thumbs / "2 small.jpg", 10, 20, 72, 2);
    ASSERT_EQ(mkfifo((thumbs / "3.jpg").c_str(), 0600), 0); // an open that blocks never returns
    fs::create_symlink("/dev/zero", thumbs / "4.jpg");
    writeFile(thumbs / "5.jpg", std::string(Manager::maxImageFileBytes + 1, '\xff'));
    auto record = open(dir / "lib");
    ASSERT_EQ(record->numberOfImage(), 5);
    const QImage first = record->imageAtIndex(0);
    EXPECT_EQ(first.size(), QSize(300, 200));
    EXPECT_EQ(first.dotsPerMeterX(), 2835);                     // 72 dpi: a point is a pixel
    EXPECT_EQ(record->imageAtIndex(5).size(), QSize(300, 200)); // past the end: the first image
    EXPECT_EQ(record->imageAtIndex(1).size(), QSize(10, 20));
    for (int index : {2, 3, 4})
        EXPECT_TRUE(record->imageAtIndex(index).isNull()) << index;
    EXPECT_EQ(record->fileNameAtIndex(-1), "");
    EXPECT_EQ(record->fileNameAtIndex(1), "2 small.jpg");
    fs::remove(thumbs / "2 small.jpg");
    EXPECT_TRUE(record->imageAtIndex(1).isNull()); // gone: null, the list stays until the update
    EXPECT_EQ(record->numberOfImage(), 5);
}

TEST(Recognition, MarkersMustBeExactNonFolderEntries) {
    TempDir dir;
    // An entry (a folder when it ends in '/') and the generation it makes of its folder.
    const std::pair<std::string, int> rows[] = {
        // clang-format off
        {"Library6.iPhoto", 6}, {"Library.iPhoto", 3}, {"Albums/Photo Library", 2},
        {"library6.iphoto", 0}, {"Library.iPhoto/", 0}, {"Albums", 0},
        {"Albums/Photo Library/", 0}, {"Photo Library", 0},
        // clang-format on
    };
    int n = 0;
    for (const auto& [entry, generation] : rows) {
        const auto folder = dir / std::to_string(n++);
        entry.back() == '/' ? void(fs::create_directories(folder / entry))
                            : writeFile(folder / entry, "");
        EXPECT_EQ(Manager::isiPhotoLibrary6(folder), generation == 6) << entry;
        EXPECT_EQ(Manager::isiPhotoLibrary3(folder), generation == 3) << entry;
        EXPECT_EQ(Manager::isiPhotoLibrary2(folder), generation == 2) << entry;
        EXPECT_EQ(Manager::isiPhotoLibrary(folder), generation != 0) << entry;
    }
    EXPECT_FALSE(Manager::isiPhotoLibrary(dir / "missing"));
    EXPECT_FALSE(Manager::isiPhotoLibrary(dir / "0" / "Library6.iPhoto")); // a file is no folder
    fs::create_directories(dir / "link");
    fs::create_symlink(dir / "0" / "Library6.iPhoto", dir / "link" / "Library6.iPhoto");
    EXPECT_TRUE(Manager::isiPhotoLibrary(dir / "link")); // a link to a file is a marker
}

TEST(Discovery, DepthFirstInByteOrderNotInsideALibraryLinksFollowedAndLoopsEnded) {
    TempDir dir;
    const std::string raw = "b\xff raw";
    libraryOf(6, dir / "a" / "x" / "y" / "deep", {});
    libraryOf(2, dir / ".hidden lib", {});
    libraryOf(3, dir / raw, {});
    libraryOf(3, dir / "a" / "shallow", {});
    libraryOf(6, dir / "a" / "shallow" / "inner", {}); // a library inside a library
    writeFile(dir / "a" / "Library6.iPhoto-not", "");
    libraryOf(3, dir / "c", {});
    writeFile(dir / "c" / "Albums" / "Photo Library", ""); // two generations: reported once
    EXPECT_EQ(Manager::iPhotoLibrariesPathsInFolder(dir.path()),
              (Paths{dir / ".hidden lib", dir / "a" / "shallow", dir / "a" / "x" / "y" / "deep",
                     dir / raw, dir / "c"}));
    // A folder that is a library gives itself only; a missing folder or a file nothing.
    EXPECT_EQ(Manager::iPhotoLibrariesPathsInFolder(dir / "a" / "shallow"),
              Paths{dir / "a" / "shallow"});
    EXPECT_TRUE(Manager::iPhotoLibrariesPathsInFolder(dir / "missing").empty());
    EXPECT_TRUE(Manager::iPhotoLibrariesPathsInFolder(dir / "a" / "Library6.iPhoto-not").empty());
    libraryOf(3, dir / "elsewhere" / "lib", {});
    fs::create_directories(dir / "root" / "sub");
    fs::create_symlink(dir / "elsewhere", dir / "root" / "a-link");
    fs::create_symlink(dir / "root", dir / "root" / "sub" / "loop");         // back to the start
    fs::create_symlink(dir / "root" / "sub", dir / "root" / "sub" / "self"); // to itself
    fs::create_symlink(dir / "nowhere", dir / "root" / "dangling");
    libraryOf(6, dir / "root" / "sub" / "z-after-loop", {});
    // The library stays under the name by which it was reached.
    EXPECT_EQ(Manager::iPhotoLibrariesPathsInFolder(dir / "root"),
              (Paths{dir / "root" / "a-link" / "lib", dir / "root" / "sub" / "z-after-loop"}));
    // One searcher, two searches that don't mix.
    auto searcher = Manager::init();
    EXPECT_EQ(searcher->searchForLibsInFolder(dir / "a" / "x"),
              Paths{dir / "a" / "x" / "y" / "deep"});
    EXPECT_EQ(searcher->searchForLibsInFolder(dir / "a"),
              (Paths{dir / "a" / "shallow", dir / "a" / "x" / "y" / "deep"}));
}

TEST(Walks, EachFolderIsEnteredOnceThroughADiamondOfLinks) {
    // Two links per level to the next level, 30 levels: a walk that doesn't
    // remember where it has been goes 2^30 ways. (The image walks keep the
    // same record of visited folders; their link loops are above.)
    TempDir dir;
    fs::create_directories(dir / "d0");
    for (int level = 0; level < 30; ++level) {
        fs::create_directories(dir / ("d" + std::to_string(level + 1)));
        for (const char* link : {"a", "b"})
            fs::create_symlink(dir / ("d" + std::to_string(level + 1)),
                               dir / ("d" + std::to_string(level)) / link);
    }
    libraryOf(3, dir / "d30" / "lib", {});
    EXPECT_EQ(Manager::iPhotoLibrariesPathsInFolder(dir / "d0").size(), 1u);
}

TEST(Discovery, UnreadableFolderIsPassedOver) {
    TempDir dir;
    libraryOf(3, dir / "locked" / "lib", {});
    libraryOf(3, dir / "open" / "lib", {});
    chmod(dir.path().c_str(), 0755);
    chmod((dir / "locked").c_str(), 0);
    EXPECT_EQ(runAsUnprivilegedUser([&] {
                  return Manager::iPhotoLibrariesPathsInFolder(dir.path()) ==
                         Paths{dir / "open" / "lib"};
              }),
              1);
}
