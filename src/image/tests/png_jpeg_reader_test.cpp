// PNG and JPEG files in data/png_jpeg, made with libpng and libjpeg, read
// back through readImage: the file's colour model, depth and profile decide
// what comes out. Each carries (but the cut and broken ones) the same small
// RGB profile header, data/png_jpeg/profile.icc.
#include "image/png_jpeg_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <vector>

#include "tests/temp_dir.h"
#include "tiff_fixtures.h"

namespace slidebox::image {
namespace {

using slidebox::testing::readFile;
using slidebox::testing::TempDir;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;

const std::filesystem::path kData = std::filesystem::path(SLIDEBOX_IMAGE_TEST_DATA) / "png_jpeg";

TEST(PngReaderTest, TheFileDeclaresTheFormat) {
    // The colour type and depth decide, not the pixels: neutral RGB is RGB,
    // 16 bits stay 16 bits, a palette is RGB with its transparency as alpha.
    const struct {
        const char* name;
        PixelFormat format;
        std::vector<std::uint32_t> values;
        bool profile;
    } cases[] = {
        {"neutral_rgb.png", PixelFormat::make(ColorSpace::RGB, 8), {7, 7, 7, 200, 200, 200}, true},
        {"rgb16_alpha.png",
         PixelFormat::make(ColorSpace::RGB, 16, true),
         {1, 258, 65535, 32768, 0, 65534, 3, 4},
         false},
        {"gray16.png", PixelFormat::make(ColorSpace::Gray, 16), {0x1234, 0xFEDC}, false},
        {"gray2_widened.png", PixelFormat::make(ColorSpace::Gray, 8), {0, 85, 170, 255}, false},
        {"palette_transparent.png",
         PixelFormat::make(ColorSpace::RGB, 8, true),
         {10, 20, 30, 255, 9, 9, 9, 128},
         false},
    };
    const std::string profile = readFile(kData / "profile.icc");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto decoded = readImage(kData / c.name);
        ASSERT_TRUE(decoded) << decoded.status().message();
        EXPECT_EQ(decoded->bitmap.format(), c.format);
        EXPECT_THAT(testing::bitmapValues(decoded->bitmap), ElementsAreArray(c.values));
        EXPECT_EQ(decoded->iccProfile, c.profile ? profile : "");
    }
}

TEST(JpegReaderTest, TheColourModelDecidesAndAdobeInksAreTurnedBack) {
    // Flat images of samples 120 at quality 100.
    const struct {
        const char* name;
        ColorSpace expected;
        int value; // what the samples read back as
    } cases[] = {
        {"neutral.jpg", ColorSpace::RGB, 120},
        {"gray.jpg", ColorSpace::Gray, 120},
        {"cmyk.jpg", ColorSpace::CMYK, 120},
        {"adobe_cmyk.jpg", ColorSpace::CMYK, 255 - 120},
    };
    constexpr int kJpegTolerance = 2; // quality 100 on a flat image
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto decoded = readImage(kData / c.name);
        ASSERT_TRUE(decoded) << decoded.status().message();
        EXPECT_EQ(decoded->bitmap.format(), PixelFormat::make(c.expected, 8));
        EXPECT_EQ(decoded->iccProfile, readFile(kData / "profile.icc"));
        for (std::uint32_t v : testing::bitmapValues(decoded->bitmap))
            ASSERT_NEAR(static_cast<int>(v), c.value, kJpegTolerance);
    }
}

TEST(PngJpegReaderTest, BrokenFilesSayWhyAndNothingWaits) {
    TempDir dir;
    ASSERT_EQ(::mkfifo((dir / "fifo.png").c_str(), 0600), 0);
    const struct {
        std::filesystem::path path;
        ImageErrorCode code;
        const char* words;
    } cases[] = {
        {kData / "cut_in_half.png", ImageErrorCode::Truncated, "ends early"},
        {kData / "cut_in_half.jpg", ImageErrorCode::Truncated, "ends early"},
        {kData / "text.png", ImageErrorCode::CannotOpen, "not a PNG"},
        {kData / "text.jpg", ImageErrorCode::CannotOpen, "not a JPEG"},
        {dir / "missing.png", ImageErrorCode::CannotOpen, "No such file"},
        {dir / "fifo.png", ImageErrorCode::CannotOpen, "not a regular file"},
    };
    for (const auto& c : cases) {
        auto result = readImage(c.path);
        EXPECT_EQ(result.status().code(), c.code) << c.path;
        EXPECT_THAT(result.status().message(), HasSubstr(c.words)) << c.path;
    }
}

} // namespace
} // namespace slidebox::image
