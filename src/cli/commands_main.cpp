// slidebox-cli-commands: every command group of slidebox-cli, with the
// libraries they need. slidebox-cli runs it in its own place for every
// command it doesn't run itself, with the same arguments. (So does
// slidebox-cli-transform, built from this file with icc transform alone.)
#include <string>
#include <vector>

#include "cli/command.h"
#include "platform/atomic_file.h"

int main(int argc, char** argv) {
    // A command stopped by a person leaves no half-written file behind.
    slidebox::platform::removeTemporariesOnSignals();
    return slidebox::cli::runCommandLine(std::vector<std::string>(argv + 1, argv + argc));
}
