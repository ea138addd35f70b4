#include "tests/child_process.h"

#include <csignal>
#include <fcntl.h>
#include <map>
#include <random>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>

#include "tests/temp_dir.h"

extern char** environ;

namespace slidebox::testing {

namespace {
// The test's environment with the given entries in place of its own: the
// program's getenv would otherwise find the inherited one first.
std::vector<std::string> environmentWith(const std::vector<std::string>& env) {
    std::map<std::string, std::string> byName;
    for (char** e = environ; *e; ++e)
        byName[std::string(*e).substr(0, std::string(*e).find('='))] = *e;
    for (const std::string& e : env)
        byName[e.substr(0, e.find('='))] = e.find('=') == std::string::npos ? "" : e;
    std::vector<std::string> entries;
    for (auto& [name, entry] : byName)
        if (!entry.empty()) // a bare name in env removes it
            entries.push_back(entry);
    return entries;
}

std::vector<char*> pointers(std::vector<std::string>& strings) {
    std::vector<char*> result;
    for (auto& s : strings)
        result.push_back(s.data());
    result.push_back(nullptr);
    return result;
}

// Spawns the command with standard input from in, output to out and errors
// to err (appended; inherited when empty; err == out shares one file), and
// keepFd left open; the process id, or -1.
pid_t spawn(std::vector<std::string> argStore, const std::vector<std::string>& env,
            const std::string& in, const std::string& out, const std::string& err, int keepFd) {
    std::vector<std::string> envStore = environmentWith(env);
    std::vector<char*> argv = pointers(argStore), envp = pointers(envStore);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, in.c_str(), O_RDONLY, 0);
    constexpr int kAppend = O_WRONLY | O_CREAT | O_APPEND;
    if (!out.empty())
        posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), kAppend, 0644);
    if (!err.empty() && err == out)
        posix_spawn_file_actions_adddup2(&actions, 1, 2);
    else if (!err.empty())
        posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), kAppend, 0644);
    if (keepFd >= 0)
        posix_spawn_file_actions_adddup2(&actions, keepFd, keepFd); // clears close-on-exec
    pid_t pid = -1;
    if (argStore.empty() ||
        posix_spawnp(&pid, argStore[0].c_str(), &actions, nullptr, argv.data(), envp.data()) != 0)
        pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}
} // namespace

ChildRun runChild(const std::filesystem::path& program, const std::vector<std::string>& args,
                  const std::vector<std::string>& env, std::string_view input) {
    TempDir dir;
    writeFile(dir / "in", input);
    std::vector<std::string> command{program.string()};
    command.insert(command.end(), args.begin(), args.end());
    ChildRun run;
    const pid_t pid = spawn(command, env, dir / "in", dir / "out", dir / "err", -1);
    int status = 0;
    if (pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status))
        run.status = WEXITSTATUS(status);
    run.out = readFile(dir / "out");
    run.err = readFile(dir / "err");
    return run;
}

XServer startXServer(const std::vector<std::string>& arguments, const std::filesystem::path& log) {
    std::random_device random;
    for (int attempt = 0; attempt < 20; ++attempt) {
        const std::string number = std::to_string(1000 + random() % 60000);
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) != 0) // no other child holds it open
            break;
        std::vector<std::string> command{"Xvfb", ":" + number, "-displayfd", std::to_string(fds[1]),
                                         "-noreset"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const pid_t pid = spawn(command, {}, "/dev/null", log, log, fds[1]);
        ::close(fds[1]);
        std::string written; // the number, once it listens; nothing when it gave up
        for (char c; pid > 0 && ::read(fds[0], &c, 1) == 1 && c != '\n';)
            written += c;
        ::close(fds[0]);
        if (written == number)
            return {pid, ":" + number};
        endChild(pid); // that number is taken
    }
    return {};
}

pid_t startChild(const std::vector<std::string>& command, const std::vector<std::string>& env,
                 const std::filesystem::path& log, int keepFd) {
    return spawn(command, env, "/dev/null", log, log, keepFd);
}

std::optional<int> waitChild(pid_t pid, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        int status = 0;
        const pid_t ended = ::waitpid(pid, &status, WNOHANG);
        if (ended == pid)
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        if (ended < 0 || std::chrono::steady_clock::now() >= deadline)
            return std::nullopt; // not a child of ours (any more), or still running
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

void endChild(pid_t pid) {
    if (pid <= 0 || ::kill(pid, SIGTERM) != 0)
        return; // collected already
    if (!waitChild(pid, std::chrono::seconds(5)) && ::kill(pid, SIGKILL) == 0)
        ::waitpid(pid, nullptr, 0);
}

} // namespace slidebox::testing
