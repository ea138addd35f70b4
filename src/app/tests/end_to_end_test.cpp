// The real program under a virtual X server, with a temporary home holding
// generated libraries under ~/Pictures and the stand-in photo application
// on PATH, driven with real mouse clicks and keys (xdotool).
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <sys/wait.h>

#include "library/tests/support/library_fixtures.h"
#include "platform/file_system.h"
#include "platform/plist_file.h"
#include "platform/script_runner.h"
#include "support/virtual_display.h"
#include "tests/child_process.h"
#include "tests/stand_in_control.h"
#include "tests/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using namespace slidebox;
namespace st = slidebox::testing;
using slidebox::testing::waitFor;
using namespace slidebox::testing::x11;

class EndToEnd : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!platform::findInPath("Xvfb") || !platform::findInPath("xdotool"))
            GTEST_SKIP() << "needs Xvfb and xdotool (tools/setup.sh installs them)";
        display_ = std::make_unique<VirtualDisplay>(temp / "xvfb.log");
        if (display_->name().empty())
            GTEST_SKIP() << "no virtual display could be started";
    }
    void TearDown() override {
        if (app_ > 0) {
            ::kill(app_, SIGKILL);
            ::waitpid(app_, nullptr, 0);
        }
        st::StandInCleanup{home(), {standIn_}};
    }

    fs::path home() const { return temp / "home"; }
    fs::path pictures() const { return home() / "Pictures"; }
    fs::path defaultsFile() const { return home() / ".config" / "slidebox" / "defaults.plist"; }
    fs::path preferenceFile() const {
        return home() / "Library" / "Preferences" / "com.apple.iPhoto.plist";
    }

    std::vector<std::string> appEnvironment() const {
        std::vector<std::string> environment = st::standInEnvironment(home());
        environment.insert(environment.end(),
                           {"DISPLAY=" + display_->name(), "QT_QPA_PLATFORM=xcb",
                            "XDG_CONFIG_HOME=" + (home() / ".config").string(), "LANG=C.UTF-8",
                            "XDG_RUNTIME_DIR", "SESSION_MANAGER"});
        return environment;
    }

    /// xdotool on the virtual display; its output, trimmed.
    std::optional<std::string> xdotool(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "xdotool");
        return runOnDisplay(arguments, display_->name(), temp / "xdotool.out");
    }

    /// Starts the program and waits for its main window; the window's id.
    std::string startApplication() {
        app_ = st::startChild({(st::buildDir() / "bin" / "slidebox").string()}, appEnvironment(),
                              temp / "slidebox.log");
        EXPECT_GT(app_, 0);
        std::string window;
        waitFor(
            [&] {
                auto found = xdotool({"search", "--onlyvisible", "--name", "^Slidebox$"});
                if (!found || found->empty())
                    return false;
                window = found->substr(0, found->find('\n'));
                return true;
            },
            std::chrono::seconds(30));
        if (!window.empty()) {
            xdotool({"windowfocus", "--sync", window});
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
        }
        return window;
    }

    /// A quit signal, then the exit status.
    std::optional<int> terminateApplication(int signalNumber = SIGTERM) {
        ::kill(app_, signalNumber);
        auto status = st::waitChild(app_, std::chrono::seconds(20));
        if (status)
            app_ = -1;
        return status;
    }

    /// A point of a table row, in the window (rows of 86 points below the
    /// menu bar and the window's margin).
    static std::vector<std::string> rowPoint(const std::string& window, int row) {
        return {"mousemove", "--window", window, "60", std::to_string(76 + 86 * row)};
    }

    std::optional<platform::PlistDocument> savedDefaults() const {
        return platform::readPlistFile(defaultsFile());
    }

    static std::vector<std::string> savedLibraries(const platform::PlistValue& root) {
        std::vector<std::string> paths;
        if (const platform::PlistArray* list = root["AM_photoAlbumDictionaries"].array())
            for (const platform::PlistValue& entry : *list)
                paths.push_back(entry["AM_AlbumPath"].string() ? *entry["AM_AlbumPath"].string()
                                                               : "");
        return paths;
    }

    slidebox::testing::TempDir temp;
    std::unique_ptr<VirtualDisplay> display_;
    st::StandInLock lock_;
    pid_t app_ = -1;
    pid_t standIn_ = -1;
};

TEST_F(EndToEnd, ListSwitchCreateTerminateAndRestore) {
    const fs::path alpha = pictures() / "Alpha";
    const fs::path beta = pictures() / "Beta";
    st::makeLibrary6(alpha, {"Roll"}, 3);
    st::makeLibrary6(beta, {"Roll"}, 4);
    platform::PlistDictionary preference{{"RootDirectory", alpha.string()}, {"Other", 1}};
    fs::create_directories(preferenceFile().parent_path());
    ASSERT_TRUE(platform::writePlistFile(preferenceFile(), preference, platform::PlistFormat::Xml));
    standIn_ = st::startStandIn(home());
    ASSERT_TRUE(waitFor([&] { return st::hasEvent(home(), "opened", alpha.string()); }));

    // First start: the Pictures folder is searched and listed.
    const std::string window = startApplication();
    ASSERT_FALSE(window.empty()) << st::readFile(temp / "slidebox.log");

    // A double click on the second row switches the stand-in to Beta.
    auto point = rowPoint(window, 1);
    point.insert(point.end(), {"click", "--repeat", "2", "--delay", "120", "1"});
    ASSERT_TRUE(xdotool(point));
    ASSERT_TRUE(waitFor([&] { return st::hasEvent(home(), "opened", beta.string()); },
                        std::chrono::seconds(20)))
        << st::readFile(temp / "slidebox.log");
    EXPECT_TRUE(waitFor([&] { return !st::processRuns(standIn_); }))
        << "the first stand-in was quit";
    const auto switched = platform::readPlistFile(preferenceFile());
    ASSERT_TRUE(switched);
    auto expected = preference;
    expected["RootDirectory"] = beta.string();
    EXPECT_EQ(switched->root, platform::PlistValue(expected));

    // A new library: the name dialog, Return, a folder that the stand-in
    // is pointed at and makes a library in.
    ASSERT_TRUE(xdotool({"key", "ctrl+n"}));
    std::string dialog;
    ASSERT_TRUE(waitFor([&] {
        auto found = xdotool({"search", "--onlyvisible", "--name", "^New Library$"});
        if (found && !found->empty())
            dialog = found->substr(0, found->find('\n'));
        return !dialog.empty();
    }));
    xdotool({"windowfocus", "--sync", dialog});
    ASSERT_TRUE(xdotool({"key", "Return"}));
    const fs::path created = pictures() / "iPhoto Library  1";
    ASSERT_TRUE(waitFor([&] { return st::hasEvent(home(), "made-library", created.string()); },
                        std::chrono::seconds(20)));
    const auto marker = platform::modificationDate(created / "Library6.iPhoto", false);
    ASSERT_TRUE(marker);
    // The record's watch notices the new marker within a tick or two, and the
    // list is written soon after the change, before any quit.
    EXPECT_TRUE(waitFor([&] {
        const auto saved = savedDefaults();
        const platform::PlistArray* list =
            saved ? saved->root["AM_photoAlbumDictionaries"].array() : nullptr;
        return list && list->size() == 3 && (*list)[2]["AM_AlbumDate"].date() &&
               *(*list)[2]["AM_AlbumDate"].date() == *marker;
    }));
    EXPECT_EQ(savedLibraries(savedDefaults().value_or(platform::PlistDocument{}).root),
              (std::vector<std::string>{alpha.string(), beta.string(), created.string()}));

    // Back on Beta, two images on: the picture to restore.
    xdotool({"windowfocus", "--sync", window});
    auto click = rowPoint(window, 1);
    click.insert(click.end(), {"click", "1"});
    ASSERT_TRUE(xdotool(click));
    for (int i = 0; i < 2; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(600));
        ASSERT_TRUE(xdotool({"key", "ctrl+Right"}));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(600));

    // SIGTERM quits the normal way: everything is saved.
    EXPECT_EQ(terminateApplication(), 0) << st::readFile(temp / "slidebox.log");
    auto saved = savedDefaults();
    ASSERT_TRUE(saved);
    EXPECT_EQ(savedLibraries(saved->root),
              (std::vector<std::string>{alpha.string(), beta.string(), created.string()}));
    EXPECT_EQ(saved->root["AM_viewerCurrentPhotoManagerIndex"].intValue(), 1);
    EXPECT_EQ(saved->root["AM_viewerCurrentPhotoIndex"].intValue(), 2);
    const platform::PlistValue& newRecord = (*saved->root["AM_photoAlbumDictionaries"].array())[2];
    ASSERT_TRUE(newRecord["AM_AlbumDate"].date());
    EXPECT_EQ(*newRecord["AM_AlbumDate"].date(), *marker) << "dated by the stand-in's marker";

    // Second start: list, selection and image come back without a scan.
    st::makeLibrary6(pictures() / "Gamma", {"Roll"}, 1);
    ASSERT_FALSE(startApplication().empty());
    // A hang-up (the terminal or the session went) quits the same way.
    EXPECT_EQ(terminateApplication(SIGHUP), 0) << st::readFile(temp / "slidebox.log");
    EXPECT_NE(st::readFile(temp / "slidebox.log").find("Quitting on SIGHUP"), std::string::npos);
    saved = savedDefaults();
    ASSERT_TRUE(saved);
    EXPECT_EQ(savedLibraries(saved->root).size(), 3u) << "no scan found Gamma";
    EXPECT_EQ(saved->root["AM_viewerCurrentPhotoIndex"].intValue(), 2);
}

} // namespace
