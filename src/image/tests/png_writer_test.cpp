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

using testing::bitmapOf;
using ::testing::ElementsAre;
using testing::folderEntries;
using testing::format;
using ::testing::HasSubstr;
using enum ImageErrorCode;

TEST(PngWriterTest, PngRefusesWhatItCantHoldAndLeavesNothing) {
    slidebox::testing::TempDir dir;
    const auto cmyk = format(ColorSpace::CMYK, 8);
    for (auto f : {format(ColorSpace::RGB, 16), format(ColorSpace::RGB, 8, false, true), cmyk}) {
        auto status = writePng(dir / "out.png", bitmapOf(2, 2, f));
        EXPECT_EQ(status.code(), BadArgument);
        EXPECT_THAT(status.message(), HasSubstr("8-bit packed gray or RGB"));
    }
    EXPECT_EQ(writeImageFile(dir / "out.jpg", bitmapOf(2, 2, cmyk)).code(), Unsupported);
    EXPECT_TRUE(folderEntries(dir.path()).empty());
    // A folder in the way: the PNG is written, the rename fails, and the
    // temporary file goes.
    slidebox::testing::writeFile(dir / "taken.png" / "inside", "x");
    EXPECT_EQ(writePng(dir / "taken.png", bitmapOf(2, 2, format(ColorSpace::RGB, 8))).code(),
              CannotWrite);
    EXPECT_THAT(folderEntries(dir.path()), ElementsAre("taken.png"));
}

TEST(ImageFileTest, TheEndingChoosesTheKind) {
    EXPECT_EQ(imageFileKind("a/b.TIFF"), ImageFileKind::Tiff);
    EXPECT_EQ(imageFileKind("b.tif"), ImageFileKind::Tiff);
    EXPECT_EQ(imageFileKind("b.Png"), ImageFileKind::Png);
    EXPECT_EQ(imageFileKind("b.jpeg"), ImageFileKind::Jpeg);
    EXPECT_EQ(imageFileKind("tif"), ImageFileKind::Unknown);
    EXPECT_EQ(imageFileKind("b.tif.gz"), ImageFileKind::Unknown);
    EXPECT_EQ(readImageFile("picture.bmp").status().code(), Unsupported);

    // Padded rows through each kind and back; the PNG also through Qt's reader.
    slidebox::testing::TempDir dir;
    const Bitmap bitmap =
        bitmapOf(3, 2, format(ColorSpace::RGB, 8),
                 {255, 0, 0, 0, 255, 0, 0, 0, 255, 1, 2, 3, 4, 5, 6, 7, 8, 9}, 16);
    for (const char* name : {"x.TIF", "x.png"}) {
        ASSERT_TRUE(writeImageFile(dir / name, bitmap));
        auto back = readImageFile(dir / name);
        ASSERT_TRUE(back) << name << ": " << back.status().message();
        EXPECT_TRUE(back->samePixels(bitmap)) << name;
    }
    QImage png(QString::fromStdString((dir / "x.png").string()));
    EXPECT_EQ(png.pixel(1, 0), qRgb(0, 255, 0));
    EXPECT_EQ(png.pixel(2, 1), qRgb(7, 8, 9));
    EXPECT_THAT(folderEntries(dir.path()), ElementsAre("x.TIF", "x.png"));
}

} // namespace
} // namespace slidebox::image
