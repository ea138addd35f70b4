// The X11 display profile property read from an X server of the test's own
// (never the user's display): Xvfb on a free display number, the property
// set with xprop as a colour tool would set it (no reset when xprop leaves).
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "color/profile_manager.h"
#include "tests/child_process.h"

extern char** environ;

using namespace slidebox::color;

namespace {

/// An Xvfb server that lives as long as the object.
class OwnXServer {
  public:
    OwnXServer() {
        int fds[2];
        if (::pipe(fds) != 0)
            return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addclose(&actions, fds[0]);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        const std::string fd = std::to_string(fds[1]);
        const char* argv[] = {"Xvfb",      "-displayfd", fd.c_str(), "-noreset",
                              "-nolisten", "tcp",        nullptr};
        if (posix_spawnp(&pid_, "Xvfb", &actions, nullptr, const_cast<char**>(argv), environ) != 0)
            pid_ = -1;
        posix_spawn_file_actions_destroy(&actions);
        ::close(fds[1]);
        // The server writes its display number once it accepts connections.
        std::string number;
        char c;
        while (pid_ > 0 && ::read(fds[0], &c, 1) == 1 && c != '\n')
            number += c;
        ::close(fds[0]);
        if (!number.empty())
            display_ = ":" + number;
    }
    ~OwnXServer() {
        if (pid_ > 0) {
            ::kill(pid_, SIGTERM);
            ::waitpid(pid_, nullptr, 0);
        }
    }
    const std::string& display() const { return display_; }

  private:
    pid_t pid_ = -1;
    std::string display_;
};

} // namespace

TEST(DisplayProfileX11, RootWindowPropertyOfEachScreen) {
    OwnXServer server;
    if (server.display().empty())
        GTEST_SKIP() << "Xvfb can't be started: run tools/setup.sh";
    const char* display = server.display().c_str();
    EXPECT_FALSE(readX11ProfileAtom(display, 0)); // nothing set yet

    const auto set = [&](const std::string& atom, const std::string& value) {
        auto run =
            slidebox::testing::runChild("/usr/bin/xprop", {"-display", display, "-root", "-format",
                                                           atom, "8s", "-set", atom, value});
        return run.status == 0;
    };
    if (!set("_ICC_PROFILE", "first") || !set("_ICC_PROFILE_1", "second"))
        GTEST_SKIP() << "xprop can't set the property: run tools/setup.sh";
    const auto text = [](const std::optional<std::vector<std::uint8_t>>& bytes) {
        return bytes ? std::string(bytes->begin(), bytes->end()) : std::string("none");
    };
    EXPECT_EQ(text(readX11ProfileAtom(display, 0)), "first");
    EXPECT_EQ(text(readX11ProfileAtom(display, 1)), "second");
    EXPECT_EQ(text(readX11ProfileAtom(display, 2)), "none");
    EXPECT_EQ(text(readX11ProfileAtom(":999999", 0)), "none"); // no server there
}
