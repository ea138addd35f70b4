#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace slidebox::image {

/// The colour space of a bitmap's samples.
///
/// Sample encodings in memory, whatever the file held:
/// - Gray: 0 is black (a file that stores white as 0 is reversed on reading).
/// - RGB, CMYK: 0 is no light, no ink.
/// - Lab: unsigned, in the colour engine's field encoding: L from 0 to the
///   largest value stands for 0..100; a and b have their zero in the middle
///   of the range (128 at 8 bits, 32768 at 16 bits), so 16-bit samples are
///   exactly the Lab fields of a CMColor.
/// - XYZ: unsigned fields as the colour toolkit defines them; no file format
///   here reads or writes XYZ.
enum class ColorSpace : std::uint8_t { Gray, RGB, CMYK, Lab, XYZ };

/// The colour channels of a space, alpha not counted: 1, 3, 4, 3, 3.
constexpr int channelCount(ColorSpace space) {
    switch (space) {
    case ColorSpace::Gray:
        return 1;
    case ColorSpace::CMYK:
        return 4;
    case ColorSpace::RGB:
    case ColorSpace::Lab:
    case ColorSpace::XYZ:
        return 3;
    }
    return 0;
}

/// The ICC signature of a space, first letter in the top byte: 'GRAY',
/// 'RGB ', 'CMYK', 'Lab ', 'XYZ '.
std::uint32_t colorSpaceSignature(ColorSpace space);

/// "gray", "RGB", "CMYK", "Lab", "XYZ".
std::string_view colorSpaceName(ColorSpace space);

/// The layout of a bitmap's pixels: which samples a pixel has, how wide
/// each is and whether they lie together (packed: all samples of a pixel
/// side by side, alpha last) or in one plane per sample (planar: the colour
/// planes in channel order, then the alpha plane). A plain value, trivially
/// copyable. 16-bit samples are in the machine's byte order.
struct PixelFormat {
    /// The most samples a pixel can have: four inks and an alpha.
    static constexpr int kMaxSamples = 5;

    ColorSpace space = ColorSpace::Gray;
    std::uint8_t bytesPerSample = 1; ///< 1 or 2
    bool hasAlpha = false;           ///< one alpha sample after the colour channels
    bool alphaPremultiplied = false; ///< colour already multiplied by alpha; only with hasAlpha
    bool isPlanar = false;           ///< one plane per sample

    /// A format from its parts.
    static constexpr PixelFormat make(ColorSpace space, int bitsPerSample, bool hasAlpha = false,
                                      bool isPlanar = false) {
        PixelFormat format;
        format.space = space;
        format.bytesPerSample = static_cast<std::uint8_t>(bitsPerSample / 8);
        format.hasAlpha = hasAlpha;
        format.isPlanar = isPlanar;
        return format;
    }

    constexpr int colorChannels() const { return channelCount(space); }
    constexpr int samplesPerPixel() const { return colorChannels() + (hasAlpha ? 1 : 0); }
    constexpr int bitsPerSample() const { return bytesPerSample * 8; }
    /// Bits of all samples of one pixel (packed or not).
    constexpr int bitsPerPixel() const { return samplesPerPixel() * bitsPerSample(); }
    /// 1 packed, samplesPerPixel() planar.
    constexpr int planeCount() const { return isPlanar ? samplesPerPixel() : 1; }
    /// The samples of one pixel within one plane: all of them packed, 1 planar.
    constexpr int samplesPerPlanePixel() const { return isPlanar ? 1 : samplesPerPixel(); }
    /// Bytes of one pixel within one plane.
    constexpr int bytesPerPlanePixel() const { return samplesPerPlanePixel() * bytesPerSample; }

    /// Whether the fields describe a layout: 1 or 2 bytes a sample, and a
    /// premultiplied flag only with alpha.
    constexpr bool isValid() const {
        return (bytesPerSample == 1 || bytesPerSample == 2) && (hasAlpha || !alphaPremultiplied) &&
               colorChannels() > 0;
    }

    friend constexpr bool operator==(const PixelFormat&, const PixelFormat&) = default;
};

static_assert(std::is_trivially_copyable_v<PixelFormat>);

/// For messages: "RGB 16-bit planar with alpha".
std::string describe(const PixelFormat& format);

} // namespace slidebox::image
