// slidebox-cli icc match: single colours through a colour world built the
// way the toolkit builds every world, so that a chain of profiles can be
// tried from the shell. "lab" in place of a path is the generic Lab profile.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "cli/arguments.h"
#include "cli/icc_subcommands.h"
#include "color/color_world.h"
#include "color/profile_manager.h"

namespace slidebox::cli {

namespace {

using color::CMColor;
using color::ColorWorld;
using color::OSType;

struct MatchOptions : WorldOptions {
    std::vector<std::vector<std::uint16_t>> colours;
};

// Options anywhere; the fields in between, colours separated by commas that
// stand alone or stick to a field ("1 2 3, 4 5 6" or "1 2 3 , 4 5 6").
std::optional<std::string> parse(const std::vector<std::string>& args, MatchOptions& options) {
    std::vector<std::string> words; // fields and "," marks
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (WorldOptions::isOption(arg)) {
            if (auto error = options.take(args, i))
                return error;
        } else if (arg.rfind("--", 0) == 0) {
            return "unknown option '" + arg + "'";
        } else {
            std::string word;
            for (char c : arg) {
                if (c != ',') {
                    word += c;
                    continue;
                }
                if (!word.empty())
                    words.push_back(word);
                words.push_back(",");
                word.clear();
            }
            if (!word.empty())
                words.push_back(word);
        }
    }
    words.push_back(","); // the last colour ends like the others
    std::vector<std::uint16_t> colour;
    for (const std::string& word : words) {
        if (word == ",") {
            if (colour.empty())
                return options.colours.empty() && words.size() == 1
                           ? "no colour given"
                           : "an empty colour between commas";
            options.colours.push_back(colour);
            colour.clear();
            continue;
        }
        auto field = fieldArgument(word);
        if (!field)
            return "'" + word + "' is not a field 0..65535";
        colour.push_back(*field);
    }
    if (options.source.empty())
        return "--src PROFILE is required";
    return std::nullopt;
}

// A path, or the generic Lab profile for "lab"; nothing when that can't be made.
// The fields of a colour: 16-bit words up to four channels, bytes above.
std::vector<unsigned> fieldsOf(const CMColor& colour, unsigned channels) {
    std::vector<unsigned> fields;
    for (unsigned k = 0; k < channels && k < 8; ++k)
        fields.push_back(channels > 4 ? reinterpret_cast<const unsigned char*>(colour.raw)[k]
                                      : colour.raw[k]);
    return fields;
}

// The reals of a colour on the scale of its space: Lab and XYZ on theirs,
// gray as a unit, RGB, CMYK and any other space of up to four channels in
// percent; five to eight inks travel as one byte each, read as percent.
std::vector<float> realsOf(const CMColor& colour, OSType space, unsigned channels) {
    std::vector<float> reals;
    if (channels > 4) {
        for (unsigned byte : fieldsOf(colour, channels))
            reals.push_back(static_cast<float>(byte * 100.0 / 255.0));
        return reals;
    }
    float v[4] = {};
    if (space == color::cmLabData)
        ColorWorld::CMLab(colour, v[0], v[1], v[2]);
    else if (space == color::cmXYZData)
        ColorWorld::CMXYZ(colour, v[0], v[1], v[2]);
    else if (space == color::cmGrayData)
        ColorWorld::CMGray_One(colour, v[0]);
    else if (space == color::cmRGBData)
        ColorWorld::CMRGB(colour, v[0], v[1], v[2]);
    else if (space == color::cmCMYKData)
        ColorWorld::CMCMYK(colour, v[0], v[1], v[2], v[3]);
    else
        for (unsigned k = 0; k < channels; ++k)
            v[k] = static_cast<float>(colour.raw[k] * 100.0 / 65535.0);
    return std::vector<float>(v, v + channels);
}

// The two lines of one matched colour: its fields, then its reals.
void printColour(const CMColor& colour, OSType space) {
    const unsigned channels = color::channelsOfColorSpace(space);
    std::string fields, reals;
    for (unsigned value : fieldsOf(colour, channels))
        fields += (fields.empty() ? "" : " ") + std::to_string(value);
    for (float value : realsOf(colour, space, channels))
        reals += (reals.empty() ? "" : " ") + realText(value);
    printLine(fields);
    printLine(reals);
}

std::string spaceText(OSType space) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += static_cast<char>((space >> shift) & 0xFF);
    return text;
}

} // namespace

int iccMatch(const std::vector<std::string>& args) {
    MatchOptions options;
    if (auto problem = parse(args, options))
        return usageError("icc match: " + *problem);

    const auto source = profileArgument(options.source);
    if (!source || !color::ProfileManager::profileRefForPath(*source))
        return failure("icc match: '" + options.source + "' is not a usable ICC profile");
    std::filesystem::path destination;
    if (!options.destination.empty()) {
        auto path = profileArgument(options.destination);
        // The toolkit would quietly drop a destination that won't open; asked
        // for by name here, it is an error.
        if (!path || !color::ProfileManager::profileRefForPath(*path))
            return failure("icc match: '" + options.destination + "' is not a usable ICC profile");
        destination = *path;
    }

    auto world = ColorWorld::initColorWorldWithSrcProfil(
        *source, options.intentIn, options.intentOut.value_or(options.intentIn), destination);
    if (!world || !world->cwRef())
        return failure("icc match: no colour world through these profiles and intents");

    const OSType in = color::CWInputSpace(*world->cwRef());
    const OSType out = color::CWOutputSpace(*world->cwRef());
    const unsigned channels = color::channelsOfColorSpace(in);
    if (channels == 0 || channels > 4)
        return failure("icc match: colours of '" + spaceText(in) + "' can't be given as fields");
    for (const auto& colour : options.colours) {
        if (colour.size() != channels)
            return usageError("icc match: a colour of '" + spaceText(in) + "' takes " +
                              std::to_string(channels) + " fields, not " +
                              std::to_string(colour.size()));
    }

    for (const auto& fields : options.colours) {
        CMColor colour{};
        for (std::size_t k = 0; k < fields.size(); ++k)
            colour.raw[k] = fields[k];
        if (!world->matchColor(colour))
            return failure("icc match: the colour engine refused a colour");
        printColour(colour, out);
    }
    return Done;
}

namespace {
const IccSubcommand match(
    "match",
    "  icc match --src PROFILE [--dst PROFILE] [--intent N] [--intent-out M] W1 [W2 [W3 [W4]]]\n"
    "                               16-bit fields through a colour world, as fields and reals;\n"
    "                               'lab' names the generic Lab profile, ',' starts another "
    "colour\n",
    iccMatch);
} // namespace

} // namespace slidebox::cli
