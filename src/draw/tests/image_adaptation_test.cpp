// Scaling representations, adapting images, fitting rectangles.
#include <gtest/gtest.h>

#include "draw/image_adaptation.h"
#include "tests/known_value.h"

using namespace slidebox::draw;
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

Pixel pixel(const BitmapImageRep& r, int x, int y) {
    const std::uint8_t* p =
        r.bitmapData() + std::size_t(y) * r.bytesPerRow() + std::size_t(x * r.samplesPerPixel());
    return Pixel(p, p + r.samplesPerPixel());
}

const auto zero = [](int, int, int) { return 0; };

} // namespace

TEST(AdaptRect, FitsCentredWithTwoPointsClear) {
    const std::pair<RectF, RectF> rows[] = {
        {{0, 0, 120, 80}, {14.0f, 23.33f, 56.0f, 37.33f}},
        {{5, 5, 80, 120}, {19.33f, 8.0f, 45.33f, 68.0f}},
        {{0, 0, 60, 72}, {14.0f, 8.4f, 56.0f, 67.2f}},  // equal proportions: the width's rule
        {{0, 0, 14, 10}, {14.0f, 22.0f, 56.0f, 40.0f}}, // small sources grow
    };
    for (const auto& [source, e] : rows) {
        const RectF f = adaptRect(source, {12.0f, 6.0f, 60.0f, 72.0f});
        EXPECT_TRUE(slidebox::testing::knownValues({e.x, e.y, e.width, e.height},
                                                   slidebox::testing::tolerance::kTwoDecimals,
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
