#include "support/virtual_display.h"

#include <csignal>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "library/tests/tools/stand_in_control.h"

extern char** environ;

namespace slidebox::testing::x11 {

Environment currentEnvironment() {
    Environment environment;
    for (char** e = environ; *e; ++e) {
        const std::string entry = *e;
        const size_t eq = entry.find('=');
        if (eq != std::string::npos)
            environment[entry.substr(0, eq)] = entry.substr(eq + 1);
    }
    return environment;
}

pid_t spawn(const std::vector<std::string>& arguments, const Environment& environment,
            const std::filesystem::path& log, int extraFd) {
    std::vector<std::string> envStore;
    for (const auto& [name, value] : environment)
        envStore.push_back(name + "=" + value);
    std::vector<char*> envp;
    for (auto& e : envStore)
        envp.push_back(e.data());
    envp.push_back(nullptr);
    std::vector<std::string> args = arguments;
    std::vector<char*> argv;
    for (auto& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, log.c_str(),
                                     O_WRONLY | O_CREAT | O_APPEND, 0644);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    if (extraFd >= 0)
        posix_spawn_file_actions_adddup2(&actions, extraFd, extraFd); // keeps it open across exec
    pid_t pid = -1;
    if (posix_spawnp(&pid, args[0].c_str(), &actions, nullptr, argv.data(), envp.data()) != 0)
        pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

std::optional<int> waitForExit(pid_t pid, std::chrono::seconds timeout) {
    std::optional<int> result;
    waitFor(
        [&] {
            int status = 0;
            if (::waitpid(pid, &status, WNOHANG) != pid)
                return false;
            result = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            return true;
        },
        timeout);
    return result;
}

void stopProcess(pid_t pid) {
    if (pid <= 0)
        return;
    ::kill(pid, SIGTERM);
    if (!waitForExit(pid, std::chrono::seconds(5))) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
}

std::optional<std::string> runOnDisplay(const std::vector<std::string>& command,
                                        const std::string& display,
                                        const std::filesystem::path& out) {
    std::filesystem::remove(out);
    Environment environment = currentEnvironment();
    environment["DISPLAY"] = display;
    const pid_t pid = spawn(command, environment, out);
    if (pid < 0 || waitForExit(pid, std::chrono::seconds(20)) != 0)
        return std::nullopt;
    std::string text = readFile(out);
    while (!text.empty() && (text.back() == '\n' || text.back() == ' '))
        text.pop_back();
    return text;
}

VirtualDisplay::VirtualDisplay(const std::filesystem::path& log) {
    int fds[2];
    if (::pipe(fds) != 0)
        return;
    pid_ = spawn({"Xvfb", "-displayfd", std::to_string(fds[1]), "-screen", "0", "1280x800x24",
                  "-nolisten", "tcp"},
                 currentEnvironment(), log, fds[1]);
    ::close(fds[1]);
    std::string number;
    char c;
    while (::read(fds[0], &c, 1) == 1 && c != '\n')
        number += c;
    ::close(fds[0]);
    if (!number.empty())
        display_ = ":" + number;
}

VirtualDisplay::~VirtualDisplay() {
    stopProcess(pid_);
}

} // namespace slidebox::testing::x11
