#pragma once

// Another program run to the end, as a test needs it: no shell in between,
// its input given, its output and errors kept apart.

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace slidebox::testing {

struct ChildRun {
    int status = -1; ///< the exit status; -1 when it didn't start or was killed
    std::string out;
    std::string err;
};

/// Runs program (a path, or a name looked up in PATH) with the arguments,
/// the test's environment with env's "NAME=value" entries in place of its
/// own, and input as its standard input.
ChildRun runChild(const std::filesystem::path& program, const std::vector<std::string>& args,
                  const std::vector<std::string>& env = {}, std::string_view input = {});

/// Starts command (its program a path or a name looked up in PATH) in the
/// background: the test's environment with env's "NAME=value" entries in
/// place of its own (a bare "NAME" removes it), no input, output and errors
/// appended to log (the test's own when log is empty); keepFd stays open in
/// the child. The process id, or -1 when it could not start.
pid_t startChild(const std::vector<std::string>& command, const std::vector<std::string>& env = {},
                 const std::filesystem::path& log = {}, int keepFd = -1);

/// Waits for a child's end: its exit status (128 + the signal when one
/// ended it), or nothing when it still ran after the timeout.
std::optional<int> waitChild(pid_t pid, std::chrono::milliseconds timeout);

/// An Xvfb of the test's own, started with the arguments: its process and
/// display (":n") once it accepts connections, or -1 and "" when none
/// started. The number is drawn from a wide range, away from the low ones
/// where other test runs' servers come and go: a server that ends can take
/// the socket of the next one on its number with it. The server never
/// resets: one that resets when its last client leaves refuses a client
/// that connects in that moment (a program started while xdotool quits).
struct XServer {
    pid_t pid = -1;
    std::string display;
};
XServer startXServer(const std::vector<std::string>& arguments, const std::filesystem::path& log);

/// Ends a child started by startChild: SIGTERM, SIGKILL when it still runs
/// after five seconds; collected either way. Nothing for pid <= 0 or a
/// child collected already.
void endChild(pid_t pid);

} // namespace slidebox::testing
