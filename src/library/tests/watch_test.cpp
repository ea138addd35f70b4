// Change watching: the tick called directly on file dates set by hand, and
// one real timer.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>

#include "library/iphoto_album_manager.h"
#include "library/tests/support/library_fixtures.h"
#include "platform/notification_center.h"
#include "tests/temp_dir.h"

using namespace slidebox;
namespace fx = slidebox::testing;
using platform::Date;
using slidebox::testing::TempDir;

namespace {

// Runs the event loop until the condition holds or the time is up (a loaded
// machine may fire late); gives the milliseconds it took.
template <typename Condition>
qint64 runEventLoopUntil(Condition condition, int timeoutMilliseconds = 10000) {
    QElapsedTimer clock;
    clock.start();
    while (!condition() && clock.elapsed() < timeoutMilliseconds)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    return clock.elapsed();
}

struct NotificationCount {
    std::vector<const void*> objects;
    platform::NotificationCenter::Observation observation =
        platform::NotificationCenter::defaultCenter().addObserver(
            libraryModificationNotification,
            [this](const void* object) { objects.push_back(object); });
};

} // namespace

TEST(Watch, UnchangedQuietChangedUpdatesOnceBackwardsCountsToo) {
    TempDir dir;
    fx::makeLibrary3(dir / "lib", {"Thumbs"}, 3);
    auto marker = dir / "lib" / "Library.iPhoto";
    fx::setModificationTime(marker, 1600000000, 1);
    auto record = iPhotoAlbumManager::initWithAlbumPath(dir / "lib");
    record->setDefaultImageIndex(2);
    NotificationCount count;

    record->checkLibraryModificationDate();
    EXPECT_TRUE(count.objects.empty());
    EXPECT_EQ(record->defaultImageIndex(), 2);

    fx::makeJpeg(dir / "lib" / "Thumbs" / "4.jpg");
    fx::setModificationTime(marker, 1600000000, 2); // one nanosecond later is a change
    record->checkLibraryModificationDate();
    ASSERT_EQ(count.objects.size(), 1u);
    EXPECT_EQ(count.objects[0], record.get());
    EXPECT_EQ(record->numberOfImage(), 4);
    EXPECT_EQ(record->defaultImageIndex(), 0);
    EXPECT_EQ(record->albumDate(), (Date{1600000000, 2}));

    fx::setModificationTime(marker, 1000000000, 0); // into the past
    record->checkLibraryModificationDate();
    EXPECT_EQ(count.objects.size(), 2u);
    EXPECT_EQ(record->albumDate(), (Date{1000000000, 0}));
    record->stopLookAtModificationDate();
    record->stopLookAtModificationDate(); // twice is harmless
}

TEST(Watch, RealTimerFreesAnOrphanAtItsNextTickButKeepsAHeldRecord) {
    TempDir dir;
    fx::makeLibrary6(dir / "a", {"r"});
    fx::makeLibrary6(dir / "b", {"r"});
    std::weak_ptr<iPhotoAlbumManager> orphan;
    {
        auto record = iPhotoAlbumManager::initWithAlbumPath(dir / "a");
        record->startLookAtModificationDate(); // a second start leaves one timer
        orphan = record;
    }
    auto held = iPhotoAlbumManager::initWithAlbumPath(dir / "b"); // as a viewer holds it
    std::weak_ptr<iPhotoAlbumManager> heldWeak = held;
    EXPECT_FALSE(orphan.expired()); // the timer holds it until its next tick
    EXPECT_GE(runEventLoopUntil([&] { return orphan.expired(); }),
              2100 - 50); // the 2.1 s poll, no faster
    EXPECT_TRUE(orphan.expired());
    EXPECT_FALSE(heldWeak.expired());
    EXPECT_TRUE(held->isWatching());
    held.reset();
    runEventLoopUntil([&] { return heldWeak.expired(); });
    EXPECT_TRUE(heldWeak.expired());
}

TEST(Watch, MissingLibraryNotifiesEveryTickUntilTheMarkerComes) {
    TempDir dir;
    std::filesystem::create_directories(dir / "new");
    auto record = iPhotoAlbumManager::initWithAlbumPath(dir / "new");
    NotificationCount count;
    record->checkLibraryModificationDate();
    record->checkLibraryModificationDate();
    EXPECT_EQ(count.objects.size(), 2u);
    EXPECT_EQ(record->numberOfImage(), 0);

    fx::makeLibrary6(dir / "new", {"r"});
    record->checkLibraryModificationDate(); // one more update picks up the marker's date
    EXPECT_EQ(count.objects.size(), 3u);
    EXPECT_EQ(record->numberOfImage(), 1);
    record->checkLibraryModificationDate(); // and then the ticks go quiet
    EXPECT_EQ(count.objects.size(), 3u);
    record->stopLookAtModificationDate();
}

TEST(Watch, DatesOfMarkersAndGenerationOrder) {
    TempDir dir;
    auto lib = dir / "both";
    fx::makeLibrary6(lib, {});
    fx::makeLibrary3(lib, {});
    fx::setModificationTime(lib / "Library6.iPhoto", 1700000000, 7);
    fx::setModificationTime(lib / "Library.iPhoto", 1700000009, 9);
    auto record = iPhotoAlbumManager::initWithAlbumPath(lib);
    EXPECT_EQ(record->getLibraryModificationDate(),
              (Date{1700000000, 7})); // generation 6 comes first
    EXPECT_EQ(record->getLibraryModificationDate3(), (Date{1700000009, 9}));
    EXPECT_FALSE(record->getLibraryModificationDate2());
    {
        // Touching the second marker of the two is no change.
        NotificationCount count;
        fx::setModificationTime(lib / "Library.iPhoto", 1000, 0);
        record->checkLibraryModificationDate();
        EXPECT_TRUE(count.objects.empty());
        record->stopLookAtModificationDate();
    }

    // A link used as marker is dated by the link itself.
    fx::writeFile(dir / "target", "");
    fx::setModificationTime(dir / "target", 1200000000, 0);
    std::filesystem::create_directories(dir / "linked");
    std::filesystem::create_symlink(dir / "target", dir / "linked" / "Library.iPhoto");
    fx::setModificationTime(dir / "linked" / "Library.iPhoto", 1300000000, 3, true);
    auto linked = iPhotoAlbumManager::initWithAlbumPath(dir / "linked");
    linked->stopLookAtModificationDate();
    EXPECT_EQ(linked->albumDate(), (Date{1300000000, 3}));

    fx::makeLibrary2(dir / "two", {});
    fx::setModificationTime(dir / "two" / "Albums" / "Photo Library", 1100000000, 11);
    auto two = iPhotoAlbumManager::initWithAlbumPath(dir / "two");
    two->stopLookAtModificationDate();
    EXPECT_EQ(two->albumDate(), (Date{1100000000, 11}));

    Date before = Date::now();
    auto none = iPhotoAlbumManager::initWithAlbumPath(dir / "missing");
    none->stopLookAtModificationDate();
    EXPECT_GE(none->getLibraryModificationDate(), before);
}

TEST(Watch, SaveUpdatesAChangedLibraryFirstAndNotifies) {
    TempDir dir;
    fx::makeLibrary3(dir / "lib", {"Thumbs"}, 1);
    fx::setModificationTime(dir / "lib" / "Library.iPhoto", 1600000000, 0);
    auto record = iPhotoAlbumManager::initWithAlbumPath(dir / "lib");
    fx::makeJpeg(dir / "lib" / "Thumbs" / "2.jpg");
    fx::setModificationTime(dir / "lib" / "Library.iPhoto", 1600000001, 0);
    NotificationCount count;
    auto dict = record->dictionary();
    ASSERT_TRUE(dict);
    EXPECT_EQ((*dict)["AM_ImagePaths"].array()->size(), 2u);
    EXPECT_EQ(count.objects.size(), 1u);
    record->stopLookAtModificationDate();
}
