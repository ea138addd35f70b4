// The photo application from outside: its preference file, its scripts and
// its process, with the stand-in "iPhoto" of tools/ in the place of the real one.
#include <gtest/gtest.h>

#include <csignal>
#include <mutex>
#include <sys/wait.h>
#include <thread>

#include "library/iphoto_application.h"
#include "library/tests/tools/stand_in_control.h"
#include "platform/log.h"
#include "platform/plist_file.h"
#include "tests/temp_dir.h"

using namespace slidebox;
using namespace slidebox::testing;
using platform::Date;
using platform::PlistArray;
using platform::PlistData;
using platform::PlistDictionary;
using platform::PlistValue;

namespace {

const std::string kOldLibrary = "/Users/ann/Pictures/iPhoto Library";

// Written by hand, so that no part of the code under test made it.
const std::string kXmlPreferences = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>Export</key>
	<dict>
		<key>Empty</key>
		<dict/>
		<key>Formats</key>
		<array>
			<string>JPEG</string>
		</array>
		<key>Quality</key>
		<real>0.85</real>
	</dict>
	<key>LastImportCount</key>
	<integer>9007199254740993</integer>
	<key>LastLaunch</key>
	<date>2006-03-14T15:09:26Z</date>
	<key>RecentAlbums</key>
	<array>
		<string>Summer</string>
		<integer>7</integer>
		<array/>
	</array>
	<key>RootDirectory</key>
	<string>/Users/ann/Pictures/iPhoto Library</string>
	<key>ShowRatings</key>
	<false/>
	<key>ShowTitles</key>
	<true/>
	<key>ThumbnailSize</key>
	<integer>-42</integer>
	<key>WindowState</key>
	<data>AAH/YmluYXJ5</data>
	<key>ZoomFactor</key>
	<real>0.1</real>
</dict>
</plist>
)";

// The same keys in the binary format, written by another program's property
// list writer; here the date has half a second.
const char* const kBinaryPreferencesHex = "62706c6973743030da0102030405060708090a0b131415191a1b1c1d"
                                          "1e564578706f72745f100f4c617374496d706f72"
                                          "74436f756e745a4c6173744c61756e63685c526563656e74416c6275"
                                          "6d735d526f6f744469726563746f72795b53686f"
                                          "77526174696e67735a53686f775469746c65735d5468756d626e6169"
                                          "6c53697a655b57696e646f7753746174655a5a6f"
                                          "6f6d466163746f72d30c0d0e0f101255456d70747957466f726d6174"
                                          "73575175616c697479d0a111544a504547233feb"
                                          "3333333333331300200000000000013341a38e284d000000a3161718"
                                          "5653756d6d65721007a05f10222f55736572732f"
                                          "616e6e2f50696374757265732f6950686f746f204c69627261727908"
                                          "0913ffffffffffffffd6490001ff62696e617279"
                                          "233fb999999999999a0008001d002400360041004e005c0068007300"
                                          "81008d0098009f00a500ad00b500b600b800bd00"
                                          "c600cf00d800dc00e300e500e6010b010c010d011601200000000000"
                                          "000201000000000000001f000000000000000000"
                                          "00000000000129";

std::string fromHex(const char* hex) {
    std::string bytes;
    for (const char* p = hex; p[0] && p[1]; p += 2)
        bytes.push_back(static_cast<char>(std::stoi(std::string(p, 2), nullptr, 16)));
    return bytes;
}

// Every key of the fixtures but RootDirectory, with the values they hold.
PlistDictionary otherKeys(std::int32_t launchNanoseconds) {
    return {
        {"Export", PlistDictionary{{"Empty", PlistDictionary{}},
                                   {"Formats", PlistArray{"JPEG"}},
                                   {"Quality", 0.85}}},
        {"LastImportCount", std::int64_t{9007199254740993}}, // 2^53 + 1: no trip through a double
        {"LastLaunch", Date{1142348966, launchNanoseconds}}, // 2006-03-14 15:09:26 UTC
        {"RecentAlbums", PlistArray{"Summer", 7, PlistArray{}}},
        {"ShowRatings", false},
        {"ShowTitles", true},
        {"ThumbnailSize", std::int64_t{-42}},
        {"WindowState", PlistData{std::string("\x00\x01\xff"
                                              "binary",
                                              9)}},
        {"ZoomFactor", 0.1},
    };
}

PlistDictionary withoutRoot(PlistDictionary dict) {
    dict.erase(iPhotoApplication::rootDirectoryKey);
    return dict;
}

struct Fixture {
    std::string name;
    std::string bytes;
    platform::PlistFormat format;
    std::int32_t launchNanoseconds;
    size_t completeLength; // shorter than this, the file has lost part of itself
};

std::vector<Fixture> fixtures() {
    const std::string binary = fromHex(kBinaryPreferencesHex);
    return {{"xml", kXmlPreferences, platform::PlistFormat::Xml, 0,
             kXmlPreferences.rfind("</plist>") + std::string("</plist>").size()},
            {"binary", binary, platform::PlistFormat::Binary, 500'000'000, binary.size()}};
}

std::filesystem::path writePreferences(const TempDir& home, const std::string& bytes) {
    const auto file = iPhotoApplication(home.path(), home.path()).preferenceFilePath();
    writeFile(file, bytes);
    return file;
}

// Collects log lines for the object's lifetime.
class LogCapture {
  public:
    LogCapture() {
        platform::setLogSink([this](std::string_view text) {
            std::lock_guard lock(mutex_);
            lines_.emplace_back(text);
        });
    }
    ~LogCapture() { platform::setLogSink({}); }
    std::vector<std::string> lines() {
        std::lock_guard lock(mutex_);
        return lines_;
    }

  private:
    std::mutex mutex_;
    std::vector<std::string> lines_;
};

// A preference file holding only the root directory.
void writeRootOnly(const TempDir& home, const std::filesystem::path& root,
                   platform::PlistFormat format) {
    writePreferences(home,
                     platform::serializePlist(
                         PlistValue(PlistDictionary{{"RootDirectory", root.string()}}), format));
}

// Starts a stand-in (cleaned up with the test) and waits until it has opened its library.
pid_t startOpenedStandIn(const TempDir& home, StandInCleanup& cleanup) {
    const pid_t pid = startStandIn(home.path());
    cleanup.children.push_back(pid);
    EXPECT_TRUE(waitFor([&] { return findEvent(home.path(), "opened").has_value(); }));
    return pid;
}

} // namespace

TEST(iPhotoPreferences, EveryTypeSurvivesARewriteInTheFilesOwnFormat) {
    for (const Fixture& fixture : fixtures()) {
        SCOPED_TRACE(fixture.name);
        TempDir home;
        const auto file = writePreferences(home, fixture.bytes);
        const iPhotoApplication app(home.path(), home.path());
        EXPECT_EQ(app.iPhotoRootDirectoryPath(), kOldLibrary);

        const std::string next = "/Volumes/Photos/Library B";
        ASSERT_TRUE(app.changeiPhotoRootDirectoryPathTo(next));
        EXPECT_EQ(app.iPhotoRootDirectoryPath(), next);

        const std::string written = readFile(file);
        EXPECT_EQ(written.rfind(
                      fixture.format == platform::PlistFormat::Binary ? "bplist00" : "<?xml", 0),
                  0u);
        auto document = platform::parsePlist(written);
        ASSERT_TRUE(document);
        EXPECT_EQ(document->format, fixture.format);
        const PlistDictionary* dict = document->root.dictionary();
        ASSERT_TRUE(dict);
        EXPECT_EQ(withoutRoot(*dict), otherKeys(fixture.launchNanoseconds));
        EXPECT_EQ(dict->at(iPhotoApplication::rootDirectoryKey), PlistValue(next));

        // Blanks, markup characters, UTF-8 and dot segments go in unchanged.
        for (const std::string path :
             {"/Volumes/My Photos/Ann's  Library 2006 ", "/Photos & <Co>/\"A\"",
              "/Users/ann/Bilder/Fotos \xe2\x80\x93 Sommer \xc3\xa9t\xc3\xa9",
              "/Users/ann/../ann/./Library/"}) {
            ASSERT_TRUE(app.changeiPhotoRootDirectoryPathTo(path));
            EXPECT_EQ(app.iPhotoRootDirectoryPath(), path);
        }
    }
}

TEST(iPhotoPreferences, FileCutShortAnywhereIsNeverWritten) {
    for (const Fixture& fixture : fixtures()) {
        SCOPED_TRACE(fixture.name);
        TempDir home;
        const iPhotoApplication app(home.path(), home.path());
        for (size_t length = 0; length < fixture.completeLength; ++length) {
            const std::string cut = fixture.bytes.substr(0, length);
            const auto file = writePreferences(home, cut);
            ASSERT_FALSE(app.changeiPhotoRootDirectoryPathTo("/elsewhere")) << "cut at " << length;
            ASSERT_EQ(readFile(file), cut) << "cut at " << length;
            ASSERT_FALSE(app.iPhotoRootDirectoryPath()) << "cut at " << length;
        }
        // The cut file itself, and no temporary file left beside it.
        EXPECT_EQ(
            std::distance(std::filesystem::directory_iterator(home / "Library" / "Preferences"),
                          std::filesystem::directory_iterator()),
            1);
    }
}

TEST(iPhotoPreferences, MissingOrForeignFileIsNotWrittenNorMade) {
    TempDir home;
    const iPhotoApplication app(home.path(), home.path());
    EXPECT_FALSE(app.changeiPhotoRootDirectoryPathTo("/Users/ann/Library B"));
    EXPECT_FALSE(std::filesystem::exists(home / "Library")); // not even the folder
    EXPECT_FALSE(app.iPhotoRootDirectoryPath());

    const std::vector<std::string> refused{
        "not a property list at all",
        "<?xml version=\"1.0\"?><plist version=\"1.0\"><array><string>x</string></array></plist>\n",
        "<?xml version=\"1.0\"?><plist version=\"1.0\"><string>/Users/ann</string></plist>\n",
        std::string("bplist00\0\0\0", 11)};
    for (const std::string& bytes : refused) {
        const auto file = writePreferences(home, bytes);
        EXPECT_FALSE(app.changeiPhotoRootDirectoryPathTo("/Users/ann/Library B")) << bytes;
        EXPECT_EQ(readFile(file), bytes);
    }

    // A root directory that is not a string is no path, but the rewrite sets one.
    writePreferences(home,
                     "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>RootDirectory</key>"
                     "<integer>3</integer></dict></plist>\n");
    EXPECT_FALSE(app.iPhotoRootDirectoryPath());
    EXPECT_TRUE(app.changeiPhotoRootDirectoryPathTo("/Users/ann/Library B"));
    EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/Users/ann/Library B");
}

TEST(iPhotoSwitch, APathTheFileCantHoldRefusesTheWholeSwitch) {
    for (const Fixture& fixture : fixtures()) {
        SCOPED_TRACE(fixture.name);
        TempDir home;
        const auto file = writePreferences(home, fixture.bytes);
        const auto steps = home / "steps";
        for (const char* script : {"QuitiPhoto", "LaunchiPhoto"})
            writeFile(home / (std::string(script) + ".applescript"),
                      "echo " + std::string(script) + " >> \"" + steps.string() + "\"\n");
        iPhotoApplication app(home.path(), home.path());
        app.setSwitchLockFile(home / "lock");
        app.setProcessProbe(
            [](std::string_view) { return true; }); // it runs: a switch would quit it
        for (const std::string& path :
             {std::string("/Users/ann/caf\xe9 Library"), std::string("/Users/ann\0/x", 12)}) {
            const platform::Status status = app.threadSwitchAlbum(path);
            EXPECT_EQ(status.code(), platform::ErrorCode::BadArgument);
            EXPECT_EQ(readFile(file), fixture.bytes);
        }
        EXPECT_FALSE(std::filesystem::exists(steps)); // neither quit nor launched
    }
}

TEST(iPhotoSwitch, SwitchesOfTwoProcessesRunOneAfterTheOther) {
    TempDir home;
    writeRootOnly(home, "/Library A", platform::PlistFormat::Xml);
    const auto steps = home / "steps";
    writeFile(home / "QuitiPhoto.applescript", "echo in >> \"" + steps.string() +
                                                   "\"; sleep 0.3; echo out >> \"" +
                                                   steps.string() + "\"\n");
    auto switchTo = [&](const std::string& path) {
        iPhotoApplication app(home.path(), home.path());
        app.setSwitchLockFile(home / "lock");
        app.setProcessProbe([](std::string_view) { return true; });
        app.threadSwitchAlbum(path);
    };
    std::thread other(switchTo, "/Library B");
    switchTo("/Library C");
    other.join();
    EXPECT_EQ(readFile(steps), "in\nout\nin\nout\n");
}

TEST(iPhotoScripts, FoundInTheResourceFolderOnly) {
    TempDir resources;
    writeFile(resources / "QuitiPhoto.applescript", "exit 0\n");
    std::filesystem::create_directory(resources /
                                      "LaunchiPhoto.applescript"); // a folder is no script
    const iPhotoApplication app(resources.path(), resources.path());
    EXPECT_EQ(app.getAppleScript("QuitiPhoto"), resources / "QuitiPhoto.applescript");
    EXPECT_FALSE(app.getAppleScript("LaunchiPhoto"));
    EXPECT_FALSE(app.getAppleScript("Missing"));
    EXPECT_FALSE(
        app.getAppleScript("QuitiPhoto.applescript")); // the name is given without extension
}

TEST(iPhotoScripts, RunWaitsForTheEndAndLogsTheTextOnly) {
    TempDir resources;
    writeFile(resources / "Talk.applescript",
              "sleep 0.3\necho 'iPhoto is busy'\necho 'second line'\ntouch \"" +
                  (resources / "ran").string() + "\"\n");
    writeFile(resources / "Quiet.applescript", "exit 4\n");
    const iPhotoApplication app(resources.path(), resources.path());
    LogCapture log;
    app.executeAppleScript(app.getAppleScript("Talk"));
    EXPECT_TRUE(std::filesystem::exists(resources / "ran")); // it had ended when the call returned
    app.executeAppleScript(app.getAppleScript("Quiet"));
    app.executeAppleScript(std::nullopt);
    EXPECT_EQ(log.lines(), std::vector<std::string>{"iPhoto is busy\nsecond line"});
}

TEST(iPhotoProcess, RunsOnlyWhileTheStandInRuns) {
    // Names, ended processes and other users are told apart on a process
    // table of the test's own making (platform tests); here the real one.
    StandInLock lock;
    TempDir home;
    StandInCleanup cleanup{home.path(), {}};
    const iPhotoApplication app(home.path(), home.path());
    EXPECT_FALSE(app.isiPhotoActive()) << "an iPhoto process of this user runs outside the test";
    const pid_t pid = startStandIn(home.path());
    cleanup.children.push_back(pid);
    ASSERT_TRUE(waitFor([&] { return app.isiPhotoActive(); }));
    EXPECT_TRUE(stopChild(pid));
    EXPECT_FALSE(app.isiPhotoActive());
}

TEST(iPhotoSwitch, StandInIsQuitBeforeTheRewriteAndStartedOnTheNewLibrary) {
    StandInLock lock;
    TempDir home;
    StandInEnvironment environment(home.path());
    StandInCleanup cleanup{home.path(), {}};
    const auto libraryA = home / "Libraries" / "Library A";
    const auto libraryB = home / "Libraries" / "Library B";
    makeEmptyLibrary6(libraryA);
    std::filesystem::create_directories(libraryB);
    std::string prefs = kXmlPreferences;
    prefs.replace(prefs.find(kOldLibrary), kOldLibrary.size(), libraryA.string());
    writePreferences(home, prefs);

    const pid_t first = startStandIn(home.path());
    cleanup.children.push_back(first);
    ASSERT_TRUE(
        waitFor([&] { return findEvent(home.path(), "opened", libraryA.string()).has_value(); }));

    const iPhotoApplication app(home.path(), scriptFolder());
    app.threadSwitchAlbum(libraryB.string());

    // The quit script returned only once the stand-in had ended, and it wrote
    // its preferences on the way out: the rewrite came after that.
    EXPECT_FALSE(processRuns(first));
    EXPECT_TRUE(findEvent(home.path(), "quit", libraryA.string()));
    EXPECT_EQ(app.iPhotoRootDirectoryPath(), libraryB.string());
    auto document = platform::readPlistFile(app.preferenceFilePath());
    ASSERT_TRUE(document);
    EXPECT_EQ(document->format, platform::PlistFormat::Xml);
    ASSERT_TRUE(document->root.dictionary());
    EXPECT_EQ(withoutRoot(*document->root.dictionary()), otherKeys(0));

    // The launch script started it again, detached, on the new library,
    // which it found empty and made a library of.
    ASSERT_TRUE(waitFor([&] {
        return findEvent(home.path(), "made-library", libraryB.string(), first).has_value();
    }));
    EXPECT_TRUE(findEvent(home.path(), "opened", libraryB.string(), first));
    EXPECT_TRUE(std::filesystem::is_regular_file(libraryB / "Library6.iPhoto"));
    EXPECT_TRUE(std::filesystem::is_directory(libraryB / "Data"));
    EXPECT_TRUE(app.isiPhotoActive());
    EXPECT_FALSE(
        findEvent(home.path(), "made-library", libraryA.string())); // A was a library already
}

TEST(iPhotoSwitch, StandInWritesItsPreferencesBackWhenItQuits) {
    // Why the order matters: a rewrite done while it runs is lost at its quit.
    StandInLock lock;
    TempDir home;
    StandInCleanup cleanup{home.path(), {}};
    const auto libraryA = home / "Library A";
    makeEmptyLibrary6(libraryA);
    writeRootOnly(home, libraryA, platform::PlistFormat::Binary);
    const pid_t pid = startOpenedStandIn(home, cleanup);
    const iPhotoApplication app(home.path(), home.path());
    ASSERT_TRUE(app.changeiPhotoRootDirectoryPathTo("/Users/ann/Library B"));
    stopChild(pid);
    EXPECT_EQ(app.iPhotoRootDirectoryPath(), libraryA.string());
}

TEST(iPhotoSwitch, CloseQuitsOnlyWhenItWorksOnThatPath) {
    StandInLock lock;
    TempDir home;
    StandInEnvironment environment(home.path());
    StandInCleanup cleanup{home.path(), {}};
    const auto libraryA = home / "Library A";
    makeEmptyLibrary6(libraryA);
    writeRootOnly(home, libraryA, platform::PlistFormat::Xml);
    const pid_t pid = startOpenedStandIn(home, cleanup);

    const iPhotoApplication app(home.path(), scriptFolder());
    app.closeiPhotoForAlbumPath(libraryA.string() + "/"); // compared as strings: not the same
    EXPECT_TRUE(processRuns(pid));
    app.closeiPhotoForAlbumPath(libraryA.string());
    EXPECT_FALSE(processRuns(pid));
    EXPECT_TRUE(findEvent(home.path(), "quit", libraryA.string()));
}

TEST(iPhotoSwitch, MissingScriptLeavesOutThatStepOnly) {
    StandInLock lock;
    TempDir home, onlyLaunch, onlyQuit;
    StandInEnvironment environment(home.path());
    StandInCleanup cleanup{home.path(), {}};
    const auto steps = home / "steps";
    writeFile(onlyLaunch / "LaunchiPhoto.applescript",
              "echo launch >> \"" + steps.string() + "\"\n");
    writeFile(onlyQuit / "QuitiPhoto.applescript", "echo quit >> \"" + steps.string() + "\"\n");
    const auto libraryA = home / "Library A";
    makeEmptyLibrary6(libraryA);
    writeRootOnly(home, libraryA, platform::PlistFormat::Xml);
    const pid_t pid = startOpenedStandIn(home, cleanup);

    // No quit script: the application stays, the rewrite and launch happen.
    iPhotoApplication(home.path(), onlyLaunch.path()).threadSwitchAlbum("/Library B");
    EXPECT_TRUE(processRuns(pid));
    EXPECT_EQ(readFile(steps), "launch\n");
    EXPECT_EQ(iPhotoApplication(home.path(), home.path()).iPhotoRootDirectoryPath(), "/Library B");

    // No launch script: quit and rewrite happen, nothing is started.
    iPhotoApplication(home.path(), onlyQuit.path()).threadSwitchAlbum("/Library C");
    EXPECT_EQ(readFile(steps), "launch\nquit\n");
    EXPECT_EQ(iPhotoApplication(home.path(), home.path()).iPhotoRootDirectoryPath(), "/Library C");

    // No preference file: nothing is made, the launch still runs.
    std::filesystem::remove(iPhotoApplication(home.path(), home.path()).preferenceFilePath());
    EXPECT_EQ(
        iPhotoApplication(home.path(), onlyLaunch.path()).threadSwitchAlbum("/Library D").code(),
        platform::ErrorCode::CannotOpen);
    EXPECT_EQ(readFile(steps), "launch\nquit\nlaunch\n");
    EXPECT_FALSE(
        std::filesystem::exists(iPhotoApplication(home.path(), home.path()).preferenceFilePath()));
}
