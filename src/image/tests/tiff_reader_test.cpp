#include "image/tiff_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/temp_dir.h"
#include "tiff_fixtures.h"

namespace slidebox::image {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using testing::format;
using testing::RawTiff;

constexpr auto kGray = ColorSpace::Gray, kRGB = ColorSpace::RGB, kLab = ColorSpace::Lab;

/// A file of samples all different (the ramp of the fixtures).
RawTiff ramp(std::uint32_t w, std::uint32_t h, std::uint16_t samples, std::uint16_t bits,
             std::uint16_t photometric) {
    RawTiff raw{
        .width = w, .height = h, .samples = samples, .bits = bits, .photometric = photometric};
    raw.values = testing::rampValues(std::size_t{w} * h * samples, bits);
    return raw;
}

class TiffReaderTest : public ::testing::Test {
  protected:
    /// Writes the fixture and reads it whole; fails the test on refusal.
    Bitmap read(const RawTiff& raw, const char* name = "fixture.tif") {
        const auto path = dir / name;
        EXPECT_TRUE(testing::writeRawTiff(path, raw));
        auto bitmap = readTiff(path);
        EXPECT_TRUE(bitmap) << bitmap.status().message();
        return bitmap ? std::move(bitmap).value() : Bitmap();
    }

    /// Reads the fixture and checks its format and samples (by default the file's
    /// own).
    void expectRead(const RawTiff& raw, PixelFormat expectedFormat,
                    const std::vector<std::uint32_t>& expected = {}) {
        auto bitmap = read(raw);
        EXPECT_EQ(bitmap.format(), expectedFormat) << describe(bitmap.format());
        EXPECT_THAT(testing::bitmapValues(bitmap),
                    ElementsAreArray(expected.empty() ? raw.values : expected));
    }

    slidebox::testing::TempDir dir;
};

TEST_F(TiffReaderTest, GrayMinIsBlackKeepsSamplesMinIsWhiteIsReversed) {
    RawTiff raw{.width = 3, .height = 1, .values = {0, 10, 255}};
    expectRead(raw, format(kGray, 8));
    raw.photometric = PHOTOMETRIC_MINISWHITE;
    expectRead(raw, format(kGray, 8), {255, 245, 0});
    raw.bits = 16;
    raw.values = {0, 1000, 65535};
    expectRead(raw, format(kGray, 16), {65535, 64535, 0});
    // Alpha keeps its meaning.
    raw = {.width = 2, .height = 1, .samples = 2, .photometric = PHOTOMETRIC_MINISWHITE};
    raw.extraSamples = {EXTRASAMPLE_UNASSALPHA};
    raw.values = {0, 255, 200, 30};
    expectRead(raw, format(kGray, 8, true), {255, 255, 55, 30});
}

TEST_F(TiffReaderTest, LayoutsAlphaKindsAndInksAsTheFileHasThem) {
    // Planar: the file's planes, red of all pixels first.
    RawTiff raw = ramp(3, 2, 3, 16, PHOTOMETRIC_RGB);
    expectRead(raw, format(kRGB, 16));
    raw.planar = PLANARCONFIG_SEPARATE;
    expectRead(raw, format(kRGB, 16, false, true));

    // The kind of alpha comes from the extra sample.
    raw = ramp(2, 2, 4, 8, PHOTOMETRIC_RGB);
    raw.extraSamples = {EXTRASAMPLE_ASSOCALPHA};
    auto premultiplied = format(kRGB, 8, true);
    premultiplied.alphaPremultiplied = true;
    expectRead(raw, premultiplied);
    raw.extraSamples = {EXTRASAMPLE_UNASSALPHA};
    expectRead(raw, format(kRGB, 8, true));

    for (std::uint16_t bits : {8, 16}) {
        raw = ramp(2, 3, 4, bits, PHOTOMETRIC_SEPARATED);
        raw.inkSet = INKSET_CMYK;
        expectRead(raw, format(ColorSpace::CMYK, bits));
    }

    // Big-endian 16-bit samples arrive in machine order.
    expectRead({.width = 2, .height = 1, .bits = 16, .bigEndian = true, .values = {0x1234, 0xFE01}},
               format(kGray, 16));
}

TEST_F(TiffReaderTest, CieLabSignedSamplesBecomeFields) {
    // 8 bits: L as is; a, b signed: -128 -> 0, 0 -> 128, 127 -> 255.
    RawTiff raw{.width = 3, .height = 1, .samples = 3, .photometric = PHOTOMETRIC_CIELAB};
    raw.values = {255, 0x80, 0x7F, 0, 0x00, 0xFF, 100, 0x7F, 0x80};
    expectRead(raw, format(kLab, 8), {255, 0, 255, 0, 128, 127, 100, 255, 0});

    // 16 bits: field = sample + 32768, so -32768 -> 0, -1 -> 32767, 0 -> 32768,
    // 32767 -> 65535.
    raw.bits = 16;
    raw.values = {65535, 0x8000, 0x7FFF, 0, 0xFFFF, 0x0000, 12345, 0x0001, 0xFFFE};
    expectRead(raw, format(kLab, 16), {65535, 0, 65535, 0, 32767, 32768, 12345, 32769, 32766});

    // ICC Lab is already in the field encoding.
    raw.photometric = PHOTOMETRIC_ICCLAB;
    expectRead(raw, format(kLab, 16));
}

TEST_F(TiffReaderTest, StripsWithARemainderTilesAtTheEdgesAndCompression) {
    RawTiff raw = ramp(37, 21, 3, 8, PHOTOMETRIC_RGB);
    raw.rowsPerStrip = 4;
    expectRead(raw, format(kRGB, 8));

    // Tiles of 16 x 16: the last column of tiles and the last row overhang.
    raw.rowsPerStrip = 0;
    raw.tileWidth = raw.tileLength = 16;
    ASSERT_TRUE(testing::writeRawTiff(dir / "tiles.tif", raw));
    auto tiled = TiffReader::open(dir / "tiles.tif");
    ASSERT_TRUE(tiled) << tiled.status().message();
    EXPECT_TRUE(tiled->isTiled());
    EXPECT_EQ(tiled->rowsPerBand(), 16);
    auto whole = tiled->readBitmap();
    ASSERT_TRUE(whole);
    EXPECT_THAT(testing::bitmapValues(*whole), ElementsAreArray(raw.values));

    raw = ramp(37, 21, 3, 16, PHOTOMETRIC_RGB);
    raw.planar = PLANARCONFIG_SEPARATE;
    raw.tileWidth = raw.tileLength = 16;
    expectRead(raw, format(kRGB, 16, false, true));

    for (std::uint16_t compression :
         {COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS}) {
        SCOPED_TRACE(compression);
        raw = ramp(50, 30, 2, 16, PHOTOMETRIC_MINISBLACK);
        raw.compression = compression;
        raw.rowsPerStrip = 7;
        raw.extraSamples = {EXTRASAMPLE_UNASSALPHA};
        expectRead(raw, format(kGray, 16, true));
        raw.rowsPerStrip = 0;
        raw.tileWidth = 16;
        raw.tileLength = 32;
        expectRead(raw, format(kGray, 16, true));
    }
}

TEST_F(TiffReaderTest, JpegYCbCrComesBackAsRgb) {
    RawTiff raw{.width = 16,
                .height = 16,
                .samples = 3,
                .photometric = PHOTOMETRIC_YCBCR,
                .compression = COMPRESSION_JPEG,
                .rowsPerStrip = 16};
    // One flat colour: JPEG keeps it within a few steps.
    for (int i = 0; i < 16 * 16; ++i)
        raw.values.insert(raw.values.end(), {200, 100, 50});
    auto bitmap = read(raw);
    EXPECT_EQ(bitmap.format(), format(kRGB, 8));
    constexpr int kJpegTolerance = 4;
    const std::uint8_t* pixel = bitmap.row(9) + 3 * 5;
    EXPECT_NEAR(pixel[0], 200, kJpegTolerance);
    EXPECT_NEAR(pixel[1], 100, kJpegTolerance);
    EXPECT_NEAR(pixel[2], 50, kJpegTolerance);
}

TEST_F(TiffReaderTest, RowRangesMatchTheWholeImageWhateverTheirRows) {
    RawTiff raw{.width = 9,
                .height = 23,
                .samples = 3,
                .photometric = PHOTOMETRIC_RGB,
                .planar = PLANARCONFIG_SEPARATE,
                .rowsPerStrip = 5};
    raw.values = testing::rampValues(9 * 23 * 3, 8);
    ASSERT_TRUE(testing::writeRawTiff(dir / "rows.tif", raw));
    auto reader = TiffReader::open(dir / "rows.tif");
    ASSERT_TRUE(reader);
    auto whole = reader->readBitmap();
    ASSERT_TRUE(whole);

    // Ranges that start inside strips, cover strips whole, and end inside
    // them; tight rows (straight from the strips) and padded rows (through
    // the kept band).
    for (std::size_t rowBytes : {std::size_t{9}, std::size_t{16}}) {
        for (auto [first, count] : {std::pair{0, 23}, {3, 4}, {5, 10}, {7, 16}, {22, 1}}) {
            auto part = Bitmap::allocate(9, count, reader->format(), rowBytes);
            ASSERT_TRUE(part);
            auto status = reader->readRows(first, *part);
            ASSERT_TRUE(status) << status.message();
            auto expected = whole->view(makeRect(0, first, 9, count));
            EXPECT_TRUE(part->samePixels(*expected))
                << first << "+" << count << " rows of " << rowBytes;
        }
    }
}

TEST_F(TiffReaderTest, RowRangesThatDontFitAreRefused) {
    RawTiff raw{.width = 4, .height = 4, .values = testing::rampValues(16, 8)};
    ASSERT_TRUE(testing::writeRawTiff(dir / "small.tif", raw));
    auto reader = TiffReader::open(dir / "small.tif");
    ASSERT_TRUE(reader);
    auto rows = Bitmap::allocate(4, 2, format(kGray, 8));
    auto narrow = Bitmap::allocate(3, 2, format(kGray, 8));
    auto wide = Bitmap::allocate(4, 2, format(kGray, 16));
    EXPECT_EQ(reader->readRows(3, *rows).code(), ImageErrorCode::BadArgument);
    EXPECT_EQ(reader->readRows(-1, *rows).code(), ImageErrorCode::BadArgument);
    EXPECT_EQ(reader->readRows(0, *narrow).code(), ImageErrorCode::BadArgument);
    EXPECT_EQ(reader->readRows(0, *wide).code(), ImageErrorCode::BadArgument);
    Bitmap empty;
    EXPECT_EQ(reader->readRows(0, empty).code(), ImageErrorCode::BadArgument);
    EXPECT_TRUE(reader->readRows(2, *rows));
    EXPECT_THAT(testing::bitmapValues(*rows),
                ElementsAreArray(raw.values.begin() + 8, raw.values.end()));
}

TEST_F(TiffReaderTest, BandsCoverTheImageInOrderAndCanBeStopped) {
    RawTiff raw{.width = 5, .height = 11, .rowsPerStrip = 4, .values = testing::rampValues(55, 8)};
    ASSERT_TRUE(testing::writeRawTiff(dir / "bands.tif", raw));
    auto reader = TiffReader::open(dir / "bands.tif");
    ASSERT_TRUE(reader);
    std::vector<std::int32_t> firstRows, heights;
    std::vector<std::uint32_t> values;
    auto status = reader->forEachBand([&](const Bitmap& rows, std::int32_t firstRow) {
        firstRows.push_back(firstRow);
        heights.push_back(rows.height());
        auto part = testing::bitmapValues(rows);
        values.insert(values.end(), part.begin(), part.end());
        return true;
    });
    ASSERT_TRUE(status) << status.message();
    EXPECT_THAT(firstRows, ElementsAre(0, 4, 8));
    EXPECT_THAT(heights, ElementsAre(4, 4, 3));
    EXPECT_THAT(values, ElementsAreArray(raw.values));

    int calls = 0;
    auto stopped = reader->forEachBand([&](const Bitmap&, std::int32_t) { return ++calls < 2; });
    EXPECT_EQ(stopped.code(), ImageErrorCode::Cancelled);
    EXPECT_EQ(calls, 2);
}

TEST_F(TiffReaderTest, EmbeddedProfileAndMemoryInput) {
    RawTiff raw{.width = 2,
                .height = 2,
                .iccProfile = std::string("profile\0bytes", 13),
                .values = {1, 2, 3, 4}};
    ASSERT_TRUE(testing::writeRawTiff(dir / "icc.tif", raw));
    const std::string bytes = slidebox::testing::readFile(dir / "icc.tif");
    auto reader = TiffReader::openMemory(
        std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
    ASSERT_TRUE(reader) << reader.status().message();
    EXPECT_EQ(reader->iccProfile(), raw.iccProfile);
    auto bitmap = reader->readBitmap();
    ASSERT_TRUE(bitmap);
    EXPECT_THAT(testing::bitmapValues(*bitmap), ElementsAre(1, 2, 3, 4));
}

} // namespace
} // namespace slidebox::image
