#include "platform/script_runner.h"

#include <cerrno>
#include <cstdlib>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/file_system.h"

extern char** environ;

namespace slidebox::platform {

std::optional<std::filesystem::path> findInPath(const std::string& program) {
    const char* path = std::getenv("PATH");
    std::string dirs = path ? path : "/usr/local/bin:/usr/bin:/bin";
    size_t start = 0;
    while (start <= dirs.size()) {
        size_t end = dirs.find(':', start);
        if (end == std::string::npos)
            end = dirs.size();
        std::filesystem::path candidate =
            std::filesystem::path(dirs.substr(start, end - start)) / program;
        if (end > start && ::access(candidate.c_str(), X_OK) == 0 && !isDirectory(candidate))
            return candidate;
        start = end + 1;
    }
    return std::nullopt;
}

std::optional<ScriptResult> runScript(const std::filesystem::path& file) {
    bool isDir = false;
    if (!fileExistsAtPath(file, &isDir) || isDir)
        return std::nullopt;
    std::filesystem::path runner = "/bin/sh";
    if (auto osascript = findInPath("osascript"))
        runner = *osascript;

    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC) != 0)
        return std::nullopt;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);

    std::string runnerArg = runner.string();
    std::string fileArg = file.string();
    std::vector<char*> argv{runnerArg.data(), fileArg.data(), nullptr};
    pid_t pid = 0;
    int rc = posix_spawn(&pid, runner.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipeFds[1]);
    if (rc != 0) {
        ::close(pipeFds[0]);
        return std::nullopt;
    }

    ScriptResult result;
    char buf[4096];
    for (;;) {
        ssize_t n = ::read(pipeFds[0], buf, sizeof buf);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        result.output.append(buf, static_cast<size_t>(n));
    }
    ::close(pipeFds[0]);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    while (!result.output.empty() && result.output.back() == '\n')
        result.output.pop_back();
    return result;
}

std::filesystem::path resourceDirectory() {
    std::error_code ec;
    auto exe = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (ec)
        return "share/slidebox";
    return exe.parent_path().parent_path() / "share" / "slidebox";
}

} // namespace slidebox::platform
