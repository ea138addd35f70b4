#pragma once

// Profiles made to a recipe, for tests and fuzzer seeds only (this library
// is linked by nothing else).

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "color/colorsync.h"

namespace slidebox::color {

/// One table element of a made profile.
struct ProfileTableRecipe {
    enum class Kind {
        Lut16,  ///< an 'mft2' table with gridPoints points per side
        LutAtoB ///< an 'mAB ' (A2Bx) or 'mBA ' (B2Ax) table with gridPoints points per side
    };
    OSType tag = 0; ///< 'A2B0'..'A2B2' (device to Lab) or 'B2A0'..'B2A2' (Lab to device)
    Kind kind = Kind::Lut16;
    std::uint8_t gridPoints = 9;
};

/// What a made profile holds. The tables convert between the device space
/// and Lab: RGB as sRGB, gray as gray with gamma 2.2, CMYK as a plain ink
/// model, Lab as the identity.
struct ProfileRecipe {
    OSType colorSpace = cmRGBData; ///< RGB, GRAY, CMYK or Lab
    OSType deviceClass = fourCC("mntr");
    double version = 2.1;              ///< 2.x stores 'mft2' tables, 4.x may store 'mAB '
    std::uint32_t renderingIntent = 0; ///< written to the header as is
    std::optional<std::string> description;
    std::optional<OSType> technology; ///< a 'tech' element when given
    bool matrixShaper = false;        ///< RGB: sRGB colorants and curves; GRAY: a curve
    std::vector<ProfileTableRecipe> tables;
    /// Elements written as given, type signature first (also to spoil a table).
    std::vector<std::pair<OSType, std::vector<std::uint8_t>>> rawTags;
    /// CMYK: when given, the Lab-to-CMYK tables hold this separation in
    /// place of the plain one (which puts every neutral in black alone): it
    /// gets L 0..100, a and b about -128..128 and gives the four inks 0..1.
    std::function<std::array<double, 4>(double L, double a, double b)> separation;
};

/// The bytes of a profile made to the recipe; nothing if the engine refuses.
std::optional<std::vector<std::uint8_t>> makeProfile(const ProfileRecipe& recipe);

} // namespace slidebox::color
