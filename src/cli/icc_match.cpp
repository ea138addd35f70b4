// slidebox-cli icc match: single colours through a colour world built the
// way the toolkit builds every world, so that a chain of profiles can be
// tried from the shell. "lab" in place of a path is the generic Lab profile.
// Colours come as 16-bit fields, as reals (--lab, --rgb, --cmyk, --gray),
// or one a line from standard input when none is given.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <type_traits>
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

/// One colour as given: 16-bit fields (space 0), or reals on the scale of a
/// space.
struct GivenColour {
    OSType space = 0;
    std::vector<std::uint16_t> fields;
    std::vector<float> reals;
};

struct MatchOptions : WorldOptions {
    std::vector<GivenColour> colours;
    bool fieldsIn = false; ///< standard input holds fields, not reals
};

/// The real-valued colour options: name, space, count of reals.
struct RealOption {
    const char* name;
    OSType space;
    std::size_t count;
};
constexpr RealOption kRealOptions[] = {{"--lab", color::cmLabData, 3},
                                       {"--rgb", color::cmRGBData, 3},
                                       {"--cmyk", color::cmCMYKData, 4},
                                       {"--gray", color::cmGrayData, 1}};

std::string spaceText(OSType space) {
    return printableSignature(space);
}

/// The fields of reals on the scale of a space: Lab on its own (clamped),
/// RGB, CMYK and gray in percent, XYZ 0..200 with Y of white 100; the
/// reason when a value is outside its scale or the space has none.
std::optional<std::string> fieldsOfReals(OSType space, const std::vector<float>& v,
                                         CMColor& colour) {
    const auto within = [&](float low, float high) {
        return std::all_of(v.begin(), v.end(), [&](float x) { return x >= low && x <= high; });
    };
    if (space == color::cmLabData) {
        if (v[0] < 0 || v[0] > 100 || v[1] < -128 || v[1] > 127.996f || v[2] < -128 ||
            v[2] > 127.996f)
            return "Lab takes L 0..100 and a, b -128..127.996";
        color::ColorConversion::LabL(v[0], v[1], v[2], colour);
    } else if (space == color::cmXYZData) {
        if (!within(0, 200))
            return "XYZ takes values 0..200";
        color::ColorConversion::XYZ_X(v[0], v[1], v[2], colour);
    } else if (space == color::cmRGBData || space == color::cmGrayData ||
               space == color::cmCMYKData) {
        if (!within(0, 100))
            return "'" + spaceText(space) + "' takes percentages 0..100";
        if (space == color::cmCMYKData)
            color::ColorConversion::CMYKc(v[0], v[1], v[2], v[3], colour);
        else if (space == color::cmRGBData)
            color::ColorConversion::RGBr(v[0], v[1], v[2], colour);
        else // gray on the percent scale of a single channel
            color::ColorConversion::RGBr(v[0], 0, 0, colour);
    } else {
        return "colours of '" + spaceText(space) + "' are given as fields";
    }
    return std::nullopt;
}

/// Splits a word at its commas into words and "," marks.
void splitCommas(const std::string& arg, std::vector<std::string>& words) {
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

// Options anywhere; the fields in between, colours separated by commas that
// stand alone or stick to a field ("1 2 3, 4 5 6" or "1 2 3 , 4 5 6"). A
// real colour option takes its reals and is a colour of its own.
std::optional<std::string> parse(const std::vector<std::string>& args, MatchOptions& options) {
    std::vector<std::string> words; // fields, "," marks, and "" for each real colour
    std::vector<GivenColour> realColours;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        const auto real = std::find_if(std::begin(kRealOptions), std::end(kRealOptions),
                                       [&](const RealOption& o) { return arg == o.name; });
        if (WorldOptions::isOption(arg)) {
            if (auto error = options.take(args, i))
                return error;
        } else if (real != std::end(kRealOptions)) {
            words.push_back("");
            GivenColour colour{real->space, {}, {}};
            for (std::size_t k = 0; k < real->count; ++k) {
                auto value = i + 1 < args.size() ? realArgument(args[i + 1]) : std::nullopt;
                if (!value)
                    return arg + " takes " + std::to_string(real->count) + " reals";
                colour.reals.push_back(*value);
                ++i;
            }
            realColours.push_back(std::move(colour));
        } else if (arg == "--fields") {
            options.fieldsIn = true;
        } else if (arg.rfind("--", 0) == 0) {
            return "unknown option '" + arg + "'";
        } else {
            splitCommas(arg, words);
        }
    }
    auto nextReal = realColours.begin();
    std::vector<std::uint16_t> fields;
    bool afterComma = false; // a comma waits for the colour after it
    const auto flush = [&] {
        if (!fields.empty())
            options.colours.push_back({0, fields, {}});
        fields.clear();
    };
    for (const std::string& word : words) {
        if (word.empty() || word == ",") { // a real colour's mark, or a comma typed
            if (afterComma || (word == "," && fields.empty()))
                return std::string("an empty colour between commas");
            flush();
            if (word.empty())
                options.colours.push_back(std::move(*nextReal++));
            afterComma = word == ",";
            continue;
        }
        auto field = fieldArgument(word);
        if (!field)
            return "'" + word + "' is not a field 0..65535";
        fields.push_back(*field);
        afterComma = false;
    }
    if (afterComma)
        return std::string("an empty colour between commas");
    flush();
    if (options.source.empty())
        return "--src PROFILE is required";
    return std::nullopt;
}

// The fields of a colour: 16-bit words up to four channels, bytes above.
std::vector<unsigned> fieldsOf(const CMColor& colour, unsigned channels) {
    std::vector<unsigned> fields;
    for (unsigned k = 0; k < channels && k < 8; ++k)
        fields.push_back(channels > 4 ? reinterpret_cast<const unsigned char*>(colour.raw)[k]
                                      : colour.raw[k]);
    return fields;
}

// The reals of a colour on the scale of its space: Lab and XYZ on theirs,
// RGB, CMYK, gray and any other space of up to four channels in percent;
// five to eight inks travel as one byte each, read as percent.
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
    else if (space == color::cmRGBData || space == color::cmGrayData)
        ColorWorld::CMRGB(colour, v[0], v[1], v[2]); // gray: the first channel
    else if (space == color::cmCMYKData)
        ColorWorld::CMCMYK(colour, v[0], v[1], v[2], v[3]);
    else
        for (unsigned k = 0; k < channels; ++k)
            v[k] = static_cast<float>(colour.raw[k] * 100.0 / 65535.0);
    return std::vector<float>(v, v + channels);
}

template <class T> std::string joined(const std::vector<T>& values) {
    std::string text;
    for (const T& value : values) {
        if (!text.empty())
            text += ' ';
        if constexpr (std::is_floating_point_v<T>)
            text += realText(value);
        else
            text += std::to_string(value);
    }
    return text;
}

/// One world and its spaces, and the colour through it.
struct Matcher {
    std::unique_ptr<ColorWorld> world;
    OSType in = 0, out = 0;
    unsigned channels = 0;

    /// The colour's fields before the match; the reason when it doesn't fit.
    std::optional<std::string> fill(const GivenColour& given, CMColor& colour) const {
        if (given.space == 0) {
            if (given.fields.size() != channels)
                return "a colour of '" + spaceText(in) + "' takes " + std::to_string(channels) +
                       " fields, not " + std::to_string(given.fields.size());
            for (std::size_t k = 0; k < given.fields.size(); ++k)
                colour.raw[k] = given.fields[k];
            return std::nullopt;
        }
        if (given.space != in)
            return "the source takes colours of '" + spaceText(in) + "', not '" +
                   spaceText(given.space) + "'";
        if (given.reals.size() != channels)
            return "a colour of '" + spaceText(in) + "' takes " + std::to_string(channels) +
                   " values, not " + std::to_string(given.reals.size());
        return fieldsOfReals(in, given.reals, colour);
    }
};

/// Reads colours one a line from standard input, each matched and printed
/// on one line: reals in, reals out; with --fields, fields in and out.
/// Output waits for the end unless a person types at a terminal, so a bad
/// line leaves standard output empty.
int matchLines(const Matcher& m, bool fieldsIn) {
    const bool interactive = ::isatty(STDIN_FILENO) == 1;
    std::string output;
    int number = 0;
    for (std::string line; std::getline(std::cin, line);) {
        ++number;
        std::istringstream words(line);
        GivenColour given{fieldsIn ? 0 : m.in, {}, {}};
        std::string word, problem;
        while (problem.empty() && words >> word) {
            if (fieldsIn) {
                if (auto field = fieldArgument(word))
                    given.fields.push_back(*field);
                else
                    problem = "'" + word + "' is not a field 0..65535";
            } else if (auto value = realArgument(word)) {
                given.reals.push_back(*value);
            } else {
                problem = "'" + word + "' is not a number";
            }
        }
        CMColor colour{};
        if (problem.empty())
            problem = m.fill(given, colour).value_or("");
        if (problem.empty() && !m.world->matchColor(colour))
            problem = "the colour engine refused the colour";
        if (!problem.empty())
            return failure("icc match: standard input, line " + std::to_string(number) + ": " +
                           problem);
        const unsigned outChannels = color::channelsOfColorSpace(m.out);
        const std::string text = fieldsIn ? joined(fieldsOf(colour, outChannels))
                                          : joined(realsOf(colour, m.out, outChannels));
        if (interactive)
            printLine(text);
        else
            output += text + "\n";
    }
    std::fwrite(output.data(), 1, output.size(), stdout);
    return Done;
}

} // namespace

int iccMatch(const std::vector<std::string>& args) {
    MatchOptions options;
    if (auto problem = parse(args, options))
        return usageError("icc match: " + *problem);

    const auto opened = [](const std::string& argument) -> std::optional<std::string> {
        const auto path = profileArgument(argument);
        if (!path)
            return "the generic Lab profile can't be had";
        auto profile = color::ProfileManager::openProfile(*path);
        if (!profile)
            return "'" + argument + "': " + profile.status().message();
        const auto header = color::CMGetProfileHeader(*profile.value());
        if (header && header->profileClass == color::cmNamedColorClass)
            return "'" + argument +
                   "': wrong class: a named-colour profile has no colour transform";
        return std::nullopt;
    };
    if (auto problem = opened(options.source))
        return failure("icc match: " + *problem);
    std::filesystem::path destination;
    if (!options.destination.empty()) {
        // The toolkit would quietly drop a destination that won't open; asked
        // for by name here, it is an error.
        if (auto problem = opened(options.destination))
            return failure("icc match: " + *problem);
        destination = *profileArgument(options.destination);
    }

    Matcher m;
    m.world = ColorWorld::initColorWorldWithSrcProfil(
        *profileArgument(options.source), options.intentIn,
        options.intentOut.value_or(options.intentIn), destination, options.engine);
    if (!m.world || !m.world->cwRef())
        return failure("icc match: no colour world through these profiles and intents "
                       "(a named-colour profile, or a class or space that doesn't chain)");
    m.in = color::CWInputSpace(*m.world->cwRef());
    m.out = color::CWOutputSpace(*m.world->cwRef());
    m.channels = color::channelsOfColorSpace(m.in);
    if (m.channels == 0 || m.channels > 4)
        return failure("icc match: colours of '" + spaceText(m.in) + "' can't be given as fields");
    if (options.colours.empty())
        return matchLines(m, options.fieldsIn);

    std::vector<CMColor> colours;
    for (const GivenColour& given : options.colours) {
        CMColor colour{};
        if (auto problem = m.fill(given, colour))
            return usageError("icc match: " + *problem);
        colours.push_back(colour);
    }
    std::string output;
    const unsigned outChannels = color::channelsOfColorSpace(m.out);
    for (CMColor& colour : colours) {
        if (!m.world->matchColor(colour))
            return failure("icc match: the colour engine refused a colour");
        output += joined(fieldsOf(colour, outChannels)) + "\n";
        output += joined(realsOf(colour, m.out, outChannels)) + "\n";
    }
    std::fwrite(output.data(), 1, output.size(), stdout);
    return Done;
}

namespace {
const IccSubcommand match(
    "match",
    "  icc match --src PROFILE [--dst PROFILE] [--intent N] [--intent-out M] [--bpc]\n"
    "            [COLOUR...]\n"
    "                               colours through a colour world, as fields and reals; a\n"
    "                               COLOUR is W1 [W2 [W3 [W4]]] 16-bit fields (',' starts\n"
    "                               another), --lab L a b, --rgb R G B, --cmyk C M Y K or\n"
    "                               --gray G (RGB, CMYK, gray in percent 0..100); 'lab' names\n"
    "                               the generic Lab profile. Without a COLOUR, one colour a\n"
    "                               line from standard input, reals (or fields with\n"
    "                               --fields), one line out for each; --bpc: black-point\n"
    "                               compensation\n",
    iccMatch);
} // namespace

} // namespace slidebox::cli
