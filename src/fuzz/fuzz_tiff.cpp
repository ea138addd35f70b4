// libFuzzer target over the TIFF reader: any bytes, read from memory the way
// a file is read, whole, band by band and by a row range into padded rows;
// and the same bytes as a file, whose rows, where they are read straight
// from it, must be those libtiff decodes. A refusal is a fine outcome; a
// crash, a leak, a read outside a buffer or rows that differ are not. The
// image limit keeps every allocation far below the fuzzer's.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include "image/tiff_reader.h"

using slidebox::image::Bitmap;
using slidebox::image::TiffReader;

namespace {

constexpr std::uint64_t kMaxImageBytes = std::uint64_t{64} << 20;

unsigned touch(const Bitmap& rows) {
    unsigned sum = 0;
    for (int p = 0; p < rows.planeCount(); ++p)
        for (std::int32_t y = 0; y < rows.height(); ++y)
            for (std::size_t x = 0; x < rows.minRowBytes(); ++x)
                sum += rows.row(y, p)[x];
    return sum;
}

// The input as a file, in memory: one for the whole run, rewritten each time.
int inputFile() {
    static const int fd = ::memfd_create("fuzz-tiff", 0);
    return fd;
}

// Rows read straight from the file are the rows libtiff decodes.
void readStraightFromTheFile(const std::uint8_t* data, std::size_t size) {
    const int fd = inputFile();
    if (fd < 0 || ::ftruncate(fd, 0) != 0 ||
        ::pwrite(fd, data, size, 0) != static_cast<ssize_t>(size))
        return;
    slidebox::image::TiffReadOptions options;
    options.maxImageBytes = kMaxImageBytes;
    auto reader = TiffReader::open("/proc/self/fd/" + std::to_string(fd), options);
    if (!reader || !reader->readsRowsAtOnce())
        return;
    const std::int32_t first = reader->height() / 4;
    const std::int32_t count = std::min(reader->height() - first, 5);
    auto straight = Bitmap::allocate(reader->width(), count, reader->format());
    auto decoded = Bitmap::allocate(reader->width(), count, reader->format());
    if (!straight || !decoded)
        return;
    const bool readStraight = static_cast<bool>(reader->readRowsAt(first, *straight));
    if (reader->readRows(first, *decoded) && readStraight && !straight->samePixels(*decoded))
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    slidebox::image::TiffReadOptions options;
    options.maxImageBytes = kMaxImageBytes;
    auto reader = TiffReader::openMemory(std::span(data, size), options);
    if (!reader)
        return 0;
    volatile unsigned sink = 0;
    if (auto whole = reader->readBitmap())
        sink = sink + touch(*whole);
    (void)reader->forEachBand([&](const Bitmap& rows, std::int32_t) {
        sink = sink + touch(rows);
        return true;
    });
    // A few rows from the middle, into rows longer than the pixels: the
    // path through the kept band.
    const std::int32_t first = reader->height() / 3;
    const std::int32_t count = std::min(reader->height() - first, 3);
    auto rows =
        Bitmap::allocate(reader->width(), count, reader->format(),
                         static_cast<std::size_t>(reader->width()) *
                                 static_cast<std::size_t>(reader->format().bytesPerPlanePixel()) +
                             8);
    if (rows && reader->readRows(first, *rows))
        sink = sink + touch(*rows);
    readStraightFromTheFile(data, size);
    return 0;
}
