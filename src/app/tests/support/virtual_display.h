#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace slidebox::testing::x11 {

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
