#pragma once

// Four-character codes, as profile headers and the colour toolkit name
// colour spaces and everything else: one definition for every layer.
#include <cstdint>

namespace slidebox::image {

/// A four-character code in one unsigned 32-bit value, first character in the
/// top byte ('scnr' is 0x73636E72); big-endian in files.
using OSType = std::uint32_t;

constexpr OSType fourCC(const char (&s)[5]) {
    return (static_cast<OSType>(static_cast<unsigned char>(s[0])) << 24) |
           (static_cast<OSType>(static_cast<unsigned char>(s[1])) << 16) |
           (static_cast<OSType>(static_cast<unsigned char>(s[2])) << 8) |
           static_cast<OSType>(static_cast<unsigned char>(s[3]));
}

/// Colour-space signatures of profile headers.
inline constexpr OSType cmXYZData = fourCC("XYZ ");
inline constexpr OSType cmLabData = fourCC("Lab ");
inline constexpr OSType cmRGBData = fourCC("RGB ");
inline constexpr OSType cmGrayData = fourCC("GRAY");
inline constexpr OSType cmCMYKData = fourCC("CMYK");
inline constexpr OSType cmCMYData = fourCC("CMY ");

} // namespace slidebox::image
