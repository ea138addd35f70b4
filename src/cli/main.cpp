// slidebox-cli: the command-line front end of the photo-library model and the
// colour toolkit. Each command group lives in a file of its own. This program
// holds only what must start fast (--version and the colour arithmetic) and
// links nothing but the C++ runtime; for every other command it becomes the
// program that holds them all, slidebox-cli-commands, with the same
// arguments; `icc transform` and `icc compare`, which need no Qt, become the
// programs that hold each alone, slidebox-cli-transform and
// slidebox-cli-compare. Those programs lie at SLIDEBOX_CLI_COMMANDS and in
// SLIDEBOX_CLI_LIBEXEC, paths relative to this program's folder, the same
// in the build tree and the installed prefix.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "cli/command.h"

int main(int argc, char** argv) {
    using namespace slidebox::cli;
    const std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty() || args[0] == "--version" || findGroup(args[0]))
        return runCommandLine(args);

    std::error_code failed;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", failed);
    if (failed)
        return failure("can't find this program's folder: " + failed.message());
    const bool alone =
        args.size() >= 2 && args[0] == "icc" && (args[1] == "transform" || args[1] == "compare");
    const auto program =
        (alone ? self.parent_path() / SLIDEBOX_CLI_LIBEXEC / ("slidebox-cli-" + args[1])
               : self.parent_path() / SLIDEBOX_CLI_COMMANDS)
            .lexically_normal();
    ::execv(program.c_str(), argv);
    return failure("can't run " + program.string() + ": " + std::strerror(errno));
}
