#pragma once

// Internal to the image library: what the TIFF reader and writer share.
// libtiff's types stay in here and in the .cpp files.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include <tiffio.h>

#include "image/image_status.h"
#include "image/pixel_format.h"

namespace slidebox::image::tiff {

/// What libtiff said during one file's life. Its handlers write here
/// instead of standard error; the first error becomes part of the result.
struct Messages {
    std::string firstError;
    std::string lastWarning;
};

struct Closer {
    void operator()(TIFF* tif) const { TIFFClose(tif); }
};
using TiffPtr = std::unique_ptr<TIFF, Closer>;

struct OptionsFree {
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};
using OptionsPtr = std::unique_ptr<TIFFOpenOptions, OptionsFree>;

/// Open options that send libtiff's errors and warnings to messages and cap
/// any single allocation of libtiff's at maxAllocation bytes (0: no cap).
/// Also silences libtiff's process-wide handlers once, so that nothing
/// libtiff says reaches standard error.
OptionsPtr makeOptions(Messages* messages, std::size_t maxAllocation);

/// A failure whose message is what, followed by libtiff's first error if
/// it gave one.
ImageStatus failure(ImageErrorCode code, const std::string& what, const Messages& messages);

/// Bytes held in memory, read through libtiff's client procedures. The
/// bytes stay the caller's and must outlive the TIFF handle.
struct MemorySource {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
    std::size_t position = 0;
};

/// Opens a TIFF handle over memory for reading; null on failure (the reason
/// is in the options' messages).
TIFF* openMemory(MemorySource* source, TIFFOpenOptions* options);

/// The file a TIFF handle writes to: a descriptor that stays the caller's.
/// While `reserving`, what libtiff writes is not written: the file's end
/// only moves past it, so that strips get their place before their bytes,
/// which are then written there (pwrite) in any order.
struct DescriptorSink {
    int descriptor = -1;
    bool reserving = false;
    std::uint64_t reservedEnd = 0; ///< the end as laid out, past the file's own
};

/// Opens a TIFF handle for writing on a sink (closing the handle doesn't
/// close its descriptor). mode is "w" or "w8" (BigTIFF).
TIFF* openDescriptorForWriting(DescriptorSink* sink, const char* name, const char* mode,
                               TIFFOpenOptions* options);

/// XOR masks, one per sample of a pixel: the two sample changes between a
/// file and memory are both their own inverse. A gray stored with white as
/// 0 is reversed by all ones (255 - v is v ^ 0xFF); a Lab a or b stored
/// signed moves to the offset encoding by its top bit.
using SampleMasks = std::array<std::uint16_t, PixelFormat::kMaxSamples>;

/// The masks a file of this format needs; all zero when none does.
SampleMasks sampleMasks(const PixelFormat& format, bool grayMinIsWhite, bool labSigned);

/// Applies the masks in place to rows of a band: planes as the format has
/// them, rowBytes apart.
void applySampleMasks(const PixelFormat& format, const SampleMasks& masks,
                      std::span<std::uint8_t* const> planes, std::size_t rowBytes,
                      std::int32_t width, std::int32_t rows);

} // namespace slidebox::image::tiff
