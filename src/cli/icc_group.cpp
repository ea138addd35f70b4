// slidebox-cli icc: the table of subcommands, which each register from a
// file of their own, and the group's dispatch; apart from the subcommands,
// so that a program may hold some of them only.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "cli/icc_subcommands.h"

namespace slidebox::cli {

namespace {

std::vector<const IccSubcommand*>& table() {
    static std::vector<const IccSubcommand*> subcommands;
    return subcommands;
}

// The group's --help text. Constant-initialised storage, so that it is valid
// whatever order the files' registrations run in; each appends its lines.
char usageText[4096];

int runIcc(const std::vector<std::string>& args) {
    if (args.empty())
        return usageError("icc: no subcommand given");
    for (const IccSubcommand* sub : iccSubcommands())
        if (args[0] == sub->name)
            return sub->run(std::vector<std::string>(args.begin() + 1, args.end()));
    return usageError("icc: unknown subcommand '" + args[0] + "'");
}

const CommandGroup iccGroup("icc", usageText, runIcc);

} // namespace

std::string printableSignature(color::OSType signature) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto byte = static_cast<unsigned char>((signature >> shift) & 0xFF);
        if (byte == 0)
            continue;
        if (byte < 0x20 || byte > 0x7E) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02X", byte);
            text += escape;
        } else {
            text += static_cast<char>(byte);
        }
    }
    return text;
}

std::string withoutNuls(std::string text) {
    std::erase(text, '\0');
    return text;
}

IccSubcommand::IccSubcommand(const char* n, const char* u, CommandGroup::Run r)
    : name(n), usage(u), run(r) {
    table().push_back(this);
    std::sort(table().begin(), table().end(), [](const IccSubcommand* a, const IccSubcommand* b) {
        return std::strcmp(a->name, b->name) < 0;
    });
    // Rebuilt whole, so the lines stay in name order however the files register.
    usageText[0] = '\0';
    for (const IccSubcommand* sub : table())
        std::strncat(usageText, sub->usage, sizeof usageText - std::strlen(usageText) - 1);
}

const std::vector<const IccSubcommand*>& iccSubcommands() {
    return table();
}

} // namespace slidebox::cli
