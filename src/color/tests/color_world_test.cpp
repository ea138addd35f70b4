// Colour worlds over the system's installed profiles: building the chain,
// matching single colours, and matching bitmaps in tiles, in Lab mode, packed
// and planar, against the same colours matched one at a time.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "color/color_world.h"
#include "color/profile_manager.h"
#include "color/tests/present.h"
#include "color/tests/world_fixtures.h"
#include "tests/known_value.h"

using namespace slidebox::color;
using slidebox::image::Bitmap;
using slidebox::image::ColorSpace;
using slidebox::image::PixelFormat;
using namespace slidebox::testing;

namespace {

constexpr float kByteStep = 1.0f / 255.0f;

using ColorWorldTest = InstalledProfilesTest;

CMColor rgb(std::uint16_t r, std::uint16_t g, std::uint16_t b) {
    CMColor c{};
    c.rgb = {r, g, b};
    return c;
}

// The engine's optimised 8-bit tables against its unoptimised arithmetic:
// a few levels at most, more through a printer table than a matrix.
constexpr int kMatrixTol8 = 1;
constexpr int kTableTol16 = 4 * 257;

using ColorWorldMatchTest = InstalledProfilesTest;

struct Recorder : CompletionHandler {
    void setAmountOfCompletion(std::int32_t percent) override { heard.push_back(percent); }
    std::vector<std::int32_t> heard;
};

Bitmap make(std::int32_t w, std::int32_t h, ColorSpace space, int bits, bool alpha = false,
            bool planar = false) {
    return std::move(Bitmap::allocate(w, h, PixelFormat::make(space, bits, alpha, planar)).value());
}

/// Fills every sample of every plane with a pattern of the pixel position.
void fillPattern(Bitmap& b) {
    const int bps = b.format().bytesPerSample;
    for (int p = 0; p < b.planeCount(); ++p)
        for (std::int32_t y = 0; y < b.height(); ++y)
            for (std::size_t i = 0; i < b.minRowBytes() / bps; ++i) {
                unsigned v = static_cast<unsigned>(i * 37 + y * 11 + p * 101);
                if (bps == 1)
                    b.row(y, p)[i] = static_cast<std::uint8_t>(v);
                else
                    b.row16(y, p)[i] = static_cast<std::uint16_t>(v * 263);
            }
}

/// Sample s of pixel (x, y) of a packed bitmap, on the 16-bit scale.
int sample16(const Bitmap& b, std::int32_t x, std::int32_t y, int s) {
    const std::size_t i = static_cast<std::size_t>(x) * b.format().samplesPerPixel() + s;
    return b.format().bytesPerSample == 1 ? b.row(y)[i] * 257 : b.row16(y)[i];
}

/// Pixels of `out` against the same pixels of `in` matched one colour at a
/// time, within tol16 on the 16-bit scale.
void expectLikeSingleColours(const ColorWorld& world, const Bitmap& in, const Bitmap& out,
                             const std::vector<std::int32_t>& xs,
                             const std::vector<std::int32_t>& ys, int tol16) {
    for (std::int32_t y : ys)
        for (std::int32_t x : xs) {
            CMColor c{};
            for (int s = 0; s < in.format().colorChannels(); ++s)
                c.raw[s] = static_cast<std::uint16_t>(sample16(in, x, y, s));
            ASSERT_TRUE(world.matchColor(c));
            for (int s = 0; s < out.format().colorChannels(); ++s)
                EXPECT_NEAR(sample16(out, x, y, s), c.raw[s], tol16) << x << "," << y << " " << s;
        }
}

} // namespace

TEST_F(ColorWorldTest, OneIntentMakesASourceToDestinationChain) {
    auto world = present(ColorWorld::initColorWorldWithSrcProfil(kSRGB, kCMYK, 1));
    ASSERT_NE(world->cwRef(), nullptr);
    EXPECT_EQ((std::vector{world->dataColorSpaceIn(), world->dataColorSpaceOut(),
                           CWInputSpace(*world->cwRef()), CWOutputSpace(*world->cwRef())}),
              (std::vector{cmRGBData, cmCMYKData, cmRGBData, cmCMYKData}));

    CMColor white = rgb(65535, 65535, 65535);
    ASSERT_TRUE(world->matchColor(white));
    // Relative colorimetric paper white: no ink at all.
    EXPECT_LE(white.cmyk.cyan + white.cmyk.magenta + white.cmyk.yellow + white.cmyk.black, 4 * 65);
    EXPECT_TRUE(log_.empty());
}

TEST_F(ColorWorldTest, AnUnopenedDestinationLeavesAOneProfileChainAnUnopenedSourceNone) {
    auto world =
        present(ColorWorld::initColorWorldWithSrcProfil(kSRGB, 1, 3, home_ / "missing.icc"));
    EXPECT_EQ(world->srcProfilePath(), kSRGB);
    EXPECT_FALSE(world->destProfilePath().has_value());
    EXPECT_EQ(std::pair(world->dataColorSpaceIn(), world->dataColorSpaceOut()),
              std::pair(cmRGBData, OSType{0}));
    // One profile, device to PCS: sRGB white comes out as the D50 white in XYZ.
    CMColor c = rgb(65535, 65535, 65535);
    ASSERT_TRUE(world->matchColor(c));
    float X, Y, Z;
    ColorWorld::CMXYZ(c, X, Y, Z);
    EXPECT_KNOWN3(96.42f, 100.0f, 82.49f, 0.05f, X, Y, Z);

    // A source that won't open (why is the catalogue's) makes no object.
    EXPECT_EQ(ColorWorld::initColorWorldWithSrcProfil(home_ / "missing.icc", kCMYK, 1), nullptr);
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
    EXPECT_EQ(std::pair(scratch.dataColorSpaceIn(), scratch.dataColorSpaceOut()),
              std::pair(cmRGBData, cmCMYKData));
    EXPECT_EQ(scratch.cwRef(), nullptr); // the place was the caller's

    // The spaces start again at 0 on every call.
    EXPECT_FALSE(scratch.initColorWorld(place, destination.get(), 1, 1, nullptr));
    EXPECT_EQ(std::pair(scratch.dataColorSpaceIn(), scratch.dataColorSpaceOut()),
              std::pair(cmCMYKData, OSType{0}));

    // A named-colour profile has no colour record: the engine refuses, and
    // the spaces were read all the same.
    auto named = present(ProfileManager::profileRefForPath(kNamed));
    EXPECT_TRUE(scratch.initColorWorld(place, source.get(), 1, 1, named.get()));
    EXPECT_EQ(place, nullptr);
    EXPECT_EQ(scratch.dataColorSpaceOut(), cmLabData);
    EXPECT_EQ(ColorWorld::initColorWorldWithSrcProfil(kSRGB, kNamed, 1), nullptr);
}

TEST_F(ColorWorldTest, LinkProfileIsOneAbsoluteEntryWithItsHandler) {
    const auto link = storedPath("link-rgb.icc");

    auto handler = std::make_shared<Recorder>();
    auto world = present(ColorWorld::initColorWorldWithLinkProfil(link, handler));
    EXPECT_EQ(world->completionHandler(), handler);
    EXPECT_EQ(world->dataColorSpaceIn(), cmRGBData);
    EXPECT_EQ(world->dataColorSpaceOut(), 0u); // fits any destination
    CMColor c = rgb(65535, 65535, 65535);
    EXPECT_TRUE(world->matchColor(c));
}

TEST_F(ColorWorldTest, RefusedMatchIsLoggedAndLeavesTheColour) {
    auto world = present(ColorWorld::initColorWorldWithSrcProfil(kSRGB, kCMYK, 1));
    CMColor none[1];
    EXPECT_TRUE(world->matchColors(none, 0));
    EXPECT_TRUE(world->matchColors(nullptr, -3));

    CMColor colors[3] = {rgb(1, 2, 3), rgb(65535, 0, 0), rgb(0, 0, 0)};
    EXPECT_TRUE(world->matchColors(colors, 3));
    EXPECT_GT(std::min(colors[1].cmyk.magenta, colors[1].cmyk.yellow), 50000); // red: M and Y

    world->disposeColorWorld();
    world->disposeColorWorld(); // again: harmless
    EXPECT_EQ(world->cwRef(), nullptr);
    CMColor kept[2] = {rgb(100, 200, 300), rgb(400, 500, 600)};
    EXPECT_FALSE(world->matchColors(kept, 2));
    EXPECT_EQ((std::array{kept[0].rgb.red, kept[1].rgb.blue}),
              (std::array<std::uint16_t, 2>{100, 600}));
    // The first failure ends the loop.
    EXPECT_EQ(log_, std::vector<std::string>{"Error in matchColor: (CWMatchColors) of ColorWorld"});
}

TEST(ColorWorldComparisonColors, DefaultsAndSetColoursAsBytes) {
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

    // Set colours keep eight bits a channel.
    world.setInGamutColors(ColorValue::colorWithDeviceRed(0.5f, 0.25f, 1.0f, 0.3f),
                           ColorValue::colorWithCalibratedRed(0.1f, 0.9f, 0.7f, 1.0f));
    world.getInGamutColors(&low, &inLimit);
    EXPECT_EQ(low.colorSpaceName(), ColorSpaceName::CalibratedRGB);
    float r, g, b, a;
    low.getRed(r, g, b, a);
    EXPECT_KNOWN3(127 * kByteStep, 63 * kByteStep, 1.0f, 1e-7f, r, g, b); // trunc(127.5)
    EXPECT_EQ(a, 1.0f);                                                   // alpha is not kept
    inLimit.getRed(r, g, b, a);
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

// The tile limit is one million pixels; tests scale it down by 100 so that
// the known sizes shrink with it (1001 x 1000 becomes 101 x 100 against
// 10,000 pixels) and the tiles fall exactly as at full size.
constexpr float kTestTileLimit = 10000.0f;

TEST_F(ColorWorldMatchTest, TilesAndProgress) {
    auto recorder = std::make_shared<Recorder>();
    auto world = present(ColorWorld::initColorWorldWithSrcProfil(kSRGB, kAdobe, 0, recorder));
    const struct {
        std::int32_t width, height;
        float limit;
        std::int32_t tileHeight;
        std::vector<std::int32_t> heard;
    } rows[] = {
        // 1001 x 1000 at full size: a tile of 99 rows here, then a remainder row.
        {101, 100, kTestTileLimit, 99, {99, 100}},
        // 4000 x 3000 at full size: tiles of 25 rows here.
        {400, 300, kTestTileLimit, 25, {8, 16, 25, 33, 41, 50, 58, 66, 75, 83, 91, 100}},
        // Exactly one million pixels is one tile, at the real limit.
        {1000, 1000, 1000000.0f, 1000, {100}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.width);
        recorder->heard.clear();
        world->setTilePixelLimit(row.limit);
        Bitmap in = make(row.width, row.height, ColorSpace::RGB, 8);
        fillPattern(in);
        Bitmap out = make(row.width, row.height, ColorSpace::RGB, 8);
        ASSERT_TRUE(world->matchSourceImageRep(in, &out));
        EXPECT_EQ(world->tileSizeHeight(), row.tileHeight);
        EXPECT_EQ(recorder->heard, row.heard);
        // The last row, which may be its own tile, is matched like the rest.
        const std::int32_t w = row.width, h = row.height;
        expectLikeSingleColours(*world, in, out, {0, w / 2, w - 1}, {0, h - 2, h - 1},
                                kMatrixTol8 * 257);
    }
}

TEST_F(ColorWorldMatchTest, ChecksOfSourceDestinationAndSize) {
    auto world = present(ColorWorld::initColorWorldWithSrcProfil(kSRGB, kCMYK, 0));
    Bitmap gray = make(4, 4, ColorSpace::Gray, 8), rgb = make(4, 4, ColorSpace::RGB, 8),
           cmyk = make(4, 4, ColorSpace::CMYK, 8), smallCmyk = make(4, 3, ColorSpace::CMYK, 8);

    EXPECT_FALSE(world->matchSourceImageRep(gray, &cmyk));
    EXPECT_FALSE(world->matchSourceImageRep(rgb, &rgb));
    EXPECT_EQ(log_, std::vector<std::string>(
                        2, "ColorWorld: No correlation between imageReps and profil color space"));
    EXPECT_FALSE(world->matchSourceImageRep(rgb, &smallCmyk));
    EXPECT_EQ(log_.back(), "ColorWorld: ImageReps not of the same size");
    // Not a Lab world: no Lab bitmap.
    EXPECT_FALSE(world->matchSourceImageRep(rgb, nullptr));
    EXPECT_EQ(log_.back(), "ColorWorld: No good source or not a destination Lab color space");
    EXPECT_EQ(world->labBitmap(), nullptr);
    EXPECT_TRUE(world->matchSourceImageRep(rgb, &cmyk));

    // A link-like world reads four samples from any rep; an XYZ rep of three
    // passes the colour space test but can't be read as four.
    auto fromCMYK = present(ColorWorld::initColorWorldWithSrcProfil(kCMYK, kSRGB, 0));
    Bitmap xyz = make(4, 4, ColorSpace::XYZ, 8);
    EXPECT_FALSE(fromCMYK->matchSourceImageRep(xyz, &rgb));

    // Too wide for a tile: nothing is matched, and that is no failure.
    world->setTilePixelLimit(kTestTileLimit);
    Bitmap in = make(10001, 1, ColorSpace::RGB, 8);
    std::memset(in.row(0), 0xFF, in.minRowBytes());
    Bitmap out = make(10001, 1, ColorSpace::CMYK, 8);
    EXPECT_TRUE(world->matchSourceImageRep(in, &out));
    EXPECT_EQ(world->tileSizeHeight(), 0);
    for (std::size_t i = 0; i < out.minRowBytes(); i += 97)
        ASSERT_EQ(out.row(0)[i], 0);
}

TEST_F(ColorWorldMatchTest, PlanarWithAlphaMatchesAsPackedAndKeepsAlpha) {
    auto world = present(ColorWorld::initColorWorldWithSrcProfil(kSRGB, kAdobe, 0));
    for (int bits : {8, 16}) {
        SCOPED_TRACE(bits);
        Bitmap packedIn = make(37, 23, ColorSpace::RGB, bits, true);
        fillPattern(packedIn);
        Bitmap planarIn = make(37, 23, ColorSpace::RGB, bits, true, true);
        // The same pixels, planar.
        const int bps = bits / 8;
        for (std::int32_t y = 0; y < 23; ++y)
            for (std::int32_t x = 0; x < 37; ++x)
                for (int s = 0; s < 4; ++s)
                    std::memcpy(planarIn.row(y, s) + x * bps, packedIn.row(y) + (x * 4 + s) * bps,
                                bps);
        Bitmap packedOut = make(37, 23, ColorSpace::RGB, bits, true),
               planarOut = make(37, 23, ColorSpace::RGB, bits, true, true);
        ASSERT_TRUE(world->matchSourceImageRep(packedIn, &packedOut));
        ASSERT_TRUE(world->matchSourceImageRep(planarIn, &planarOut));
        const int tol = bits == 8 ? kMatrixTol8 : kMatrixTol8 * 257;
        for (std::int32_t y = 0; y < 23; ++y)
            for (std::int32_t x = 0; x < 37; ++x) {
                auto sample = [&](const Bitmap& b, int plane, std::size_t i) -> int {
                    return bps == 1 ? b.row(y, plane)[i] : b.row16(y, plane)[i];
                };
                for (int s = 0; s < 3; ++s)
                    ASSERT_NEAR(sample(packedOut, 0, x * 4 + s), sample(planarOut, s, x), tol)
                        << x << "," << y;
                // Packed alpha is copied; the planar alpha plane is left alone.
                ASSERT_EQ(sample(packedOut, 0, x * 4 + 3), sample(packedIn, 0, x * 4 + 3));
                ASSERT_EQ(sample(planarOut, 3, x), 0);
            }
        EXPECT_TRUE(log_.empty());
    }
}

TEST_F(ColorWorldMatchTest, LabModeGivesTheFieldsOfSingleColours) {
    auto recorder = std::make_shared<Recorder>();
    auto world = present(ColorWorld::initColorWorldWithSrcProfil(kSRGB, genericLab(), 0, recorder));
    ASSERT_EQ(world->dataColorSpaceOut(), cmLabData);
    world->setTilePixelLimit(kTestTileLimit);
    Bitmap in = make(101, 100, ColorSpace::RGB, 16);
    fillPattern(in);
    ASSERT_TRUE(world->matchSourceImageRep(in, nullptr));
    // No tiles in Lab mode, above the limit too: the whole image at once.
    EXPECT_EQ(world->tileSizeHeight(), 100);
    EXPECT_EQ(recorder->heard, (std::vector<std::int32_t>{100}));
    const CMBitmap* lab = world->labBitmap();
    ASSERT_NE(lab, nullptr);
    EXPECT_EQ((std::vector{lab->width, lab->height, lab->rowBytes, lab->pixelSize, lab->space}),
              (std::vector<std::uint32_t>{101, 100, 606, 48, cmLab48Space}));

    // The same arithmetic as one colour at a time; 16-bit input is read by
    // the engine in single precision, so a field may round the other way.
    constexpr int kFieldTol = 1;
    for (std::int32_t y : {0, 51, 99})
        for (std::int32_t x : {0, 3, 64, 100}) {
            const std::uint16_t* p = in.row16(y) + 3 * x;
            CMColor c{};
            c.rgb = {p[0], p[1], p[2]};
            ASSERT_TRUE(world->matchColor(c));
            const auto* f =
                reinterpret_cast<const std::uint16_t*>(lab->image + y * lab->rowBytes) + 3 * x;
            EXPECT_KNOWN3(c.lab.L, c.lab.a, c.lab.b, kFieldTol, f[0], f[1], f[2]);
        }

    // A failed check leaves the Lab bitmap in place.
    Bitmap cmyk = make(2, 2, ColorSpace::CMYK, 8);
    EXPECT_FALSE(world->matchSourceImageRep(cmyk, nullptr));
    EXPECT_EQ(world->labBitmap(), lab);
    world->releaseMemory();
    EXPECT_EQ(world->labBitmap(), nullptr);
}

TEST_F(ColorWorldMatchTest, LabFieldsComeBackWithinOneField) {
    // The generic Lab profile is version 2: the engine reads its tables
    // through the version 2 to 4 encoding curves, so a field may move by
    // one step (transicc -c0 between two such profiles does the same).
    auto world = present(ColorWorld::initColorWorldWithSrcProfil(genericLab(), genericLab(), 0));
    Bitmap in = make(300, 7, ColorSpace::Lab, 16);
    // Every field at its ends and in between, with L from 0 to 100.
    std::uint16_t v = 0;
    for (std::int32_t y = 0; y < 7; ++y)
        for (std::int32_t i = 0; i < 900; ++i, v = static_cast<std::uint16_t>(v + 1553))
            in.row16(y)[i] = (y == 0 && i < 3) ? 0 : (y == 6 && i >= 897) ? 65535 : v;
    ASSERT_TRUE(world->matchSourceImageRep(in, nullptr));
    const CMBitmap* lab = world->labBitmap();
    ASSERT_NE(lab, nullptr);
    for (std::int32_t y = 0; y < 7; ++y) {
        const auto* out = reinterpret_cast<const std::uint16_t*>(lab->image + y * lab->rowBytes);
        for (std::int32_t i = 0; i < 900; ++i)
            ASSERT_NEAR(out[i], in.row16(y)[i], 1) << "row " << y << " field " << i;
    }
}
