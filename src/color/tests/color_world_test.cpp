#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "color/color_world.h"
#include "color/tests/world_fixtures.h"
#include "tests/known_value.h"

using namespace slidebox::color;
using namespace slidebox::testing;

namespace {

constexpr float kByteStep = 1.0f / 255.0f;

using ColorWorldTest = InstalledProfilesTest;

CMColor rgb(std::uint16_t r, std::uint16_t g, std::uint16_t b) {
    CMColor c{};
    c.rgb = {r, g, b};
    return c;
}

struct Counter : CompletionHandler {
    void setAmountOfCompletion(std::int32_t percent) override { last = percent; }
    std::int32_t last = -1;
};

} // namespace

TEST_F(ColorWorldTest, OneIntentMakesASourceToDestinationChain) {
    auto world = ColorWorld::initColorWorldWithSrcProfil(kSRGB, kCMYK, 1);
    ASSERT_NE(world, nullptr);
    EXPECT_EQ(world->dataColorSpaceIn(), cmRGBData);
    EXPECT_EQ(world->dataColorSpaceOut(), cmCMYKData);
    ASSERT_NE(world->cwRef(), nullptr);
    EXPECT_EQ(CWInputSpace(*world->cwRef()), cmRGBData);
    EXPECT_EQ(CWOutputSpace(*world->cwRef()), cmCMYKData);

    CMColor white = rgb(65535, 65535, 65535);
    ASSERT_TRUE(world->matchColor(white));
    // Relative colorimetric paper white: no ink at all.
    EXPECT_LE(white.cmyk.cyan + white.cmyk.magenta + white.cmyk.yellow + white.cmyk.black, 4 * 65);
    EXPECT_TRUE(log_.empty());
}

TEST_F(ColorWorldTest, DestinationThatWontOpenLeavesAOneProfileChain) {
    auto world = ColorWorld::initColorWorldWithSrcProfil(kSRGB, 1, 3, home_ / "missing.icc");
    ASSERT_NE(world, nullptr);
    EXPECT_EQ(world->srcProfilePath(), kSRGB);
    EXPECT_FALSE(world->destProfilePath().has_value());
    EXPECT_EQ(world->dataColorSpaceIn(), cmRGBData);
    EXPECT_EQ(world->dataColorSpaceOut(), 0u);
    // One profile, device to PCS: sRGB white comes out as the D50 white in XYZ.
    CMColor c = rgb(65535, 65535, 65535);
    ASSERT_TRUE(world->matchColor(c));
    float X, Y, Z;
    ColorWorld::CMXYZ(c, X, Y, Z);
    EXPECT_KNOWN3(96.42f, 100.0f, 82.49f, 0.05f, X, Y, Z);
}

TEST_F(ColorWorldTest, NoObjectWithoutAUsableSource) {
    EXPECT_EQ(ColorWorld::initColorWorldWithSrcProfil(home_ / "missing.icc", kCMYK, 1), nullptr);
    EXPECT_EQ(ColorWorld::initColorWorldWithSrcProfil(std::filesystem::path(), kCMYK, 1), nullptr);
    writeFile(home_ / "broken.icc", std::string(200, 'x'));
    EXPECT_EQ(ColorWorld::initColorWorldWithSrcProfil(home_ / "broken.icc", 0, 0, kSRGB), nullptr);
    // 256 bytes of path are refused before the engine is asked.
    EXPECT_EQ(ColorWorld::initColorWorldWithSrcProfil(std::string(256, 'a'), kSRGB, 1), nullptr);
}

TEST_F(ColorWorldTest, BuildingTheChainIsTrueOnFailure) {
    ColorWorld scratch;
    CMWorldRef place;
    auto source = ProfileManager::profileRefForPath(kSRGB);
    auto destination = ProfileManager::profileRefForPath(kCMYK);
    ASSERT_TRUE(source && destination);

    EXPECT_TRUE(scratch.initColorWorld(place, nullptr, 0, 0, destination.get()));
    EXPECT_EQ(place, nullptr);

    EXPECT_FALSE(scratch.initColorWorld(place, source.get(), 0, 0, destination.get()));
    ASSERT_NE(place, nullptr);
    EXPECT_EQ(scratch.dataColorSpaceIn(), cmRGBData);
    EXPECT_EQ(scratch.dataColorSpaceOut(), cmCMYKData);
    EXPECT_EQ(scratch.cwRef(), nullptr); // the place was the caller's

    // The spaces start again at 0 on every call.
    EXPECT_FALSE(scratch.initColorWorld(place, destination.get(), 1, 1, nullptr));
    EXPECT_EQ(scratch.dataColorSpaceIn(), cmCMYKData);
    EXPECT_EQ(scratch.dataColorSpaceOut(), 0u);

    // A named-colour profile has no colour record: the engine refuses, and
    // the spaces were read all the same.
    auto named = ProfileManager::profileRefForPath(kNamed);
    ASSERT_NE(named, nullptr);
    EXPECT_TRUE(scratch.initColorWorld(place, source.get(), 1, 1, named.get()));
    EXPECT_EQ(place, nullptr);
    EXPECT_EQ(scratch.dataColorSpaceOut(), cmLabData);
    EXPECT_EQ(ColorWorld::initColorWorldWithSrcProfil(kSRGB, kNamed, 1), nullptr);
}

TEST_F(ColorWorldTest, LinkProfileIsOneAbsoluteEntryWithItsHandler) {
    const auto link = storedPath("link-rgb.icc");

    auto handler = std::make_shared<Counter>();
    auto world = ColorWorld::initColorWorldWithLinkProfil(link, handler);
    ASSERT_NE(world, nullptr);
    EXPECT_EQ(world->completionHandler(), handler);
    EXPECT_EQ(world->dataColorSpaceIn(), cmRGBData);
    EXPECT_EQ(world->dataColorSpaceOut(), 0u); // fits any destination
    CMColor c = rgb(65535, 65535, 65535);
    EXPECT_TRUE(world->matchColor(c));
}

TEST_F(ColorWorldTest, RefusedMatchIsLoggedAndLeavesTheColour) {
    auto world = ColorWorld::initColorWorldWithSrcProfil(kSRGB, kCMYK, 1);
    ASSERT_NE(world, nullptr);
    CMColor none[1];
    EXPECT_TRUE(world->matchColors(none, 0));
    EXPECT_TRUE(world->matchColors(nullptr, -3));

    CMColor colors[3] = {rgb(1, 2, 3), rgb(65535, 0, 0), rgb(0, 0, 0)};
    EXPECT_TRUE(world->matchColors(colors, 3));
    EXPECT_GT(colors[1].cmyk.magenta, 50000); // red takes magenta and yellow
    EXPECT_GT(colors[1].cmyk.yellow, 50000);

    world->disposeColorWorld();
    world->disposeColorWorld(); // again: harmless
    EXPECT_EQ(world->cwRef(), nullptr);
    CMColor kept[2] = {rgb(100, 200, 300), rgb(400, 500, 600)};
    EXPECT_FALSE(world->matchColors(kept, 2));
    EXPECT_EQ(kept[0].rgb.red, 100);
    EXPECT_EQ(kept[1].rgb.blue, 600);
    ASSERT_EQ(log_.size(), 1u); // the first failure ends the loop
    EXPECT_EQ(log_[0], "Error in matchColor: (CWMatchColors) of ColorWorld");
}

TEST(ColorWorldComparisonColors, DefaultsAsBytes) {
    ColorWorld world;
    world.initComparisonColors();
    const ComparisonColors& c = world.comparisonColors();
    // White, 0.7 as 178 not 179 and dark red: in the comparison's pictures.
    EXPECT_EQ(c.inGamutLimitRGB, (RGB8{0, 153, 0}));
    EXPECT_EQ(c.nonComparedRGB, (RGB8{178, 178, 178}));

    ColorWorld fresh; // no initialiser ran: all zero
    EXPECT_EQ(fresh.comparisonColors().inGamutLowRGB, (RGB8{0, 0, 0}));

    // The same defaults as colours; absent references are skipped.
    ColorValue low, inLimit, outLimit, nonCompared;
    ColorWorld::getDefaultOutGamutColors(nullptr, &outLimit);
    ColorWorld::getDefaultInGamutColors(&low, &inLimit);
    ColorWorld::getDefaultNonComparedColor(&nonCompared);
    ColorWorld::getDefaultNonComparedColor(nullptr);
    EXPECT_EQ(outLimit, ColorValue::colorWithCalibratedRed(1.0f, 0.7f, 0.0f, 1.0f));
    EXPECT_EQ(low, ColorValue::colorWithCalibratedRed(1, 1, 1, 1));
    EXPECT_EQ(inLimit, ColorValue::colorWithCalibratedRed(0.0f, 0.6f, 0.0f, 1.0f));
    EXPECT_EQ(nonCompared, ColorValue::colorWithCalibratedRed(0.7f, 0.7f, 0.7f, 1.0f));
}

TEST(ColorWorldComparisonColors, SetColoursKeepEightBitsPerChannel) {
    ColorWorld world;
    world.setInGamutColors(ColorValue::colorWithDeviceRed(0.5f, 0.25f, 1.0f, 0.3f),
                           ColorValue::colorWithCalibratedRed(0.1f, 0.9f, 0.7f, 1.0f));
    ColorValue low, limit;
    world.getInGamutColors(&low, &limit);
    EXPECT_EQ(low.colorSpaceName(), ColorSpaceName::CalibratedRGB);
    float r, g, b, a;
    low.getRed(r, g, b, a);
    EXPECT_KNOWN3(127 * kByteStep, 63 * kByteStep, 1.0f, 1e-7f, r, g, b); // trunc(127.5)
    EXPECT_EQ(a, 1.0f);                                                   // alpha is not kept
    limit.getRed(r, g, b, a);
    EXPECT_KNOWN3(25 * kByteStep, 229 * kByteStep, 178 * kByteStep, 1e-7f, r, g, b);

    world.setOutGamutColors(ColorValue::colorWithCalibratedRed(1, 0, 0, 1),
                            ColorValue::colorWithCalibratedRed(0, 0, 1, 1));
    EXPECT_EQ(world.comparisonColors().outGamutHighRGB, (RGB8{255, 0, 0}));
    EXPECT_EQ(world.comparisonColors().outGamutLimitRGB, (RGB8{0, 0, 255}));
    ColorValue high;
    world.getOutGamutColors(&high, nullptr);
    EXPECT_EQ(high, ColorValue::colorWithCalibratedRed(1, 0, 0, 1));

    // A gray is taken to RGB before it is read.
    world.setNonComparedColor(ColorValue::colorWithCalibratedWhite(0.5f, 1.0f));
    EXPECT_EQ(world.comparisonColors().nonComparedRGB, (RGB8{127, 127, 127}));
    EXPECT_EQ(ColorWorld::checkColorSpace(ColorValue::colorWithDeviceWhite(0.2f, 1.0f)),
              ColorValue::colorWithCalibratedRed(0.2f, 0.2f, 0.2f, 1.0f));
    const auto device = ColorValue::colorWithDeviceRed(0.1f, 0.2f, 0.3f, 0.4f);
    EXPECT_EQ(ColorWorld::checkColorSpace(device), device);
}
