#include "image/tiff_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "image/tiff_writer.h"
#include "tests/temp_dir.h"
#include "tiff_fixtures.h"

namespace slidebox::image {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using testing::format;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
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

// Broken and hostile TIFFs in data/hostile, each named after its defect:
// every one is refused with a message that says why, from a file and from
// memory alike, and a conversion that meets it leaves no output and no
// temporary file.

/// Reads in with a reader and streams it band by band into out with a
/// writer, the way a conversion does: the writer starts before the first
/// strip is decoded.
ImageStatus convert(const std::filesystem::path& in, const std::filesystem::path& out) {
    auto reader = TiffReader::open(in);
    if (!reader)
        return reader.status();
    auto writer = TiffWriter::create(out, reader->width(), reader->height(), reader->format());
    if (!writer)
        return writer.status();
    auto status = reader->forEachBand(
        [&](const Bitmap& rows, std::int32_t) { return writer->writeRows(rows).ok(); });
    return status ? writer->finish() : status;
}

TEST_F(TiffReaderTest, BrokenFilesAreRefusedWithTheirReason) {
    using enum ImageErrorCode;
    const struct {
        const char* name;
        ImageErrorCode code;
        const char* message;
    } defects[] = {
        {"empty.tif", CannotOpen, "not a readable TIFF"},
        {"not_a_tiff.tif", CannotOpen, "not a readable TIFF"},
        {"cut_in_half.tif", CannotOpen, "not a readable TIFF"},
        {"zero_width.tif", CannotOpen, "scanline size is zero"},
        {"huge_dimensions.tif", TooLarge,
         "image of 100000 x 100000 pixels, gray 8-bit packed, is larger than the limit"},
        {"strip_size_overflowing.tif", CannotOpen, "Integer overflow"},
        {"width_beyond_int32.tif", TooLarge, "too large"},
        {"strip_offset_past_end.tif", Truncated, "strip 0"},
        {"strip_runs_past_end_of_file.tif", Truncated, "strip 0 can't be read"},
        {"pixels_larger_than_file.tif", Truncated, "its pixels need 192000"},
        {"palette_photometric.tif", Unsupported, "photometric interpretation 3 (palette)"},
        {"cfa_photometric.tif", Unsupported, "(colour filter array)"},
        {"twelve_bits.tif", Unsupported, "12-bit samples"},
        {"one_bit_bilevel.tif", Unsupported, "1-bit samples"},
        {"six_samples_rgb.tif", Unsupported, "6 samples a pixel"},
        {"separated_not_cmyk.tif", Unsupported, "inks other than CMYK"},
        {"cmyk_with_a_fifth_sample.tif", Unsupported, "separated image of 5 samples a pixel"},
        {"half_float_samples.tif", Unsupported, "floating-point"},
        {"lab_with_alpha.tif", Unsupported, "alpha sample on a Lab image"},
        {"lzw_noise.tif", Truncated, "can't be read"},
        {"tile_offset_past_end.tif", Truncated, "tile 0"},
    };
    // libtiff's complaints end up in the messages, none on standard error.
    ::testing::internal::CaptureStderr();
    for (const auto& defect : defects) {
        SCOPED_TRACE(defect.name);
        const auto path = std::filesystem::path(SLIDEBOX_IMAGE_TEST_DATA) / "hostile" / defect.name;
        auto fromFile = readTiff(path);
        ASSERT_FALSE(fromFile);
        EXPECT_EQ(fromFile.status().code(), defect.code) << fromFile.status().message();
        EXPECT_THAT(fromFile.status().message(), HasSubstr(defect.message));

        const std::string bytes = slidebox::testing::readFile(path);
        auto reader = TiffReader::openMemory(
            std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
        const ImageStatus fromMemory = reader ? reader->readBitmap().status() : reader.status();
        EXPECT_EQ(fromMemory.code(), defect.code) << fromMemory.message();

        EXPECT_EQ(convert(path, dir / "converted.tif").code(), defect.code);
        EXPECT_THAT(testing::folderEntries(dir.path()), IsEmpty());
    }
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(TiffReaderTest, TheImageLimitRefusesBeforeAllocating) {
    RawTiff gray{.width = 100, .height = 100, .values = testing::rampValues(10000, 8)};
    ASSERT_TRUE(testing::writeRawTiff(dir / "gray.tif", gray));
    TiffReadOptions small;
    small.maxImageBytes = 9999;
    auto refused = TiffReader::open(dir / "gray.tif", small);
    EXPECT_EQ(refused.status().code(), ImageErrorCode::TooLarge);
    EXPECT_THAT(refused.status().message(), HasSubstr("100 x 100"));
    small.maxImageBytes = 10000;
    EXPECT_TRUE(TiffReader::open(dir / "gray.tif", small));
}

// Another program cuts the file short between the opening and the reading:
// a read error with its reason, never a fault in a mapping.
TEST_F(TiffReaderTest, AFileCutShortAfterOpeningIsARefusal) {
    RawTiff rgb = ramp(256, 64, 3, 8, PHOTOMETRIC_RGB);
    rgb.rowsPerStrip = 8;
    const auto path = dir / "rgb.tif";
    ASSERT_TRUE(testing::writeRawTiff(path, rgb));
    auto reader = TiffReader::open(path);
    ASSERT_TRUE(reader) << reader.status().message();
    std::filesystem::resize_file(path, 4096);
    auto rows = Bitmap::allocate(256, 64, reader->format());
    ASSERT_TRUE(rows);
    const auto status = reader->readRows(0, *rows);
    EXPECT_THAT(status.code(),
                ::testing::AnyOf(ImageErrorCode::Truncated, ImageErrorCode::Malformed));
}

TEST_F(TiffReaderTest, AMissingFileSaysSo) {
    auto missing = readTiff(dir / "missing.tif");
    EXPECT_EQ(missing.status().code(), ImageErrorCode::CannotOpen);
    EXPECT_THAT(missing.status().message(), HasSubstr("No such file or directory"));
    EXPECT_EQ(readTiff(dir.path()).status().code(), ImageErrorCode::CannotOpen);
    ASSERT_EQ(::mkfifo((dir / "fifo.tif").c_str(), 0600), 0);
    EXPECT_THAT(readTiff(dir / "fifo.tif").status().message(), HasSubstr("not a regular file"));
}

} // namespace
} // namespace slidebox::image
