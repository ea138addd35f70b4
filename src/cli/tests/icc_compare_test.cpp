// slidebox-cli icc compare: its options, its printing, the gamut image it
// writes, and its refusals. The statistics themselves are the colour world's.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/tests/cli_runner.h"
#include "image/image_file.h"
#include "image/tiff_writer.h"

using ::testing::HasSubstr;
using namespace slidebox::image;
using namespace slidebox::testing;

namespace {

// The a field 20000 is a = -49.875...; each 256 fields further is one unit of a.
constexpr std::uint16_t kBaseA = 20000;

Bitmap blank(std::int32_t w, std::int32_t h, ColorSpace space, int bits = 8) {
    return std::move(Bitmap::allocate(w, h, PixelFormat::make(space, bits)).value());
}

// A 16-bit Lab bitmap with L 50, b 0 and the a field a everywhere.
Bitmap labImage(std::int32_t w, std::int32_t h, std::uint16_t a = kBaseA) {
    Bitmap b = blank(w, h, ColorSpace::Lab, 16);
    for (std::int32_t y = 0; y < h; ++y)
        for (std::int32_t x = 0; x < w; ++x) {
            b.row16(y)[3 * x] = b.row16(y)[3 * x + 2] = 32768;
            b.row16(y)[3 * x + 1] = a;
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
    TempDir home_, dir_;
};

} // namespace

TEST_F(CliIccCompare, PrintsTheStatisticsAndWritesTheGamutImage) {
    Bitmap a = labImage(5, 1), b = labImage(5, 1);
    const std::uint16_t steps[5] = {0, 1, 2, 6, 10};
    for (int x = 0; x < 5; ++x)
        b.row16(0)[3 * x + 1] = static_cast<std::uint16_t>(kBaseA + 256 * steps[x]);
    write("a.tif", a);
    write("b.tif", b);
    auto r = compare({path("a.tif"), path("b.tif"), path("gamut.png")});
    ASSERT_EQ(r.status, 0) << r.err;
    // Nine significant digits: 19 / 5 in single precision is 3.79999995.
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
    EXPECT_EQ(gamut->row(0)[12], 51); // the far end of the out-of-gamut ramp

    // A compressed Lab TIFF is read rather than mapped, and a TIFF gamut
    // image is written band by band: the same numbers, the same picture.
    ASSERT_TRUE(writeTiff(dir_ / "b-lzw.tif", b, {TiffCompression::LZW, 0, {}, false}));
    auto lzw = compare({path("a.tif"), path("b-lzw.tif"), path("gamut.tif")});
    ASSERT_EQ(lzw.status, 0) << lzw.err;
    EXPECT_EQ(lzw.out, r.out);
    auto gamutTiff = readImageFile(dir_ / "gamut.tif");
    ASSERT_TRUE(gamutTiff);
    EXPECT_TRUE(gamutTiff->samePixels(*gamut));

    // CIE94 and the tolerance are passed on; no gamut image, nothing said of one.
    r = compare({"--cie94", "--tolerance", "20", path("a.tif"), path("b.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(r.err, ::testing::Not(HasSubstr("Gamut image")));
    EXPECT_LT(std::stod(fields(r.out)["maxi-delta-e"]), 9.0); // 10 / SC, SC above 1
    EXPECT_THAT(r.out, HasSubstr("in-gamut-pixels-percentage: 100\ngamut-tolerance: 20\n"));
}

TEST_F(CliIccCompare, MaskAndPatchesArePassedOn) {
    // Three patches across and two down of 2 x 2, lines of 1 between them;
    // in each patch half the pixels differ by 2.
    Bitmap a = labImage(9, 6), b = labImage(9, 6);
    Bitmap mask = blank(9, 6, ColorSpace::Gray), all = blank(9, 6, ColorSpace::Gray);
    for (std::int32_t y = 0; y < 6; ++y)
        for (std::int32_t x = 0; x < 9; ++x) {
            mask.row(y)[x] = (x % 3 == 2 || y % 3 == 2) ? 255 : 0;
            all.row(y)[x] = 1;
            if (x % 3 == 0 && y % 3 != 2)
                b.row16(y)[3 * x + 1] = kBaseA + 512;
        }
    write("a.tif", a);
    write("b.tif", b);
    write("mask.png", mask);
    write("all.tif", all);
    auto r = compare({"--patches", "--mask", path("mask.png"), path("a.tif"), path("b.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(r.out, HasSubstr("compared: 6\naverage-delta-e: 1\nmaxi-delta-e: 1\n"));
    r = compare({"--mask", path("mask.png"), path("a.tif"), path("b.tif")});
    EXPECT_THAT(r.out, HasSubstr("compared: 24\n"));
    // Everything masked: 0 / 0 printed as such, and "no difference".
    r = compare({"--mask", path("all.tif"), path("a.tif"), path("b.tif"), path("gamut.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(r.out, HasSubstr("compared: 0\naverage-delta-e: "));
    EXPECT_THAT(r.out, HasSubstr("nan\nmaxi-delta-e: 0\n"));
    EXPECT_THAT(r.out, HasSubstr("no-difference: yes\n"));
}

TEST_F(CliIccCompare, ImagesAreMatchedThroughTheirProfiles) {
    if (!std::filesystem::exists(kSRGB))
        GTEST_SKIP() << kSRGB << " missing: run tools/setup.sh";
    Bitmap rgb = blank(20, 4, ColorSpace::RGB);
    for (std::int32_t y = 0; y < 4; ++y)
        for (std::int32_t x = 0; x < 60; ++x)
            rgb.row(y)[x] = static_cast<std::uint8_t>(x * 4 + y * 3);
    write("rgb.png", rgb);
    auto t = runAt(home_, {"icc", "transform"}, {"--src", kSRGB, path("rgb.png"), path("lab.tif")});
    ASSERT_EQ(t.status, 0) << t.err;
    auto r = compare({"--src-a", kSRGB, "--intent-a", "0", path("rgb.png"), path("lab.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(r.out, HasSubstr("maxi-delta-e: 0\n"));
}
