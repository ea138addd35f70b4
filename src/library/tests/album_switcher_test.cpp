// The switch queue: the delay on the main event loop, the worker thread, the
// order of switches asked close together. The scripts here only record what
// they see, so no application is started. A switch without scripts and a
// refusal handed back are the controller's tests (ui_controller_test).
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

#include "library/album_switcher.h"
#include "platform/plist_file.h"
#include "tests/temp_dir.h"

using namespace slidebox;
using namespace slidebox::testing;
using platform::PlistDictionary;
using platform::PlistValue;

namespace {

// A home with a preference file, and a launch script that records, in the
// file "steps", the preference's value at its beginning and at its end.
struct SwitchBench {
    explicit SwitchBench(const char* launchSeconds) {
        writeFile(app().preferenceFilePath(),
                  platform::serializePlist(PlistValue(PlistDictionary{{"RootDirectory", "/start"}}),
                                           platform::PlistFormat::Xml));
        const std::string root =
            "$(sed -n '/<key>RootDirectory<\\/key>/{n;s/.*<string>\\(.*\\)<\\/string>.*/\\1/p;}' "
            "\"" +
            app().preferenceFilePath().string() + "\")";
        const std::string record = " >> \"" + (home / "steps").string() + "\"\n";
        writeFile(resources / "LaunchiPhoto.applescript",
                  "echo \"begin " + root + "\"" + record + "sleep " + launchSeconds +
                      "\necho \"end " + root + "\"" + record);
    }
    // No photo application runs for it, and its switches lock a file of its own.
    iPhotoApplication app() const {
        iPhotoApplication app(home.path(), resources.path());
        app.setProcessProbe([](std::string_view) { return false; });
        app.setSwitchLockFile(home / "lock");
        return app;
    }
    std::string steps() const { return readFile(home / "steps"); }
    TempDir home, resources;
};

void runEventLoopFor(int milliseconds) {
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < milliseconds)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

} // namespace

TEST(AlbumSwitcher, ReturnsAtOnceAndSwitchesAFifthOfASecondLaterOffTheMainThread) {
    SwitchBench bench("0.5");
    AlbumSwitcher switcher(bench.app());
    EXPECT_TRUE(switcher.waitUntilIdle(std::chrono::milliseconds(0)));
    QElapsedTimer call;
    call.start();
    switcher.switchAlbum("/Volumes/Photos/Library A");
    EXPECT_LT(call.elapsed(), 100); // the scripts alone take half a second
    EXPECT_FALSE(switcher.waitUntilIdle(std::chrono::milliseconds(100)));
    EXPECT_EQ(bench.steps(), ""); // still in its delay
    EXPECT_EQ(bench.app().iPhotoRootDirectoryPath(), "/start");
    EXPECT_FALSE(switcher.waitUntilIdle(std::chrono::milliseconds(200))); // its script is under way
    // The main event loop keeps turning while the switch runs.
    int ticks = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&] { ++ticks; });
    ticker.start(20);
    ASSERT_TRUE(switcher.waitUntilIdle(std::chrono::seconds(10)));
    EXPECT_GE(ticks, 10);
    EXPECT_EQ(bench.steps(), "begin /Volumes/Photos/Library A\nend /Volumes/Photos/Library A\n");
    EXPECT_EQ(bench.app().iPhotoRootDirectoryPath(), "/Volumes/Photos/Library A");
}

TEST(AlbumSwitcher, SwitchesAskedCloseTogetherRunInOrderAndEndingTheSwitcherFinishesThem) {
    SwitchBench bench("0.2");
    {
        AlbumSwitcher switcher(bench.app());
        switcher.switchAlbum("/A");
        runEventLoopFor(250); // A under way
        switcher.switchAlbum("/B");
        switcher.switchAlbum("/C"); // B and C still in their delay
    }
    // All done when the switcher has ended, and each launch saw its own path
    // from its beginning to its end.
    const std::string all = "begin /A\nend /A\nbegin /B\nend /B\nbegin /C\nend /C\n";
    EXPECT_EQ(bench.steps(), all);
    EXPECT_EQ(bench.app().iPhotoRootDirectoryPath(), "/C");
    runEventLoopFor(300); // B's delay ends after the switcher: nothing more happens
    EXPECT_EQ(bench.steps(), all);
}
