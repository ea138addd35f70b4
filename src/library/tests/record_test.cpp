// The library record, its dictionary form and its change watching: the tick
// called directly on file dates set by hand, and one real timer.
#include <gtest/gtest.h>

#include <fstream>

#include <QCoreApplication>
#include <QElapsedTimer>

#include "library/iphoto_album_manager.h"
#include "library/tests/support/library_fixtures.h"
#include "platform/notification_center.h"
#include "platform/plist_file.h"
#include "platform/user_defaults.h"
#include "tests/log_capture.h"
#include "tests/temp_dir.h"

using namespace slidebox;
using namespace slidebox::testing;
using platform::Date;
using platform::PlistArray;
using platform::PlistValue;
using Manager = iPhotoAlbumManager;
using Paths = Manager::PathList;

namespace {

// The notifications of a change of a library while it lives.
struct Notifications {
    std::vector<const void*> objects;
    platform::NotificationCenter::Observation observation =
        platform::NotificationCenter::defaultCenter().addObserver(
            libraryModificationNotification,
            [this](const void* object) { objects.push_back(object); });
};

} // namespace

TEST(Record, SearchOnlyInstanceAndTheDefaultImageIndexLimitedByTheCount) {
    const Date before = Date::now();
    auto record = Manager::init();
    EXPECT_FALSE(record->albumPath());
    EXPECT_GE(record->albumDate().value_or(Date{}), before);
    EXPECT_EQ(record->defaultImageIndex(), -1);
    EXPECT_FALSE(record->isiPhotoAlbumPath());
    EXPECT_FALSE(record->isWatching());
    EXPECT_FALSE(record->dictionary()); // drops out of a save
    record->setImagePaths(Paths{"/a.jpg", "/b.jpg", "/c.jpg"});
    EXPECT_EQ(record->description(), "PhotoAlbum with 3 photos");
    for (auto [set, got] :
         std::initializer_list<std::pair<int, int>>{{-5, 0}, {1000, 2}, {2, 2}, {1, 1}}) {
        record->setDefaultImageIndex(set);
        EXPECT_EQ(record->defaultImageIndex(), got) << set;
    }
    record->setImagePaths(Paths{}); // setting the list doesn't touch the index
    EXPECT_EQ(record->defaultImageIndex(), 1);
    for (int set : {-1, 0, 5}) {
        record->setDefaultImageIndex(set);
        EXPECT_EQ(record->defaultImageIndex(), -1) << set;
    }
    EXPECT_EQ(record->description(), "PhotoAlbum with 0 photos");
}

TEST(Record, DictionaryRoundTrip) {
    TempDir dir;
    const auto folder = dir / "lib \xe9";
    libraryOf(6, folder, {"r"}, 3);
    setModificationTime(folder / "Library6.iPhoto", 1600000000, 123456789);
    auto record = Manager::initWithAlbumPath(folder);
    record->setDefaultImageIndex(2);
    auto holder = record; // a second owner, as the list: the save may look at the disk
    auto dict = record->dictionary();
    ASSERT_TRUE(dict);
    EXPECT_EQ(dict->size(), 4u);
    EXPECT_EQ((*dict)["AM_AlbumPath"], PlistValue(folder.native()));
    EXPECT_EQ((*dict)["AM_AlbumDate"], PlistValue(Date{1600000000, 123456789}));
    EXPECT_EQ((*dict)["AM_defaultImageIndex"], PlistValue(2));
    EXPECT_EQ((*dict)["AM_ImagePaths"].array()->size(), 3u);
    // Back from the dictionary, nothing changes (the file format is the platform's).
    auto restored = Manager::initWithDictionary(*dict);
    EXPECT_EQ(restored->albumPath(), record->albumPath());
    EXPECT_EQ(restored->albumDate(), record->albumDate());
    EXPECT_EQ(restored->imagePaths(), record->imagePaths());
    EXPECT_EQ(restored->defaultImageIndex(), 2);
    EXPECT_TRUE(restored->isWatching());
    restored->stopLookAtModificationDate();
    // A save brings a changed library up to date first, and tells.
    makeJpeg(folder / "Data" / "r" / "4.jpg");
    setModificationTime(folder / "Library6.iPhoto", 1600000001, 0);
    Notifications seen;
    EXPECT_EQ((*holder->dictionary())["AM_ImagePaths"].array()->size(), 4u);
    EXPECT_EQ(seen.objects.size(), 1u);
    record->stopLookAtModificationDate();
}

TEST(Record, RestoredWithoutTouchingTheDiskAndMissingKeysTolerated) {
    auto gone = Manager::initWithDictionary(
        {{"AM_AlbumPath", PlistValue("/no/such/library")},
         {"AM_AlbumDate", PlistValue(Date{1, 2})},
         {"AM_ImagePaths", PlistValue(PlistArray{"/x/1.jpg", 5, "/x/2.jpg", "/x/3.jpg"})},
         {"AM_defaultImageIndex", PlistValue(7)}});
    gone->stopLookAtModificationDate();
    // The stored list stands until the first tick; an item that is no path is left out.
    EXPECT_EQ(gone->imagePaths(), (Paths{"/x/1.jpg", "/x/2.jpg", "/x/3.jpg"}));
    EXPECT_EQ(gone->defaultImageIndex(), 2); // 7 limited by 3 images
    EXPECT_EQ(gone->albumDate(), (Date{1, 2}));

    auto noPath =
        Manager::initWithDictionary({{"AM_ImagePaths", PlistValue(PlistArray{"/a.jpg"})}});
    EXPECT_FALSE(noPath->isWatching());
    EXPECT_EQ(noPath->defaultImageIndex(), 0);
    EXPECT_FALSE(noPath->dictionary()); // drops out of the next save

    // Wrong types count as missing; the keys are case-sensitive.
    auto wrong = Manager::initWithDictionary({{"AM_AlbumPath", PlistValue(42)},
                                              {"AM_ImagePaths", PlistValue("not an array")},
                                              {"AM_DefaultImageIndex", PlistValue(1)}});
    EXPECT_FALSE(wrong->albumPath());
    EXPECT_FALSE(wrong->imagePaths());
    EXPECT_EQ(wrong->defaultImageIndex(), -1);
}

// Paths read from the settings stay in the file until a path is asked for,
// and a save gives them back as they were stored, unread, until they change.
// Gone from under the record (the file rewritten in place), they read as no
// paths, never past the end.
TEST(Record, StoredPathsAreReadAtFirstUseAndSavedUnreadUntilChanged) {
    TempDir dir;
    PlistArray stored;
    Paths paths;
    for (int i = 0; i < 300; ++i) {
        paths.push_back("/x/" + std::to_string(i) + ".jpg");
        stored.emplace_back(paths.back().native());
    }
    stored.insert(stored.begin() + 5, PlistValue(7)); // no path: left out when read
    ASSERT_TRUE(platform::UserDefaults(dir / "cfg")
                    .setObject("r", platform::PlistDictionary{
                                        {"AM_AlbumPath", PlistValue("/no/such/library")},
                                        {"AM_ImagePaths", PlistValue(stored)},
                                        {"AM_defaultImageIndex", PlistValue(299)}}));
    auto readRecord = [&](const platform::UserDefaults& defaults) {
        auto record = Manager::initWithDictionary(*defaults.objectForKey("r").dictionary());
        record->stopLookAtModificationDate();
        return record;
    };
    platform::UserDefaults defaults(dir / "cfg");
    const PlistValue& inFile = defaults.objectForKey("r")["AM_ImagePaths"];
    ASSERT_NE(inFile.stored(), nullptr);

    auto record = readRecord(defaults);
    EXPECT_EQ(record->numberOfImage(), 301); // counted unread
    EXPECT_EQ(record->defaultImageIndex(), 299);
    EXPECT_EQ((*record->dictionary())["AM_ImagePaths"].stored(), inFile.stored());
    EXPECT_EQ(record->fileNameAtIndex(299), "299.jpg");
    EXPECT_EQ(record->numberOfImage(), 300);
    EXPECT_EQ(std::vector(record->imagePaths()->begin(), record->imagePaths()->end()), paths);
    EXPECT_EQ(record->imagePaths(), paths);
    EXPECT_EQ((*record->dictionary())["AM_ImagePaths"].stored(), inFile.stored());

    ImagePathList changed = *record->imagePaths();
    changed.push_back("/x/new.jpg");
    paths.push_back("/x/new.jpg");
    EXPECT_EQ(changed, paths);
    EXPECT_EQ(changed.toPlist().stored(), nullptr);
    EXPECT_EQ(changed.toPlist().array()->back(), PlistValue("/x/new.jpg"));

    auto unread = readRecord(defaults);
    std::ofstream(dir / "cfg" / "defaults.plist", std::ios::trunc) << "edited";
    LogCapture log;
    EXPECT_EQ(unread->numberOfImage(), 301);
    EXPECT_EQ(unread->fileNameAtIndex(299), "");
    EXPECT_EQ(unread->numberOfImage(), 0);
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_NE(log.lines[0].find("changed in place"), std::string::npos) << log.lines[0];
}

TEST(Watch, AnyChangeOfTheMarkerUpdatesOnceAndAMissingOneEveryTickUntilItComes) {
    TempDir dir;
    libraryOf(3, dir / "lib", {"Thumbs"}, 3);
    const auto marker = dir / "lib" / "Library.iPhoto";
    setModificationTime(marker, 1600000000, 1);
    auto record = Manager::initWithAlbumPath(dir / "lib");
    record->setDefaultImageIndex(2);
    Notifications seen;
    record->checkLibraryModificationDate();
    EXPECT_TRUE(seen.objects.empty());
    EXPECT_EQ(record->defaultImageIndex(), 2);

    makeJpeg(dir / "lib" / "Thumbs" / "4.jpg");
    setModificationTime(marker, 1600000000, 2); // one nanosecond later is a change
    record->checkLibraryModificationDate();
    EXPECT_EQ(seen.objects, std::vector<const void*>{record.get()});
    EXPECT_EQ(record->numberOfImage(), 4);
    EXPECT_EQ(record->defaultImageIndex(), 0);
    EXPECT_EQ(record->albumDate(), (Date{1600000000, 2}));

    setModificationTime(marker, 1000000000, 0); // into the past
    record->checkLibraryModificationDate();
    EXPECT_EQ(seen.objects.size(), 2u);
    EXPECT_EQ(record->albumDate(), (Date{1000000000, 0}));
    record->stopLookAtModificationDate();
    record->stopLookAtModificationDate(); // twice is harmless

    std::filesystem::create_directories(dir / "new");
    // A library not made yet notifies every tick until its marker comes.
    record = Manager::initWithAlbumPath(dir / "new");
    seen.objects.clear();
    record->checkLibraryModificationDate();
    record->checkLibraryModificationDate();
    EXPECT_EQ(seen.objects.size(), 2u);
    EXPECT_EQ(record->numberOfImage(), 0);
    libraryOf(6, dir / "new", {"r"});
    record->checkLibraryModificationDate(); // one more update picks up the marker's date
    EXPECT_EQ(seen.objects.size(), 3u);
    EXPECT_EQ(record->numberOfImage(), 1);
    record->checkLibraryModificationDate(); // and then the ticks go quiet
    EXPECT_EQ(seen.objects.size(), 3u);
    record->stopLookAtModificationDate();
}

TEST(Watch, RealTimerFreesAnOrphanAtItsNextTickButKeepsAHeldRecord) {
    TempDir dir;
    libraryOf(6, dir / "a", {"r"});
    libraryOf(6, dir / "b", {"r"});
    std::weak_ptr<Manager> orphan = Manager::initWithAlbumPath(dir / "a");
    orphan.lock()->startLookAtModificationDate();      // a second start leaves one timer
    auto held = Manager::initWithAlbumPath(dir / "b"); // as a viewer holds it
    EXPECT_FALSE(orphan.expired());                    // the timer holds it until its next tick
    QElapsedTimer clock;
    clock.start();
    while (!orphan.expired() && clock.elapsed() < 10000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    EXPECT_GE(clock.elapsed(), 2100 - 50); // the 2.1 s poll, no faster
    EXPECT_TRUE(orphan.expired());
    EXPECT_TRUE(held->isWatching());
    held->stopLookAtModificationDate();
}

TEST(Watch, DatesOfMarkersInGenerationOrder) {
    TempDir dir;
    const auto lib = dir / "lib";
    libraryOf(6, lib, {});
    libraryOf(2, lib, {});
    writeFile(dir / "target", "");
    std::filesystem::create_symlink(dir / "target", lib / "Library.iPhoto");
    setModificationTime(lib / "Library6.iPhoto", 1700000000, 7);
    setModificationTime(lib / "Library.iPhoto", 1700000009, 9, true); // the link's own date
    setModificationTime(dir / "target", 1200000000, 0);
    setModificationTime(lib / "Albums" / "Photo Library", 1100000000, 11);
    auto record = Manager::initWithAlbumPath(lib);
    EXPECT_EQ(record->getLibraryModificationDate3(), (Date{1700000009, 9})); // a link by itself
    EXPECT_EQ(record->getLibraryModificationDate2(), (Date{1100000000, 11}));
    Notifications seen;
    setModificationTime(lib / "Library.iPhoto", 1000, 0, true); // not the first marker: no change
    record->checkLibraryModificationDate();
    EXPECT_TRUE(seen.objects.empty());
    record->stopLookAtModificationDate();
    // Generation 6 comes first, then 3, then 2. (A library without a marker
    // is dated now: the ticks above see a change each time.)
    for (const auto& [marker, date] : {std::pair{"Library6.iPhoto", Date{1700000000, 7}},
                                       std::pair{"Library.iPhoto", Date{1000, 0}},
                                       std::pair{"Albums/Photo Library", Date{1100000000, 11}}}) {
        EXPECT_EQ(record->getLibraryModificationDate(), date) << marker;
        std::filesystem::remove(lib / marker);
    }
}
