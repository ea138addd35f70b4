#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/child_process.h"
#include "tests/temp_dir.h"

namespace slidebox::testing {

/// What one run of slidebox-cli gave.
using CliRun = ChildRun;

/// Runs the built slidebox-cli with the arguments (no shell in between) and
/// an optional environment added to the test's own ("NAME=value") and
/// standard input.
CliRun runCli(const std::vector<std::string>& args, const std::vector<std::string>& env = {},
              std::string_view input = {});

/// Installed profiles the commands are run on.
inline const std::string kSRGB = "/usr/share/color/icc/colord/sRGB.icc";
inline const std::string kAdobe = "/usr/share/color/icc/colord/AdobeRGB1998.icc";
inline const std::string kCMYK = "/usr/share/color/icc/ghostscript/default_cmyk.icc";
inline const std::string kGray = "/usr/share/color/icc/ghostscript/sgray.icc";
inline const std::string kNamed = "/usr/share/color/icc/colord/Crayons.icc";

/// The first of the files that isn't there, or "".
std::string firstMissing(const std::vector<std::string>& paths);

/// A home of the test's own, so that the generic profiles never land in the real
/// one, and no runtime folder, as outside a desktop session.
std::vector<std::string> homeEnv(const TempDir& home);

/// runCli of command + args with homeEnv(home).
CliRun runAt(const TempDir& home, std::vector<std::string> command,
             const std::vector<std::string>& args);

/// The lines of an output.
std::vector<std::string> lines(const std::string& text);

} // namespace slidebox::testing
