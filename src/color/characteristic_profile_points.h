#pragma once

#include <array>

#include "color/cm_color.h"
#include "color/color_conversion.h"

namespace slidebox::color {

/// The characteristic colours of a printing profile, as its colour worlds
/// give them: Lab colours in the fields of a CMColor, the others as
/// lightness, chroma and hue. All zero where the profile has no such colour.
struct CharacteristicProfilePoints {
    CMColor lightestColor{};   ///< Lab of no ink (CMYK 0, 0, 0, 0; gray 0xFFFF)
    CMColor fullInkColor{};    ///< Lab of all inks (CMYK 0xFFFF four times; gray 0)
    Lch lightestLch{};         ///< of lightestColor
    Lch fullInkLch{};          ///< of fullInkColor
    Lch blackInkLch{};         ///< of black ink alone; 0 for gray
    Lch cmyInkLch{};           ///< of cyan, magenta and yellow together; 0 for gray
    CMColor blackPointColor{}; ///< Lab of the darkest neutral the device reproduces
    /// Magenta, red, yellow, green, cyan and blue, in this order; 0 for gray.
    std::array<Lch, 6> primaryLch{};
    float maxChroma = 0.0f; ///< the largest chroma of the six primaries
};

} // namespace slidebox::color
