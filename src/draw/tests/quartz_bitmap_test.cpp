// The off-screen bitmap: sizes, layouts, where its colour space comes from,
// and drawing read back through the shared pixels.
#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "color/tests/profile_fixtures.h"
#include "draw/ink_light.h"
#include "draw/quartz_bitmap.h"

using namespace slidebox::draw;
using namespace slidebox::testing;

namespace {

using Pixel = std::vector<int>;

// The samples of a pixel, walking rows by bytesPerRow; row 0 is the top.
Pixel pixel(QuartzBitmap& bitmap, int x, int yFromTop) {
    const auto samples = static_cast<std::size_t>(bitmap.bitmapRep().samplesPerPixel());
    const std::uint8_t* p = bitmap.bitmapData() +
                            static_cast<std::size_t>(yFromTop) * bitmap.bytesPerRow() +
                            static_cast<std::size_t>(x) * samples;
    return Pixel(p, p + samples);
}

} // namespace

TEST(QuartzBitmap, SizesRoundUpToWholePixels) {
    for (auto [size, wide, high] : {std::tuple{SizeF{10.5f, 3.0f}, 11, 3},
                                    {SizeF{0.2f, 0.2f}, 1, 1},
                                    {SizeF{1.0f, 7.999f}, 1, 8}}) {
        auto bitmap = QuartzBitmap::initWithSize(size, kCGColorSpaceUserGray);
        ASSERT_TRUE(bitmap) << size.width;
        EXPECT_EQ(bitmap->pixelsWide(), wide);
        EXPECT_EQ(bitmap->pixelsHigh(), high);
        EXPECT_EQ(bitmap->bitmapRep().size(), (SizeF{float(wide), float(high)}));
    }
    for (SizeF none : {SizeF{0.0f, 5.0f}, SizeF{5.0f, -1.0f}, SizeF{2e9f, 1.0f}})
        EXPECT_FALSE(QuartzBitmap::initWithSize(none, kCGColorSpaceUserGray)) << none.width;
}

// A profile (from a path, else bytes) that the inspector accepts decides,
// else the name, exactly; the label says the layout: one gray sample, or
// four of RGB with alpha or of CMYK.
TEST(QuartzBitmap, AProfileOrANameDecidesTheLayout) {
    TempDir dir;
    const Bytes rgb = make(tableRGBRecipe()), junk(300, 0x41);
    const auto path = writeProfile(dir, "rgb.icc", rgb);
    auto as = [&](const char(&space)[5]) {
        Bytes bytes = rgb;
        setWord(bytes, 16, slidebox::color::fourCC(space));
        return bytes;
    };
    const std::string_view gray = kCGColorSpaceUserGray, black = NSCalibratedBlackColorSpace;
    const struct {
        std::optional<std::filesystem::path> path;
        std::optional<Bytes> data;
        std::string_view name, label; // no label: no bitmap
    } rows[] = {
        {{}, {}, gray, black},
        {{}, {}, kCGColorSpaceUserRGB, NSCalibratedRGBColorSpace},
        {{}, {}, kCGColorSpaceUserCMYK, NSDeviceCMYKColorSpace},
        {{}, {}, "kcgcolorspaceusergray", ""},
        {{}, {}, "kCGColorSpaceUserRGB ", ""},
        {{}, {}, "kCGColorSpaceGenericRGB", ""},
        {path, {}, gray, NSCalibratedRGBColorSpace},
        {dir / "missing.icc", rgb, gray, black}, // a path that can't be read: no bytes
        {{}, junk, gray, black},
        {{}, as("GRAY"), kCGColorSpaceUserRGB, black},
        {{}, as("CMYK"), gray, NSDeviceCMYKColorSpace},
        {{}, as("MCH5"), gray, ""}, // a profile that was read leaves the name untried
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        auto bitmap = QuartzBitmap::initWithSize(
            {11.0f, 2.0f}, row.path,
            row.data ? std::optional(std::span<const std::uint8_t>(*row.data)) : std::nullopt,
            row.name);
        ASSERT_EQ(bool(bitmap), !row.label.empty());
        const int samples = row.label == black ? 1 : 4;
        EXPECT_TRUE(!bitmap || bitmap->bitmapRep().samplesPerPixel() == samples);
        EXPECT_TRUE(!bitmap ||
                    bitmap->bitmapRep().hasAlpha() == (row.label == NSCalibratedRGBColorSpace));
        EXPECT_TRUE(!bitmap || bitmap->bitmapRep().colorSpaceName() == row.label);
        EXPECT_TRUE(!bitmap || bitmap->bytesPerRow() >= std::size_t(11 * samples));
    }
    EXPECT_GT(QuartzBitmap::initWithSize({11.0f, 2.0f}, gray)->bytesPerRow(), 11u)
        << "rows longer than the pixels need, so that walks must step by them";
    EXPECT_EQ(QuartzBitmap::initWithSize({2.0f, 2.0f}, path)->iccProfile(), rgb);
    EXPECT_TRUE(QuartzBitmap::initWithSize({2.0f, 2.0f}, gray)->iccProfile().empty());
    EXPECT_FALSE(QuartzBitmap::initWithSize({2.0f, 2.0f}, std::span<const std::uint8_t>(junk)));
    EXPECT_FALSE(QuartzBitmap::initWithSize({4.0f, 4.0f}, ""));
}

TEST(QuartzBitmap, FillsWriteEveryLayoutThroughTheSharedPixels) {
    struct Row {
        std::string_view name;
        Pixel erased, filled, half, cmykFill;
    };
    auto rgba = [](int v) { return Pixel{v, v, v, 255}; };
    auto black = [](int k) { return Pixel{0, 0, 0, k}; };
    // The fill of inks 51, 102, 153, 34 as light: (255 - ink) * (255 - black) / 255,
    // and as gray the luminance of that light.
    for (const Row& row :
         {Row{kCGColorSpaceUserGray, {0}, {255}, {128}, {142}},
          Row{kCGColorSpaceUserRGB, rgba(0), rgba(255), rgba(128), {177, 133, 88, 255}},
          Row{kCGColorSpaceUserCMYK, black(255), black(0), black(127), {51, 102, 153, 34}}}) {
        SCOPED_TRACE(row.name);
        auto bitmap = QuartzBitmap::initWithSize({5.0f, 3.0f}, row.name);
        auto expectEverywhere = [&](const Pixel& expected) {
            for (int y = 0; y < 3; ++y)
                for (int x = 0; x < 5; ++x)
                    ASSERT_EQ(pixel(*bitmap, x, y), expected) << x << "," << y;
        };
        bitmap->eraseBitmap();
        expectEverywhere(row.erased);
        bitmap->fillBitmap();
        expectEverywhere(row.filled);
        bitmap->setGrayFillColor(0.5f);
        bitmap->contextRef().fillRect({0.0f, 0.0f, 5.0f, 3.0f});
        expectEverywhere(row.half);
        bitmap->contextRef().setCMYKFillColor(0.2f, 0.4f, 0.6f, 34 / 255.0f);
        bitmap->contextRef().fillRect({0.0f, 0.0f, 5.0f, 3.0f});
        expectEverywhere(row.cmykFill);
        // y grows upwards: the bottom row is the last in memory.
        bitmap->fillBitmap();
        bitmap->setGrayFillColor(0.0f);
        bitmap->contextRef().fillRect({0.0f, 0.0f, 5.0f, 1.0f});
        EXPECT_EQ(pixel(*bitmap, 2, 2).back(), row.erased.back());
        EXPECT_EQ(pixel(*bitmap, 2, 1).back(), row.filled.back());
    }
}

TEST(QuartzBitmap, PathsFillEachClosedSubpathAlone) {
    auto bitmap = QuartzBitmap::initWithSize({40.0f, 40.0f}, kCGColorSpaceUserGray);
    bitmap->eraseBitmap();
    bitmap->setGrayFillColor(1.0f);
    QPainterPath open;
    open.addPolygon(QPolygonF({{0, 0}, {40, 0}, {40, 40}}));
    bitmap->fillPath(open);
    EXPECT_EQ(pixel(*bitmap, 35, 30), Pixel{0}) << "an unclosed path paints nothing";

    // The inner triangle runs the other way round: filled together by the
    // winding rule it would leave a hole.
    QPainterPath nested;
    nested.addPolygon(QPolygonF({{2, 2}, {38, 2}, {20, 38}}));
    nested.closeSubpath();
    nested.addPolygon(QPolygonF({{15, 8}, {20, 20}, {25, 8}}));
    nested.closeSubpath();
    bitmap->fillPath(nested);
    EXPECT_EQ(pixel(*bitmap, 20, 40 - 12), Pixel{255}) << "inside the inner triangle";
    EXPECT_EQ(pixel(*bitmap, 20, 40 - 30), Pixel{255}) << "between the two";
    EXPECT_EQ(pixel(*bitmap, 2, 40 - 30), Pixel{0}) << "outside both";

    // After eraseBitmap the fill colour is gray 0.0; what was written into
    // the pixels directly is drawn over.
    bitmap->eraseBitmap();
    for (int y = 0; y < 40; ++y)
        std::fill_n(bitmap->bitmapData() + y * bitmap->bytesPerRow(), 40, 200);
    bitmap->fillPath(nested);
    EXPECT_EQ(pixel(*bitmap, 20, 40 - 12), Pixel{0});
    EXPECT_EQ(pixel(*bitmap, 2, 40 - 30), Pixel{200});
}

TEST(QuartzBitmap, PicturesOfLightReachCMYKAsInks) {
    // Black takes what the three share; each ink the share of what black
    // leaves. A transparent picture leaves the inks.
    const std::pair<QColor, Pixel> rows[] = {
        {QColor(255, 0, 0), {0, 255, 255, 0}},    {QColor(255, 255, 255), {0, 0, 0, 0}},
        {QColor(0, 0, 0), {0, 0, 0, 255}},        {QColor(128, 128, 128), {0, 0, 0, 127}},
        {QColor(102, 51, 0), {0, 128, 255, 153}}, {QColor(0, 0, 255, 0), {9, 9, 9, 9}},
    };
    for (const auto& [light, inks] : rows) {
        auto bitmap = QuartzBitmap::initWithSize({2.0f, 2.0f}, kCGColorSpaceUserCMYK);
        bitmap->contextRef().setCMYKFillColor(9 / 255.0f, 9 / 255.0f, 9 / 255.0f, 9 / 255.0f);
        bitmap->contextRef().fillRect({0.0f, 0.0f, 2.0f, 2.0f});
        QImage picture(2, 2, QImage::Format_ARGB32);
        picture.fill(light);
        bitmap->contextRef().drawImage({0.0f, 0.0f, 2.0f, 2.0f}, picture);
        EXPECT_EQ(pixel(*bitmap, 1, 1), inks) << light.name(QColor::HexArgb).toStdString();
    }
}

TEST(InkLight, LightIsWhatTheInksLeaveRoundedToTheNearest) {
    // (255 - ink) * (255 - black) / 255: 126.502 goes up, 195.498 down.
    EXPECT_EQ(lightFromInks(1, 0, 255, 128), (std::array<std::uint8_t, 3>{127, 127, 0}));
    EXPECT_EQ(lightFromInks(13, 0, 0, 49), (std::array<std::uint8_t, 3>{195, 206, 206}));
}
