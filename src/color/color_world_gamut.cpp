// The gamut image of a Lab bitmap comparison: the second pass paints each
// pixel by its own difference, on a ramp below the tolerance and another
// above it, row by row and on both cores; when the bitmaps don't differ
// the words "No Difference" are written across the picture.
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

#include "color/color_world.h"
#include "color/lab_pixel_reader.h"
#include "platform/log.h"

namespace slidebox::color {

using namespace lab_pixels;

namespace {

std::mutex& beepMutex() {
    static std::mutex mutex;
    return mutex;
}

std::function<void()>& beepHandler() {
    static std::function<void()> handler;
    return handler;
}

void beep() {
    std::function<void()> handler;
    {
        std::lock_guard lock(beepMutex());
        handler = beepHandler();
    }
    if (handler)
        handler();
}

// One channel of a ramp: trunc(from + (to - from) × t) in single precision.
// With t in 0..1 the value lies between the two bytes, so the conversion
// truncates it in range.
inline std::uint8_t rampChannel(std::uint8_t from, std::uint8_t to, float t) {
    const float value = static_cast<float>(from) + static_cast<float>(to - from) * t;
    return static_cast<std::uint8_t>(static_cast<int>(value));
}

inline void paint(std::uint8_t* out, const RGB8& from, const RGB8& to, float t) {
    out[0] = rampChannel(from.red, to.red, t);
    out[1] = rampChannel(from.green, to.green, t);
    out[2] = rampChannel(from.blue, to.blue, t);
}

inline void paint(std::uint8_t* out, const RGB8& colour) {
    out[0] = colour.red;
    out[1] = colour.green;
    out[2] = colour.blue;
}

struct PaintJob {
    const CMBitmap* own;
    const CMBitmap* external;
    const CMBitmap* mask;
    std::uint8_t* gamut; // row firstRow of the image
    std::size_t gamutRowBytes;
    std::uint32_t firstRow;
    PixelDelta delta;
    float tolerance;
    float maxiDeltaE;
    ComparisonColors colours;
};

// The second pass over rows [first, last): every pixel painted by its own
// difference, with no patch logic.
void paintRows(const PaintJob& job, std::uint32_t first, std::uint32_t last) {
    const float tol = job.tolerance;
    const float outDenominator = job.maxiDeltaE - tol;
    for (std::uint32_t y = first; y < last; ++y) {
        const auto* a = reinterpret_cast<const std::uint8_t*>(job.own->image) +
                        static_cast<std::size_t>(y) * job.own->rowBytes;
        const auto* b = reinterpret_cast<const std::uint8_t*>(job.external->image) +
                        static_cast<std::size_t>(y) * job.external->rowBytes;
        const std::uint8_t* m = job.mask ? reinterpret_cast<const std::uint8_t*>(job.mask->image) +
                                               static_cast<std::size_t>(y) * job.mask->rowBytes
                                         : nullptr;
        std::uint8_t* out =
            job.gamut + static_cast<std::size_t>(y - job.firstRow) * job.gamutRowBytes;
        for (std::uint32_t x = 0; x < job.own->width;
             ++x, a += kLabPixelBytes, b += kLabPixelBytes, out += 3) {
            if (m && m[x] != 0) {
                paint(out, job.colours.nonComparedRGB);
                continue;
            }
            const float d = job.delta(a, b);
            if (d < tol) {
                paint(out, job.colours.inGamutLowRGB, job.colours.inGamutLimitRGB, d / tol);
            } else {
                // A denominator of 0 or below (maxiDeltaE at or under the
                // tolerance) counts as 0: the pixel takes the ramp's start.
                float t = outDenominator > 0.0f ? (d - tol) / outDenominator : 0.0f;
                t = std::clamp(t, 0.0f, 1.0f);
                paint(out, job.colours.outGamutLimitRGB, job.colours.outGamutHighRGB, t);
            }
        }
    }
}

} // namespace

void ColorWorld::setBeepHandler(std::function<void()> handler) {
    std::lock_guard lock(beepMutex());
    beepHandler() = std::move(handler);
}

std::uint8_t* ColorWorld::testGamutImage(QImage* image, const CMBitmap& bitmap,
                                         std::int32_t& rowBytes) {
    if (image && !image->isNull() && image->format() == QImage::Format_RGB888 &&
        !image->hasAlphaChannel() && image->depth() == 24 &&
        static_cast<std::uint32_t>(image->width()) == bitmap.width &&
        static_cast<std::uint32_t>(image->height()) == bitmap.height) {
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

void ColorWorld::paintGamut(const CMBitmap& own, const CMBitmap& external, const CMBitmap* mask,
                            std::uint8_t* gamut, std::size_t gamutRowBytes, std::uint32_t first,
                            std::uint32_t last) const {
    const PixelDelta delta{LabReader(own), LabReader(external),
                           deltaEKind_ == 0 ? nullptr : &ColorConversion::deltaE94WithC1};
    const PaintJob job{&own,  &external,       mask,        gamut,      gamutRowBytes, first,
                       delta, gamutTolerance_, maxiDeltaE_, comparison_};
    // Big images are painted on both cores; each row is independent.
    const std::uint64_t pixels = static_cast<std::uint64_t>(own.width) * (last - first);
    if (pixels >= (1u << 18) && last - first >= 2) {
        const std::uint32_t half = first + (last - first) / 2;
        std::thread helper(paintRows, std::cref(job), half, last);
        paintRows(job, first, half);
        helper.join();
    } else {
        paintRows(job, first, last);
    }
}

void ColorWorld::drawNoDifference(QImage& image) {
    if (image.isNull() || !QGuiApplication::instance())
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

bool ColorWorld::compareLabBitmapWithLabBitmapOf(const ColorWorld& other, float tolerance,
                                                 const image::Bitmap* mask, GamutSink* sink) {
    return logged(compareLabBitmaps(other, tolerance, mask, sink));
}

platform::Status ColorWorld::compareLabBitmaps(const ColorWorld& other, float tolerance,
                                               const image::Bitmap* mask, GamutSink* sink) {
    CMBitmap maskBitmap;
    if (auto status = prepareComparison(other, tolerance, mask, maskBitmap); !status)
        return status;
    const CMBitmap& own = *labBitmap();
    const CMBitmap& external = *other.labBitmap();
    const CMBitmap* maskPtr = mask ? &maskBitmap : nullptr;
    const auto width = static_cast<std::size_t>(own.width);
    const bool same = compareLabBitmap(own, external, maskPtr, nullptr, 0);
    if (!sink)
        return {};
    if (same) {
        // The words need the whole picture: painted whole, then handed over.
        QImage image(static_cast<int>(own.width), static_cast<int>(own.height),
                     QImage::Format_RGB888);
        if (image.isNull()) {
            sink->writeRows(nullptr, 0, 0);
            return {};
        }
        paintGamut(own, external, maskPtr, image.bits(),
                   static_cast<std::size_t>(image.bytesPerLine()), 0, own.height);
        drawNoDifference(image);
        sink->writeRows(image.constBits(), static_cast<std::size_t>(image.bytesPerLine()),
                        static_cast<std::int32_t>(own.height));
        return {};
    }
    // Bands of about 4 MB, painted and handed over one after the other.
    const std::uint32_t bandRows =
        static_cast<std::uint32_t>(std::max<std::size_t>(1, (std::size_t{4} << 20) / (3 * width)));
    std::vector<std::uint8_t> band;
    try {
        band.resize(3 * width * std::min(bandRows, own.height));
    } catch (const std::bad_alloc&) {
        sink->writeRows(nullptr, 0, 0);
        return {};
    }
    for (std::uint32_t y = 0; y < own.height; y += bandRows) {
        const std::uint32_t rows = std::min(bandRows, own.height - y);
        paintGamut(own, external, maskPtr, band.data(), 3 * width, y, y + rows);
        if (!sink->writeRows(band.data(), 3 * width, static_cast<std::int32_t>(rows)))
            break;
    }
    return {};
}

} // namespace slidebox::color
