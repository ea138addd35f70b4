// The photo application from outside: its preference file, its scripts and
// its process, with the stand-in "iPhoto" of tools/ in the place of the real
// one. How the preference file is rewritten is the property-list layer's.
#include <gtest/gtest.h>

#include <thread>

#include "library/iphoto_application.h"
#include "platform/plist_file.h"
#include "tests/log_capture.h"
#include "tests/stand_in_control.h"
#include "tests/temp_dir.h"

using namespace slidebox;
using namespace slidebox::testing;
using platform::PlistDictionary;
using platform::PlistValue;

namespace {

// A preference file holding the root directory and one other key.
std::filesystem::path writePreferences(const TempDir& home, const std::string& root,
                                       platform::PlistFormat format = platform::PlistFormat::Xml) {
    const auto file = iPhotoApplication(home.path(), home.path()).preferenceFilePath();
    writeFile(file,
              platform::serializePlist(
                  PlistValue(PlistDictionary{{"RootDirectory", root}, {"Other", 1}}), format));
    return file;
}

// Scripts that only record their step in home/steps.
void writeRecordingScripts(const std::filesystem::path& folder, const std::filesystem::path& steps,
                           std::initializer_list<const char*> scripts) {
    for (const char* script : scripts)
        writeFile(folder / (std::string(script) + ".applescript"),
                  "echo " + std::string(script) + " >> \"" + steps.string() + "\"\n");
}

// Starts a stand-in (cleaned up with the test) and waits until it has opened its library.
pid_t startOpenedStandIn(const TempDir& home, StandInCleanup& cleanup) {
    const pid_t pid = startStandIn(home.path());
    cleanup.children.push_back(pid);
    EXPECT_TRUE(waitFor([&] { return findEvent(home.path(), "opened").has_value(); }));
    return pid;
}

} // namespace

TEST(iPhotoPreferences, ReadAndSetInTheHomesFileWhichIsNeverMade) {
    TempDir home;
    const iPhotoApplication app(home.path(), home.path());
    EXPECT_FALSE(app.changeiPhotoRootDirectoryPathTo("/Users/ann/Library B"));
    EXPECT_FALSE(std::filesystem::exists(home / "Library")); // not even the folder
    EXPECT_FALSE(app.iPhotoRootDirectoryPath());

    for (auto format : {platform::PlistFormat::Xml, platform::PlistFormat::Binary}) {
        const auto file = writePreferences(home, "/Users/ann/Library A", format);
        EXPECT_EQ(file, home / "Library/Preferences/com.apple.iPhoto.plist");
        EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/Users/ann/Library A");
        ASSERT_TRUE(app.changeiPhotoRootDirectoryPathTo("/Users/ann/Library B"));
        EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/Users/ann/Library B");
    }

    // A root directory that is not a string is no path, but the rewrite sets one.
    writeFile(app.preferenceFilePath(),
              "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>RootDirectory</key>"
              "<integer>3</integer></dict></plist>\n");
    EXPECT_FALSE(app.iPhotoRootDirectoryPath());
    EXPECT_TRUE(app.changeiPhotoRootDirectoryPathTo("/Users/ann/Library B"));
    EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/Users/ann/Library B");
}

TEST(iPhotoSwitch, APathTheFileCantHoldRefusesTheWholeSwitch) {
    TempDir home;
    const auto file = writePreferences(home, "/Users/ann/Library A");
    const std::string before = readFile(file);
    writeRecordingScripts(home.path(), home / "steps", {"QuitiPhoto", "LaunchiPhoto"});
    iPhotoApplication app(home.path(), home.path());
    app.setSwitchLockFile(home / "lock");
    app.setProcessProbe([](std::string_view) { return true; }); // it runs: a switch would quit it
    for (const std::string& path :
         {std::string("/Users/ann/caf\xe9 Library"), std::string("/Users/ann\0/x", 12)}) {
        EXPECT_EQ(app.threadSwitchAlbum(path).code(), platform::ErrorCode::BadArgument);
        EXPECT_EQ(readFile(file), before);
    }
    EXPECT_FALSE(std::filesystem::exists(home / "steps")); // neither quit nor launched
}

TEST(iPhotoSwitch, MissingScriptLeavesOutThatStepOnly) {
    TempDir home, onlyLaunch, onlyQuit;
    const auto steps = home / "steps";
    writeRecordingScripts(onlyLaunch.path(), steps, {"LaunchiPhoto"});
    writeRecordingScripts(onlyQuit.path(), steps, {"QuitiPhoto"});
    writePreferences(home, "/Library A");
    auto switchTo = [&](const TempDir& scripts, const std::string& path) {
        iPhotoApplication app(home.path(), scripts.path());
        app.setSwitchLockFile(home / "lock");
        app.setProcessProbe([](std::string_view) { return true; });
        return app.threadSwitchAlbum(path);
    };
    const iPhotoApplication app(home.path(), home.path());

    // No quit script: the rewrite and launch happen.
    EXPECT_TRUE(switchTo(onlyLaunch, "/Library B"));
    EXPECT_EQ(readFile(steps), "LaunchiPhoto\n");
    EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/Library B");

    // No launch script: quit and rewrite happen, nothing is started.
    EXPECT_TRUE(switchTo(onlyQuit, "/Library C"));
    EXPECT_EQ(readFile(steps), "LaunchiPhoto\nQuitiPhoto\n");
    EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/Library C");

    // No preference file: nothing is made, the launch still runs.
    std::filesystem::remove(app.preferenceFilePath());
    EXPECT_EQ(switchTo(onlyLaunch, "/Library D").code(), platform::ErrorCode::CannotOpen);
    EXPECT_EQ(readFile(steps), "LaunchiPhoto\nQuitiPhoto\nLaunchiPhoto\n");
    EXPECT_FALSE(std::filesystem::exists(app.preferenceFilePath()));
}

TEST(iPhotoSwitch, SwitchesOfTwoProcessesRunOneAfterTheOther) {
    TempDir home;
    writePreferences(home, "/Library A");
    const auto steps = home / "steps";
    writeFile(home / "QuitiPhoto.applescript", "echo in >> \"" + steps.string() +
                                                   "\"; sleep 0.2; echo out >> \"" +
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

TEST(iPhotoScripts, FoundInTheResourceFolderRunToTheEndAndLoggedAsText) {
    TempDir resources;
    writeFile(resources / "QuitiPhoto.applescript", "exit 4\n");
    std::filesystem::create_directory(resources / "LaunchiPhoto.applescript"); // no script
    writeFile(resources / "Talk.applescript",
              "sleep 0.1\necho 'iPhoto is busy'\necho 'second line'\ntouch \"" +
                  (resources / "ran").string() + "\"\n");
    const iPhotoApplication app(resources.path(), resources.path());
    EXPECT_EQ(app.getAppleScript("QuitiPhoto"), resources / "QuitiPhoto.applescript");
    EXPECT_FALSE(app.getAppleScript("LaunchiPhoto"));
    EXPECT_FALSE(app.getAppleScript("Missing"));
    EXPECT_FALSE(app.getAppleScript("QuitiPhoto.applescript")); // named without extension

    LogCapture log;
    app.executeAppleScript(app.getAppleScript("Talk"));
    EXPECT_TRUE(std::filesystem::exists(resources / "ran")); // it had ended when the call returned
    app.executeAppleScript(app.getAppleScript("QuitiPhoto"));
    app.executeAppleScript(std::nullopt);
    EXPECT_EQ(log.lines, std::vector<std::string>{"iPhoto is busy\nsecond line"});
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
    writePreferences(home, libraryA.string());
    const pid_t first = startOpenedStandIn(home, cleanup);

    const iPhotoApplication app(home.path(), scriptFolder());
    // Compared as strings: another spelling of the path is not the same.
    app.closeiPhotoForAlbumPath(libraryA.string() + "/");
    EXPECT_TRUE(processRuns(first));
    app.threadSwitchAlbum(libraryB.string());

    // The quit script returned only once the stand-in had ended, and it wrote
    // its preferences on the way out: the rewrite came after that.
    EXPECT_FALSE(processRuns(first));
    EXPECT_TRUE(findEvent(home.path(), "quit", libraryA.string()));
    EXPECT_EQ(app.iPhotoRootDirectoryPath(), libraryB.string());
    auto document = platform::readPlistFile(app.preferenceFilePath());
    ASSERT_TRUE(document);
    EXPECT_EQ(document->root["Other"], PlistValue(1));

    // The launch script started it again, detached, on the new library,
    // which it found empty and made a library of.
    ASSERT_TRUE(waitFor([&] {
        return findEvent(home.path(), "made-library", libraryB.string(), first).has_value();
    }));
    EXPECT_TRUE(std::filesystem::is_regular_file(libraryB / "Library6.iPhoto"));
    EXPECT_TRUE(app.isiPhotoActive());
    EXPECT_FALSE(findEvent(home.path(), "made-library", libraryA.string())); // A was one already

    // Closing for the library it works on quits it.
    app.closeiPhotoForAlbumPath(libraryB.string());
    EXPECT_TRUE(waitFor([&] { return !app.isiPhotoActive(); }));
}
