// PNG and JPEG files made here with libpng and libjpeg directly, field by
// field, and read back through readImage: the file's colour model, depth
// and profile decide what comes out.
#include "image/png_jpeg_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdio>
#include <vector>

#include <jpeglib.h>
#include <png.h>

#include "tests/temp_dir.h"
#include "tiff_fixtures.h"

namespace slidebox::image {
namespace {

using slidebox::testing::readFile;
using slidebox::testing::TempDir;
using slidebox::testing::writeFile;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;

// An RGB display profile of 400 bytes without tags, as far as libpng checks
// one before it takes it; the bytes behind the header keep libpng's reader
// from finding the compressed profile too short to be one.
std::string rgbProfileHeader() {
    std::string bytes(400, '\0');
    for (std::size_t i = 132; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i * 37 % 251);
    const auto put = [&](std::size_t at, const char* text) { bytes.replace(at, 4, text, 4); };
    bytes[2] = 1; // size 400, big-endian
    bytes[3] = static_cast<char>(400 - 256);
    bytes[8] = 2; // version 2.1
    bytes[9] = 0x10;
    put(12, "mntr");
    put(16, "RGB ");
    put(20, "XYZ ");
    put(36, "acsp");
    const unsigned char white[12] = {0, 0, 0xF6, 0xD6, 0, 1, 0, 0, 0, 0, 0xD3, 0x2D};
    bytes.replace(68, 12, reinterpret_cast<const char*>(white), 12);
    return bytes;
}
const std::string kProfile = rgbProfileHeader();

struct PngLayout {
    int width, height, colorType, bitDepth;
    std::vector<std::uint16_t> samples; // as the file stores them
    std::vector<png_color> palette = {};
    std::vector<png_byte> transparency = {}; // palette alphas
    bool profile = false;
};

void writePngFile(const std::filesystem::path& path, const PngLayout& layout) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_IHDR(png, info, layout.width, layout.height, layout.bitDepth, layout.colorType,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (!layout.palette.empty())
        png_set_PLTE(png, info, layout.palette.data(), static_cast<int>(layout.palette.size()));
    if (!layout.transparency.empty())
        png_set_tRNS(png, info, layout.transparency.data(),
                     static_cast<int>(layout.transparency.size()), nullptr);
    if (layout.profile)
        png_set_iCCP(png, info, "icc", 0, reinterpret_cast<png_const_bytep>(kProfile.data()),
                     static_cast<png_uint_32>(kProfile.size()));
    png_write_info(png, info);
    const std::size_t perRow = layout.samples.size() / static_cast<std::size_t>(layout.height);
    for (int y = 0; y < layout.height; ++y) {
        std::vector<png_byte> row;
        for (std::size_t i = 0; i < perRow; ++i) {
            const std::uint16_t v = layout.samples[static_cast<std::size_t>(y) * perRow + i];
            if (layout.bitDepth == 16)
                row.push_back(static_cast<png_byte>(v >> 8));
            row.push_back(static_cast<png_byte>(v & 0xFF));
        }
        png_write_row(png, row.data());
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
}

void writeJpegFile(const std::filesystem::path& path, J_COLOR_SPACE space, int components,
                   bool adobe, bool profile, std::uint8_t value) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    jpeg_compress_struct info{};
    jpeg_error_mgr error{};
    info.err = jpeg_std_error(&error);
    jpeg_create_compress(&info);
    jpeg_stdio_dest(&info, file);
    info.image_width = 8;
    info.image_height = 8;
    info.input_components = components;
    info.in_color_space = space;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 100, TRUE);
    info.write_Adobe_marker = adobe ? TRUE : FALSE;
    jpeg_start_compress(&info, TRUE);
    if (profile)
        jpeg_write_icc_profile(&info, reinterpret_cast<const JOCTET*>(kProfile.data()),
                               static_cast<unsigned>(kProfile.size()));
    std::vector<JSAMPLE> row(static_cast<std::size_t>(8 * components), value);
    while (info.next_scanline < info.image_height) {
        JSAMPROW rows[] = {row.data()};
        jpeg_write_scanlines(&info, rows, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    std::fclose(file);
}

struct PngCase {
    const char* name;
    PngLayout layout;
    PixelFormat format;
    std::vector<std::uint32_t> values;
};

class PngReaderTest : public ::testing::TestWithParam<PngCase> {};

// The colour type and depth decide, not the pixels: neutral RGB is RGB,
// 16 bits stay 16 bits, a palette is RGB with its transparency as alpha.
TEST_P(PngReaderTest, TheFileDeclaresTheFormat) {
    const PngCase& c = GetParam();
    TempDir dir;
    writePngFile(dir / "in.png", c.layout);
    auto decoded = readImage(dir / "in.png");
    ASSERT_TRUE(decoded) << decoded.status().message();
    EXPECT_EQ(decoded->bitmap.format(), c.format);
    EXPECT_THAT(testing::bitmapValues(decoded->bitmap), ElementsAreArray(c.values));
    EXPECT_EQ(decoded->iccProfile, c.layout.profile ? kProfile : "");
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, PngReaderTest,
    ::testing::Values(
        PngCase{"neutral_rgb",
                {2, 1, PNG_COLOR_TYPE_RGB, 8, {7, 7, 7, 200, 200, 200}, {}, {}, true},
                PixelFormat::make(ColorSpace::RGB, 8),
                {7, 7, 7, 200, 200, 200}},
        PngCase{"rgb16_alpha",
                {1, 2, PNG_COLOR_TYPE_RGBA, 16, {1, 258, 65535, 32768, 0, 65534, 3, 4}},
                PixelFormat::make(ColorSpace::RGB, 16, true),
                {1, 258, 65535, 32768, 0, 65534, 3, 4}},
        PngCase{"gray16",
                {2, 1, PNG_COLOR_TYPE_GRAY, 16, {0x1234, 0xFEDC}},
                PixelFormat::make(ColorSpace::Gray, 16),
                {0x1234, 0xFEDC}},
        PngCase{"gray2_widened",
                {4, 1, PNG_COLOR_TYPE_GRAY, 2, {0b00011011}},
                PixelFormat::make(ColorSpace::Gray, 8),
                {0, 85, 170, 255}},
        PngCase{"palette_transparent",
                {2, 1, PNG_COLOR_TYPE_PALETTE, 8, {1, 0}, {{9, 9, 9}, {10, 20, 30}}, {128}},
                PixelFormat::make(ColorSpace::RGB, 8, true),
                {10, 20, 30, 255, 9, 9, 9, 128}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(JpegReaderTest, TheColourModelDecidesAndAdobeInksAreTurnedBack) {
    TempDir dir;
    struct Case {
        const char* name;
        J_COLOR_SPACE space;
        int components;
        bool adobe;
        ColorSpace expected;
        int value; // what the samples read back as
    } cases[] = {
        {"neutral.jpg", JCS_RGB, 3, false, ColorSpace::RGB, 120},
        {"gray.jpg", JCS_GRAYSCALE, 1, false, ColorSpace::Gray, 120},
        {"cmyk.jpg", JCS_CMYK, 4, false, ColorSpace::CMYK, 120},
        {"adobe_cmyk.jpg", JCS_CMYK, 4, true, ColorSpace::CMYK, 255 - 120},
    };
    constexpr int kJpegTolerance = 2; // quality 100 on a flat image
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        writeJpegFile(dir / c.name, c.space, c.components, c.adobe, true, 120);
        auto decoded = readImage(dir / c.name);
        ASSERT_TRUE(decoded) << decoded.status().message();
        EXPECT_EQ(decoded->bitmap.format(), PixelFormat::make(c.expected, 8));
        EXPECT_EQ(decoded->iccProfile, kProfile);
        for (std::uint32_t v : testing::bitmapValues(decoded->bitmap))
            ASSERT_NEAR(static_cast<int>(v), c.value, kJpegTolerance);
    }
}

TEST(PngJpegReaderTest, BrokenFilesSayWhyAndNothingWaits) {
    TempDir dir;
    writePngFile(dir / "whole.png",
                 {64, 64, PNG_COLOR_TYPE_RGB, 8, std::vector<std::uint16_t>(64 * 64 * 3, 77)});
    writeJpegFile(dir / "whole.jpg", JCS_RGB, 3, false, false, 50);
    for (const char* name : {"whole.png", "whole.jpg"}) {
        const std::string bytes = readFile(dir / name);
        writeFile(dir / (std::string("cut_") + name), bytes.substr(0, bytes.size() / 2));
    }
    writeFile(dir / "text.png", "plain text");
    writeFile(dir / "text.jpg", "plain text");
    ASSERT_EQ(::mkfifo((dir / "fifo.png").c_str(), 0600), 0);
    const struct {
        const char* name;
        ImageErrorCode code;
        const char* words;
    } cases[] = {
        {"cut_whole.png", ImageErrorCode::Truncated, "ends early"},
        {"cut_whole.jpg", ImageErrorCode::Truncated, "ends early"},
        {"text.png", ImageErrorCode::CannotOpen, "not a PNG"},
        {"text.jpg", ImageErrorCode::CannotOpen, "not a JPEG"},
        {"missing.png", ImageErrorCode::CannotOpen, "No such file"},
        {"fifo.png", ImageErrorCode::CannotOpen, "not a regular file"},
    };
    for (const auto& c : cases) {
        auto result = readImage(dir / c.name);
        EXPECT_EQ(result.status().code(), c.code) << c.name;
        EXPECT_THAT(result.status().message(), HasSubstr(c.words)) << c.name;
    }
}

} // namespace
} // namespace slidebox::image
