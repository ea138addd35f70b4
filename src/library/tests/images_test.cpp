// The thumbnail walks of the three generations and how one image is handed out.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "library/iphoto_album_manager.h"
#include "library/tests/support/library_fixtures.h"
#include "tests/temp_dir.h"

using namespace slidebox;
namespace fx = slidebox::testing;
using slidebox::testing::TempDir;
using slidebox::testing::writeFile;
using Paths = iPhotoAlbumManager::PathList;

namespace {
// A record of the folder that doesn't watch it.
std::shared_ptr<iPhotoAlbumManager> open(const std::filesystem::path& folder) {
    auto record = iPhotoAlbumManager::initWithAlbumPath(folder);
    record->stopLookAtModificationDate();
    return record;
}
Paths imagesOf(const std::filesystem::path& folder) {
    const auto record = open(folder);
    return record->imagePaths() ? record->imagePaths()->toPathList() : Paths{};
}
} // namespace

TEST(ImageWalk, Generation6TakesOnlyTheLowestFoldersBelowData) {
    TempDir dir;
    auto lib = dir / "lib";
    fx::makeLibrary6(lib, {"2006/Roll 1", "2006/Roll 2"}, 2);
    fx::makeJpeg(lib / "Data" / "2006" / "not-lowest.jpg");
    fx::makeJpeg(lib / "Data" / "direct.jpg");
    fx::makeJpeg(lib / "Thumbs" / "ignored.jpg"); // Thumbs don't count in generation 6
    Paths expected{lib / "Data/2006/Roll 1/1.jpg", lib / "Data/2006/Roll 1/2.jpg",
                   lib / "Data/2006/Roll 2/1.jpg", lib / "Data/2006/Roll 2/2.jpg"};
    EXPECT_EQ(imagesOf(lib), expected);

    // Without subfolders below Data, or without Data, no images.
    fx::makeLibrary6(dir / "flat", {});
    fx::makeJpeg(dir / "flat" / "Data" / "a.jpg");
    EXPECT_TRUE(imagesOf(dir / "flat").empty());
    writeFile(dir / "nodata" / "Library6.iPhoto", "");
    fx::makeJpeg(dir / "nodata" / "Thumbs" / "a.jpg");
    EXPECT_TRUE(imagesOf(dir / "nodata").empty());
}

TEST(ImageWalk, ThumbsAtAnyDepthButNotInsideThumbs) {
    TempDir dir;
    auto lib = dir / "lib";
    fx::makeLibrary3(lib, {"Thumbs", "a/b/c/Thumbs"});
    fx::makeJpeg(lib / "Thumbs" / "Thumbs" / "nested.jpg");
    Paths images = imagesOf(lib);
    Paths expected{lib / "Thumbs/1.jpg", lib / "a/b/c/Thumbs/1.jpg"};
    EXPECT_EQ(images, expected);

    // Generation 2 and a folder that is no library at all walk the same way.
    fx::makeLibrary2(dir / "two", {"Thumbs"});
    EXPECT_EQ(imagesOf(dir / "two"), Paths{dir / "two/Thumbs/1.jpg"});
    fx::makeJpeg(dir / "plain" / "x" / "Thumbs" / "p.jpg");
    EXPECT_EQ(imagesOf(dir / "plain"), Paths{dir / "plain/x/Thumbs/p.jpg"});
}

TEST(ImageWalk, OnlyLowerCaseJpgExtensionOfAnyKind) {
    TempDir dir;
    auto thumbs = dir / "lib" / "Thumbs";
    fx::makeLibrary3(dir / "lib", {});
    fx::makeJpeg(thumbs / "a.JPG");
    fx::makeJpeg(thumbs / "b.jpeg");
    fx::makeJpeg(thumbs / "c.jpg");
    std::filesystem::create_directories(thumbs / "d.jpg"); // a folder with the extension is taken
    auto record = open(dir / "lib");
    EXPECT_EQ(record->imagePaths(), (Paths{thumbs / "c.jpg", thumbs / "d.jpg"}));
    EXPECT_FALSE(record->imageAtIndex(0).isNull());
    EXPECT_TRUE(record->imageAtIndex(1).isNull()); // the folder gives no image
}

TEST(ImageWalk, ThumbnailLinkLoopEnds) {
    TempDir dir;
    fx::makeLibrary3(dir / "lib", {"a/Thumbs"});
    std::filesystem::create_symlink(dir / "lib", dir / "lib" / "a" / "up");
    EXPECT_EQ(imagesOf(dir / "lib"), Paths{dir / "lib/a/Thumbs/1.jpg"});

    fx::makeLibrary6(dir / "six", {"r/s"});
    std::filesystem::create_symlink(dir / "six" / "Data", dir / "six" / "Data" / "r" / "loop");
    EXPECT_EQ(imagesOf(dir / "six"), Paths{dir / "six/Data/r/s/1.jpg"});
}

TEST(ImageAccess, IndexRulesNamesAndOnePointPerPixel) {
    TempDir dir;
    fx::makeLibrary3(dir / "lib", {});
    fx::makeJpeg(dir / "lib" / "Thumbs" / "big.jpg", 300, 200, 144, 1);
    fx::makeJpeg(dir / "lib" / "Thumbs" / "small.jpg", 10, 20, 72, 2);
    auto record = open(dir / "lib");
    ASSERT_EQ(record->numberOfImage(), 2);

    QImage first = record->imageAtIndex(0);
    ASSERT_FALSE(first.isNull());
    EXPECT_EQ(first.size(), QSize(300, 200));
    EXPECT_EQ(first.dotsPerMeterX(), 2835);                     // 72 dpi: a point is a pixel
    EXPECT_EQ(record->imageAtIndex(2).size(), QSize(300, 200)); // past the end: the first image
    EXPECT_EQ(record->imageAtIndex(1).size(), QSize(10, 20));

    EXPECT_EQ(record->fileNameAtIndex(-1), "");
    EXPECT_EQ(record->fileNameAtIndex(1), "small.jpg");

    std::filesystem::remove(dir / "lib" / "Thumbs" / "small.jpg");
    EXPECT_TRUE(
        record->imageAtIndex(1).isNull()); // gone: null, the list stays until the next update
    EXPECT_EQ(record->numberOfImage(), 2);
}

TEST(ImageAccess, OnlyRegularFilesWithinTheLimitAreRead) {
    TempDir dir;
    fx::makeLibrary3(dir / "lib", {});
    const auto thumbs = dir / "lib" / "Thumbs";
    fx::makeJpeg(thumbs / "1.jpg"); // made by the fixture: the one image that shows
    ASSERT_EQ(mkfifo((thumbs / "2.jpg").c_str(), 0600),
              0); // an open that blocks would never return
    std::filesystem::create_symlink("/dev/zero", thumbs / "3.jpg");
    writeFile(thumbs / "4.jpg", std::string(iPhotoAlbumManager::maxImageFileBytes + 1, '\xff'));
    auto record = open(dir / "lib");
    ASSERT_EQ(record->numberOfImage(), 4);
    EXPECT_FALSE(record->imageAtIndex(0).isNull());
    for (int index = 1; index < 4; ++index)
        EXPECT_TRUE(record->imageAtIndex(index).isNull()) << index;
}

TEST(ImageAccess, EmptyLibraryAndRecordWithoutPathHaveNoImages) {
    TempDir dir;
    fx::makeLibrary6(dir / "empty", {});
    auto record = open(dir / "empty");
    EXPECT_EQ(record->numberOfImage(), 0);
    EXPECT_TRUE(record->imagePaths().has_value()); // empty, not absent
    EXPECT_TRUE(record->imageAtIndex(0).isNull());
    EXPECT_TRUE(record->defaultImage().isNull());
    EXPECT_EQ(record->defaultImageIndex(), -1);
    auto searchOnly = iPhotoAlbumManager::init();
    EXPECT_FALSE(searchOnly->searchForImages().has_value()); // no path: no walk
    EXPECT_EQ(searchOnly->fileNameAtIndex(-1), "");
}
