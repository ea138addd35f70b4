#pragma once

// The subcommands of "slidebox-cli icc". Each lives in a file of its own
// and registers itself with a static IccSubcommand, the way command groups
// do, so that the group's table and its --help lines grow with the files.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "cli/command.h"
#include "color/cm_color.h"

namespace slidebox::color {
class ProfileInspector;
}

namespace slidebox::cli {

/// One subcommand of the icc group. Its constructor adds it to the table
/// and its usage line to the group's --help text.
struct IccSubcommand {
    IccSubcommand(const char* name, const char* usage, CommandGroup::Run run);

    const char* name;      ///< "header", "info", "match", ...
    const char* usage;     ///< one or more lines "  icc name ARGS   what it does\n"
    CommandGroup::Run run; ///< gets the arguments after the subcommand's name
};

/// The registered subcommands, sorted by name.
const std::vector<const IccSubcommand*>& iccSubcommands();

/// A signature as four characters for a person: NUL bytes left out (a
/// signature of 0 is empty), other bytes outside printable ASCII as \xNN.
std::string printableSignature(color::OSType signature);

/// Text with its NUL bytes left out.
std::string withoutNuls(std::string text);

/// The inspector of a profile with an intent, or null after printing
/// "slidebox-cli: icc SUB: 'PATH': REASON" with the library's reason.
std::unique_ptr<color::ProfileInspector>
inspectorOrRefusal(const std::string& subcommand, const std::string& path, std::int32_t rendering);

/// `icc match`: one or more colours through a colour world (icc_match.cpp).
int iccMatch(const std::vector<std::string>& args);

} // namespace slidebox::cli
