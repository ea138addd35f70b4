#pragma once

#include <optional>

namespace slidebox::app {

/// Answers --help and --version (and -h, -v, --help-all) on standard output
/// before any window system is needed, so that they work on a bare terminal.
/// Returns the exit status when the program should stop there; nothing when
/// the arguments ask for the application itself.
std::optional<int> answerCommandLine(int argc, char** argv);

} // namespace slidebox::app
