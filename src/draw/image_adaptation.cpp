#include "draw/image_adaptation.h"

#include <QList>

#include "draw/quartz_bitmap.h"

namespace slidebox::draw {

namespace {

// The gray table that reads a source's samples as device gray: a white
// space's reversed (its 1.0 is white, the device's 1.0 is the sample 255
// of a bitmap labelled black), a black space's as they are.
QList<QRgb> grayTable(bool reverse) {
    QList<QRgb> table(256);
    for (int i = 0; i < 256; ++i) {
        const int v = reverse ? 255 - i : i;
        table[i] = qRgb(v, v, v);
    }
    return table;
}

} // namespace

std::unique_ptr<BitmapImageRep> bitmapWithPixelsSize(SizeF size, const BitmapImageRep& source) {
    const std::string& name = source.colorSpaceName();
    const bool white = isWhiteSpaceName(name);
    const bool black = isBlackSpaceName(name);
    const bool rgb = name == NSCalibratedRGBColorSpace || name == NSDeviceRGBColorSpace;
    const bool cmyk = name == NSDeviceCMYKColorSpace;
    std::string_view target;
    if (white || black)
        target = kCGColorSpaceUserGray;
    else if (rgb)
        target = kCGColorSpaceUserRGB;
    else if (cmyk)
        target = kCGColorSpaceUserCMYK;
    else
        return nullptr;
    // A gray's bits per component are the source's bits per pixel.
    if ((white || black) && source.bitsPerPixel() == 0)
        return nullptr;

    auto bitmap = QuartzBitmap::initWithSize(size, target);
    const std::uint8_t* data = source.bitmapData();
    if (!bitmap || !data)
        return nullptr;

    // The source is read in place, never copied.
    const int bpp = source.bitsPerPixel();
    const std::int32_t w = source.pixelsWide();
    const std::int32_t h = source.pixelsHigh();
    const auto rowBytes = static_cast<qsizetype>(source.bytesPerRow());
    const RectF whole{0.0f, 0.0f, size.width, size.height};
    if (cmyk) {
        if (bpp != 32 || source.hasAlpha())
            return nullptr;
        bitmap->contextRef().drawImage(whole, source.pixels());
    } else {
        QImage picture;
        if ((white || black) && bpp == 8) {
            picture = QImage(data, w, h, rowBytes, QImage::Format_Indexed8);
            picture.setColorTable(grayTable(white));
        } else if (rgb && bpp == 24) {
            picture = QImage(data, w, h, rowBytes, QImage::Format_RGB888);
        } else if (rgb && bpp == 32 && source.hasAlpha()) {
            picture = QImage(data, w, h, rowBytes, QImage::Format_RGBA8888_Premultiplied);
        }
        if (picture.isNull())
            return nullptr;
        bitmap->contextRef().drawImage(whole, picture);
    }
    std::unique_ptr<BitmapImageRep> result = bitmap->takeBitmapRep();
    result->setSize(source.size());
    return result;
}

void adaptImage(Image& image, int size) {
    if (image.representations().empty())
        return;
    const BitmapImageRep* first = image.representations().front().get();
    const float s = static_cast<float>(size);
    auto scaled = bitmapWithPixelsSize({s, s}, *first);
    if (!scaled)
        return;
    scaled->setSize({s, s});
    image.removeRepresentation(first);
    image.addRepresentation(std::move(scaled));
    image.setSize({s, s});
}

void adaptIconImage(Image& image, int size) {
    const float s = static_cast<float>(size);
    std::vector<const BitmapImageRep*> others;
    for (const auto& rep : image.representations())
        if (rep->size().width != s || rep->size().height != s)
            others.push_back(rep.get());
    for (const BitmapImageRep* rep : others)
        image.removeRepresentation(rep);
}

void adaptImageSize(Image& image, SizeF size) {
    image.setSize(size);
    for (const auto& rep : image.representations())
        rep->setSize(size);
}

RectF adaptRect(const RectF& source, const RectF& destination) {
    const float sw = source.width;
    const float sh = source.height;
    const float dw = destination.width;
    const float dh = destination.height;
    // Equal proportions take the width's rule.
    const float scale = sh / sw > dh / dw ? sh / (dh - 4.0f) : sw / (dw - 4.0f);
    const float w = sw / scale;
    const float h = sh / scale;
    const float x = (dw - w) * 0.5f + destination.x;
    const float y = (dh - h) * 0.5f + destination.y;
    return {x, y, w, h};
}

QImage statusItemIcon(const QImage& icon) {
    Image image = Image::fromQImage(icon);
    adaptImage(image, 16);
    if (image.representations().empty() || image.size() != SizeF{16.0f, 16.0f})
        return {};
    return image.toQImage();
}

QImage filmStripCell(const QImage& strip, const QImage& picture, const RectF& frame) {
    if (strip.isNull())
        return {};
    const SizeF stripSize{static_cast<float>(strip.width()), static_cast<float>(strip.height())};
    auto cell = QuartzBitmap::initWithSize(stripSize, kCGColorSpaceUserRGB);
    if (!cell)
        return strip;
    DrawContext& ctx = cell->contextRef();
    ctx.drawImage({0.0f, 0.0f, stripSize.width, stripSize.height}, strip);
    const RectF source{0.0f, 0.0f, static_cast<float>(picture.width()),
                       static_cast<float>(picture.height())};
    const RectF destination = adaptRect(source, frame);
    if (!picture.isNull() && destination.width > 0.0f && destination.height > 0.0f)
        ctx.drawImage(destination, picture);
    return cell->bitmapRep().toQImage();
}

} // namespace slidebox::draw
