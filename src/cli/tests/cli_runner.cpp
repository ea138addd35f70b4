#include "cli/tests/cli_runner.h"

#include <sstream>

namespace slidebox::testing {

CliRun runCli(const std::vector<std::string>& args, const std::vector<std::string>& env,
              std::string_view input) {
    return runChild(buildDir() / "bin" / "slidebox-cli", args, env, input);
}

std::string firstMissing(const std::vector<std::string>& paths) {
    for (const std::string& p : paths)
        if (!std::filesystem::exists(p))
            return p;
    return "";
}

std::vector<std::string> homeEnv(const TempDir& home) {
    return {"HOME=" + home.path().string(), "XDG_DATA_HOME=" + (home / "share").string(),
            "XDG_RUNTIME_DIR"};
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

} // namespace slidebox::testing
