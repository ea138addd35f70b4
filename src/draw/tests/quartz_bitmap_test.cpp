// The off-screen bitmap (sizes, layouts, where its colour space comes from,
// drawing read back through the shared pixels), scaling representations,
// adapting images and fitting rectangles.
#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "color/tests/profile_fixtures.h"
#include "draw/image_adaptation.h"
#include "draw/ink_light.h"
#include "draw/quartz_bitmap.h"
#include "tests/known_value.h"

using namespace slidebox::draw;
using namespace slidebox::testing;
using slidebox::image::Bitmap;
using slidebox::image::ColorSpace;
using enum slidebox::image::ColorSpace;
using slidebox::image::PixelFormat;
using Pixel = std::vector<int>;

namespace {

// A representation of w x h pixels of 8-bit samples, rows padded to 3 bytes
// beyond the need, sample c of pixel (x, y) set by fill(x, y, c).
template <class Fill>
BitmapImageRep rep(std::string_view name, ColorSpace space, int w, int h, Fill fill) {
    const auto format = PixelFormat::make(space, 8);
    const int samples = format.samplesPerPixel();
    auto pixels = Bitmap::allocate(w, h, format, std::size_t(w * samples) + 3);
    for (int y = 0; y < h; ++y)
        for (int i = 0; i < w * samples; ++i)
            pixels->row(y)[i] = static_cast<std::uint8_t>(fill(i / samples, y, i % samples));
    return BitmapImageRep(std::move(pixels).value(), std::string(name));
}

// The samples of a pixel, walking rows by bytesPerRow; row 0 is the top.
Pixel pixel(const BitmapImageRep& r, int x, int y) {
    const std::uint8_t* p =
        r.bitmapData() + std::size_t(y) * r.bytesPerRow() + std::size_t(x * r.samplesPerPixel());
    return Pixel(p, p + r.samplesPerPixel());
}
Pixel pixel(QuartzBitmap& bitmap, int x, int y) {
    return pixel(bitmap.bitmapRep(), x, y);
}

const auto zero = [](int, int, int) { return 0; };

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
        // Rows longer than the pixels need, so that walks must step by them.
        EXPECT_TRUE(!bitmap || bitmap->bytesPerRow() > std::size_t(11 * samples));
    }
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
    // A picture only of packed 8-bit inks.
    EXPECT_TRUE(
        lightFromInks(Bitmap::allocate(2, 2, PixelFormat::make(CMYK, 16)).value()).isNull());
}

TEST(AdaptRect, FitsCentredWithTwoPointsClear) {
    const std::pair<RectF, RectF> rows[] = {
        {{0, 0, 120, 80}, {14.0f, 23.33f, 56.0f, 37.33f}},
        {{5, 5, 80, 120}, {19.33f, 8.0f, 45.33f, 68.0f}},
        {{0, 0, 60, 72}, {14.0f, 8.4f, 56.0f, 67.2f}},  // equal proportions: the width's rule
        {{0, 0, 14, 10}, {14.0f, 22.0f, 56.0f, 40.0f}}, // small sources grow
    };
    for (const auto& [source, e] : rows) {
        const RectF f = adaptRect(source, {12.0f, 6.0f, 60.0f, 72.0f});
        EXPECT_TRUE(knownValues({e.x, e.y, e.width, e.height}, tolerance::kTwoDecimals,
                                {f.x, f.y, f.width, f.height}))
            << source.width;
    }
}

TEST(BitmapWithPixelsSize, GrayOfAWhiteSpaceComesOutReversed) {
    auto sampleOf = [](int x, int y, int) { return 10 + 40 * x + y; };
    for (auto [name, reversed] : {std::pair{NSCalibratedWhiteColorSpace, true},
                                  {NSDeviceWhiteColorSpace, true},
                                  {NSCalibratedBlackColorSpace, false},
                                  {NSDeviceBlackColorSpace, false}}) {
        SCOPED_TRACE(name);
        const BitmapImageRep source = rep(name, Gray, 4, 3, sampleOf);
        auto scaled = bitmapWithPixelsSize({4.0f, 3.0f}, source);
        EXPECT_EQ(scaled->colorSpaceName(), NSCalibratedBlackColorSpace);
        for (auto [x, y] : {std::pair{0, 0}, {3, 2}, {1, 2}})
            EXPECT_EQ(pixel(*scaled, x, y)[0],
                      reversed ? 255 - sampleOf(x, y, 0) : sampleOf(x, y, 0));
        // Both show the picture of their source.
        EXPECT_EQ(qGray(scaled->toQImage().pixel(3, 2)), qGray(source.toQImage().pixel(3, 2)));
        // The same picture in the other gray space.
        const auto turned = BitmapImageRep::reversedGray(rep(name, Gray, 4, 3, sampleOf));
        EXPECT_EQ(turned.colorSpaceName(),
                  reversed ? NSCalibratedBlackColorSpace : NSCalibratedWhiteColorSpace);
        EXPECT_EQ(pixel(turned, 3, 2)[0], 255 - sampleOf(3, 2, 0));
    }
}

TEST(BitmapWithPixelsSize, LayoutsFollowTheSourceSpaceOrThereIsNone) {
    const auto rgb =
        rep(NSDeviceRGBColorSpace, RGB, 2, 2, [](int, int, int c) { return 60 * (c + 1); });
    EXPECT_EQ(pixel(*bitmapWithPixelsSize({6.0f, 5.0f}, rgb), 3, 2), (Pixel{60, 120, 180, 255}))
        << "24 bits a pixel get alpha";

    const auto cmyk =
        rep(NSDeviceCMYKColorSpace, CMYK, 3, 3, [](int, int, int c) { return 11 + 50 * c; });
    auto inks = bitmapWithPixelsSize({10.5f, 2.0f}, cmyk);
    EXPECT_EQ(inks->colorSpaceName(), NSDeviceCMYKColorSpace);
    EXPECT_EQ(inks->pixelsWide(), 11);
    EXPECT_EQ(inks->size(), (SizeF{3.0f, 3.0f})) << "the source's points";
    for (int x : {0, 5, 9})
        EXPECT_EQ(pixel(*inks, x, 1), (Pixel{11, 61, 111, 161})) << x;
    EXPECT_NEAR(pixel(*inks, 10, 1)[3], 161 / 2, 1) << "the drawing keeps half the last pixel";

    EXPECT_FALSE(bitmapWithPixelsSize({2.0f, 2.0f}, rep(NSCustomColorSpace, Lab, 2, 2, zero)));
    EXPECT_FALSE(bitmapWithPixelsSize({2.0f, 2.0f}, rep("NSPatternColorSpace", Gray, 2, 2, zero)));
    EXPECT_FALSE(bitmapWithPixelsSize({2.0f, 2.0f}, rep(NSDeviceRGBColorSpace, Gray, 2, 2, zero)))
        << "an RGB of one sample a pixel";
    EXPECT_FALSE(bitmapWithPixelsSize(
        {2.0f, 2.0f}, BitmapImageRep(Bitmap(), std::string(NSCalibratedWhiteColorSpace))))
        << "a gray without bits per pixel";
    EXPECT_FALSE(
        bitmapWithPixelsSize({0.0f, 2.0f}, rep(NSCalibratedWhiteColorSpace, Gray, 2, 2, zero)));
    // Nor is any but a named gray turned round.
    EXPECT_EQ(
        BitmapImageRep::reversedGray(rep("NSPatternColorSpace", Gray, 2, 2, zero)).colorSpaceName(),
        "NSPatternColorSpace");
}

TEST(AdaptImage, ReplacesTheFirstRepresentationAndPicksBySize) {
    QImage picture(64, 32, QImage::Format_RGB32);
    picture.fill(QColor(200, 40, 10));
    Image image = Image::fromQImage(picture);
    adaptImage(image, 16);
    ASSERT_EQ(image.representations().size(), 1u);
    EXPECT_EQ(image.size(), (SizeF{16.0f, 16.0f}));
    EXPECT_EQ(image.representations()[0]->size(), (SizeF{16.0f, 16.0f}));
    EXPECT_EQ(image.representations()[0]->pixelsWide(), 16);

    const QImage icon = statusItemIcon(picture);
    ASSERT_EQ(icon.size(), QSize(16, 16));
    EXPECT_EQ(icon.pixelColor(15, 0), QColor(200, 40, 10)) << "stretched, not letter-boxed";
    EXPECT_TRUE(statusItemIcon(QImage()).isNull());

    Image several;
    for (int side : {128, 32, 16})
        several.addRepresentation(std::make_unique<BitmapImageRep>(
            std::move(*BitmapImageRep::fromQImage(picture.scaled(side, side)))));
    adaptIconImage(several, 16);
    ASSERT_EQ(several.representations().size(), 1u);
    EXPECT_EQ(several.representations()[0]->pixelsWide(), 16);
    adaptImageSize(several, {20.0f, 10.0f});
    EXPECT_EQ(several.representations()[0]->size(), (SizeF{20.0f, 10.0f}));
    EXPECT_EQ(several.representations()[0]->pixelsWide(), 16);
}

TEST(FilmStripCell, DrawsThePictureIntoTheFrameOfACopy) {
    QImage strip(84, 84, QImage::Format_ARGB32_Premultiplied);
    strip.fill(QColor(20, 20, 20));
    QImage picture(120, 80, QImage::Format_RGB32);
    picture.fill(QColor(250, 200, 0));
    const QImage before = strip.copy();
    const QImage cell = filmStripCell(strip, picture, {12.0f, 6.0f, 60.0f, 72.0f});
    // The picture takes x 14..70 and y 23.3..60.7 from the bottom.
    EXPECT_EQ(cell.pixelColor(42, 84 - 40), QColor(250, 200, 0));
    EXPECT_EQ(cell.pixelColor(42, 84 - 15), QColor(20, 20, 20));
    EXPECT_EQ(cell.pixelColor(5, 42), QColor(20, 20, 20));
    EXPECT_EQ(strip, before);
    EXPECT_EQ(filmStripCell(strip, QImage(), {12.0f, 6.0f, 60.0f, 72.0f}).pixelColor(42, 44),
              QColor(20, 20, 20));
}
