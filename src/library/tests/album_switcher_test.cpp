// The switch queue: the delay on the main event loop, the worker thread, the
// order of switches asked close together. The scripts here only record what
// they see, so no application is started.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

#include <sstream>

#include "library/album_switcher.h"
#include "platform/plist_file.h"
#include "tests/temp_dir.h"

using namespace slidebox;
using namespace slidebox::testing;
using platform::PlistDictionary;
using platform::PlistValue;

namespace {

// A home with an XML preference file, and scripts that record each step with
// the preference's value at that moment: "begin <root>", "end <root>".
class SwitchBench {
  public:
    explicit SwitchBench(double launchSeconds = 0.3) {
        writeFile(app().preferenceFilePath(),
                  platform::serializePlist(
                      PlistValue(PlistDictionary{{"RootDirectory", "/start"}, {"Other", 1}}),
                      platform::PlistFormat::Xml));
        const std::string root =
            "sed -n '/<key>RootDirectory<\\/key>/{n;s/.*<string>\\(.*\\)<\\/string>.*/\\1/p;}' \"" +
            app().preferenceFilePath().string() + "\"";
        const std::string record = " >> \"" + stepsFile().string() + "\"\n";
        writeFile(resources_ / "LaunchiPhoto.applescript",
                  "echo \"begin $(" + root + ")\"" + record + "sleep " +
                      std::to_string(launchSeconds) + "\n" + "echo \"end $(" + root + ")\"" +
                      record);
    }
    // No photo application runs for it, and its switches lock a file of its own.
    iPhotoApplication app() const {
        iPhotoApplication app(home_.path(), resources_.path());
        app.setProcessProbe([](std::string_view) { return false; });
        app.setSwitchLockFile(home_ / "lock");
        return app;
    }
    std::filesystem::path stepsFile() const { return home_ / "steps"; }

    std::vector<std::string> steps() const {
        std::vector<std::string> result;
        std::istringstream lines(readFile(stepsFile()));
        for (std::string line; std::getline(lines, line);)
            result.push_back(line);
        return result;
    }

  private:
    TempDir home_, resources_;
};

void runEventLoopFor(int milliseconds) {
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < milliseconds)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

} // namespace

TEST(AlbumSwitcher, ReturnsAtOnceAndSwitchesAFifthOfASecondLaterOffTheMainThread) {
    SwitchBench bench(0.5);
    AlbumSwitcher switcher(bench.app());
    EXPECT_TRUE(switcher.waitUntilIdle(std::chrono::milliseconds(0)));

    QElapsedTimer call;
    call.start();
    switcher.switchAlbum("/Volumes/Photos/Library A");
    EXPECT_LT(call.elapsed(), 100); // the scripts alone take half a second
    EXPECT_FALSE(switcher.waitUntilIdle(std::chrono::milliseconds(100)));
    EXPECT_TRUE(bench.steps().empty()); // still in its delay
    EXPECT_EQ(bench.app().iPhotoRootDirectoryPath(), "/start");
    EXPECT_FALSE(switcher.waitUntilIdle(std::chrono::milliseconds(200))); // its script is under way

    // The main event loop keeps turning while the switch runs.
    int ticks = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&] { ++ticks; });
    ticker.start(20);
    ASSERT_TRUE(switcher.waitUntilIdle(std::chrono::seconds(10)));
    EXPECT_GE(ticks, 10);

    EXPECT_EQ(bench.steps(), (std::vector<std::string>{"begin /Volumes/Photos/Library A",
                                                       "end /Volumes/Photos/Library A"}));
    EXPECT_EQ(bench.app().iPhotoRootDirectoryPath(), "/Volumes/Photos/Library A");
}

TEST(AlbumSwitcher, SwitchesAskedCloseTogetherRunInOrderAndEndingTheSwitcherFinishesThem) {
    SwitchBench bench(0.2);
    {
        AlbumSwitcher switcher(bench.app());
        switcher.switchAlbum("/A");
        runEventLoopFor(250); // A under way
        switcher.switchAlbum("/B");
        switcher.switchAlbum("/C"); // B and C still in their delay
    }
    // All done when the switcher has ended, and each launch saw its own path
    // from its beginning to its end.
    EXPECT_EQ(bench.steps(), (std::vector<std::string>{"begin /A", "end /A", "begin /B", "end /B",
                                                       "begin /C", "end /C"}));
    EXPECT_EQ(bench.app().iPhotoRootDirectoryPath(), "/C");
    runEventLoopFor(300); // B's delay ends after the switcher: nothing more happens
    EXPECT_EQ(bench.steps().size(), 6u);
}

TEST(AlbumSwitcher, NoScriptsStillRewritesThePreferenceAndARefusalIsHandedBack) {
    TempDir home, noScripts;
    iPhotoApplication app(home.path(), noScripts.path());
    app.setSwitchLockFile(home / "lock");
    writeFile(app.preferenceFilePath(),
              platform::serializePlist(PlistValue(PlistDictionary{{"RootDirectory", "/start"}}),
                                       platform::PlistFormat::Binary));
    AlbumSwitcher switcher(app);
    switcher.switchAlbum("/Users/ann/Library B");
    ASSERT_TRUE(switcher.waitUntilIdle(std::chrono::seconds(5)));
    EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/Users/ann/Library B");

    std::vector<std::string> refused;
    switcher.setFailureHandler([&](const std::string& path, const platform::Status& why) {
        refused.push_back(path + ": " +
                          (why.code() == platform::ErrorCode::BadArgument ? "bad" : why.message()));
    });
    switcher.switchAlbum("/Users/ann/caf\xe9");
    ASSERT_TRUE(switcher.waitUntilIdle(std::chrono::seconds(5)));
    runEventLoopFor(50); // the report comes through the event loop
    EXPECT_EQ(refused, std::vector<std::string>{"/Users/ann/caf\xe9: bad"});
    EXPECT_EQ(app.iPhotoRootDirectoryPath(), "/Users/ann/Library B");
}
