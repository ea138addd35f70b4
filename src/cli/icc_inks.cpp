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
#include "color/color_world.h"
#include "color/profile_inspector.h"

namespace slidebox::cli {

namespace {

using color::CMColor;
using color::Lch;
using color::ProfileInspector;

std::string reals(std::initializer_list<float> values) {
    std::string text;
    for (float value : values)
        text += (text.empty() ? "" : " ") + realText(value);
    return text;
}

std::string lab(const CMColor& colour) {
    float L, a, b;
    color::ColorWorld::CMLab(colour, L, a, b);
    return reals({L, a, b});
}

std::string lch(const Lch& value) {
    return reals({value.L, value.c, value.h});
}

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
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--intent") {
            auto value = i + 1 < args.size() ? parseIntent(args[i + 1]) : std::nullopt;
            if (!value)
                return usageError("icc inks: --intent takes a whole number");
            intent = *value;
            ++i;
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

    auto inspector = ProfileInspector::profileInspectorWithProfilePath(path, intent);
    if (!inspector)
        return failure("icc inks: no inspector of '" + path + "' with intent " +
                       std::to_string(intent) +
                       " (not a usable ICC profile, or its colour worlds can't be built)");

    const color::OSType space = inspector->dataColorSpace();
    const bool isCMYK = space == color::cmCMYKData;
    const bool isGray = space == color::cmGrayData;

    // Cyan, magenta, yellow, black: the order of the inks everywhere else.
    printLine("dot-gain: " +
              reals({inspector->dotGainOfCyanChanel(), inspector->dotGainOfMagentaChanel(),
                     inspector->dotGainOfYellowChanel(), inspector->dotGainOfBlackChanel()}));

    if (!inspector->PCSToDevice() || isCMYK) {
        printLine("total-ink-max: " + std::to_string(inspector->PCSToDeviceTotalInkMax()));
        printLine("black-max: " + std::to_string(inspector->PCSToDeviceBlackMax()));
        printLine("start-of-black: " + realText(inspector->PCSToDeviceLuminanceOfStartBlack()));
    }

    if (inspector->DeviceToPCS() && (isCMYK || isGray)) {
        const color::CharacteristicProfilePoints points = inspector->characteristicProfilePoints();
        printLine("lightest: " + lab(points.lightestColor));
        printLine("full-ink: " + lab(points.fullInkColor));
        printLine("lightest-lch: " + lch(points.lightestLch));
        printLine("full-ink-lch: " + lch(points.fullInkLch));
        printLine("black-ink-lch: " + lch(points.blackInkLch));
        printLine("cmy-ink-lch: " + lch(points.cmyInkLch));
        printLine("black-point: " + lab(points.blackPointColor));
        std::string primaries;
        for (const Lch& primary : points.primaryLch)
            primaries += " " + lch(primary);
        printLine("primaries-lch:" + primaries);
        printLine("max-chroma: " + realText(points.maxChroma));
    }
    return Done;
}

const IccSubcommand
    inks("inks",
         "  icc inks PROFILE [--intent N]\n"
         "                               dot gain, ink limits, start of black and characteristic\n"
         "                               colours of a printing profile at intent N (default 0)\n",
         iccInks);

} // namespace

} // namespace slidebox::cli
