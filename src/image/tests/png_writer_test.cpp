#include "image/png_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QColor>
#include <QImage>

#include "image/image_file.h"
#include "samples.h"
#include "tests/temp_dir.h"

namespace slidebox::image {
namespace {

using ::testing::ElementsAre;
using testing::folderEntries;
using ::testing::HasSubstr;

TEST(PngWriterTest, PngWrittenFromPaddedRowsReadsBackExactly) {
    slidebox::testing::TempDir dir;
    auto bitmap = Bitmap::allocate(3, 2, PixelFormat::make(ColorSpace::RGB, 8), 16);
    const std::uint8_t samples[2][9] = {{255, 0, 0, 0, 255, 0, 0, 0, 255},
                                        {1, 2, 3, 4, 5, 6, 7, 8, 9}};
    for (int y = 0; y < 2; ++y)
        std::copy(samples[y], samples[y] + 9, bitmap->row(y));
    ASSERT_TRUE(writePng(dir / "gamut.png", *bitmap));
    QImage back(QString::fromStdString((dir / "gamut.png").string()));
    EXPECT_EQ(back.pixel(1, 0), qRgb(0, 255, 0));
    EXPECT_EQ(back.pixel(2, 1), qRgb(7, 8, 9));
    EXPECT_THAT(folderEntries(dir.path()), ElementsAre("gamut.png"));
}

TEST(PngWriterTest, PngRefusesWhatItCantHoldAndLeavesNothing) {
    slidebox::testing::TempDir dir;
    auto wide = Bitmap::allocate(2, 2, PixelFormat::make(ColorSpace::RGB, 16));
    auto planar = Bitmap::allocate(2, 2, PixelFormat::make(ColorSpace::RGB, 8, false, true));
    auto cmyk = Bitmap::allocate(2, 2, PixelFormat::make(ColorSpace::CMYK, 8));
    for (auto* bitmap : {&wide, &planar, &cmyk}) {
        auto status = writePng(dir / "out.png", **bitmap);
        EXPECT_EQ(status.code(), ImageErrorCode::BadArgument);
        EXPECT_THAT(status.message(), HasSubstr("8-bit packed gray or RGB"));
    }
    EXPECT_EQ(writeImageFile(dir / "out.jpg", *cmyk).code(), ImageErrorCode::Unsupported);
    EXPECT_TRUE(folderEntries(dir.path()).empty());
    // A folder in the way: the PNG is written, the rename fails, and the
    // temporary file goes.
    slidebox::testing::writeFile(dir / "taken.png" / "inside", "x");
    auto rgb = Bitmap::allocate(2, 2, PixelFormat::make(ColorSpace::RGB, 8));
    EXPECT_EQ(writePng(dir / "taken.png", *rgb).code(), ImageErrorCode::CannotWrite);
    EXPECT_THAT(folderEntries(dir.path()), ElementsAre("taken.png"));
}

TEST(ImageFileTest, TheEndingChoosesTheKind) {
    EXPECT_EQ(imageFileKind("a/b.TIFF"), ImageFileKind::Tiff);
    EXPECT_EQ(imageFileKind("b.tif"), ImageFileKind::Tiff);
    EXPECT_EQ(imageFileKind("b.Png"), ImageFileKind::Png);
    EXPECT_EQ(imageFileKind("b.jpeg"), ImageFileKind::Jpeg);
    EXPECT_EQ(imageFileKind("tif"), ImageFileKind::Unknown);
    EXPECT_EQ(imageFileKind("b.tif.gz"), ImageFileKind::Unknown);
    EXPECT_EQ(readImageFile("picture.bmp").status().code(), ImageErrorCode::Unsupported);

    slidebox::testing::TempDir dir;
    auto bitmap = Bitmap::allocate(2, 1, PixelFormat::make(ColorSpace::RGB, 8));
    bitmap->row(0)[4] = 99;
    for (const char* name : {"x.TIF", "x.png"}) {
        ASSERT_TRUE(writeImageFile(dir / name, *bitmap));
        auto back = readImageFile(dir / name);
        ASSERT_TRUE(back) << name << ": " << back.status().message();
        EXPECT_TRUE(back->samePixels(*bitmap)) << name;
    }
}

} // namespace
} // namespace slidebox::image
