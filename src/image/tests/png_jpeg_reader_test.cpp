// PNG and JPEG files in data/png_jpeg, made with libpng and libjpeg, read
// back through readImage: the file's colour model, depth and profile decide
// what comes out. Each carries (but the cut and broken ones) the same small
// RGB profile header, data/png_jpeg/profile.icc.
#include "image/png_jpeg_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <tuple>

#include "samples.h"
#include "tests/temp_dir.h"

namespace slidebox::image {
namespace {

using testing::format;
using ::testing::HasSubstr;
constexpr auto kRGB = ColorSpace::RGB, kGray = ColorSpace::Gray;
const std::filesystem::path kData = std::filesystem::path(SLIDEBOX_IMAGE_TEST_DATA) / "png_jpeg";

TEST(PngJpegReaderTest, TheFileDeclaresTheFormat) {
    // The colour type and depth decide, not the pixels: neutral RGB is RGB,
    // 16 bits stay 16 bits in the machine's order, a palette is RGB with its
    // transparency as alpha. JPEGs: flat samples of 120 at quality 100.
    const struct {
        const char* name;
        PixelFormat format;
        std::vector<std::uint32_t> values; // one value: every sample, within 2
        bool profile;
    } cases[] = {
        {"neutral_rgb.png", format(kRGB, 8), {7, 7, 7, 200, 200, 200}, true},
        {"rgb16_alpha.png", format(kRGB, 16, true), {1, 258, 65535, 32768, 0, 65534, 3, 4}},
        {"gray16.png", format(kGray, 16), {0x1234, 0xFEDC}},
        {"gray2_widened.png", format(kGray, 8), {0, 85, 170, 255}},
        {"palette_transparent.png", format(kRGB, 8, true), {10, 20, 30, 255, 9, 9, 9, 128}},
        {"neutral.jpg", format(kRGB, 8), {120}, true},
        {"gray.jpg", format(kGray, 8), {120}, true},
        {"cmyk.jpg", format(ColorSpace::CMYK, 8), {120}, true},
        {"adobe_cmyk.jpg", format(ColorSpace::CMYK, 8), {255 - 120}, true}, // inks turned back
    };
    const std::string profile = slidebox::testing::readFile(kData / "profile.icc");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto decoded = readImage(kData / c.name);
        ASSERT_TRUE(decoded) << decoded.status().message();
        EXPECT_EQ(decoded->bitmap.format(), c.format);
        EXPECT_EQ(decoded->iccProfile, c.profile ? profile : "");
        const auto values = testing::samplesOf(decoded->bitmap);
        const int tolerance = c.values.size() == 1 ? 2 : 0; // JPEG: one value, every sample
        ASSERT_EQ(values.size(), tolerance ? values.size() : c.values.size());
        for (std::size_t i = 0; i < values.size(); ++i)
            ASSERT_NEAR(values[i], c.values[tolerance ? 0 : i], tolerance);
    }
}

TEST(PngJpegReaderTest, BrokenFilesSayWhyAndNothingWaits) {
    slidebox::testing::TempDir dir;
    ASSERT_EQ(::mkfifo((dir / "fifo.png").c_str(), 0600), 0);
    const std::tuple<std::filesystem::path, ImageErrorCode, const char*> cases[] = {
        {kData / "cut_in_half.png", ImageErrorCode::Truncated, "ends early"},
        {kData / "cut_in_half.jpg", ImageErrorCode::Truncated, "ends early"},
        {kData / "text.png", ImageErrorCode::CannotOpen, "not a PNG"},
        {kData / "text.jpg", ImageErrorCode::CannotOpen, "not a JPEG"},
        {dir / "missing.png", ImageErrorCode::CannotOpen, "No such file"},
        {dir / "fifo.png", ImageErrorCode::CannotOpen, "not a regular file"},
    };
    for (const auto& [path, code, words] : cases) {
        auto result = readImage(path);
        EXPECT_EQ(result.status().code(), code) << path;
        EXPECT_THAT(result.status().message(), HasSubstr(words)) << path;
    }
}

} // namespace
} // namespace slidebox::image
