// Broken and hostile TIFFs, each named after its defect: every one is
// refused with a message that says why, from a file and from memory alike,
// and a conversion that meets it leaves no output and no temporary file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include <optional>
#include <sys/stat.h>

#include "image/tiff_reader.h"
#include "image/tiff_writer.h"
#include "tests/temp_dir.h"
#include "tiff_fixtures.h"

namespace slidebox::image {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::RawTiff;

/// Overwrites the value of a one-value SHORT or LONG entry (a SHORT that
/// can't hold the value becomes a LONG) of the first
/// directory of a little-endian classic TIFF. False when the tag isn't there.
bool patchTag(std::string& bytes, std::uint16_t tag, std::uint32_t value) {
    auto u16 = [&](std::size_t at) {
        return static_cast<std::uint16_t>(static_cast<std::uint8_t>(bytes[at]) |
                                          static_cast<std::uint8_t>(bytes[at + 1]) << 8);
    };
    auto u32 = [&](std::size_t at) {
        return std::uint32_t{u16(at)} | std::uint32_t{u16(at + 2)} << 16;
    };
    if (bytes.size() < 8 || bytes.compare(0, 4, std::string("II*\0", 4)) != 0)
        return false;
    const std::size_t ifd = u32(4);
    if (ifd + 2 > bytes.size())
        return false;
    const std::uint16_t entries = u16(ifd);
    for (std::size_t e = 0; e < entries; ++e) {
        const std::size_t at = ifd + 2 + e * 12;
        if (at + 12 > bytes.size() || u16(at) != tag)
            continue;
        if (u16(at + 2) == TIFF_SHORT && value > 0xFFFF) {
            const std::uint16_t longType = TIFF_LONG; // a wider value needs a wider entry
            std::memcpy(&bytes[at + 2], &longType, 2);
            std::memcpy(&bytes[at + 8], &value, 4);
        } else if (u16(at + 2) == TIFF_SHORT) {
            const auto v = static_cast<std::uint16_t>(value);
            std::memcpy(&bytes[at + 8], &v, 2);
        } else {
            std::memcpy(&bytes[at + 8], &value, 4);
        }
        return true;
    }
    return false;
}

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
    ImageStatus written;
    auto status = reader->forEachBand([&](const Bitmap& rows, std::int32_t) {
        written = writer->writeRows(rows);
        return written.ok();
    });
    if (!status)
        return status;
    return writer->finish();
}

struct Defect {
    const char* name;
    std::string bytes; ///< the file
    ImageErrorCode code;
    const char* message;
};

class TiffHostileTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::filesystem::create_directory(dir / "in");
        std::filesystem::create_directory(dir / "out");
    }

    /// A valid small file's bytes.
    std::string valid(const RawTiff& raw) {
        const auto path = dir / "valid.tif";
        EXPECT_TRUE(testing::writeRawTiff(path, raw));
        return slidebox::testing::readFile(path);
    }

    std::string patched(const RawTiff& raw, std::uint16_t tag, std::uint32_t value) {
        std::string bytes = valid(raw);
        EXPECT_TRUE(patchTag(bytes, tag, value)) << "tag " << tag;
        return bytes;
    }

    /// Checks the refusal from the file, from memory, and in a conversion.
    void expectRefused(const Defect& defect) {
        SCOPED_TRACE(defect.name);
        const auto path = dir / "in" / defect.name;
        slidebox::testing::writeFile(path, defect.bytes);
        auto fromFile = readTiff(path);
        ASSERT_FALSE(fromFile);
        EXPECT_EQ(fromFile.status().code(), defect.code) << fromFile.status().message();
        EXPECT_THAT(fromFile.status().message(), HasSubstr(defect.message));

        auto reader = TiffReader::openMemory(std::span(
            reinterpret_cast<const std::uint8_t*>(defect.bytes.data()), defect.bytes.size()));
        std::optional<ImageStatus> fromMemory;
        if (!reader)
            fromMemory = reader.status();
        else if (auto whole = reader->readBitmap(); !whole)
            fromMemory = whole.status();
        ASSERT_TRUE(fromMemory.has_value());
        EXPECT_EQ(fromMemory->code(), defect.code) << fromMemory->message();

        auto converted = convert(path, dir / "out" / "converted.tif");
        EXPECT_EQ(converted.code(), defect.code) << converted.message();
        EXPECT_THAT(testing::folderEntries(dir / "out"), IsEmpty());
    }

    slidebox::testing::TempDir dir;
};

TEST_F(TiffHostileTest, BrokenFilesAreRefusedWithTheirReason) {
    const RawTiff rgb{.width = 16,
                      .height = 16,
                      .samples = 3,
                      .photometric = PHOTOMETRIC_RGB,
                      .values = testing::rampValues(16 * 16 * 3, 8)};
    const std::string good = valid(rgb);
    const RawTiff gray{.width = 16, .height = 16, .values = testing::rampValues(256, 8)};

    // One strip all the same: the strip table stays as it was.
    std::string huge = patched(gray, TIFFTAG_IMAGEWIDTH, 100000);
    ASSERT_TRUE(patchTag(huge, TIFFTAG_IMAGELENGTH, 100000));
    ASSERT_TRUE(patchTag(huge, TIFFTAG_ROWSPERSTRIP, 0xFFFFFFFF));
    std::string overflowing = patched(rgb, TIFFTAG_IMAGEWIDTH, 0x7FFFFFFF);
    ASSERT_TRUE(patchTag(overflowing, TIFFTAG_IMAGELENGTH, 0x7FFFFFFF));
    ASSERT_TRUE(patchTag(overflowing, TIFFTAG_ROWSPERSTRIP, 0xFFFFFFFF));
    RawTiff palette = gray;
    palette.photometric = PHOTOMETRIC_PALETTE;
    palette.colormap.assign(3 * 256, 0x8000);
    RawTiff sixSamples = rgb;
    sixSamples.samples = 6;
    sixSamples.extraSamples = {EXTRASAMPLE_UNASSALPHA, EXTRASAMPLE_UNSPECIFIED,
                               EXTRASAMPLE_UNSPECIFIED};
    RawTiff inks{.width = 4, .height = 4, .samples = 5, .photometric = PHOTOMETRIC_SEPARATED};
    inks.extraSamples = {EXTRASAMPLE_UNASSALPHA};
    const std::string fiveInks = valid(inks);
    inks = {.width = 4, .height = 4, .samples = 4, .photometric = PHOTOMETRIC_SEPARATED};
    inks.inkSet = INKSET_MULTIINK;
    const std::string namedInks = valid(inks);
    RawTiff alphaLab{.width = 4, .height = 4, .samples = 4, .photometric = PHOTOMETRIC_CIELAB};
    alphaLab.extraSamples = {EXTRASAMPLE_UNASSALPHA};
    // LZW data of a valid file overwritten with noise after its first bytes.
    RawTiff lzw = rgb;
    lzw.compression = COMPRESSION_LZW;
    lzw.rowsPerStrip = 8;
    std::string noisy = valid(lzw);
    for (std::size_t i = 10; i < 120; ++i)
        noisy[i] = static_cast<char>(0xFF - i);
    RawTiff oneTile = gray;
    oneTile.tileWidth = oneTile.tileLength = 16;

    using enum ImageErrorCode;
    const Defect defects[] = {
        {"empty.tif", "", CannotOpen, "not a readable TIFF"},
        {"not_a_tiff.tif", "GIF89a and then some bytes that are no TIFF at all", CannotOpen,
         "not a readable TIFF"},
        {"cut_in_half.tif", good.substr(0, good.size() / 2), CannotOpen, "not a readable TIFF"},
        {"zero_width.tif", patched(rgb, TIFFTAG_IMAGEWIDTH, 0), CannotOpen,
         "scanline size is zero"},
        {"huge_dimensions.tif", huge, TooLarge,
         "image of 100000 x 100000 pixels, gray 8-bit packed, is larger than the "
         "limit"},
        {"strip_size_overflowing.tif", overflowing, CannotOpen, "Integer overflow"},
        {"width_beyond_int32.tif", patched(gray, TIFFTAG_IMAGEWIDTH, 0x80000000), TooLarge,
         "too large"},
        {"strip_offset_past_end.tif", patched(rgb, TIFFTAG_STRIPOFFSETS, 0x7FFFFFF0), Truncated,
         "strip 0"},
        // The strip's 768 bytes start 100 bytes before the end of the file.
        {"strip_runs_past_end_of_file.tif",
         patched(rgb, TIFFTAG_STRIPOFFSETS, static_cast<std::uint32_t>(good.size() - 100)),
         Truncated, "strip 0 can't be read"},
        {"pixels_larger_than_file.tif", patched(rgb, TIFFTAG_IMAGELENGTH, 4000), Truncated,
         "its pixels need 192000"},
        {"palette_photometric.tif", valid(palette), Unsupported,
         "photometric interpretation 3 (palette)"},
        {"cfa_photometric.tif", patched(rgb, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_CFA), Unsupported,
         "(colour filter array)"},
        {"twelve_bits.tif", patched(gray, TIFFTAG_BITSPERSAMPLE, 12), Unsupported,
         "12-bit samples"},
        {"one_bit_bilevel.tif", valid({.width = 8, .height = 2, .bits = 1, .values = {0xAA, 0x55}}),
         Unsupported, "1-bit samples"},
        {"six_samples_rgb.tif", valid(sixSamples), Unsupported, "6 samples a pixel"},
        {"separated_not_cmyk.tif", namedInks, Unsupported, "inks other than CMYK"},
        {"cmyk_with_a_fifth_sample.tif", fiveInks, Unsupported,
         "separated image of 5 samples a pixel"},
        {"half_float_samples.tif",
         valid({.width = 4, .height = 4, .bits = 16, .sampleFormat = SAMPLEFORMAT_IEEEFP}),
         Unsupported, "floating-point"},
        {"lab_with_alpha.tif", valid(alphaLab), Unsupported, "alpha sample on a Lab image"},
        {"lzw_noise.tif", noisy, Truncated, "can't be read"},
        {"tile_offset_past_end.tif", patched(oneTile, TIFFTAG_TILEOFFSETS, 0x7FFFFF00), Truncated,
         "tile 0"},
    };
    // libtiff's complaints end up in the messages, none on standard error.
    ::testing::internal::CaptureStderr();
    for (const Defect& defect : defects)
        expectRefused(defect);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(TiffHostileTest, TheImageLimitRefusesBeforeAllocating) {
    RawTiff gray{.width = 100, .height = 100, .values = testing::rampValues(10000, 8)};
    ASSERT_TRUE(testing::writeRawTiff(dir / "in" / "gray.tif", gray));
    TiffReadOptions small;
    small.maxImageBytes = 9999;
    auto refused = TiffReader::open(dir / "in" / "gray.tif", small);
    EXPECT_EQ(refused.status().code(), ImageErrorCode::TooLarge);
    EXPECT_THAT(refused.status().message(), HasSubstr("100 x 100"));
    small.maxImageBytes = 10000;
    EXPECT_TRUE(TiffReader::open(dir / "in" / "gray.tif", small));
}

// Another program cuts the file short between the opening and the reading:
// a read error with its reason, never a fault in a mapping.
TEST_F(TiffHostileTest, AFileCutShortAfterOpeningIsARefusal) {
    RawTiff rgb{.width = 256,
                .height = 64,
                .samples = 3,
                .photometric = PHOTOMETRIC_RGB,
                .rowsPerStrip = 8,
                .values = testing::rampValues(256 * 64 * 3, 8)};
    const auto path = dir / "in" / "rgb.tif";
    ASSERT_TRUE(testing::writeRawTiff(path, rgb));
    auto reader = TiffReader::open(path);
    ASSERT_TRUE(reader) << reader.status().message();
    std::filesystem::resize_file(path, 4096);
    auto rows = Bitmap::allocate(256, 64, reader->format());
    ASSERT_TRUE(rows);
    const auto status = reader->readRows(0, *rows);
    EXPECT_FALSE(status);
    EXPECT_THAT(status.code(),
                ::testing::AnyOf(ImageErrorCode::Truncated, ImageErrorCode::Malformed));
}

TEST_F(TiffHostileTest, AMissingFileSaysSo) {
    auto missing = readTiff(dir / "in" / "missing.tif");
    EXPECT_EQ(missing.status().code(), ImageErrorCode::CannotOpen);
    EXPECT_THAT(missing.status().message(), HasSubstr("No such file or directory"));
    EXPECT_EQ(readTiff(dir / "in").status().code(), ImageErrorCode::CannotOpen);
    ASSERT_EQ(::mkfifo((dir / "in" / "fifo.tif").c_str(), 0600), 0);
    EXPECT_THAT(readTiff(dir / "in" / "fifo.tif").status().message(),
                HasSubstr("not a regular file"));
}

} // namespace
} // namespace slidebox::image
