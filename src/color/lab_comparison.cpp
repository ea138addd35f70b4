// The first pass of a Lab bitmap comparison: every difference, or one per
// patch under a mask, into statistics. The differences of a band are
// worked out on both cores; they are taken into the statistics on one
// thread, in pixel order, so that the single-precision sum is the one of a
// plain walk. The gamut image is painted in lab_comparison_gamut.cpp.
#include "color/lab_comparison.h"

#include <algorithm>
#include <new>
#include <vector>

#include <QImage>

#include "color/color_conversion.h"
#include "color/engine/row_sharing.h"
#include "color/lab_pixel_reader.h"

namespace slidebox::color {

using namespace lab_pixels;

namespace {

// A band holds about this many pixels: both sides and their differences
// stay within a few megabytes.
constexpr std::uint64_t kBandPixels = 1u << 19;
// Rows of differences a thread takes at a time hold about this many pixels.
constexpr std::uint64_t kRunPixels = 1u << 15;

// A pixel the mask leaves out, in a row of differences.
constexpr float kLeftOut = -1.0f;

std::uint32_t bandRows(std::uint32_t width, std::uint32_t height) {
    const auto rows = static_cast<std::uint32_t>(kBandPixels / std::max<std::uint32_t>(width, 1));
    return std::clamp<std::uint32_t>(rows, 1, std::max<std::uint32_t>(height, 1));
}

PixelDelta deltaOf(std::int32_t kind, const LabView& own, const LabView& external) {
    return {LabReader(own), LabReader(external),
            kind == 0 ? nullptr : &ColorConversion::deltaE94WithC1};
}

// The differences of the rows of a band, row after row, into out; a pixel
// left out by the mask gets kLeftOut. Both cores share the rows.
void differences(const PixelDelta& delta, const LabView& own, const LabView& external,
                 const MaskView* mask, float* out) {
    const std::size_t width = own.width;
    const auto runRows = static_cast<std::size_t>(std::max<std::uint64_t>(1, kRunPixels / width));
    const unsigned threads = engine::threadsFor(std::size_t{own.height} * width, 2 * kRunPixels);
    engine::shareWork(own.height, runRows, threads, [&](std::size_t first, std::size_t last) {
        for (auto y = static_cast<std::uint32_t>(first); y < last; ++y) {
            const std::uint8_t* a = own.row(y);
            const std::uint8_t* b = external.row(y);
            const std::uint8_t* m = mask ? mask->row(y) : nullptr;
            float* row = out + y * width;
            if (m) {
                for (std::size_t x = 0; x < width; ++x)
                    row[x] = m[x] != 0 ? kLeftOut
                                       : delta(a + x * kLabPixelBytes, b + x * kLabPixelBytes);
            } else {
                for (std::size_t x = 0; x < width; ++x)
                    row[x] = delta(a + x * kLabPixelBytes, b + x * kLabPixelBytes);
            }
        }
    });
}

// The running statistics of the first pass, in the order the differences
// come. Branch-free: a left-out pixel adds 0 to the sum, which leaves it
// exactly as it was.
struct Running {
    float tolerance;
    float sum = 0.0f;
    float maxi = 0.0f;
    float mini = 500.0f;
    std::uint32_t compared = 0;
    std::uint32_t inGamut = 0;

    void add(float d) {
        ++compared;
        sum += d;
        maxi = d > maxi ? d : maxi;
        mini = d < mini ? d : mini;
        inGamut += d <= tolerance ? 1u : 0u;
    }
    void add(const float* ds, std::size_t count) {
        float s = sum, hi = maxi, lo = mini;
        std::uint32_t n = compared, in = inGamut;
        for (std::size_t i = 0; i < count; ++i) {
            const float d = ds[i];
            const bool used = d != kLeftOut;
            n += used ? 1u : 0u;
            s += used ? d : 0.0f;
            hi = used && d > hi ? d : hi;
            lo = used && d < lo ? d : lo;
            in += used && d <= tolerance ? 1u : 0u;
        }
        sum = s;
        maxi = hi;
        mini = lo;
        compared = n;
        inGamut = in;
    }
    ComparisonStatistics statistics() const {
        ComparisonStatistics s;
        s.compared = compared;
        s.maxiDeltaE = maxi;
        s.miniDeltaE = mini;
        s.averageDeltaE = sum / static_cast<float>(compared);
        s.inGamutPixelsPercentage = static_cast<float>(static_cast<double>(inGamut) * 100.0 /
                                                       static_cast<double>(compared));
        return s;
    }
};

// Patch by patch over whole bitmaps: a row of patches is passed as a
// whole, by the height of its tallest patch.
void addPatches(Running& running, std::int32_t kind, const LabView& own, const LabView& external,
                const MaskView& mask) {
    const DeltaE deltaE =
        kind == 0 ? &ColorConversion::deltaEWithC1 : &ColorConversion::deltaE94WithC1;
    for (std::uint32_t y = 0; y < own.height;) {
        std::uint32_t rowStep = 1;
        const std::uint8_t* m = mask.row(y);
        for (std::uint32_t x = 0; x < own.width;) {
            if (m[x] != 0) {
                ++x;
                continue;
            }
            std::uint32_t w = 0, h = 0;
            LabComparison::findPatchDimension(w, h, m + x, mask.rowBytes, own.width - x,
                                              own.height - y);
            const std::size_t at = std::size_t{x} * kLabPixelBytes;
            running.add(
                deltaE(LabComparison::averagePatchColorOf(w, h, own.row(y) + at, own),
                       LabComparison::averagePatchColorOf(w, h, external.row(y) + at, external)));
            rowStep = std::max(rowStep, h);
            x += w;
        }
        y += rowStep;
    }
}

} // namespace

void LabComparison::findPatchDimension(std::uint32_t& width, std::uint32_t& height,
                                       const std::uint8_t* maskPtr, std::size_t maskRowBytes,
                                       std::uint32_t widthLeft, std::uint32_t heightLeft) {
    width = 0;
    while (width < widthLeft && maskPtr[width] == 0)
        ++width;
    height = 0;
    while (height < heightLeft && maskPtr[std::size_t{height} * maskRowBytes] == 0)
        ++height;
}

CMColor LabComparison::averagePatchColorOf(std::uint32_t width, std::uint32_t height,
                                           const std::uint8_t* color, const LabView& bitmap) {
    // The average runs on the fields of CMLabColor, whatever the bitmap keeps.
    const LabReader reader(bitmap);
    float sums[3] = {0.0f, 0.0f, 0.0f};
    for (std::uint32_t y = 0; y < height; ++y) {
        const std::uint8_t* pixel = color + std::size_t{y} * bitmap.rowBytes;
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

bool LabComparison::compare(const LabView& own, const LabView& external, const MaskView* mask,
                            std::uint8_t* gamut, std::size_t gamutRowBytes) {
    LabViewRows ownRows(own), externalRows(external);
    (void)compareRows(ownRows, externalRows, mask, nullptr);
    if (gamut)
        paint(own, external, mask, gamut, gamutRowBytes);
    return statistics_.noDifference();
}

platform::Status LabComparison::compareRows(LabRows& own, LabRows& external, const MaskView* mask,
                                            GamutSink* sink) {
    const std::uint32_t width = own.width(), height = own.height();
    Running running{gamutTolerance};
    const bool patchMode = mask != nullptr && averagePatchColor;
    const std::uint32_t band =
        patchMode ? std::max<std::uint32_t>(height, 1) : bandRows(width, height);
    std::vector<float> ds;
    try {
        ds.resize(patchMode ? 0 : std::size_t{width} * band);
    } catch (const std::bad_alloc&) {
        return platform::Status::failure(platform::ErrorCode::OutOfMemory,
                                         "no memory for the comparison");
    }
    LabView a, b;
    for (std::uint32_t y = 0; y < height; y += band) {
        const std::uint32_t rows = std::min(band, height - y);
        if (auto status = own.read(y, rows, a); !status)
            return status;
        if (auto status = external.read(y, rows, b); !status)
            return status;
        const MaskView bandMask = mask ? mask->rows(y) : MaskView{};
        if (patchMode) {
            addPatches(running, deltaEKind, a, b, bandMask);
        } else {
            differences(deltaOf(deltaEKind, a, b), a, b, mask ? &bandMask : nullptr, ds.data());
            running.add(ds.data(), std::size_t{rows} * width);
        }
    }
    statistics_ = running.statistics();
    if (!sink)
        return {};

    const bool same = statistics_.noDifference();
    // The words need the whole picture: painted whole, then handed over.
    // Otherwise bands of a few megabytes, each handed over as it is done.
    QImage whole;
    std::vector<std::uint8_t> painted;
    const std::uint32_t paintBand = same ? height : bandRows(width, height);
    try {
        if (same)
            whole =
                QImage(static_cast<int>(width), static_cast<int>(height), QImage::Format_RGB888);
        else
            painted.resize(std::size_t{3} * width * std::min(paintBand, height));
    } catch (const std::bad_alloc&) {
    }
    if (same ? whole.isNull() : painted.empty()) {
        sink->writeRows(nullptr, 0, 0);
        return {};
    }
    const std::size_t rowBytes =
        same ? static_cast<std::size_t>(whole.bytesPerLine()) : std::size_t{3} * width;
    const std::uint32_t step = same ? bandRows(width, height) : paintBand;
    for (std::uint32_t y = 0; y < height; y += step) {
        const std::uint32_t rows = std::min(step, height - y);
        if (auto status = own.read(y, rows, a); !status)
            return status;
        if (auto status = external.read(y, rows, b); !status)
            return status;
        const MaskView bandMask = mask ? mask->rows(y) : MaskView{};
        std::uint8_t* out = same ? whole.scanLine(static_cast<int>(y)) : painted.data();
        paint(a, b, mask ? &bandMask : nullptr, out, rowBytes);
        if (!same && !sink->writeRows(out, rowBytes, static_cast<std::int32_t>(rows)))
            return {};
    }
    if (same) {
        drawNoDifference(whole);
        sink->writeRows(whole.constBits(), rowBytes, static_cast<std::int32_t>(height));
    }
    return {};
}

} // namespace slidebox::color
