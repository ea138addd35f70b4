#include "image/bitmap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "samples.h"

namespace slidebox::image {
namespace {

using ::testing::HasSubstr;
using enum ImageErrorCode;
using enum ColorSpace;
using testing::format;

// Planar: one sample a plane, each plane of every sample.
static_assert(format(RGB, 8, true).bytesPerPlanePixel() == 4);
static_assert(format(Gray, 16, true, true).bytesPerPlanePixel() == 2);
static_assert(format(Gray, 16, true, true).bitsPerPixel() == 32);
static_assert(format(CMYK, 16).bitsPerPixel() == 64);
static_assert(format(Lab, 16).bytesPerPlanePixel() == 6);
static_assert(format(XYZ, 8, false, true).planeCount() == 3);

TEST(PixelFormatTest, ValidityAndNames) {
    EXPECT_TRUE(format(Lab, 16).isValid());
    EXPECT_FALSE(format(RGB, 24).isValid());
    PixelFormat premultipliedWithoutAlpha = format(RGB, 8);
    premultipliedWithoutAlpha.alphaPremultiplied = true;
    EXPECT_FALSE(premultipliedWithoutAlpha.isValid());

    // ICC signatures, first character in the top byte.
    EXPECT_EQ(colorSpaceSignature(Gray), 0x47524159u);
    EXPECT_EQ(colorSpaceSignature(RGB), 0x52474220u);
    EXPECT_EQ(colorSpaceSignature(CMYK), 0x434D594Bu);
    EXPECT_EQ(colorSpaceSignature(Lab), 0x4C616220u);
    EXPECT_EQ(describe(format(RGB, 16, true, true)), "RGB 16-bit planar with alpha");
}

TEST(ZolRectTest, HalfOpenEdges) {
    const ZOL_Rect r = makeRect(2, 3, 4, 5); // columns 2..5, rows 3..7
    EXPECT_TRUE(r.contains(ZOL_Point{2, 3}));
    EXPECT_TRUE(r.contains(ZOL_Point{5, 7}));
    EXPECT_FALSE(r.contains(ZOL_Point{6, 3}));
    EXPECT_FALSE(r.contains(ZOL_Point{2, 8}));
    EXPECT_TRUE(r.contains(makeRect(2, 3, 4, 5)));
    EXPECT_FALSE(r.contains(makeRect(2, 3, 5, 5)));
    EXPECT_TRUE(r.contains(makeRect(100, 100, 0, 0))); // empty lies anywhere
    EXPECT_TRUE(makeRect(0, 0, -1, 5).isEmpty());
}

TEST(ZolRectTest, IntersectionAndFarEdgesDoNotWrap) {
    EXPECT_EQ(intersection(makeRect(0, 0, 10, 10), makeRect(5, 8, 10, 10)), makeRect(5, 8, 5, 2));
    // Touching edges share no pixel.
    EXPECT_TRUE(intersection(makeRect(0, 0, 10, 10), makeRect(10, 0, 5, 5)).isEmpty());

    const ZOL_Rect far = makeRect(INT32_MAX - 1, 0, INT32_MAX, 1);
    EXPECT_EQ(far.right(), std::int64_t{INT32_MAX} - 1 + INT32_MAX);
    EXPECT_TRUE(far.contains(ZOL_Point{INT32_MAX, 0}));
    EXPECT_FALSE(makeRect(0, 0, 100, 1).contains(far));
    EXPECT_EQ(intersection(far, makeRect(0, 0, INT32_MAX, 1)), makeRect(INT32_MAX - 1, 0, 1, 1));
}

TEST(BitmapTest, AllocateOwnsZeroedRowsWithChosenStride) {
    auto bitmap = Bitmap::allocate(5, 3, format(RGB, 16), 40);
    EXPECT_TRUE(bitmap->ownsPixels());
    EXPECT_EQ(bitmap->minRowBytes(), 30u);
    EXPECT_EQ(bitmap->rowBytes(), 40u);
    EXPECT_EQ(bitmap->row(2) - bitmap->row(0), 80);
    EXPECT_EQ(testing::samplesOf(*bitmap), std::vector<std::uint32_t>(45, 0));

    auto planar = Bitmap::allocate(5, 3, format(CMYK, 8, false, true));
    EXPECT_EQ(planar->planeCount(), 4);
    EXPECT_EQ(planar->rowBytes(), 5u);
    EXPECT_EQ(planar->plane(4), nullptr);
    // Planes don't overlap.
    EXPECT_GE(planar->plane(1) - planar->plane(0), 15);
}

TEST(BitmapTest, RefusedSizesNeverWrap) {
    const auto rgba16 = format(RGB, 16, true);
    for (auto [w, h, rowBytes] : {std::tuple{0, 10, 0}, {10, -1, 0}, {4, 4, 31}})
        EXPECT_EQ(Bitmap::allocate(w, h, rgba16, rowBytes).status().code(), BadArgument) << w;
    EXPECT_THAT(Bitmap::allocate(0, 10, rgba16).status().message(), HasSubstr("0 x 10"));
    EXPECT_EQ(Bitmap::allocate(4, 4, format(RGB, 32)).status().code(), BadArgument);
    // 2^31 - 1 pixels of 8 bytes: a row longer than a signed 32-bit length.
    EXPECT_EQ(Bitmap::allocate(INT32_MAX, 1, rgba16).status().code(), TooLarge);
    // Rows that fit, but five planes of 2^31 - 1 of them overflow a 64-bit
    // size: refused, not wrapped round to a small block.
    EXPECT_EQ(Bitmap::allocate(INT32_MAX, INT32_MAX, format(CMYK, 8, true, true)).status().code(),
              TooLarge);
}

TEST(BitmapTest, WrapLeavesMemoryWithTheCaller) {
    std::vector<std::uint8_t> memory(2 * 8, 7);
    auto bitmap = Bitmap::wrap(2, 2, format(RGB, 8), 8, memory.data());
    EXPECT_FALSE(bitmap->ownsPixels());
    bitmap->row(1)[5] = 42;
    EXPECT_EQ(memory[13], 42);

    // The last row needs only its pixels: 3 planes of 2 rows of 8, the last 2 bytes short.
    std::vector<std::uint8_t> a(6), b(6), c(6);
    std::uint8_t* const planes[] = {a.data(), b.data(), c.data()};
    const auto labPlanar = format(Lab, 8, false, true);
    Bitmap::wrap(2, 2, labPlanar, 4, planes)->row(1, 2)[1] = 9;
    EXPECT_EQ(c[5], 9);
    EXPECT_THAT(Bitmap::wrap(2, 2, labPlanar, 4, std::span(planes, 2)).status().message(),
                HasSubstr("2 planes"));
    std::uint8_t* const missing[] = {a.data(), nullptr, c.data()};
    EXPECT_EQ(Bitmap::wrap(2, 2, labPlanar, 4, missing).status().code(), BadArgument);
    alignas(2) std::uint8_t wide[32] = {};
    const auto gray16 = format(Gray, 16);
    EXPECT_EQ(Bitmap::wrap(2, 2, gray16, 4, wide + 1).status().code(), BadArgument);
    EXPECT_EQ(Bitmap::wrap(2, 2, gray16, 5, wide).status().code(), BadArgument);
}

TEST(BitmapTest, ViewWritesIntoItsParent) {
    auto parent = Bitmap::allocate(6, 4, format(RGB, 8, true, true));
    auto view = parent->view(makeRect(2, 1, 3, 2));
    EXPECT_FALSE(view->ownsPixels());
    EXPECT_EQ(view->size(), (ZOL_Size{3, 2}));
    view->row(1, 3)[2] = 200; // alpha plane, pixel (2 + 2, 1 + 1) of the parent
    EXPECT_EQ(parent->row(2, 3)[4], 200);
    EXPECT_EQ(parent->row(2, 2)[4], 0);

    EXPECT_FALSE(parent->view(makeRect(4, 0, 3, 1)));
    EXPECT_FALSE(parent->view(makeRect(0, 0, 0, 1)));
    EXPECT_FALSE(parent->view(makeRect(-1, 0, 1, 1)));
}

TEST(BitmapTest, CloneCopiesPixelsNotPaddingAndMovesEmptyTheSource) {
    auto padded = Bitmap::allocate(3, 2, format(Gray, 8), 16);
    padded->row(0)[2] = 1;
    padded->row(1)[0] = 2;
    padded->row(0)[10] = 99; // padding
    auto copy = padded->clone();
    EXPECT_TRUE(copy->ownsPixels());
    EXPECT_EQ(copy->rowBytes(), 3u);
    EXPECT_TRUE(copy->samePixels(*padded));
    copy->row(1)[2] = 5;
    EXPECT_FALSE(copy->samePixels(*padded));
    EXPECT_EQ(padded->row(1)[2], 0);

    Bitmap moved = std::move(copy).value();
    EXPECT_EQ(moved.row(1)[2], 5);
    Bitmap target;
    target = std::move(moved);
    EXPECT_TRUE(moved.isNull());
    EXPECT_EQ(moved.width(), 0);
    EXPECT_EQ(target.row(0)[2], 1);
}

} // namespace
} // namespace slidebox::image
