#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace slidebox::platform {

/// What running a script gave.
struct ScriptResult {
    int exitStatus = -1; ///< the runner's exit status; -1 when it died by a signal
    std::string output;  ///< what the script printed on standard output, trailing newline cut
};

/// Runs a script file and waits for its end: through `osascript` when the
/// system has it, else as a POSIX shell script (/bin/sh). Nothing when the
/// file doesn't exist or no process could be started. Safe on any thread.
std::optional<ScriptResult> runScript(const std::filesystem::path& file);

/// The folder of the application's resources: share/slidebox beside the
/// bin/ folder of the running program (the same in the build tree and in an
/// installed prefix).
std::filesystem::path resourceDirectory();

/// A program found on PATH, or nothing.
std::optional<std::filesystem::path> findInPath(const std::string& program);

} // namespace slidebox::platform
