#pragma once

#include <cstdint>
#include <type_traits>

#include "image/signature.h"

namespace slidebox::color {

// Four-character codes and the colour-space signatures are the image
// layer's, shared with it.
using image::cmCMYData;
using image::cmCMYKData;
using image::cmGrayData;
using image::cmLabData;
using image::cmRGBData;
using image::cmXYZData;
using image::fourCC;
using image::OSType;

// The forms of a colour record: unsigned 16-bit fields, matched in place.
// Lab: L 0..65535 is 0..100, a and b 0..65535 are -128..127.996.
// XYZ: 0..65535 is 0..200 with Y of white at 100.
// RGB, CMYK and gray: 0..65535 is 0..1 (0..100 percent).
struct CMLabColor {
    std::uint16_t L, a, b;
};
struct CMXYZColor {
    std::uint16_t X, Y, Z;
};
struct CMRGBColor {
    std::uint16_t red, green, blue;
};
struct CMCMYKColor {
    std::uint16_t cyan, magenta, yellow, black;
};
struct CMGrayColor {
    std::uint16_t gray;
};

/// The 8-byte colour record: one of the forms above, told by the colour
/// space it travels with.
union CMColor {
    CMLabColor lab;
    CMXYZColor XYZ;
    CMRGBColor rgb;
    CMCMYKColor cmyk;
    CMGrayColor gray;
    std::uint16_t raw[4];
};

static_assert(sizeof(CMColor) == 8);
static_assert(std::is_trivially_copyable_v<CMColor>);

/// A block of pixels as the colour engine is handed it: the first byte, the
/// size in pixels, the bytes from one row to the next, the bits of one
/// pixel and the data colour space. It describes memory, never owns it.
struct CMBitmap {
    char* image = nullptr;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t rowBytes = 0;
    std::uint32_t pixelSize = 0; ///< bits a pixel: 48 for a 16-bit Lab bitmap
    std::uint32_t space = 0;
    std::uint32_t user1 = 0;
    std::uint32_t user2 = 0;
};

} // namespace slidebox::color
