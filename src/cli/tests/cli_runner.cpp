#include "cli/tests/cli_runner.h"

#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sstream>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/temp_dir.h"

extern char** environ;

namespace slidebox::testing {

CliRun runCli(const std::vector<std::string>& args, const std::vector<std::string>& env) {
    TempDir dir;
    std::string program = (buildDir() / "bin" / "slidebox-cli").string();
    std::string outPath = (dir / "out").string(), errPath = (dir / "err").string();

    std::vector<std::string> argStore{program};
    argStore.insert(argStore.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& a : argStore)
        argv.push_back(a.data());
    argv.push_back(nullptr);

    // A variable given here replaces the test's own of the same name: the
    // program's getenv would otherwise find the inherited one first.
    auto givenName = [&env](const std::string& entry) {
        std::string name = entry.substr(0, entry.find('='));
        for (const std::string& e : env)
            if (e.substr(0, e.find('=')) == name)
                return true;
        return false;
    };
    std::vector<std::string> envStore;
    for (char** e = environ; *e; ++e)
        if (!givenName(*e))
            envStore.emplace_back(*e);
    envStore.insert(envStore.end(), env.begin(), env.end());
    std::vector<char*> envp;
    for (auto& e : envStore)
        envp.push_back(e.data());
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    pid_t pid = 0;
    CliRun run;
    if (posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), envp.data()) == 0) {
        int status = 0;
        waitpid(pid, &status, 0);
        run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    run.out = readFile(outPath);
    run.err = readFile(errPath);
    return run;
}

std::string firstMissing(const std::vector<std::string>& paths) {
    for (const std::string& p : paths)
        if (!std::filesystem::exists(p))
            return p;
    return "";
}

std::vector<std::string> homeEnv(const TempDir& home) {
    return {"HOME=" + home.path().string(), "XDG_DATA_HOME=" + (home / "share").string()};
}

CliRun runAt(const TempDir& home, std::vector<std::string> command,
             const std::vector<std::string>& args) {
    command.insert(command.end(), args.begin(), args.end());
    return runCli(command, homeEnv(home));
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        result.push_back(line);
    return result;
}

std::map<std::string, std::string> fields(const std::string& text) {
    std::map<std::string, std::string> result;
    for (const std::string& line : lines(text))
        if (auto colon = line.find(": "); colon != std::string::npos)
            result[line.substr(0, colon)] = line.substr(colon + 2);
    return result;
}

std::vector<double> numbers(const std::string& text) {
    std::istringstream in(text);
    std::vector<double> values;
    for (double v; in >> v;)
        values.push_back(v);
    return values;
}

} // namespace slidebox::testing
