#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "image/bitmap.h"

namespace slidebox::color {

/// A read-only look at 16-bit packed Lab pixels (6 bytes a pixel): the
/// image layer's bitmap as the comparison reads it. The fields are those of
/// CMLabColor, or with abSigned a and b less 32768 as a CIELab file keeps
/// them. The pixels stay their owner's.
struct LabView {
    const std::uint8_t* pixels = nullptr; ///< first pixel; null for no bitmap
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::size_t rowBytes = 0;
    bool abSigned = false;

    /// Row y; y must be below height.
    const std::uint8_t* row(std::uint32_t y) const { return pixels + std::size_t{y} * rowBytes; }
    /// The view from row y on, count rows.
    LabView rows(std::uint32_t y, std::uint32_t count) const {
        return {row(y), width, count, rowBytes, abSigned};
    }
    /// A view of a 16-bit Lab bitmap; an empty view for any other bitmap.
    static LabView of(const image::Bitmap& bitmap, bool abSigned = false) {
        const image::PixelFormat& f = bitmap.format();
        if (bitmap.isNull() || f.space != image::ColorSpace::Lab || f.bytesPerSample != 2 ||
            f.hasAlpha || f.isPlanar)
            return {};
        return {bitmap.plane(0), static_cast<std::uint32_t>(bitmap.width()),
                static_cast<std::uint32_t>(bitmap.height()), bitmap.rowBytes(), abSigned};
    }
};

/// A read-only look at an 8-bit mask, one byte a pixel: 0 compared, any
/// other byte left out.
struct MaskView {
    const std::uint8_t* bytes = nullptr;
    std::size_t rowBytes = 0;

    const std::uint8_t* row(std::uint32_t y) const { return bytes + std::size_t{y} * rowBytes; }
    MaskView rows(std::uint32_t y) const { return {row(y), rowBytes}; }
};

/// "W×H", for the reasons that name sizes.
inline std::string sizeText(std::int64_t width, std::int64_t height) {
    return std::to_string(width) + "×" + std::to_string(height);
}

} // namespace slidebox::color
