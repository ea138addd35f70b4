// The library record and its dictionary form.
#include <gtest/gtest.h>

#include "library/iphoto_album_manager.h"
#include "library/tests/support/library_fixtures.h"
#include "platform/plist_file.h"
#include "tests/temp_dir.h"

using namespace slidebox;
namespace fx = slidebox::testing;
using platform::Date;
using platform::PlistArray;
using platform::PlistDictionary;
using platform::PlistValue;
using slidebox::testing::TempDir;
using Paths = iPhotoAlbumManager::PathList;

TEST(Record, SearchOnlyInstanceAndTheDefaultImageIndexLimitedByTheCount) {
    Date before = Date::now();
    auto record = iPhotoAlbumManager::init();
    EXPECT_FALSE(record->albumPath());
    EXPECT_GE(record->albumDate().value_or(Date{}), before);
    EXPECT_EQ(record->defaultImageIndex(), -1);
    EXPECT_FALSE(record->isiPhotoAlbumPath());
    EXPECT_FALSE(record->isWatching());
    EXPECT_FALSE(record->dictionary()); // drops out of a save
    record->setImagePaths(Paths{"/a.jpg", "/b.jpg", "/c.jpg"});
    EXPECT_EQ(record->description(), "PhotoAlbum with 3 photos");
    record->setDefaultImageIndex(-5);
    EXPECT_EQ(record->defaultImageIndex(), 0);
    record->setDefaultImageIndex(1000);
    EXPECT_EQ(record->defaultImageIndex(), 2);
    record->setDefaultImageIndex(1);
    EXPECT_EQ(record->defaultImageIndex(), 1);
    record->setImagePaths(Paths{}); // setting the list doesn't touch the index
    EXPECT_EQ(record->defaultImageIndex(), 1);
    for (int v : {-1, 0, 5}) {
        record->setDefaultImageIndex(v);
        EXPECT_EQ(record->defaultImageIndex(), -1);
    }
    EXPECT_EQ(record->description(), "PhotoAlbum with 0 photos");
}

TEST(Record, DictionaryRoundTrip) {
    TempDir dir;
    fx::makeLibrary6(dir / "lib \xe9", {"r"}, 3);
    fx::setModificationTime(dir / "lib \xe9" / "Library6.iPhoto", 1600000000, 123456789);
    auto record = iPhotoAlbumManager::initWithAlbumPath(dir / "lib \xe9");
    record->setDefaultImageIndex(2);
    auto holder = record; // a second owner, as the list: the save may look at the disk
    auto dict = record->dictionary();
    ASSERT_TRUE(dict);
    EXPECT_EQ(dict->size(), 4u);
    EXPECT_EQ(*(*dict)["AM_AlbumPath"].string(), (dir / "lib \xe9").native());
    EXPECT_EQ(*(*dict)["AM_AlbumDate"].date(), (Date{1600000000, 123456789}));
    EXPECT_EQ((*dict)["AM_defaultImageIndex"].intValue(), 2);
    EXPECT_EQ((*dict)["AM_ImagePaths"].array()->size(), 3u);
    record->stopLookAtModificationDate();

    // Back from the dictionary, nothing changes (the file format is the platform's).
    auto restored = iPhotoAlbumManager::initWithDictionary(*dict);
    EXPECT_EQ(restored->albumPath(), record->albumPath());
    EXPECT_EQ(restored->albumDate(), record->albumDate());
    EXPECT_EQ(restored->imagePaths(), record->imagePaths());
    EXPECT_EQ(restored->defaultImageIndex(), 2);
    EXPECT_TRUE(restored->isWatching());
    restored->stopLookAtModificationDate();
}

TEST(Record, RestoredWithoutTouchingTheDiskAndMissingKeysTolerated) {
    PlistDictionary dict{
        {"AM_AlbumPath", PlistValue("/no/such/library")},
        {"AM_AlbumDate", PlistValue(Date{1, 2})},
        {"AM_ImagePaths", PlistValue(PlistArray{"/x/1.jpg", 5, "/x/2.jpg", "/x/3.jpg"})},
        {"AM_defaultImageIndex", PlistValue(7)}};
    auto gone = iPhotoAlbumManager::initWithDictionary(dict);
    // The stored list stands until the first tick; an item that is no path is left out.
    EXPECT_EQ(gone->imagePaths(), (Paths{"/x/1.jpg", "/x/2.jpg", "/x/3.jpg"}));
    EXPECT_EQ(gone->defaultImageIndex(), 2); // 7 limited by 3 images
    EXPECT_EQ(gone->albumDate(), (Date{1, 2}));
    gone->stopLookAtModificationDate();

    auto noPath = iPhotoAlbumManager::initWithDictionary(
        {{"AM_ImagePaths", PlistValue(PlistArray{"/a.jpg"})}});
    EXPECT_FALSE(noPath->isWatching());
    EXPECT_EQ(noPath->defaultImageIndex(), 0);
    EXPECT_FALSE(noPath->dictionary()); // drops out of the next save

    // Wrong types count as missing; the keys are case-sensitive.
    auto wrong =
        iPhotoAlbumManager::initWithDictionary({{"AM_AlbumPath", PlistValue(42)},
                                                {"AM_ImagePaths", PlistValue("not an array")},
                                                {"AM_DefaultImageIndex", PlistValue(1)}});
    EXPECT_FALSE(wrong->albumPath());
    EXPECT_FALSE(wrong->imagePaths());
    EXPECT_EQ(wrong->defaultImageIndex(), -1);
}
