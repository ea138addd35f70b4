// slidebox-cli icc grade: one profile graded by brute force, its two
// directions against each other (--bijectivity) or how much of the
// connection space comes back from the device (--gamut). The numbers are
// the colour toolkit's; this file reads the options and prints.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/arguments.h"
#include "cli/icc_subcommands.h"
#include "cli/json_out.h"
#include "color/color_world.h"
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
    bool json = false;
};

std::optional<std::string> parse(const std::vector<std::string>& args, GradeOptions& options) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--json") {
            options.json = true;
        } else if (arg == "--bijectivity" || arg == "--gamut") {
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

    // Worked out whole before anything is printed: a refusal prints nothing.
    float result, second;
    if (bijectivity) {
        second = -1.0f; // the largest deltaE, -1 when the test can't start
        result = absolute ? ColorWorld::bijectivityAverageDeltaEForAbsoluteMode(path, &second)
                          : ColorWorld::bijectivityAverageDeltaEForPerceptualMode(path, &second);
    } else {
        second = options.tolerance;
        result = absolute ? ColorWorld::inAbsoluteGamutPercentage(path, options.tolerance)
                          : ColorWorld::inPerceptualGamutPercentage(path, options.tolerance);
    }
    if (result == -1.0f)
        return failure("icc grade: no answer: " +
                       ColorWorld::gradeRefusal(path, bijectivity).message());
    const std::vector<std::pair<std::string, std::string>> fields = {
        {"test", bijectivity ? "bijectivity" : "gamut"},
        {"mode", absolute ? "absolute" : "perceptual"},
        {"speed-calculation", realText(ColorWorld::speedCalculation())},
        {bijectivity ? "average-delta-e" : "tolerance",
         realText(bijectivity ? result : options.tolerance)},
        {bijectivity ? "max-delta-e" : "in-gamut-percentage",
         realText(bijectivity ? second : result)},
    };
    if (!options.json) {
        for (const auto& [key, value] : fields)
            printLine(key + ": " + value);
        return Done;
    }
    const double numbers[] = {ColorWorld::speedCalculation(),
                              bijectivity ? result : options.tolerance,
                              bijectivity ? second : result};
    JsonWriter out;
    out.beginObject();
    for (std::size_t i = 0; i < fields.size(); ++i) {
        out.key(fields[i].first);
        if (i < 2)
            out.value(fields[i].second);
        else
            out.value(numbers[i - 2]);
    }
    out.endObject();
    printLine(out.text());
    return Done;
}

const IccSubcommand grade(
    "grade",
    "  icc grade PROFILE (--bijectivity | --gamut) [--absolute | --perceptual] [--tolerance T]\n"
    "            [--speed PERCENT] [--json]\n"
    "                               a profile's round trip through its device (average and\n"
    "                               largest deltaE) or its share of the connection space within\n"
    "                               T (default 2); tests work PERCENT (10..100) of their time\n",
    iccGrade);

} // namespace

} // namespace slidebox::cli
