#pragma once

// Inks and light without a profile, as device spaces meet: black takes what
// the three colours share, each colour ink takes its share of the light
// black leaves. Only for drawing across device spaces and for showing inks
// on a screen; colour matching proper goes through profiles.

#include <array>
#include <cstdint>

#include <QImage>

#include "image/bitmap.h"

namespace slidebox::draw {

/// Cyan, magenta, yellow, black for red, green, blue; 0..255 each.
std::array<std::uint8_t, 4> inksFromLight(unsigned red, unsigned green, unsigned blue);

/// Red, green, blue for cyan, magenta, yellow, black; 0..255 each.
std::array<std::uint8_t, 3> lightFromInks(unsigned cyan, unsigned magenta, unsigned yellow,
                                          unsigned black);

/// An opaque RGB picture of an 8-bit packed CMYK bitmap; null otherwise.
QImage lightFromInks(const image::Bitmap& cmyk);

} // namespace slidebox::draw
