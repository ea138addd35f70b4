// The measures of a printing profile: densities, dot gain, total ink, black
// limit, start of black and the characteristic colours, on made profiles
// whose inks are known (the CLI's golden lines hold the installed printer's
// and gray profile's measures).
#include <gtest/gtest.h>

#include "tests/known_value.h"

#include <array>
#include <cmath>

#include "color/profile_inspector.h"
#include "color/tests/profile_fixtures.h"

using namespace slidebox::color;
using namespace slidebox::testing;

namespace {

// The made printers model their inks on sRGB: a half tint 0x7FFF leaves
// 0.50000763 of the light in sRGB's encoding, which is 0.2140482 of it
// linearly; the gain of every ink is then 100 * (1 - 0.2140482 - 0.5).
constexpr double kPlainInkGain = 28.595180;
constexpr double kGainTolerance = 0.05; // grid-9 tables and 16-bit Lab on the way
// L of the field 5930, where the walk for the start of black ends untested.
constexpr double kFloatTolerance = 1e-5;
// Published sRGB primaries in D50 Lab, as chroma and hue.
constexpr double kLchTolerance = 0.15;
constexpr double kLabTolerance = 0.1;

CMColor labColor(std::uint16_t L, std::uint16_t a, std::uint16_t b) {
    CMColor c{};
    c.lab = {L, a, b};
    return c;
}

/// The dot gains of cyan, magenta, yellow and black, in that order.
std::array<float, 4> gains(ProfileInspector& inspector) {
    return {inspector.dotGainOfCyanChanel(), inspector.dotGainOfMagentaChanel(),
            inspector.dotGainOfYellowChanel(), inspector.dotGainOfBlackChanel()};
}

float labL(const CMColor& c) {
    float L, a, b;
    ColorWorld::CMLab(c, L, a, b);
    return L;
}

} // namespace

class InksTest : public ::testing::Test {
  protected:
    static std::unique_ptr<ProfileInspector> printer(const std::string& name, std::int32_t intent) {
        return ProfileInspector::profileInspectorWithProfilePath(storedPath(name), intent);
    }
    ScopedProfilePlaces places;
    TempDir dir;
};

TEST_F(InksTest, DensityIsLogOfTheInverseComponentWithWhiteAtMinusTwo) {
    const auto lab = ProfileManager::pathOfGenericLabProfil().value();
    auto world = ColorWorld::initColorWorldWithSrcProfil(lab, lab, 1);
    ASSERT_TRUE(world);
    CMColor white = labColor(65535, 32768, 32768);
    EXPECT_NEAR(ProfileInspector::YdensityForColor(white, *world), -2.0, kFloatTolerance);
    // The colour is overwritten by its match: Lab through Lab is itself.
    EXPECT_EQ(white.lab.L, 65535);
    EXPECT_NEAR(ProfileInspector::XdensityForColor(white, *world), -std::log10(96.42),
                kFloatTolerance);
    EXPECT_NEAR(ProfileInspector::ZdensityForColor(white, *world), -std::log10(82.49),
                kFloatTolerance);
    // Black has no light left: its density is infinite.
    CMColor black = labColor(0, 32768, 32768);
    EXPECT_TRUE(std::isinf(ProfileInspector::YdensityForColor(black, *world)));
}

TEST_F(InksTest, DotGainOfEachInkAtItsHalfTint) {
    auto inspector = printer("cmyk-printer.icc", 1);
    ASSERT_TRUE(inspector);
    EXPECT_FALSE(inspector->calculatedDotGain());
    // The solid black has no light at all: 10^(Dp - Ds) is 0 and the gain stays finite.
    for (float gain : gains(*inspector))
        EXPECT_NEAR(gain, kPlainInkGain, kGainTolerance);
    EXPECT_TRUE(inspector->calculatedDotGain());

    // The dot gain has a world of its own: an inspector without worlds measures it too.
    auto bare = ProfileInspector::profileInspectorWithProfilePath(inspector->profilePath(), -1);
    ASSERT_TRUE(bare);
    EXPECT_NEAR(bare->dotGainOfCyanChanel(), kPlainInkGain, kGainTolerance);
}

TEST_F(InksTest, DotGainIsWorkedOutOnceAndAFailureIsNotRetried) {
    auto path = writeProfile(dir, "printer.icc", stored("cmyk-printer.icc"));
    auto inspector = ProfileInspector::profileInspectorWithProfilePath(path, -1);
    ASSERT_TRUE(inspector);
    const auto before = CMGetEngineCounters().worldsBuilt;
    const float cyan = inspector->dotGainOfCyanChanel();
    EXPECT_EQ(CMGetEngineCounters().worldsBuilt, before + 1);
    // Another profile in the same file changes nothing: no second world.
    writeProfile(dir, "printer.icc", stored("cmyk-printer-no-black.icc"));
    EXPECT_EQ(inspector->dotGainOfCyanChanel(), cyan);
    EXPECT_NEAR(inspector->dotGainOfBlackChanel(), kPlainInkGain, kGainTolerance);
    EXPECT_EQ(CMGetEngineCounters().worldsBuilt, before + 1);

    // The profile gone before the first measure: the gains stay 0, for good.
    auto lost = ProfileInspector::profileInspectorWithProfilePath(path, -1);
    ASSERT_TRUE(lost);
    std::filesystem::remove(path);
    EXPECT_EQ(lost->dotGainOfYellowChanel(), 0.0f);
    EXPECT_TRUE(lost->calculatedDotGain());
    writeProfile(dir, "printer.icc", stored("cmyk-printer.icc"));
    EXPECT_EQ(lost->dotGainOfYellowChanel(), 0.0f);
}

TEST_F(InksTest, WithoutAWayBackTheInkMeasuresGiveTheirDefaults) {
    // A printer that only goes to Lab gets no inspector with worlds at all.
    const auto oneWayPath = storedPath("cmyk-printer-a2b-only.icc");
    EXPECT_FALSE(ProfileInspector::profileInspectorWithProfilePath(oneWayPath, 0));
    auto oneWayBare = ProfileInspector::profileInspectorWithProfilePath(oneWayPath, -1);
    ASSERT_TRUE(oneWayBare);
    EXPECT_EQ(oneWayBare->PCSToDeviceTotalInkMax(), 400);
    EXPECT_NEAR(oneWayBare->dotGainOfMagentaChanel(), kPlainInkGain, kGainTolerance);

    // An input profile stands with one way: defaults, and its black point is
    // the full-ink colour.
    Bytes input = stored("cmyk-printer-a2b-only.icc");
    setWord(input, 12, cmInputClass);
    auto scanner =
        ProfileInspector::profileInspectorWithProfilePath(writeProfile(dir, "in.icc", input), 1);
    ASSERT_TRUE(scanner);
    ASSERT_FALSE(scanner->PCSToDevice());
    EXPECT_EQ(
        std::pair(scanner->PCSToDeviceBlackMax(), scanner->PCSToDeviceLuminanceOfStartBlack()),
        std::pair(100, 100.0f));
    CharacteristicProfilePoints points = scanner->characteristicProfilePoints();
    EXPECT_TRUE(std::equal(points.blackPointColor.raw, points.blackPointColor.raw + 3,
                           points.fullInkColor.raw));
}

TEST_F(InksTest, TotalInkBlackAndStartOfBlack) {
    const struct {
        const char* file;
        std::optional<int> totalInk, blackMax;
        float startOfBlack; // L where the walk down the neutral axis ends
    } rows[] = {
        // 74.9996 % four times sums to 299.998 in single precision: truncated.
        {"cmyk-printer-ink-just-under-300.icc", 299, 74, -1.0f},
        // Black never reaches 0.5 %: the walk ends at 5930 without testing it.
        {"cmyk-printer-no-black.icc", 300, 0, static_cast<float>(5930 * 100.0 / 65535.0)},
        // 1 % of black already on white: the first test stops, exactly 100.
        {"cmyk-printer-black-on-white.icc", std::nullopt, std::nullopt, 100.0f},
        // All neutrals in black: the second step, L 64880, already has about 1 %.
        {"cmyk-printer.icc", std::nullopt, std::nullopt,
         static_cast<float>(64880 * 100.0 / 65535.0)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.file);
        auto inspector = printer(row.file, 1);
        ASSERT_TRUE(inspector);
        if (row.totalInk) {
            EXPECT_EQ(inspector->PCSToDeviceTotalInkMax(), *row.totalInk);
        }
        if (row.blackMax) {
            EXPECT_EQ(inspector->PCSToDeviceBlackMax(), *row.blackMax);
        }
        if (row.startOfBlack >= 0.0f) {
            EXPECT_EQ(inspector->PCSToDeviceLuminanceOfStartBlack(), row.startOfBlack);
        }
    }
}

TEST_F(InksTest, CharacteristicPointsOfAPrinterAreItsInksInLab) {
    auto inspector = printer("cmyk-printer.icc", 1);
    ASSERT_TRUE(inspector);
    CharacteristicProfilePoints p = inspector->characteristicProfilePoints();
    // The paper is white, every full ink black.
    EXPECT_KNOWN3(100.0, 0.0, 0.0, kLabTolerance, p.lightestLch.L, p.lightestLch.c, p.fullInkLch.L);
    EXPECT_KNOWN3(0.0, 0.0, 100.0, kLabTolerance, p.blackInkLch.L, p.cmyInkLch.L,
                  labL(p.lightestColor));
    EXPECT_NEAR(labL(p.blackPointColor), 0.0, kLabTolerance);
    // The primaries are sRGB's in D50 Lab: magenta, red, yellow, green, cyan, blue.
    const double chroma[6] = {111.42, 106.84, 94.69, 113.33, 52.83, 131.23};
    const double hue[6] = {327.10, 40.85, 99.57, 134.39, 196.48, 301.36};
    for (int i = 0; i < 6; ++i) {
        EXPECT_NEAR(p.primaryLch[i].c, chroma[i], kLchTolerance) << i;
        EXPECT_NEAR(p.primaryLch[i].h, hue[i], kLchTolerance) << i;
    }
    EXPECT_EQ(p.maxChroma, p.primaryLch[5].c); // blue

    // An RGB profile has none of it.
    auto rgb = printer("rgb-tables-v2.icc", 1);
    ASSERT_TRUE(rgb);
    EXPECT_EQ(rgb->characteristicProfilePoints().lightestLch.L, 0.0f);
    EXPECT_EQ(rgb->PCSToDeviceTotalInkMax(), 400);
    EXPECT_EQ(gains(*rgb), (std::array<float, 4>{}));
    EXPECT_TRUE(rgb->calculatedDotGain());
}
