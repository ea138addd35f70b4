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
/// a CMColor, single-precision reals and 8-bit bytes, and deltaE. Plain
/// functions without state; ColorConversion below forwards to them so that
/// they are ColorWorld's class operations as well.
///
/// Scales (w the field): Lab L and percent w*100/65535, Lab a and b
/// w*255.996/65535-128, XYZ w*200/65535, unit w/65535. Every conversion to a
/// field truncates towards zero and, unless said otherwise, is not clamped:
/// the low 16 bits of the truncated value are stored.
namespace conversion {

// Reading a CMColor.

/// Lab fields to L 0..100, a and b -128..127.996.
void CMLab(const CMColor& color, float& L, float& a, float& b);
/// RGB fields to percent.
void CMRGB(const CMColor& color, float& r, float& g, float& b);
/// CMYK fields to percent.
void CMCMYK(const CMColor& color, float& c, float& m, float& y, float& k);
/// XYZ fields to 0..200.
void CMXYZ(const CMColor& color, float& X, float& Y, float& Z);
/// The gray field to 0..1.
void CMGray_One(const CMColor& color, float& gray);
/// RGB fields to 0..1.
void CMRGB_One(const CMColor& color, float& r, float& g, float& b);
/// The three Lab fields each as w / 65535, uninterpreted (a neutral a reads about 0.5).
void CMLab_One(const CMColor& color, float& L, float& a, float& b);
/// CMYK fields to 0..1.
void CMCMYK_One(const CMColor& color, float& c, float& m, float& y, float& k);
/// Lab fields to lightness, chroma and hue.
void CMLabToLch(const CMColor& color, float& L, float& c, float& h);
/// Lab fields to X, Y, Z; components that would be negative come back as 0, silently.
void CMLabToXYZ(const CMColor& color, float& X, float& Y, float& Z);
/// Lab fields to Y, x, y. Black divides 0 by 0 and gives NaN for x and y.
void CMLabToYxy(const CMColor& color, float& Y, float& x, float& y);

// Writing a CMColor.

/// Lab reals to fields, L clamped to 0..100, a and b to -128..127.996.
void LabL(float L, float a, float b, CMColor& color);
/// Percent to RGB fields.
void RGBr(float r, float g, float b, CMColor& color);
/// Percent to CMYK fields.
void CMYKc(float c, float m, float y, float k, CMColor& color);
/// 0..200 to XYZ fields.
void XYZ_X(float X, float Y, float Z, CMColor& color);
/// 0..1 to the gray field.
void Gray_One(float gray, CMColor& color);
/// 0..1 to RGB fields.
void RGBr_One(float r, float g, float b, CMColor& color);
/// 0..1 to CMYK fields.
void CMYKc_One(float c, float m, float y, float k, CMColor& color);
/// 0..1 to the raw Lab fields, uninterpreted.
void LabL_one(float L, float a, float b, CMColor& color);
/// A byte 0..255 to the gray field (c * 257).
void charGray(std::uint8_t gray, CMColor& color);
/// Bytes to RGB fields.
void charRGBr(std::uint8_t r, std::uint8_t g, std::uint8_t b, CMColor& color);
/// Bytes to CMYK fields.
void charCMYKc(std::uint8_t c, std::uint8_t m, std::uint8_t y, std::uint8_t k, CMColor& color);
/// Lab bytes (L = c*100/255, a and b = c-128) to Lab fields.
void charLabL(std::uint8_t L, std::uint8_t a, std::uint8_t b, CMColor& color);
/// Lightness, chroma and hue to Lab fields.
void LchL(float L, float c, float h, CMColor& color);
/// X, Y, Z (0..200) to Lab fields.
void XYZ_XToCMLab(float X, float Y, float Z, CMColor& color);
/// Y, x, y to Lab fields; y = 0 divides by 0 unguarded.
void Yxy_Y(float Y, float x, float y, CMColor& color);
/// XYZ fields to Lab fields.
void CMXYZ(const CMColor& xyz, CMColor& lab);

/// Lab reals to Lab bytes: L clamped to 0..100 and scaled to 0..255,
/// a and b clamped to -128..127 and offset by 128.
void LabL(float L, float a, float b, std::uint8_t& charL, std::uint8_t& charA, std::uint8_t& charB);

// Colour differences.

/// CIE 1976 deltaE, in single precision.
float deltaEWithL(float L1, float a1, float b1, float L2, float a2, float b2);
/// CIE 1976 deltaE of two Lab colours.
float deltaEWithC1(const CMColor& c1, const CMColor& c2);
/// This system's CIE94 variant: chroma and hue weights carry a factor
/// 0.6, C is the geometric mean of both chromas, the hue term comes from
/// the sine of half the hue angle. Symmetric in its two colours.
float deltaE94WithL(float L1, float a1, float b1, float L2, float a2, float b2);
/// The CIE94 variant of two Lab colours.
float deltaE94WithC1(const CMColor& c1, const CMColor& c2);

} // namespace conversion

/// conversion's functions as the class operations ColorWorld inherits.
class ColorConversion {
  public:
    static void CMLab(const CMColor& color, float& L, float& a, float& b) {
        conversion::CMLab(color, L, a, b);
    }
    static void CMRGB(const CMColor& color, float& r, float& g, float& b) {
        conversion::CMRGB(color, r, g, b);
    }
    static void CMCMYK(const CMColor& color, float& c, float& m, float& y, float& k) {
        conversion::CMCMYK(color, c, m, y, k);
    }
    static void CMXYZ(const CMColor& color, float& X, float& Y, float& Z) {
        conversion::CMXYZ(color, X, Y, Z);
    }
    static void CMGray_One(const CMColor& color, float& gray) {
        conversion::CMGray_One(color, gray);
    }
    static void CMRGB_One(const CMColor& color, float& r, float& g, float& b) {
        conversion::CMRGB_One(color, r, g, b);
    }
    static void CMLab_One(const CMColor& color, float& L, float& a, float& b) {
        conversion::CMLab_One(color, L, a, b);
    }
    static void CMCMYK_One(const CMColor& color, float& c, float& m, float& y, float& k) {
        conversion::CMCMYK_One(color, c, m, y, k);
    }
    static void CMLabToLch(const CMColor& color, float& L, float& c, float& h) {
        conversion::CMLabToLch(color, L, c, h);
    }
    static void CMLabToXYZ(const CMColor& color, float& X, float& Y, float& Z) {
        conversion::CMLabToXYZ(color, X, Y, Z);
    }
    static void CMLabToYxy(const CMColor& color, float& Y, float& x, float& y) {
        conversion::CMLabToYxy(color, Y, x, y);
    }
    static void LabL(float L, float a, float b, CMColor& color) {
        conversion::LabL(L, a, b, color);
    }
    static void RGBr(float r, float g, float b, CMColor& color) {
        conversion::RGBr(r, g, b, color);
    }
    static void CMYKc(float c, float m, float y, float k, CMColor& color) {
        conversion::CMYKc(c, m, y, k, color);
    }
    static void XYZ_X(float X, float Y, float Z, CMColor& color) {
        conversion::XYZ_X(X, Y, Z, color);
    }
    static void Gray_One(float gray, CMColor& color) { conversion::Gray_One(gray, color); }
    static void RGBr_One(float r, float g, float b, CMColor& color) {
        conversion::RGBr_One(r, g, b, color);
    }
    static void CMYKc_One(float c, float m, float y, float k, CMColor& color) {
        conversion::CMYKc_One(c, m, y, k, color);
    }
    static void LabL_one(float L, float a, float b, CMColor& color) {
        conversion::LabL_one(L, a, b, color);
    }
    static void charGray(std::uint8_t gray, CMColor& color) { conversion::charGray(gray, color); }
    static void charRGBr(std::uint8_t r, std::uint8_t g, std::uint8_t b, CMColor& color) {
        conversion::charRGBr(r, g, b, color);
    }
    static void charCMYKc(std::uint8_t c, std::uint8_t m, std::uint8_t y, std::uint8_t k,
                          CMColor& color) {
        conversion::charCMYKc(c, m, y, k, color);
    }
    static void charLabL(std::uint8_t L, std::uint8_t a, std::uint8_t b, CMColor& color) {
        conversion::charLabL(L, a, b, color);
    }
    static void LchL(float L, float c, float h, CMColor& color) {
        conversion::LchL(L, c, h, color);
    }
    static void XYZ_XToCMLab(float X, float Y, float Z, CMColor& color) {
        conversion::XYZ_XToCMLab(X, Y, Z, color);
    }
    static void Yxy_Y(float Y, float x, float y, CMColor& color) {
        conversion::Yxy_Y(Y, x, y, color);
    }
    static void CMXYZ(const CMColor& xyz, CMColor& lab) { conversion::CMXYZ(xyz, lab); }
    static void LabL(float L, float a, float b, std::uint8_t& charL, std::uint8_t& charA,
                     std::uint8_t& charB) {
        conversion::LabL(L, a, b, charL, charA, charB);
    }
    static float deltaEWithL(float L1, float a1, float b1, float L2, float a2, float b2) {
        return conversion::deltaEWithL(L1, a1, b1, L2, a2, b2);
    }
    static float deltaEWithC1(const CMColor& c1, const CMColor& c2) {
        return conversion::deltaEWithC1(c1, c2);
    }
    static float deltaE94WithL(float L1, float a1, float b1, float L2, float a2, float b2) {
        return conversion::deltaE94WithL(L1, a1, b1, L2, a2, b2);
    }
    static float deltaE94WithC1(const CMColor& c1, const CMColor& c2) {
        return conversion::deltaE94WithC1(c1, c2);
    }
};

} // namespace slidebox::color
