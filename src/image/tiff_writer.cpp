#include "image/tiff_writer.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <optional>
#include <vector>

#include <unistd.h>

#include "image/checked_size.h"
#include "image/tiff_support.h"
#include "platform/atomic_file.h"

namespace slidebox::image {

namespace {

constexpr std::size_t kStripBytes = std::size_t{1} << 20;
// A file that replaces another: its finished part goes to the disk in
// pieces of at least this many bytes while the rest is written.
constexpr std::uint64_t kWriteBackBytes = std::uint64_t{16} << 20;
// Classic TIFF addresses 4 GB; leave room for the tags and strip tables.
constexpr std::uint64_t kClassicLimit = (std::uint64_t{1} << 32) - (std::uint64_t{1} << 26);

ImageStatus badArgument(std::string message) {
    return ImageStatus::failure(ImageErrorCode::BadArgument, std::move(message));
}

std::uint16_t photometricOf(ColorSpace space) {
    switch (space) {
    case ColorSpace::Gray:
        return PHOTOMETRIC_MINISBLACK;
    case ColorSpace::RGB:
        return PHOTOMETRIC_RGB;
    case ColorSpace::CMYK:
        return PHOTOMETRIC_SEPARATED;
    case ColorSpace::Lab:
        return PHOTOMETRIC_CIELAB;
    case ColorSpace::XYZ:
        break;
    }
    return 0;
}

std::uint16_t compressionOf(TiffCompression compression) {
    switch (compression) {
    case TiffCompression::LZW:
        return COMPRESSION_LZW;
    case TiffCompression::Deflate:
        return COMPRESSION_ADOBE_DEFLATE;
    case TiffCompression::None:
        break;
    }
    return COMPRESSION_NONE;
}

} // namespace

struct TiffWriter::Impl {
    tiff::Messages messages;
    std::optional<platform::AtomicFile> file;
    tiff::DescriptorSink sink; // the handle's client data points here
    tiff::TiffPtr tif;         // declared after file: closed before the file is discarded
    std::int32_t width = 0;
    std::int32_t height = 0;
    PixelFormat format;
    TiffWriteOptions options;
    std::size_t scanline = 0;
    std::int32_t rowsPerStrip = 0;
    std::uint32_t stripsPerPlane = 0;
    Bitmap strip;
    std::int32_t pending = 0;
    std::uint32_t nextStrip = 0;
    std::int32_t written = 0;
    ImageStatus failed; // the first failure; every later call repeats it
    // Rows in any order: where each strip lies, which rows are in, and the
    // first failure of a positioned write, kept until finish().
    std::vector<std::uint64_t> stripOffsets;
    std::unique_ptr<std::atomic<bool>[]> rowIn;
    std::atomic<std::int32_t> rowsIn{0};
    std::mutex positionedLock;
    ImageStatus positionedFailure;
    // The file's bytes before writtenBack have been handed to the disk;
    // rows in any order: the rows before settledRows are all in.
    std::uint64_t writtenBack = 0;
    std::mutex settling;
    std::int32_t settledRows = 0;

    ImageStatus fail(ImageErrorCode code, const std::string& what) {
        return fail(tiff::failure(code, what, messages));
    }
    ImageStatus fail(ImageStatus status) {
        failed = std::move(status);
        tif.reset();
        if (file)
            file->discard();
        return failed;
    }

    ImageStatus setTags();
    ImageStatus flushStrip();
    ImageStatus reserveStrips();
    ImageStatus writeAt(std::uint64_t offset, const std::uint8_t* bytes, std::size_t size);
    void settleBefore(std::uint64_t end);
    void settleStreamed(std::uint32_t strip);
    void settleRowsInAnyOrder();
};

ImageStatus TiffWriter::Impl::setTags() {
    TIFF* t = tif.get();
    const auto samples = static_cast<std::uint16_t>(format.samplesPerPixel());
    bool ok = TIFFSetField(t, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(width)) &&
              TIFFSetField(t, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(height)) &&
              TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, samples) &&
              TIFFSetField(t, TIFFTAG_BITSPERSAMPLE,
                           static_cast<std::uint16_t>(format.bitsPerSample())) &&
              TIFFSetField(t, TIFFTAG_PLANARCONFIG,
                           format.isPlanar ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG) &&
              TIFFSetField(t, TIFFTAG_PHOTOMETRIC, photometricOf(format.space)) &&
              TIFFSetField(t, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT) &&
              TIFFSetField(t, TIFFTAG_COMPRESSION, compressionOf(options.compression)) &&
              TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(rowsPerStrip)) &&
              TIFFSetField(t, TIFFTAG_XRESOLUTION, 72.0) &&
              TIFFSetField(t, TIFFTAG_YRESOLUTION, 72.0) &&
              TIFFSetField(t, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    if (ok && format.space == ColorSpace::CMYK)
        ok = TIFFSetField(t, TIFFTAG_INKSET, INKSET_CMYK);
    if (ok && format.hasAlpha) {
        const std::uint16_t kind =
            format.alphaPremultiplied ? EXTRASAMPLE_ASSOCALPHA : EXTRASAMPLE_UNASSALPHA;
        ok = TIFFSetField(t, TIFFTAG_EXTRASAMPLES, std::uint16_t{1}, &kind);
    }
    if (ok && !options.iccProfile.empty())
        ok = TIFFSetField(t, TIFFTAG_ICCPROFILE,
                          static_cast<std::uint32_t>(options.iccProfile.size()),
                          options.iccProfile.data());
    if (!ok)
        return fail(ImageErrorCode::CannotWrite, "the TIFF tags can't be set");
    return {};
}

ImageStatus TiffWriter::Impl::flushStrip() {
    if (pending == 0)
        return {};
    std::array<std::uint8_t*, PixelFormat::kMaxSamples> planes{};
    for (int p = 0; p < format.planeCount(); ++p)
        planes[static_cast<std::size_t>(p)] = strip.plane(p);
    const auto planeSpan = std::span(planes.data(), static_cast<std::size_t>(format.planeCount()));
    tiff::applySampleMasks(format, tiff::sampleMasks(format, false, true), planeSpan,
                           strip.rowBytes(), width, pending);
    const auto size = static_cast<tmsize_t>(scanline * static_cast<std::size_t>(pending));
    for (int p = 0; p < format.planeCount(); ++p) {
        const std::uint32_t index = static_cast<std::uint32_t>(p) * stripsPerPlane + nextStrip;
        if (TIFFWriteEncodedStrip(tif.get(), index, strip.plane(p), size) != size)
            return fail(ImageErrorCode::CannotWrite,
                        "strip " + std::to_string(index) + " can't be written");
    }
    settleStreamed(nextStrip);
    ++nextStrip;
    pending = 0;
    return {};
}

// Every strip is appended as libtiff would append its bytes, with nothing
// written: the file's end moves past it, and libtiff records its place.
// The file comes out as streamed rows make it, byte for byte.
ImageStatus TiffWriter::Impl::reserveStrips() {
    const int planes = format.planeCount();
    stripOffsets.resize(static_cast<std::size_t>(planes) * stripsPerPlane);
    sink.reserving = true;
    // Strip by strip, each plane's in turn, where streamed rows put them.
    for (std::uint32_t s = 0; s < stripsPerPlane; ++s) {
        for (int p = 0; p < planes; ++p) {
            const std::uint32_t index = static_cast<std::uint32_t>(p) * stripsPerPlane + s;
            const std::int64_t first = std::int64_t{s} * rowsPerStrip;
            const auto rows = std::min<std::int64_t>(rowsPerStrip, height - first);
            const auto size = static_cast<tmsize_t>(scanline * static_cast<std::size_t>(rows));
            // The bytes are not read while reserving.
            if (TIFFWriteRawStrip(tif.get(), index, strip.plane(0), size) != size) {
                sink.reserving = false;
                return fail(ImageErrorCode::CannotWrite,
                            "strip " + std::to_string(index) + " can't be laid out");
            }
            stripOffsets[index] = TIFFGetStrileOffset(tif.get(), index);
        }
    }
    sink.reserving = false;
    rowIn = std::make_unique<std::atomic<bool>[]>(static_cast<std::size_t>(height));
    return {};
}

// The file's bytes before end are final: once enough of them are not yet
// handed to the disk, the file starts writing them there (which it does
// only for a file that replaces another, see AtomicFile::startWriteBack).
// The last strips are left to the rename.
void TiffWriter::Impl::settleBefore(std::uint64_t end) {
    if (end >= writtenBack + kWriteBackBytes) {
        file->startWriteBack(writtenBack, end - writtenBack);
        writtenBack = end;
    }
}

// Streamed strips go to the end of the file one after the other: all the
// bytes up to the end of the strip just written (its last plane's) are final.
void TiffWriter::Impl::settleStreamed(std::uint32_t strip) {
    const std::uint32_t last =
        static_cast<std::uint32_t>(format.planeCount() - 1) * stripsPerPlane + strip;
    settleBefore(TIFFGetStrileOffset(tif.get(), last) + TIFFGetStrileByteCount(tif.get(), last));
}

// Rows in any order: the strips lie in the file strip by strip, each
// plane's in turn, so the bytes before the first strip that still misses
// rows are final. One thread at a time looks: another that finds it looking
// goes on, and its rows are seen at the next look.
void TiffWriter::Impl::settleRowsInAnyOrder() {
    const std::unique_lock held(settling, std::try_to_lock);
    if (!held)
        return;
    while (settledRows < height && rowIn[static_cast<std::size_t>(settledRows)].load())
        ++settledRows;
    const auto strip = static_cast<std::uint32_t>(settledRows / rowsPerStrip);
    if (strip < stripsPerPlane)
        settleBefore(stripOffsets[strip]);
}

ImageStatus TiffWriter::Impl::writeAt(std::uint64_t offset, const std::uint8_t* bytes,
                                      std::size_t size) {
    while (size > 0) {
        const ssize_t n = ::pwrite(sink.descriptor, bytes, size, static_cast<off_t>(offset));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            const std::string reason = n < 0 ? std::strerror(errno) : "nothing written";
            const std::lock_guard held(positionedLock);
            if (positionedFailure)
                positionedFailure =
                    ImageStatus::failure(ImageErrorCode::CannotWrite, "cannot write: " + reason);
            return positionedFailure;
        }
        bytes += n;
        size -= static_cast<std::size_t>(n);
        offset += static_cast<std::uint64_t>(n);
    }
    return {};
}

TiffWriter::TiffWriter(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
TiffWriter::TiffWriter(TiffWriter&&) noexcept = default;
TiffWriter& TiffWriter::operator=(TiffWriter&&) noexcept = default;
TiffWriter::~TiffWriter() = default;

ImageResult<TiffWriter> TiffWriter::create(const std::filesystem::path& path, std::int32_t width,
                                           std::int32_t height, PixelFormat format,
                                           const TiffWriteOptions& options) {
    if (!format.isValid() || format.space == ColorSpace::XYZ)
        return badArgument("a TIFF can't hold " + describe(format) + " pixels");
    if (format.hasAlpha && format.space != ColorSpace::Gray && format.space != ColorSpace::RGB)
        return badArgument("alpha is written on gray and RGB images only");
    if (options.rowsPerStrip < 0)
        return badArgument("strips of a negative number of rows");
    if (options.anyOrder && options.compression != TiffCompression::None)
        return badArgument("rows in any order go to uncompressed files only");
    auto impl = std::make_unique<Impl>();
    // The strip buffer checks the size (at least 1 × 1, rows that fit).
    auto probe = Bitmap::allocate(width, 1, format);
    if (!probe)
        return probe.status();
    impl->scanline = probe->minRowBytes();
    impl->rowsPerStrip =
        options.rowsPerStrip > 0
            ? std::min(options.rowsPerStrip, height)
            : static_cast<std::int32_t>(std::clamp<std::size_t>(kStripBytes / impl->scanline, 1,
                                                                static_cast<std::size_t>(height)));
    // Rows in any order pass through no strip buffer.
    auto strip = Bitmap::allocate(width, options.anyOrder ? 1 : impl->rowsPerStrip, format);
    if (!strip)
        return strip.status();
    impl->strip = std::move(strip).value();
    impl->width = width;
    impl->height = height;
    impl->format = format;
    impl->options = options;
    impl->stripsPerPlane = static_cast<std::uint32_t>((height - 1) / impl->rowsPerStrip + 1);

    auto file = platform::AtomicFile::create(path);
    if (!file)
        return file.status();
    impl->file.emplace(std::move(file).value());
    impl->sink.descriptor = impl->file->descriptor();
    const auto bytes = checkedMultiply(impl->scanline, static_cast<std::size_t>(height),
                                       static_cast<std::size_t>(format.planeCount()));
    const char* mode = (!bytes || *bytes > kClassicLimit) ? "w8" : "w";
    auto tiffOptions = tiff::makeOptions(&impl->messages, 0);
    impl->tif.reset(tiff::openDescriptorForWriting(&impl->sink, "", mode, tiffOptions.get()));
    if (!impl->tif)
        return impl->fail(ImageErrorCode::CannotWrite, "the TIFF can't be started");
    if (auto status = impl->setTags(); !status)
        return status;
    if (options.anyOrder)
        if (auto status = impl->reserveStrips(); !status)
            return status;
    return TiffWriter(std::move(impl));
}

ImageStatus TiffWriter::writeRows(const Bitmap& rows) {
    Impl& d = *impl_;
    if (!d.failed)
        return d.failed;
    if (!d.tif)
        return badArgument("the file is already finished");
    if (rows.isNull() || rows.width() != d.width || !(rows.format() == d.format))
        return badArgument("the rows must be " + std::to_string(d.width) + " pixels wide, " +
                           describe(d.format));
    if (d.options.anyOrder)
        return badArgument("rows in any order are written with writeRowsAt");
    if (rows.height() > d.height - d.written)
        return badArgument("rows beyond the image's " + std::to_string(d.height));
    // Rows that are exactly the next strip, stored as they are, go to the
    // file straight from the caller's memory: no copy on the way.
    const bool wholeStrip = rows.height() == std::min(d.rowsPerStrip, d.height - d.written);
    if (d.pending == 0 && wholeStrip && rows.rowBytes() == d.scanline &&
        d.options.compression == TiffCompression::None &&
        tiff::sampleMasks(d.format, false, true) == tiff::SampleMasks{}) {
        const auto size =
            static_cast<tmsize_t>(d.scanline * static_cast<std::size_t>(rows.height()));
        for (int p = 0; p < d.format.planeCount(); ++p) {
            const std::uint32_t index =
                static_cast<std::uint32_t>(p) * d.stripsPerPlane + d.nextStrip;
            // libtiff only reads the buffer.
            if (TIFFWriteRawStrip(d.tif.get(), index, const_cast<std::uint8_t*>(rows.plane(p)),
                                  size) != size)
                return d.fail(ImageErrorCode::CannotWrite,
                              "strip " + std::to_string(index) + " can't be written");
        }
        d.settleStreamed(d.nextStrip);
        ++d.nextStrip;
        d.written += rows.height();
        return {};
    }
    for (std::int32_t y = 0; y < rows.height(); ++y) {
        for (int p = 0; p < d.format.planeCount(); ++p)
            std::memcpy(d.strip.row(d.pending, p), rows.row(y, p), d.scanline);
        ++d.written;
        if (++d.pending == d.rowsPerStrip)
            if (auto status = d.flushStrip(); !status)
                return status;
    }
    return {};
}

ImageStatus TiffWriter::writeRowsAt(std::int32_t firstRow, const Bitmap& rows) {
    Impl& d = *impl_;
    if (!d.options.anyOrder)
        return badArgument("rows go to their place only in a writer made for any order");
    if (!d.tif)
        return badArgument("the file is already finished");
    if (rows.isNull() || rows.width() != d.width || !(rows.format() == d.format))
        return badArgument("the rows must be " + std::to_string(d.width) + " pixels wide, " +
                           describe(d.format));
    if (firstRow < 0 || rows.height() > d.height - firstRow)
        return badArgument("rows beyond the image's " + std::to_string(d.height));
    // Samples the file keeps otherwise (Lab's signed a and b) change in a
    // copy, and padded rows are packed in one: the caller's pixels stay as
    // they are, and the rows of a strip go to the file in one write.
    const Bitmap* from = &rows;
    Bitmap changed;
    const auto masks = tiff::sampleMasks(d.format, false, true);
    if (masks != tiff::SampleMasks{} || rows.rowBytes() != d.scanline) {
        auto copy = rows.clone();
        if (!copy)
            return copy.status();
        changed = std::move(copy.value());
        std::array<std::uint8_t*, PixelFormat::kMaxSamples> planes{};
        for (int p = 0; p < d.format.planeCount(); ++p)
            planes[static_cast<std::size_t>(p)] = changed.plane(p);
        tiff::applySampleMasks(
            d.format, masks,
            std::span(planes.data(), static_cast<std::size_t>(d.format.planeCount())),
            changed.rowBytes(), d.width, changed.height());
        from = &changed;
    }
    const std::int32_t end = firstRow + rows.height();
    for (std::int32_t y = firstRow; y < end;) {
        const std::int32_t strip = y / d.rowsPerStrip;
        const std::int32_t stripEnd = std::min(end, (strip + 1) * d.rowsPerStrip);
        const auto inStrip = static_cast<std::uint64_t>(y - strip * d.rowsPerStrip) * d.scanline;
        for (int p = 0; p < d.format.planeCount(); ++p) {
            const std::uint64_t at = d.stripOffsets[static_cast<std::size_t>(p) * d.stripsPerPlane +
                                                    static_cast<std::size_t>(strip)] +
                                     inStrip;
            if (auto status = d.writeAt(at, from->row(y - firstRow, p),
                                        d.scanline * static_cast<std::size_t>(stripEnd - y));
                !status)
                return status;
        }
        for (std::int32_t r = y; r < stripEnd; ++r)
            if (!d.rowIn[static_cast<std::size_t>(r)].exchange(true))
                ++d.rowsIn;
        y = stripEnd;
    }
    d.settleRowsInAnyOrder();
    return {};
}

std::int32_t TiffWriter::rowsWritten() const {
    return impl_->options.anyOrder ? impl_->rowsIn.load() : impl_->written;
}

ImageStatus TiffWriter::finish() {
    Impl& d = *impl_;
    if (!d.failed)
        return d.failed;
    if (!d.tif)
        return badArgument("the file is already finished");
    if (d.options.anyOrder) {
        if (!d.positionedFailure)
            return d.fail(d.positionedFailure);
        d.written = d.rowsIn;
    }
    if (d.written != d.height)
        return d.fail(ImageErrorCode::BadArgument, std::to_string(d.written) + " of " +
                                                       std::to_string(d.height) +
                                                       " rows were written");
    if (auto status = d.flushStrip(); !status)
        return status;
    if (!TIFFFlush(d.tif.get()))
        return d.fail(ImageErrorCode::CannotWrite, "the TIFF directory can't be written");
    d.tif.reset();
    if (auto status = d.file->commit(d.options.durable); !status) {
        d.failed = status;
        return status;
    }
    return {};
}

ImageStatus writeTiff(const std::filesystem::path& path, const Bitmap& bitmap,
                      const TiffWriteOptions& options) {
    if (bitmap.isNull())
        return badArgument("no pixels to write");
    auto writer =
        TiffWriter::create(path, bitmap.width(), bitmap.height(), bitmap.format(), options);
    if (!writer)
        return writer.status();
    if (auto status = writer->writeRows(bitmap); !status)
        return status;
    return writer->finish();
}

} // namespace slidebox::image
