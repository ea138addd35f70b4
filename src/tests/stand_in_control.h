#pragma once
// Test support for the stand-in "iPhoto" (stand_in_iphoto.cpp): starting and
// ending it by process id, reading what it did, and one lock that every test
// running it holds. The tests that run it go in a PID namespace of their own
// where the machine allows (tools/in_own_pid_namespace.sh); the lock keeps
// them apart where it doesn't. Header only.

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
#include <sys/file.h>
#include <unistd.h>

#include "tests/child_process.h"
#include "tests/temp_dir.h"

namespace slidebox::testing {

/// Held by every test that runs the stand-in or the real scripts: one at a
/// time on the whole machine, whichever build folder the test comes from.
struct StandInLock {
    StandInLock() {
        while (fd >= 0 && ::flock(fd, LOCK_EX) != 0 && errno == EINTR) {
        }
    }
    ~StandInLock() { ::close(fd); } // releases the lock
    const int fd = ::open("/tmp/slidebox-iphoto-stand-in.lock", O_RDWR | O_CREAT | O_CLOEXEC, 0666);
};

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

/// The stand-ins' record holds a line "<pid> <event> [<path>]" of that event
/// (opened, made-library, quit, timed-out), with that path when
/// one is given, of a process other than notPid. All lines with a pid when
/// event is empty, each calling each.
inline bool hasEvent(const std::filesystem::path& home, const std::string& event,
                     const std::optional<std::string>& path = std::nullopt, pid_t notPid = 0,
                     const std::function<void(pid_t)>& each = {}) {
    std::istringstream lines(readFile(home / "Library" / "Logs" / "iPhoto stand-in.log"));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        pid_t pid = 0;
        std::string kind, where;
        if (!(words >> pid >> kind))
            continue;
        std::getline(words >> std::ws, where);
        if (each && kind == event)
            each(pid);
        else if (kind == event && (!path || where == *path) && pid != notPid)
            return true;
    }
    return false;
}

/// Whether the process runs (a zombie has ended).
inline bool processRuns(pid_t pid) {
    if (pid <= 0 || ::kill(pid, 0) != 0)
        return false;
    const std::string stat = readFile("/proc/" + std::to_string(pid) + "/stat");
    const size_t state = stat.rfind(')') + 2;
    return state < stat.size() && stat[state] != 'Z' && stat[state] != 'X';
}

/// The environment of a process started by the tests: the given home (also
/// the runtime folder, where the switch lock goes), the stand-in first on
/// PATH.
inline std::vector<std::string> standInEnvironment(const std::filesystem::path& home) {
    const char* path = std::getenv("PATH");
    return {"HOME=" + home.string(), "XDG_RUNTIME_DIR=" + home.string(),
            "PATH=" + (buildDir() / "tests" / "fakebin").string() + ":" +
                (path ? path : "/usr/bin:/bin")};
}

/// Starts the stand-in as a child of the test, with the given home; the
/// process id, or -1. The caller ends it with endChild().
inline pid_t startStandIn(const std::filesystem::path& home) {
    return startChild({(buildDir() / "tests" / "fakebin" / "iPhoto").string()},
                      standInEnvironment(home));
}

/// Ends every stand-in a test started, however the test ends: its own
/// children, and those the launch script started for home (not the test's
/// children), each by the id it recorded while it still runs as a stand-in
/// of this home (the id may have been given to another process meanwhile).
struct StandInCleanup {
    std::filesystem::path home;
    std::vector<pid_t> children;
    ~StandInCleanup() {
        hasEvent(home, "opened", std::nullopt, 0, [this](pid_t pid) {
            const std::string proc = "/proc/" + std::to_string(pid);
            const std::string environment = '\0' + readFile(proc + "/environ");
            if (processRuns(pid) && readFile(proc + "/comm") == "iPhoto\n" &&
                environment.find(std::string("\0HOME=", 6) + home.string() + '\0') !=
                    std::string::npos) {
                ::kill(pid, SIGTERM);
                if (!waitFor([pid] { return !processRuns(pid); }, std::chrono::seconds(5)))
                    ::kill(pid, SIGKILL);
            }
        });
        for (pid_t pid : children)
            endChild(pid);
    }
};

/// An empty generation-6 library, as the stand-in makes one: its marker
/// and a "Data" folder.
inline void makeEmptyLibrary6(const std::filesystem::path& folder) {
    writeFile(folder / "Library6.iPhoto", "");
    std::filesystem::create_directories(folder / "Data");
}

} // namespace slidebox::testing
