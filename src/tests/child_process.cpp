#include "tests/child_process.h"

#include <csignal>
#include <fcntl.h>
#include <map>
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
    for (const std::string& e : env) {
        if (e.find('=') == std::string::npos)
            byName.erase(e);
        else
            byName[e.substr(0, e.find('='))] = e;
    }
    std::vector<std::string> entries;
    for (auto& [name, entry] : byName)
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
} // namespace

ChildRun runChild(const std::filesystem::path& program, const std::vector<std::string>& args,
                  const std::vector<std::string>& env, std::string_view input) {
    TempDir dir;
    const std::string in = (dir / "in").string(), out = (dir / "out").string(),
                      err = (dir / "err").string();
    writeFile(in, input);
    std::vector<std::string> argStore{program.string()};
    argStore.insert(argStore.end(), args.begin(), args.end());
    std::vector<std::string> envStore = environmentWith(env);
    std::vector<char*> argv = pointers(argStore), envp = pointers(envStore);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ChildRun run;
    pid_t pid = 0;
    if (posix_spawnp(&pid, argStore[0].c_str(), &actions, nullptr, argv.data(), envp.data()) == 0) {
        int status = 0;
        waitpid(pid, &status, 0);
        run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    run.out = readFile(out);
    run.err = readFile(err);
    return run;
}

pid_t startChild(const std::vector<std::string>& command, const std::vector<std::string>& env,
                 const std::filesystem::path& log, int keepFd) {
    std::vector<std::string> argStore = command, envStore = environmentWith(env);
    std::vector<char*> argv = pointers(argStore), envp = pointers(envStore);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    if (!log.empty()) {
        posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                         0644);
        posix_spawn_file_actions_adddup2(&actions, 1, 2);
    }
    if (keepFd >= 0)
        posix_spawn_file_actions_adddup2(&actions, keepFd, keepFd); // clears close-on-exec
    pid_t pid = -1;
    if (argStore.empty() ||
        posix_spawnp(&pid, argStore[0].c_str(), &actions, nullptr, argv.data(), envp.data()) != 0)
        pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    return pid;
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
