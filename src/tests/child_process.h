#pragma once

// Another program run to the end, as a test needs it: no shell in between,
// its input given, its output and errors kept apart.

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

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

} // namespace slidebox::testing
