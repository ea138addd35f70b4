#pragma once

#include <string>
#include <vector>

namespace slidebox::testing {

/// What one run of slidebox-cli gave.
struct CliRun {
    int status = -1;
    std::string out;
    std::string err;
};

/// Runs the built slidebox-cli with the arguments (no shell in between) and
/// an optional environment added to the test's own ("NAME=value").
CliRun runCli(const std::vector<std::string>& args, const std::vector<std::string>& env = {});

} // namespace slidebox::testing
