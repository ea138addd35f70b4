// The second pass of a Lab bitmap comparison, the gamut image: each pixel
// painted by its own difference, on a ramp below the tolerance and another
// above it; and the handlers of what the comparison can't do itself, the
// beep and the words on a picture without differences (drawn with Qt in
// lab_comparison_words.cpp).
#include <algorithm>
#include <functional>
#include <mutex>
#include <vector>

#include "color/color_conversion.h"
#include "color/engine/row_sharing.h"
#include "color/lab_comparison.h"
#include "color/lab_pixel_reader.h"

namespace slidebox::color {

using namespace lab_pixels;

namespace {

// Rows a thread takes at a time hold about this many pixels.
constexpr std::size_t kRunPixels = std::size_t{1} << 15;

std::mutex& handlerMutex() {
    static std::mutex mutex;
    return mutex;
}

std::function<void()>& beepHandler() {
    static std::function<void()> handler;
    return handler;
}

LabComparison::WordsHandler& wordsHandler() {
    static LabComparison::WordsHandler handler;
    return handler;
}

// The handler the application set: a copy, taken under the lock, so that
// setting another meanwhile is safe.
template <typename Handler> Handler handlerOf(Handler& (*handler)()) {
    std::lock_guard lock(handlerMutex());
    return handler();
}

// One channel of a ramp: trunc(from + (to - from) × t) in single precision.
// With t in 0..1 the value lies between the two bytes, so the conversion
// truncates it in range.
inline std::uint8_t rampChannel(std::uint8_t from, std::uint8_t to, float t) {
    const float value = static_cast<float>(from) + static_cast<float>(to - from) * t;
    return static_cast<std::uint8_t>(static_cast<int>(value));
}

inline void paintPixel(std::uint8_t* out, const RGB8& from, const RGB8& to, float t) {
    out[0] = rampChannel(from.red, to.red, t);
    out[1] = rampChannel(from.green, to.green, t);
    out[2] = rampChannel(from.blue, to.blue, t);
}

inline void paintPixel(std::uint8_t* out, const RGB8& colour) {
    out[0] = colour.red;
    out[1] = colour.green;
    out[2] = colour.blue;
}

} // namespace

void LabComparison::setBeepHandler(std::function<void()> handler) {
    std::lock_guard lock(handlerMutex());
    beepHandler() = std::move(handler);
}

void LabComparison::beep() {
    if (auto handler = handlerOf(beepHandler))
        handler();
}

void LabComparison::setWordsHandler(WordsHandler handler) {
    std::lock_guard lock(handlerMutex());
    wordsHandler() = std::move(handler);
}

platform::Status LabComparison::writeWords(std::uint8_t* rows, std::uint32_t width,
                                           std::uint32_t height, std::size_t rowBytes) {
    auto handler = handlerOf(wordsHandler);
    if (!handler)
        return platform::Status::failure(platform::ErrorCode::Unsupported,
                                         "nothing here writes the words on the gamut image");
    return handler(rows, width, height, rowBytes);
}

void LabComparison::paintDifferenceRows(const float* differences, std::uint32_t width,
                                        std::uint8_t* gamut, std::size_t gamutRowBytes,
                                        std::uint32_t first, std::uint32_t last) const {
    const float tol = gamutTolerance;
    const float outDenominator = statistics_.maxiDeltaE - tol;
    const ComparisonColors& c = colors;
    const auto ramp = [](const RGB8& from, const RGB8& to) {
        return PaintRamps::Ramp{{static_cast<float>(from.red), static_cast<float>(from.green),
                                 static_cast<float>(from.blue)},
                                {static_cast<float>(to.red - from.red),
                                 static_cast<float>(to.green - from.green),
                                 static_cast<float>(to.blue - from.blue)}};
    };
    const PaintRamps ramps{ramp(c.inGamutLowRGB, c.inGamutLimitRGB),
                           ramp(c.outGamutLimitRGB, c.outGamutHighRGB),
                           {c.nonComparedRGB.red, c.nonComparedRGB.green, c.nonComparedRGB.blue},
                           tol,
                           tol > 0.0f ? tol : 1.0f,
                           outDenominator > 0.0f ? outDenominator : 1.0f,
                           outDenominator > 0.0f};
    for (std::uint32_t y = first; y < last; ++y) {
        const float* ds = differences + std::size_t{y} * width;
        std::uint8_t* out = gamut + std::size_t{y} * gamutRowBytes;
        const std::size_t done = paintWide(ds, width, out, ramps);
        out += 3 * done;
        for (std::size_t x = done; x < width; ++x, out += 3) {
            const float d = ds[x];
            if (d == kLeftOutDifference) {
                paintPixel(out, c.nonComparedRGB);
            } else if (d < tol) {
                paintPixel(out, c.inGamutLowRGB, c.inGamutLimitRGB, d / tol);
            } else {
                // A denominator of 0 or below (maxiDeltaE at or under the
                // tolerance) puts every pixel from the tolerance up at the
                // ramp's start.
                float t = outDenominator > 0.0f ? (d - tol) / outDenominator : 0.0f;
                t = std::clamp(t, 0.0f, 1.0f);
                paintPixel(out, c.outGamutLimitRGB, c.outGamutHighRGB, t);
            }
        }
    }
}

void LabComparison::paint(const LabView& own, const LabView& external, const MaskView* mask,
                          std::uint8_t* gamut, std::size_t gamutRowBytes) const {
    // Each row is independent: both cores share them, a run of rows at a
    // time, its differences worked out first and then painted.
    const std::size_t width = std::max<std::uint32_t>(own.width, 1);
    const auto runRows = std::max<std::size_t>(1, kRunPixels / width);
    const unsigned threads = engine::threadsFor(std::size_t{own.height} * width, 2 * kRunPixels);
    engine::shareWork(own.height, runRows, threads, [&](std::size_t first, std::size_t last) {
        const auto y = static_cast<std::uint32_t>(first);
        const auto rows = static_cast<std::uint32_t>(last - first);
        thread_local std::vector<float> ds;
        ds.resize(width * rows);
        const MaskView runMask = mask ? mask->rows(y) : MaskView{};
        differences(deltaEKind, own.rows(y, rows), external.rows(y, rows),
                    mask ? &runMask : nullptr, ds.data());
        paintDifferenceRows(ds.data(), own.width, gamut + std::size_t{y} * gamutRowBytes,
                            gamutRowBytes, 0, rows);
    });
}

} // namespace slidebox::color
