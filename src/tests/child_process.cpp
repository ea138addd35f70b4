#include "tests/child_process.h"

#include <fcntl.h>
#include <map>
#include <spawn.h>
#include <sys/wait.h>

#include "tests/temp_dir.h"

extern char** environ;

namespace slidebox::testing {

ChildRun runChild(const std::filesystem::path& program, const std::vector<std::string>& args,
                  const std::vector<std::string>& env, std::string_view input) {
    TempDir dir;
    const std::string in = (dir / "in").string(), out = (dir / "out").string(),
                      err = (dir / "err").string();
    writeFile(in, input);
    std::vector<std::string> argStore{program.string()};
    argStore.insert(argStore.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& a : argStore)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    // A variable given here replaces the test's own of the same name: the
    // program's getenv would otherwise find the inherited one first.
    std::map<std::string, std::string> byName;
    for (char** e = environ; *e; ++e)
        byName[std::string(*e).substr(0, std::string(*e).find('='))] = *e;
    for (const std::string& e : env)
        byName[e.substr(0, e.find('='))] = e;
    std::vector<char*> envp;
    for (auto& [name, entry] : byName)
        envp.push_back(entry.data());
    envp.push_back(nullptr);

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

} // namespace slidebox::testing
