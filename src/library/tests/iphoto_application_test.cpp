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

class iPhotoSwitch : public ::testing::Test {
  protected:
    // A preference file holding the root directory and one other key.
    std::filesystem::path
    writePreferences(const std::string& root,
                     platform::PlistFormat format = platform::PlistFormat::Xml) {
        const auto file = iPhotoApplication(home.path(), home.path()).preferenceFilePath();
        writeFile(file,
                  platform::serializePlist(
                      PlistValue(PlistDictionary{{"RootDirectory", root}, {"Other", 1}}), format));
        return file;
    }
    // A script in folder that records its name in home/steps.
    void writeScript(const TempDir& folder, const std::string& name) {
        writeFile(folder / (name + ".applescript"),
                  "echo " + name + " >> \"" + (home / "steps").string() + "\"\n");
    }
    // A switch with the scripts of that folder, while the application seems to run.
    platform::Status switchTo(const TempDir& scripts, const std::string& path) {
        iPhotoApplication app(home.path(), scripts.path());
        app.setSwitchLockFile(home / "lock");
        app.setProcessProbe([](std::string_view) { return true; });
        return app.threadSwitchAlbum(path);
    }
    TempDir home;
    const iPhotoApplication app{home.path(), home.path()};
};

} // namespace

TEST_F(iPhotoSwitch, PreferencesReadAndSetInTheHomesFileWhichIsNeverMade) {
    EXPECT_FALSE(app.changeiPhotoRootDirectoryPathTo("/Users/ann/Library B"));
    EXPECT_FALSE(std::filesystem::exists(home / "Library")); // not even the folder
    EXPECT_FALSE(app.iPhotoRootDirectoryPath());

    for (auto format : {platform::PlistFormat::Xml, platform::PlistFormat::Binary}) {
        EXPECT_EQ(writePreferences("/Users/ann/Library A", format),
                  home / "Library/Preferences/com.apple.iPhoto.plist");
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

TEST_F(iPhotoSwitch, APathTheFileCantHoldRefusesTheWholeSwitch) {
    const std::string before = readFile(writePreferences("/Users/ann/Library A"));
    writeScript(home, "QuitiPhoto");
    writeScript(home, "LaunchiPhoto");
    for (const std::string& path :
         {std::string("/Users/ann/caf\xe9 Library"), std::string("/Users/ann\0/x", 12)}) {
        EXPECT_EQ(switchTo(home, path).code(), platform::ErrorCode::BadArgument);
        EXPECT_EQ(readFile(app.preferenceFilePath()), before);
    }
    EXPECT_FALSE(std::filesystem::exists(home / "steps")); // neither quit nor launched
}

TEST_F(iPhotoSwitch, MissingScriptLeavesOutThatStepOnly) {
    TempDir onlyLaunch, onlyQuit;
    writeScript(onlyLaunch, "LaunchiPhoto");
    writeScript(onlyQuit, "QuitiPhoto");
    writePreferences("/Library A");

    // No quit script: the rewrite and launch happen.
    EXPECT_TRUE(switchTo(onlyLaunch, "/Library B"));
    EXPECT_EQ(readFile(home / "steps"), "LaunchiPhoto\n");
    EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/Library B");

    // No launch script: quit and rewrite happen, nothing is started.
    EXPECT_TRUE(switchTo(onlyQuit, "/Library C"));
    EXPECT_EQ(readFile(home / "steps"), "LaunchiPhoto\nQuitiPhoto\n");
    EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/Library C");

    // No preference file: nothing is made, the launch still runs.
    std::filesystem::remove(app.preferenceFilePath());
    EXPECT_EQ(switchTo(onlyLaunch, "/Library D").code(), platform::ErrorCode::CannotOpen);
    EXPECT_EQ(readFile(home / "steps"), "LaunchiPhoto\nQuitiPhoto\nLaunchiPhoto\n");
    EXPECT_FALSE(std::filesystem::exists(app.preferenceFilePath()));

    // Switches of two processes run one after the other.
    const std::string steps = '"' + (home / "steps").string() + '"';
    writeFile(home / "QuitiPhoto.applescript",
              "echo in >> " + steps + "; sleep 0.2; echo out >> " + steps + "\n");
    std::filesystem::remove(home / "steps");
    std::thread other([&] { switchTo(home, "/Library B"); });
    switchTo(home, "/Library C");
    other.join();
    EXPECT_EQ(readFile(home / "steps"), "in\nout\nin\nout\n");
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

TEST_F(iPhotoSwitch, StandInIsQuitBeforeTheRewriteAndStartedOnTheNewLibrary) {
    StandInLock lock;
    StandInEnvironment environment(home.path());
    StandInCleanup cleanup{home.path(), {}};
    const auto libraryA = home / "Libraries" / "Library A";
    const auto libraryB = home / "Libraries" / "Library B";
    makeEmptyLibrary6(libraryA);
    std::filesystem::create_directories(libraryB);
    writePreferences(libraryA.string());
    const pid_t first = startStandIn(home.path());
    cleanup.children.push_back(first);
    EXPECT_TRUE(waitFor([&] { return hasEvent(home.path(), "opened"); }));

    const iPhotoApplication real(home.path(), scriptFolder());
    // Compared as strings: another spelling of the path is not the same.
    real.closeiPhotoForAlbumPath(libraryA.string() + "/");
    EXPECT_TRUE(processRuns(first));
    real.threadSwitchAlbum(libraryB.string());

    // The quit script returned only once the stand-in had ended, and it wrote
    // its preferences on the way out: the rewrite came after that.
    EXPECT_FALSE(processRuns(first));
    EXPECT_TRUE(hasEvent(home.path(), "quit", libraryA.string()));
    EXPECT_EQ(real.iPhotoRootDirectoryPath(), libraryB.string());
    auto document = platform::readPlistFile(real.preferenceFilePath());
    ASSERT_TRUE(document);
    EXPECT_EQ(document->root["Other"], PlistValue(1));

    // The launch script started it again, detached, on the new library,
    // which it found empty and made a library of.
    ASSERT_TRUE(
        waitFor([&] { return hasEvent(home.path(), "made-library", libraryB.string(), first); }));
    EXPECT_TRUE(std::filesystem::is_regular_file(libraryB / "Library6.iPhoto"));
    EXPECT_TRUE(real.isiPhotoActive());
    EXPECT_FALSE(hasEvent(home.path(), "made-library", libraryA.string())); // A was one already

    // Closing for the library it works on quits it.
    real.closeiPhotoForAlbumPath(libraryB.string());
    EXPECT_TRUE(waitFor([&] { return !real.isiPhotoActive(); }));
}
