// Recognition of the three library generations and discovery below a folder.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include "library/iphoto_album_manager.h"
#include "library/tests/support/library_fixtures.h"
#include "tests/temp_dir.h"
#include "tests/unprivileged.h"

using namespace slidebox;
namespace fx = slidebox::testing;
using slidebox::testing::TempDir;
using slidebox::testing::writeFile;
using Paths = iPhotoAlbumManager::PathList;

TEST(Recognition, MarkersMustBeExactNonFolderEntries) {
    TempDir dir;
    writeFile(dir / "six" / "Library6.iPhoto", "");
    writeFile(dir / "three" / "Library.iPhoto", "");
    writeFile(dir / "two" / "Albums" / "Photo Library", "");
    writeFile(dir / "case" / "library6.iphoto", "");
    std::filesystem::create_directories(dir / "dir-marker" / "Library.iPhoto");
    writeFile(dir / "albums-file" / "Albums", "");
    std::filesystem::create_directories(dir / "albums-dir-marker" / "Albums" / "Photo Library");
    writeFile(dir / "loose-marker2" / "Photo Library", "");
    writeFile(dir / "target", "");
    std::filesystem::create_directories(dir / "link");
    std::filesystem::create_symlink(dir / "target", dir / "link" / "Library6.iPhoto");

    EXPECT_TRUE(iPhotoAlbumManager::isiPhotoLibrary6(dir / "six"));
    EXPECT_FALSE(iPhotoAlbumManager::isiPhotoLibrary3(dir / "six"));
    EXPECT_TRUE(iPhotoAlbumManager::isiPhotoLibrary3(dir / "three"));
    EXPECT_TRUE(iPhotoAlbumManager::isiPhotoLibrary2(dir / "two"));
    EXPECT_FALSE(iPhotoAlbumManager::isiPhotoLibrary6(dir / "two"));
    for (const char* plain :
         {"case", "dir-marker", "albums-file", "albums-dir-marker", "loose-marker2", "missing"})
        EXPECT_FALSE(iPhotoAlbumManager::isiPhotoLibrary(dir / plain)) << plain;
    EXPECT_TRUE(iPhotoAlbumManager::isiPhotoLibrary(dir / "link")); // a link to a file is a marker
    EXPECT_FALSE(iPhotoAlbumManager::isiPhotoLibrary(dir / "target")); // a file is no folder
}

TEST(Discovery, FolderThatIsALibraryGivesItselfOnly) {
    TempDir dir;
    fx::makeLibrary3(dir / "outer", {});
    fx::makeLibrary6(dir / "outer" / "inner", {});
    EXPECT_EQ(iPhotoAlbumManager::iPhotoLibrariesPathsInFolder(dir / "outer"),
              Paths{dir / "outer"});
    // Searching from above doesn't find the library inside the library.
    EXPECT_EQ(iPhotoAlbumManager::iPhotoLibrariesPathsInFolder(dir.path()), Paths{dir / "outer"});
}

TEST(Discovery, DepthFirstInByteOrderWithHiddenFoldersAndOddNames) {
    TempDir dir;
    const std::string raw = "b\xff raw";
    fx::makeLibrary6(dir / "a" / "x" / "y" / "deep", {});
    fx::makeLibrary2(dir / ".hidden lib", {});
    fx::makeLibrary3(dir / raw, {});
    fx::makeLibrary3(dir / "a" / "shallow", {});
    writeFile(dir / "a" / "Library6.iPhoto-not", "");
    // One library with markers of two generations is reported once.
    fx::makeLibrary3(dir / "c", {});
    writeFile(dir / "c" / "Albums" / "Photo Library", "");

    Paths expected{dir / ".hidden lib", dir / "a" / "shallow", dir / "a" / "x" / "y" / "deep",
                   dir / raw, dir / "c"};
    EXPECT_EQ(iPhotoAlbumManager::iPhotoLibrariesPathsInFolder(dir.path()), expected);
}

TEST(Discovery, MissingOrFileGivesNothingAndSearchesDontMix) {
    TempDir dir;
    writeFile(dir / "file", "");
    EXPECT_TRUE(iPhotoAlbumManager::iPhotoLibrariesPathsInFolder(dir / "missing").empty());
    EXPECT_TRUE(iPhotoAlbumManager::iPhotoLibrariesPathsInFolder(dir / "file").empty());

    fx::makeLibrary3(dir / "one" / "lib", {});
    fx::makeLibrary3(dir / "two" / "lib", {});
    auto searcher = iPhotoAlbumManager::init();
    EXPECT_EQ(searcher->searchForLibsInFolder(dir / "one"), Paths{dir / "one" / "lib"});
    EXPECT_EQ(searcher->searchForLibsInFolder(dir / "two"), Paths{dir / "two" / "lib"});
}

TEST(Discovery, LinksAreFollowedLoopsEndAndDanglingLinksAreSkipped) {
    TempDir dir;
    fx::makeLibrary3(dir / "elsewhere" / "lib", {});
    std::filesystem::create_directories(dir / "root" / "sub");
    std::filesystem::create_symlink(dir / "elsewhere", dir / "root" / "a-link");
    std::filesystem::create_symlink(dir / "root",
                                    dir / "root" / "sub" / "loop"); // back to the start
    std::filesystem::create_symlink(dir / "root" / "sub",
                                    dir / "root" / "sub" / "self"); // to itself
    std::filesystem::create_symlink(dir / "nowhere", dir / "root" / "dangling");
    fx::makeLibrary6(dir / "root" / "sub" / "z-after-loop", {});

    // The library stays under the name by which it was reached.
    Paths expected{dir / "root" / "a-link" / "lib", dir / "root" / "sub" / "z-after-loop"};
    EXPECT_EQ(iPhotoAlbumManager::iPhotoLibrariesPathsInFolder(dir / "root"), expected);
}

TEST(Walks, EachFolderIsEnteredOnceThroughADiamondOfLinks) {
    // Two links per level to the next level, 30 levels: a walk that doesn't
    // remember where it has been goes 2^30 ways.
    TempDir dir;
    auto diamond = [](const std::filesystem::path& top, int levels) {
        for (int level = 0; level < levels; ++level) {
            const auto here = top / ("d" + std::to_string(level)),
                       next = top / ("d" + std::to_string(level + 1));
            std::filesystem::create_directories(here);
            std::filesystem::create_directories(next);
            std::filesystem::create_symlink(next, here / "a");
            std::filesystem::create_symlink(next, here / "b");
        }
        return top / ("d" + std::to_string(levels));
    };
    fx::makeLibrary3(diamond(dir / "pictures", 30) / "lib", {});
    const auto found = iPhotoAlbumManager::iPhotoLibrariesPathsInFolder(dir / "pictures" / "d0");
    ASSERT_EQ(found.size(), 1u);
    EXPECT_TRUE(iPhotoAlbumManager::isiPhotoLibrary(found[0]));

    fx::makeLibrary6(dir / "six", {});
    fx::makeJpeg(diamond(dir / "six" / "Data", 30) / "roll" / "1.jpg");
    auto record = iPhotoAlbumManager::initWithAlbumPath(dir / "six");
    record->stopLookAtModificationDate();
    EXPECT_EQ(record->numberOfImage(), 1);
}

TEST(Discovery, UnreadableFolderIsPassedOver) {
    TempDir dir;
    fx::makeLibrary3(dir / "locked" / "lib", {});
    fx::makeLibrary3(dir / "open" / "lib", {});
    chmod(dir.path().c_str(), 0755);
    chmod((dir / "locked").c_str(), 0);
    EXPECT_EQ(fx::runAsUnprivilegedUser([&] {
                  return iPhotoAlbumManager::iPhotoLibrariesPathsInFolder(dir.path()) ==
                                 Paths{dir / "open" / "lib"}
                             ? 0
                             : 1;
              }),
              0);
    chmod((dir / "locked").c_str(), 0755);
}
