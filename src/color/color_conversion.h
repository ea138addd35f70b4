#pragma once

#include <cstdint>

#include "color/cm_color.h"

namespace slidebox::color {

/// Three single-precision reals of one colour. L 0..100, a and b about
/// -128..127.996.
struct Lab {
    float L, a, b;
};

/// CIE XYZ on the scale where Y of the white is 100.
struct XYZ {
    float X, Y, Z;
};

/// Lightness, chroma and hue in degrees (0 up to but not including 360).
struct Lch {
    float L, c, h;
};

/// D50 white of all colour arithmetic, Y of white 100. Single-precision
/// values: they widen to 96.41999816894531 and 82.48999786376953.
inline constexpr float kWhiteX = 96.42f;
inline constexpr float kWhiteY = 100.0f;
inline constexpr float kWhiteZ = 82.49f;

/// 116 * t^(1/3) - 16, the cube root rounded to single precision first.
float FRSupEqu8(float t);

/// t * 24389/27, the linear part of the CIE lightness.
float FRInf8(float t);

/// CIE lightness of a relative luminance t on the scale 0..100; NaN for a
/// negative t.
float FR(float t);

/// CIE 1976 L*a*b* of X, Y, Z under the D50 white.
void XYZToLab(float X, float Y, float Z, Lab& lab);

/// X, Y, Z of a Lab colour under the D50 white. A component that comes out
/// negative is set to 0; the result is false when any was, else true.
bool LabToXYZ(float L, float a, float b, XYZ& xyz);

/// a = c cos h, b = c sin h, with h in degrees.
void LchToLab(float L, float c, float h, Lab& lab);

/// Chroma and hue of a Lab colour; a and b within 0.1 of 0 count as 0 for
/// the hue, and a hue without b is 0 or 180.
void LabToLch(float L, float a, float b, Lch& lch);

/// The colour arithmetic of the colour worlds: between the 16-bit fields of
/// a CMColor, single-precision reals and 8-bit bytes, and deltaE. Stateless;
/// every member is static, and ColorWorld inherits them so that they are
/// its class operations as well.
///
/// Scales (w the field): Lab L and percent w*100/65535, Lab a and b
/// w*255.996/65535-128, XYZ w*200/65535, unit w/65535. Every conversion to a
/// field truncates towards zero and, unless said otherwise, is not clamped:
/// the low 16 bits of the truncated value are stored.
class ColorConversion {
  public:
    // Reading a CMColor.

    /// Lab fields to L 0..100, a and b -128..127.996.
    static void CMLab(const CMColor& color, float& L, float& a, float& b);
    /// RGB fields to percent.
    static void CMRGB(const CMColor& color, float& r, float& g, float& b);
    /// CMYK fields to percent.
    static void CMCMYK(const CMColor& color, float& c, float& m, float& y, float& k);
    /// XYZ fields to 0..200.
    static void CMXYZ(const CMColor& color, float& X, float& Y, float& Z);
    /// The gray field to 0..1.
    static void CMGray_One(const CMColor& color, float& gray);
    /// RGB fields to 0..1.
    static void CMRGB_One(const CMColor& color, float& r, float& g, float& b);
    /// The three Lab fields each as w / 65535, uninterpreted (a neutral a reads about 0.5).
    static void CMLab_One(const CMColor& color, float& L, float& a, float& b);
    /// CMYK fields to 0..1.
    static void CMCMYK_One(const CMColor& color, float& c, float& m, float& y, float& k);
    /// Lab fields to lightness, chroma and hue.
    static void CMLabToLch(const CMColor& color, float& L, float& c, float& h);
    /// Lab fields to X, Y, Z; components that would be negative come back as 0, silently.
    static void CMLabToXYZ(const CMColor& color, float& X, float& Y, float& Z);
    /// Lab fields to Y, x, y. Black divides 0 by 0 and gives NaN for x and y.
    static void CMLabToYxy(const CMColor& color, float& Y, float& x, float& y);

    // Writing a CMColor.

    /// Lab reals to fields, L clamped to 0..100, a and b to -128..127.996.
    static void LabL(float L, float a, float b, CMColor& color);
    /// Percent to RGB fields.
    static void RGBr(float r, float g, float b, CMColor& color);
    /// Percent to CMYK fields.
    static void CMYKc(float c, float m, float y, float k, CMColor& color);
    /// 0..200 to XYZ fields.
    static void XYZ_X(float X, float Y, float Z, CMColor& color);
    /// 0..1 to the gray field.
    static void Gray_One(float gray, CMColor& color);
    /// 0..1 to RGB fields.
    static void RGBr_One(float r, float g, float b, CMColor& color);
    /// 0..1 to CMYK fields.
    static void CMYKc_One(float c, float m, float y, float k, CMColor& color);
    /// 0..1 to the raw Lab fields, uninterpreted.
    static void LabL_one(float L, float a, float b, CMColor& color);
    /// A byte 0..255 to the gray field (c * 257).
    static void charGray(std::uint8_t gray, CMColor& color);
    /// Bytes to RGB fields.
    static void charRGBr(std::uint8_t r, std::uint8_t g, std::uint8_t b, CMColor& color);
    /// Bytes to CMYK fields.
    static void charCMYKc(std::uint8_t c, std::uint8_t m, std::uint8_t y, std::uint8_t k,
                          CMColor& color);
    /// Lab bytes (L = c*100/255, a and b = c-128) to Lab fields.
    static void charLabL(std::uint8_t L, std::uint8_t a, std::uint8_t b, CMColor& color);
    /// Lightness, chroma and hue to Lab fields.
    static void LchL(float L, float c, float h, CMColor& color);
    /// X, Y, Z (0..200) to Lab fields.
    static void XYZ_XToCMLab(float X, float Y, float Z, CMColor& color);
    /// Y, x, y to Lab fields; y = 0 divides by 0 unguarded.
    static void Yxy_Y(float Y, float x, float y, CMColor& color);
    /// XYZ fields to Lab fields.
    static void CMXYZ(const CMColor& xyz, CMColor& lab);

    /// Lab reals to Lab bytes: L clamped to 0..100 and scaled to 0..255,
    /// a and b clamped to -128..127 and offset by 128.
    static void LabL(float L, float a, float b, std::uint8_t& charL, std::uint8_t& charA,
                     std::uint8_t& charB);

    // Colour differences.

    /// CIE 1976 deltaE, in single precision.
    static float deltaEWithL(float L1, float a1, float b1, float L2, float a2, float b2);
    /// CIE 1976 deltaE of two Lab colours.
    static float deltaEWithC1(const CMColor& c1, const CMColor& c2);
    /// This system's CIE94 variant: chroma and hue weights carry a factor
    /// 0.6, C is the geometric mean of both chromas, the hue term comes from
    /// the sine of half the hue angle. Symmetric in its two colours.
    static float deltaE94WithL(float L1, float a1, float b1, float L2, float a2, float b2);
    /// The CIE94 variant of two Lab colours.
    static float deltaE94WithC1(const CMColor& c1, const CMColor& c2);
};

} // namespace slidebox::color
