// The status item kind of the real program on a virtual X server with a
// window manager and a panel's tray (openbox and trayer): a click on the
// tray icon slides the window down under the panel and back; a tray that
// goes away brings the handle at the top edge, which does the same.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <thread>

#include <sys/wait.h>

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
using namespace slidebox::testing::x11;
using slidebox::testing::waitFor;
namespace st = slidebox::testing;

class TrayTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!platform::findInPath("Xvfb") || !platform::findInPath("xdotool"))
            GTEST_SKIP() << "needs Xvfb and xdotool (tools/setup.sh installs them)";
        display_ = std::make_unique<VirtualDisplay>(temp / "xvfb.log");
        ASSERT_FALSE(display_->name().empty()) << "Xvfb did not start";
        const std::vector<std::string> environment{"DISPLAY=" + display_->name()};
        if (platform::findInPath("openbox"))
            windowManager_ = st::startChild({"openbox"}, environment, temp / "openbox.log");
        if (platform::findInPath("trayer")) {
            tray_ = st::startChild({"trayer", "--edge", "top", "--align", "right", "--widthtype",
                                    "request", "--height", "24", "--SetDockType", "true",
                                    "--SetPartialStrut", "true"},
                                   environment, temp / "trayer.log");
            waitFor([&] {
                return !xdotool({"search", "--onlyvisible", "--class", "trayer"})
                            .value_or("")
                            .empty();
            });
        }
    }
    void TearDown() override {
        st::endChild(app_);
        st::endChild(tray_);
        st::endChild(windowManager_);
    }

    std::optional<std::string> xdotool(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "xdotool");
        return runOnDisplay(arguments, display_->name(), temp / "xdotool.out");
    }
    /// The first visible window whose name is exactly the text, or "".
    std::string visibleWindow(const std::string& name) {
        const std::string found =
            xdotool({"search", "--onlyvisible", "--name", "^" + name + "$"}).value_or("");
        return found.substr(0, found.find('\n'));
    }
    /// "X=..", "Y=.." of the window's position.
    int windowY(const std::string& window) {
        const std::string shell = xdotool({"getwindowgeometry", "--shell", window}).value_or("");
        const size_t y = shell.find("Y=");
        return y == std::string::npos ? -1 : std::stoi(shell.substr(y + 2));
    }
    std::string log() const { return st::readFile(temp / "slidebox.log"); }

    void startStatusItemKind() {
        const fs::path config = temp / "home" / ".config";
        fs::create_directories(config / "slidebox");
        fs::create_directories(temp / "home" / "Pictures");
        ASSERT_TRUE(platform::writePlistFile(
            config / "slidebox" / "defaults.plist",
            platform::PlistDictionary{{"AM_viewerWindowKind", 2}, {"AM_firstStartDone", true}},
            platform::PlistFormat::Xml));
        // No session bus: the icon goes to the X tray, not to a watcher.
        app_ = st::startChild({(st::buildDir() / "bin" / "slidebox").string()},
                              {"DISPLAY=" + display_->name(), "QT_QPA_PLATFORM=xcb",
                               "HOME=" + (temp / "home").string(),
                               "XDG_CONFIG_HOME=" + config.string(), "LANG=C.UTF-8",
                               "DBUS_SESSION_BUS_ADDRESS", "SESSION_MANAGER"},
                              temp / "slidebox.log");
        ASSERT_GT(app_, 0);
    }

    st::TempDir temp;
    std::unique_ptr<VirtualDisplay> display_;
    pid_t windowManager_ = -1;
    pid_t tray_ = -1;
    pid_t app_ = -1;
};

TEST_F(TrayTest, TrayIconTogglesTheWindowAndAHandleReplacesAGoneTray) {
    startStatusItemKind();
    if (tray_ > 0) {
        // The icon sits at the right end of the panel along the top edge.
        std::string window;
        // Clicks a double-click interval apart: a double click toggles nothing.
        const auto apart = std::chrono::milliseconds(800);
        ASSERT_TRUE(waitFor(
            [&] {
                xdotool({"mousemove", "1268", "12", "click", "1"});
                std::this_thread::sleep_for(apart);
                window = visibleWindow("Slidebox");
                return !window.empty();
            },
            std::chrono::seconds(20)))
            << log();
        EXPECT_TRUE(waitFor([&] { return windowY(window) == 24; }))
            << "docked under the panel, at y " << windowY(window);
        EXPECT_EQ(log().find("no tray"), std::string::npos) << log();
        std::this_thread::sleep_for(apart);
        xdotool({"mousemove", "1268", "12", "click", "1"});
        EXPECT_TRUE(waitFor([&] { return visibleWindow("Slidebox").empty(); }))
            << "a second click hides it";
        st::endChild(tray_);
        tray_ = -1;
    }
    // No tray (any more): the handle stands in, and says so in the log.
    std::string handle;
    ASSERT_TRUE(waitFor([&] { return !(handle = visibleWindow("Slidebox Handle")).empty(); },
                        std::chrono::seconds(15)))
        << log();
    EXPECT_NE(log().find("handle at the top of the screen"), std::string::npos) << log();
    xdotool({"mousemove", "--window", handle, "20", "8", "click", "1"});
    EXPECT_TRUE(waitFor([&] { return !visibleWindow("Slidebox").empty(); })) << log();

    ::kill(app_, SIGTERM);
    EXPECT_EQ(st::waitChild(app_, std::chrono::seconds(20)), 0) << log();
    app_ = -1;
}

} // namespace
