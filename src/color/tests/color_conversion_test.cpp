#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "color/color_conversion.h"
#include "tests/known_value.h"

using namespace slidebox::color;
using CC = ColorConversion;

namespace {
using namespace slidebox::testing::tolerance;
constexpr double kFloatTol = kFloat;
constexpr double kLStep = kLabStep;
constexpr double kHueTol = 1e-4; // degrees

using Fields = std::vector<int>;

CMColor lab(std::uint16_t L, std::uint16_t a, std::uint16_t b) {
    CMColor c{};
    c.lab = {L, a, b};
    return c;
}

/// The first n fields of a colour record, whatever its space.
Fields fields(const CMColor& c, int n = 3) {
    return Fields(c.raw, c.raw + n);
}

/// Lab components in, the fields they are written as.
struct LabRow {
    float L, a, b;
    Fields expected;
};

} // namespace

// The ends of the Lab scale, white both ways, the clamped lab2xyz, 1976 and
// 1994 differences of one chroma 0: in the CLI's golden lines (color.txt).

TEST(ColorConversionFields, LabWriterClampsAndTruncates) {
    const LabRow rows[] = {
        // The single-precision 127.996 still reaches the top.
        {-3.0f, 127.996f, -128.0f, {0, 65535, 0}},
        // a and b are computed in double from the start: a single-precision
        // product with 65535 would give 19125 here.
        {50.0f, -53.293f, 0.0f, {32767, 19124, 32768}},
    };
    for (const LabRow& row : rows) {
        SCOPED_TRACE(row.a);
        CMColor c{};
        CC::LabL(row.L, row.a, row.b, c);
        EXPECT_EQ(fields(c), row.expected);
    }
    CMColor c{};
    CC::LabL(50.0f, 0.0f, 0.0f, c);
    float L, a, b;
    CC::CMLab(c, L, a, b);
    EXPECT_NEAR(L, 49.999f, 1e-3f); // 50 never reads back as 50
    EXPECT_NE(L, 50.0f);
}

TEST(ColorConversionFields, PercentXYZAndUnitScalesKeepTheirPrecision) {
    float L, a, b;
    // The unit scale does not interpret the field: a neutral a reads about 0.5.
    CC::CMLab_One(lab(65535, 32768, 0), L, a, b);
    EXPECT_EQ(std::pair(L, b), std::pair(1.0f, 0.0f));
    EXPECT_NEAR(a, 0.500008f, kFloatTol);
    CMColor c{};
    // The product with 65535 is single precision, the division double:
    // 9.514 * 65535 rounds up to 623504 in single precision, giving 6235;
    // in double it would stay below and give 6234.
    CC::RGBr(9.514f, 100.0f, 50.0f, c);
    EXPECT_EQ(fields(c), (Fields{6235, 65535, 32767}));
    CC::CMYKc(0.0f, 9.514f, 100.0f, 25.0f, c);
    EXPECT_EQ(fields(c, 4), (Fields{0, 6235, 65535, 16383}));
    CC::XYZ_X(100.0f, 200.0f, 0.0f, c);
    EXPECT_EQ(fields(c), (Fields{32767, 65535, 0}));
    float X, Y, Z;
    CC::CMXYZ(c, X, Y, Z);
    EXPECT_NEAR(X, 99.99847f, kFloatTol); // 32767 * 200 / 65535
    EXPECT_EQ(Y, 200.0f);

    // Unit scale in single precision throughout: 65535 * 0.12813 rounds up
    // to 8397 in single precision (8396.9... in double).
    CC::RGBr_One(0.12813f, 1.0f, 0.0f, c);
    EXPECT_EQ(fields(c, 2), (Fields{8397, 65535}));
    CC::Gray_One(1.0f, c);
    EXPECT_EQ(c.gray.gray, 65535);
    CC::CMYKc_One(0.5f, 0.25f, 1.0f, 0.0f, c);
    EXPECT_EQ(fields(c, 2), (Fields{32767, 16383}));
    CC::LabL_one(1.0f, 0.5f, 0.0f, c);
    EXPECT_EQ(fields(c, 2), (Fields{65535, 32767}));

    float r, g, bl, k;
    CC::CMCMYK_One(c, r, g, bl, k); // reading the same fields back as unit CMYK
    EXPECT_EQ(r, 1.0f);
    CC::CMRGB(c, r, g, bl);
    EXPECT_NEAR(r, 100.0f, kFloatTol);
    EXPECT_NEAR(g, 49.9992f, kFourDecimals);
}

TEST(ColorConversionFields, UnclampedWritersKeepTheLow16BitsAndBytesScaleBy257) {
    CMColor c{};
    CC::Gray_One(1.5f, c); // 98302 truncated, low 16 bits
    EXPECT_EQ(c.gray.gray, 98302 - 65536);
    CC::Gray_One(-1.0f / 65535.0f, c); // -1 truncated
    EXPECT_EQ(c.gray.gray, 65535);
    CC::Gray_One(NAN, c); // no integer value at all: nothing undefined
    EXPECT_EQ(c.gray.gray, 0);
    CC::RGBr(-0.5f / 65535.0f * 100.0f, 0.0f, 0.0f, c); // truncates towards zero
    EXPECT_EQ(c.rgb.red, 0);

    // Bytes scale by 257, Lab bytes go through reals.
    CC::charGray(255, c);
    EXPECT_EQ(c.gray.gray, 65535);
    CC::charGray(1, c);
    EXPECT_EQ(c.gray.gray, 257);
    CC::charRGBr(0, 128, 255, c);
    EXPECT_EQ(fields(c), (Fields{0, 128 * 257, 65535}));
    CC::charCMYKc(1, 2, 3, 255, c);
    EXPECT_EQ(fields(c, 4), (Fields{257, 514, 771, 65535}));
    CC::charLabL(255, 128, 128, c);
    EXPECT_EQ(fields(c), (Fields{65535, 32768, 32768}));
    CC::charLabL(0, 0, 255, c); // a = -128, b = 127: trunc((127 + 128) * 65535 / 255.996)
    EXPECT_EQ(fields(c), (Fields{0, 0, 65280}));
    // Lab bytes clamp at 127, not at 127.996.
    const LabRow byteRows[] = {{100.0f, 127.996f, -200.0f, {255, 255, 0}},
                               {50.0f, 127.5f, -0.5f, {127, 255, 127}}, // 127.5 truncated
                               {-1.0f, 0.0f, 0.99f, {0, 128, 128}}};
    for (const LabRow& row : byteRows) {
        std::uint8_t L, a, b;
        CC::LabL(row.L, row.a, row.b, L, a, b);
        EXPECT_EQ((Fields{L, a, b}), row.expected) << row.L;
    }
}

TEST(ColorConversionLab, KnownColourRoundTripAndTheLinearBranch) {
    Lab lab;
    XYZ xyz;
    XYZToLab(30.0f, 40.0f, 20.0f, lab);
    EXPECT_KNOWN3(69.470f, -29.594f, 22.650f, kThreeDecimals, lab.L, lab.a, lab.b);
    EXPECT_TRUE(LabToXYZ(lab.L, lab.a, lab.b, xyz));
    EXPECT_KNOWN3(30.0f, 40.0f, 20.0f, 1e-4f, xyz.X, xyz.Y, xyz.Z);

    // Dark colours take the linear branch.
    EXPECT_TRUE(LabToXYZ(5.0f, 0.0f, 0.0f, xyz));
    EXPECT_KNOWN3(0.5337f, 0.5535f, 0.4566f, kFourDecimals, xyz.X, xyz.Y, xyz.Z);
    // Either side of the bound at 8 (a = b = 0, so f is L): the CIE formula.
    EXPECT_TRUE(LabToXYZ(7.5f, 0.0f, 0.0f, xyz));
    EXPECT_KNOWN3(0.80057f, 0.83029f, 0.68491f, kFourDecimals, xyz.X, xyz.Y, xyz.Z);
    EXPECT_TRUE(LabToXYZ(8.5f, 0.0f, 0.0f, xyz));
    EXPECT_KNOWN3(0.90843f, 0.94216f, 0.77719f, kFourDecimals, xyz.X, xyz.Y, xyz.Z);

    // The lightness function turns linear below 8, that is t below 0.008856.
    EXPECT_NEAR(FR(0.008856f), 8.0f, 1e-3f);
    EXPECT_NEAR(FR(0.001f), 0.9032963f, kFloatTol);
    EXPECT_NEAR(FRInf8(1.0f), 903.2963f, 1e-3f);
    EXPECT_NEAR(FRSupEqu8(0.125f), 42.0f, kFloatTol);
    EXPECT_TRUE(std::isnan(FR(-0.5f)));

    // Out-of-range components clamp to zero and report false.
    EXPECT_FALSE(LabToXYZ(10.0f, -120.0f, 0.0f, xyz));
    EXPECT_EQ(xyz.X, 0.0f);
    EXPECT_GT(xyz.Y, 0.0f);

    // The record operation passes the clamped values on without the flag.
    float X, Y, Z;
    CMColor c{};
    CC::LabL(0.0f, 0.0f, 100.0f, c);
    CC::CMLabToXYZ(c, X, Y, Z);
    EXPECT_EQ(Z, 0.0f);
}

TEST(ColorConversionLch, HueBandsAndQuadrants) {
    // a, b and the hue. A component in the band around 0 counts as 0 (-0.0999
    // inside, 0.1 outside); its bounds are doubles: the single-precision -0.1 widens to just below
    // -0.1 and so lies outside, 90 + atan(0.05) in degrees.
    const float cases[][3] = {
        {0.05f, 0.05f, 0.0f}, {-1.0f, 0.05f, 180.0f},  {-0.05f, 0.05f, 0.0f},
        {0.0f, 5.0f, 90.0f},  {0.0f, -5.0f, 270.0f},   {-1.0f, -1.0f, 225.0f},
        {1.0f, 1.0f, 45.0f},  {1.0f, -1.0f, 315.0f},   {-0.0999f, 2.0f, 90.0f},
        {0.1f, 0.1f, 45.0f},  {-0.1f, 2.0f, 92.86240f}};
    for (auto [a, b, h] : cases) {
        Lch lch;
        LabToLch(50.0f, a, b, lch);
        EXPECT_NEAR(lch.h, h, kHueTol) << "a " << a << " b " << b;
        EXPECT_EQ(lch.L, 50.0f);
    }
    Lch lch;
    LabToLch(50.0f, 0.05f, 0.05f, lch);
    EXPECT_NEAR(lch.c, 0.0707107f, kFloatTol); // chroma taken before the band test

    Lab lab;
    LchToLab(60.0f, 10.0f, 225.0f, lab);
    EXPECT_KNOWN3(60.0f, -7.0710678f, -7.0710678f, kFloatTol, lab.L, lab.a, lab.b);

    // Through the record: Lch in, fields out, Lch back within one field step.
    CMColor c{};
    CC::LchL(60.0f, 30.0f, 120.0f, c);
    float L, C, h;
    CC::CMLabToLch(c, L, C, h);
    EXPECT_NEAR(L, 60.0f, kLStep);
    EXPECT_NEAR(C, 30.0f, 0.01f);
    EXPECT_NEAR(h, 120.0f, 0.02f);
}

TEST(ColorConversionDeltaE, Cie1976AndTheCie94Variant) {
    EXPECT_EQ(CC::deltaE94WithL(40, 10, -20, 40, 10, -20), 0.0f);
    // A pure lightness difference is the same in both measures.
    EXPECT_NEAR(CC::deltaE94WithL(30, 20, 30, 37, 20, 30), 7.0f, kFloatTol);
    EXPECT_NEAR(CC::deltaEWithL(30, 20, 30, 37, 20, 30), 7.0f, kFloatTol);

    EXPECT_NEAR(CC::deltaE94WithL(50, 20, 30, 55, 25, 20), 12.828f, kThreeDecimals);
    EXPECT_NEAR(CC::deltaEWithL(50, 20, 30, 55, 25, 20), 12.247f, kThreeDecimals);
    EXPECT_EQ(CC::deltaE94WithL(50, 20, 30, 55, 25, 20), CC::deltaE94WithL(55, 25, 20, 50, 20, 30));

    CMColor one{}, two{};
    CC::LabL(50, 0, 0, one);
    CC::LabL(50, 10, 0, two);
    float L1, a1, b1, L2, a2, b2;
    CC::CMLab(one, L1, a1, b1);
    CC::CMLab(two, L2, a2, b2);
    EXPECT_EQ(CC::deltaEWithC1(one, two), CC::deltaEWithL(L1, a1, b1, L2, a2, b2));
    EXPECT_EQ(CC::deltaE94WithC1(one, two), CC::deltaE94WithL(L1, a1, b1, L2, a2, b2));
    EXPECT_NEAR(CC::deltaEWithC1(one, two), 10.0f, 2 * 255.996f / 65535);
}

TEST(ColorConversionYxy, XyzAndYxyWritersGoThroughLab) {
    CMColor xyz{}, lab{};
    CC::XYZ_X(96.42f, 100.0f, 82.49f, xyz);
    CC::CMXYZ(xyz, lab); // the white, one XYZ field step below
    EXPECT_EQ(lab.lab.L, 65534);
    EXPECT_NEAR(lab.lab.a, 32768, 2);
    EXPECT_NEAR(lab.lab.b, 32768, 2);

    CC::XYZ_XToCMLab(96.42f, 100.0f, 82.49f, lab);
    EXPECT_EQ(fields(lab), (Fields{65535, 32768, 32768}));

    // D50 chromaticity 0.3457, 0.3585 at Y 100 is the white again.
    CC::Yxy_Y(100.0f, 0.3457f, 0.3585f, lab);
    EXPECT_NEAR(lab.lab.L, 65535, 1);
    float Y, x, y;
    CC::CMLabToYxy(lab, Y, x, y);
    EXPECT_NEAR(Y, 100.0f, 1e-2f);
    EXPECT_NEAR(x, 0.3457f, kFourDecimals * 10);
    EXPECT_NEAR(y, 0.3585f, kFourDecimals * 10);

    // L 0 with a at its lowest and b at its highest: X, Y and Z all clamp
    // to 0, and x and y are 0 / 0.
    CC::CMLabToYxy(::lab(0, 0, 65535), Y, x, y);
    EXPECT_EQ(Y, 0.0f);
    EXPECT_TRUE(std::isnan(x) && std::isnan(y));

    // y = 0 makes X and Z infinite: a clamps to its top, b to its bottom.
    CC::Yxy_Y(50.0f, 0.3f, 0.0f, lab);
    EXPECT_EQ(Fields(lab.raw + 1, lab.raw + 3), (Fields{65535, 0}));
}
