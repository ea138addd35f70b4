// The Lab bitmap comparison: two 16-bit Lab bitmaps of the same layout,
// compared pixel by pixel (or patch by patch under a mask) into statistics,
// then painted into a gamut image whose colours tell how far apart the two
// are at each place. Everything is single precision, step by step; the first
// pass's running sum stays sequential, the second pass only paints and may
// be split between threads because each row is independent.
#include <QFont>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include "color/color_world.h"
#include "platform/log.h"

namespace slidebox::color {

namespace {

constexpr std::uint32_t kLabPixelBytes = 6;

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

using DeltaE = float (*)(const CMColor&, const CMColor&);

// The reals of every 16-bit Lab field, read once with CMLab itself, so that
// a pixel is decoded by three loads and every number is exactly the one
// deltaEWithC1 works with. abSigned is indexed by the field as a file keeps
// it, a and b less 32768 as signed 16-bit values.
struct LabTables {
    std::vector<float> L, ab, abSigned;
    LabTables() : L(65536), ab(65536), abSigned(65536) {
        for (std::uint32_t w = 0; w < 65536; ++w) {
            CMColor colour{};
            colour.lab = {static_cast<std::uint16_t>(w), static_cast<std::uint16_t>(w),
                          static_cast<std::uint16_t>(w)};
            float l, a, b;
            ColorConversion::CMLab(colour, l, a, b);
            L[w] = l;
            ab[w] = a;
        }
        for (std::uint32_t w = 0; w < 65536; ++w)
            abSigned[w] = ab[w ^ 0x8000u];
    }
};

const LabTables& labTables() {
    static const LabTables tables;
    return tables;
}

// How the pixels of one Lab bitmap are read.
struct LabReader {
    const float* L;
    const float* ab;
    std::uint16_t abFlip; // 0x8000 for a and b kept signed

    explicit LabReader(const CMBitmap& bitmap)
        : L(labTables().L.data()),
          ab(bitmap.space == cmLab48SignedABSpace ? labTables().abSigned.data()
                                                  : labTables().ab.data()),
          abFlip(bitmap.space == cmLab48SignedABSpace ? 0x8000 : 0) {}

    // The pixel as a colour record; the fourth field stays 0.
    CMColor colour(const std::uint8_t* pixel) const {
        std::uint16_t f[3];
        std::memcpy(f, pixel, sizeof f);
        CMColor c{};
        c.lab = {f[0], static_cast<std::uint16_t>(f[1] ^ abFlip),
                 static_cast<std::uint16_t>(f[2] ^ abFlip)};
        return c;
    }
};

// The difference of two pixels. CIE 1976 through the tables, in the order
// of operations of deltaEWithL; any other kind through its operation.
struct PixelDelta {
    LabReader a, b;
    DeltaE generic; // null for the 1976 difference

    float operator()(const std::uint8_t* pa, const std::uint8_t* pb) const {
        if (generic)
            return generic(a.colour(pa), b.colour(pb));
        std::uint16_t fa[3], fb[3];
        std::memcpy(fa, pa, sizeof fa);
        std::memcpy(fb, pb, sizeof fb);
        const float dL = a.L[fa[0]] - b.L[fb[0]];
        const float da = a.ab[fa[1]] - b.ab[fb[1]];
        const float db = a.ab[fa[2]] - b.ab[fb[2]];
        return std::sqrt(dL * dL + da * da + db * db);
    }
};

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

bool ColorWorld::sameLabBitmap(const CMBitmap& a, const CMBitmap& b) {
    return a.pixelSize == b.pixelSize && a.rowBytes == b.rowBytes && a.width == b.width &&
           a.height == b.height;
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
                findPatchDimensionWidth(w, h, maskRow + x, *mask, own.width - x, own.height - y);
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
    compared_ = compared;
    averageDeltaE_ = sum / static_cast<float>(compared);
    inGamutPixelsPercentage_ =
        static_cast<float>(static_cast<double>(inGamut) * 100.0 / static_cast<double>(compared));

    if (gamut)
        paintGamut(own, external, mask, gamut, gamutRowBytes, 0, own.height);
    return noDifference();
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

bool ColorWorld::prepareComparison(const ColorWorld& other, float tolerance,
                                   const image::Bitmap* mask, CMBitmap& maskBitmap) {
    const CMBitmap* own = labBitmap();
    const CMBitmap* external = other.labBitmap();
    gamutTolerance_ = tolerance;
    if (!own)
        platform::log("ColorWorld: No Internal CMbitmap image");
    if (!external)
        platform::log("ColorWorld: No External CMbitmap image");
    if (!own || !external)
        return false;
    if (!sameLabBitmap(*own, *external)) {
        platform::log("Not Same Lab CMbitmaps");
        return false;
    }
    if (mask) {
        // Every byte the comparison reads must exist: a mask of one 8-bit
        // sample at least as large as the bitmaps.
        const image::PixelFormat& f = mask->format();
        if (mask->isNull() || f.space != image::ColorSpace::Gray || f.bytesPerSample != 1 ||
            f.hasAlpha || static_cast<std::uint32_t>(mask->width()) < own->width ||
            static_cast<std::uint32_t>(mask->height()) < own->height ||
            mask->rowBytes() > 0xFFFFFFFFu) {
            platform::log("ColorWorld: Gray mask does not cover the Lab CMbitmaps");
            return false;
        }
        maskBitmap.image = reinterpret_cast<char*>(const_cast<std::uint8_t*>(mask->plane(0)));
        maskBitmap.rowBytes = static_cast<std::uint32_t>(mask->rowBytes());
    }
    return true;
}

bool ColorWorld::compareLabBitmapWithLabBitmapOf(const ColorWorld& other, float tolerance,
                                                 const image::Bitmap* mask, QImage* image) {
    const CMBitmap* own = labBitmap();
    std::int32_t gamutRowBytes = 0;
    // The image is looked at first: a bad one beeps even when the
    // comparison then stops.
    std::uint8_t* gamut = testGamutImage(image, own ? *own : CMBitmap{}, gamutRowBytes);
    CMBitmap maskBitmap;
    if (!prepareComparison(other, tolerance, mask, maskBitmap))
        return false;
    const bool same = compareLabBitmap(*own, *other.labBitmap(), mask ? &maskBitmap : nullptr,
                                       gamut, static_cast<std::size_t>(gamutRowBytes));
    if (same && image)
        drawNoDifference(*image);
    return true;
}

bool ColorWorld::compareLabBitmapWithLabBitmapOf(const ColorWorld& other, float tolerance,
                                                 const image::Bitmap* mask, GamutSink* sink) {
    CMBitmap maskBitmap;
    if (!prepareComparison(other, tolerance, mask, maskBitmap))
        return false;
    const CMBitmap& own = *labBitmap();
    const CMBitmap& external = *other.labBitmap();
    const CMBitmap* maskPtr = mask ? &maskBitmap : nullptr;
    const auto width = static_cast<std::size_t>(own.width);
    const bool same = compareLabBitmap(own, external, maskPtr, nullptr, 0);
    if (!sink)
        return true;
    if (same) {
        // The words need the whole picture: painted whole, then handed over.
        QImage image(static_cast<int>(own.width), static_cast<int>(own.height),
                     QImage::Format_RGB888);
        if (image.isNull()) {
            sink->writeRows(nullptr, 0, 0);
            return true;
        }
        paintGamut(own, external, maskPtr, image.bits(),
                   static_cast<std::size_t>(image.bytesPerLine()), 0, own.height);
        drawNoDifference(image);
        sink->writeRows(image.constBits(), static_cast<std::size_t>(image.bytesPerLine()),
                        static_cast<std::int32_t>(own.height));
        return true;
    }
    // Bands of about 4 MB, painted and handed over one after the other.
    const std::uint32_t bandRows =
        static_cast<std::uint32_t>(std::max<std::size_t>(1, (std::size_t{4} << 20) / (3 * width)));
    std::vector<std::uint8_t> band;
    try {
        band.resize(3 * width * std::min(bandRows, own.height));
    } catch (const std::bad_alloc&) {
        sink->writeRows(nullptr, 0, 0);
        return true;
    }
    for (std::uint32_t y = 0; y < own.height; y += bandRows) {
        const std::uint32_t rows = std::min(bandRows, own.height - y);
        paintGamut(own, external, maskPtr, band.data(), 3 * width, y, y + rows);
        if (!sink->writeRows(band.data(), 3 * width, static_cast<std::int32_t>(rows)))
            break;
    }
    return true;
}

} // namespace slidebox::color
