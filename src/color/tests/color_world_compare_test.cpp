// Comparing two Lab bitmaps: the statistics, the gamut image (its ramps,
// its words, its bands), patches under a mask, and the refusals. The fast
// paths are checked against the plain per-pixel loop on generated fields.
#include <gtest/gtest.h>

#include <QImage>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "color/color_world.h"
#include "color/lab_pixel_reader.h"
#include "tests/log_capture.h"

using namespace slidebox::color;
using slidebox::image::Bitmap;
using slidebox::image::ColorSpace;
using slidebox::image::PixelFormat;

namespace {

constexpr float kSumTol = 1e-5f;
// The a field 20000 is a = -49.875...; 256 fields further on lie exactly one
// unit of a further in single precision, and so on for these steps.
constexpr std::uint16_t kBaseA = 20000;
constexpr std::uint16_t kA1 = 20256, kA2 = 20512, kA6 = 21536, kA10 = 22560;

// A 16-bit Lab bitmap that owns its pixels, every pixel L 50, b 0 and the
// given a field; rows can be padded.
struct LabImage {
    std::vector<std::uint16_t> pixels;
    CMBitmap bitmap;
    LabImage(std::uint32_t width, std::uint32_t height, std::uint16_t a = kBaseA,
             std::uint32_t padPixels = 0)
        : pixels(static_cast<std::size_t>(width + padPixels) * height * 3, 32768) {
        for (std::size_t i = 1; i < pixels.size(); i += 3)
            pixels[i] = a;
        bitmap = {reinterpret_cast<char*>(pixels.data()), width, height, (width + padPixels) * 6,
                  48};
    }
    void setA(std::uint32_t x, std::uint32_t y, std::uint16_t a) {
        pixels[(static_cast<std::size_t>(y) * bitmap.rowBytes / 6 + x) * 3 + 1] = a;
    }
    // Fields spread over the whole range, a different sequence for each seed.
    void scatter(std::uint32_t seed) {
        for (std::uint16_t& field : pixels)
            field = static_cast<std::uint16_t>((seed = seed * 1664525u + 1013904223u) >> 16);
    }
    Bitmap wrapped() {
        return Bitmap::wrap(int(bitmap.width), int(bitmap.height),
                            PixelFormat::make(ColorSpace::Lab, 16), bitmap.rowBytes,
                            reinterpret_cast<std::uint8_t*>(pixels.data()))
            .value();
    }
};

// A gray mask: 0 compares the pixel, anything else leaves it out.
Bitmap mask(std::uint32_t width, std::uint32_t height,
            const std::function<bool(std::uint32_t x, std::uint32_t y)>& out) {
    Bitmap m =
        Bitmap::allocate(int(width), int(height), PixelFormat::make(ColorSpace::Gray, 8)).value();
    for (std::uint32_t y = 0; y < height; ++y)
        for (std::uint32_t x = 0; x < width; ++x)
            m.row(static_cast<std::int32_t>(y))[x] = out(x, y) ? 1 : 0;
    return m;
}

RGB8 pixelOf(const QImage& image, int x, int y) {
    const uchar* p = image.constScanLine(y) + x * 3;
    return {p[0], p[1], p[2]};
}

// Columns holding the black of the text: first and last, or -1 when none.
// The far end of the out-of-gamut ramp (51, 0, 0) is dark too, so only what
// is close to black counts.
std::pair<int, int> darkColumns(const QImage& image) {
    int first = -1, last = -1;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (const QColor c = image.pixelColor(x, y);
                c.red() < 32 && c.green() < 32 && c.blue() < 32) {
                first = first < 0 ? x : std::min(first, x);
                last = std::max(last, x);
            }
    return {first, last};
}

// Collects the bands a comparison hands over.
struct CollectedGamut : GamutSink {
    explicit CollectedGamut(std::size_t w) : width(w) {}
    std::vector<std::uint8_t> bytes;
    std::vector<std::int32_t> bands;
    std::size_t width;
    bool writeRows(const std::uint8_t* rows, std::size_t rowBytes, std::int32_t count) override {
        for (std::int32_t r = 0; rows && r < count; ++r)
            bytes.insert(bytes.end(), rows + r * rowBytes, rows + r * rowBytes + 3 * width);
        bands.push_back(count);
        return rows != nullptr;
    }
};

class CompareTest : public ::testing::Test {
  protected:
    void SetUp() override {
        world.initComparisonColors();
        ColorWorld::setBeepHandler([this] { ++beeps; });
        ColorWorld::setWordsHandler(LabComparison::drawNoDifferenceOnRows);
    }
    void TearDown() override {
        ColorWorld::setBeepHandler({});
        ColorWorld::setWordsHandler({});
    }
    // world holds the own Lab bitmap a, other the external one b.
    template <typename Out>
    bool compare(LabImage& a, LabImage& b, float tolerance, const Bitmap* mask, Out* out) {
        EXPECT_TRUE(world.setLabBitmap(a.wrapped()));
        EXPECT_TRUE(other.setLabBitmap(b.wrapped()));
        return world.compareLabBitmapWithLabBitmapOf(other, tolerance, mask, out);
    }
    // The statistics of the last comparison: average, maximum, minimum, share in gamut.
    void expectStatistics(float average, float maxi, float mini, float inGamut) {
        EXPECT_NEAR(world.averageDeltaE(), average, kSumTol);
        EXPECT_EQ(world.maxiDeltaE(), maxi);
        EXPECT_EQ(world.miniDeltaE(), mini);
        EXPECT_EQ(world.inGamutPixelsPercentage(), inGamut);
    }
    ColorWorld world, other;
    slidebox::testing::LogCapture logs;
    std::vector<std::string>& log = logs.lines;
    int beeps = 0;
    QImage* noImage = nullptr;
};

} // namespace

TEST_F(CompareTest, IdenticalBitmapsAreNoDifferenceAtAnyToleranceAndImageKind) {
    LabImage a(200, 40), b(200, 40);
    QImage image(200, 40, QImage::Format_RGB888);
    ASSERT_TRUE(compare(a, b, 2.0f, nullptr, &image));
    expectStatistics(0.0f, 0.0f, 0.0f, 100.0f);
    EXPECT_EQ(pixelOf(image, 0, 0), (RGB8{255, 255, 255}));
    // "No Difference" in black across the middle.
    auto [first, last] = darkColumns(image);
    EXPECT_TRUE(first >= 0 && last > first) << first << ".." << last;
    EXPECT_TRUE(log.empty() && beeps == 0);

    // A narrow image gets a smaller font: at 28 the text would run over
    // both edges; the fitting size leaves a margin.
    LabImage c(60, 30), d(60, 30);
    QImage narrow(60, 30, QImage::Format_RGB888);
    ASSERT_TRUE(compare(c, d, 2.0f, nullptr, &narrow));
    std::tie(first, last) = darkColumns(narrow);
    EXPECT_TRUE(first > 0 && last < 59) << first << ".." << last;

    // Tolerance 0: d = tol = maxiDeltaE = 0, and a zero denominator counts
    // as t = 0, the start of the out-of-gamut ramp; the text still shows.
    ASSERT_TRUE(compare(a, b, 0.0f, nullptr, &image));
    for (auto [x, y] : {std::pair{0, 0}, {199, 39}})
        EXPECT_EQ(pixelOf(image, x, y), (RGB8{255, 178, 0}));
    EXPECT_GE(darkColumns(image).first, 0);

    // An image with alpha beeps, and the comparison and the text go on.
    QImage alpha(200, 40, QImage::Format_ARGB32);
    alpha.fill(Qt::white);
    ASSERT_TRUE(compare(a, b, 2.0f, nullptr, &alpha));
    EXPECT_EQ(beeps, 1);
    EXPECT_EQ(log, (std::vector<std::string>{"Gamut image is not RGB 24 bits, etc..."}));
    EXPECT_EQ(world.inGamutPixelsPercentage(), 100.0f);
    EXPECT_GE(darkColumns(alpha).first, 0) << "No Difference still written";
}

TEST_F(CompareTest, RampsAndStatisticsAtToleranceTwo) {
    LabImage a(5, 1), b(5, 1);
    const std::uint16_t fields[5] = {kBaseA, kA1, kA2, kA6, kA10};
    for (std::uint32_t x = 0; x < 5; ++x)
        b.setA(x, 0, fields[x]);
    QImage image(5, 1, QImage::Format_RGB888);
    ASSERT_TRUE(compare(a, b, 2.0f, nullptr, &image));
    // d = 2 is in gamut for the statistics, and on the out-of-gamut ramp
    // for the picture; they differ: no text.
    expectStatistics(19.0f / 5.0f, 10.0f, 0.0f, 60.0f);
    EXPECT_EQ(world.comparedCount(), 5u);
    const RGB8 expected[5] = {
        {255, 255, 255}, {127, 204, 127}, {255, 178, 0}, {153, 89, 0}, {51, 0, 0}};
    for (int x = 0; x < 5; ++x)
        EXPECT_EQ(pixelOf(image, x, 0), expected[x]) << x;
    EXPECT_EQ(darkColumns(image).first, -1);
}

TEST_F(CompareTest, NoDifferenceUpToJustUnderATenth) {
    LabImage a(2, 1), b(2, 1);
    // 12 fields of a: 0.0469, shown as it is; 25 fields (0.0977) still
    // count as none, 26 (0.1016) don't.
    for (auto [fields, none] : {std::pair{12, true}, {25, true}, {26, false}}) {
        b.setA(1, 0, static_cast<std::uint16_t>(kBaseA + fields));
        EXPECT_EQ(world.compareLabBitmap(a.bitmap, b.bitmap, nullptr, nullptr, 0), none) << fields;
        EXPECT_NEAR(world.maxiDeltaE(), fields * 255.996f / 65535.0f, kSumTol);
    }
}

TEST_F(CompareTest, AllMaskedIsZeroOverZero) {
    LabImage a(90, 30), b(90, 30, kA10);
    Bitmap m = mask(90, 30, [](auto, auto) { return true; });
    QImage image(90, 30, QImage::Format_RGB888);
    ASSERT_TRUE(compare(a, b, 2.0f, &m, &image));
    EXPECT_EQ(world.comparedCount(), 0u);
    EXPECT_TRUE(std::isnan(world.averageDeltaE()) && std::isnan(world.inGamutPixelsPercentage()));
    EXPECT_EQ(std::pair(world.maxiDeltaE(), world.miniDeltaE()), std::pair(0.0f, 500.0f));
    for (auto [x, y] : {std::pair{0, 0}, {89, 29}})
        EXPECT_EQ(pixelOf(image, x, y), world.comparisonColors().nonComparedRGB);
    EXPECT_GE(darkColumns(image).first, 0) << "the inner comparison says no difference";
}

TEST_F(CompareTest, PatchChartAveragesEachPatchOnce) {
    // Three patches of 2 x 2 across, two down, with mask lines after each.
    // In every patch two pixels differ by 2 and two by 0: the patch average
    // differs by 1, while single pixels differ by 0 or 2.
    LabImage a(9, 6), b(9, 6);
    for (std::uint32_t y = 0; y < 6; ++y)
        for (std::uint32_t x = 0; x < 9; x += 3)
            if (y % 3 != 2)
                b.setA(x, y, kA2);
    Bitmap m = mask(9, 6, [](auto x, auto y) { return x % 3 == 2 || y % 3 == 2; });
    world.setAveragePatchColor(true);
    QImage image(9, 6, QImage::Format_RGB888);
    ASSERT_TRUE(compare(a, b, 2.0f, &m, &image));
    EXPECT_EQ(world.comparedCount(), 6u);
    expectStatistics(1.0f, 1.0f, 1.0f, 100.0f);
    // Painted per pixel: d = 0 white, d = 2 above maxiDeltaE 1 (a negative
    // denominator) at the start of the out-of-gamut ramp, lines grey.
    EXPECT_EQ(pixelOf(image, 1, 0), (RGB8{255, 255, 255}));
    EXPECT_EQ(pixelOf(image, 0, 0), (RGB8{255, 178, 0}));
    for (auto [x, y] : {std::pair{2, 0}, {3, 5}})
        EXPECT_EQ(pixelOf(image, x, y), world.comparisonColors().nonComparedRGB);

    // The same chart pixel by pixel: 24 compared, half of them at d = 2.
    world.setAveragePatchColor(false);
    ASSERT_TRUE(compare(a, b, 1.5f, &m, noImage));
    EXPECT_EQ(world.comparedCount(), 24u);
    EXPECT_EQ(std::pair(world.maxiDeltaE(), world.inGamutPixelsPercentage()),
              std::pair(2.0f, 50.0f));

    // No closing line at the right or the bottom: the patch is the bitmap;
    // without a mask the pixels are compared.
    LabImage c(4, 3), d(4, 3, kA1);
    Bitmap none = mask(4, 3, [](auto, auto) { return false; });
    world.setAveragePatchColor(true);
    ASSERT_TRUE(compare(c, d, 2.0f, &none, noImage));
    EXPECT_EQ(std::pair(world.comparedCount(), world.maxiDeltaE()), std::pair(1u, 1.0f));
    ASSERT_TRUE(compare(c, d, 2.0f, nullptr, noImage));
    EXPECT_EQ(world.comparedCount(), 12u);

    // The patch colour truncates each field: 101.5 is 101.
    c.setA(0, 0, 100);
    c.setA(1, 0, 103);
    const CMColor average = ColorWorld::averagePatchColorWidth(
        2, 1, reinterpret_cast<const std::uint8_t*>(c.bitmap.image), c.bitmap);
    EXPECT_EQ(std::pair(average.lab.L, average.lab.a),
              (std::pair<std::uint16_t, std::uint16_t>(32768, 101)));
}

TEST_F(CompareTest, RefusalsLogAndKeepTheStatistics) {
    LabImage a(4, 2), b(4, 2, kA1);
    ASSERT_TRUE(compare(a, b, 2.0f, nullptr, noImage));
    EXPECT_EQ(beeps, 1); // no image at all
    log.clear();
    LabImage padded(4, 2, kBaseA, 1); // same size, longer rows
    EXPECT_FALSE(compare(a, padded, 7.0f, nullptr, noImage));
    EXPECT_EQ(log.back(), "Not Same Lab CMbitmaps");
    EXPECT_EQ((std::array{world.gamutTolerance(), world.averageDeltaE(),
                          world.inGamutPixelsPercentage()}),
              (std::array{7.0f, 1.0f, 100.0f}));

    log.clear();
    ColorWorld empty, alsoEmpty;
    EXPECT_FALSE(empty.compareLabBitmapWithLabBitmapOf(alsoEmpty, 2.0f, nullptr, noImage));
    EXPECT_EQ(log, (std::vector<std::string>{log.empty() ? "" : log[0],
                                             "ColorWorld: No Internal CMbitmap image",
                                             "ColorWorld: No External CMbitmap image"}));

    // A mask a row short would be read past its end: refused.
    Bitmap shortMask = mask(4, 1, [](auto, auto) { return false; });
    EXPECT_FALSE(compare(a, b, 2.0f, &shortMask, noImage));
    EXPECT_EQ(log.back(), "ColorWorld: Gray mask does not cover the Lab CMbitmaps");
    // Only 16-bit packed Lab is taken as a Lab bitmap.
    EXPECT_FALSE(empty.setLabBitmap(
        std::move(Bitmap::allocate(4, 2, PixelFormat::make(ColorSpace::RGB, 16)).value())));
    EXPECT_EQ(empty.labBitmap(), nullptr);
}

TEST_F(CompareTest, StatisticsAreThoseOfDeltaEPixelByPixel) {
    // The plain loop, one deltaEWithC1 (or deltaE94WithC1) a pixel and a
    // running sum in single precision: the comparison must give exactly
    // these numbers, however it decodes the fields and shares the work. A
    // small bitmap, and one of more than one band, under a mask that leaves
    // every seventh pixel out.
    for (auto [width, height] : {std::pair{97u, 13u}, std::pair{1000u, 600u}}) {
        LabImage a(width, height), b(width, height);
        a.scatter(1);
        b.scatter(2);
        Bitmap m =
            mask(width, height, [width](auto x, auto y) { return (y * width + x) % 7 == 0; });
        for (int kind : {0, 1}) {
            SCOPED_TRACE(std::to_string(width) + " kind " + std::to_string(kind));
            float sum = 0.0f, maxi = 0.0f, mini = 500.0f;
            std::uint32_t in = 0, compared = 0;
            for (std::size_t i = 0; i < a.pixels.size(); i += 3) {
                if ((i / 3) % 7 == 0) // the mask
                    continue;
                CMColor c1{}, c2{};
                std::memcpy(&c1, &a.pixels[i], 6);
                std::memcpy(&c2, &b.pixels[i], 6);
                const float d = kind == 0 ? ColorWorld::deltaEWithC1(c1, c2)
                                          : ColorWorld::deltaE94WithC1(c1, c2);
                ++compared;
                sum += d;
                maxi = std::max(maxi, d);
                mini = std::min(mini, d);
                in += d <= 40.0f;
            }
            world.setDeltaEKindForLabBitmapComparison(kind);
            ASSERT_TRUE(compare(a, b, 40.0f, &m, noImage));
            EXPECT_EQ(world.comparedCount(), compared);
            expectStatistics(sum / static_cast<float>(compared), maxi, mini,
                             static_cast<float>(in * 100.0 / compared));
        }
    }
}

TEST_F(CompareTest, EveryFieldMeasuresAndPaintsAsOnePixelDoes) {
    // Every 16-bit value in each of L, a and b on one side, against fields
    // that wander over the whole range on the other, with either side's a
    // and b kept signed: each difference is bit for bit deltaEWithC1 of the
    // two colours, however many pixels are worked on at a time.
    constexpr std::uint32_t kWidth = 65536;
    LabImage a(kWidth, 3), b(kWidth, 3);
    b.scatter(9);
    for (std::uint32_t y = 0; y < 3; ++y)
        for (std::uint32_t x = 0; x < kWidth; ++x)
            a.pixels[(y * kWidth + x) * 3 + y] = static_cast<std::uint16_t>(x);
    for (auto [signedA, signedB] : {std::pair{false, false}, {true, false}, {false, true}}) {
        SCOPED_TRACE(std::to_string(signedA) + std::to_string(signedB));
        const auto field = [](const LabImage& image, std::size_t i, bool signedAB) {
            return static_cast<std::uint16_t>(image.pixels[i] ^ (signedAB && i % 3 ? 0x8000 : 0));
        };
        std::vector<float> ds(std::size_t{kWidth} * 3);
        const Bitmap wa = a.wrapped(), wb = b.wrapped();
        lab_pixels::differences(0, LabView::of(wa, signedA), LabView::of(wb, signedB), nullptr,
                                ds.data());
        int wrong = 0;
        for (std::size_t p = 0; p < ds.size(); ++p) {
            CMColor c1{}, c2{};
            c1.lab = {field(a, 3 * p, signedA), field(a, 3 * p + 1, signedA),
                      field(a, 3 * p + 2, signedA)};
            c2.lab = {field(b, 3 * p, signedB), field(b, 3 * p + 1, signedB),
                      field(b, 3 * p + 2, signedB)};
            const float expected = ColorWorld::deltaEWithC1(c1, c2);
            wrong += std::memcmp(&expected, &ds[p], sizeof expected) != 0 ? 1 : 0;
        }
        EXPECT_EQ(wrong, 0);
    }

    // The gamut image of 1000 differences from 0 up, some left out, at
    // tolerances inside the range, below it, above it, and with the
    // largest difference under the tolerance (no out-of-gamut ramp): each
    // pixel is where the single-precision ramp puts it.
    LabImage c(1000, 1), d(1000, 1);
    for (std::uint32_t x = 0; x < 1000; ++x)
        d.setA(x, 0, static_cast<std::uint16_t>(kBaseA + x * 7));
    Bitmap m = mask(1000, 1, [](auto x, auto) { return x % 13 == 5; });
    for (float tolerance : {2.0f, 0.0f, 9.0f, 30.0f}) {
        SCOPED_TRACE(tolerance);
        QImage image(1000, 1, QImage::Format_RGB888);
        (void)compare(c, d, tolerance, &m, &image);
        const float maxi = world.maxiDeltaE();
        const ComparisonColors colors = world.comparisonColors();
        const auto ramp = [](const RGB8& from, const RGB8& to, float t) {
            const auto channel = [t](std::uint8_t f, std::uint8_t e) {
                return static_cast<std::uint8_t>(
                    static_cast<int>(static_cast<float>(f) + static_cast<float>(e - f) * t));
            };
            return RGB8{channel(from.red, to.red), channel(from.green, to.green),
                        channel(from.blue, to.blue)};
        };
        int wrong = 0;
        for (std::uint32_t x = 0; x < 1000; ++x) {
            CMColor c1{}, c2{};
            std::memcpy(&c1, &c.pixels[3 * x], 6);
            std::memcpy(&c2, &d.pixels[3 * x], 6);
            const float e = ColorWorld::deltaEWithC1(c1, c2);
            RGB8 expected;
            if (x % 13 == 5)
                expected = colors.nonComparedRGB;
            else if (e < tolerance)
                expected = ramp(colors.inGamutLowRGB, colors.inGamutLimitRGB, e / tolerance);
            else
                expected = ramp(colors.outGamutLimitRGB, colors.outGamutHighRGB,
                                maxi - tolerance > 0.0f
                                    ? std::clamp((e - tolerance) / (maxi - tolerance), 0.0f, 1.0f)
                                    : 0.0f);
            wrong += pixelOf(image, static_cast<int>(x), 0) == expected ? 0 : 1;
        }
        EXPECT_EQ(wrong, 0);
    }
}

TEST_F(CompareTest, SignedFileFieldsCompareLikeTheFields) {
    // The same pixels as CMLabColor fields and as a CIELab file keeps them (a
    // and b signed): identical statistics, patch averages and gamut images.
    LabImage a(30, 9), b(30, 9), bSigned(30, 9);
    a.scatter(5);
    b.scatter(6);
    for (std::size_t i = 0; i < b.pixels.size(); ++i) {
        b.pixels[i] =
            static_cast<std::uint16_t>(32768 + (b.pixels[i] & 0x3FF)); // small differences
        bSigned.pixels[i] = static_cast<std::uint16_t>(b.pixels[i] ^ (i % 3 ? 0x8000 : 0));
    }
    Bitmap m = mask(30, 9, [](auto x, auto y) { return x % 5 == 4 || y % 4 == 3; });
    for (bool patches : {false, true}) {
        SCOPED_TRACE(patches);
        world.setAveragePatchColor(patches);
        QImage plain(30, 9, QImage::Format_RGB888), signedImage(30, 9, QImage::Format_RGB888);
        ASSERT_TRUE(compare(a, b, 2.0f, &m, &plain));
        const auto statistics = std::pair(world.averageDeltaE(), world.maxiDeltaE());
        ASSERT_TRUE(other.setLabBitmap(bSigned.wrapped(), true));
        ASSERT_TRUE(world.compareLabBitmapWithLabBitmapOf(other, 2.0f, &m, &signedImage));
        EXPECT_EQ(std::pair(world.averageDeltaE(), world.maxiDeltaE()), statistics);
        EXPECT_TRUE(plain == signedImage);
    }
}

TEST_F(CompareTest, GamutInBandsIsTheWholeImage) {
    // Bands of about 2^16 pixels: 44 rows of 1500. Equal bitmaps make one
    // band holding the words. Above the threshold for a second thread every
    // row of the whole image is painted, from black.
    std::vector<std::int32_t> bandsOf1000(22, 44);
    bandsOf1000.push_back(32);
    const struct {
        std::uint32_t width, height;
        bool differ;
        std::vector<std::int32_t> bands;
    } rows[] = {{1500, 1000, true, bandsOf1000}, {200, 40, false, {40}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.width);
        LabImage a(row.width, row.height), b(row.width, row.height);
        for (std::uint32_t y = 0; row.differ && y < row.height; y += 7)
            for (std::uint32_t x = 0; x < row.width; x += 3)
                b.setA(x, y, static_cast<std::uint16_t>(kBaseA + (x * 7 + y) % 3000));
        Bitmap m = mask(row.width, row.height,
                        [&](auto x, auto y) { return row.differ && y == 500 && x % 11 == 0; });
        QImage whole(static_cast<int>(row.width), static_cast<int>(row.height),
                     QImage::Format_RGB888);
        whole.fill(Qt::black);
        ASSERT_TRUE(compare(a, b, 2.0f, &m, &whole));
        EXPECT_EQ(pixelOf(whole, row.width - 1, row.height - 1), (RGB8{255, 255, 255}));
        const float maxi = world.maxiDeltaE();
        CollectedGamut banded(row.width);
        ASSERT_TRUE(world.compareLabBitmapWithLabBitmapOf(other, 2.0f, &m, &banded));
        EXPECT_EQ(world.maxiDeltaE(), maxi);
        EXPECT_EQ(banded.bands, row.bands);
        ASSERT_EQ(banded.bytes.size(), std::size_t{row.width} * row.height * 3);
        for (std::uint32_t y = 0; y < row.height; ++y)
            ASSERT_EQ(std::memcmp(banded.bytes.data() + y * row.width * 3,
                                  whole.constScanLine(static_cast<int>(y)), row.width * 3),
                      0)
                << y;
        // On one thread: the same statistics, bands and bytes.
        LabComparison again;
        again.gamutTolerance = 2.0f;
        again.colors = world.comparisonColors();
        again.threads = 1;
        LabViewRows ownRows(LabView::of(a.wrapped())), otherRows(LabView::of(b.wrapped()));
        const MaskView maskRows{m.plane(0), m.rowBytes()};
        CollectedGamut readAgain(row.width);
        ASSERT_TRUE(again.compareRows(ownRows, otherRows, &maskRows, &readAgain));
        EXPECT_EQ(again.statistics().averageDeltaE, world.averageDeltaE());
        EXPECT_EQ(readAgain.bands, banded.bands);
        EXPECT_TRUE(readAgain.bytes == banded.bytes);
        if (!row.differ) {
            // Nothing to write the words: refused, nothing handed over.
            ColorWorld::setWordsHandler({});
            CollectedGamut wordless(row.width);
            const auto refused = world.compareLabBitmaps(other, 2.0f, &m, &wordless);
            EXPECT_EQ(refused.code(), slidebox::platform::ErrorCode::Unsupported);
            EXPECT_TRUE(wordless.bands.empty());
            // No sink: the statistics alone, without a beep or a log line.
            log.clear();
            ASSERT_TRUE(world.compareLabBitmapWithLabBitmapOf(other, 2.0f, nullptr,
                                                              static_cast<GamutSink*>(nullptr)));
            EXPECT_EQ(world.inGamutPixelsPercentage(), 100.0f);
            EXPECT_TRUE(log.empty() && beeps == 0);
        }
    }
}
