// slidebox-cli image scale, run as a program on files it makes itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QImage>

#include "cli/tests/cli_runner.h"
#include "image/tiff_reader.h"
#include "image/tiff_writer.h"

using ::testing::HasSubstr;
using namespace slidebox::image;
using namespace slidebox::testing;

namespace {

// A uniform TIFF of w x h pixels, every pixel the given samples.
std::string uniformTiff(const TempDir& dir, const std::string& name, PixelFormat format,
                        std::vector<std::uint8_t> samples) {
    auto bitmap = Bitmap::allocate(5, 3, format);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x)
            std::copy(samples.begin(), samples.end(), bitmap->row(y) + x * samples.size());
    const auto path = dir / name;
    EXPECT_TRUE(writeTiff(path, *bitmap).ok());
    return path.string();
}

// The same file said to store white as 0: its picture turns round.
std::string asMinIsWhite(const TempDir& dir, const std::string& tiff) {
    std::string bytes = readFile(tiff);
    const std::string minIsBlack("\x06\x01\x03\x00\x01\x00\x00\x00\x01\x00", 10);
    const auto at = bytes.find(minIsBlack);
    EXPECT_NE(at, std::string::npos) << "a little-endian photometric entry";
    if (at != std::string::npos)
        bytes[at + 8] = 0;
    writeFile(dir / "white-is-0.tif", bytes);
    return (dir / "white-is-0.tif").string();
}

} // namespace

TEST(CliImageScale, KeepsTheLayoutAndThePicture) {
    TempDir dir;
    const std::string gray =
        uniformTiff(dir, "gray.tif", PixelFormat::make(ColorSpace::Gray, 8), {70});
    const std::string cmyk =
        uniformTiff(dir, "cmyk.tif", PixelFormat::make(ColorSpace::CMYK, 8), {10, 80, 150, 220});
    QImage png(4, 4, QImage::Format_RGB32);
    png.fill(QColor(30, 130, 230));
    ASSERT_TRUE(png.save(QString::fromStdString((dir / "rgb.png").string())));
    struct Row {
        std::vector<std::string> args;
        std::string printed;
        PixelFormat format;
        std::vector<int> samples;
        bool profile;
    };
    const std::string out = (dir / "out.tif").string();
    PixelFormat rgba = PixelFormat::make(ColorSpace::RGB, 8, true);
    rgba.alphaPremultiplied = true;
    for (const Row& row : {Row{{gray, out, "--size", "8x6"},
                               "8 x 6 gray",
                               PixelFormat::make(ColorSpace::Gray, 8),
                               {70},
                               false},
                           Row{{asMinIsWhite(dir, gray), out, "--size", "3"},
                               "3 x 3 gray",
                               PixelFormat::make(ColorSpace::Gray, 8),
                               {185},
                               false},
                           Row{{cmyk, out, "--size", "2.5", "--profile", kCMYK},
                               "3 x 3 CMYK, profile embedded",
                               PixelFormat::make(ColorSpace::CMYK, 8),
                               {10, 80, 150, 220},
                               true},
                           Row{{(dir / "rgb.png").string(), out, "--size", "16"},
                               "16 x 16 RGB with alpha",
                               rgba,
                               {30, 130, 230, 255},
                               false}}) {
        SCOPED_TRACE(row.args[0]);
        if (row.profile && !firstMissing({kCMYK}).empty())
            continue;
        std::vector<std::string> args{"image", "scale"};
        args.insert(args.end(), row.args.begin(), row.args.end());
        const CliRun run = runCli(args);
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.out, out + ": " + row.printed + "\n");
        auto reader = TiffReader::open(out);
        ASSERT_TRUE(reader.ok()) << reader.status().message();
        EXPECT_EQ(reader->format(), row.format);
        EXPECT_EQ(reader->iccProfile() == readFile(kCMYK), row.profile);
        auto pixels = reader->readBitmap();
        ASSERT_TRUE(pixels.ok());
        // The bottom row: a fractional size leaves the top row half drawn.
        const std::uint8_t* first = pixels->row(pixels->height() - 1);
        EXPECT_EQ(std::vector<int>(first, first + row.samples.size()), row.samples);
    }
}
