// The X11 display profile property read from an X server of the test's own
// (never the user's display): Xvfb on a free display number, the property
// set with xprop as a colour tool would set it (no reset when xprop leaves).
#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <string>

#include "color/profile_manager.h"
#include "tests/child_process.h"

using namespace slidebox::color;
using namespace slidebox::testing;

namespace {

/// An Xvfb server that lives as long as the object; it writes its display
/// number to the pipe once it accepts connections.
struct OwnXServer {
    OwnXServer() {
        int fds[2];
        if (::pipe(fds) != 0)
            return;
        pid = startChild(
            {"Xvfb", "-displayfd", std::to_string(fds[1]), "-noreset", "-nolisten", "tcp"}, {},
            "/dev/null", fds[1]);
        ::close(fds[1]);
        std::string number;
        char c;
        while (pid > 0 && ::read(fds[0], &c, 1) == 1 && c != '\n')
            number += c;
        ::close(fds[0]);
        if (!number.empty())
            display = ":" + number;
    }
    ~OwnXServer() {
        if (pid > 0) {
            ::kill(pid, SIGTERM);
            waitChild(pid, std::chrono::seconds(10));
        }
    }
    pid_t pid = -1;
    std::string display;
};

} // namespace

TEST(DisplayProfileX11, RootWindowPropertyOfEachScreen) {
    OwnXServer server;
    if (server.display.empty())
        GTEST_SKIP() << "Xvfb can't be started: run tools/setup.sh";
    const char* display = server.display.c_str();
    EXPECT_FALSE(readX11ProfileAtom(display, 0)); // nothing set yet

    const auto set = [&](const std::string& atom, const std::string& value) {
        auto run = runChild("/usr/bin/xprop", {"-display", display, "-root", "-format", atom, "8s",
                                               "-set", atom, value});
        return run.status == 0;
    };
    if (!set("_ICC_PROFILE", "first") || !set("_ICC_PROFILE_1", "second"))
        GTEST_SKIP() << "xprop can't set the property: run tools/setup.sh";
    const auto text = [](const std::optional<std::vector<std::uint8_t>>& bytes) {
        return bytes ? std::string(bytes->begin(), bytes->end()) : std::string("none");
    };
    for (auto [screen, value] : {std::pair{0, "first"}, {1, "second"}, {2, "none"}})
        EXPECT_EQ(text(readX11ProfileAtom(display, screen)), value);
    EXPECT_EQ(text(readX11ProfileAtom(":999999", 0)), "none"); // no server there
}
