#include "image/tiff_reader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "image/tiff_reader_impl.h"
#include "platform/file_system.h"

namespace slidebox::image {

namespace {

using PlanePointers = std::array<std::uint8_t*, PixelFormat::kMaxSamples>;

} // namespace

TiffReader::TiffReader(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
TiffReader::TiffReader(TiffReader&&) noexcept = default;
TiffReader& TiffReader::operator=(TiffReader&&) noexcept = default;
TiffReader::~TiffReader() = default;

ImageResult<TiffReader> TiffReader::open(const std::filesystem::path& path,
                                         const TiffReadOptions& options) {
    auto opened = platform::openRegularFile(path);
    if (!opened)
        return opened.status();
    const int fd = *opened;
    struct stat st {};
    ::fstat(fd, &st);
    auto impl = std::make_unique<Impl>();
    impl->options = options;
    auto tiffOptions = tiff::makeOptions(&impl->messages, options.maxImageBytes);
    // libtiff reads the file ("m": never maps it, so that a file cut short
    // by another program while it is read is a read error, not a fault) and
    // closes the descriptor with the handle. No name: libtiff puts it before
    // its messages, and the caller, who knows the path, puts it before ours.
    impl->tif.reset(TIFFFdOpenExt(fd, "", "rm", tiffOptions.get()));
    if (!impl->tif)
        ::close(fd);
    return finishOpening(std::move(impl), static_cast<std::uint64_t>(st.st_size));
}

ImageResult<TiffReader> TiffReader::openMemory(std::span<const std::uint8_t> bytes,
                                               const TiffReadOptions& options) {
    auto impl = std::make_unique<Impl>();
    impl->options = options;
    impl->memory = tiff::MemorySource{bytes.data(), bytes.size(), 0};
    auto tiffOptions = tiff::makeOptions(&impl->messages, options.maxImageBytes);
    if (!bytes.empty())
        impl->tif.reset(tiff::openMemory(&impl->memory, tiffOptions.get()));
    return finishOpening(std::move(impl), bytes.size());
}

ImageResult<TiffReader> TiffReader::finishOpening(std::unique_ptr<Impl> impl,
                                                  std::uint64_t fileSize) {
    if (!impl->tif)
        return impl->fail(ImageErrorCode::CannotOpen, "not a readable TIFF");
    if (auto status = impl->describe(fileSize); !status)
        return status;
    return TiffReader(std::move(impl));
}

std::int32_t TiffReader::width() const {
    return impl_->width;
}
std::int32_t TiffReader::height() const {
    return impl_->height;
}
const PixelFormat& TiffReader::format() const {
    return impl_->format;
}
std::int32_t TiffReader::rowsPerBand() const {
    return impl_->rowsPerBand;
}
bool TiffReader::isTiled() const {
    return impl_->tiled;
}
std::uint16_t TiffReader::compression() const {
    return impl_->compression;
}

bool TiffReader::isMinIsWhite() const {
    return impl_->minIsWhite;
}

bool TiffReader::isLabSigned() const {
    return impl_->labSigned;
}

std::string TiffReader::iccProfile() const {
    std::uint32_t length = 0;
    void* data = nullptr;
    if (!TIFFGetField(impl_->tif.get(), TIFFTAG_ICCPROFILE, &length, &data) || !data)
        return {};
    return std::string(static_cast<const char*>(data), length);
}

std::int32_t TiffReader::Impl::rowsInBand(std::uint32_t index) const {
    const std::int64_t first = std::int64_t{index} * rowsPerBand;
    return static_cast<std::int32_t>(std::min<std::int64_t>(rowsPerBand, height - first));
}

ImageStatus TiffReader::Impl::decodeBand(std::uint32_t index, std::uint8_t* const* planes,
                                         std::size_t rowBytes) {
    TIFF* t = tif.get();
    const std::int32_t rows = rowsInBand(index);
    const int planeCount = format.planeCount();
    if (!tiled) {
        const auto size = static_cast<tmsize_t>(scanline * static_cast<std::size_t>(rows));
        for (int p = 0; p < planeCount; ++p) {
            const std::uint32_t strip = static_cast<std::uint32_t>(p) * stripsPerPlane + index;
            const tmsize_t got = TIFFReadEncodedStrip(t, strip, planes[p], size);
            if (got != size)
                return fail(ImageErrorCode::Truncated,
                            got < 0 ? "strip " + std::to_string(strip) + " can't be read"
                                    : "strip " + std::to_string(strip) + " holds " +
                                          std::to_string(got) + " of " + std::to_string(size) +
                                          " bytes");
        }
    } else {
        if (!tileBuffer) {
            tileBuffer.reset(static_cast<std::uint8_t*>(std::malloc(tileBytes)));
            if (!tileBuffer)
                return fail(ImageErrorCode::OutOfMemory, "no memory for a tile");
        }
        const auto pixelBytes = static_cast<std::size_t>(format.bytesPerPlanePixel());
        const std::size_t tileRowBytes = std::size_t{tileWidth} * pixelBytes;
        const std::uint32_t y = index * tileLength;
        for (int p = 0; p < planeCount; ++p) {
            for (std::uint32_t across = 0; across < tilesAcross; ++across) {
                const std::uint32_t x = across * tileWidth;
                const std::uint32_t tile =
                    TIFFComputeTile(t, x, y, 0, static_cast<std::uint16_t>(p));
                const tmsize_t got = TIFFReadEncodedTile(t, tile, tileBuffer.get(),
                                                         static_cast<tmsize_t>(tileBytes));
                if (got != static_cast<tmsize_t>(tileBytes))
                    return fail(ImageErrorCode::Truncated,
                                "tile " + std::to_string(tile) + " can't be read");
                const std::size_t columns =
                    std::min<std::size_t>(tileWidth, static_cast<std::size_t>(width) - x);
                for (std::int32_t r = 0; r < rows; ++r)
                    std::memcpy(planes[p] + static_cast<std::size_t>(r) * rowBytes + x * pixelBytes,
                                tileBuffer.get() + static_cast<std::size_t>(r) * tileRowBytes,
                                columns * pixelBytes);
            }
        }
    }
    tiff::applySampleMasks(format, masks, std::span(planes, static_cast<std::size_t>(planeCount)),
                           rowBytes, width, rows);
    return {};
}

ImageStatus TiffReader::Impl::cacheBand(std::uint32_t index) {
    if (cachedBand == index)
        return {};
    if (band.isNull()) {
        auto made = Bitmap::allocate(width, rowsPerBand, format);
        if (!made)
            return made.status();
        band = std::move(made).value();
    }
    PlanePointers planes{};
    for (int p = 0; p < format.planeCount(); ++p)
        planes[static_cast<std::size_t>(p)] = band.plane(p);
    cachedBand = -1;
    auto status = decodeBand(index, planes.data(), band.rowBytes());
    if (status)
        cachedBand = index;
    return status;
}

ImageStatus TiffReader::Impl::checkRows(std::int32_t firstRow, const Bitmap& destination) const {
    const Impl& d = *this;
    if (destination.isNull() || !(destination.format() == d.format) ||
        destination.width() != d.width)
        return ImageStatus::failure(ImageErrorCode::BadArgument,
                                    "the rows must be " + std::to_string(d.width) +
                                        " pixels wide, " + image::describe(d.format));
    if (firstRow < 0 || std::int64_t{firstRow} + destination.height() > d.height)
        return ImageStatus::failure(ImageErrorCode::BadArgument,
                                    "rows outside the image's " + std::to_string(d.height));
    return {};
}

namespace {

// bytes from offset of fd into out, whatever interrupts the reading.
ImageStatus readAt(int fd, std::uint8_t* out, std::size_t bytes, std::uint64_t offset,
                   std::uint32_t strip) {
    while (bytes > 0) {
        const ssize_t got = ::pread(fd, out, bytes, static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return ImageStatus::failure(ImageErrorCode::Truncated,
                                        "strip " + std::to_string(strip) +
                                            " can't be read: " + std::strerror(errno));
        if (got == 0)
            return ImageStatus::failure(ImageErrorCode::Truncated,
                                        "strip " + std::to_string(strip) +
                                            " ends past the end of the file");
        out += got;
        bytes -= static_cast<std::size_t>(got);
        offset += static_cast<std::uint64_t>(got);
    }
    return {};
}

} // namespace

bool TiffReader::readsRowsAtOnce() const {
    return !impl_->stripOffsets.empty();
}

ImageStatus TiffReader::readRowsAt(std::int32_t firstRow, Bitmap& destination) const {
    const Impl& d = *impl_;
    if (auto status = d.checkRows(firstRow, destination); !status)
        return status;
    if (d.stripOffsets.empty())
        return ImageStatus::failure(ImageErrorCode::BadArgument,
                                    "this file's rows can't be read straight from it");
    const int fd = TIFFFileno(d.tif.get());
    const bool packed = destination.rowBytes() == d.scanline;
    const std::int32_t end = firstRow + destination.height();
    for (std::int32_t y = firstRow; y < end;) {
        const auto strip = static_cast<std::uint32_t>(y / d.rowsPerBand);
        const std::int32_t stripStart = static_cast<std::int32_t>(strip) * d.rowsPerBand;
        const std::int32_t stop = std::min(end, stripStart + d.rowsInBand(strip));
        const std::uint64_t at =
            d.stripOffsets[strip] + static_cast<std::uint64_t>(y - stripStart) * d.scanline;
        for (std::int32_t r = y; r < stop; r = packed ? stop : r + 1) {
            const std::size_t rows = packed ? static_cast<std::size_t>(stop - r) : 1;
            if (auto status = readAt(fd, destination.row(r - firstRow), rows * d.scanline,
                                     at + static_cast<std::uint64_t>(r - y) * d.scanline, strip);
                !status)
                return d.fail(status.code(), status.message());
        }
        y = stop;
    }
    std::uint8_t* plane = destination.row(0);
    tiff::applySampleMasks(d.format, d.masks, std::span(&plane, 1), destination.rowBytes(), d.width,
                           destination.height());
    return {};
}

ImageStatus TiffReader::readRows(std::int32_t firstRow, Bitmap& destination) {
    Impl& d = *impl_;
    if (auto status = d.checkRows(firstRow, destination); !status)
        return status;
    const int planeCount = d.format.planeCount();
    const bool direct = !d.tiled && destination.rowBytes() == d.scanline;
    const std::int32_t end = firstRow + destination.height();
    std::int32_t y = firstRow;
    while (y < end) {
        const auto index = static_cast<std::uint32_t>(y / d.rowsPerBand);
        const std::int32_t bandStart = static_cast<std::int32_t>(index) * d.rowsPerBand;
        const std::int32_t bandEnd = bandStart + d.rowsInBand(index);
        PlanePointers target{};
        for (int p = 0; p < planeCount; ++p)
            target[static_cast<std::size_t>(p)] = destination.row(y - firstRow, p);
        if (direct && y == bandStart && bandEnd <= end && d.cachedBand != index) {
            if (auto status = d.decodeBand(index, target.data(), d.scanline); !status)
                return status;
            y = bandEnd;
            continue;
        }
        if (auto status = d.cacheBand(index); !status)
            return status;
        const std::int32_t stop = std::min(end, bandEnd);
        for (int p = 0; p < planeCount; ++p)
            for (std::int32_t r = y; r < stop; ++r)
                std::memcpy(destination.row(r - firstRow, p), d.band.row(r - bandStart, p),
                            d.scanline);
        y = stop;
    }
    return {};
}

ImageStatus TiffReader::forEachBand(const BandSink& sink) {
    Impl& d = *impl_;
    for (std::uint32_t index = 0; index < d.bandCount; ++index) {
        if (auto status = d.cacheBand(index); !status)
            return status;
        PlanePointers planes{};
        for (int p = 0; p < d.format.planeCount(); ++p)
            planes[static_cast<std::size_t>(p)] = d.band.plane(p);
        auto rows =
            Bitmap::wrap(d.width, d.rowsInBand(index), d.format, d.band.rowBytes(),
                         std::span(planes.data(), static_cast<std::size_t>(d.format.planeCount())));
        if (!rows)
            return rows.status();
        if (!sink(*rows, static_cast<std::int32_t>(index) * d.rowsPerBand))
            return ImageStatus::failure(ImageErrorCode::Cancelled, "reading stopped");
    }
    return {};
}

ImageResult<Bitmap> TiffReader::readBitmap() {
    auto bitmap = Bitmap::allocate(impl_->width, impl_->height, impl_->format);
    if (!bitmap)
        return bitmap;
    if (auto status = readRows(0, *bitmap); !status)
        return status;
    return bitmap;
}

ImageResult<Bitmap> readTiff(const std::filesystem::path& path, const TiffReadOptions& options) {
    auto reader = TiffReader::open(path, options);
    if (!reader)
        return reader.status();
    return reader->readBitmap();
}

} // namespace slidebox::image
