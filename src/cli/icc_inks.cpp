// slidebox-cli icc inks: the measures of a printing profile (dot gain, ink
// limits, start of black, characteristic colours) through an inspector of
// the profile with the intent given, so that each line can be checked with
// "icc match" on the same test colours.
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "cli/arguments.h"
#include "cli/icc_subcommands.h"
#include "cli/json_out.h"
#include "color/color_world.h"
#include "color/profile_inspector.h"

namespace slidebox::cli {

namespace {

using color::CMColor;
using color::Lch;
using color::ProfileInspector;

/// A signed 32-bit intent in decimal; nothing for anything else.
std::optional<std::int32_t> parseIntent(const std::string& text) {
    if (text.empty() || text.find_first_not_of("-0123456789") != std::string::npos)
        return std::nullopt;
    errno = 0;
    char* end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || value < INT32_MIN || value > INT32_MAX)
        return std::nullopt;
    return static_cast<std::int32_t>(value);
}

int iccInks(const std::vector<std::string>& args) {
    std::string path;
    std::int32_t intent = 0;
    bool json = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--intent") {
            auto value = i + 1 < args.size() ? parseIntent(args[i + 1]) : std::nullopt;
            if (!value)
                return usageError("icc inks: --intent takes a whole number");
            intent = *value;
            ++i;
        } else if (args[i] == "--json") {
            json = true;
        } else if (args[i].rfind("--", 0) == 0) {
            return usageError("icc inks: unknown option '" + args[i] + "'");
        } else if (path.empty() && !args[i].empty()) {
            path = args[i];
        } else {
            return usageError("icc inks: give one PROFILE");
        }
    }
    if (path.empty())
        return usageError("icc inks: give one PROFILE");

    auto inspector = inspectorOrRefusal("inks", path, intent);
    if (!inspector)
        return Failed;
    const color::OSType space = inspector->dataColorSpace();
    const bool isCMYK = space == color::cmCMYKData;
    const bool isGray = space == color::cmGrayData;
    if (!isCMYK && !isGray)
        return failure("icc inks: '" + path +
                       "': wrong space: inks are measured on CMYK and gray " +
                       "profiles, this one is '" + printableSignature(space) + "'");

    // Each line is a label and its numbers; --json makes the same pairs an object.
    std::vector<std::pair<std::string, std::vector<double>>> lines;
    // Cyan, magenta, yellow, black: the order of the inks everywhere else.
    lines.push_back({"dot-gain",
                     {inspector->dotGainOfCyanChanel(), inspector->dotGainOfMagentaChanel(),
                      inspector->dotGainOfYellowChanel(), inspector->dotGainOfBlackChanel()}});
    if (!inspector->PCSToDevice() || isCMYK) {
        lines.push_back({"total-ink-max", {double(inspector->PCSToDeviceTotalInkMax())}});
        lines.push_back({"black-max", {double(inspector->PCSToDeviceBlackMax())}});
        lines.push_back({"start-of-black", {inspector->PCSToDeviceLuminanceOfStartBlack()}});
    }
    if (inspector->DeviceToPCS()) {
        const color::CharacteristicProfilePoints points = inspector->characteristicProfilePoints();
        const auto labOf = [](const CMColor& colour) {
            float L, a, b;
            color::ColorWorld::CMLab(colour, L, a, b);
            return std::vector<double>{L, a, b};
        };
        const auto lchOf = [](const Lch& value) {
            return std::vector<double>{value.L, value.c, value.h};
        };
        lines.push_back({"lightest", labOf(points.lightestColor)});
        lines.push_back({"full-ink", labOf(points.fullInkColor)});
        lines.push_back({"lightest-lch", lchOf(points.lightestLch)});
        lines.push_back({"full-ink-lch", lchOf(points.fullInkLch)});
        lines.push_back({"black-ink-lch", lchOf(points.blackInkLch)});
        lines.push_back({"cmy-ink-lch", lchOf(points.cmyInkLch)});
        lines.push_back({"black-point", labOf(points.blackPointColor)});
        std::vector<double> primaries;
        for (const Lch& primary : points.primaryLch)
            for (double v : lchOf(primary))
                primaries.push_back(v);
        lines.push_back({"primaries-lch", primaries});
        lines.push_back({"max-chroma", {points.maxChroma}});
    }

    if (json) {
        JsonWriter out;
        out.beginObject();
        for (const auto& [label, values] : lines) {
            out.key(label);
            values.size() == 1 ? out.value(values[0]) : out.numbers(values);
        }
        printLine(out.endObject().text());
        return Done;
    }
    for (const auto& [label, values] : lines) {
        std::string line = label + ":";
        for (double v : values)
            line += " " + realText(v);
        printLine(line);
    }
    return Done;
}

const IccSubcommand
    inks("inks",
         "  icc inks PROFILE [--intent N] [--json]\n"
         "                               dot gain, ink limits, start of black and characteristic\n"
         "                               colours of a printing profile at intent N (default 0)\n",
         iccInks);

} // namespace

} // namespace slidebox::cli
