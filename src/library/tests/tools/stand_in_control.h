#pragma once
// Test support for the stand-in "iPhoto" (stand_in_iphoto.cpp): starting and
// ending it by process id, reading what it did, and one lock that every test
// running it holds. The tests that run it go in a PID namespace of their own
// where the machine allows (tools/in_own_pid_namespace.sh), where they see
// only their own processes; the lock keeps them apart where it doesn't.
// Header only, so that the tests of the command line can use it as well.

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/temp_dir.h"

extern char** environ;

namespace slidebox::testing {

/// Held by every test that runs the stand-in or the real scripts: one at a
/// time on the whole machine, whichever build folder the test comes from.
class StandInLock {
  public:
    StandInLock() {
        fd_ = ::open("/tmp/slidebox-iphoto-stand-in.lock", O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        if (fd_ >= 0)
            while (::flock(fd_, LOCK_EX) != 0 && errno == EINTR) {
            }
    }
    ~StandInLock() {
        if (fd_ >= 0)
            ::close(fd_); // releases the lock
    }
    StandInLock(const StandInLock&) = delete;
    StandInLock& operator=(const StandInLock&) = delete;

  private:
    int fd_ = -1;
};

/// The folder holding the stand-in, to be put first on PATH.
inline std::filesystem::path fakeBinFolder() {
    return buildDir() / "tests" / "fakebin";
}

/// The real scripts, as the build tree holds them.
inline std::filesystem::path scriptFolder() {
    return buildDir() / "share" / "slidebox";
}

/// Polls until the condition holds or the timeout has passed.
inline bool waitFor(const std::function<bool()>& condition,
                    std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

/// One line of the stand-in's record: "<pid> <event> [<path>]".
struct StandInEvent {
    pid_t pid = 0;
    std::string event; ///< opened, made-library, touched, quit, timed-out, cannot-open
    std::string path;
};

/// What the stand-ins run with this home folder did, in order.
inline std::vector<StandInEvent> standInEvents(const std::filesystem::path& home) {
    std::vector<StandInEvent> events;
    std::istringstream lines(readFile(home / "Library" / "Logs" / "iPhoto stand-in.log"));
    for (std::string line; std::getline(lines, line);) {
        StandInEvent e;
        const size_t first = line.find(' ');
        if (first == std::string::npos)
            continue;
        e.pid = static_cast<pid_t>(std::strtol(line.substr(0, first).c_str(), nullptr, 10));
        const size_t second = line.find(' ', first + 1);
        e.event = line.substr(first + 1,
                              second == std::string::npos ? std::string::npos : second - first - 1);
        if (second != std::string::npos)
            e.path = line.substr(second + 1);
        events.push_back(e);
    }
    return events;
}

/// The first event of that kind, with that path when one is given.
inline std::optional<StandInEvent> findEvent(const std::filesystem::path& home,
                                             const std::string& event,
                                             const std::optional<std::string>& path = std::nullopt,
                                             pid_t notPid = 0) {
    for (const StandInEvent& e : standInEvents(home))
        if (e.event == event && (!path || e.path == *path) && e.pid != notPid)
            return e;
    return std::nullopt;
}

/// Whether the process runs (a zombie has ended).
inline bool processRuns(pid_t pid) {
    if (pid <= 0 || ::kill(pid, 0) != 0)
        return false;
    std::string stat = readFile("/proc/" + std::to_string(pid) + "/stat");
    const size_t close = stat.rfind(')');
    return close != std::string::npos && close + 2 < stat.size() && stat[close + 2] != 'Z' &&
           stat[close + 2] != 'X';
}

/// The environment of a process started by the tests: the given home (also
/// the runtime folder, where the switch lock goes), the stand-in first on
/// PATH, a short lifetime for the stand-in.
inline std::vector<std::string> standInEnvironment(const std::filesystem::path& home) {
    const char* path = std::getenv("PATH");
    return {"HOME=" + home.string(), "XDG_RUNTIME_DIR=" + home.string(),
            "PATH=" + fakeBinFolder().string() + ":" + (path ? path : "/usr/bin:/bin"),
            "IPHOTO_STAND_IN_LIFETIME=30"};
}

/// Sets HOME, XDG_RUNTIME_DIR, PATH and the stand-in's lifetime in this process for the
/// object's lifetime, so that the scripts and what they start see them.
class StandInEnvironment {
  public:
    explicit StandInEnvironment(const std::filesystem::path& home) {
        for (const std::string& entry : standInEnvironment(home)) {
            const size_t eq = entry.find('=');
            const std::string name = entry.substr(0, eq);
            const char* old = std::getenv(name.c_str());
            saved_.push_back({name, old ? std::optional<std::string>(old) : std::nullopt});
            ::setenv(name.c_str(), entry.c_str() + eq + 1, 1);
        }
    }
    ~StandInEnvironment() {
        for (const auto& [name, value] : saved_) {
            if (value)
                ::setenv(name.c_str(), value->c_str(), 1);
            else
                ::unsetenv(name.c_str());
        }
    }
    StandInEnvironment(const StandInEnvironment&) = delete;
    StandInEnvironment& operator=(const StandInEnvironment&) = delete;

  private:
    std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
};

/// Starts the stand-in as a child of the test, with the given home; the
/// process id, or -1. The caller ends it with stopChild().
inline pid_t startStandIn(const std::filesystem::path& home,
                          const std::filesystem::path& program = fakeBinFolder() / "iPhoto") {
    std::vector<std::string> envStore;
    for (char** e = environ; *e; ++e) {
        const std::string entry = *e;
        if (entry.rfind("HOME=", 0) != 0 && entry.rfind("PATH=", 0) != 0 &&
            entry.rfind("XDG_RUNTIME_DIR=", 0) != 0 &&
            entry.rfind("IPHOTO_STAND_IN_LIFETIME=", 0) != 0)
            envStore.push_back(entry);
    }
    for (const std::string& entry : standInEnvironment(home))
        envStore.push_back(entry);
    std::vector<char*> envp;
    for (auto& e : envStore)
        envp.push_back(e.data());
    envp.push_back(nullptr);
    std::string programArg = program.string();
    std::vector<char*> argv{programArg.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    pid_t pid = -1;
    if (posix_spawn(&pid, programArg.c_str(), &actions, nullptr, argv.data(), envp.data()) != 0)
        pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

/// Ends a child started by startStandIn: asks it to quit, waits (bounded),
/// kills it if it won't, and collects it. True when it had to be asked (it
/// still ran); harmless for one that has already ended.
inline bool stopChild(pid_t pid) {
    if (pid <= 0)
        return false;
    const bool ran = processRuns(pid);
    if (ran)
        ::kill(pid, SIGTERM);
    bool collected =
        waitFor([pid] { return ::waitpid(pid, nullptr, WNOHANG) != 0; }, std::chrono::seconds(5));
    if (!collected) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
    return ran;
}

/// Ends the stand-ins that the launch script started for this home (they
/// are not the test's children): each by the id it recorded, only while it
/// still runs, waiting (bounded) until it has ended.
inline void stopLaunchedStandIns(const std::filesystem::path& home) {
    for (const StandInEvent& e : standInEvents(home)) {
        if (e.event != "opened" || !processRuns(e.pid))
            continue;
        const std::string proc = "/proc/" + std::to_string(e.pid);
        const std::string environment = std::string(1, '\0') + readFile(proc + "/environ");
        if (readFile(proc + "/comm") != "iPhoto\n" ||
            environment.find(std::string("\0HOME=", 6) + home.string() + '\0') == std::string::npos)
            continue; // the id was given to another process meanwhile
        ::kill(e.pid, SIGTERM);
        if (!waitFor([pid = e.pid] { return !processRuns(pid); }, std::chrono::seconds(5)))
            ::kill(e.pid, SIGKILL);
    }
}

/// Ends every stand-in a test started, its own children and those the
/// launch script started for home, however the test ends.
struct StandInCleanup {
    std::filesystem::path home;
    std::vector<pid_t> children;
    ~StandInCleanup() {
        stopLaunchedStandIns(home);
        for (pid_t pid : children)
            stopChild(pid);
    }
};

/// An empty generation-6 library, as the stand-in makes one: its marker
/// and a "Data" folder.
inline void makeEmptyLibrary6(const std::filesystem::path& folder) {
    writeFile(folder / "Library6.iPhoto", "");
    std::filesystem::create_directories(folder / "Data");
}

} // namespace slidebox::testing
