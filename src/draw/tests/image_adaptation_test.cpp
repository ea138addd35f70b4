// Scaling representations, adapting images, fitting rectangles.
#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "draw/image_adaptation.h"
#include "tests/known_value.h"

using namespace slidebox::draw;
using slidebox::image::Bitmap;
using slidebox::image::ColorSpace;
using slidebox::image::PixelFormat;
using namespace slidebox::testing;
using namespace slidebox::testing::tolerance;

namespace {

// A representation of w x h pixels, rows padded to 3 bytes beyond the
// need, every sample set by fill(x, y, channel).
template <class Fill>
BitmapImageRep rep(std::string_view name, PixelFormat format, int w, int h, Fill fill) {
    const std::size_t rowBytes = std::size_t(w) * format.samplesPerPixel() + 3;
    auto pixels = Bitmap::allocate(w, h, format, rowBytes);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < format.samplesPerPixel(); ++c)
                pixels->row(y)[x * format.samplesPerPixel() + c] =
                    static_cast<std::uint8_t>(fill(x, y, c));
    return BitmapImageRep(std::move(pixels).value(), std::string(name));
}

int at(const BitmapImageRep& r, int x, int y, int c = 0) {
    return r
        .bitmapData()[std::size_t(y) * r.bytesPerRow() + std::size_t(x * r.samplesPerPixel() + c)];
}
std::array<int, 4> pixel4(const BitmapImageRep& r, int x, int y) {
    return {at(r, x, y, 0), at(r, x, y, 1), at(r, x, y, 2), at(r, x, y, 3)};
}

const PixelFormat kGray = PixelFormat::make(ColorSpace::Gray, 8);

} // namespace

TEST(AdaptRect, FitsCentredWithTwoPointsClear) {
    const RectF frame{12.0f, 6.0f, 60.0f, 72.0f};
    const struct {
        RectF source, expected;
    } rows[] = {
        {{0, 0, 120, 80}, {14.0f, 23.33f, 56.0f, 37.33f}},
        {{5, 5, 80, 120}, {19.33f, 8.0f, 45.33f, 68.0f}},
        {{0, 0, 60, 72}, {14.0f, 8.4f, 56.0f, 67.2f}},  // equal proportions: the width's rule
        {{0, 0, 14, 10}, {14.0f, 22.0f, 56.0f, 40.0f}}, // small sources grow
    };
    for (const auto& row : rows) {
        const RectF f = adaptRect(row.source, frame), e = row.expected;
        EXPECT_TRUE(
            knownValues({e.x, e.y, e.width, e.height}, kTwoDecimals, {f.x, f.y, f.width, f.height}))
            << row.source.width;
    }
}

TEST(BitmapWithPixelsSize, GrayOfAWhiteSpaceComesOutReversed) {
    auto sampleOf = [](int x, int y, int) { return 10 + 40 * x + y; };
    const struct {
        std::string_view name;
        bool reversed;
    } rows[] = {{NSCalibratedWhiteColorSpace, true},
                {NSDeviceWhiteColorSpace, true},
                {NSCalibratedBlackColorSpace, false},
                {NSDeviceBlackColorSpace, false}};
    for (const auto& row : rows) {
        const BitmapImageRep source = rep(row.name, kGray, 4, 3, sampleOf);
        auto scaled = bitmapWithPixelsSize({4.0f, 3.0f}, source);
        ASSERT_TRUE(scaled) << row.name;
        EXPECT_EQ(scaled->colorSpaceName(), NSCalibratedBlackColorSpace);
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 4; ++x)
                ASSERT_EQ(at(*scaled, x, y),
                          row.reversed ? 255 - sampleOf(x, y, 0) : sampleOf(x, y, 0))
                    << row.name << " " << x << "," << y;
        // Both show the picture of their source.
        EXPECT_EQ(qGray(scaled->toQImage().pixel(3, 2)), qGray(source.toQImage().pixel(3, 2)));
    }
}

TEST(BitmapWithPixelsSize, LayoutsFollowTheSourceSpace) {
    const BitmapImageRep rgb = rep(NSDeviceRGBColorSpace, PixelFormat::make(ColorSpace::RGB, 8), 2,
                                   2, [](int, int, int c) { return 60 * (c + 1); });
    auto rgba = bitmapWithPixelsSize({6.0f, 5.0f}, rgb);
    ASSERT_TRUE(rgba);
    EXPECT_EQ(rgba->samplesPerPixel(), 4) << "24 bits a pixel come out with alpha";
    EXPECT_EQ(pixel4(*rgba, 3, 2), (std::array{60, 120, 180, 255}));

    const BitmapImageRep cmyk = rep(NSDeviceCMYKColorSpace, PixelFormat::make(ColorSpace::CMYK, 8),
                                    3, 3, [](int, int, int c) { return 11 + 50 * c; });
    auto inks = bitmapWithPixelsSize({10.5f, 2.0f}, cmyk);
    ASSERT_TRUE(inks);
    EXPECT_EQ(inks->colorSpaceName(), NSDeviceCMYKColorSpace);
    EXPECT_EQ(inks->pixelsWide(), 11);
    EXPECT_EQ(inks->size(), (SizeF{3.0f, 3.0f})) << "the source's points";
    for (int x : {0, 5, 9})
        EXPECT_EQ(pixel4(*inks, x, 1), (std::array{11, 61, 111, 161})) << x;
    EXPECT_NEAR(at(*inks, 10, 1, 3), 161 / 2, 1)
        << "the drawing keeps the fraction: half the last pixel";
}

TEST(BitmapWithPixelsSize, GivesNothingForWhatItCannotRead) {
    const BitmapImageRep lab = rep(NSCustomColorSpace, PixelFormat::make(ColorSpace::Lab, 8), 2, 2,
                                   [](int, int, int) { return 128; });
    EXPECT_FALSE(bitmapWithPixelsSize({2.0f, 2.0f}, lab));
    const BitmapImageRep mislabelled =
        rep("NSPatternColorSpace", kGray, 2, 2, [](int, int, int) { return 0; });
    EXPECT_FALSE(bitmapWithPixelsSize({2.0f, 2.0f}, mislabelled));
    EXPECT_FALSE(bitmapWithPixelsSize(
        {2.0f, 2.0f}, BitmapImageRep(Bitmap(), std::string(NSCalibratedWhiteColorSpace))))
        << "a gray without bits per pixel";
    const BitmapImageRep gray =
        rep(NSCalibratedWhiteColorSpace, kGray, 2, 2, [](int, int, int) { return 0; });
    EXPECT_FALSE(bitmapWithPixelsSize({0.0f, 2.0f}, gray));
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
    for (int side : {128, 32, 16}) {
        auto r = BitmapImageRep::fromQImage(picture.scaled(side, side));
        several.addRepresentation(std::make_unique<BitmapImageRep>(std::move(*r)));
    }
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
