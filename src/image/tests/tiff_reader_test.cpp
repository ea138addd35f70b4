#include "image/tiff_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <tuple>

#include "samples.h"
#include "tests/temp_dir.h"

namespace slidebox::image {
namespace {

using ::testing::ElementsAre;
using testing::format;
using ::testing::HasSubstr;
using enum ImageErrorCode;
using testing::samplesOf;

constexpr auto kGray = ColorSpace::Gray, kRGB = ColorSpace::RGB, kLab = ColorSpace::Lab;
const std::filesystem::path kData = SLIDEBOX_IMAGE_TEST_DATA;
const std::filesystem::path kGood = kData / "good";

std::span<const std::uint8_t> bytesOf(const std::string& s) {
    return {reinterpret_cast<const std::uint8_t*>(s.data()), s.size()};
}

// TIFFs made with libtiff directly (data/good); no values: the ramp of samples.
TEST(TiffReaderTest, StoredFilesReadAsTheirTagsSay) {
    auto premultiplied = format(kRGB, 8, true);
    premultiplied.alphaPremultiplied = true;
    const std::tuple<const char*, PixelFormat, std::vector<std::uint32_t>> rows[] = {
        {"gray_min_is_black.tif", format(kGray, 8), {0, 10, 255}},
        {"gray_min_is_white.tif", format(kGray, 8), {255, 245, 0}}, // stored 0, 10, 255
        {"gray16_min_is_white.tif", format(kGray, 16), {65535, 64535, 0}},
        {"gray_alpha_min_is_white.tif", format(kGray, 8, true), {255, 255, 55, 30}}, // alpha stays
        {"gray16_big_endian.tif", format(kGray, 16), {0x1234, 0xFE01}},
        // ICC Lab is stored as fields; CIE Lab's a, b signed: 8 bits -128 -> 0, 0 -> 128, 127 ->
        // 255; 16 bits +32768.
        {"cielab.tif", format(kLab, 8), {255, 0, 255, 0, 128, 127, 100, 255, 0}},
        {"cielab16.tif", format(kLab, 16), {65535, 0, 65535, 0, 32767, 32768, 12345, 32769, 32766}},
        {"icclab16.tif", format(kLab, 16), {65535, 32768, 32767, 0, 65535, 0, 12345, 1, 65534}},
        {"rgb16.tif", format(kRGB, 16), {}},
        {"rgb16_planar.tif", format(kRGB, 16, false, true), {}},
        {"rgba_associated.tif", premultiplied, {}},
        {"rgba_unassociated.tif", format(kRGB, 8, true), {}},
        {"cmyk.tif", format(ColorSpace::CMYK, 8), {}},
        {"cmyk16.tif", format(ColorSpace::CMYK, 16), {}},
        // 37 x 21: the last strip short, the last tiles overhanging.
        {"rgb_strips_of_4.tif", format(kRGB, 8), {}},
        {"rgb_tiles_of_16.tif", format(kRGB, 8), {}},
        {"rgb16_planar_tiles_of_16.tif", format(kRGB, 16, false, true), {}},
        {"rgb_planar_strips_of_5.tif", format(kRGB, 8, false, true), {}},
        {"gray16_alpha_lzw_strips_of_7.tif", format(kGray, 16, true), {}},
        {"gray16_alpha_deflate_tiles.tif", format(kGray, 16, true), {}},
    };
    for (const auto& [file, expectedFormat, expected] : rows) {
        SCOPED_TRACE(file);
        auto bitmap = readTiff(kGood / file);
        ASSERT_TRUE(bitmap) << bitmap.status().message();
        EXPECT_EQ(bitmap->format(), expectedFormat) << describe(bitmap->format());
        const auto values = samplesOf(*bitmap);
        EXPECT_EQ(values, expected.empty()
                              ? testing::rampValues(values.size(), expectedFormat.bitsPerSample())
                              : expected);
    }
    EXPECT_TRUE(TiffReader::open(kGood / "rgb_tiles_of_16.tif")->isTiled());
    EXPECT_EQ(TiffReader::open(kGood / "rgb_tiles_of_16.tif")->rowsPerBand(), 16);

    // JPEG keeps one flat colour within a few steps; YCbCr comes back as RGB.
    auto jpeg = readTiff(kGood / "jpeg_ycbcr_flat.tif");
    ASSERT_TRUE(jpeg) << jpeg.status().message();
    EXPECT_EQ(jpeg->format(), format(kRGB, 8));
    for (int c = 0; c < 3; ++c)
        EXPECT_NEAR(jpeg->row(9)[3 * 5 + c], (std::array{200, 100, 50})[c], 4);

    const std::string bytes = slidebox::testing::readFile(kGood / "gray_with_profile.tif");
    auto fromMemory = TiffReader::openMemory(bytesOf(bytes));
    ASSERT_TRUE(fromMemory) << fromMemory.status().message();
    EXPECT_EQ(fromMemory->iccProfile(), std::string("profile\0bytes", 13));
    EXPECT_EQ(samplesOf(*fromMemory->readBitmap()), (std::vector<std::uint32_t>{1, 2, 3, 4}));
}

// 9 x 23 pixels, planar, in strips of 5 rows.
TEST(TiffReaderTest, RowRangesAndBandsMatchTheWholeImage) {
    auto reader = TiffReader::open(kGood / "rgb_planar_strips_of_5.tif");
    ASSERT_TRUE(reader);
    auto whole = reader->readBitmap();
    ASSERT_TRUE(whole);
    // Ranges that start inside strips, cover strips whole, and end inside
    // them; tight rows (straight from the strips) and padded rows (through
    // the kept band).
    for (std::size_t rowBytes : {std::size_t{9}, std::size_t{16}}) {
        for (auto [first, count] : {std::pair{0, 23}, {3, 4}, {5, 10}, {7, 16}, {22, 1}}) {
            auto part = Bitmap::allocate(9, count, reader->format(), rowBytes);
            ASSERT_TRUE(reader->readRows(first, *part)) << first;
            EXPECT_TRUE(part->samePixels(*whole->view(makeRect(0, first, 9, count))))
                << first << "+" << count << " rows of " << rowBytes;
        }
    }
    auto rows = Bitmap::allocate(9, 2, reader->format());
    auto narrow = Bitmap::allocate(8, 2, reader->format());
    auto wide = Bitmap::allocate(9, 2, format(kRGB, 16, false, true));
    Bitmap empty;
    for (auto [first, bitmap] :
         {std::pair{22, &*rows}, {-1, &*rows}, {0, &*narrow}, {0, &*wide}, {0, &empty}})
        EXPECT_EQ(reader->readRows(first, *bitmap).code(), BadArgument) << first;
    EXPECT_TRUE(reader->readRows(21, *rows));

    std::vector<std::int32_t> firstRows, heights;
    auto status = reader->forEachBand([&](const Bitmap& band, std::int32_t firstRow) {
        firstRows.push_back(firstRow);
        heights.push_back(band.height());
        EXPECT_TRUE(band.samePixels(*whole->view(makeRect(0, firstRow, 9, band.height()))));
        return true;
    });
    ASSERT_TRUE(status) << status.message();
    EXPECT_THAT(firstRows, ElementsAre(0, 5, 10, 15, 20));
    EXPECT_THAT(heights, ElementsAre(5, 5, 5, 5, 3));
    int calls = 0;
    auto stopped = reader->forEachBand([&](const Bitmap&, std::int32_t) { return ++calls < 2; });
    EXPECT_EQ(stopped.code(), Cancelled);
    EXPECT_EQ(calls, 2);
}

TEST(TiffReaderTest, RowsStoredAsTheyComeAreReadByManyThreadsAtOnce) {
    // Uncompressed strips of one plane in the machine's byte order are read
    // straight from the file, their samples changed as by readRows (white
    // as 0, signed a and b); anything else goes through libtiff only.
    const std::pair<const char*, bool> files[] = {
        {"rgb_strips_of_4.tif", true},    {"gray_min_is_white.tif", true},
        {"cielab16.tif", true},           {"rgba_associated.tif", true},
        {"gray16_big_endian.tif", false}, {"rgb_planar_strips_of_5.tif", false},
        {"rgb_tiles_of_16.tif", false},   {"gray16_alpha_lzw_strips_of_7.tif", false},
    };
    for (const auto& [file, atOnce] : files) {
        SCOPED_TRACE(file);
        auto reader = TiffReader::open(kGood / file);
        ASSERT_TRUE(reader) << reader.status().message();
        ASSERT_EQ(reader->readsRowsAtOnce(), atOnce);
        auto whole = reader->readBitmap();
        ASSERT_TRUE(whole);
        const std::int32_t width = reader->width(), height = reader->height();
        auto rows = Bitmap::allocate(width, height, reader->format());
        if (!atOnce) {
            EXPECT_EQ(reader->readRowsAt(0, *rows).code(), BadArgument);
            continue;
        }
        // Ranges inside a strip, across strips and to the end, into tight
        // and padded rows, on four threads at once.
        std::vector<std::thread> threads;
        std::atomic<int> wrong{0};
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&, t] {
                const std::size_t padding = t % 2 == 0 ? 0 : 7;
                for (std::int32_t first = t; first < height; first += 3) {
                    const std::int32_t count = std::min(height - first, 1 + (first * 5) % 9);
                    auto part = Bitmap::allocate(width, count, reader->format(),
                                                 whole->minRowBytes() + padding);
                    if (!reader->readRowsAt(first, *part) ||
                        !part->samePixels(*whole->view(makeRect(0, first, width, count))))
                        ++wrong;
                }
            });
        for (auto& thread : threads)
            thread.join();
        EXPECT_EQ(wrong, 0);
        EXPECT_EQ(reader->readRowsAt(-1, *rows).code(), BadArgument);
    }
}

// Each refused with a message that says why: read whole from a file, and
// streamed band by band from memory as a conversion does.
TEST(TiffReaderTest, BrokenFilesAreRefusedWithTheirReason) {
    const std::tuple<const char*, ImageErrorCode, const char*> defects[] = {
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
    for (const auto& [name, code, message] : defects) {
        SCOPED_TRACE(name);
        const auto path = kData / "hostile" / name;
        auto fromFile = readTiff(path);
        EXPECT_EQ(fromFile.status().code(), code) << fromFile.status().message();
        EXPECT_THAT(fromFile.status().message(), HasSubstr(message));
        const std::string bytes = slidebox::testing::readFile(path);
        auto reader = TiffReader::openMemory(bytesOf(bytes));
        const ImageStatus streamed =
            reader ? reader->forEachBand([](const Bitmap&, std::int32_t) { return true; })
                   : reader.status();
        EXPECT_EQ(streamed.code(), code) << streamed.message();
    }
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST(TiffReaderTest, LimitsMissingFilesAndFilesCutAfterOpening) {
    // 37 x 21 RGB of 8 bits: 2331 bytes.
    TiffReadOptions small;
    small.maxImageBytes = 2330;
    auto refused = TiffReader::open(kGood / "rgb_strips_of_4.tif", small);
    EXPECT_EQ(refused.status().code(), TooLarge);
    EXPECT_THAT(refused.status().message(), HasSubstr("37 x 21"));
    small.maxImageBytes = 2331;
    EXPECT_TRUE(TiffReader::open(kGood / "rgb_strips_of_4.tif", small));

    slidebox::testing::TempDir dir;
    auto missing = readTiff(dir / "missing.tif");
    EXPECT_EQ(missing.status().code(), CannotOpen);
    EXPECT_THAT(missing.status().message(), HasSubstr("No such file or directory"));

    // Another program cuts the file short between the opening and the
    // reading: a read error with its reason, never a fault in a mapping;
    // read straight from the file, the strip that can't be read is named.
    std::filesystem::copy_file(kGood / "rgb_strips_of_4.tif", dir / "cut.tif");
    auto reader = TiffReader::open(dir / "cut.tif");
    ASSERT_TRUE(reader && reader->readsRowsAtOnce());
    std::filesystem::resize_file(dir / "cut.tif", 1000);
    auto rows = Bitmap::allocate(37, 21, reader->format());
    EXPECT_THAT(reader->readRows(0, *rows).code(), ::testing::AnyOf(Truncated, Malformed));
    const auto cut = reader->readRowsAt(0, *rows);
    EXPECT_EQ(cut.code(), Truncated);
    EXPECT_THAT(cut.message(), HasSubstr("past the end of the file"));
}

} // namespace
} // namespace slidebox::image
