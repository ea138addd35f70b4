// slidebox-cli color: the colour arithmetic of the colour worlds, one
// conversion or difference per call. Reals go out with %.9g, which is enough
// to give back every single-precision value exactly.
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "cli/arguments.h"
#include "cli/command.h"
#include "color/color_conversion.h"

namespace slidebox::cli {

namespace {

using color::CMColor;
using color::ColorConversion;

// Parses exactly `count` reals from args[from..]; nothing on any error.
std::optional<std::vector<float>> reals(const std::vector<std::string>& args, std::size_t from,
                                        std::size_t count) {
    if (args.size() != from + count)
        return std::nullopt;
    std::vector<float> values;
    for (std::size_t i = from; i < args.size(); ++i) {
        auto v = realArgument(args[i]);
        if (!v)
            return std::nullopt;
        values.push_back(*v);
    }
    return values;
}

std::string realsLine(std::initializer_list<float> values) {
    std::string line;
    for (float v : values) {
        if (!line.empty())
            line += ' ';
        line += realText(v);
    }
    return line;
}

int wrongArguments(const std::string& sub, const char* expected) {
    return usageError("color " + sub + " takes " + expected);
}

int run(const std::vector<std::string>& args) {
    if (args.empty())
        return usageError("color: no subcommand given");
    const std::string& sub = args[0];

    if (sub == "xyz2lab") {
        auto v = reals(args, 1, 3);
        if (!v)
            return wrongArguments(sub, "three reals: X Y Z");
        color::Lab lab;
        color::XYZToLab((*v)[0], (*v)[1], (*v)[2], lab);
        printLine(realsLine({lab.L, lab.a, lab.b}));
        return Done;
    }
    if (sub == "lab2xyz") {
        auto v = reals(args, 1, 3);
        if (!v)
            return wrongArguments(sub, "three reals: L a b");
        color::XYZ xyz;
        const bool inside = color::LabToXYZ((*v)[0], (*v)[1], (*v)[2], xyz);
        printLine(realsLine({xyz.X, xyz.Y, xyz.Z}) + (inside ? " 1" : " 0"));
        return Done;
    }
    if (sub == "lab2lch") {
        auto v = reals(args, 1, 3);
        if (!v)
            return wrongArguments(sub, "three reals: L a b");
        color::Lch lch;
        color::LabToLch((*v)[0], (*v)[1], (*v)[2], lch);
        printLine(realsLine({lch.L, lch.c, lch.h}));
        return Done;
    }
    if (sub == "lch2lab") {
        auto v = reals(args, 1, 3);
        if (!v)
            return wrongArguments(sub, "three reals: L c h");
        color::Lab lab;
        color::LchToLab((*v)[0], (*v)[1], (*v)[2], lab);
        printLine(realsLine({lab.L, lab.a, lab.b}));
        return Done;
    }
    if (sub == "deltae") {
        std::vector<std::string> rest(args.begin() + 1, args.end());
        bool cie94 = false;
        std::erase_if(rest, [&](const std::string& a) {
            if (a != "--cie94")
                return false;
            cie94 = true;
            return true;
        });
        auto v = reals(rest, 0, 6);
        if (!v)
            return wrongArguments(sub, "six reals: L1 a1 b1 L2 a2 b2 [--cie94]");
        const auto& c = *v;
        const float d = cie94 ? ColorConversion::deltaE94WithL(c[0], c[1], c[2], c[3], c[4], c[5])
                              : ColorConversion::deltaEWithL(c[0], c[1], c[2], c[3], c[4], c[5]);
        printLine(realsLine({d}));
        return Done;
    }
    if (sub == "encode-lab") {
        auto v = reals(args, 1, 3);
        if (!v)
            return wrongArguments(sub, "three reals: L a b");
        CMColor color{};
        ColorConversion::LabL((*v)[0], (*v)[1], (*v)[2], color);
        printLine(std::to_string(color.lab.L) + ' ' + std::to_string(color.lab.a) + ' ' +
                  std::to_string(color.lab.b));
        return Done;
    }
    if (sub == "decode-lab") {
        if (args.size() != 4)
            return wrongArguments(sub, "three fields 0..65535: W1 W2 W3");
        CMColor color{};
        for (int i = 0; i < 3; ++i) {
            auto w = fieldArgument(args[1 + i]);
            if (!w)
                return wrongArguments(sub, "three fields 0..65535: W1 W2 W3");
            color.raw[i] = *w;
        }
        float L, a, b;
        ColorConversion::CMLab(color, L, a, b);
        printLine(realsLine({L, a, b}));
        return Done;
    }
    return usageError("color: unknown subcommand '" + sub + "'");
}

const CommandGroup group{
    "color",
    "  color xyz2lab X Y Z          CIE Lab of an XYZ colour (D50, Y of white 100)\n"
    "  color lab2xyz L a b          XYZ of a Lab colour, then 1, or 0 when clamped\n"
    "  color lab2lch L a b          lightness, chroma and hue in degrees\n"
    "  color lch2lab L c h          Lab of lightness, chroma and hue\n"
    "  color deltae L1 a1 b1 L2 a2 b2 [--cie94]\n"
    "                               colour difference, CIE 1976 or the CIE94 variant\n"
    "  color encode-lab L a b       the three 16-bit fields of a Lab colour\n"
    "  color decode-lab W1 W2 W3    the Lab colour of three 16-bit fields\n",
    run};

} // namespace

} // namespace slidebox::cli
