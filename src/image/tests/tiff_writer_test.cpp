#include "image/tiff_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tiffio.h>

#include <csignal>
#include <cstring>
#include <thread>
#include <tuple>

#include <sys/resource.h>

#include "image/tiff_reader.h"
#include "samples.h"
#include "tests/temp_dir.h"

namespace slidebox::image {
namespace {

using testing::bitmapOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr auto kGray = ColorSpace::Gray, kRGB = ColorSpace::RGB, kLab = ColorSpace::Lab;

PixelFormat format(ColorSpace space, int bits, bool alpha = false, bool planar = false) {
    return PixelFormat::make(space, bits, alpha, planar);
}

using Kind = std::pair<ColorSpace, bool>; // with alpha or not
using RoundTripParam = std::tuple<Kind, int, bool, TiffCompression>;

class TiffRoundTripTest : public ::testing::TestWithParam<RoundTripParam> {};

TEST_P(TiffRoundTripTest, EveryKindComesBackSampleForSample) {
    const auto [kind, bits, planar, compression] = GetParam();
    const auto expected = format(kind.first, bits, kind.second, planar);
    slidebox::testing::TempDir dir;
    const Bitmap original = bitmapOf(13, 9, expected);
    ASSERT_TRUE(writeTiff(dir / "out.tif", original, {compression, 4, {}, false}));
    auto back = readTiff(dir / "out.tif");
    ASSERT_TRUE(back) << back.status().message();
    EXPECT_EQ(back->format(), expected) << describe(back->format());
    EXPECT_TRUE(back->samePixels(original));
    EXPECT_THAT(testing::folderEntries(dir.path()), ElementsAre("out.tif"));
}

INSTANTIATE_TEST_SUITE_P(Kinds, TiffRoundTripTest,
                         ::testing::Combine(::testing::Values(Kind(kGray, false), Kind(kGray, true),
                                                              Kind(kRGB, false), Kind(kRGB, true),
                                                              Kind(ColorSpace::CMYK, false),
                                                              Kind(kLab, false)),
                                            ::testing::Values(8, 16), ::testing::Bool(),
                                            ::testing::Values(TiffCompression::None)));
// The compression is a tag the writer hands on, whatever the kind: each
// compression on the kinds the reader treats apart after decoding (alpha,
// signed Lab), in both widths and layouts.
INSTANTIATE_TEST_SUITE_P(Compressed, TiffRoundTripTest,
                         ::testing::Combine(::testing::Values(Kind(kRGB, true), Kind(kLab, false)),
                                            ::testing::Values(8, 16), ::testing::Bool(),
                                            ::testing::Values(TiffCompression::LZW,
                                                              TiffCompression::Deflate)));

/// What libtiff reads of a file: its tags and first strip.
struct Tags {
    std::uint16_t photometric = 0, bits = 0, samples = 0, planar = 0, compression = 0, inkSet = 0;
    std::vector<std::uint16_t> extraSamples;
    std::string strip;
    bool operator==(const Tags&) const = default;
};
Tags tagsOf(const std::filesystem::path& path) {
    Tags t;
    TIFF* tif = TIFFOpen(path.c_str(), "r");
    if (!tif)
        return t;
    TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &t.photometric);
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &t.bits);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &t.samples);
    TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &t.planar);
    TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &t.compression);
    TIFFGetField(tif, TIFFTAG_INKSET, &t.inkSet);
    std::uint16_t count = 0, *extra = nullptr;
    if (TIFFGetField(tif, TIFFTAG_EXTRASAMPLES, &count, &extra))
        t.extraSamples.assign(extra, extra + count);
    t.strip.resize(static_cast<std::size_t>(TIFFStripSize(tif)));
    TIFFReadEncodedStrip(tif, 0, t.strip.data(), -1);
    TIFFClose(tif);
    return t;
}

class TiffWriterTest : public ::testing::Test {
  protected:
    slidebox::testing::TempDir dir;
};

// The same samples as the files in data/good that libtiff made: the same
// tags and the same first strip. No values: the ramp.
TEST_F(TiffWriterTest, WritesWhatLibtiffWritesForTheSameSamples) {
    auto premultiplied = format(kRGB, 8, true);
    premultiplied.alphaPremultiplied = true;
    const std::string profile("profile\0bytes", 13);
    const std::vector<std::uint32_t> lab16{65535, 0, 65535, 0, 32767, 32768, 12345, 32769, 32766};
    using enum TiffCompression;
    const struct {
        const char* stored;
        std::int32_t width, height;
        PixelFormat format;
        TiffWriteOptions options;
        std::vector<std::uint32_t> values;
    } rows[] = {
        {"cmyk.tif", 2, 3, format(ColorSpace::CMYK, 8), {}, {}},
        {"rgb16_planar.tif", 3, 2, format(kRGB, 16, false, true), {}, {}},
        {"rgba_associated.tif", 2, 2, premultiplied, {}, {}},
        {"gray16_alpha_lzw_strips_of_7.tif", 37, 21, format(kGray, 16, true), {LZW, 7}, {}},
        {"gray_with_profile.tif", 2, 2, format(kGray, 8), {None, 0, profile}, {1, 2, 3, 4}},
        // Lab fields become CIE Lab's signed a and b.
        {"cielab.tif", 3, 1, format(kLab, 8), {}, {255, 0, 255, 0, 128, 127, 100, 255, 0}},
        {"cielab16.tif", 3, 1, format(kLab, 16), {}, lab16},
    };
    for (const auto& row : rows) {
        const Bitmap bitmap = bitmapOf(row.width, row.height, row.format, row.values);
        ASSERT_TRUE(writeTiff(dir / row.stored, bitmap, row.options));
        EXPECT_EQ(tagsOf(dir / row.stored),
                  tagsOf(std::filesystem::path(SLIDEBOX_IMAGE_TEST_DATA) / "good" / row.stored))
            << row.stored;
        EXPECT_EQ(TiffReader::open(dir / row.stored)->iccProfile(), row.options.iccProfile);
        EXPECT_TRUE(row.values.empty() || testing::samplesOf(bitmap) == row.values)
            << "the caller's fields stay";
    }
    ASSERT_TRUE(writeTiff(dir / "d.tif", bitmapOf(2, 2, format(ColorSpace::RGB, 8)),
                          {TiffCompression::Deflate}));
    EXPECT_EQ(tagsOf(dir / "d.tif").compression, COMPRESSION_ADOBE_DEFLATE);
}

TEST_F(TiffWriterTest, RowsStreamedInWholeStripsOrUnevenPiecesMakeTheSameImage) {
    // Whole strips (the last one short) go to the file as they are; pieces
    // that straddle strips are gathered first.
    const auto rgba = format(ColorSpace::RGB, 16, true, true);
    Bitmap original = bitmapOf(7, 12, rgba);
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
        EXPECT_EQ(back->rowsPerBand(), 5);
        EXPECT_TRUE(back->readBitmap()->samePixels(original));
        EXPECT_THAT(testing::folderEntries(dir.path()), ElementsAre("pieces.tif"));
        std::filesystem::remove(dir / "pieces.tif");
    }
}

// Rows put in their place from several threads, in any order, pieces
// straddling strips, rows padded or signed on the way (Lab), make the very
// file that rows streamed from the top make; the caller's rows stay.
TEST_F(TiffWriterTest, RowsInAnyOrderFromSeveralThreadsMakeTheFileStreamedRowsMake) {
    const struct {
        PixelFormat format;
        std::size_t rowBytes; // 0: tight
    } kinds[] = {{format(kRGB, 8), 0},
                 {format(kRGB, 16, true, true), 0},
                 {format(kLab, 16), 0},
                 {format(kLab, 8), 64}};
    for (const auto& kind : kinds) {
        SCOPED_TRACE(describe(kind.format));
        Bitmap original = std::move(Bitmap::allocate(7, 12, kind.format, kind.rowBytes).value());
        const Bitmap ramp = bitmapOf(7, 12, kind.format);
        for (std::int32_t y = 0; y < 12; ++y)
            for (int p = 0; p < ramp.planeCount(); ++p)
                std::memcpy(original.row(y, p), ramp.row(y, p), ramp.minRowBytes());
        const TiffWriteOptions streamed{TiffCompression::None, 5, "icc", false};
        ASSERT_TRUE(writeTiff(dir / "streamed.tif", original, streamed));

        TiffWriteOptions anyOrder = streamed;
        anyOrder.anyOrder = true;
        auto writer = TiffWriter::create(dir / "placed.tif", 7, 12, kind.format, anyOrder);
        ASSERT_TRUE(writer) << writer.status().message();
        const std::vector<std::pair<std::int32_t, std::int32_t>> pieces[] = {{{10, 2}, {3, 4}},
                                                                             {{0, 3}, {7, 3}}};
        std::vector<std::thread> threads;
        for (const auto& share : pieces)
            threads.emplace_back([&, share] {
                for (auto [first, rows] : share)
                    EXPECT_TRUE(
                        writer->writeRowsAt(first, *original.view(makeRect(0, first, 7, rows))));
            });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(writer->rowsWritten(), 12);
        ASSERT_TRUE(writer->finish());
        EXPECT_EQ(slidebox::testing::readFile(dir / "placed.tif"),
                  slidebox::testing::readFile(dir / "streamed.tif"));
        EXPECT_TRUE(original.samePixels(ramp)) << "the caller's rows stay";
    }
}

TEST_F(TiffWriterTest, RowsInAnyOrderThatFailOrAreMissingLeaveNothing) {
    const auto rgb = format(kRGB, 8);
    TiffWriteOptions anyOrder{TiffCompression::None, 4, {}, false};
    anyOrder.anyOrder = true;
    slidebox::testing::writeFile(dir / "old.tif", "the old file");
    {
        auto writer = TiffWriter::create(dir / "old.tif", 5, 10, rgb, anyOrder);
        ASSERT_TRUE(writer);
        // Rows go through one way only, and never past the image.
        EXPECT_EQ(writer->writeRows(bitmapOf(5, 1, rgb)).code(), ImageErrorCode::BadArgument);
        EXPECT_EQ(writer->writeRowsAt(9, bitmapOf(5, 2, rgb)).code(), ImageErrorCode::BadArgument);
        EXPECT_EQ(writer->writeRowsAt(-1, bitmapOf(5, 1, rgb)).code(), ImageErrorCode::BadArgument);
        // The same rows twice count once.
        ASSERT_TRUE(writer->writeRowsAt(2, bitmapOf(5, 3, rgb)));
        ASSERT_TRUE(writer->writeRowsAt(2, bitmapOf(5, 3, rgb)));
        EXPECT_EQ(writer->rowsWritten(), 3);
        const auto status = writer->finish();
        EXPECT_EQ(status.code(), ImageErrorCode::BadArgument);
        EXPECT_THAT(status.message(), HasSubstr("3 of 10 rows"));
    }
    {
        // A file size limit makes the write fail as a full disk would; the
        // failure stands at finish().
        auto writer = TiffWriter::create(dir / "old.tif", 500, 10, rgb, anyOrder);
        ASSERT_TRUE(writer);
        rlimit limit{}, small{};
        getrlimit(RLIMIT_FSIZE, &limit);
        small = {4000, limit.rlim_max};
        const auto oldAction = std::signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &small);
        ASSERT_TRUE(writer->writeRowsAt(0, bitmapOf(500, 2, rgb)));
        const auto failed = writer->writeRowsAt(2, bitmapOf(500, 8, rgb));
        setrlimit(RLIMIT_FSIZE, &limit);
        std::signal(SIGXFSZ, oldAction);
        EXPECT_EQ(failed.code(), ImageErrorCode::CannotWrite);
        EXPECT_EQ(failed.message(), "cannot write: File too large");
        EXPECT_EQ(writer->finish().message(), failed.message());
    }
    EXPECT_THAT(testing::folderEntries(dir.path()), ElementsAre("old.tif"));
    EXPECT_EQ(slidebox::testing::readFile(dir / "old.tif"), "the old file");
    EXPECT_EQ(
        TiffWriter::create(dir / "x.tif", 5, 10, rgb, {TiffCompression::LZW, 4, {}, false, true})
            .status()
            .code(),
        ImageErrorCode::BadArgument);
    auto streamed = TiffWriter::create(dir / "x.tif", 5, 10, rgb);
    EXPECT_EQ(streamed->writeRowsAt(0, bitmapOf(5, 1, rgb)).code(), ImageErrorCode::BadArgument);
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
    status = writeTiff(dir / "taken.tif", bitmapOf(3, 3, format(ColorSpace::RGB, 8)));
    EXPECT_EQ(status.code(), ImageErrorCode::CannotWrite);
    EXPECT_THAT(status.message(), HasSubstr("not a regular file"));
    EXPECT_THAT(testing::folderEntries(dir.path()), ElementsAre("taken.tif"));

    auto writer = TiffWriter::create(dir / "x.tif", 4, 2, format(ColorSpace::Gray, 8));
    ASSERT_TRUE(writer);
    for (auto [width, height, bits] : {std::tuple{3, 1, 8}, {4, 1, 16}, {4, 3, 8}})
        EXPECT_EQ(writer->writeRows(bitmapOf(width, height, format(ColorSpace::Gray, bits))).code(),
                  ImageErrorCode::BadArgument);
    EXPECT_EQ(writer->rowsWritten(), 0);
}

TEST_F(TiffWriterTest, AnUnfinishedFileLeavesNothingAndTheOldTargetStands) {
    slidebox::testing::writeFile(dir / "old.tif", "the old file");
    {
        auto writer = TiffWriter::create(dir / "old.tif", 4, 3, format(ColorSpace::RGB, 8));
        ASSERT_TRUE(writer->writeRows(bitmapOf(4, 2, format(ColorSpace::RGB, 8))));
        auto status = writer->finish();
        EXPECT_EQ(status.code(), ImageErrorCode::BadArgument);
        EXPECT_THAT(status.message(), HasSubstr("2 of 3 rows"));
        EXPECT_EQ(writer->finish().code(), ImageErrorCode::BadArgument);
        auto abandoned = TiffWriter::create(dir / "new.tif", 4, 3, format(ColorSpace::RGB, 8));
        ASSERT_TRUE(abandoned->writeRows(bitmapOf(4, 1, format(ColorSpace::RGB, 8))));
    }
    EXPECT_THAT(testing::folderEntries(dir.path()), ElementsAre("old.tif"));
    EXPECT_EQ(slidebox::testing::readFile(dir / "old.tif"), "the old file");
}

} // namespace
} // namespace slidebox::image
