#include "draw/draw_context.h"

#include <algorithm>
#include <cmath>

#include <QPainter>

#include "draw/ink_light.h"

namespace slidebox::draw {

namespace {

using Model = DrawColorSpace::Model;

std::uint8_t byteOf(float value) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0f, 1.0f) * 255.0f));
}

// One ink of a CMYK bitmap as a gray picture of its own.
QImage inkPlane(const image::Bitmap& inks, int ink) {
    QImage plane(inks.width(), inks.height(), QImage::Format_Grayscale8);
    for (std::int32_t y = 0; y < inks.height(); ++y) {
        const std::uint8_t* in = inks.row(y) + ink;
        std::uint8_t* out = plane.scanLine(y);
        for (std::int32_t x = 0; x < inks.width(); ++x, in += 4)
            out[x] = *in;
    }
    return plane;
}

void storeInkPlane(const QImage& plane, image::Bitmap& inks, int ink) {
    for (std::int32_t y = 0; y < inks.height(); ++y) {
        const std::uint8_t* in = plane.constScanLine(y);
        std::uint8_t* out = inks.row(y) + ink;
        for (std::int32_t x = 0; x < inks.width(); ++x, out += 4)
            *out = in[x];
    }
}

bool isInks(const image::Bitmap& bitmap) {
    const image::PixelFormat& f = bitmap.format();
    return !bitmap.isNull() && f.space == image::ColorSpace::CMYK && f.bytesPerSample == 1 &&
           !f.isPlanar && !f.hasAlpha;
}

} // namespace

std::unique_ptr<DrawContext> DrawContext::create(image::Bitmap& pixels) {
    const image::PixelFormat& f = pixels.format();
    if (pixels.isNull() || f.bytesPerSample != 1 || f.isPlanar)
        return nullptr;
    if (f.space == image::ColorSpace::Gray && !f.hasAlpha)
        return std::unique_ptr<DrawContext>(new DrawContext(pixels, Model::Gray));
    if (f.space == image::ColorSpace::RGB && f.hasAlpha && f.alphaPremultiplied)
        return std::unique_ptr<DrawContext>(new DrawContext(pixels, Model::RGB));
    if (isInks(pixels))
        return std::unique_ptr<DrawContext>(new DrawContext(pixels, Model::CMYK));
    return nullptr;
}

DrawContext::DrawContext(image::Bitmap& pixels, Model model) : pixels_(pixels), model_(model) {
    const auto bytesPerLine = static_cast<qsizetype>(pixels.rowBytes());
    if (model == Model::Gray)
        picture_ = QImage(pixels.plane(0), pixels.width(), pixels.height(), bytesPerLine,
                          QImage::Format_Grayscale8);
    else if (model == Model::RGB)
        picture_ = QImage(pixels.plane(0), pixels.width(), pixels.height(), bytesPerLine,
                          QImage::Format_RGBA8888_Premultiplied);
}

void DrawContext::setGrayFillColor(float gray, float alpha) {
    fillSpace_ = Model::Gray;
    fill_ = {gray, 0.0f, 0.0f, 0.0f};
    fillAlpha_ = alpha;
}

void DrawContext::setRGBFillColor(float red, float green, float blue, float alpha) {
    fillSpace_ = Model::RGB;
    fill_ = {red, green, blue, 0.0f};
    fillAlpha_ = alpha;
}

void DrawContext::setCMYKFillColor(float cyan, float magenta, float yellow, float black,
                                   float alpha) {
    fillSpace_ = Model::CMYK;
    fill_ = {cyan, magenta, yellow, black};
    fillAlpha_ = alpha;
}

std::array<std::uint8_t, 4> DrawContext::fillValues() const {
    // As light (gray, RGB destinations) or as inks (CMYK).
    std::array<std::uint8_t, 4> light{};
    std::array<std::uint8_t, 4> inks{};
    switch (fillSpace_) {
    case Model::Gray:
        light = {byteOf(fill_[0]), byteOf(fill_[0]), byteOf(fill_[0]), 0};
        inks = {0, 0, 0, static_cast<std::uint8_t>(255 - light[0])};
        break;
    case Model::RGB: {
        light = {byteOf(fill_[0]), byteOf(fill_[1]), byteOf(fill_[2]), 0};
        inks = inksFromLight(light[0], light[1], light[2]);
        break;
    }
    case Model::CMYK:
    case Model::Indexed: {
        inks = {byteOf(fill_[0]), byteOf(fill_[1]), byteOf(fill_[2]), byteOf(fill_[3])};
        const auto rgb = lightFromInks(inks[0], inks[1], inks[2], inks[3]);
        light = {rgb[0], rgb[1], rgb[2], 0};
        break;
    }
    }
    return model_ == Model::CMYK ? inks : light;
}

QRectF DrawContext::qtRect(const RectF& rect) const {
    return QRectF(rect.x, pixels_.height() - rect.y - rect.height, rect.width, rect.height);
}

template <class Paint> void DrawContext::paintPicture(Paint paint) {
    QPainter painter(&picture_);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    paint(painter);
}

template <class Paint>
void DrawContext::paintInks(const std::array<std::uint8_t, 4>& inks, Paint paint) {
    for (int ink = 0; ink < 4; ++ink) {
        QImage plane = inkPlane(pixels_, ink);
        {
            QPainter painter(&plane);
            painter.setRenderHint(QPainter::Antialiasing);
            painter.setRenderHint(QPainter::SmoothPixmapTransform);
            paint(painter, ink, inks[static_cast<std::size_t>(ink)]);
        }
        storeInkPlane(plane, pixels_, ink);
    }
}

void DrawContext::fillRect(const RectF& rect) {
    QPainterPath path;
    path.addRect(QRectF(rect.x, rect.y, rect.width, rect.height));
    fillPath(path);
}

void DrawContext::fillPath(const QPainterPath& path) {
    QPainterPath shape = path;
    shape.setFillRule(Qt::WindingFill);
    const QTransform upwards(1, 0, 0, -1, 0, pixels_.height());
    const int alpha = byteOf(fillAlpha_);
    const auto values = fillValues();
    if (model_ == Model::CMYK) {
        paintInks(values, [&](QPainter& painter, int, std::uint8_t value) {
            painter.setTransform(upwards);
            painter.fillPath(shape, QColor(value, value, value, alpha));
        });
        return;
    }
    paintPicture([&](QPainter& painter) {
        painter.setTransform(upwards);
        painter.fillPath(shape, QColor(values[0], values[1], values[2], alpha));
    });
}

void DrawContext::drawImage(const RectF& rect, const QImage& picture) {
    if (picture.isNull())
        return;
    const QRectF target = qtRect(rect);
    if (model_ != Model::CMYK) {
        paintPicture([&](QPainter& painter) { painter.drawImage(target, picture); });
        return;
    }
    // Each ink as a gray picture carrying the source's coverage in alpha.
    const QImage light = picture.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    std::array<QImage, 4> inkPictures;
    for (QImage& inkPicture : inkPictures)
        inkPicture = QImage(light.size(), QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < light.height(); ++y) {
        const auto* in = reinterpret_cast<const QRgb*>(light.constScanLine(y));
        std::array<QRgb*, 4> out;
        for (std::size_t i = 0; i < 4; ++i)
            out[i] = reinterpret_cast<QRgb*>(inkPictures[i].scanLine(y));
        for (int x = 0; x < light.width(); ++x) {
            const QRgb straight = qUnpremultiply(in[x]);
            const unsigned alpha = static_cast<unsigned>(qAlpha(in[x]));
            const auto inks = inksFromLight(qRed(straight), qGreen(straight), qBlue(straight));
            for (std::size_t i = 0; i < 4; ++i) {
                const int v = static_cast<int>((inks[i] * alpha + 127) / 255);
                out[i][x] = qRgba(v, v, v, static_cast<int>(alpha));
            }
        }
    }
    paintInks({}, [&](QPainter& painter, int ink, std::uint8_t) {
        painter.drawImage(target, inkPictures[static_cast<std::size_t>(ink)]);
    });
}

void DrawContext::drawImage(const RectF& rect, const image::Bitmap& inks) {
    if (!isInks(inks))
        return;
    if (model_ != Model::CMYK) {
        drawImage(rect, lightFromInks(inks));
        return;
    }
    const QRectF target = qtRect(rect);
    paintInks({}, [&](QPainter& painter, int ink, std::uint8_t) {
        painter.drawImage(target, inkPlane(inks, ink));
    });
}

} // namespace slidebox::draw
