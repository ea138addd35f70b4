#pragma once

// Internal to the colour library: how the comparison reads the pixels of a
// 16-bit Lab bitmap and measures their difference, shared by its two passes.

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "color/cm_color.h"
#include "color/color_conversion.h"
#include "color/lab_view.h"

namespace slidebox::color::lab_pixels {

constexpr std::uint32_t kLabPixelBytes = 6;

// A pixel the mask leaves out, in a row of differences.
constexpr float kLeftOutDifference = -1.0f;

using DeltaE = float (*)(const CMColor&, const CMColor&);

// The reals of every 16-bit Lab field, read once with CMLab itself, so that
// a pixel is decoded by three loads and every number is exactly the one
// deltaEWithC1 works with. abSigned is indexed by the field as a file keeps
// it, a and b less 32768 as signed 16-bit values.
struct LabTables {
    std::vector<float> L, ab, abSigned;
    LabTables() : L(65536), ab(65536), abSigned(65536) {
        for (std::uint32_t w = 0; w < 65536; ++w) {
            CMColor colour{};
            colour.lab = {static_cast<std::uint16_t>(w), static_cast<std::uint16_t>(w),
                          static_cast<std::uint16_t>(w)};
            float l, a, b;
            ColorConversion::CMLab(colour, l, a, b);
            L[w] = l;
            ab[w] = a;
        }
        for (std::uint32_t w = 0; w < 65536; ++w)
            abSigned[w] = ab[w ^ 0x8000u];
    }
};

inline const LabTables& labTables() {
    static const LabTables tables;
    return tables;
}

// How the pixels of one Lab bitmap are read.
struct LabReader {
    const float* L;
    const float* ab;
    std::uint16_t abFlip; // 0x8000 for a and b kept signed

    explicit LabReader(const LabView& view)
        : L(labTables().L.data()),
          ab(view.abSigned ? labTables().abSigned.data() : labTables().ab.data()),
          abFlip(view.abSigned ? 0x8000 : 0) {}

    // The pixel as a colour record; the fourth field stays 0.
    CMColor colour(const std::uint8_t* pixel) const {
        std::uint16_t f[3];
        std::memcpy(f, pixel, sizeof f);
        CMColor c{};
        c.lab = {f[0], static_cast<std::uint16_t>(f[1] ^ abFlip),
                 static_cast<std::uint16_t>(f[2] ^ abFlip)};
        return c;
    }
};

// The CIE 1976 difference of two pixels through the tables, in the order
// of operations of deltaEWithL.
inline float deltaE1976(const LabReader& a, const LabReader& b, const std::uint8_t* pa,
                        const std::uint8_t* pb) {
    std::uint16_t fa[3], fb[3];
    std::memcpy(fa, pa, sizeof fa);
    std::memcpy(fb, pb, sizeof fb);
    const float dL = a.L[fa[0]] - b.L[fb[0]];
    const float da = a.ab[fa[1]] - b.ab[fb[1]];
    const float db = a.ab[fa[2]] - b.ab[fb[2]];
    return std::sqrt(dL * dL + da * da + db * db);
}

// The ends of the gamut image's two ramps and how a difference finds its
// place on them (see LabComparison::paintDifferenceRows).
struct PaintRamps {
    struct Ramp {
        float from[3], span[3]; ///< red, green, blue: the start, to the end less the start
    };
    Ramp in, out; ///< below the tolerance, from it up
    std::uint8_t leftOut[3];
    float tolerance;
    float inDivisor;  ///< the tolerance, 1 when it is 0 or below (then never used)
    float outDivisor; ///< the largest difference less the tolerance, when above 0
    bool outRamp;     ///< that difference is above 0: else t is 0 from the tolerance up
};

// The same as the one-pixel loops, a run of pixels at a time where the
// processor has wide vectors: each answers how many of the first pixels
// it did (0 without them), the caller does the rest.
std::size_t differences1976Wide(const LabReader& a, const LabReader& b, const std::uint8_t* pa,
                                const std::uint8_t* pb, std::size_t count, float* out);
std::size_t paintWide(const float* differences, std::size_t count, std::uint8_t* out,
                      const PaintRamps& ramps);

// The differences of the rows of own and external (views of as many rows),
// row after row into out: kind 0 the 1976 difference, any other the 1994
// one; a pixel the mask (from the views' first row) leaves out gets
// kLeftOutDifference.
void differences(std::int32_t kind, const LabView& own, const LabView& external,
                 const MaskView* mask, float* out);

} // namespace slidebox::color::lab_pixels
