// The off-screen bitmap: sizes, layouts, where its colour space comes from,
// and drawing read back through the shared pixels.
#include <gtest/gtest.h>

#include <array>

#include "color/tests/profile_fixtures.h"
#include "draw/ink_light.h"
#include "draw/quartz_bitmap.h"

using namespace slidebox::draw;
using namespace slidebox::testing;

namespace {

// A sample of a pixel, walking rows by bytesPerRow; row 0 is the top.
int sample(QuartzBitmap& bitmap, int x, int yFromTop, int channel = 0) {
    const int samples = bitmap.bitmapRep().samplesPerPixel();
    return bitmap.bitmapData()[static_cast<std::size_t>(yFromTop) * bitmap.bytesPerRow() +
                               static_cast<std::size_t>(x * samples + channel)];
}

} // namespace

TEST(QuartzBitmap, SizesRoundUpToWholePixels) {
    const struct {
        SizeF size;
        int wide, high;
    } rows[] = {{{10.5f, 3.0f}, 11, 3},
                {{0.2f, 0.2f}, 1, 1},
                {{1.0f, 7.999f}, 1, 8},
                {{16.0f, 16.0f}, 16, 16}};
    for (const auto& row : rows) {
        auto bitmap = QuartzBitmap::initWithSize(row.size, kCGColorSpaceUserGray);
        ASSERT_TRUE(bitmap) << row.size.width;
        EXPECT_EQ(bitmap->pixelsWide(), row.wide);
        EXPECT_EQ(bitmap->pixelsHigh(), row.high);
        EXPECT_EQ(bitmap->bitmapRep().size(), (SizeF{float(row.wide), float(row.high)}));
    }
    for (SizeF none : {SizeF{0.0f, 5.0f}, SizeF{5.0f, -1.0f}, SizeF{2e9f, 1.0f}})
        EXPECT_FALSE(QuartzBitmap::initWithSize(none, kCGColorSpaceUserGray)) << none.width;
}

TEST(QuartzBitmap, NamesGiveTheThreeLayoutsAndNothingElse) {
    const struct {
        const char* name;
        int samples;
        bool alpha;
        std::string_view label;
    } rows[] = {
        {"kCGColorSpaceUserGray", 1, false, NSCalibratedBlackColorSpace},
        {"kCGColorSpaceUserRGB", 4, true, NSCalibratedRGBColorSpace},
        {"kCGColorSpaceUserCMYK", 4, false, NSDeviceCMYKColorSpace},
    };
    for (const auto& row : rows) {
        auto bitmap = QuartzBitmap::initWithSize({11.0f, 2.0f}, row.name);
        ASSERT_TRUE(bitmap) << row.name;
        const BitmapImageRep& rep = bitmap->bitmapRep();
        EXPECT_EQ(rep.samplesPerPixel(), row.samples) << row.name;
        EXPECT_EQ(rep.hasAlpha(), row.alpha) << row.name;
        EXPECT_EQ(rep.colorSpaceName(), row.label);
        EXPECT_GE(bitmap->bytesPerRow(), std::size_t(11 * row.samples));
        EXPECT_TRUE(bitmap->iccProfile().empty());
    }
    EXPECT_GT(QuartzBitmap::initWithSize({11.0f, 2.0f}, kCGColorSpaceUserGray)->bytesPerRow(), 11u)
        << "rows longer than the pixels need, so that walks must step by them";
    for (const char* refused :
         {"kcgcolorspaceusergray", "kCGColorSpaceUserRGB ", "", "kCGColorSpaceGenericRGB"})
        EXPECT_FALSE(QuartzBitmap::initWithSize({4.0f, 4.0f}, refused)) << refused;
}

TEST(QuartzBitmap, AProfileDecidesBeforeTheName) {
    TempDir dir;
    const Bytes rgb = make(tableRGBRecipe());
    const auto path = writeProfile(dir, "rgb.icc", rgb);
    const SizeF size{2.0f, 2.0f};
    const std::string gray(kCGColorSpaceUserGray);
    const Bytes notAProfile(300, 0x41);

    auto fromPath = QuartzBitmap::initWithSize(size, path, std::nullopt, gray);
    ASSERT_TRUE(fromPath);
    EXPECT_EQ(fromPath->bitmapRep().colorSpaceName(), NSCalibratedRGBColorSpace);
    EXPECT_EQ(fromPath->iccProfile(), rgb);

    // A path that can't be read stands for no data, even beside good data.
    auto missing = QuartzBitmap::initWithSize(size, dir / "missing.icc", rgb, gray);
    ASSERT_TRUE(missing);
    EXPECT_EQ(missing->bitmapRep().samplesPerPixel(), 1);

    auto junkAndName = QuartzBitmap::initWithSize(size, std::nullopt, notAProfile, gray);
    ASSERT_TRUE(junkAndName);
    EXPECT_EQ(junkAndName->bitmapRep().samplesPerPixel(), 1);
    EXPECT_FALSE(QuartzBitmap::initWithSize(size, std::span<const std::uint8_t>(notAProfile)));

    const struct {
        char space[5];
        int samples;
    } rows[] = {{"GRAY", 1}, {"CMYK", 4}, {"MCH5", 0}};
    for (const auto& row : rows) {
        Bytes bytes = rgb;
        setWord(bytes, 16, slidebox::color::fourCC(row.space));
        auto bitmap = QuartzBitmap::initWithSize(size, std::nullopt, bytes, gray);
        if (row.samples == 0) {
            EXPECT_FALSE(bitmap) << "a profile that was read leaves the name untried";
            continue;
        }
        ASSERT_TRUE(bitmap) << row.space;
        EXPECT_EQ(bitmap->bitmapRep().samplesPerPixel(), row.samples);
    }
}

TEST(QuartzBitmap, GrayShortcutsWriteEveryLayoutThroughTheSharedPixels) {
    struct Row {
        const char* name;
        std::array<int, 4> erased, filled, half;
    };
    for (const Row& row :
         {Row{"kCGColorSpaceUserGray", {0}, {255}, {128}},
          Row{"kCGColorSpaceUserRGB", {0, 0, 0, 255}, {255, 255, 255, 255}, {128, 128, 128, 255}},
          Row{"kCGColorSpaceUserCMYK", {0, 0, 0, 255}, {0, 0, 0, 0}, {0, 0, 0, 127}}}) {
        SCOPED_TRACE(row.name);
        auto bitmap = QuartzBitmap::initWithSize({5.0f, 3.0f}, row.name);
        ASSERT_TRUE(bitmap);
        const int samples = bitmap->bitmapRep().samplesPerPixel();
        auto expectEverywhere = [&](const std::array<int, 4>& values) {
            for (int y = 0; y < 3; ++y)
                for (int x = 0; x < 5; ++x)
                    for (int c = 0; c < samples; ++c)
                        ASSERT_EQ(sample(*bitmap, x, y, c), values[c])
                            << x << "," << y << " #" << c;
        };
        bitmap->eraseBitmap();
        expectEverywhere(row.erased);
        bitmap->fillBitmap();
        expectEverywhere(row.filled);
        bitmap->setGrayFillColor(0.5f);
        bitmap->contextRef().fillRect({0.0f, 0.0f, 5.0f, 3.0f});
        expectEverywhere(row.half);
        // y grows upwards: the bottom row is the last in memory.
        bitmap->eraseBitmap();
        bitmap->fillBitmap();
        bitmap->setGrayFillColor(0.0f);
        bitmap->contextRef().fillRect({0.0f, 0.0f, 5.0f, 1.0f});
        EXPECT_EQ(sample(*bitmap, 2, 2, samples - 1), row.erased[samples - 1]);
        EXPECT_EQ(sample(*bitmap, 2, 1, samples - 1), row.filled[samples - 1]);
    }
}

TEST(QuartzBitmap, PathsFillEachClosedSubpathAlone) {
    auto bitmap = QuartzBitmap::initWithSize({40.0f, 40.0f}, kCGColorSpaceUserGray);
    ASSERT_TRUE(bitmap);
    bitmap->eraseBitmap();
    bitmap->setGrayFillColor(1.0f);

    QPainterPath open;
    open.moveTo(0, 0);
    open.lineTo(40, 0);
    open.lineTo(40, 40);
    bitmap->fillPath(open);
    EXPECT_EQ(sample(*bitmap, 35, 30), 0) << "an unclosed path paints nothing";

    // The inner triangle runs the other way round: filled together by the
    // winding rule it would leave a hole.
    QPainterPath nested;
    nested.moveTo(2, 2);
    nested.lineTo(38, 2);
    nested.lineTo(20, 38);
    nested.closeSubpath();
    nested.moveTo(15, 8);
    nested.lineTo(20, 20);
    nested.lineTo(25, 8);
    nested.closeSubpath();
    bitmap->fillPath(nested);
    EXPECT_EQ(sample(*bitmap, 20, 40 - 12), 255) << "inside the inner triangle";
    EXPECT_EQ(sample(*bitmap, 20, 40 - 30), 255) << "between the two";
    EXPECT_EQ(sample(*bitmap, 2, 40 - 30), 0) << "outside both";

    // After eraseBitmap the fill colour is gray 0.0; what was written into
    // the pixels directly is drawn over.
    bitmap->eraseBitmap();
    for (int y = 0; y < 40; ++y)
        std::fill_n(bitmap->bitmapData() + y * bitmap->bytesPerRow(), 40, 200);
    bitmap->fillPath(nested);
    EXPECT_EQ(sample(*bitmap, 20, 40 - 12), 0);
    EXPECT_EQ(sample(*bitmap, 2, 40 - 30), 200);
}

TEST(QuartzBitmap, PicturesOfLightReachCMYKAsInks) {
    // Black takes what the three share; each ink the share of what black leaves.
    const struct {
        QColor light;
        std::array<int, 4> inks;
    } rows[] = {
        {QColor(255, 0, 0), {0, 255, 255, 0}},    {QColor(255, 255, 255), {0, 0, 0, 0}},
        {QColor(0, 0, 0), {0, 0, 0, 255}},        {QColor(128, 128, 128), {0, 0, 0, 127}},
        {QColor(102, 51, 0), {0, 128, 255, 153}}, {QColor(0, 0, 255, 0), {9, 9, 9, 9}},
    };
    for (const auto& row : rows) {
        auto bitmap = QuartzBitmap::initWithSize({2.0f, 2.0f}, kCGColorSpaceUserCMYK);
        ASSERT_TRUE(bitmap);
        bitmap->contextRef().setCMYKFillColor(9 / 255.0f, 9 / 255.0f, 9 / 255.0f, 9 / 255.0f);
        bitmap->contextRef().fillRect({0.0f, 0.0f, 2.0f, 2.0f});
        QImage picture(2, 2, QImage::Format_ARGB32);
        picture.fill(row.light);
        bitmap->contextRef().drawImage({0.0f, 0.0f, 2.0f, 2.0f}, picture);
        EXPECT_EQ((std::array{sample(*bitmap, 1, 1, 0), sample(*bitmap, 1, 1, 1),
                              sample(*bitmap, 1, 1, 2), sample(*bitmap, 1, 1, 3)}),
                  row.inks)
            << row.light.name(QColor::HexArgb).toStdString()
            << " (a transparent picture leaves the inks)";
    }
}

TEST(InkLight, LightIsWhatTheInksLeaveRoundedToTheNearest) {
    // (255 - ink) * (255 - black) / 255: 126.502 goes up, 195.498 down.
    EXPECT_EQ(lightFromInks(1, 0, 255, 128), (std::array<std::uint8_t, 3>{127, 127, 0}));
    EXPECT_EQ(lightFromInks(13, 0, 0, 49), (std::array<std::uint8_t, 3>{195, 206, 206}));
}
