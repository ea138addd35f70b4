// slidebox-cli-commands: every command group of slidebox-cli, with the
// libraries they need. slidebox-cli runs it in its own place for every
// command it doesn't run itself, with the same arguments.
#include <string>
#include <vector>

#include "cli/command.h"

int main(int argc, char** argv) {
    return slidebox::cli::runCommandLine(std::vector<std::string>(argv + 1, argv + argc));
}
