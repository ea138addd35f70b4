// The Lab bitmap comparison: two 16-bit Lab bitmaps of the same layout,
// compared pixel by pixel (or patch by patch under a mask) into statistics.
// Everything is single precision, step by step, and the first pass's running
// sum stays sequential. The gamut image is painted in color_world_gamut.cpp.
#include <QImage>

#include <algorithm>
#include <cstring>
#include <thread>
#include <vector>

#include "color/color_world.h"
#include "color/lab_pixel_reader.h"
#include "platform/log.h"

namespace slidebox::color {

using namespace lab_pixels;

namespace {

// From this many pixels on, the first pass shares the differences between
// two threads, in bands of about twice kBandPixels.
constexpr std::uint64_t kParallelPixels = 1u << 18;
constexpr std::uint64_t kBandPixels = 1u << 17;

// A pixel the mask leaves out, in a row of differences.
constexpr float kLeftOut = -1.0f;

// The differences of rows first..last - 1, row after row, into out; a pixel
// left out by the mask gets kLeftOut.
void differenceRows(const PixelDelta& delta, const CMBitmap& own, const CMBitmap& external,
                    const CMBitmap* mask, std::uint32_t first, std::uint32_t last, float* out) {
    for (std::uint32_t y = first; y < last; ++y) {
        const auto* a = reinterpret_cast<const std::uint8_t*>(own.image) +
                        static_cast<std::size_t>(y) * own.rowBytes;
        const auto* b = reinterpret_cast<const std::uint8_t*>(external.image) +
                        static_cast<std::size_t>(y) * external.rowBytes;
        const std::uint8_t* m = mask ? reinterpret_cast<const std::uint8_t*>(mask->image) +
                                           static_cast<std::size_t>(y) * mask->rowBytes
                                     : nullptr;
        for (std::uint32_t x = 0; x < own.width; ++x, a += kLabPixelBytes, b += kLabPixelBytes)
            *out++ = (m && m[x] != 0) ? kLeftOut : delta(a, b);
    }
}

// The running statistics of the first pass, in the order the differences
// come.
struct Statistics {
    float tolerance;
    float sum = 0.0f;
    float maxi = 0.0f;
    float mini = 500.0f;
    std::uint32_t compared = 0;
    std::uint32_t inGamut = 0;

    void add(const float* differences, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            const float d = differences[i];
            if (d == kLeftOut)
                continue;
            ++compared;
            sum += d;
            if (d > maxi)
                maxi = d;
            if (d < mini)
                mini = d;
            if (d <= tolerance)
                ++inGamut;
        }
    }
};

} // namespace

bool ColorWorld::sameLabBitmap(const CMBitmap& a, const CMBitmap& b) {
    return a.pixelSize == b.pixelSize && a.rowBytes == b.rowBytes && a.width == b.width &&
           a.height == b.height;
}

void ColorWorld::findPatchDimensionWidth(std::uint32_t& width, std::uint32_t& height,
                                         const std::uint8_t* maskPtr, const CMBitmap& mask,
                                         std::uint32_t widthLeft, std::uint32_t heightLeft) {
    width = 0;
    while (width < widthLeft && maskPtr[width] == 0)
        ++width;
    height = 0;
    while (height < heightLeft && maskPtr[static_cast<std::size_t>(height) * mask.rowBytes] == 0)
        ++height;
}

CMColor ColorWorld::averagePatchColorWidth(std::uint32_t width, std::uint32_t height,
                                           const std::uint8_t* color, const CMBitmap& bitmap) {
    // The average runs on the fields of CMLabColor, whatever the bitmap keeps.
    const LabReader reader(bitmap);
    float sums[3] = {0.0f, 0.0f, 0.0f};
    for (std::uint32_t y = 0; y < height; ++y) {
        const std::uint8_t* pixel = color + static_cast<std::size_t>(y) * bitmap.rowBytes;
        for (std::uint32_t x = 0; x < width; ++x, pixel += kLabPixelBytes) {
            const CMColor fields = reader.colour(pixel);
            sums[0] += static_cast<float>(fields.lab.L);
            sums[1] += static_cast<float>(fields.lab.a);
            sums[2] += static_cast<float>(fields.lab.b);
        }
    }
    const float count = static_cast<float>(width * height);
    CMColor average{};
    average.lab.L = static_cast<std::uint16_t>(sums[0] / count);
    average.lab.a = static_cast<std::uint16_t>(sums[1] / count);
    average.lab.b = static_cast<std::uint16_t>(sums[2] / count);
    return average;
}

bool ColorWorld::compareLabBitmap(const CMBitmap& own, const CMBitmap& external,
                                  const CMBitmap* mask, std::uint8_t* gamut,
                                  std::size_t gamutRowBytes) {
    const DeltaE deltaE =
        deltaEKind_ == 0 ? &ColorConversion::deltaEWithC1 : &ColorConversion::deltaE94WithC1;
    const PixelDelta delta{LabReader(own), LabReader(external),
                           deltaEKind_ == 0 ? nullptr : deltaE};
    maxiDeltaE_ = 0.0f;
    miniDeltaE_ = 500.0f;
    float sum = 0.0f;
    std::uint32_t compared = 0;
    std::uint32_t inGamut = 0;
    const bool patchMode = mask != nullptr && averagePatchColor_;

    // Pixel by pixel on a large bitmap, the differences are worked out on
    // both cores a band at a time and then taken into the statistics in
    // pixel order, on this thread: the same sequential single-precision sum.
    const std::uint64_t pixels = std::uint64_t{own.width} * own.height;
    if (!patchMode && pixels >= kParallelPixels) {
        const std::uint32_t halfRows =
            std::max<std::uint32_t>(1, static_cast<std::uint32_t>(kBandPixels / own.width));
        std::vector<float> differences(std::size_t{2} * halfRows * own.width);
        Statistics statistics{gamutTolerance_};
        for (std::uint32_t y = 0; y < own.height; y += 2 * halfRows) {
            const std::uint32_t middle = std::min(own.height, y + halfRows);
            const std::uint32_t end = std::min(own.height, y + 2 * halfRows);
            float* second = differences.data() + std::size_t{middle - y} * own.width;
            std::thread helper(differenceRows, std::cref(delta), std::cref(own),
                               std::cref(external), mask, middle, end, second);
            differenceRows(delta, own, external, mask, y, middle, differences.data());
            helper.join();
            statistics.add(differences.data(), std::size_t{end - y} * own.width);
        }
        sum = statistics.sum;
        compared = statistics.compared;
        inGamut = statistics.inGamut;
        maxiDeltaE_ = statistics.maxi;
        miniDeltaE_ = statistics.mini;
    } else {
        const auto* ownRow = reinterpret_cast<const std::uint8_t*>(own.image);
        const auto* externalRow = reinterpret_cast<const std::uint8_t*>(external.image);
        const std::uint8_t* maskRow =
            mask ? reinterpret_cast<const std::uint8_t*>(mask->image) : nullptr;
        for (std::uint32_t y = 0; y < own.height;) {
            std::uint32_t rowStep = 1;
            for (std::uint32_t x = 0; x < own.width;) {
                if (maskRow && maskRow[x] != 0) {
                    ++x;
                    continue;
                }
                ++compared;
                const std::uint8_t* a = ownRow + static_cast<std::size_t>(x) * kLabPixelBytes;
                const std::uint8_t* b = externalRow + static_cast<std::size_t>(x) * kLabPixelBytes;
                float d;
                if (patchMode) {
                    std::uint32_t w = 0, h = 0;
                    findPatchDimensionWidth(w, h, maskRow + x, *mask, own.width - x,
                                            own.height - y);
                    d = deltaE(averagePatchColorWidth(w, h, a, own),
                               averagePatchColorWidth(w, h, b, external));
                    rowStep = std::max(rowStep, h);
                    x += w;
                } else {
                    d = delta(a, b);
                    ++x;
                }
                sum += d;
                if (d > maxiDeltaE_)
                    maxiDeltaE_ = d;
                if (d < miniDeltaE_)
                    miniDeltaE_ = d;
                if (d <= gamutTolerance_)
                    ++inGamut;
            }
            y += rowStep;
            ownRow += static_cast<std::size_t>(rowStep) * own.rowBytes;
            externalRow += static_cast<std::size_t>(rowStep) * external.rowBytes;
            if (maskRow)
                maskRow += static_cast<std::size_t>(rowStep) * mask->rowBytes;
        }
    }
    compared_ = compared;
    averageDeltaE_ = sum / static_cast<float>(compared);
    inGamutPixelsPercentage_ =
        static_cast<float>(static_cast<double>(inGamut) * 100.0 / static_cast<double>(compared));

    if (gamut)
        paintGamut(own, external, mask, gamut, gamutRowBytes, 0, own.height);
    return noDifference();
}

platform::Status ColorWorld::prepareComparison(const ColorWorld& other, float tolerance,
                                               const image::Bitmap* mask, CMBitmap& maskBitmap) {
    const CMBitmap* own = labBitmap();
    const CMBitmap* external = other.labBitmap();
    gamutTolerance_ = tolerance;
    refusalLogLine_ = nullptr;
    // Both missing bitmaps have their line, as they always had.
    if (!own && !external)
        platform::log("ColorWorld: No Internal CMbitmap image");
    if (!own || !external)
        return refuse(own ? "ColorWorld: No External CMbitmap image"
                          : (external ? "ColorWorld: No Internal CMbitmap image"
                                      : "ColorWorld: No External CMbitmap image"),
                      platform::ErrorCode::BadArgument,
                      std::string("the ") + (own ? "second" : "first") +
                          " image has no Lab bitmap");
    if (!sameLabBitmap(*own, *external)) {
        const bool sameSize = own->width == external->width && own->height == external->height;
        return refuse("Not Same Lab CMbitmaps", platform::ErrorCode::BadArgument,
                      sameSize
                          ? "the two Lab bitmaps differ in layout"
                          : "the two bitmaps differ in size (" + sizeText(own->width, own->height) +
                                " and " + sizeText(external->width, external->height) + ")");
    }
    if (mask) {
        // Every byte the comparison reads must exist: a mask of one 8-bit
        // sample at least as large as the bitmaps.
        const image::PixelFormat& f = mask->format();
        if (mask->isNull() || f.space != image::ColorSpace::Gray || f.bytesPerSample != 1 ||
            f.hasAlpha || mask->rowBytes() > 0xFFFFFFFFu)
            return refuse("ColorWorld: Gray mask does not cover the Lab CMbitmaps",
                          platform::ErrorCode::BadArgument,
                          "the mask is not an 8-bit image of one sample (it is " +
                              (mask->isNull() ? std::string("empty") : image::describe(f)) + ")");
        if (static_cast<std::uint32_t>(mask->width()) < own->width ||
            static_cast<std::uint32_t>(mask->height()) < own->height)
            return refuse("ColorWorld: Gray mask does not cover the Lab CMbitmaps",
                          platform::ErrorCode::BadArgument,
                          "the mask (" + sizeText(mask->width(), mask->height()) +
                              ") is smaller than the images (" + sizeText(own->width, own->height) +
                              ")");
        maskBitmap.image = reinterpret_cast<char*>(const_cast<std::uint8_t*>(mask->plane(0)));
        maskBitmap.rowBytes = static_cast<std::uint32_t>(mask->rowBytes());
    }
    return {};
}

bool ColorWorld::compareLabBitmapWithLabBitmapOf(const ColorWorld& other, float tolerance,
                                                 const image::Bitmap* mask, QImage* image) {
    const CMBitmap* own = labBitmap();
    std::int32_t gamutRowBytes = 0;
    // The image is looked at first: a bad one beeps even when the
    // comparison then stops.
    std::uint8_t* gamut = testGamutImage(image, own ? *own : CMBitmap{}, gamutRowBytes);
    CMBitmap maskBitmap;
    if (!logged(prepareComparison(other, tolerance, mask, maskBitmap)))
        return false;
    const bool same = compareLabBitmap(*own, *other.labBitmap(), mask ? &maskBitmap : nullptr,
                                       gamut, static_cast<std::size_t>(gamutRowBytes));
    if (same && image)
        drawNoDifference(*image);
    return true;
}

} // namespace slidebox::color
