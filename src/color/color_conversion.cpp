#include "color/color_conversion.h"

#include <cmath>
#include <initializer_list>

namespace slidebox::color {

namespace {

// The rounded pi of every angle in this file; results depend on it.
constexpr double kPi = 3.141592654;
constexpr double kDegreesPerRadian = 57.29577950560105; // 180 / kPi
constexpr double kKappa = 903.2962962962961;            // 24389 / 27
constexpr double kLabABSpan = 255.996;
// The single-precision value nearest to 127.996, where a and b stop.
constexpr float kLabABMax = 127.99600219726562f;

// The truncated value's low 16 bits, as an unchecked store into a 16-bit
// field would keep them. What has no integer value (NaN, beyond 2^63)
// stores 0 rather than being undefined.
std::uint16_t field(double value) {
    if (!(value > -9.2e18 && value < 9.2e18))
        return 0;
    return static_cast<std::uint16_t>(static_cast<std::int64_t>(value));
}

// Field to real: widened to single, scaled in double, rounded on store.
float fromField(std::uint16_t w, double scale) {
    const float widened = w;
    return static_cast<float>(static_cast<double>(widened) * scale / 65535.0);
}

float fromLabABField(std::uint16_t w) {
    const float widened = w;
    return static_cast<float>(static_cast<double>(widened) * kLabABSpan / 65535.0 - 128.0);
}

float fromUnitField(std::uint16_t w) {
    return static_cast<float>(w) / 65535.0f;
}

// Real to field: product in single precision, quotient in double.
std::uint16_t toField(float r, double scale) {
    const float product = r * 65535.0f;
    return field(static_cast<double>(product) / scale);
}

// a and b work in double precision from the start.
std::uint16_t toLabABField(float r) {
    return field((static_cast<double>(r) + 128.0) * 65535.0 / kLabABSpan);
}

std::uint16_t toUnitField(float r) {
    return field(static_cast<double>(65535.0f * r));
}

std::uint16_t fromByte(std::uint8_t c) {
    return static_cast<std::uint16_t>(c * 65535 / 255);
}

} // namespace

float FRSupEqu8(float t) {
    const float root = static_cast<float>(std::pow(static_cast<double>(t), 1.0 / 3.0));
    return 116.0f * root - 16.0f;
}

float FRInf8(float t) {
    return static_cast<float>(t * kKappa);
}

float FR(float t) {
    // The branch stands on the lightness 8, the same point as t = 0.008856.
    const float v = FRSupEqu8(t);
    return v < 8.0f ? FRInf8(t) : v;
}

void XYZToLab(float X, float Y, float Z, Lab& lab) {
    const float fy = FR(Y / 100.0f);
    lab.L = fy;
    lab.a = (FR(X / kWhiteX) - fy) * 500.0f / 116.0f;
    lab.b = (fy - FR(Z / kWhiteZ)) * 200.0f / 116.0f;
}

bool LabToXYZ(float L, float a, float b, XYZ& xyz) {
    float Y = static_cast<float>(100.0 * std::pow(static_cast<double>((L + 16.0f) / 116.0f), 3.0));
    if (FRSupEqu8(Y / 100.0f) < 8.0f)
        Y = static_cast<float>((100.0f * L) / kKappa);
    const float fy = FR(Y / 100.0f);

    float X;
    float f = fy + a * 116.0f / 500.0f;
    if (f >= 8.0f)
        X = static_cast<float>(kWhiteX * std::pow(static_cast<double>((f + 16.0f) / 116.0f), 3.0));
    else
        X = static_cast<float>((kWhiteX * f) / kKappa);

    float Z;
    f = fy - b * 116.0f / 200.0f;
    if (f >= 8.0f)
        Z = static_cast<float>(kWhiteZ * std::pow(static_cast<double>((f + 16.0f) / 116.0f), 3.0));
    else
        Z = static_cast<float>((kWhiteZ * f) / kKappa);

    bool inside = true;
    for (float* v : {&X, &Y, &Z}) {
        if (*v < 0.0f) {
            *v = 0.0f;
            inside = false;
        }
    }
    xyz = {X, Y, Z};
    return inside;
}

void LchToLab(float L, float c, float h, Lab& lab) {
    const double radians = h * kPi / 180.0;
    lab.L = L;
    lab.a = static_cast<float>(c * std::cos(radians));
    lab.b = static_cast<float>(c * std::sin(radians));
}

void LabToLch(float L, float a, float b, Lch& lch) {
    lch.L = L;
    lch.c = std::sqrt(a * a + b * b); // before a is banded to 0
    const auto inBand = [](float v) {
        return static_cast<double>(v) >= -0.1 && static_cast<double>(v) < 0.1;
    };
    if (inBand(a))
        a = 0.0f;
    if (inBand(b)) {
        lch.h = a < 0.0f ? 180.0f : 0.0f;
        return;
    }
    const double base = b > 0.0f ? 90.0 : 270.0;
    lch.h = static_cast<float>(base - std::atan(static_cast<double>(a / b)) * kDegreesPerRadian);
}

// Reading a CMColor.

namespace conversion {

void CMLab(const CMColor& color, float& L, float& a, float& b) {
    L = fromField(color.lab.L, 100.0);
    a = fromLabABField(color.lab.a);
    b = fromLabABField(color.lab.b);
}

void CMRGB(const CMColor& color, float& r, float& g, float& b) {
    r = fromField(color.rgb.red, 100.0);
    g = fromField(color.rgb.green, 100.0);
    b = fromField(color.rgb.blue, 100.0);
}

void CMCMYK(const CMColor& color, float& c, float& m, float& y, float& k) {
    c = fromField(color.cmyk.cyan, 100.0);
    m = fromField(color.cmyk.magenta, 100.0);
    y = fromField(color.cmyk.yellow, 100.0);
    k = fromField(color.cmyk.black, 100.0);
}

void CMXYZ(const CMColor& color, float& X, float& Y, float& Z) {
    X = fromField(color.XYZ.X, 200.0);
    Y = fromField(color.XYZ.Y, 200.0);
    Z = fromField(color.XYZ.Z, 200.0);
}

void CMGray_One(const CMColor& color, float& gray) {
    gray = fromUnitField(color.gray.gray);
}

void CMRGB_One(const CMColor& color, float& r, float& g, float& b) {
    r = fromUnitField(color.rgb.red);
    g = fromUnitField(color.rgb.green);
    b = fromUnitField(color.rgb.blue);
}

void CMLab_One(const CMColor& color, float& L, float& a, float& b) {
    L = fromUnitField(color.lab.L);
    a = fromUnitField(color.lab.a);
    b = fromUnitField(color.lab.b);
}

void CMCMYK_One(const CMColor& color, float& c, float& m, float& y, float& k) {
    c = fromUnitField(color.cmyk.cyan);
    m = fromUnitField(color.cmyk.magenta);
    y = fromUnitField(color.cmyk.yellow);
    k = fromUnitField(color.cmyk.black);
}

void CMLabToLch(const CMColor& color, float& L, float& c, float& h) {
    float a, b;
    CMLab(color, L, a, b);
    Lch lch;
    LabToLch(L, a, b, lch);
    L = lch.L;
    c = lch.c;
    h = lch.h;
}

void CMLabToXYZ(const CMColor& color, float& X, float& Y, float& Z) {
    float L, a, b;
    CMLab(color, L, a, b);
    XYZ xyz;
    LabToXYZ(L, a, b, xyz); // the clamped values are the answer; the flag is not passed on
    X = xyz.X;
    Y = xyz.Y;
    Z = xyz.Z;
}

void CMLabToYxy(const CMColor& color, float& Y, float& x, float& y) {
    float X, Z;
    CMLabToXYZ(color, X, Y, Z);
    const float sum = X + Y + Z;
    x = X / sum;
    y = Y / sum;
}

// Writing a CMColor.

void LabL(float L, float a, float b, CMColor& color) {
    // Only the Lab writers limit their input.
    L = L > 100.0f ? 100.0f : (L < 0.0f ? 0.0f : L);
    for (float* v : {&a, &b}) {
        if (static_cast<double>(*v) > 127.996)
            *v = kLabABMax;
        else if (*v < -128.0f)
            *v = -128.0f;
    }
    color.lab.L = toField(L, 100.0);
    color.lab.a = toLabABField(a);
    color.lab.b = toLabABField(b);
}

void RGBr(float r, float g, float b, CMColor& color) {
    color.rgb = {toField(r, 100.0), toField(g, 100.0), toField(b, 100.0)};
}

void CMYKc(float c, float m, float y, float k, CMColor& color) {
    color.cmyk = {toField(c, 100.0), toField(m, 100.0), toField(y, 100.0), toField(k, 100.0)};
}

void XYZ_X(float X, float Y, float Z, CMColor& color) {
    color.XYZ = {toField(X, 200.0), toField(Y, 200.0), toField(Z, 200.0)};
}

void Gray_One(float gray, CMColor& color) {
    color.gray.gray = toUnitField(gray);
}

void RGBr_One(float r, float g, float b, CMColor& color) {
    color.rgb = {toUnitField(r), toUnitField(g), toUnitField(b)};
}

void CMYKc_One(float c, float m, float y, float k, CMColor& color) {
    color.cmyk = {toUnitField(c), toUnitField(m), toUnitField(y), toUnitField(k)};
}

void LabL_one(float L, float a, float b, CMColor& color) {
    color.lab = {toUnitField(L), toUnitField(a), toUnitField(b)};
}

void charGray(std::uint8_t gray, CMColor& color) {
    color.gray.gray = fromByte(gray);
}

void charRGBr(std::uint8_t r, std::uint8_t g, std::uint8_t b, CMColor& color) {
    color.rgb = {fromByte(r), fromByte(g), fromByte(b)};
}

void charCMYKc(std::uint8_t c, std::uint8_t m, std::uint8_t y, std::uint8_t k, CMColor& color) {
    color.cmyk = {fromByte(c), fromByte(m), fromByte(y), fromByte(k)};
}

void charLabL(std::uint8_t L, std::uint8_t a, std::uint8_t b, CMColor& color) {
    // Lab bytes never touch a field directly: they are reals first.
    LabL(static_cast<float>(L) * 100.0f / 255.0f, static_cast<float>(a) - 128.0f,
         static_cast<float>(b) - 128.0f, color);
}

void LchL(float L, float c, float h, CMColor& color) {
    Lab lab;
    LchToLab(L, c, h, lab);
    LabL(lab.L, lab.a, lab.b, color);
}

void XYZ_XToCMLab(float X, float Y, float Z, CMColor& color) {
    Lab lab;
    XYZToLab(X, Y, Z, lab);
    LabL(lab.L, lab.a, lab.b, color);
}

void Yxy_Y(float Y, float x, float y, CMColor& color) {
    XYZ_XToCMLab(x * Y / y, Y, (1.0f - x - y) * Y / y, color);
}

void CMXYZ(const CMColor& xyz, CMColor& lab) {
    float X, Y, Z;
    CMXYZ(xyz, X, Y, Z);
    XYZ_XToCMLab(X, Y, Z, lab);
}

void LabL(float L, float a, float b, std::uint8_t& charL, std::uint8_t& charA,
          std::uint8_t& charB) {
    // The byte form stops at 127, not 127.996.
    L = L > 100.0f ? 100.0f : (L < 0.0f ? 0.0f : L);
    a = a > 127.0f ? 127.0f : (a < -128.0f ? -128.0f : a);
    b = b > 127.0f ? 127.0f : (b < -128.0f ? -128.0f : b);
    charL = static_cast<std::uint8_t>(field(L * 255.0f / 100.0f));
    charA = static_cast<std::uint8_t>(field(a + 128.0f));
    charB = static_cast<std::uint8_t>(field(b + 128.0f));
}

// Colour differences.

float deltaEWithL(float L1, float a1, float b1, float L2, float a2, float b2) {
    const float dL = L1 - L2, da = a1 - a2, db = b1 - b2;
    return std::sqrt(dL * dL + da * da + db * db);
}

float deltaEWithC1(const CMColor& c1, const CMColor& c2) {
    float L1, a1, b1, L2, a2, b2;
    CMLab(c1, L1, a1, b1);
    CMLab(c2, L2, a2, b2);
    return deltaEWithL(L1, a1, b1, L2, a2, b2);
}

float deltaE94WithL(float L1, float a1, float b1, float L2, float a2, float b2) {
    Lch one, two;
    LabToLch(L1, a1, b1, one);
    LabToLch(L2, a2, b2, two);
    const float dL = one.L - two.L;
    const float dC = one.c - two.c;
    // The geometric mean keeps the measure symmetric in its two colours.
    const float C = std::sqrt(one.c * two.c);
    const float SC = 0.6f * static_cast<float>(1.0 + 0.045 * C);
    const float SH = 0.6f * static_cast<float>(1.0 + 0.015 * C);
    // Squared below, so h1 - h2 needs no wrap.
    const float dH = static_cast<float>(2.0f * C * std::sin((one.h - two.h) * kPi / 360.0));
    const float dCw = dC / SC, dHw = dH / SH;
    return std::sqrt(dL * dL + dCw * dCw + dHw * dHw);
}

float deltaE94WithC1(const CMColor& c1, const CMColor& c2) {
    float L1, a1, b1, L2, a2, b2;
    CMLab(c1, L1, a1, b1);
    CMLab(c2, L2, a2, b2);
    return deltaE94WithL(L1, a1, b1, L2, a2, b2);
}

} // namespace conversion

} // namespace slidebox::color
