#include "draw/bitmap_image_rep.h"

#include <algorithm>
#include <cstring>

#include "draw/ink_light.h"

namespace slidebox::draw {

namespace {

using image::Bitmap;
using image::ColorSpace;
using image::PixelFormat;

// A bitmap that owns a copy of a picture's rows in the given format.
std::optional<Bitmap> bitmapFromRows(const QImage& picture, PixelFormat format) {
    auto bitmap = Bitmap::allocate(picture.width(), picture.height(), format);
    if (!bitmap)
        return std::nullopt;
    const std::size_t rowBytes = bitmap->minRowBytes();
    for (int y = 0; y < picture.height(); ++y)
        std::memcpy(bitmap->row(y), picture.constScanLine(y), rowBytes);
    return std::move(bitmap).value();
}

// A picture that owns a copy of a bitmap's rows (the formats agree in bytes).
QImage pictureFromRows(const Bitmap& bitmap, QImage::Format format) {
    QImage picture(bitmap.width(), bitmap.height(), format);
    if (picture.isNull())
        return picture;
    const std::size_t rowBytes = bitmap.minRowBytes();
    for (int y = 0; y < bitmap.height(); ++y)
        std::memcpy(picture.scanLine(y), bitmap.row(y), rowBytes);
    return picture;
}

std::uint8_t premultiply(unsigned value, unsigned alpha) {
    return static_cast<std::uint8_t>((value * alpha + 127) / 255);
}

// One sample of a pixel as 8 bits, whatever the width and the layout.
unsigned sample8(const Bitmap& bitmap, std::int32_t x, std::int32_t y, int channel) {
    const PixelFormat& f = bitmap.format();
    const int plane = f.isPlanar ? channel : 0;
    const std::size_t index = f.isPlanar
                                  ? static_cast<std::size_t>(x)
                                  : static_cast<std::size_t>(x) * f.samplesPerPixel() + channel;
    if (f.bytesPerSample == 2)
        return (bitmap.row16(y, plane)[index] + 128u) / 257u;
    return bitmap.row(y, plane)[index];
}

std::optional<Bitmap> packed8(const Bitmap& source) {
    const PixelFormat& from = source.format();
    const bool grayAlpha = from.space == ColorSpace::Gray && from.hasAlpha;
    PixelFormat to = PixelFormat::make(grayAlpha ? ColorSpace::RGB : from.space, 8, from.hasAlpha);
    to.alphaPremultiplied = from.hasAlpha;
    auto result = Bitmap::allocate(source.width(), source.height(), to);
    if (!result)
        return std::nullopt;
    const int colors = from.colorChannels();
    const int toSamples = to.samplesPerPixel();
    for (std::int32_t y = 0; y < source.height(); ++y) {
        std::uint8_t* out = result->row(y);
        for (std::int32_t x = 0; x < source.width(); ++x, out += toSamples) {
            const unsigned alpha = from.hasAlpha ? sample8(source, x, y, colors) : 255;
            for (int c = 0; c < to.colorChannels(); ++c) {
                const unsigned value = sample8(source, x, y, grayAlpha ? 0 : c);
                out[c] = from.hasAlpha && !from.alphaPremultiplied
                             ? premultiply(value, alpha)
                             : static_cast<std::uint8_t>(value);
            }
            if (from.hasAlpha)
                out[toSamples - 1] = static_cast<std::uint8_t>(alpha);
        }
    }
    return std::move(result).value();
}

// Every sample v becomes its largest value - v (bytewise, so 16 bits too).
void reverseRows(Bitmap& bitmap) {
    for (int plane = 0; plane < bitmap.planeCount(); ++plane)
        for (std::int32_t y = 0; y < bitmap.height(); ++y) {
            std::uint8_t* row = bitmap.row(y, plane);
            const std::size_t n = bitmap.minRowBytes();
            for (std::size_t i = 0; i < n; ++i)
                row[i] = static_cast<std::uint8_t>(255 - row[i]);
        }
}

} // namespace

bool isWhiteSpaceName(std::string_view name) {
    return name == NSCalibratedWhiteColorSpace || name == NSDeviceWhiteColorSpace;
}

bool isBlackSpaceName(std::string_view name) {
    return name == NSCalibratedBlackColorSpace || name == NSDeviceBlackColorSpace;
}

BitmapImageRep::BitmapImageRep(image::Bitmap pixels, std::string colorSpaceName)
    : pixels_(std::move(pixels)),
      colorSpaceName_(std::move(colorSpaceName)), size_{static_cast<float>(pixels_.width()),
                                                        static_cast<float>(pixels_.height())} {}

std::optional<BitmapImageRep> BitmapImageRep::fromQImage(const QImage& picture) {
    if (picture.isNull())
        return std::nullopt;
    std::optional<Bitmap> bitmap;
    std::string_view name = NSCalibratedRGBColorSpace;
    if (!picture.hasAlphaChannel() && picture.isGrayscale()) {
        bitmap = bitmapFromRows(picture.convertToFormat(QImage::Format_Grayscale8),
                                PixelFormat::make(ColorSpace::Gray, 8));
        name = NSCalibratedWhiteColorSpace;
    } else if (!picture.hasAlphaChannel()) {
        bitmap = bitmapFromRows(picture.convertToFormat(QImage::Format_RGB888),
                                PixelFormat::make(ColorSpace::RGB, 8));
    } else {
        PixelFormat format = PixelFormat::make(ColorSpace::RGB, 8, true);
        format.alphaPremultiplied = true;
        bitmap =
            bitmapFromRows(picture.convertToFormat(QImage::Format_RGBA8888_Premultiplied), format);
    }
    if (!bitmap)
        return std::nullopt;
    return BitmapImageRep(std::move(*bitmap), std::string(name));
}

std::optional<BitmapImageRep> BitmapImageRep::fromBitmap(image::Bitmap pixels) {
    if (pixels.isNull())
        return std::nullopt;
    const PixelFormat& f = pixels.format();
    std::string_view name;
    switch (f.space) {
    case ColorSpace::Gray:
        name = f.hasAlpha ? NSCalibratedRGBColorSpace : NSCalibratedWhiteColorSpace;
        break;
    case ColorSpace::RGB:
        name = NSCalibratedRGBColorSpace;
        break;
    case ColorSpace::CMYK:
        name = NSDeviceCMYKColorSpace;
        break;
    case ColorSpace::Lab:
    case ColorSpace::XYZ:
        return BitmapImageRep(std::move(pixels), std::string(NSCustomColorSpace));
    }
    const bool convert = f.bytesPerSample != 1 || f.isPlanar ||
                         (f.hasAlpha && !f.alphaPremultiplied) ||
                         (f.space == ColorSpace::Gray && f.hasAlpha);
    if (!convert)
        return BitmapImageRep(std::move(pixels), std::string(name));
    auto packed = packed8(pixels);
    if (!packed)
        return std::nullopt;
    return BitmapImageRep(std::move(*packed), std::string(name));
}

BitmapImageRep BitmapImageRep::reversedGray(BitmapImageRep rep) {
    const bool white = isWhiteSpaceName(rep.colorSpaceName_);
    const PixelFormat& f = rep.pixels_.format();
    if ((!white && !isBlackSpaceName(rep.colorSpaceName_)) || rep.pixels_.isNull() ||
        f.space != ColorSpace::Gray || f.bitsPerPixel() != 8)
        return rep;
    reverseRows(rep.pixels_);
    rep.colorSpaceName_ = white ? NSCalibratedBlackColorSpace : NSCalibratedWhiteColorSpace;
    return rep;
}

QImage BitmapImageRep::toQImage() const {
    if (pixels_.isNull() || pixels_.format().bytesPerSample != 1 || pixels_.format().isPlanar)
        return {};
    const PixelFormat& f = pixels_.format();
    const bool black = isBlackSpaceName(colorSpaceName_);
    if ((black || isWhiteSpaceName(colorSpaceName_)) && f.space == ColorSpace::Gray &&
        !f.hasAlpha) {
        QImage picture = pictureFromRows(pixels_, QImage::Format_Grayscale8);
        if (black)
            picture.invertPixels();
        return picture;
    }
    if ((colorSpaceName_ == NSCalibratedRGBColorSpace ||
         colorSpaceName_ == NSDeviceRGBColorSpace) &&
        f.space == ColorSpace::RGB) {
        if (!f.hasAlpha)
            return pictureFromRows(pixels_, QImage::Format_RGB888);
        return pictureFromRows(pixels_, f.alphaPremultiplied ? QImage::Format_RGBA8888_Premultiplied
                                                             : QImage::Format_RGBA8888);
    }
    if (colorSpaceName_ == NSDeviceCMYKColorSpace && f.space == ColorSpace::CMYK && !f.hasAlpha)
        return lightFromInks(pixels_);
    return {};
}

std::optional<image::Bitmap> BitmapImageRep::toBitmap() const {
    const PixelFormat& f = pixels_.format();
    const bool gray = isWhiteSpaceName(colorSpaceName_) || isBlackSpaceName(colorSpaceName_);
    const bool rgb =
        colorSpaceName_ == NSCalibratedRGBColorSpace || colorSpaceName_ == NSDeviceRGBColorSpace;
    const bool cmyk = colorSpaceName_ == NSDeviceCMYKColorSpace;
    if (pixels_.isNull() ||
        !((gray && f.space == ColorSpace::Gray) || (rgb && f.space == ColorSpace::RGB) ||
          (cmyk && f.space == ColorSpace::CMYK)))
        return std::nullopt;
    auto copy = pixels_.clone();
    if (!copy)
        return std::nullopt;
    if (isBlackSpaceName(colorSpaceName_))
        reverseRows(*copy);
    return std::move(copy).value();
}

} // namespace slidebox::draw
