#pragma once

// How the commands read their arguments and write their reals, in one
// place, so that "2", "0x1F" or "--intent 3" mean the same to every command.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "color/colorsync.h"

namespace slidebox::cli {

/// A real in the whole text, finite and within float's range; nothing else.
std::optional<float> realArgument(const std::string& text);

/// A 16-bit field in decimal, 0..65535; nothing else.
std::optional<std::uint16_t> fieldArgument(const std::string& text);

/// An intent 0..3 written as one digit; nothing otherwise.
std::optional<std::int32_t> intentArgument(const std::string& text);

/// The path a PROFILE argument names: "lab" is the generic Lab profile.
/// Nothing when that can't be made.
std::optional<std::filesystem::path> profileArgument(const std::string& argument);

/// "%.9g" of a real, NaN as printf prints it.
std::string realText(double value);

/// The options that build a colour world: --src, --dst, --intent,
/// --intent-out, and the flags --bpc (black-point compensation) and
/// --no-optimize (the engine's unoptimised path, the one single colours take).
struct WorldOptions {
    std::string source;
    std::string destination;
    std::int32_t intentIn = 0;
    std::optional<std::int32_t> intentOut;
    color::CMWorldOptions engine; ///< what --bpc and --no-optimize ask of the engine

    /// True when arg is one of the six options.
    static bool isOption(const std::string& arg);
    /// Takes the option at args[i] and its value, leaving i on the value
    /// (a flag has none); the usage message when the value is missing or wrong.
    std::optional<std::string> take(const std::vector<std::string>& args, std::size_t& i);
};

} // namespace slidebox::cli
