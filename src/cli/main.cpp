// slidebox-cli: the command-line front end of the photo-library model and the
// colour toolkit. Each command group lives in a file of its own.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "cli/command.h"

namespace slidebox::cli {

namespace {
std::vector<const CommandGroup*>& table() {
    static std::vector<const CommandGroup*> groups;
    return groups;
}

void printHelp() {
    std::printf("Usage: slidebox-cli COMMAND [ARGUMENTS]\n\n"
                "Slidebox's photo-library model and colour toolkit from the shell.\n\n"
                "Commands:\n");
    for (const CommandGroup* group : commandGroups())
        std::printf("%s", group->usage);
    std::printf("\nOptions:\n"
                "  --help      this text\n"
                "  --version   the program's version\n\n"
                "Exit status: 0 done, 1 refused or failed, 2 wrong usage.\n");
}
} // namespace

CommandGroup::CommandGroup(const char* n, const char* u, Run r) : name(n), usage(u), run(r) {
    table().push_back(this);
}

const std::vector<const CommandGroup*>& commandGroups() {
    auto& groups = table();
    std::sort(groups.begin(), groups.end(), [](const CommandGroup* a, const CommandGroup* b) {
        return std::strcmp(a->name, b->name) < 0;
    });
    return groups;
}

int usageError(const std::string& message) {
    std::fprintf(stderr, "slidebox-cli: %s\nTry 'slidebox-cli --help'.\n", message.c_str());
    return WrongUsage;
}

int failure(const std::string& message) {
    std::fprintf(stderr, "slidebox-cli: %s\n", message.c_str());
    return Failed;
}

void printLine(const std::string& bytes) {
    std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    std::fputc('\n', stdout);
}

} // namespace slidebox::cli

int main(int argc, char** argv) {
    using namespace slidebox::cli;
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty())
        return usageError("no command given");
    if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
        printHelp();
        return Done;
    }
    if (args[0] == "--version") {
        std::printf("slidebox-cli %s\n", SLIDEBOX_VERSION);
        return Done;
    }
    for (const CommandGroup* group : commandGroups()) {
        if (args[0] == group->name) {
            int status = group->run(std::vector<std::string>(args.begin() + 1, args.end()));
            std::fflush(stdout);
            return status;
        }
    }
    return usageError("unknown command '" + args[0] + "'");
}
