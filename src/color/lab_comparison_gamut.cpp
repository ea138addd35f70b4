// The second pass of a Lab bitmap comparison, the gamut image: each pixel
// painted by its own difference, on a ramp below the tolerance and another
// above it; when the bitmaps don't differ the words "No Difference" are
// written across the picture.
#include <QFont>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>

#include <algorithm>
#include <functional>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include "color/color_conversion.h"
#include "color/engine/row_sharing.h"
#include "color/lab_comparison.h"
#include "color/lab_pixel_reader.h"
#include "platform/log.h"

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

std::function<void()>& fontHandler() {
    static std::function<void()> handler;
    return handler;
}

// Calls the handler the application set, if any: a copy, taken under the
// lock, so that setting another meanwhile is safe.
void callHandler(std::function<void()>& (*handler)()) {
    std::function<void()> copy;
    {
        std::lock_guard lock(handlerMutex());
        copy = handler();
    }
    if (copy)
        copy();
}

void beep() {
    callHandler(beepHandler);
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

void LabComparison::setFontHandler(std::function<void()> handler) {
    std::lock_guard lock(handlerMutex());
    fontHandler() = std::move(handler);
}

std::uint8_t* LabComparison::testGamutImage(QImage* image, std::uint32_t width,
                                            std::uint32_t height, std::int32_t& rowBytes) {
    if (image && !image->isNull() && image->format() == QImage::Format_RGB888 &&
        !image->hasAlphaChannel() && image->depth() == 24 &&
        static_cast<std::uint32_t>(image->width()) == width &&
        static_cast<std::uint32_t>(image->height()) == height) {
        std::uint8_t* data = image->bits(); // detaches: the data is the image's own
        if (data) {
            rowBytes = static_cast<std::int32_t>(image->bytesPerLine());
            return data;
        }
    }
    beep();
    platform::log("Gamut image is not RGB 24 bits, etc...");
    return nullptr;
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

void LabComparison::drawNoDifference(QImage& image) {
    if (image.isNull())
        return;
    if (!QGuiApplication::instance())
        callHandler(fontHandler);
    if (!QGuiApplication::instance())
        return;
    static const QString text = QStringLiteral("No Difference");
    QFont font = QGuiApplication::font();
    qreal textWidth = 0;
    qreal textHeight = 0;
    for (int size = 28; size >= 2; --size) {
        font.setPixelSize(size);
        const QFontMetricsF metrics(font, &image);
        textWidth = metrics.horizontalAdvance(text);
        textHeight = metrics.height();
        if (textWidth <= image.width() || size == 2)
            break;
    }
    QPainter painter(&image);
    painter.setFont(font);
    painter.setPen(Qt::black);
    const QFontMetricsF metrics(font, &image);
    const qreal x = (image.width() - textWidth) / 2;
    const qreal y = (image.height() - textHeight) / 2;
    painter.drawText(QPointF(x, y + metrics.ascent()), text);
}

} // namespace slidebox::color
