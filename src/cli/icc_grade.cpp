// slidebox-cli icc grade: one profile graded by brute force, its two
// directions against each other (--bijectivity) or how much of the
// connection space comes back from the device (--gamut). The numbers are
// the colour toolkit's; this file reads the options and prints.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "cli/arguments.h"
#include "cli/icc_subcommands.h"
#include "color/color_world.h"
#include "color/profile_header_report.h"
#include "color/profile_manager.h"

namespace slidebox::cli {

namespace {

using color::ColorWorld;

struct GradeOptions {
    std::string profile;
    std::optional<bool> bijectivity; // true: --bijectivity, false: --gamut
    std::optional<bool> absolute;    // true: --absolute, false: --perceptual
    float tolerance = 2.0f;
    std::optional<float> speed;
};

std::optional<std::string> parse(const std::vector<std::string>& args, GradeOptions& options) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--bijectivity" || arg == "--gamut") {
            const bool wanted = arg == "--bijectivity";
            if (options.bijectivity && *options.bijectivity != wanted)
                return "give one of --bijectivity and --gamut";
            options.bijectivity = wanted;
        } else if (arg == "--absolute" || arg == "--perceptual") {
            const bool wanted = arg == "--absolute";
            if (options.absolute && *options.absolute != wanted)
                return "give one of --absolute and --perceptual";
            options.absolute = wanted;
        } else if (arg == "--tolerance" || arg == "--speed") {
            if (i + 1 >= args.size())
                return arg + " needs a value";
            auto value = realArgument(args[++i]);
            if (!value)
                return arg + " takes a number, not '" + args[i] + "'";
            if (arg == "--tolerance")
                options.tolerance = *value;
            else
                options.speed = *value;
        } else if (arg.rfind("--", 0) == 0) {
            return "unknown option '" + arg + "'";
        } else if (!options.profile.empty() || arg.empty()) {
            return "give one PROFILE";
        } else {
            options.profile = arg;
        }
    }
    if (options.profile.empty())
        return "give one PROFILE";
    if (!options.bijectivity)
        return "give --bijectivity or --gamut";
    return std::nullopt;
}

// Why a test gave no answer, as far as the profile's header tells.
std::string reasonForNoAnswer(const std::filesystem::path& path, bool bijectivity) {
    auto profile = color::ProfileManager::profileRefForPath(path);
    if (!profile)
        return "'" + path.string() + "' is not a usable ICC profile";
    const auto header = color::CMGetProfileHeader(*profile);
    if (!header)
        return "the header of '" + path.string() + "' can't be read";
    const color::OSType space = header->dataColorSpace, pcs = header->profileConnectionSpace;
    if (bijectivity && space != color::cmRGBData && space != color::fourCC("CMY ") &&
        space != color::cmCMYKData)
        return "the bijectivity test has no grid for the data colour space '" +
               color::signatureText(space) + "'";
    if (!bijectivity && pcs != color::cmLabData && pcs != color::cmXYZData)
        return "the gamut test has no divisor for the connection space '" +
               color::signatureText(pcs) + "'";
    return "the colour worlds to and from Lab can't be built for '" + path.string() +
           "' (a profile of one direction only?)";
}

int iccGrade(const std::vector<std::string>& args) {
    GradeOptions options;
    if (auto problem = parse(args, options))
        return usageError("icc grade: " + *problem);

    std::filesystem::path path = options.profile;
    if (options.profile == "lab") {
        auto generic = color::ProfileManager::pathOfGenericLabProfil();
        if (!generic)
            return failure("icc grade: the generic Lab profile can't be made");
        path = *generic;
    }
    if (options.speed)
        ColorWorld::setSpeedCalculation(*options.speed);
    const bool absolute = options.absolute.value_or(false);
    const bool bijectivity = *options.bijectivity;

    printLine(std::string("test: ") + (bijectivity ? "bijectivity" : "gamut"));
    printLine(std::string("mode: ") + (absolute ? "absolute" : "perceptual"));
    printLine("speed-calculation: " + realText(ColorWorld::speedCalculation()));
    float result;
    if (bijectivity) {
        float maxDeltaE = -1.0f; // stays -1 when the test can't start
        result = absolute ? ColorWorld::bijectivityAverageDeltaEForAbsoluteMode(path, &maxDeltaE)
                          : ColorWorld::bijectivityAverageDeltaEForPerceptualMode(path, &maxDeltaE);
        printLine("average-delta-e: " + realText(result));
        printLine("max-delta-e: " + realText(maxDeltaE));
    } else {
        result = absolute ? ColorWorld::inAbsoluteGamutPercentage(path, options.tolerance)
                          : ColorWorld::inPerceptualGamutPercentage(path, options.tolerance);
        printLine("tolerance: " + realText(options.tolerance));
        printLine("in-gamut-percentage: " + realText(result));
    }
    if (result == -1.0f)
        return failure("icc grade: no answer: " + reasonForNoAnswer(path, bijectivity));
    return Done;
}

const IccSubcommand grade(
    "grade",
    "  icc grade PROFILE (--bijectivity | --gamut) [--absolute | --perceptual] [--tolerance T]\n"
    "            [--speed PERCENT]\n"
    "                               a profile's round trip through its device (average and\n"
    "                               largest deltaE) or its share of the connection space within\n"
    "                               T (default 2); tests work PERCENT (10..100) of their time\n",
    iccGrade);

} // namespace

} // namespace slidebox::cli
