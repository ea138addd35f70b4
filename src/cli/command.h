#pragma once

#include <string>
#include <vector>

namespace slidebox::cli {

/// Exit statuses shared by every command.
enum Status { Done = 0, Failed = 1, WrongUsage = 2 };

/// One command group ("libraries", "switch", "color", "icc", ...). A group's
/// file defines one static CommandGroup; its constructor adds it to the table.
struct CommandGroup {
    using Run = int (*)(const std::vector<std::string>& args); // args after the group's name

    CommandGroup(const char* name, const char* usage, Run run);

    const char* name;
    const char*
        usage; ///< the group's lines of --help: "  name sub ARGS   what it does", one a line
    Run run;
};

/// The registered groups, sorted by name.
const std::vector<const CommandGroup*>& commandGroups();

/// The registered group of that name; null when there is none.
const CommandGroup* findGroup(const std::string& name);

/// Runs a command line (the words after the program's name) against the
/// registered groups, --help and --version included; the exit status.
int runCommandLine(const std::vector<std::string>& args);

/// Prints "slidebox-cli: <message>" on standard error and returns WrongUsage.
int usageError(const std::string& message);

/// Prints "slidebox-cli: <message>" on standard error and returns Failed.
int failure(const std::string& message);

/// Writes raw bytes and a newline to standard output.
void printLine(const std::string& bytes);

} // namespace slidebox::cli
