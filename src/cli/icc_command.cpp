// slidebox-cli icc header and icc info: what a profile file says of itself.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/arguments.h"
#include "cli/icc_subcommands.h"
#include "cli/json_out.h"
#include "color/profile_header_report.h"
#include "color/profile_inspector.h"

namespace slidebox::cli {

namespace {

using color::ProfileInspector;

/// The one PROFILE and the --json switch of info and header; false after
/// a usage error, whose status is in status.
bool profileAndJson(const char* subcommand, const std::vector<std::string>& args, std::string& path,
                    bool& json, int& status) {
    for (const std::string& arg : args) {
        if (arg == "--json") {
            json = true;
        } else if (arg.rfind("--", 0) == 0) {
            status =
                usageError(std::string("icc ") + subcommand + ": unknown option '" + arg + "'");
            return false;
        } else if (path.empty() && !arg.empty()) {
            path = arg;
        } else {
            path.clear();
            break;
        }
    }
    if (path.empty())
        status = usageError(std::string("icc ") + subcommand + ": give one PROFILE");
    return !path.empty();
}

std::string hex32(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", value);
    return text;
}

int iccHeader(const std::vector<std::string>& args) {
    std::string path;
    bool json = false;
    int status = Done;
    if (!profileAndJson("header", args, path, json, status))
        return status;
    auto inspector = inspectorOrRefusal("header", path, -1);
    if (!inspector)
        return Failed;
    const color::CM2Header& h = inspector->profileHeader();
    if (!json) {
        printLine(withoutNuls(color::headerInfos(h)));
        return Done;
    }
    const auto fixed = [](std::int32_t v) { return static_cast<double>(v) / 65536.0; };
    JsonWriter out;
    out.beginObject()
        .key("size")
        .value(static_cast<std::int64_t>(h.size))
        .key("CMMType")
        .value(printableSignature(h.CMMType))
        .key("version")
        .value(hex32(h.profileVersion))
        .key("class")
        .value(printableSignature(h.profileClass))
        .key("dataColorSpace")
        .value(printableSignature(h.dataColorSpace))
        .key("connectionSpace")
        .value(printableSignature(h.profileConnectionSpace))
        .key("CS2signature")
        .value(printableSignature(h.CS2profileSignature))
        .key("platform")
        .value(printableSignature(h.platform))
        .key("flags")
        .value(hex32(h.flags))
        .key("deviceManufacturer")
        .value(printableSignature(h.deviceManufacturer))
        .key("model")
        .value(hex32(h.deviceModel))
        .key("deviceAttributes")
        .beginArray()
        .value(hex32(h.deviceAttributes[0]))
        .value(hex32(h.deviceAttributes[1]))
        .endArray()
        .key("renderingIntent")
        .value(static_cast<std::int64_t>(h.renderingIntent))
        .key("white")
        .numbers({fixed(h.white.X), fixed(h.white.Y), fixed(h.white.Z)})
        .key("creator")
        .value(printableSignature(h.creator))
        .endObject();
    printLine(out.text());
    return Done;
}

int iccInfo(const std::vector<std::string>& args) {
    std::string path;
    bool json = false;
    int status = Done;
    if (!profileAndJson("info", args, path, json, status))
        return status;
    auto inspector = inspectorOrRefusal("info", path, -1);
    if (!inspector)
        return Failed;
    const std::filesystem::path file = inspector->profilePath();
    const bool valid = ProfileInspector::goodPathProfileData(file);
    // An intent whose colour worlds can't be built has no grid to tell.
    std::optional<std::int32_t> toPCS[4], toDevice[4];
    for (std::int32_t intent = 0; intent <= 3; ++intent) {
        if (auto withWorlds = ProfileInspector::profileInspectorWithProfilePath(file, intent)) {
            toPCS[intent] = withWorlds->DeviceToPCSNbGridPoints();
            toDevice[intent] = withWorlds->PCSToDeviceNbGridPoints();
        }
    }
    if (json) {
        JsonWriter out;
        out.beginObject()
            .key("name")
            .value(inspector->profileName())
            .key("class")
            .value(printableSignature(inspector->profileClass()))
            .key("data colour space")
            .value(printableSignature(inspector->dataColorSpace()))
            .key("connection space")
            .value(printableSignature(inspector->profileConnectionSpace()))
            .key("channels")
            .value(inspector->nbComponents())
            .key("preferred intent")
            .value(inspector->preferedRenderingIntent())
            .key("valid")
            .value(valid);
        for (const auto& [label, grids] : {std::pair{"device to PCS grid points", toPCS},
                                           std::pair{"PCS to device grid points", toDevice}}) {
            out.key(label).beginArray();
            for (int intent = 0; intent < 4; ++intent)
                grids[intent] ? out.value(*grids[intent]) : out.null();
            out.endArray();
        }
        printLine(out.endObject().text());
        return Done;
    }
    printLine("name: " + inspector->profileName());
    printLine("class: " + printableSignature(inspector->profileClass()));
    printLine("data colour space: " + printableSignature(inspector->dataColorSpace()));
    printLine("connection space: " + printableSignature(inspector->profileConnectionSpace()));
    printLine("channels: " + std::to_string(inspector->nbComponents()));
    printLine("preferred intent: " + std::to_string(inspector->preferedRenderingIntent()));
    printLine(std::string("valid: ") + (valid ? "yes" : "no"));
    for (std::int32_t intent = 0; intent <= 3; ++intent) {
        const std::string n = std::to_string(intent);
        const auto text = [](const std::optional<std::int32_t>& grid) {
            return grid ? std::to_string(*grid) : std::string("none");
        };
        printLine("device to PCS grid points " + n + ": " + text(toPCS[intent]));
        printLine("PCS to device grid points " + n + ": " + text(toDevice[intent]));
    }
    return Done;
}

const IccSubcommand header("header",
                           "  icc header PROFILE [--json]  the report of the profile's header\n",
                           iccHeader);
const IccSubcommand info("info",
                         "  icc info PROFILE [--json]    name, class, spaces, channels, intent, "
                         "validity, grids\n",
                         iccInfo);

} // namespace

std::unique_ptr<color::ProfileInspector>
inspectorOrRefusal(const std::string& subcommand, const std::string& path, std::int32_t rendering) {
    const auto located = profileArgument(path);
    if (!located) {
        failure("icc " + subcommand + ": the generic Lab profile can't be had");
        return nullptr;
    }
    auto inspector = ProfileInspector::inspect(*located, rendering);
    if (!inspector) {
        failure("icc " + subcommand + ": '" + path + "': " + inspector.status().message());
        return nullptr;
    }
    return std::move(inspector.value());
}

} // namespace slidebox::cli
