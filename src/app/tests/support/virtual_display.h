#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace slidebox::testing::x11 {

using Environment = std::map<std::string, std::string>;

/// The environment of this process.
Environment currentEnvironment();

/// Starts a program with the environment; its output goes to the log file.
/// extraFd stays open in the child. -1 when it could not start.
pid_t spawn(const std::vector<std::string>& arguments, const Environment& environment,
            const std::filesystem::path& log, int extraFd = -1);

/// Waits for a child's end; its exit status, or nothing after the timeout.
std::optional<int> waitForExit(pid_t pid, std::chrono::seconds timeout);

/// Ends a child: SIGTERM, then SIGKILL after a few seconds.
void stopProcess(pid_t pid);

/// Runs a tool on the display and waits for it (20 s at most): its output,
/// trimmed; nothing when it failed.
std::optional<std::string> runOnDisplay(const std::vector<std::string>& command,
                                        const std::string& display,
                                        const std::filesystem::path& out);

/// A virtual X server on a free display, ended with the object.
class VirtualDisplay {
  public:
    explicit VirtualDisplay(const std::filesystem::path& log);
    ~VirtualDisplay();
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;
    /// ":N", or empty when the server did not start.
    const std::string& name() const { return display_; }

  private:
    pid_t pid_ = -1;
    std::string display_;
};

} // namespace slidebox::testing::x11
