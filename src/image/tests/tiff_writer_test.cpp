#include "image/tiff_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

#include "image/tiff_reader.h"
#include "tests/temp_dir.h"
#include "tiff_fixtures.h"

namespace slidebox::image {
namespace {

using ::testing::ElementsAre;
using testing::format;
using ::testing::HasSubstr;
using testing::rampBitmap;

/// A bitmap of one row from the given samples.
Bitmap rowOf(PixelFormat rowFormat, std::int32_t width, const std::vector<std::uint16_t>& samples) {
    auto bitmap = Bitmap::allocate(width, 1, rowFormat);
    EXPECT_TRUE(bitmap);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (rowFormat.bytesPerSample == 2)
            bitmap->row16(0)[i] = samples[i];
        else
            bitmap->row(0)[i] = static_cast<std::uint8_t>(samples[i]);
    }
    return std::move(bitmap).value();
}

struct Kind {
    ColorSpace space;
    bool alpha;
};

using RoundTripParam = std::tuple<Kind, int, bool, TiffCompression>;

class TiffRoundTripTest : public ::testing::TestWithParam<RoundTripParam> {};

TEST_P(TiffRoundTripTest, EveryKindComesBackSampleForSample) {
    const auto [kind, bits, planar, compression] = GetParam();
    const auto expected = format(kind.space, bits, kind.alpha, planar);
    slidebox::testing::TempDir dir;
    const Bitmap original = rampBitmap(13, 9, expected);
    TiffWriteOptions options;
    options.compression = compression;
    options.rowsPerStrip = 4;
    auto status = writeTiff(dir / "out.tif", original, options);
    ASSERT_TRUE(status) << status.message();
    auto back = readTiff(dir / "out.tif");
    ASSERT_TRUE(back) << back.status().message();
    EXPECT_EQ(back->format(), expected) << describe(back->format());
    EXPECT_TRUE(back->samePixels(original));
    EXPECT_THAT(testing::folderEntries(dir.path()), ElementsAre("out.tif"));
}

std::string roundTripName(const ::testing::TestParamInfo<RoundTripParam>& info) {
    const auto [kind, bits, planar, compression] = info.param;
    std::string name(colorSpaceName(kind.space));
    name += kind.alpha ? "Alpha" : "";
    name += std::to_string(bits);
    name += planar ? "Planar" : "Packed";
    name += compression == TiffCompression::None  ? ""
            : compression == TiffCompression::LZW ? "Lzw"
                                                  : "Deflate";
    return name;
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, TiffRoundTripTest,
    ::testing::Combine(::testing::Values(Kind{ColorSpace::Gray, false},
                                         Kind{ColorSpace::Gray, true}, Kind{ColorSpace::RGB, false},
                                         Kind{ColorSpace::RGB, true}, Kind{ColorSpace::CMYK, false},
                                         Kind{ColorSpace::Lab, false}),
                       ::testing::Values(8, 16), ::testing::Bool(),
                       ::testing::Values(TiffCompression::None)),
    roundTripName);
// The compression is a tag the writer hands on, whatever the kind: each
// compression on the kinds the reader treats apart after decoding (alpha,
// signed Lab), in both widths and layouts.
INSTANTIATE_TEST_SUITE_P(
    Compressed, TiffRoundTripTest,
    ::testing::Combine(::testing::Values(Kind{ColorSpace::RGB, true}, Kind{ColorSpace::Lab, false}),
                       ::testing::Values(8, 16), ::testing::Bool(),
                       ::testing::Values(TiffCompression::LZW, TiffCompression::Deflate)),
    roundTripName);

class TiffWriterTest : public ::testing::Test {
  protected:
    slidebox::testing::TempDir dir;
};

TEST_F(TiffWriterTest, LabIsWrittenAsCieLabWithSignedAB) {
    // Fields 0, 32768, 65535 are the samples -32768, 0, 32767.
    const Bitmap lab16 = rowOf(format(ColorSpace::Lab, 16), 2, {0, 32768, 65535, 65535, 0, 32767});
    ASSERT_TRUE(writeTiff(dir / "lab16.tif", lab16));
    auto raw = testing::readRawTiff(dir / "lab16.tif");
    ASSERT_TRUE(raw.ok);
    EXPECT_EQ(raw.photometric, PHOTOMETRIC_CIELAB);
    EXPECT_EQ(raw.bits, 16);
    EXPECT_EQ(raw.samples, 3);
    EXPECT_EQ(raw.planar, PLANARCONFIG_CONTIG);
    EXPECT_THAT(raw.values, ElementsAre(0, 0x0000, 0x7FFF, 65535, 0x8000, 0xFFFF));

    const Bitmap lab8 = rowOf(format(ColorSpace::Lab, 8), 1, {200, 0, 255});
    ASSERT_TRUE(writeTiff(dir / "lab8.tif", lab8));
    EXPECT_THAT(testing::readRawTiff(dir / "lab8.tif").values, ElementsAre(200, 0x80, 0x7F));
    // The caller's fields are not touched by the encoding.
    EXPECT_EQ(lab8.row(0)[1], 0);
    EXPECT_EQ(lab16.row16(0)[2], 65535);
}

TEST_F(TiffWriterTest, TagsSayWhatTheFormatSays) {
    ASSERT_TRUE(
        writeTiff(dir / "cmyk.tif", rampBitmap(3, 2, format(ColorSpace::CMYK, 8, false, true))));
    auto cmyk = testing::readRawTiff(dir / "cmyk.tif");
    EXPECT_EQ(cmyk.photometric, PHOTOMETRIC_SEPARATED);
    EXPECT_EQ(cmyk.inkSet, INKSET_CMYK);
    EXPECT_EQ(cmyk.planar, PLANARCONFIG_SEPARATE);
    EXPECT_THAT(cmyk.values, ::testing::ElementsAreArray(testing::rampValues(24, 8)));

    auto premultiplied = format(ColorSpace::RGB, 16, true);
    premultiplied.alphaPremultiplied = true;
    ASSERT_TRUE(writeTiff(dir / "rgba.tif", rampBitmap(2, 2, premultiplied)));
    EXPECT_THAT(testing::readRawTiff(dir / "rgba.tif").extraSamples,
                ElementsAre(EXTRASAMPLE_ASSOCALPHA));
    ASSERT_TRUE(writeTiff(dir / "graya.tif", rampBitmap(2, 2, format(ColorSpace::Gray, 8, true))));
    auto gray = testing::readRawTiff(dir / "graya.tif");
    EXPECT_EQ(gray.photometric, PHOTOMETRIC_MINISBLACK);
    EXPECT_THAT(gray.extraSamples, ElementsAre(EXTRASAMPLE_UNASSALPHA));

    TiffWriteOptions lzw;
    lzw.compression = TiffCompression::LZW;
    lzw.iccProfile = "not really a profile";
    ASSERT_TRUE(writeTiff(dir / "lzw.tif", rampBitmap(2, 2, format(ColorSpace::RGB, 8)), lzw));
    EXPECT_EQ(testing::readRawTiff(dir / "lzw.tif").compression, COMPRESSION_LZW);
    ASSERT_TRUE(writeTiff(dir / "deflate.tif", rampBitmap(2, 2, format(ColorSpace::RGB, 8)),
                          {TiffCompression::Deflate, 0, {}, false}));
    EXPECT_EQ(testing::readRawTiff(dir / "deflate.tif").compression, COMPRESSION_ADOBE_DEFLATE);
    auto reader = TiffReader::open(dir / "lzw.tif");
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->iccProfile(), "not really a profile");
}

TEST_F(TiffWriterTest, RowsStreamedInWholeStripsOrUnevenPiecesMakeTheSameImage) {
    // Whole strips (the last one short) go to the file as they are; pieces
    // that straddle strips are gathered first.
    const auto rgba = format(ColorSpace::RGB, 16, true, true);
    Bitmap original = rampBitmap(7, 12, rgba);
    for (const auto& pieces : {std::vector<std::int32_t>{5, 5, 2}, {3, 1, 6, 2}}) {
        SCOPED_TRACE(pieces[0]);
        auto writer = TiffWriter::create(dir / "pieces.tif", 7, 12, rgba,
                                         {TiffCompression::None, 5, {}, false});
        ASSERT_TRUE(writer) << writer.status().message();
        std::int32_t y = 0;
        for (std::int32_t count : pieces) {
            ASSERT_TRUE(writer->writeRows(*original.view(makeRect(0, y, 7, count))));
            y += count;
        }
        EXPECT_EQ(writer->rowsWritten(), 12);
        // Until finished, only the hidden temporary file exists.
        EXPECT_THAT(testing::folderEntries(dir.path()), ElementsAre(::testing::Ne("pieces.tif")));
        ASSERT_TRUE(writer->finish());
        auto back = TiffReader::open(dir / "pieces.tif");
        ASSERT_TRUE(back);
        EXPECT_EQ(back->rowsPerBand(), 5);
        EXPECT_TRUE(back->readBitmap()->samePixels(original));
        EXPECT_THAT(testing::folderEntries(dir.path()), ElementsAre("pieces.tif"));
        std::filesystem::remove(dir / "pieces.tif");
    }
}

TEST_F(TiffWriterTest, UnwritableFormatsAndRowsAreRefused) {
    auto create = [&](std::int32_t width, PixelFormat f, const char* file = "x.tif") {
        return TiffWriter::create(dir / file, width, 2, f).status();
    };
    EXPECT_EQ(create(2, format(ColorSpace::XYZ, 16)).code(), ImageErrorCode::BadArgument);
    EXPECT_THAT(create(2, format(ColorSpace::CMYK, 8, true)).message(), HasSubstr("alpha"));
    EXPECT_EQ(create(0, format(ColorSpace::Gray, 8)).code(), ImageErrorCode::BadArgument);
    auto status = create(2, format(ColorSpace::Gray, 8), "no/x.tif");
    EXPECT_EQ(status.code(), ImageErrorCode::CannotWrite);
    EXPECT_THAT(status.message(), HasSubstr("No such file or directory"));
    // An empty bitmap, and a folder with something in it in place of the
    // file: nothing is written.
    EXPECT_EQ(writeTiff(dir / "empty.tif", Bitmap()).code(), ImageErrorCode::BadArgument);
    slidebox::testing::writeFile(dir / "taken.tif" / "inside", "x");
    status = writeTiff(dir / "taken.tif", rampBitmap(3, 3, format(ColorSpace::RGB, 8)));
    EXPECT_EQ(status.code(), ImageErrorCode::CannotWrite);
    EXPECT_THAT(status.message(), HasSubstr("not a regular file"));
    EXPECT_THAT(testing::folderEntries(dir.path()), ElementsAre("taken.tif"));

    auto writer = TiffWriter::create(dir / "x.tif", 4, 2, format(ColorSpace::Gray, 8));
    ASSERT_TRUE(writer);
    EXPECT_EQ(writer->writeRows(rampBitmap(3, 1, format(ColorSpace::Gray, 8))).code(),
              ImageErrorCode::BadArgument);
    EXPECT_EQ(writer->writeRows(rampBitmap(4, 1, format(ColorSpace::Gray, 16))).code(),
              ImageErrorCode::BadArgument);
    EXPECT_EQ(writer->writeRows(rampBitmap(4, 3, format(ColorSpace::Gray, 8))).code(),
              ImageErrorCode::BadArgument);
    EXPECT_EQ(writer->rowsWritten(), 0);
}

TEST_F(TiffWriterTest, AnUnfinishedFileLeavesNothingAndTheOldTargetStands) {
    slidebox::testing::writeFile(dir / "old.tif", "the old file");
    {
        auto writer = TiffWriter::create(dir / "old.tif", 4, 3, format(ColorSpace::RGB, 8));
        ASSERT_TRUE(writer);
        ASSERT_TRUE(writer->writeRows(rampBitmap(4, 2, format(ColorSpace::RGB, 8))));
        auto status = writer->finish();
        EXPECT_EQ(status.code(), ImageErrorCode::BadArgument);
        EXPECT_THAT(status.message(), HasSubstr("2 of 3 rows"));
        EXPECT_EQ(writer->finish().code(), ImageErrorCode::BadArgument);
    }
    {
        auto abandoned = TiffWriter::create(dir / "new.tif", 4, 3, format(ColorSpace::RGB, 8));
        ASSERT_TRUE(abandoned);
        ASSERT_TRUE(abandoned->writeRows(rampBitmap(4, 1, format(ColorSpace::RGB, 8))));
    }
    EXPECT_THAT(testing::folderEntries(dir.path()), ElementsAre("old.tif"));
    EXPECT_EQ(slidebox::testing::readFile(dir / "old.tif"), "the old file");
}

} // namespace
} // namespace slidebox::image
