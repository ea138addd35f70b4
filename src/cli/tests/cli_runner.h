#pragma once

#include <sstream>
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
inline CliRun runCli(const std::vector<std::string>& args, const std::vector<std::string>& env = {},
                     std::string_view input = {}) {
    return runChild(buildDir() / "bin" / "slidebox-cli", args, env, input);
}

/// Installed profiles the commands are run on.
inline const std::string kSRGB = "/usr/share/color/icc/colord/sRGB.icc";
inline const std::string kAdobe = "/usr/share/color/icc/colord/AdobeRGB1998.icc";
inline const std::string kCMYK = "/usr/share/color/icc/ghostscript/default_cmyk.icc";
inline const std::string kGray = "/usr/share/color/icc/ghostscript/sgray.icc";
inline const std::string kNamed = "/usr/share/color/icc/colord/Crayons.icc";
inline const std::string kX11 = "/usr/share/color/icc/colord/x11-colors.icc";
inline const std::string kLab = "/usr/share/color/icc/ghostscript/lab.icc"; // its data are Lab
inline const std::string kAttributed = "/usr/share/color/icc/Gray.icc"; // names device attributes

/// The first of the files that isn't there, or "".
inline std::string firstMissing(const std::vector<std::string>& paths) {
    for (const std::string& p : paths)
        if (!std::filesystem::exists(p))
            return p;
    return "";
}

/// A home of the test's own, so that the generic profiles never land in the real
/// one, and no runtime folder, as outside a desktop session.
inline std::vector<std::string> homeEnv(const TempDir& home) {
    return {"HOME=" + home.path().string(), "XDG_DATA_HOME=" + (home / "share").string(),
            "XDG_RUNTIME_DIR"};
}

/// runCli of command + args with homeEnv(home).
inline CliRun runAt(const TempDir& home, std::vector<std::string> command,
                    const std::vector<std::string>& args) {
    command.insert(command.end(), args.begin(), args.end());
    return runCli(command, homeEnv(home));
}

/// The lines of an output.
inline std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        result.push_back(line);
    return result;
}

} // namespace slidebox::testing
