// The real program under a virtual X server, with a temporary home, driven
// with real mouse clicks and keys (xdotool): the list, the switch of the
// stand-in photo application, the quit and the restore; and
// the status item kind with a window manager and a panel's tray (openbox and
// trayer), whose icon and, once the tray has gone, handle toggle the window.
#include "library/tests/support/library_fixtures.h"
#include "platform/plist_file.h"
#include "platform/script_runner.h"
#include "support/app_fixture.h"
#include "tests/stand_in_control.h"

namespace {

namespace fs = std::filesystem;
using namespace slidebox;
using namespace slidebox::testing;
using namespace std::chrono_literals;
using namespace slidebox::platform;

class Desktop : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!findInPath("Xvfb") || !findInPath("xdotool"))
            GTEST_SKIP() << "needs Xvfb and xdotool (tools/setup.sh installs them)";
        const XServer server =
            startXServer({"-screen", "0", "1280x800x24", "-nolisten", "tcp"}, temp / "xvfb.log");
        ASSERT_FALSE(server.display.empty()) << "Xvfb did not start";
        children_.push_back(server.pid);
        display_ = server.display;
        fs::create_directories(pictures());
    }
    void TearDown() override {
        for (auto child = children_.rbegin(); child != children_.rend(); ++child)
            endChild(*child);
        StandInCleanup{home(), {}};
    }

    fs::path home() const { return temp / "home"; }
    fs::path pictures() const { return home() / "Pictures"; }
    fs::path defaultsFile() const { return home() / ".config" / "slidebox" / "defaults.plist"; }
    std::string log() const { return readFile(temp / "slidebox.log"); }

    /// xdotool on the virtual display: its output, trimmed; nothing when it
    /// failed or still ran after the timeout.
    std::optional<std::string> xdotool(std::vector<std::string> arguments,
                                       std::chrono::seconds timeout = 20s) {
        arguments.insert(arguments.begin(), "xdotool");
        fs::remove(temp / "xdotool.out");
        const pid_t pid = startChild(arguments, {"DISPLAY=" + display_}, temp / "xdotool.out");
        if (pid < 0 || waitChild(pid, timeout) != 0) {
            endChild(pid);
            return std::nullopt;
        }
        std::string text = readFile(temp / "xdotool.out");
        while (!text.empty() && (text.back() == '\n' || text.back() == ' '))
            text.pop_back();
        return text;
    }
    /// The first visible window whose name is exactly the text, or "";
    /// with wait, looked for again until it shows or the timeout ends: a
    /// search also fails when another window goes away under it.
    std::string visibleWindow(const std::string& name, bool wait = false,
                              std::chrono::seconds timeout = 20s) {
        std::string found;
        const auto look = [&] {
            found = xdotool({"search", "--onlyvisible", "--name", "^" + name + "$"}).value_or("");
            return !found.empty();
        };
        if (!look() && wait)
            waitFor(look, timeout);
        return found.substr(0, found.find('\n'));
    }
    /// Starts the program; with the stand-in on PATH, no session bus.
    void startApplication() {
        std::vector<std::string> environment = standInEnvironment(home());
        environment.insert(environment.end(),
                           {"DISPLAY=" + display_, "QT_QPA_PLATFORM=xcb",
                            "XDG_CONFIG_HOME=" + (home() / ".config").string(), "LANG=C.UTF-8",
                            "XDG_RUNTIME_DIR", "SESSION_MANAGER", "DBUS_SESSION_BUS_ADDRESS"});
        app_ = startChild({(buildDir() / "bin" / "slidebox").string()}, environment,
                          temp / "slidebox.log");
        children_.push_back(app_);
        ASSERT_GT(app_, 0);
    }
    /// SIGTERM, then the exit status.
    std::optional<int> terminateApplication() {
        ::kill(app_, SIGTERM);
        const std::optional<int> status = waitChild(app_, 20s);
        if (status)
            std::erase(children_, app_); // collected
        return status;
    }

    TempDir temp;
    StandInLock lock_;
    std::string display_;
    std::vector<pid_t> children_; // ended in the reverse order
    pid_t app_ = -1;
};

TEST_F(Desktop, ListSwitchAndTerminate) {
    const fs::path alpha = pictures() / "Alpha", beta = pictures() / "Beta";
    libraryOf(6, alpha, {"Roll"}, 3);
    libraryOf(6, beta, {"Roll"}, 4);
    const fs::path preferences = home() / "Library" / "Preferences";
    fs::create_directories(preferences);
    ASSERT_TRUE(writePlistFile(preferences / "com.apple.iPhoto.plist",
                               PlistDictionary{{"RootDirectory", alpha.string()}},
                               PlistFormat::Xml));
    const pid_t standIn = startStandIn(home());
    children_.push_back(standIn);
    ASSERT_TRUE(waitFor([&] { return hasEvent(home(), "opened", alpha.string()); }));

    // First start: the Pictures folder is searched and listed; a double click
    // on the second row switches the stand-in to Beta. The main window is
    // waited for as long as a loaded machine takes (three minutes at most; the
    // program's end cuts the wait short).
    startApplication();
    std::string window;
    const auto deadline = std::chrono::steady_clock::now() + 180s;
    while (window.empty() && processRuns(app_) && std::chrono::steady_clock::now() < deadline)
        window = visibleWindow("Slidebox", true, 5s);
    ASSERT_FALSE(window.empty()) << log() << "Xvfb "
                                 << (processRuns(children_[0]) ? "runs" : "ended") << ", its log:\n"
                                 << readFile(temp / "xvfb.log");
    xdotool({"windowfocus", "--sync", window});
    std::this_thread::sleep_for(500ms);
    // The second row: rows of 86 points below the menu bar and the window's margin.
    ASSERT_TRUE(xdotool({"mousemove", "--window", window, "60", "162", "click", "--repeat", "2",
                         "--delay", "120", "1"}));
    ASSERT_TRUE(waitFor([&] { return hasEvent(home(), "opened", beta.string()); }, 20s)) << log();
    EXPECT_TRUE(waitFor([&] { return !processRuns(standIn); })) << "the first stand-in was quit";

    // Two images on: the picture to restore. SIGTERM quits the normal way:
    // everything is saved.
    for (int i = 0; i < 2; ++i) {
        std::this_thread::sleep_for(600ms);
        ASSERT_TRUE(xdotool({"key", "ctrl+Right"}));
    }
    std::this_thread::sleep_for(600ms);
    EXPECT_EQ(terminateApplication(), 0) << log();
    const auto saved = readPlistFile(defaultsFile()).value_or(PlistDocument{});
    EXPECT_EQ(storedLibraryPaths(saved.root), (std::vector{alpha.string(), beta.string()}));
    EXPECT_EQ(saved.root["AM_viewerCurrentPhotoManagerIndex"], PlistValue(1));
    EXPECT_EQ(saved.root["AM_viewerCurrentPhotoIndex"], PlistValue(2));
}

TEST_F(Desktop, TrayIconTogglesTheStatusItemKindAndAHandleReplacesAGoneTray) {
    const std::vector<std::string> display{"DISPLAY=" + display_};
    if (findInPath("openbox"))
        children_.push_back(startChild({"openbox"}, display, temp / "openbox.log"));
    pid_t tray = -1;
    if (findInPath("trayer")) {
        tray = startChild({"trayer", "--edge", "top", "--align", "right", "--widthtype", "request",
                           "--height", "24", "--SetDockType", "true", "--SetPartialStrut", "true"},
                          display, temp / "trayer.log");
        children_.push_back(tray);
        waitFor([&] {
            return !xdotool({"search", "--onlyvisible", "--class", "trayer"}).value_or("").empty();
        });
    }
    fs::create_directories(defaultsFile().parent_path());
    ASSERT_TRUE(writePlistFile(
        defaultsFile(), PlistDictionary{{"AM_viewerWindowKind", 2}, {"AM_firstStartDone", true}},
        PlistFormat::Xml));
    startApplication();
    if (tray > 0) {
        // The icon sits at the right end of the panel along the top edge;
        // clicks a double-click interval apart: a double click toggles nothing.
        std::string window;
        const auto clickIcon = [&] {
            xdotool({"mousemove", "1268", "12", "click", "1"});
            std::this_thread::sleep_for(800ms);
        };
        ASSERT_TRUE(waitFor(
            [&] {
                clickIcon();
                return !(window = visibleWindow("Slidebox")).empty();
            },
            20s))
            << log();
        // (A loaded machine can start the program before the tray takes
        // its place: the handle then stands in until the icon appears.)
        clickIcon();
        EXPECT_TRUE(waitFor([&] { return visibleWindow("Slidebox").empty(); }))
            << "a second click hides it";
        endChild(tray);
        std::erase(children_, tray);
    }
    // No tray (any more): the handle stands in, and says so in the log.
    const std::string handle = visibleWindow("Slidebox Handle", true);
    ASSERT_FALSE(handle.empty()) << log();
    EXPECT_NE(log().find("handle at the top of the screen"), std::string::npos) << log();
    xdotool({"mousemove", "--window", handle, "20", "8", "click", "1"});
    EXPECT_TRUE(waitFor([&] { return !visibleWindow("Slidebox").empty(); })) << log();
    EXPECT_EQ(terminateApplication(), 0) << log();
}

} // namespace
