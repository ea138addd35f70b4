#pragma once
// Test support for the stand-in "iPhoto" (stand_in_iphoto.cpp): starting and
// ending it by process id, reading what it did, and one lock that every test
// running it holds. The tests that run it go in a PID namespace of their own
// where the machine allows (tools/in_own_pid_namespace.sh), where they see
// only their own processes; the lock keeps them apart where it doesn't.
// Header only; the tests of the library, the application and the command
// line use it.

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "tests/child_process.h"
#include "tests/scoped_env.h"
#include "tests/temp_dir.h"

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
    std::string event; ///< opened, made-library, quit, timed-out, cannot-open
    std::string path;
};

/// What the stand-ins run with this home folder did, in order.
inline std::vector<StandInEvent> standInEvents(const std::filesystem::path& home) {
    std::vector<StandInEvent> events;
    std::istringstream lines(readFile(home / "Library" / "Logs" / "iPhoto stand-in.log"));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line); // "<pid> <event> [<path>]"
        StandInEvent e;
        if (!(words >> e.pid >> e.event))
            continue;
        std::getline(words >> std::ws, e.path);
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
            variables_.emplace_back(entry.substr(0, eq).c_str(), entry.c_str() + eq + 1);
        }
    }

  private:
    std::deque<ScopedEnv> variables_;
};

/// Starts the stand-in as a child of the test, with the given home; the
/// process id, or -1. The caller ends it with stopChild().
inline pid_t startStandIn(const std::filesystem::path& home,
                          const std::filesystem::path& program = fakeBinFolder() / "iPhoto") {
    return startChild({program.string()}, standInEnvironment(home));
}

/// Ends a child started by startStandIn (asked to quit, killed if it won't)
/// and collects it. True when it still ran; harmless for one that has ended.
inline bool stopChild(pid_t pid) {
    const bool ran = processRuns(pid);
    endChild(pid);
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
