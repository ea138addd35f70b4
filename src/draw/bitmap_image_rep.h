#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <QImage>

#include "draw/rect_f.h"
#include "image/bitmap.h"

namespace slidebox::draw {

/// The colour-space names a bitmap representation carries. In a white
/// space a gray sample of 1.0 (255) is white, in a black space it is black.
inline constexpr std::string_view NSCalibratedWhiteColorSpace = "NSCalibratedWhiteColorSpace";
inline constexpr std::string_view NSDeviceWhiteColorSpace = "NSDeviceWhiteColorSpace";
inline constexpr std::string_view NSCalibratedBlackColorSpace = "NSCalibratedBlackColorSpace";
inline constexpr std::string_view NSDeviceBlackColorSpace = "NSDeviceBlackColorSpace";
inline constexpr std::string_view NSCalibratedRGBColorSpace = "NSCalibratedRGBColorSpace";
inline constexpr std::string_view NSDeviceRGBColorSpace = "NSDeviceRGBColorSpace";
inline constexpr std::string_view NSDeviceCMYKColorSpace = "NSDeviceCMYKColorSpace";
/// What an image in a space of none of the names above (Lab, XYZ) is labelled.
inline constexpr std::string_view NSCustomColorSpace = "NSCustomColorSpace";

/// One bitmap representation of an image: pixels (an image::Bitmap, packed,
/// which owns them or wraps its caller's), the name of their colour space,
/// and a size in points that is the pixel size until someone sets it.
/// Samples are read as the name says: a gray sample is white-is-255 under a
/// white name and black-is-255 under a black name, whatever the bitmap's
/// own format says about gray. Move-only, like the bitmap.
class BitmapImageRep {
  public:
    BitmapImageRep() = default;
    BitmapImageRep(image::Bitmap pixels, std::string colorSpaceName);

    /// A representation of a decoded picture, its pixels copied: gray under
    /// the white name when Qt holds it as gray, RGB of 3 samples when it is
    /// opaque, RGB with premultiplied alpha when it isn't. Null for a null
    /// picture.
    static std::optional<BitmapImageRep> fromQImage(const QImage& picture);

    /// A representation of a toolkit bitmap, taking it over: gray under the
    /// white name (the toolkit's gray has black at 0), RGB and CMYK under
    /// their names, Lab and XYZ under NSCustomColorSpace. 16-bit samples are
    /// reduced to 8 bits, alpha is premultiplied, gray with alpha becomes RGB
    /// with alpha (the same picture) and planar samples are packed: these
    /// copy. Null for a null bitmap or one that can't be copied.
    static std::optional<BitmapImageRep> fromBitmap(image::Bitmap pixels);

    /// The same picture in the other gray space: a white gray as a black
    /// one or the other way round, 8-bit samples reversed in place. Any
    /// other representation comes back as it was.
    static BitmapImageRep reversedGray(BitmapImageRep rep);

    const image::Bitmap& pixels() const { return pixels_; }
    image::Bitmap& pixels() { return pixels_; }
    const std::string& colorSpaceName() const { return colorSpaceName_; }

    std::int32_t pixelsWide() const { return pixels_.width(); }
    std::int32_t pixelsHigh() const { return pixels_.height(); }
    /// 0 without pixels.
    int bitsPerPixel() const { return pixels_.isNull() ? 0 : pixels_.format().bitsPerPixel(); }
    int samplesPerPixel() const { return pixels_.format().samplesPerPixel(); }
    std::size_t bytesPerRow() const { return pixels_.rowBytes(); }
    bool hasAlpha() const { return pixels_.format().hasAlpha; }
    std::uint8_t* bitmapData() { return pixels_.plane(0); }
    const std::uint8_t* bitmapData() const { return pixels_.plane(0); }

    /// In points.
    SizeF size() const { return size_; }
    void setSize(SizeF size) { size_ = size; }

    /// The picture for the screen, copied, in RGB with premultiplied alpha
    /// or gray; inks are turned into light without a profile (each ink takes
    /// its share of the light the black leaves). Null without pixels or for
    /// an unlisted space.
    QImage toQImage() const;

    /// The pixels in the toolkit's own encoding, copied: gray with black at
    /// 0 (a black-space gray reversed), RGB and CMYK as they are. Nothing
    /// for an unlisted space or a failed copy.
    std::optional<image::Bitmap> toBitmap() const;

  private:
    image::Bitmap pixels_;
    std::string colorSpaceName_;
    SizeF size_;
};

/// Whether a name is one of the two white or the two black gray names.
bool isWhiteSpaceName(std::string_view name);
bool isBlackSpaceName(std::string_view name);

} // namespace slidebox::draw
