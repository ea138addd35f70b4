// The photo application from outside: its preference file, its scripts and
// its process, with scripts that record what they were asked; and the switch
// queue: the delay on the main event loop, the worker thread, the order of
// switches asked close together. How the preference file is rewritten is the
// property-list layer's; the real scripts with the stand-in "iPhoto" are
// driven by the command line's and the application's tests, a switch without
// scripts and a refusal handed back by the controller's (ui_controller_test).
#include <gtest/gtest.h>

#include <thread>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

#include "library/album_switcher.h"
#include "library/iphoto_application.h"
#include "platform/plist_file.h"
#include "platform/script_runner.h"
#include "tests/log_capture.h"
#include "tests/scoped_env.h"
#include "tests/temp_dir.h"

using namespace slidebox;
using namespace slidebox::testing;
using platform::ErrorCode;
using platform::PlistDictionary;
using platform::PlistValue;

namespace {

void runEventLoopFor(int milliseconds) {
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < milliseconds)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

class iPhotoSwitch : public ::testing::Test {
  protected:
    // A preference file holding the root directory and one other key.
    std::filesystem::path
    writePreferences(const std::string& root,
                     platform::PlistFormat format = platform::PlistFormat::Xml) {
        writeFile(app.preferenceFilePath(),
                  platform::serializePlist(
                      PlistValue(PlistDictionary{{"RootDirectory", root}, {"Other", 1}}), format));
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
    platform::Status switchTo(const TempDir& scripts, const std::string& path) {
        return appWith(scripts, true).threadSwitchAlbum(path);
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
              platform::serializePlist(PlistValue(PlistDictionary{{"RootDirectory", 3}}),
                                       platform::PlistFormat::Xml));
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
    EXPECT_FALSE(std::filesystem::exists(home / "steps")); // neither quit nor launched
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
    std::filesystem::remove(app.preferenceFilePath());
    EXPECT_EQ(switchTo(onlyLaunch, "/Library D").code(), ErrorCode::CannotOpen);
    EXPECT_EQ(readFile(home / "steps"), "LaunchiPhoto\nQuitiPhoto\nLaunchiPhoto\n");
    EXPECT_FALSE(std::filesystem::exists(app.preferenceFilePath()));
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
    for (const char* none : {"LaunchiPhoto", "Missing", "QuitiPhoto.applescript"})
        EXPECT_FALSE(app.getAppleScript(none)) << none; // named without extension
    // Programs are looked up along PATH, each folder in turn.
    writeFile(resources / "bin" / "tool", "");
    std::filesystem::permissions(resources / "bin" / "tool", std::filesystem::perms::owner_exec);
    {
        const ScopedEnv path("PATH", ("/nowhere:" + (resources / "bin").string()).c_str());
        EXPECT_EQ(platform::findInPath("tool"), resources / "bin" / "tool");
    }
    LogCapture log;
    app.executeAppleScript(app.getAppleScript("Talk"));
    EXPECT_TRUE(std::filesystem::exists(resources / "ran")); // it had ended when the call returned
    app.executeAppleScript(app.getAppleScript("QuitiPhoto"));
    app.executeAppleScript(std::nullopt);
    EXPECT_EQ(log.lines, std::vector<std::string>{"iPhoto is busy\nsecond line"});
}

TEST_F(iPhotoSwitch, SwitcherReturnsAtOnceAndSwitchesAFifthOfASecondLaterOffTheMainThread) {
    TempDir scripts;
    writePreferences("/start");
    writeRecordingLaunch(scripts, "0.5");
    AlbumSwitcher switcher(appWith(scripts, false));
    EXPECT_TRUE(switcher.waitUntilIdle(std::chrono::milliseconds(0)));
    QElapsedTimer call;
    call.start();
    switcher.switchAlbum("/Volumes/Photos/Library A");
    EXPECT_LT(call.elapsed(), 100); // the scripts alone take half a second
    EXPECT_FALSE(switcher.waitUntilIdle(std::chrono::milliseconds(100)));
    EXPECT_EQ(readFile(home / "steps"), ""); // still in its delay
    EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/start");
    EXPECT_FALSE(switcher.waitUntilIdle(std::chrono::milliseconds(200))); // its script is under way
    // The main event loop keeps turning while the switch runs.
    int ticks = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&] { ++ticks; });
    ticker.start(20);
    ASSERT_TRUE(switcher.waitUntilIdle(std::chrono::seconds(10)));
    EXPECT_GE(ticks, 10);
    EXPECT_EQ(readFile(home / "steps"),
              "begin /Volumes/Photos/Library A\nend /Volumes/Photos/Library A\n");
    EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/Volumes/Photos/Library A");
}

TEST_F(iPhotoSwitch, SwitcherSwitchesAskedCloseTogetherRunInOrderAndEndingTheSwitcherFinishesThem) {
    TempDir scripts;
    writePreferences("/start");
    writeRecordingLaunch(scripts, "0.2");
    {
        AlbumSwitcher switcher(appWith(scripts, false));
        switcher.switchAlbum("/A");
        runEventLoopFor(250); // A under way
        switcher.switchAlbum("/B");
        switcher.switchAlbum("/C"); // B and C still in their delay
    }
    // All done when the switcher has ended, and each launch saw its own path
    // from its beginning to its end.
    const std::string all = "begin /A\nend /A\nbegin /B\nend /B\nbegin /C\nend /C\n";
    EXPECT_EQ(readFile(home / "steps"), all);
    EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/C");
    runEventLoopFor(300); // B's delay ends after the switcher: nothing more happens
    EXPECT_EQ(readFile(home / "steps"), all);
}
