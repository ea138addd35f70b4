// slidebox-cli icc: what a profile file says of itself. The subcommands
// register in the table of icc_subcommands.h; this file holds the table,
// the group's dispatch, and the two inspection commands.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "cli/icc_subcommands.h"
#include "color/profile_header_report.h"
#include "color/profile_inspector.h"

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

using color::ProfileInspector;

/// The inspector of the one profile argument, or the message and status
/// of why there is none.
std::unique_ptr<ProfileInspector> openProfile(const char* subcommand,
                                              const std::vector<std::string>& args, int& status) {
    if (args.size() != 1 || args[0].empty()) {
        status = usageError(std::string("icc ") + subcommand + ": give one PROFILE");
        return nullptr;
    }
    auto inspector = ProfileInspector::profileInspectorWithProfilePath(args[0], -1);
    if (!inspector)
        status = failure("icc " + std::string(subcommand) + ": '" + args[0] +
                         "' is not a usable ICC profile");
    return inspector;
}

int iccHeader(const std::vector<std::string>& args) {
    int status = Done;
    auto inspector = openProfile("header", args, status);
    if (!inspector)
        return status;
    printLine(color::headerInfos(inspector->profileHeader()));
    return Done;
}

int iccInfo(const std::vector<std::string>& args) {
    int status = Done;
    auto inspector = openProfile("info", args, status);
    if (!inspector)
        return status;
    using color::signatureText;
    printLine("name: " + inspector->profileName());
    printLine("class: " + signatureText(inspector->profileClass()));
    printLine("data colour space: " + signatureText(inspector->dataColorSpace()));
    printLine("connection space: " + signatureText(inspector->profileConnectionSpace()));
    printLine("channels: " + std::to_string(inspector->nbComponents()));
    printLine("preferred intent: " + std::to_string(inspector->preferedRenderingIntent()));
    printLine(std::string("valid: ") +
              (ProfileInspector::goodPathProfileData(args[0]) ? "yes" : "no"));
    // An intent whose colour worlds can't be built has no grid to tell.
    for (std::int32_t intent = 0; intent <= 3; ++intent) {
        auto withWorlds = ProfileInspector::profileInspectorWithProfilePath(args[0], intent);
        std::string n = std::to_string(intent);
        printLine("device to PCS grid points " + n + ": " +
                  (withWorlds ? std::to_string(withWorlds->DeviceToPCSNbGridPoints()) : "none"));
        printLine("PCS to device grid points " + n + ": " +
                  (withWorlds ? std::to_string(withWorlds->PCSToDeviceNbGridPoints()) : "none"));
    }
    return Done;
}

const IccSubcommand header("header",
                           "  icc header PROFILE           the report of the profile's header\n",
                           iccHeader);
const IccSubcommand info("info",
                         "  icc info PROFILE             name, class, spaces, channels, intent, "
                         "validity, grids\n",
                         iccInfo);

} // namespace

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
