#pragma once

// What the benchmarks share: timing, running a command, the folder
// the large images are made in once.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>

namespace bench {

using Clock = std::chrono::steady_clock;

/// The best wall time of some runs of f, in seconds.
template <typename F> double bestOf(int runs, F&& f) {
    double best = 1e30;
    for (int i = 0; i < runs; ++i) {
        auto start = Clock::now();
        f();
        best = std::min(best, std::chrono::duration<double>(Clock::now() - start).count());
    }
    return best;
}

/// The best wall time of three runs of f, in seconds.
template <typename F> double bestOfThree(F&& f) {
    return bestOf(3, std::forward<F>(f));
}

/// Runs a shell command; false (and a line on standard error) when it fails.
inline bool run(const std::string& command) {
    if (std::system(command.c_str()) == 0)
        return true;
    std::fprintf(stderr, "failed: %s\n", command.c_str());
    return false;
}

inline std::string quoted(const std::filesystem::path& path) {
    return "'" + path.string() + "'";
}

} // namespace bench
