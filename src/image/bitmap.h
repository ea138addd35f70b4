#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

#include "image/image_result.h"
#include "image/pixel_format.h"
#include "image/zol_rect.h"

namespace slidebox::image {

/// A block of pixels: width, height, format, the bytes from one row to the
/// next (the same in every plane), and one plane for packed data or one per
/// sample for planar data. A bitmap either owns its pixels (allocate, clone)
/// or wraps memory that stays its caller's (wrap, view), and ownsPixels()
/// says which; a wrapping bitmap must not outlive that memory.
///
/// Move-only, so that a large image is never copied by accident; clone()
/// copies on purpose. Sizes are checked before anything is allocated: a row
/// of more than kMaxRowBytes bytes (the largest signed 32-bit row length)
/// or a plane that doesn't fit in memory's address range is refused.
class Bitmap {
  public:
    /// The longest row, in bytes, so that a row length always fits a signed 32-bit field.
    static constexpr std::size_t kMaxRowBytes = 0x7FFFFFFF;

    /// An empty bitmap: no pixels, 0 × 0.
    Bitmap() = default;
    Bitmap(Bitmap&& other) noexcept;
    Bitmap& operator=(Bitmap&& other) noexcept;
    Bitmap(const Bitmap&) = delete;
    Bitmap& operator=(const Bitmap&) = delete;
    ~Bitmap() = default;

    /// A bitmap that owns zero-filled pixels. rowBytes 0 takes the smallest
    /// row (minRowBytes); a larger one pads every row. Refuses (BadArgument)
    /// an invalid format, a size below 1 × 1 or rows shorter than the
    /// pixels; (TooLarge) sizes beyond the limits; (OutOfMemory) a failed
    /// allocation.
    static ImageResult<Bitmap> allocate(std::int32_t width, std::int32_t height, PixelFormat format,
                                        std::size_t rowBytes = 0);

    /// A bitmap over the caller's memory, one pointer per plane (planeCount()
    /// of them). The memory stays the caller's and must hold height rows of
    /// rowBytes in every plane, the last row at least minRowBytes. 16-bit
    /// planes must start at an even address with an even rowBytes. Refuses
    /// what allocate refuses, and null or misaligned planes.
    static ImageResult<Bitmap> wrap(std::int32_t width, std::int32_t height, PixelFormat format,
                                    std::size_t rowBytes, std::span<std::uint8_t* const> planes);
    /// The same for one packed plane.
    static ImageResult<Bitmap> wrap(std::int32_t width, std::int32_t height, PixelFormat format,
                                    std::size_t rowBytes, std::uint8_t* pixels);

    /// A bitmap that owns a copy of the pixels, with the smallest rows.
    ImageResult<Bitmap> clone() const;

    /// A bitmap over the rectangle of this one's pixels (half-open), not
    /// owning them: it writes into this bitmap and must not outlive it.
    /// BadArgument for an empty rectangle or one that reaches outside.
    ImageResult<Bitmap> view(const ZOL_Rect& rect);

    bool isNull() const { return planes_[0] == nullptr; }
    std::int32_t width() const { return width_; }
    std::int32_t height() const { return height_; }
    ZOL_Size size() const { return {width_, height_}; }
    /// The whole bitmap as a rectangle at 0, 0.
    ZOL_Rect bounds() const { return makeRect(0, 0, width_, height_); }
    const PixelFormat& format() const { return format_; }
    /// Bytes from one row to the next, in every plane.
    std::size_t rowBytes() const { return rowBytes_; }
    /// Bytes the pixels of one row take in one plane.
    std::size_t minRowBytes() const;
    int planeCount() const { return isNull() ? 0 : format_.planeCount(); }
    /// True when the pixels are this object's own allocation.
    bool ownsPixels() const { return storage_ != nullptr; }

    /// The first byte of a plane; null for an index out of range.
    std::uint8_t* plane(int index);
    const std::uint8_t* plane(int index) const;

    /// The first byte of row y of a plane. y and the plane must be in range.
    std::uint8_t* row(std::int32_t y, int planeIndex = 0) {
        return planes_[static_cast<std::size_t>(planeIndex)] +
               static_cast<std::size_t>(y) * rowBytes_;
    }
    const std::uint8_t* row(std::int32_t y, int planeIndex = 0) const {
        return planes_[static_cast<std::size_t>(planeIndex)] +
               static_cast<std::size_t>(y) * rowBytes_;
    }
    /// Row y as 16-bit samples; only for a 16-bit format.
    std::uint16_t* row16(std::int32_t y, int planeIndex = 0) {
        return reinterpret_cast<std::uint16_t*>(row(y, planeIndex));
    }
    const std::uint16_t* row16(std::int32_t y, int planeIndex = 0) const {
        return reinterpret_cast<const std::uint16_t*>(row(y, planeIndex));
    }

    /// Whether both have the same size, format and pixel bytes (the padding
    /// behind a row's pixels is not compared).
    bool samePixels(const Bitmap& other) const;

  private:
    struct FreeDeleter {
        void operator()(std::uint8_t* p) const { std::free(p); }
    };

    std::int32_t width_ = 0;
    std::int32_t height_ = 0;
    PixelFormat format_;
    std::size_t rowBytes_ = 0;
    std::array<std::uint8_t*, PixelFormat::kMaxSamples> planes_{};
    std::unique_ptr<std::uint8_t, FreeDeleter> storage_;
};

} // namespace slidebox::image
