// The table the command groups register with, the messages every command
// shares, and the reading of a command line against the table. Both programs
// of slidebox-cli have one: the program's own holds the groups it runs
// itself, the commands program's every group.
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

/// The entries of a group's usage text that the words name: every entry
/// for the group alone, that of one subcommand when its name follows. An
/// entry is a line "  group sub ..." and the deeper-indented lines below it.
std::string usageOf(const CommandGroup& group, const std::vector<std::string>& args) {
    const std::string all = group.usage;
    std::string prefix = std::string("  ") + group.name + " ";
    const auto startsEntry = [&](const std::string& text) {
        return all.rfind(text, 0) == 0 || all.find("\n" + text) != std::string::npos;
    };
    if (!args.empty() && args[0].rfind('-', 0) != 0 && startsEntry(prefix + args[0] + " "))
        prefix += args[0] + " ";
    std::string chosen;
    bool inEntry = false;
    std::size_t start = 0;
    while (start < all.size()) {
        std::size_t end = all.find('\n', start);
        end = end == std::string::npos ? all.size() : end + 1;
        const std::string line = all.substr(start, end - start);
        const bool entryStart = line.rfind("  ", 0) == 0 && line.size() > 2 && line[2] != ' ';
        if (entryStart)
            inEntry = line.rfind(prefix, 0) == 0;
        if (inEntry)
            chosen += line;
        start = end;
    }
    return chosen;
}

/// Whether a word asks for help: "--help" or "-h" anywhere.
bool asksForHelp(const std::vector<std::string>& args) {
    return std::any_of(args.begin(), args.end(),
                       [](const std::string& arg) { return arg == "--help" || arg == "-h"; });
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

const CommandGroup* findGroup(const std::string& name) {
    for (const CommandGroup* group : commandGroups())
        if (name == group->name)
            return group;
    return nullptr;
}

int runCommandLine(const std::vector<std::string>& args) {
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
            const std::vector<std::string> rest(args.begin() + 1, args.end());
            // Help is answered here, for every command alike, before any
            // command reads its arguments.
            if (asksForHelp(rest)) {
                std::printf("Usage:\n%s", usageOf(*group, rest).c_str());
                return Done;
            }
            int status = group->run(std::vector<std::string>(args.begin() + 1, args.end()));
            std::fflush(stdout);
            return status;
        }
    }
    return usageError("unknown command '" + args[0] + "'");
}

} // namespace slidebox::cli
