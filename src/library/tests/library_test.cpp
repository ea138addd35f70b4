// The library record, its dictionary form and its change watching (the tick
// called directly on file dates set by hand, and one real timer);
// recognition of the three library generations, discovery below a folder,
// the thumbnail walks and how one image is handed out.
// The photo application from outside: its preference file, its scripts and
// its process, with scripts that record what they were asked; and the switch
// queue: the delay on the main event loop, the worker thread, the order of
// switches asked close together. How the preference file is rewritten is the
// property-list layer's; the real scripts with the stand-in "iPhoto" are
// driven by the command line's and the application's tests, a switch without
// scripts and a refusal handed back by the controller's (app_test).
#include <gtest/gtest.h>

#include <fstream>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

#include "library/album_switcher.h"
#include "library/iphoto_album_manager.h"
#include "library/iphoto_application.h"
#include "library/tests/support/library_fixtures.h"
#include "platform/notification_center.h"
#include "platform/plist_file.h"
#include "platform/user_defaults.h"
#include "tests/log_capture.h"
#include "tests/scoped_env.h"
#include "tests/temp_dir.h"
#include "tests/unprivileged.h"

using namespace slidebox;
using namespace slidebox::platform;
using namespace slidebox::testing;
using Manager = iPhotoAlbumManager;
using Paths = Manager::PathList;
namespace fs = std::filesystem;

namespace {

// The notifications of a change of a library while it lives.
struct Notifications {
    std::vector<const void*> objects;
    NotificationCenter::Observation observation = NotificationCenter::defaultCenter().addObserver(
        libraryModificationNotification, [this](const void* object) { objects.push_back(object); });
};

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
class Library : public ::testing::Test {
  protected:
    TempDir dir;
};

void runEventLoopFor(int milliseconds) {
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < milliseconds)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

class iPhotoSwitch : public ::testing::Test {
  protected:
    // A preference file holding the root directory and one other key.
    fs::path writePreferences(const std::string& root, PlistFormat format = PlistFormat::Xml) {
        writeFile(app.preferenceFilePath(),
                  serializePlist(PlistValue(PlistDictionary{{"RootDirectory", root}, {"Other", 1}}),
                                 format));
        return app.preferenceFilePath();
    }
    // A script in folder that records its name in home/steps.
    void writeScript(const TempDir& folder, const std::string& name) {
        writeFile(folder / (name + ".applescript"),
                  "echo " + name + " >> \"" + (home / "steps").string() + "\"\n");
    }
    // A launch script that records in home/steps the preference's root at
    // its beginning and at its end, the given seconds apart.
    void writeRecordingLaunch(const TempDir& folder, const char* seconds) {
        const std::string root = "$(sed -n '/<key>RootDirectory<\\/key>/{n;s/.*<string>\\(.*\\)"
                                 "<\\/string>.*/\\1/p;}' \"" +
                                 app.preferenceFilePath().string() + "\")";
        const std::string record = " >> \"" + (home / "steps").string() + "\"\n";
        writeFile(folder / "LaunchiPhoto.applescript", "echo \"begin " + root + "\"" + record +
                                                           "sleep " + seconds + "\necho \"end " +
                                                           root + "\"" + record);
    }
    // The application with the scripts of that folder, seeming to run or not;
    // its switches lock a file of their own.
    iPhotoApplication appWith(const TempDir& scripts, bool running) const {
        iPhotoApplication app(home.path(), scripts.path());
        app.setSwitchLockFile(home / "lock");
        app.setProcessProbe([running](std::string_view) { return running; });
        return app;
    }
    Status switchTo(const TempDir& scripts, const std::string& path) {
        return appWith(scripts, true).threadSwitchAlbum(path);
    }
    TempDir home;
    const iPhotoApplication app{home.path(), home.path()};
};

} // namespace

TEST(Record, SearchOnlyInstanceAndTheDefaultImageIndexLimitedByTheCount) {
    const Date before = Date::now();
    auto record = Manager::init();
    EXPECT_GE(record->albumDate().value_or(Date{}), before);
    EXPECT_EQ(record->defaultImageIndex(), -1);
    // No path: no watch, no walk, and it drops out of a save.
    EXPECT_FALSE(record->albumPath() || record->isiPhotoAlbumPath() || record->isWatching() ||
                 record->searchForImages() || record->dictionary());
    record->setImagePaths(Paths{"/a.jpg", "/b.jpg", "/c.jpg"});
    EXPECT_EQ(record->description(), "PhotoAlbum with 3 photos");
    for (auto [set, got] : {std::pair{-5, 0}, {1000, 2}, {2, 2}, {1, 1}}) {
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

TEST_F(Library, RecordDictionaryRoundTrip) {
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
    EXPECT_EQ(noPath->defaultImageIndex(), 0);
    EXPECT_FALSE(noPath->isWatching() || noPath->dictionary()); // drops out of the next save

    // Wrong types count as missing; the keys are case-sensitive.
    auto wrong = Manager::initWithDictionary({{"AM_AlbumPath", PlistValue(42)},
                                              {"AM_ImagePaths", PlistValue("not an array")},
                                              {"AM_DefaultImageIndex", PlistValue(1)}});
    EXPECT_FALSE(wrong->albumPath() || wrong->imagePaths());
    EXPECT_EQ(wrong->defaultImageIndex(), -1);
}

// Paths read from the settings stay in the file until a path is asked for,
// and a save gives them back as they were stored, unread, until they change.
// Gone from under the record (the file rewritten in place), they read as no
// paths, never past the end.
TEST_F(Library, RecordStoredPathsAreReadAtFirstUseAndSavedUnreadUntilChanged) {
    PlistArray stored;
    Paths paths;
    for (int i = 0; i < 300; ++i) {
        paths.push_back("/x/" + std::to_string(i) + ".jpg");
        stored.emplace_back(paths.back().native());
    }
    stored.insert(stored.begin() + 5, PlistValue(7)); // no path: left out when read
    ASSERT_TRUE(
        UserDefaults(dir / "cfg")
            .setObject("r", PlistDictionary{{"AM_AlbumPath", PlistValue("/no/such/library")},
                                            {"AM_ImagePaths", PlistValue(stored)},
                                            {"AM_defaultImageIndex", PlistValue(299)}}));
    auto readRecord = [&](const UserDefaults& defaults) {
        auto record = Manager::initWithDictionary(*defaults.objectForKey("r").dictionary());
        record->stopLookAtModificationDate();
        return record;
    };
    UserDefaults defaults(dir / "cfg");
    const PlistValue& inFile = defaults.objectForKey("r")["AM_ImagePaths"];
    ASSERT_NE(inFile.stored(), nullptr);

    auto record = readRecord(defaults);
    EXPECT_EQ(std::pair(record->numberOfImage(), record->defaultImageIndex()), std::pair(301, 299));
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

TEST_F(Library, WatchAnyChangeOfTheMarkerUpdatesOnceAndAMissingOneEveryTickUntilItComes) {
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
    EXPECT_EQ(std::pair(record->numberOfImage(), record->defaultImageIndex()), std::pair(4, 0));
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
    EXPECT_EQ(std::pair(int(seen.objects.size()), record->numberOfImage()), std::pair(2, 0));
    libraryOf(6, dir / "new", {"r"});
    record->checkLibraryModificationDate(); // one more update picks up the marker's date
    EXPECT_EQ(std::pair(int(seen.objects.size()), record->numberOfImage()), std::pair(3, 1));
    record->checkLibraryModificationDate(); // and then the ticks go quiet
    EXPECT_EQ(seen.objects.size(), 3u);
    record->stopLookAtModificationDate();
}

TEST_F(Library, WatchRealTimerFreesAnOrphanAtItsNextTickButKeepsAHeldRecord) {
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
    EXPECT_TRUE(orphan.expired() && held->isWatching());
    held->stopLookAtModificationDate();
}

TEST_F(Library, WatchDatesOfMarkersInGenerationOrder) {
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

TEST_F(Library, ImageWalkGeneration6TakesOnlyTheLowestFoldersBelowDataAndEndsLinkLoops) {
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
    EXPECT_EQ(std::pair(flat->numberOfImage(), flat->defaultImageIndex()), std::pair(0, -1));
    EXPECT_TRUE(flat->imageAtIndex(0).isNull() && flat->defaultImage().isNull());
}

TEST_F(Library, ImageWalkThumbsAtAnyDepthButNotInsideThumbsOnlyLowerCaseJpgOfAnyKind) {
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

TEST_F(Library, ImageAccessIndexRulesNamesOnePointPerPixelAndOnlyRegularFilesWithinTheLimit) {
    const auto thumbs = dir / "lib" / "Thumbs";
    libraryOf(3, dir / "lib", {});
    makeJpeg(thumbs / "1 big.jpg", 300, 200, 144, 1);
    makeJpeg(thumbs / "2 small.jpg", 10, 20, 72, 2);
    ASSERT_EQ(mkfifo((thumbs / "3.jpg").c_str(), 0600), 0); // an open that blocks never returns
    fs::create_symlink("/dev/zero", thumbs / "4.jpg");
    writeFile(thumbs / "5.jpg", std::string(Manager::maxImageFileBytes + 1, '\xff'));
    auto record = open(dir / "lib");
    ASSERT_EQ(record->numberOfImage(), 5);
    EXPECT_EQ(record->imageAtIndex(0).size(), QSize(300, 200));
    EXPECT_EQ(record->imageAtIndex(0).dotsPerMeterX(), 2835);   // 72 dpi: a point is a pixel
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

TEST_F(Library, RecognitionMarkersMustBeExactNonFolderEntries) {
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

TEST_F(Library, DiscoveryDepthFirstInByteOrderNotInsideALibraryLinksFollowedAndLoopsEnded) {
    const std::string raw = "b\xff raw";
    const fs::path a = dir / "a", deep = a / "x" / "y" / "deep", shallow = a / "shallow";
    libraryOf(6, deep, {});
    libraryOf(2, dir / ".hidden lib", {});
    libraryOf(3, dir / raw, {});
    libraryOf(3, shallow, {});
    libraryOf(6, shallow / "inner", {}); // a library inside a library
    writeFile(a / "Library6.iPhoto-not", "");
    libraryOf(3, dir / "c", {});
    writeFile(dir / "c" / "Albums" / "Photo Library", ""); // two generations: reported once
    EXPECT_EQ(Manager::iPhotoLibrariesPathsInFolder(dir.path()),
              (Paths{dir / ".hidden lib", shallow, deep, dir / raw, dir / "c"}));
    // A folder that is a library gives itself only; a missing folder or a file nothing.
    EXPECT_EQ(Manager::iPhotoLibrariesPathsInFolder(shallow), Paths{shallow});
    EXPECT_TRUE(Manager::iPhotoLibrariesPathsInFolder(dir / "missing").empty());
    EXPECT_TRUE(Manager::iPhotoLibrariesPathsInFolder(a / "Library6.iPhoto-not").empty());
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
    EXPECT_EQ(searcher->searchForLibsInFolder(a / "x"), Paths{deep});
    EXPECT_EQ(searcher->searchForLibsInFolder(a), (Paths{shallow, deep}));
}

TEST_F(Library, WalksEnterEachFolderOnceThroughADiamondOfLinks) {
    // Two links per level to the next level, 30 levels: a walk that doesn't
    // remember where it has been goes 2^30 ways. (The image walks keep the
    // same record of visited folders; their link loops are above.)
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

TEST_F(Library, DiscoveryUnreadableFolderIsPassedOver) {
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

TEST_F(iPhotoSwitch, PreferencesReadAndSetInTheHomesFileWhichIsNeverMade) {
    EXPECT_FALSE(app.changeiPhotoRootDirectoryPathTo("/Users/ann/Library B"));
    EXPECT_FALSE(fs::exists(home / "Library") || app.iPhotoRootDirectoryPath());
    for (auto format : {PlistFormat::Xml, PlistFormat::Binary}) {
        EXPECT_EQ(writePreferences("/Users/ann/Library A", format),
                  home / "Library/Preferences/com.apple.iPhoto.plist");
        EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/Users/ann/Library A");
        ASSERT_TRUE(app.changeiPhotoRootDirectoryPathTo("/Users/ann/Library B"));
        EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/Users/ann/Library B");
    }
    // A root directory that is not a string is no path, but the rewrite sets one.
    writeFile(app.preferenceFilePath(),
              serializePlist(PlistValue(PlistDictionary{{"RootDirectory", 3}}), PlistFormat::Xml));
    EXPECT_FALSE(app.iPhotoRootDirectoryPath());
    EXPECT_TRUE(app.changeiPhotoRootDirectoryPathTo("/Users/ann/Library B"));
    EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/Users/ann/Library B");
}

TEST_F(iPhotoSwitch, APathTheFileCantHoldRefusesTheWholeSwitch) {
    const std::string before = readFile(writePreferences("/Users/ann/Library A"));
    writeScript(home, "QuitiPhoto");
    writeScript(home, "LaunchiPhoto");
    for (const std::string& path :
         {std::string("/Users/ann/caf\xe9 Library"), std::string("/Users/ann\0/x", 12)}) {
        EXPECT_EQ(switchTo(home, path).code(), ErrorCode::BadArgument);
        EXPECT_EQ(readFile(app.preferenceFilePath()), before);
    }
    EXPECT_FALSE(fs::exists(home / "steps")); // neither quit nor launched
}

TEST_F(iPhotoSwitch, MissingScriptLeavesOutThatStepOnlyAndSwitchesRunOneAfterTheOther) {
    TempDir onlyLaunch, onlyQuit;
    writeScript(onlyLaunch, "LaunchiPhoto");
    writeScript(onlyQuit, "QuitiPhoto");
    writePreferences("/Library A");
    EXPECT_TRUE(switchTo(onlyLaunch, "/Library B")); // no quit script: rewritten and launched
    EXPECT_EQ(readFile(home / "steps"), "LaunchiPhoto\n");
    EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/Library B");
    EXPECT_TRUE(switchTo(onlyQuit, "/Library C")); // no launch script: nothing is started
    EXPECT_EQ(readFile(home / "steps"), "LaunchiPhoto\nQuitiPhoto\n");
    EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/Library C");
    // No preference file: nothing is made, the launch still runs.
    fs::remove(app.preferenceFilePath());
    EXPECT_EQ(switchTo(onlyLaunch, "/Library D").code(), ErrorCode::CannotOpen);
    EXPECT_EQ(readFile(home / "steps"), "LaunchiPhoto\nQuitiPhoto\nLaunchiPhoto\n");
    EXPECT_FALSE(fs::exists(app.preferenceFilePath()));
    // Closing quits the application only for the library it works on, compared
    // as strings: another spelling of the path is not the same.
    iPhotoApplication running(home.path(), onlyQuit.path());
    running.setProcessProbe([](std::string_view name) { return name == "iPhoto"; });
    writePreferences("/Library A");
    running.closeiPhotoForAlbumPath("/Library A/");
    running.closeiPhotoForAlbumPath("/Library A");
    EXPECT_EQ(readFile(home / "steps"), "LaunchiPhoto\nQuitiPhoto\nLaunchiPhoto\nQuitiPhoto\n");

    const std::string steps = '"' + (home / "steps").string() + '"';
    writeFile(home / "QuitiPhoto.applescript",
              "echo in >> " + steps + "; sleep 0.2; echo out >> " + steps + "\n");
    fs::remove(home / "steps");
    std::thread other([&] { switchTo(home, "/Library B"); });
    switchTo(home, "/Library C");
    other.join();
    EXPECT_EQ(readFile(home / "steps"), "in\nout\nin\nout\n");
}

TEST(iPhotoScripts, FoundInTheResourceFolderRunToTheEndAndLoggedAsText) {
    TempDir resources;
    writeFile(resources / "QuitiPhoto.applescript", "exit 4\n");
    fs::create_directory(resources / "LaunchiPhoto.applescript"); // no script
    writeFile(resources / "Talk.applescript",
              "sleep 0.1\necho 'iPhoto is busy'\necho 'second line'\ntouch \"" +
                  (resources / "ran").string() + "\"\n");
    const iPhotoApplication app(resources.path(), resources.path());
    EXPECT_EQ(app.getAppleScript("QuitiPhoto"), resources / "QuitiPhoto.applescript");
    for (const char* none : {"LaunchiPhoto", "Missing", "QuitiPhoto.applescript"})
        EXPECT_FALSE(app.getAppleScript(none)) << none; // named without extension
    // Programs are looked up along PATH, each folder in turn.
    writeFile(resources / "bin" / "tool", "");
    fs::permissions(resources / "bin" / "tool", fs::perms::owner_exec);
    {
        const ScopedEnv path("PATH", ("/nowhere:" + (resources / "bin").string()).c_str());
        EXPECT_EQ(findInPath("tool"), resources / "bin" / "tool");
    }
    LogCapture log;
    app.executeAppleScript(app.getAppleScript("Talk"));
    EXPECT_TRUE(fs::exists(resources / "ran")); // it had ended when the call returned
    app.executeAppleScript(app.getAppleScript("QuitiPhoto"));
    app.executeAppleScript(std::nullopt);
    EXPECT_EQ(log.lines, std::vector<std::string>{"iPhoto is busy\nsecond line"});
}

// A switch returns at once and runs a fifth of a second later off the main
// thread; switches asked close together run in order, and ending the
// switcher finishes them.
TEST_F(iPhotoSwitch, SwitcherRunsLaterOffTheMainThreadInOrderAndEndingItFinishesThem) {
    TempDir scripts;
    writePreferences("/start");
    writeRecordingLaunch(scripts, "0.5");
    const std::string first = "begin /Volumes/Photos/Library A\nend /Volumes/Photos/Library A\n";
    {
        AlbumSwitcher switcher(appWith(scripts, false));
        EXPECT_TRUE(switcher.waitUntilIdle(std::chrono::milliseconds(0)));
        QElapsedTimer call;
        call.start();
        switcher.switchAlbum("/Volumes/Photos/Library A");
        EXPECT_LT(call.elapsed(), 100); // the scripts alone take half a second
        EXPECT_FALSE(switcher.waitUntilIdle(std::chrono::milliseconds(100)));
        EXPECT_EQ(readFile(home / "steps"), ""); // still in its delay
        EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/start");
        EXPECT_FALSE(switcher.waitUntilIdle(std::chrono::milliseconds(200))); // its script runs
        // The main event loop keeps turning while the switch runs.
        int ticks = 0;
        QTimer ticker;
        QObject::connect(&ticker, &QTimer::timeout, [&] { ++ticks; });
        ticker.start(20);
        ASSERT_TRUE(switcher.waitUntilIdle(std::chrono::seconds(10)));
        EXPECT_GE(ticks, 10);
        EXPECT_EQ(readFile(home / "steps"), first);
        EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/Volumes/Photos/Library A");

        switcher.switchAlbum("/A");
        runEventLoopFor(250); // A under way
        switcher.switchAlbum("/B");
        switcher.switchAlbum("/C"); // B and C still in their delay
    }
    // All done when the switcher has ended, and each launch saw its own path
    // from its beginning to its end.
    const std::string all = first + "begin /A\nend /A\nbegin /B\nend /B\nbegin /C\nend /C\n";
    EXPECT_EQ(readFile(home / "steps"), all);
    EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/C");
    runEventLoopFor(300); // B's delay ends after the switcher: nothing more happens
    EXPECT_EQ(readFile(home / "steps"), all);
}
