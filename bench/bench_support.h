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

/// Times one run of f, in seconds.
template <typename F> double timed(F&& f) {
    const auto start = Clock::now();
    f();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Runs a shell command; false (and a line on standard error) when it fails.
inline bool run(const std::string& command) {
    if (std::system(command.c_str()) == 0)
        return true;
    std::fprintf(stderr, "failed: %s\n", command.c_str());
    return false;
}

/// Prints the ratio of a work's time to its reference's, and the line that
/// bench/run.sh gathers into its table. lowerIsBetter: the goal is a ratio
/// of at most goal; otherwise at least goal. Whether the goal holds.
inline bool report(const std::string& work, double workSeconds, const std::string& reference,
                   double referenceSeconds, double goal, bool lowerIsBetter = true) {
    const double ratio = workSeconds / referenceSeconds;
    const bool holds = lowerIsBetter ? ratio <= goal : ratio >= goal;
    const char* sign = lowerIsBetter ? "<=" : ">=";
    std::printf("%s / %s ratio: %.2f (goal %s %.2f)\n", work.c_str(), reference.c_str(), ratio,
                sign, goal);
    std::printf("@result\t%s\t%.3f\t%s\t%.3f\t%.2f\t%s %.2f\t%s\n", work.c_str(), workSeconds,
                reference.c_str(), referenceSeconds, ratio, sign, goal, holds ? "yes" : "NO");
    std::fflush(stdout);
    return holds;
}

inline std::string quoted(const std::filesystem::path& path) {
    return "'" + path.string() + "'";
}

} // namespace bench
