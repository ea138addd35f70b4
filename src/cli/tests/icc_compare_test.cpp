#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "cli/tests/cli_runner.h"
#include "image/image_file.h"
#include "image/tiff_writer.h"

using ::testing::HasSubstr;
using namespace slidebox::image;
using namespace slidebox::testing;

namespace {

// The a field 20000 is a = -49.875...; 256 fields further on lie exactly one
// unit of a further in single precision, and so on for these steps.
constexpr std::uint16_t kBaseA = 20000;
constexpr std::uint16_t kA1 = 20256, kA2 = 20512, kA6 = 21536, kA10 = 22560;

struct Rgb {
    int r, g, b;
    bool operator==(const Rgb&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Rgb& c) {
    return out << c.r << "," << c.g << "," << c.b;
}

Bitmap blank(std::int32_t w, std::int32_t h, ColorSpace space, int bits = 8) {
    return std::move(Bitmap::allocate(w, h, PixelFormat::make(space, bits)).value());
}

// A 16-bit Lab bitmap with L 50, b 0 and the a field a everywhere.
Bitmap labImage(std::int32_t w, std::int32_t h, std::uint16_t a = kBaseA) {
    Bitmap b = blank(w, h, ColorSpace::Lab, 16);
    for (std::int32_t y = 0; y < h; ++y)
        for (std::int32_t x = 0; x < w; ++x) {
            b.row16(y)[3 * x] = 32768;
            b.row16(y)[3 * x + 1] = a;
            b.row16(y)[3 * x + 2] = 32768;
        }
    return b;
}

class CliIccCompare : public ::testing::Test {
  protected:
    CliRun compare(const std::vector<std::string>& args) {
        return runAt(home_, {"icc", "compare"}, args);
    }
    std::string path(const std::string& name) const { return (dir_ / name).string(); }
    void write(const std::string& name, const Bitmap& b) const {
        ASSERT_TRUE(writeImageFile(dir_ / name, b));
    }
    Rgb pixel(const Bitmap& b, std::int32_t x, std::int32_t y) const {
        const std::uint8_t* p = b.row(y) + 3 * x;
        return {p[0], p[1], p[2]};
    }
    TempDir home_, dir_;
};

} // namespace

TEST_F(CliIccCompare, StatisticsAndGamutImageAtToleranceTwo) {
    Bitmap a = labImage(5, 1), b = labImage(5, 1);
    const std::uint16_t fields[5] = {kBaseA, kA1, kA2, kA6, kA10};
    for (int x = 0; x < 5; ++x)
        b.row16(0)[3 * x + 1] = fields[x];
    write("a.tif", a);
    write("b.tif", b);
    auto r = compare({path("a.tif"), path("b.tif"), path("gamut.png")});
    ASSERT_EQ(r.status, 0) << r.err;
    // 19 / 5 in single precision is 3.79999995.
    EXPECT_EQ(r.out, "compared: 5\n"
                     "average-delta-e: 3.79999995\n"
                     "maxi-delta-e: 10\n"
                     "mini-delta-e: 0\n"
                     "in-gamut-pixels-percentage: 60\n"
                     "gamut-tolerance: 2\n"
                     "no-difference: no\n");
    auto gamut = readImageFile(dir_ / "gamut.png");
    ASSERT_TRUE(gamut);
    ASSERT_EQ(gamut->format(), PixelFormat::make(ColorSpace::RGB, 8));
    const Rgb colours[5] = {
        {255, 255, 255}, {127, 204, 127}, {255, 178, 0}, {153, 89, 0}, {51, 0, 0}};
    for (int x = 0; x < 5; ++x)
        EXPECT_EQ(pixel(*gamut, x, 0), colours[x]) << x;

    // A compressed Lab TIFF is read rather than mapped: the same numbers,
    // the same picture, here written as a TIFF band by band.
    ASSERT_TRUE(writeTiff(dir_ / "b-lzw.tif", b, {TiffCompression::LZW, 0, {}, false}));
    auto lzw = compare({path("a.tif"), path("b-lzw.tif"), path("gamut.tif")});
    ASSERT_EQ(lzw.status, 0) << lzw.err;
    EXPECT_EQ(lzw.out, r.out);
    auto gamutTiff = readImageFile(dir_ / "gamut.tif");
    ASSERT_TRUE(gamutTiff);
    EXPECT_TRUE(gamutTiff->samePixels(*gamut));

    // CIE94: the largest pair, a = -49.875 against -39.875 at b = 0, has
    // the same hue, so only the chroma term counts: 10 / SC, with SC =
    // 0.6 (1 + 0.045 sqrt(c1 c2)).
    r = compare({"--cie94", "--tolerance", "20", path("a.tif"), path("b.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    // No gamut image was asked for: nothing said about one.
    EXPECT_THAT(r.err, ::testing::Not(HasSubstr("Gamut image")));
    const std::size_t at = r.out.find("maxi-delta-e: ");
    ASSERT_NE(at, std::string::npos) << r.out;
    const double c1 = 49.8750305, c2 = 39.8750305;
    constexpr double kCie94Tol = 1e-4; // the formula in double against single precision
    EXPECT_NEAR(std::stod(r.out.substr(at + 14)), 10.0 / (0.6 * (1 + 0.045 * std::sqrt(c1 * c2))),
                kCie94Tol);
    EXPECT_THAT(r.out, HasSubstr("gamut-tolerance: 20\n"));
}

TEST_F(CliIccCompare, MasksAllMaskedAndPatches) {
    // Three patches across and two down of 2 x 2, lines of 1 between them.
    Bitmap a = labImage(9, 6), b = labImage(9, 6);
    Bitmap mask = blank(9, 6, ColorSpace::Gray);
    for (std::int32_t y = 0; y < 6; ++y)
        for (std::int32_t x = 0; x < 9; ++x) {
            mask.row(y)[x] = (x % 3 == 2 || y % 3 == 2) ? 255 : 0;
            if (x % 3 == 0 && y % 3 != 2)
                b.row16(y)[3 * x + 1] = kA2;
        }
    write("a.tif", a);
    write("b.tif", b);
    write("mask.png", mask);
    auto r = compare({"--patches", "--mask", path("mask.png"), path("a.tif"), path("b.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    // Each patch averages to a difference of 1.
    EXPECT_THAT(r.out, HasSubstr("compared: 6\naverage-delta-e: 1\nmaxi-delta-e: 1\n"));
    r = compare({"--mask", path("mask.png"), path("a.tif"), path("b.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(r.out, HasSubstr("compared: 24\n"));

    // Everything masked: 0 / 0, and "no difference".
    Bitmap all = blank(9, 6, ColorSpace::Gray);
    for (std::int32_t y = 0; y < 6; ++y)
        std::fill(all.row(y), all.row(y) + 9, 1);
    write("all.tif", all);
    r = compare({"--mask", path("all.tif"), path("a.tif"), path("b.tif"), path("gamut.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(r.out, HasSubstr("compared: 0\naverage-delta-e: "));
    EXPECT_THAT(r.out, HasSubstr("nan\nmaxi-delta-e: 0\nmini-delta-e: 500\n"));
    EXPECT_THAT(r.out, HasSubstr("no-difference: yes\n"));

    // A mask smaller than the images is refused.
    Bitmap small = blank(9, 5, ColorSpace::Gray);
    write("small.png", small);
    r = compare({"--mask", path("small.png"), path("a.tif"), path("b.tif")});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
}

TEST_F(CliIccCompare, ImagesMatchedThroughTheirProfilesAndNoDifferenceDrawn) {
    if (!std::filesystem::exists(kSRGB))
        GTEST_SKIP() << kSRGB << " missing: run tools/setup.sh";
    Bitmap rgb = blank(200, 40, ColorSpace::RGB);
    for (std::int32_t y = 0; y < 40; ++y)
        for (std::int32_t x = 0; x < 600; ++x)
            rgb.row(y)[x] = static_cast<std::uint8_t>(x + y * 3);
    write("rgb.png", rgb);
    // The Lab TIFF of icc transform against the same image matched here.
    auto t = runAt(home_, {"icc", "transform"}, {"--src", kSRGB, path("rgb.png"), path("lab.tif")});
    ASSERT_EQ(t.status, 0) << t.err;
    auto r = compare(
        {"--src-a", kSRGB, "--intent-a", "0", path("rgb.png"), path("lab.tif"), path("gamut.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(r.out, HasSubstr("maxi-delta-e: 0\n"));
    EXPECT_THAT(r.out, HasSubstr("no-difference: yes\n"));
    auto gamut = readImageFile(dir_ / "gamut.tif");
    ASSERT_TRUE(gamut);
    // White, with the words in black across the middle; the corners clear.
    EXPECT_EQ(pixel(*gamut, 0, 0), (Rgb{255, 255, 255}));
    EXPECT_EQ(pixel(*gamut, 199, 39), (Rgb{255, 255, 255}));
    int black = 0;
    for (std::int32_t y = 0; y < 40; ++y)
        for (std::int32_t x = 0; x < 200; ++x)
            black += pixel(*gamut, x, y) == Rgb{0, 0, 0};
    EXPECT_GT(black, 20);

    // An image whose space isn't the profile's fails the source test.
    Bitmap gray = blank(200, 40, ColorSpace::Gray);
    write("gray.png", gray);
    r = compare({"--src-b", kSRGB, path("lab.tif"), path("gray.png")});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_THAT(r.err,
                HasSubstr("ColorWorld: No good source or not a destination Lab color space"));
}

TEST_F(CliIccCompare, RefusedComparisonsPrintNothingAndWriteNoGamut) {
    write("a.tif", labImage(4, 3));
    write("b.tif", labImage(4, 2));
    auto r = compare({path("a.tif"), path("b.tif"), path("gamut.png")});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_THAT(r.err, HasSubstr("Not Same Lab CMbitmaps"));
    EXPECT_FALSE(std::filesystem::exists(dir_ / "gamut.png"));

    // Not a Lab image, and not an image at all.
    Bitmap rgb = blank(4, 3, ColorSpace::RGB);
    write("rgb.tif", rgb);
    r = compare({path("rgb.tif"), path("a.tif")});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.err, HasSubstr("is not a 16-bit Lab image"));
    writeFile(dir_ / "junk.tif", "II*\0junk");
    r = compare({path("a.tif"), path("junk.tif")});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");

    for (const auto& args :
         std::vector<std::vector<std::string>>{{path("a.tif")},
                                               {"--tolerance", "x", path("a.tif"), path("a.tif")},
                                               {"--intent-a", "7", path("a.tif"), path("a.tif")},
                                               {path("a.tif"), path("a.tif"), path("gamut.jpg")},
                                               {"--what", path("a.tif"), path("a.tif")}}) {
        r = compare(args);
        EXPECT_EQ(r.status, 2) << args.front();
    }
}
