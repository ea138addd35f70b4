#include "image/tiff_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tiffio.h>

#include <csignal>
#include <thread>
#include <tuple>

#include <fcntl.h>
#include <sys/resource.h>

#include "image/tiff_reader.h"
#include "samples.h"
#include "tests/page_cache.h"
#include "tests/temp_dir.h"

namespace slidebox::image {
namespace {

using testing::bitmapOf;
using ::testing::ElementsAre;
using testing::format;
using ::testing::HasSubstr;
using enum ImageErrorCode;

constexpr auto kGray = ColorSpace::Gray, kRGB = ColorSpace::RGB, kLab = ColorSpace::Lab;
const std::filesystem::path kGood = std::filesystem::path(SLIDEBOX_IMAGE_TEST_DATA) / "good";

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
        EXPECT_EQ(tagsOf(dir / row.stored), tagsOf(kGood / row.stored)) << row.stored;
        EXPECT_EQ(TiffReader::open(dir / row.stored)->iccProfile(), row.options.iccProfile);
        EXPECT_TRUE(row.values.empty() || testing::samplesOf(bitmap) == row.values)
            << "the caller's fields stay";
    }
    ASSERT_TRUE(writeTiff(dir / "d.tif", bitmapOf(2, 2, format(ColorSpace::RGB, 8)),
                          {TiffCompression::Deflate}));
    EXPECT_EQ(tagsOf(dir / "d.tif").compression, COMPRESSION_ADOBE_DEFLATE);
}

// Rows streamed from the top in pieces (whole strips, the last one short,
// go to the file as they are; pieces that straddle strips are gathered
// first) and rows put in their place from several threads, in any order,
// pieces straddling strips, rows padded or signed on the way (Lab), make the
// very file that all the rows at once make; the caller's rows stay.
TEST_F(TiffWriterTest, RowsInPiecesOrInAnyOrderMakeTheFileAllTheRowsMake) {
    const struct {
        PixelFormat format;
        std::size_t rowBytes; // 0: tight
    } kinds[] = {{format(kRGB, 8), 0},
                 {format(kRGB, 16, true, true), 0},
                 {format(kLab, 16), 0},
                 {format(kLab, 8), 64}};
    for (const auto& kind : kinds) {
        SCOPED_TRACE(describe(kind.format));
        Bitmap original = bitmapOf(7, 12, kind.format, {}, kind.rowBytes);
        const Bitmap ramp = bitmapOf(7, 12, kind.format);
        const TiffWriteOptions streamed{TiffCompression::None, 5, "icc", false};
        ASSERT_TRUE(writeTiff(dir / "streamed.tif", original, streamed));
        const std::string all = slidebox::testing::readFile(dir / "streamed.tif");
        EXPECT_EQ(TiffReader::open(dir / "streamed.tif")->rowsPerBand(), 5);

        for (const auto& pieces : {std::vector<std::int32_t>{5, 5, 2}, {3, 1, 6, 2}}) {
            auto writer = TiffWriter::create(dir / "pieces.tif", 7, 12, kind.format, streamed);
            ASSERT_TRUE(writer) << writer.status().message();
            std::int32_t y = 0;
            for (std::int32_t count : pieces) {
                ASSERT_TRUE(writer->writeRows(*original.view(makeRect(0, y, 7, count))));
                y += count;
            }
            EXPECT_EQ(writer->rowsWritten(), 12);
            // Until finished, only the hidden temporary file stands beside.
            EXPECT_THAT(testing::folderEntries(dir.path()),
                        ElementsAre(::testing::Ne("pieces.tif"), "streamed.tif"));
            ASSERT_TRUE(writer->finish());
            EXPECT_EQ(slidebox::testing::readFile(dir / "pieces.tif"), all) << pieces[0];
            std::filesystem::remove(dir / "pieces.tif");
        }

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
        EXPECT_EQ(slidebox::testing::readFile(dir / "placed.tif"), all);
        EXPECT_THAT(testing::folderEntries(dir.path()), ElementsAre("placed.tif", "streamed.tif"));
        std::filesystem::remove(dir / "placed.tif");
        EXPECT_TRUE(original.samePixels(ramp)) << "the caller's rows stay";
    }
}

// Rows that replace a file, streamed or in any order: the strips finished
// while the rest is still coming go to the disk, so that the rename has
// less to wait for. (A new file's are left to the system's own write-back,
// which the machine's settings may start at any time: not checked.) Both
// ways make the same file.
TEST_F(TiffWriterTest, RowsThatReplaceAFileGoToTheDiskAsTheirStripsAreFinished) {
    const auto rgb = format(kRGB, 8);
    constexpr std::int32_t kWidth = 4096, kHeight = 1792; // 28 strips, 22 MB
    constexpr std::uint64_t kPages = (std::uint64_t{16} << 20) / 4096;
    const Bitmap strip = bitmapOf(kWidth, 64, rgb);
    std::vector<std::string> files;
    for (const bool anyOrder : {true, false}) {
        SCOPED_TRACE(anyOrder);
        TiffWriteOptions options{TiffCompression::None, 64, {}, false};
        options.anyOrder = anyOrder;
        slidebox::testing::writeFile(dir / "old.tif", "the old file");
        auto writer = TiffWriter::create(dir / "old.tif", kWidth, kHeight, rgb, options);
        ASSERT_TRUE(writer);
        // All strips but the last: from the bottom up, or streamed.
        for (std::int32_t y = kHeight - 128; y >= 0; y -= 64)
            ASSERT_TRUE(anyOrder ? writer->writeRowsAt(y, strip) : writer->writeRows(strip));
        // The hidden temporary file's name sorts first.
        const auto temporary = dir / testing::folderEntries(dir.path()).front();
        ASSERT_TRUE(temporary.filename().native().starts_with("."));
        const int fd = ::open(temporary.c_str(), O_RDONLY | O_CLOEXEC);
        ASSERT_GE(fd, 0);
        // Where the kernel doesn't tell (tmpfs, Linux before 6.5), only the
        // files are checked.
        if (const auto dirty = slidebox::testing::dirtyPages(fd, 0, kPages * 4096)) {
            EXPECT_LT(*dirty, kPages / 2);
        }
        ::close(fd);
        ASSERT_TRUE(anyOrder ? writer->writeRowsAt(kHeight - 64, strip) : writer->writeRows(strip));
        ASSERT_TRUE(writer->finish());
        files.push_back(slidebox::testing::readFile(dir / "old.tif"));
    }
    EXPECT_EQ(files[0], files[1]);
}

// Rows missing at finish(), a write that fails, a writer dropped unfinished:
// nothing is left, and the old target stands.
TEST_F(TiffWriterTest, UnfinishedOrFailedFilesLeaveNothingAndTheOldTargetStands) {
    const auto rgb = format(kRGB, 8);
    TiffWriteOptions anyOrder{TiffCompression::None, 4, {}, false};
    anyOrder.anyOrder = true;
    slidebox::testing::writeFile(dir / "old.tif", "the old file");
    {
        auto writer = TiffWriter::create(dir / "old.tif", 4, 3, rgb);
        ASSERT_TRUE(writer->writeRows(bitmapOf(4, 2, rgb)));
        auto status = writer->finish();
        EXPECT_EQ(status.code(), BadArgument);
        EXPECT_THAT(status.message(), HasSubstr("2 of 3 rows"));
        EXPECT_EQ(writer->finish().code(), BadArgument);
        auto abandoned = TiffWriter::create(dir / "new.tif", 4, 3, rgb);
        ASSERT_TRUE(abandoned->writeRows(bitmapOf(4, 1, rgb)));
    }
    {
        auto writer = TiffWriter::create(dir / "old.tif", 5, 10, rgb, anyOrder);
        ASSERT_TRUE(writer);
        // Rows go through one way only, and never past the image.
        EXPECT_EQ(writer->writeRows(bitmapOf(5, 1, rgb)).code(), BadArgument);
        EXPECT_EQ(writer->writeRowsAt(9, bitmapOf(5, 2, rgb)).code(), BadArgument);
        EXPECT_EQ(writer->writeRowsAt(-1, bitmapOf(5, 1, rgb)).code(), BadArgument);
        // The same rows twice count once.
        ASSERT_TRUE(writer->writeRowsAt(2, bitmapOf(5, 3, rgb)));
        ASSERT_TRUE(writer->writeRowsAt(2, bitmapOf(5, 3, rgb)));
        EXPECT_EQ(writer->rowsWritten(), 3);
        const auto status = writer->finish();
        EXPECT_EQ(status.code(), BadArgument);
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
        EXPECT_EQ(failed.code(), CannotWrite);
        EXPECT_EQ(failed.message(), "cannot write: File too large");
        EXPECT_EQ(writer->finish().message(), failed.message());
    }
    EXPECT_THAT(testing::folderEntries(dir.path()), ElementsAre("old.tif"));
    EXPECT_EQ(slidebox::testing::readFile(dir / "old.tif"), "the old file");
}

TEST_F(TiffWriterTest, UnwritableFormatsOptionsAndRowsAreRefused) {
    auto create = [&](std::int32_t width, PixelFormat f, TiffWriteOptions options = {}) {
        return TiffWriter::create(dir / "x.tif", width, 2, f, options).status();
    };
    const auto gray = format(kGray, 8), rgb = format(kRGB, 8);
    EXPECT_EQ(create(2, format(ColorSpace::XYZ, 16)).code(), BadArgument);
    EXPECT_THAT(create(2, format(ColorSpace::CMYK, 8, true)).message(), HasSubstr("alpha"));
    EXPECT_EQ(create(0, gray).code(), BadArgument);
    EXPECT_EQ(create(5, rgb, {TiffCompression::LZW, 4, {}, false, true}).code(), BadArgument);
    auto status = TiffWriter::create(dir / "no/x.tif", 2, 2, gray).status();
    EXPECT_EQ(status.code(), CannotWrite);
    EXPECT_THAT(status.message(), HasSubstr("No such file or directory"));
    // An empty bitmap, and a folder with something in it in place of the
    // file: nothing is written.
    EXPECT_EQ(writeTiff(dir / "empty.tif", Bitmap()).code(), BadArgument);
    slidebox::testing::writeFile(dir / "taken.tif" / "inside", "x");
    status = writeTiff(dir / "taken.tif", bitmapOf(3, 3, rgb));
    EXPECT_EQ(status.code(), CannotWrite);
    EXPECT_THAT(status.message(), HasSubstr("not a regular file"));
    EXPECT_THAT(testing::folderEntries(dir.path()), ElementsAre("taken.tif"));

    // Rows of another width, depth or past the end; rows placed in a
    // streamed file.
    auto writer = TiffWriter::create(dir / "x.tif", 4, 2, gray);
    ASSERT_TRUE(writer);
    for (auto [width, height, bits] : {std::tuple{3, 1, 8}, {4, 1, 16}, {4, 3, 8}})
        EXPECT_EQ(writer->writeRows(bitmapOf(width, height, format(kGray, bits))).code(),
                  BadArgument);
    EXPECT_EQ(writer->writeRowsAt(0, bitmapOf(4, 1, gray)).code(), BadArgument);
    EXPECT_EQ(writer->rowsWritten(), 0);
}

} // namespace
} // namespace slidebox::image
