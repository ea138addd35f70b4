// The tile loop from an image file into a TIFF: what the TIFF carries, and
// a file that another program cuts short while the loop reads it.
#include "color/image_transform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "color/tests/present.h"
#include "color/tests/world_fixtures.h"
#include "image/image_file.h"
#include "image/png_writer.h"
#include "image/tiff_reader.h"
#include "image/tiff_writer.h"
#include "platform/file_system.h"
#include "tests/scoped_env.h"

namespace slidebox::color {
namespace {

using slidebox::testing::kAdobe;
using slidebox::testing::kCMYK;
using slidebox::testing::kSRGB;
using slidebox::testing::present;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class ImageTransformTest : public slidebox::testing::InstalledProfilesTest {
  protected:
    std::filesystem::path writeRgb(const char* name, std::int32_t width, std::int32_t height,
                                   std::string profile = {}) {
        auto bitmap = image::Bitmap::allocate(width, height,
                                              image::PixelFormat::make(image::ColorSpace::RGB, 8));
        EXPECT_TRUE(bitmap);
        for (std::int32_t y = 0; y < height; ++y)
            for (std::size_t i = 0; i < bitmap->minRowBytes(); ++i)
                bitmap->row(y)[i] = static_cast<std::uint8_t>(i * 7 + static_cast<std::size_t>(y));
        image::TiffWriteOptions options;
        options.rowsPerStrip = 4;
        options.iccProfile = std::move(profile);
        EXPECT_TRUE(image::writeTiff(dir_ / name, *bitmap, options));
        return dir_ / name;
    }
    std::vector<std::string> entries() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(dir_.path()))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    slidebox::testing::TempDir dir_;
};

// Without a source the embedded profile serves, and gives what naming the
// same profile gives; the TIFF carries the destination (or Lab) profile.
TEST_F(ImageTransformTest, TheEmbeddedProfileServesAndTheOutputCarriesItsOwn) {
    // The engine opens the embedded profile from memory: no temporary file.
    slidebox::testing::ScopedEnv noTemporaries("TMPDIR", (dir_ / "none").c_str());
    const std::string srgb = platform::readRegularFile(kSRGB).value();
    const auto in = writeRgb("in.tif", 20, 10, srgb);
    const ImageTransformRequest embedded{.destination = kCMYK},
        named{.source = kSRGB, .destination = kCMYK};
    ASSERT_TRUE(transformImageFile(in, dir_ / "a.tif", embedded, nullptr));
    ASSERT_TRUE(transformImageFile(in, dir_ / "b.tif", named, nullptr));
    auto a = image::readImage(dir_ / "a.tif"), b = image::readImage(dir_ / "b.tif");
    ASSERT_TRUE(a && b);
    EXPECT_TRUE(a->bitmap.samePixels(b->bitmap));
    EXPECT_EQ(a->iccProfile, platform::readRegularFile(kCMYK).value());

    ASSERT_TRUE(transformImageFile(in, dir_ / "lab.tif", {}, nullptr));
    auto lab = present(image::readImage(dir_ / "lab.tif"));
    EXPECT_EQ(lab->bitmap.format(), image::PixelFormat::make(image::ColorSpace::Lab, 16));
    EXPECT_EQ(lab->iccProfile, platform::readRegularFile(genericLab()).value());
}

// Bands matched on every core, in runs, of strips that don't line up with
// them, give what one match of the whole image gives, packed or planar,
// alpha kept; progress is told in order, ending on 100.
TEST_F(ImageTransformTest, BandsOnEveryCoreMakeWhatOneMatchOfTheWholeImageMakes) {
    struct Percentages : CompletionHandler {
        void setAmountOfCompletion(std::int32_t percent) override { told.push_back(percent); }
        std::vector<std::int32_t> told;
    };
    for (const auto format : {image::PixelFormat::make(image::ColorSpace::RGB, 8),
                              image::PixelFormat::make(image::ColorSpace::RGB, 16, true, true)}) {
        SCOPED_TRACE(image::describe(format));
        auto in = image::Bitmap::allocate(97, 2000, format).value();
        std::uint32_t noise = 1;
        for (std::int32_t y = 0; y < 2000; ++y)
            for (int p = 0; p < in.planeCount(); ++p)
                for (std::size_t i = 0; i < in.minRowBytes(); ++i)
                    in.row(y, p)[i] =
                        static_cast<std::uint8_t>((noise = noise * 1103515245u + 12345u) >> 24);
        auto world = present(ColorWorld::initColorWorldWithSrcProfil(kSRGB, 0, 0, kAdobe));
        auto whole = image::Bitmap::allocate(97, 2000, format).value();
        ASSERT_TRUE(world->matchImage(in, &whole));
        if (format.isPlanar) // the alpha plane is the input's
            for (std::int32_t y = 0; y < 2000; ++y)
                std::memcpy(whole.row(y, 3), in.row(y, 3), whole.minRowBytes());

        // A TIFF read band by band; a PNG, read whole when opened.
        std::vector<std::filesystem::path> inputs{dir_ / "in.tif"};
        ASSERT_TRUE(image::writeTiff(inputs[0], in, {image::TiffCompression::None, 3}));
        if (!format.isPlanar) {
            inputs.push_back(dir_ / "in.png");
            ASSERT_TRUE(image::writePng(inputs[1], in));
        }
        for (const auto& input : inputs) {
            SCOPED_TRACE(input.filename().string());
            Percentages progress;
            const ImageTransformRequest request{.source = kSRGB, .destination = kAdobe};
            ASSERT_TRUE(transformImageFile(input, dir_ / "out.tif", request, &progress));
            auto out = present(image::readImage(dir_ / "out.tif"));
            EXPECT_TRUE(out->bitmap.samePixels(whole));
            ASSERT_FALSE(progress.told.empty());
            EXPECT_TRUE(std::is_sorted(progress.told.begin(), progress.told.end()));
            EXPECT_EQ(progress.told.back(), 100);
        }
    }
}

TEST_F(ImageTransformTest, ABrokenEmbeddedProfileIsRefusedWithTheEnginesReason) {
    const std::string srgb = platform::readRegularFile(kSRGB).value();
    const auto in = writeRgb("in.tif", 4, 4, srgb.substr(0, srgb.size() / 2));
    const auto status = transformImageFile(in, dir_ / "out.tif", {.destination = kCMYK}, nullptr);
    EXPECT_EQ(status.code(), platform::ErrorCode::Truncated);
    EXPECT_THAT(status.message(),
                HasSubstr("in.tif' embeds is not a usable ICC profile: declares"));
    EXPECT_THAT(entries(), ElementsAre("in.tif"));
}

// The file is cut short after it was opened and the first tiles were
// written: a read error naming the input, and no output or temporary left.
TEST_F(ImageTransformTest, AnInputCutShortUnderTheLoopLeavesNothing) {
    const auto in = writeRgb("in.tif", 100, 60);
    auto source = present(image::TileSource::open(in));
    std::filesystem::resize_file(in, std::filesystem::file_size(in) / 2);
    // Ten rows a tile: the first tiles still read.
    const ImageTransformRequest request{.source = kSRGB, .destination = kCMYK, .tilePixels = 1000};
    const auto status = transformImage(*source, in, dir_ / "out.tif", request, nullptr);
    EXPECT_FALSE(status);
    EXPECT_THAT(status.message(), HasSubstr("in.tif"));
    EXPECT_THAT(entries(), ElementsAre("in.tif"));
}

} // namespace
} // namespace slidebox::color
