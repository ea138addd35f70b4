// The start of slidebox-cli's light commands, `--version` and
// `color deltae`, timed against `transicc -v` (the colour engine's own
// command-line tool printing its banner) in the same run:
//
//   bench_cli_start [RUNS]
//
// Each command runs RUNS times (default 200) in each of three rounds, the
// commands taking turns; a command's time is its best round's mean. Prints
// the shared libraries each program loads (what the dynamic linker lists
// for it), the start of slidebox-cli-commands, which holds every command
// and links every library, and the ratios; the goal is at most 2x.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bench_support.h"

extern char** environ;

namespace {

struct Command {
    std::string title;
    std::vector<std::string> argv;
    int runs;
    double best = 1e30;
};

// Runs argv with standard input, output and errors on /dev/null and the
// environment plus extra; the output when capture, else "". False when it
// can't be started.
bool spawn(const std::vector<std::string>& argv, const std::vector<std::string>& extra,
           std::string* capture) {
    std::vector<char*> args;
    for (const auto& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    std::vector<char*> env;
    for (char** e = environ; *e; ++e)
        env.push_back(*e);
    for (const auto& e : extra)
        env.push_back(const_cast<char*>(e.c_str()));
    env.push_back(nullptr);

    int pipeFds[2] = {-1, -1};
    if (capture && ::pipe(pipeFds) != 0)
        return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    if (capture) {
        posix_spawn_file_actions_adddup2(&actions, pipeFds[1], 1);
        posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
        posix_spawn_file_actions_addclose(&actions, pipeFds[1]);
    } else {
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    }
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    const int failed = posix_spawn(&pid, args[0], &actions, nullptr, args.data(), env.data());
    posix_spawn_file_actions_destroy(&actions);
    if (capture) {
        ::close(pipeFds[1]);
        char buffer[4096];
        for (ssize_t n; (n = ::read(pipeFds[0], buffer, sizeof buffer)) > 0;)
            capture->append(buffer, static_cast<std::size_t>(n));
        ::close(pipeFds[0]);
    }
    if (failed != 0)
        return false;
    int status = 0;
    return ::waitpid(pid, &status, 0) == pid;
}

// The shared libraries the dynamic linker loads for the program, as ldd
// counts them (the vDSO and the linker itself included).
int libraryCount(const std::string& program) {
    std::string listing;
    if (!spawn({program}, {"LD_TRACE_LOADED_OBJECTS=1"}, &listing))
        return -1;
    int lines = 0;
    for (char c : listing)
        lines += c == '\n';
    return lines;
}

} // namespace

int main(int argc, char** argv) {
    const int runs = argc > 1 ? std::atoi(argv[1]) : 200;
    const std::string cli = SLIDEBOX_CLI;
    const std::string transicc = "/usr/bin/transicc";
    // The program of the other commands: what every command took to start
    // when slidebox-cli linked them all, for comparison (fewer runs).
    const std::string all = std::filesystem::path(cli).parent_path().parent_path() / "libexec" /
                            "slidebox-cli-commands";
    std::vector<Command> commands = {
        {"transicc -v", {transicc, "-v"}, runs},
        {"slidebox-cli --version", {cli, "--version"}, runs},
        {"slidebox-cli color deltae",
         {cli, "color", "deltae", "50", "10", "10", "52", "8", "12"},
         runs},
        {"slidebox-cli-commands --version", {all, "--version"}, std::max(1, runs / 4)},
    };
    for (int round = 0; round < 3; ++round) {
        for (auto& command : commands) {
            const auto start = bench::Clock::now();
            for (int i = 0; i < command.runs; ++i)
                if (!spawn(command.argv, {}, nullptr)) {
                    std::fprintf(stderr, "can't run %s\n", command.argv[0].c_str());
                    return 1;
                }
            const std::chrono::duration<double> seconds = bench::Clock::now() - start;
            command.best = std::min(command.best, seconds.count() / command.runs);
        }
    }
    std::printf("shared libraries loaded: transicc %d, slidebox-cli %d, slidebox-cli-commands %d\n",
                libraryCount(transicc), libraryCount(cli), libraryCount(all));
    for (const auto& command : commands)
        std::printf("%-32s %6.2f ms a start (best mean of %d)\n", command.title.c_str(),
                    command.best * 1e3, command.runs);
    bool holds = true;
    for (std::size_t i = 1; i < 3; ++i)
        holds &= bench::report(commands[i].title + " start", commands[i].best, commands[0].title,
                               commands[0].best, 2.0);
    return holds ? 0 : 1;
}
