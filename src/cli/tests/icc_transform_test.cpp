// slidebox-cli icc transform: the layout it writes, Lab files both ways,
// the progress line on a terminal, the engine options. Refusals are golden
// rows; how pixels are matched is the colour world's.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "cli/tests/cli_runner.h"
#include "image/image_file.h"
#include "image/tests/samples.h"
#include "image/tiff_writer.h"
#include "platform/script_runner.h"

using namespace slidebox::image;
using namespace slidebox::testing;
using slidebox::image::testing::bitmapOf;
using slidebox::image::testing::format;

namespace {

// A colour through a Lab TIFF and back: the 16-bit Lab fields hold it to
// well under a level, the 8-bit tables add their rounding on each way.
constexpr int kRoundTripTol = 2;

class CliIccTransform : public ::testing::Test {
  protected:
    void SetUp() override {
        if (auto missing = firstMissing({kSRGB, kAdobe, kCMYK, kGray}); !missing.empty())
            GTEST_SKIP() << missing << " missing: run tools/setup.sh";
    }
    CliRun transform(const std::vector<std::string>& args) {
        return runAt(home_, {"icc", "transform"}, args);
    }
    std::string path(const std::string& name) const { return (dir_ / name).string(); }
    void write(const std::string& name, const Bitmap& b) const {
        ASSERT_TRUE(writeTiff(dir_ / name, b, {TiffCompression::None, 0, {}, false}));
    }
    PixelFormat formatOf(const std::string& name) const {
        auto r = readImageFile(dir_ / name);
        EXPECT_TRUE(r) << name;
        return r ? r->format() : PixelFormat{};
    }
    TempDir home_, dir_;
};

} // namespace

TEST_F(CliIccTransform, OutputKeepsTheLayoutAndAlphaWhereTheSpaceHasIt) {
    const auto planar = format(ColorSpace::RGB, 16, true, true);
    Bitmap in = bitmapOf(23, 9, planar);
    write("planar.tif", in);
    auto r = transform({"--src", kSRGB, "--dst", kAdobe, path("planar.tif"), path("rgb.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "");
    auto out = readImageFile(dir_ / "rgb.tif");
    ASSERT_TRUE(out);
    ASSERT_EQ(out->format(), planar);
    for (std::int32_t y = 0; y < 9; ++y) // alpha copied
        ASSERT_EQ(std::memcmp(out->row(y, 3), in.row(y, 3), 46), 0) << y;
    // A CMYK destination has no alpha.
    r = transform({"--src", kSRGB, "--dst", kCMYK, path("planar.tif"), path("cmyk.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(formatOf("cmyk.tif"), format(ColorSpace::CMYK, 16, false, true));
}

TEST_F(CliIccTransform, LabTiffIsTheDefaultDestinationAndASource) {
    Bitmap in = bitmapOf(40, 6, format(ColorSpace::RGB, 8));
    write("in.tif", in);
    auto r = transform({"--src", kSRGB, path("in.tif"), path("lab.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(formatOf("lab.tif"), format(ColorSpace::Lab, 16));
    r = transform({"--src", "lab", "--dst", kSRGB, path("lab.tif"), path("back.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    auto back = readImageFile(dir_ / "back.tif");
    ASSERT_TRUE(back);
    ASSERT_EQ(back->format(), format(ColorSpace::RGB, 16));
    for (std::int32_t y = 0; y < 6; ++y)
        for (std::size_t i = 0; i < 120; ++i)
            ASSERT_NEAR(back->row16(y)[i] / 257.0, in.row(y)[i], kRoundTripTol) << y << ", " << i;
}

TEST_F(CliIccTransform, TilesWithARemainderRowAndProgressOnATerminalOnly) {
    // 1001 x 1000: one tile of 999 rows, then one of a single row, which is
    // matched like every other: all rows of the input are the same.
    Bitmap in = bitmapOf(1001, 1000, format(ColorSpace::Gray, 8));
    for (std::int32_t y = 1; y < 1000; ++y)
        std::memcpy(in.row(y), in.row(0), 1001);
    write("gray.tif", in);
    auto r = transform({"--src", kGray, "--dst", kSRGB, path("gray.tif"), path("rgb.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, ""); // quiet in a pipe
    auto out = readImageFile(dir_ / "rgb.tif");
    ASSERT_TRUE(out);
    for (std::int32_t y : {1, 998, 999})
        ASSERT_EQ(std::memcmp(out->row(y), out->row(0), out->minRowBytes()), 0) << y;
    if (!slidebox::platform::findInPath("script"))
        GTEST_SKIP() << "script missing: run tools/setup.sh";
    const auto terminal = runChild("script",
                                   {"-qec",
                                    "'" + (buildDir() / "bin/slidebox-cli").string() +
                                        "' icc transform --src '" + kGray + "' --dst '" + kSRGB +
                                        "' '" + path("gray.tif") + "' '" + path("rgb2.tif") + "'",
                                    "/dev/null"},
                                   homeEnv(home_));
    EXPECT_EQ(terminal.status, 0);
    // One line redrawn as the bands are done, ending on 100 (the terminal
    // turns the last newline into \r\n).
    EXPECT_THAT(terminal.out,
                ::testing::MatchesRegex("(\r\\[[# ]{20}\\] +[0-9]+%)*\r\\[#{20}\\] 100%\r\n"));
}

TEST_F(CliIccTransform, EngineOptionsReachTheWorld) {
    // 16-bit RGB (10, 20, 30) % into a printer: --no-optimize gives the
    // fields icc match gives, --bpc what icc match --bpc gives.
    write("in.tif", bitmapOf(1, 1, format(ColorSpace::RGB, 16), {6553, 13107, 19660}));
    for (const bool bpc : {false, true}) {
        std::vector<std::string> args = {"--src", kSRGB, "--dst", kCMYK, "--no-optimize"};
        if (bpc)
            args.push_back("--bpc");
        auto files = args;
        files.insert(files.end(), {path("in.tif"), path("out.tif")});
        ASSERT_EQ(transform(files).status, 0);
        args.insert(args.end(), {"6553", "13107", "19660"});
        auto m = runAt(home_, {"icc", "match"}, args);
        ASSERT_EQ(m.status, 0) << m.err;
        auto out = readImageFile(dir_ / "out.tif");
        ASSERT_TRUE(out);
        std::string fields;
        for (std::uint32_t f : slidebox::image::testing::samplesOf(*out))
            fields += (fields.empty() ? "" : " ") + std::to_string(f);
        EXPECT_EQ(lines(m.out).at(0), fields) << bpc;
    }
}

// The words on the gamut image of two images that don't differ need a font,
// which the command makes available only then.
TEST_F(CliIccTransform, AnImageComparedWithItselfSaysSoOnItsGamutImage) {
    write("in.tif", bitmapOf(200, 40, format(ColorSpace::RGB, 8)));
    ASSERT_EQ(transform({"--src", kSRGB, path("in.tif"), path("lab.tif")}).status, 0);
    auto r = runAt(home_, {"icc", "compare"}, {path("lab.tif"), path("lab.tif"), path("g.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    auto gamut = readImageFile(dir_ / "g.tif");
    ASSERT_TRUE(gamut);
    int dark = 0;
    for (std::int32_t y = 0; y < gamut->height(); ++y)
        for (std::int32_t x = 0; x < gamut->width(); ++x) {
            const std::uint8_t* p = gamut->row(y) + 3 * x;
            dark += p[0] < 64 && p[1] < 64 && p[2] < 64 ? 1 : 0;
        }
    EXPECT_GT(dark, 20) << "no words drawn";
}
