#pragma once

#include <filesystem>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace slidebox::platform {

/// This user's processes (those running with this process's effective user)
/// whose name (the kernel's "comm", at most 15 bytes) is exactly the given
/// one, read afresh from the process folder at each call; tests pass a
/// folder of their own making as procRoot.
/// A process that has ended and waits to be collected by its parent (a
/// zombie) is left out.
std::vector<pid_t> processesNamed(std::string_view name,
                                  const std::filesystem::path& procRoot = "/proc");

/// Whether a process of exactly that name runs.
bool isApplicationRunning(std::string_view name, const std::filesystem::path& procRoot = "/proc");

} // namespace slidebox::platform
