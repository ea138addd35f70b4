#include <gtest/gtest.h>

#include <cstring>

#include "image/tiff_reader.h"
#include "image/tiff_writer.h"
#include "tests/temp_dir.h"
#include "tiff_fixtures.h"

using namespace slidebox::image;
using slidebox::image::testing::rampBitmap;
using slidebox::testing::TempDir;

namespace {

Bitmap labRamp(std::int32_t w, std::int32_t h) {
    return rampBitmap(w, h, PixelFormat::make(ColorSpace::Lab, 16));
}

} // namespace

TEST(TiffRawLayout, UncompressedStripsAreTheSamplesInPlace) {
    TempDir dir;
    const Bitmap lab = labRamp(50, 40);
    // Small strips, so that several must follow one another.
    ASSERT_TRUE(writeTiff(dir / "lab.tif", lab, {TiffCompression::None, 7, {}, false}));
    auto reader = TiffReader::open(dir / "lab.tif");
    ASSERT_TRUE(reader);
    auto raw = reader->rawLayout();
    ASSERT_TRUE(raw);
    EXPECT_TRUE(raw->labSigned);
    EXPECT_EQ(raw->rowBytes, 300u);
    const std::string file = slidebox::testing::readFile(dir / "lab.tif");
    ASSERT_LE(raw->offset + 300 * 40, file.size());
    // L as it is; a and b signed, their top bit turned.
    for (std::int32_t y = 0; y < 40; ++y)
        for (std::int32_t i = 0; i < 150; ++i) {
            std::uint16_t stored;
            std::memcpy(&stored, file.data() + raw->offset + y * 300 + 2 * i, 2);
            ASSERT_EQ(stored, lab.row16(y)[i] ^ (i % 3 == 0 ? 0 : 0x8000)) << y << ", " << i;
        }

    // RGB needs no change at all.
    Bitmap rgb = rampBitmap(9, 4, PixelFormat::make(ColorSpace::RGB, 8));
    ASSERT_TRUE(writeTiff(dir / "rgb.tif", rgb, {TiffCompression::None, 0, {}, false}));
    auto rgbRaw = TiffReader::open(dir / "rgb.tif")->rawLayout();
    ASSERT_TRUE(rgbRaw);
    EXPECT_FALSE(rgbRaw->labSigned);
}

TEST(TiffRawLayout, NothingWhereReadingChangesTheBytes) {
    TempDir dir;
    const Bitmap lab = labRamp(20, 10);
    ASSERT_TRUE(writeTiff(dir / "lzw.tif", lab, {TiffCompression::LZW, 0, {}, false}));
    EXPECT_FALSE(TiffReader::open(dir / "lzw.tif")->rawLayout());
    Bitmap planar = rampBitmap(20, 10, PixelFormat::make(ColorSpace::RGB, 8, false, true));
    ASSERT_TRUE(writeTiff(dir / "planar.tif", planar, {TiffCompression::None, 0, {}, false}));
    EXPECT_FALSE(TiffReader::open(dir / "planar.tif")->rawLayout());
}
