#include "image/bitmap.h"

#include <cstring>
#include <optional>
#include <string>

#include "image/checked_size.h"

namespace slidebox::image {

namespace {

ImageStatus badArgument(std::string message) {
    return ImageStatus::failure(ImageErrorCode::BadArgument, std::move(message));
}

/// The bytes one plane's pixels take in a row, or the failure.
ImageResult<std::size_t> pixelRowBytes(std::int32_t width, std::int32_t height,
                                       const PixelFormat& format) {
    if (!format.isValid())
        return badArgument("invalid pixel format");
    if (width < 1 || height < 1)
        return badArgument("image of " + std::to_string(width) + " x " + std::to_string(height) +
                           " pixels");
    auto bytes = checkedMultiply(static_cast<std::size_t>(width),
                                 static_cast<std::size_t>(format.bytesPerPlanePixel()));
    if (!bytes || *bytes > Bitmap::kMaxRowBytes)
        return ImageStatus::failure(ImageErrorCode::TooLarge,
                                    "rows of " + std::to_string(width) + " pixels are too long");
    return *bytes;
}

/// Bytes one plane spans: rowBytes for every row but the last, which needs
/// only its pixels.
std::optional<std::size_t> planeSpan(std::int32_t height, std::size_t rowBytes,
                                     std::size_t minRow) {
    auto rows = checkedMultiply(static_cast<std::size_t>(height - 1), rowBytes);
    return rows ? checkedAdd(*rows, minRow) : std::nullopt;
}

} // namespace

Bitmap::Bitmap(Bitmap&& other) noexcept
    : width_(other.width_), height_(other.height_), format_(other.format_),
      rowBytes_(other.rowBytes_), planes_(other.planes_), storage_(std::move(other.storage_)) {
    other.width_ = other.height_ = 0;
    other.rowBytes_ = 0;
    other.planes_ = {};
}

Bitmap& Bitmap::operator=(Bitmap&& other) noexcept {
    if (this != &other) {
        width_ = other.width_;
        height_ = other.height_;
        format_ = other.format_;
        rowBytes_ = other.rowBytes_;
        planes_ = other.planes_;
        storage_ = std::move(other.storage_);
        other.width_ = other.height_ = 0;
        other.rowBytes_ = 0;
        other.planes_ = {};
    }
    return *this;
}

ImageResult<Bitmap> Bitmap::allocate(std::int32_t width, std::int32_t height, PixelFormat format,
                                     std::size_t rowBytes) {
    auto minRow = pixelRowBytes(width, height, format);
    if (!minRow)
        return minRow.status();
    if (rowBytes == 0)
        rowBytes = *minRow;
    if (rowBytes < *minRow)
        return badArgument("rows of " + std::to_string(rowBytes) + " bytes are shorter than " +
                           std::to_string(*minRow) + " bytes of pixels");
    if (rowBytes > kMaxRowBytes)
        return ImageStatus::failure(ImageErrorCode::TooLarge, "rows are too long");
    // Every plane gets whole rows, so that planes after the first stay
    // aligned as the first is.
    auto planeBytes = checkedMultiply(static_cast<std::size_t>(height), rowBytes);
    auto total = planeBytes ? checkedMultiply(*planeBytes, format.planeCount()) : std::nullopt;
    if (!total || *total > static_cast<std::size_t>(PTRDIFF_MAX))
        return ImageStatus::failure(ImageErrorCode::TooLarge, "image of " + std::to_string(width) +
                                                                  " x " + std::to_string(height) +
                                                                  " pixels is too large");
    // calloc rather than a vector: no exception on failure, and large
    // blocks come as untouched zero pages.
    auto* memory = static_cast<std::uint8_t*>(std::calloc(*total, 1));
    if (!memory)
        return ImageStatus::failure(ImageErrorCode::OutOfMemory,
                                    "no memory for " + std::to_string(*total) + " bytes of pixels");
    Bitmap bitmap;
    bitmap.storage_.reset(memory);
    bitmap.width_ = width;
    bitmap.height_ = height;
    bitmap.format_ = format;
    bitmap.rowBytes_ = rowBytes;
    for (int p = 0; p < format.planeCount(); ++p)
        bitmap.planes_[static_cast<std::size_t>(p)] =
            memory + static_cast<std::size_t>(p) * *planeBytes;
    return bitmap;
}

ImageResult<Bitmap> Bitmap::wrap(std::int32_t width, std::int32_t height, PixelFormat format,
                                 std::size_t rowBytes, std::span<std::uint8_t* const> planes) {
    auto minRow = pixelRowBytes(width, height, format);
    if (!minRow)
        return minRow.status();
    if (planes.size() != static_cast<std::size_t>(format.planeCount()))
        return badArgument(std::to_string(planes.size()) + " planes given for a format of " +
                           std::to_string(format.planeCount()));
    if (rowBytes < *minRow)
        return badArgument("rows of " + std::to_string(rowBytes) + " bytes are shorter than " +
                           std::to_string(*minRow) + " bytes of pixels");
    if (rowBytes > kMaxRowBytes)
        return ImageStatus::failure(ImageErrorCode::TooLarge, "rows are too long");
    auto span = planeSpan(height, rowBytes, *minRow);
    if (!span || *span > static_cast<std::size_t>(PTRDIFF_MAX))
        return ImageStatus::failure(ImageErrorCode::TooLarge, "image is too large");
    const bool wide = format.bytesPerSample == 2;
    if (wide && rowBytes % 2 != 0)
        return badArgument("16-bit rows need an even number of bytes");
    Bitmap bitmap;
    for (std::size_t p = 0; p < planes.size(); ++p) {
        if (!planes[p])
            return badArgument("plane " + std::to_string(p) + " is missing");
        if (wide && reinterpret_cast<std::uintptr_t>(planes[p]) % alignof(std::uint16_t) != 0)
            return badArgument("16-bit plane " + std::to_string(p) + " is not aligned");
        bitmap.planes_[p] = planes[p];
    }
    bitmap.width_ = width;
    bitmap.height_ = height;
    bitmap.format_ = format;
    bitmap.rowBytes_ = rowBytes;
    return bitmap;
}

ImageResult<Bitmap> Bitmap::wrap(std::int32_t width, std::int32_t height, PixelFormat format,
                                 std::size_t rowBytes, std::uint8_t* pixels) {
    std::uint8_t* const planes[] = {pixels};
    return wrap(width, height, format, rowBytes, planes);
}

ImageResult<Bitmap> Bitmap::clone() const {
    if (isNull())
        return badArgument("no pixels to copy");
    auto copy = allocate(width_, height_, format_);
    if (!copy)
        return copy;
    const std::size_t bytes = minRowBytes();
    for (int p = 0; p < planeCount(); ++p)
        for (std::int32_t y = 0; y < height_; ++y)
            std::memcpy(copy->row(y, p), row(y, p), bytes);
    return copy;
}

ImageResult<Bitmap> Bitmap::view(const ZOL_Rect& rect) {
    if (isNull() || rect.isEmpty() || !bounds().contains(rect))
        return badArgument("rectangle outside the bitmap");
    std::array<std::uint8_t*, PixelFormat::kMaxSamples> planes{};
    const std::size_t offset =
        static_cast<std::size_t>(rect.origin.y) * rowBytes_ +
        static_cast<std::size_t>(rect.origin.x) * format_.bytesPerPlanePixel();
    for (int p = 0; p < planeCount(); ++p)
        planes[static_cast<std::size_t>(p)] = planes_[static_cast<std::size_t>(p)] + offset;
    return wrap(rect.size.width, rect.size.height, format_, rowBytes_,
                std::span(planes.data(), static_cast<std::size_t>(planeCount())));
}

std::size_t Bitmap::minRowBytes() const {
    return static_cast<std::size_t>(width_) *
           static_cast<std::size_t>(format_.bytesPerPlanePixel());
}

std::uint8_t* Bitmap::plane(int index) {
    return index >= 0 && index < planeCount() ? planes_[static_cast<std::size_t>(index)] : nullptr;
}

const std::uint8_t* Bitmap::plane(int index) const {
    return index >= 0 && index < planeCount() ? planes_[static_cast<std::size_t>(index)] : nullptr;
}

bool Bitmap::samePixels(const Bitmap& other) const {
    if (width_ != other.width_ || height_ != other.height_ || !(format_ == other.format_))
        return false;
    const std::size_t bytes = minRowBytes();
    for (int p = 0; p < planeCount(); ++p)
        for (std::int32_t y = 0; y < height_; ++y)
            if (std::memcmp(row(y, p), other.row(y, p), bytes) != 0)
                return false;
    return true;
}

} // namespace slidebox::image
