#include "image/tiff_support.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>
#include <mutex>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace slidebox::image::tiff {

namespace {

std::string format(const char* module, const char* fmt, va_list args) {
    char text[512];
    std::vsnprintf(text, sizeof text, fmt, args);
    std::string message;
    if (module && *module) {
        message = module;
        message += ": ";
    }
    message += text;
    return message;
}

int onError(TIFF*, void* user, const char* module, const char* fmt, va_list args) {
    auto* messages = static_cast<Messages*>(user);
    if (messages && messages->firstError.empty())
        messages->firstError = format(module, fmt, args);
    return 1; // handled: libtiff's process-wide handler stays quiet
}

int onWarning(TIFF*, void* user, const char* module, const char* fmt, va_list args) {
    if (auto* messages = static_cast<Messages*>(user))
        messages->lastWarning = format(module, fmt, args);
    return 1;
}

void silentGlobal(const char*, const char*, va_list) {}

// --- memory source --------------------------------------------------------

tmsize_t memoryRead(thandle_t handle, void* buffer, tmsize_t size) {
    auto* source = static_cast<MemorySource*>(handle);
    if (size <= 0 || source->position >= source->size)
        return 0;
    std::size_t n = std::min(static_cast<std::size_t>(size), source->size - source->position);
    std::memcpy(buffer, source->data + source->position, n);
    source->position += n;
    return static_cast<tmsize_t>(n);
}

tmsize_t memoryWrite(thandle_t, void*, tmsize_t) {
    return 0;
}

toff_t memorySeek(thandle_t handle, toff_t offset, int whence) {
    auto* source = static_cast<MemorySource*>(handle);
    std::uint64_t base = 0;
    if (whence == SEEK_CUR)
        base = source->position;
    else if (whence == SEEK_END)
        base = source->size;
    std::uint64_t target = 0;
    if (__builtin_add_overflow(base, offset, &target) ||
        target > std::numeric_limits<std::size_t>::max() / 2)
        return static_cast<toff_t>(-1);
    source->position = static_cast<std::size_t>(target);
    return target;
}

int memoryClose(thandle_t) {
    return 0;
}

toff_t memorySize(thandle_t handle) {
    return static_cast<MemorySource*>(handle)->size;
}

int memoryMap(thandle_t handle, void** base, toff_t* size) {
    auto* source = static_cast<MemorySource*>(handle);
    // libtiff only reads through a map opened for reading.
    *base = const_cast<std::uint8_t*>(source->data);
    *size = source->size;
    return 1;
}

void memoryUnmap(thandle_t, void*, toff_t) {}

// --- descriptor for writing -------------------------------------------------

DescriptorSink& sinkOf(thandle_t handle) {
    return *static_cast<DescriptorSink*>(handle);
}

tmsize_t descriptorRead(thandle_t handle, void* buffer, tmsize_t size) {
    ssize_t n;
    do
        n = ::read(sinkOf(handle).descriptor, buffer, static_cast<std::size_t>(size));
    while (n < 0 && errno == EINTR);
    return n;
}

tmsize_t descriptorWrite(thandle_t handle, void* buffer, tmsize_t size) {
    DescriptorSink& sink = sinkOf(handle);
    if (sink.reserving) {
        const off_t at = ::lseek(sink.descriptor, 0, SEEK_CUR);
        off_t end = 0;
        if (at < 0 || __builtin_add_overflow(at, size, &end) ||
            ::lseek(sink.descriptor, end, SEEK_SET) < 0)
            return -1;
        sink.reservedEnd = std::max(sink.reservedEnd, static_cast<std::uint64_t>(end));
        return size;
    }
    auto* bytes = static_cast<const char*>(buffer);
    tmsize_t done = 0;
    while (done < size) {
        ssize_t n = ::write(sink.descriptor, bytes + done, static_cast<std::size_t>(size - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return -1;
        done += n;
    }
    return done;
}

toff_t descriptorSize(thandle_t handle) {
    const DescriptorSink& sink = sinkOf(handle);
    struct stat st {};
    if (::fstat(sink.descriptor, &st) != 0)
        return 0;
    return std::max(static_cast<toff_t>(st.st_size), static_cast<toff_t>(sink.reservedEnd));
}

toff_t descriptorSeek(thandle_t handle, toff_t offset, int whence) {
    const DescriptorSink& sink = sinkOf(handle);
    off_t result = -1;
    if (whence == SEEK_END && sink.reservedEnd > 0) { // the end as laid out
        const toff_t end = descriptorSize(handle);
        toff_t target = 0;
        if (!__builtin_add_overflow(end, offset, &target) &&
            target <= static_cast<toff_t>(std::numeric_limits<off_t>::max()))
            result = ::lseek(sink.descriptor, static_cast<off_t>(target), SEEK_SET);
    } else {
        result = ::lseek(sink.descriptor, static_cast<off_t>(offset), whence);
    }
    return result < 0 ? static_cast<toff_t>(-1) : static_cast<toff_t>(result);
}

int descriptorClose(thandle_t) {
    return 0;
} // the descriptor stays its owner's

int noMap(thandle_t, void**, toff_t*) {
    return 0;
}

} // namespace

OptionsPtr makeOptions(Messages* messages, std::size_t maxAllocation) {
    static std::once_flag silenced;
    std::call_once(silenced, [] {
        TIFFSetErrorHandler(silentGlobal);
        TIFFSetWarningHandler(silentGlobal);
    });
    OptionsPtr options(TIFFOpenOptionsAlloc());
    if (!options)
        return options;
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), onError, messages);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), onWarning, messages);
    if (maxAllocation > 0)
        TIFFOpenOptionsSetMaxSingleMemAlloc(
            options.get(), static_cast<tmsize_t>(std::min<std::size_t>(
                               maxAllocation, std::numeric_limits<tmsize_t>::max())));
    return options;
}

ImageStatus failure(ImageErrorCode code, const std::string& what, const Messages& messages) {
    if (messages.firstError.empty())
        return ImageStatus::failure(code, what);
    return ImageStatus::failure(code, what + " (" + messages.firstError + ")");
}

TIFF* openMemory(MemorySource* source, TIFFOpenOptions* options) {
    return TIFFClientOpenExt("", "r", source, memoryRead, memoryWrite, memorySeek, memoryClose,
                             memorySize, memoryMap, memoryUnmap, options);
}

TIFF* openDescriptorForWriting(DescriptorSink* sink, const char* name, const char* mode,
                               TIFFOpenOptions* options) {
    return TIFFClientOpenExt(name, mode, sink, descriptorRead, descriptorWrite, descriptorSeek,
                             descriptorClose, descriptorSize, noMap, memoryUnmap, options);
}

SampleMasks sampleMasks(const PixelFormat& format, bool grayMinIsWhite, bool labSigned) {
    SampleMasks masks{};
    const std::uint16_t all = format.bytesPerSample == 2 ? 0xFFFF : 0xFF;
    const std::uint16_t top = format.bytesPerSample == 2 ? 0x8000 : 0x80;
    if (format.space == ColorSpace::Gray && grayMinIsWhite)
        masks[0] = all; // the alpha sample keeps its meaning
    if (format.space == ColorSpace::Lab && labSigned)
        masks[1] = masks[2] = top;
    return masks;
}

void applySampleMasks(const PixelFormat& format, const SampleMasks& masks,
                      std::span<std::uint8_t* const> planes, std::size_t rowBytes,
                      std::int32_t width, std::int32_t rows) {
    bool any = false;
    for (auto mask : masks)
        any = any || mask != 0;
    if (!any)
        return;
    const int perPixel = format.samplesPerPlanePixel();
    const std::size_t sampleBytes = format.bytesPerSample;
    const std::size_t pixelBytes = static_cast<std::size_t>(perPixel) * sampleBytes;
    const std::size_t rowLength = static_cast<std::size_t>(width) * pixelBytes;
    for (std::size_t p = 0; p < planes.size(); ++p) {
        // The masks of eight pixels as bytes in memory order: a whole
        // number of 64-bit words, so that a row is flipped a word at a time
        // in one pass.
        std::vector<std::uint8_t> pattern(8 * pixelBytes);
        for (std::size_t i = 0; i < pattern.size(); i += sampleBytes) {
            const auto s = static_cast<std::size_t>((i / sampleBytes) % perPixel);
            const std::uint16_t mask = masks[format.isPlanar ? p : s];
            if (sampleBytes == 2)
                std::memcpy(&pattern[i], &mask, 2);
            else
                pattern[i] = static_cast<std::uint8_t>(mask);
        }
        std::vector<std::uint64_t> words(pattern.size() / 8);
        std::memcpy(words.data(), pattern.data(), pattern.size());
        for (std::int32_t y = 0; y < rows; ++y) {
            std::uint8_t* row = planes[p] + static_cast<std::size_t>(y) * rowBytes;
            std::size_t at = 0;
            for (; at + pattern.size() <= rowLength; at += pattern.size()) {
                for (std::size_t w = 0; w < words.size(); ++w) {
                    std::uint64_t word;
                    std::memcpy(&word, row + at + 8 * w, 8);
                    word ^= words[w];
                    std::memcpy(row + at + 8 * w, &word, 8);
                }
            }
            for (std::size_t i = 0; at < rowLength; ++at, ++i)
                row[at] ^= pattern[i];
        }
    }
}

} // namespace slidebox::image::tiff
