#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cli/tests/cli_runner.h"
#include "color/color_world.h"
#include "color/profile_manager.h"
#include "image/image_file.h"
#include "image/tiff_reader.h"
#include "image/tiff_writer.h"
#include "platform/script_runner.h"

using ::testing::HasSubstr;
using namespace slidebox::image;
using namespace slidebox::testing;
using namespace std::string_literals;

namespace {

// Both programs use the engine's optimised 8-bit transforms with the same
// profiles and intent; a level of rounding is all they may differ by.
constexpr int kTificcTol = 1;
// 16-bit samples: the same level, in 16-bit units.
constexpr int kTificcTol16 = 257;
// A colour through a Lab TIFF and back: the 16-bit Lab fields hold it to
// well under a level, the 8-bit tables add their rounding on each way.
constexpr int kRoundTripTol = 2;
// Lab fields of a bitmap against single colours: the engine reads 8-bit
// input in single precision, so a field may round the other way.
constexpr int kFieldTol = 1;

Bitmap make(std::int32_t w, std::int32_t h, PixelFormat format) {
    return std::move(Bitmap::allocate(w, h, format).value());
}

// A pattern of the position in every sample of every plane.
void fill(Bitmap& b) {
    const int bps = b.format().bytesPerSample;
    for (int p = 0; p < b.planeCount(); ++p)
        for (std::int32_t y = 0; y < b.height(); ++y)
            for (std::size_t i = 0; i < b.minRowBytes() / bps; ++i) {
                const unsigned v = static_cast<unsigned>(i * 29 + y * 53 + p * 71);
                if (bps == 1)
                    b.row(y, p)[i] = static_cast<std::uint8_t>(v);
                else
                    b.row16(y, p)[i] = static_cast<std::uint16_t>(v * 251);
            }
}

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
    void write(const char* name, const Bitmap& b) const {
        ASSERT_TRUE(writeTiff(dir_ / name, b, {TiffCompression::None, 0, {}, false}));
    }
    Bitmap read(const char* name) const {
        auto r = readImageFile(dir_ / name);
        EXPECT_TRUE(r) << name;
        return r ? std::move(r.value()) : Bitmap();
    }
    TempDir home_, dir_;
};

} // namespace

TEST_F(CliIccTransform, MatchesTificcOnRealProfiles) {
    auto tificc = slidebox::platform::findInPath("tificc");
    if (!tificc)
        GTEST_SKIP() << "tificc missing: run tools/setup.sh";
    Bitmap in = make(61, 17, PixelFormat::make(ColorSpace::RGB, 8));
    fill(in);
    write("in.tif", in);
    for (const auto& [destination, space] :
         {std::pair{kCMYK, ColorSpace::CMYK}, std::pair{kAdobe, ColorSpace::RGB}}) {
        SCOPED_TRACE(destination);
        auto r = transform({"--src", kSRGB, "--dst", destination, "--intent", "0", path("in.tif"),
                            path("ours.tif")});
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.out, "");
        const std::string command = tificc->string() + " -t0 -i '" + kSRGB + "' -o '" +
                                    destination + "' '" + path("in.tif") + "' '" +
                                    path("theirs.tif") + "' 2> /dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0);
        Bitmap ours = read("ours.tif"), theirs = read("theirs.tif");
        ASSERT_EQ(ours.format(), PixelFormat::make(space, 8));
        ASSERT_EQ(ours.size(), in.size());
        ASSERT_EQ(theirs.format(), ours.format());
        for (std::int32_t y = 0; y < ours.height(); ++y)
            for (std::size_t i = 0; i < ours.minRowBytes(); ++i)
                ASSERT_NEAR(ours.row(y)[i], theirs.row(y)[i], kTificcTol) << y << ", " << i;
    }
}

TEST_F(CliIccTransform, PlanarSixteenBitWithAlphaKeepsItsLayoutAndAlpha) {
    const PixelFormat packed = PixelFormat::make(ColorSpace::RGB, 16, true);
    const PixelFormat planar = PixelFormat::make(ColorSpace::RGB, 16, true, true);
    Bitmap in = make(23, 9, planar);
    fill(in);
    Bitmap inPacked = make(23, 9, packed);
    for (std::int32_t y = 0; y < 9; ++y)
        for (std::int32_t x = 0; x < 23; ++x)
            for (int s = 0; s < 4; ++s)
                inPacked.row16(y)[x * 4 + s] = in.row16(y, s)[x];
    write("planar.tif", in);
    write("packed.tif", inPacked);
    for (const char* name : {"planar", "packed"}) {
        auto r = transform(
            {"--src", kSRGB, "--dst", kAdobe, path(name + ".tif"s), path(name + "-out.tif"s)});
        ASSERT_EQ(r.status, 0) << r.err;
    }
    Bitmap outPlanar = read("planar-out.tif"), outPacked = read("packed-out.tif");
    ASSERT_EQ(outPlanar.format(), planar);
    ASSERT_EQ(outPacked.format(), packed);
    for (std::int32_t y = 0; y < 9; ++y)
        for (std::int32_t x = 0; x < 23; ++x) {
            for (int s = 0; s < 3; ++s)
                ASSERT_NEAR(outPlanar.row16(y, s)[x], outPacked.row16(y)[x * 4 + s], kTificcTol16);
            // Alpha unchanged, in both layouts.
            ASSERT_EQ(outPlanar.row16(y, 3)[x], in.row16(y, 3)[x]);
            ASSERT_EQ(outPacked.row16(y)[x * 4 + 3], in.row16(y, 3)[x]);
        }

    // A CMYK destination has no alpha.
    auto r = transform({"--src", kSRGB, "--dst", kCMYK, path("planar.tif"), path("cmyk.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(read("cmyk.tif").format(), PixelFormat::make(ColorSpace::CMYK, 16, false, true));
}

TEST_F(CliIccTransform, TilesOfAMillionPixelsWithARemainderRow) {
    // 1001 x 1000: one tile of 999 rows, then one of a single row, which is
    // matched like every other: all rows of the input are the same.
    Bitmap in = make(1001, 1000, PixelFormat::make(ColorSpace::Gray, 8));
    for (std::int32_t y = 0; y < 1000; ++y)
        for (std::int32_t x = 0; x < 1001; ++x)
            in.row(y)[x] = static_cast<std::uint8_t>(x * 7);
    write("gray.tif", in);
    auto r = transform({"--src", kGray, "--dst", kSRGB, path("gray.tif"), path("rgb.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    Bitmap out = read("rgb.tif");
    ASSERT_EQ(out.format(), PixelFormat::make(ColorSpace::RGB, 8));
    for (std::int32_t y : {1, 998, 999})
        ASSERT_EQ(std::memcmp(out.row(y), out.row(0), out.minRowBytes()), 0) << y;
    // Gray through a gray profile into sRGB stays neutral.
    EXPECT_NEAR(out.row(999)[300], out.row(999)[301], kTificcTol);
    // Quiet in a pipe, as above; on a terminal one line redrawn after each
    // tile (the terminal turns the last newline into \r\n).
    EXPECT_EQ(r.err, "");
    auto script = slidebox::platform::findInPath("script");
    if (!script)
        return;
    const std::string command = "HOME='" + home_.path().string() + "' " + script->string() +
                                " -qec \"'" + (buildDir() / "bin/slidebox-cli").string() +
                                "' icc transform --src '" + kGray + "' --dst '" + kSRGB + "' '" +
                                path("gray.tif") + "' '" + path("rgb2.tif") + "'\" /dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string terminal;
    char buffer[256];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        terminal.append(buffer, n);
    EXPECT_EQ(pclose(pipe), 0);
    EXPECT_EQ(terminal, "\r[################### ]  99%\r[####################] 100%\r\n");
}

TEST_F(CliIccTransform, LabModeWritesFieldsThatComeBackExactly) {
    Bitmap in = make(40, 6, PixelFormat::make(ColorSpace::RGB, 8));
    fill(in);
    write("in.tif", in);
    // --dst lab is the default.
    auto r = transform({"--src", kSRGB, path("in.tif"), path("lab.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    auto reader = TiffReader::open(dir_ / "lab.tif");
    ASSERT_TRUE(reader);
    ASSERT_EQ(reader->format(), PixelFormat::make(ColorSpace::Lab, 16));
    Bitmap lab = std::move(reader->readBitmap().value());

    // The same match in this process: its Lab bitmap, field for field.
    using slidebox::color::ProfileManager;
    const auto saved = ProfileManager::places();
    ProfileManager::setPlaces(slidebox::color::ProfilePlaces::underHome(home_.path()));
    auto labPath = slidebox::color::ProfileManager::pathOfGenericLabProfil();
    ProfileManager::setPlaces(saved);
    ASSERT_TRUE(labPath);
    auto world = slidebox::color::ColorWorld::initColorWorldWithSrcProfil(kSRGB, *labPath, 0);
    ASSERT_NE(world, nullptr);
    ASSERT_TRUE(world->matchSourceImageRep(in, nullptr));
    const slidebox::color::CMBitmap* fields = world->labBitmap();
    ASSERT_NE(fields, nullptr);
    for (std::int32_t y = 0; y < 6; ++y)
        ASSERT_EQ(std::memcmp(lab.row(y), fields->image + y * fields->rowBytes, 40 * 6), 0) << y;
    // And they are the fields of single colours.
    for (std::int32_t x : {0, 17, 39}) {
        slidebox::color::CMColor c{};
        const std::uint8_t* p = in.row(5) + 3 * x;
        c.rgb = {static_cast<std::uint16_t>(p[0] * 257), static_cast<std::uint16_t>(p[1] * 257),
                 static_cast<std::uint16_t>(p[2] * 257)};
        ASSERT_TRUE(world->matchColor(c));
        EXPECT_NEAR(lab.row16(5)[3 * x], c.lab.L, kFieldTol);
        EXPECT_NEAR(lab.row16(5)[3 * x + 1], c.lab.a, kFieldTol);
        EXPECT_NEAR(lab.row16(5)[3 * x + 2], c.lab.b, kFieldTol);
    }

    // --src lab takes the Lab TIFF as a source: back to sRGB.
    r = transform({"--src", "lab", "--dst", kSRGB, path("lab.tif"), path("back.tif")});
    ASSERT_EQ(r.status, 0) << r.err;
    Bitmap back = read("back.tif");
    ASSERT_EQ(back.format(), PixelFormat::make(ColorSpace::RGB, 16));
    for (std::int32_t y = 0; y < 6; ++y)
        for (std::size_t i = 0; i < 120; ++i)
            ASSERT_NEAR(back.row16(y)[i] / 257.0, in.row(y)[i], kRoundTripTol) << y << ", " << i;
}

TEST_F(CliIccTransform, SourceTestAndRefusalsLeaveNoOutput) {
    Bitmap gray = make(8, 8, PixelFormat::make(ColorSpace::Gray, 8));
    write("gray.tif", gray);
    auto r = transform({"--src", kSRGB, path("gray.tif"), path("out.tif")});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.err,
                HasSubstr("ColorWorld: No good source or not a destination Lab color space"));
    r = transform({"--src", kSRGB, "--dst", kCMYK, path("gray.tif"), path("out.tif")});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.err,
                HasSubstr("ColorWorld: No correlation between imageReps and profil color space"));

    // Wider than a tile can be.
    Bitmap wide = make(1000001, 1, PixelFormat::make(ColorSpace::RGB, 8));
    ASSERT_TRUE(writeTiff(dir_ / "wide.tif", wide, {TiffCompression::Deflate, 0, {}, false}));
    r = transform({"--src", kSRGB, "--dst", kCMYK, path("wide.tif"), path("out.tif")});
    EXPECT_EQ(r.status, 1);

    // A truncated file and a profile that isn't one.
    Bitmap rgb = make(30, 30, PixelFormat::make(ColorSpace::RGB, 8));
    fill(rgb);
    write("rgb.tif", rgb);
    std::string bytes = readFile(dir_ / "rgb.tif");
    writeFile(dir_ / "cut.tif", bytes.substr(0, bytes.size() / 2));
    r = transform({"--src", kSRGB, "--dst", kCMYK, path("cut.tif"), path("out.tif")});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.err, HasSubstr("cut.tif"));
    r = transform({"--src", path("rgb.tif"), path("rgb.tif"), path("out.tif")});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.err, HasSubstr("is not a usable ICC profile"));
    EXPECT_FALSE(std::filesystem::exists(dir_ / "out.tif"));
    // Nothing half-written beside it either.
    std::size_t files = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(dir_.path()))
        ++files;
    EXPECT_EQ(files, 4u); // gray, wide, rgb, cut
}

TEST_F(CliIccTransform, WrongUsageIsStatus2) {
    for (const auto& args : std::vector<std::vector<std::string>>{
             {"in.tif", "out.tif"},
             {"--src", kSRGB, "in.tif"},
             {"--src", kSRGB, "in.tif", "out.png"},
             {"--src", kSRGB, "--intent", "4", "in.tif", "out.tif"},
             {"--src", kSRGB, "--bogus", "in.tif", "out.tif"}}) {
        auto r = transform(args);
        EXPECT_EQ(r.status, 2) << args.back();
        EXPECT_EQ(r.out, "");
    }
}
