#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "image/bitmap.h"
#include "image/image_result.h"
#include "image/pixel_format.h"

namespace slidebox::image {

/// Limits on what a TIFF may make the reader allocate.
struct TiffReadOptions {
    /// The most bytes the decoded image may take, all planes together. A
    /// larger image is refused (TooLarge) when it is opened, before any
    /// pixel is allocated. It also caps each single allocation of libtiff's.
    std::uint64_t maxImageBytes = std::uint64_t{4} << 30;
    /// Samples as the file stores them: a CIELab file's a and b signed, a
    /// gray stored with white as 0 not reversed. For a reader that decodes
    /// them itself (isLabSigned, isMinIsWhite) and saves the pass that moves
    /// them.
    bool storedSamples = false;
};

/// Reads the first image of a TIFF file: gray (white as 0 is reversed to
/// black as 0), RGB, CMYK (separated, ink set CMYK), CIELab and ICCLab,
/// 8 or 16 bits a sample, packed or planar, one optional alpha sample on
/// gray and RGB, in strips or tiles, in any compression libtiff decodes
/// (JPEG-compressed YCbCr comes back as RGB).
///
/// Samples arrive in the encodings of PixelFormat: a CIELab file's signed
/// a and b move to the offset encoding, so a 16-bit Lab sample is the
/// colour engine's Lab field (file value + 32768) and an 8-bit one file
/// value + 128.
///
/// The image can be read whole (readBitmap), by row ranges into the
/// caller's bitmap (readRows), or band by band (forEachBand), where a band
/// is one strip or one row of tiles; the last two never hold more than one
/// band besides the caller's rows. libtiff's messages are kept out of
/// standard error and the first of them ends up in a failure's message.
///
/// Move-only; one thread at a time, but for readRowsAt.
class TiffReader {
  public:
    /// Called with each band, rows in the reader's format, and the image row
    /// of its first row. The rows are the reader's and valid during the
    /// call. Return false to stop the reading.
    using BandSink = std::function<bool(const Bitmap& rows, std::int32_t firstRow)>;

    /// Opens a file and reads its description. CannotOpen when the file
    /// can't be opened or isn't a TIFF; Malformed, Unsupported, TooLarge or
    /// Truncated when its description says so.
    static ImageResult<TiffReader> open(const std::filesystem::path& path,
                                        const TiffReadOptions& options = {});
    /// The same over bytes in memory, which stay the caller's and must
    /// outlive the reader.
    static ImageResult<TiffReader> openMemory(std::span<const std::uint8_t> bytes,
                                              const TiffReadOptions& options = {});

    TiffReader(TiffReader&& other) noexcept;
    TiffReader& operator=(TiffReader&& other) noexcept;
    ~TiffReader();

    std::int32_t width() const;
    std::int32_t height() const;
    /// The format the rows come in.
    const PixelFormat& format() const;
    /// Rows in one band: a strip's rows, or a tile's height.
    std::int32_t rowsPerBand() const;
    bool isTiled() const;
    /// libtiff's compression code (1 none, 5 LZW, 8 Deflate, ...).
    std::uint16_t compression() const;
    /// Whether the file stores gray with white as 0 (its rows still come
    /// with black as 0).
    bool isMinIsWhite() const;
    /// Whether the file stores a and b signed (CIELab, not ICCLab).
    bool isLabSigned() const;
    /// The embedded ICC profile's bytes, empty without one.
    std::string iccProfile() const;

    /// Reads image rows firstRow .. firstRow + destination.height() - 1 into
    /// the destination, which must have the image's width and exactly this
    /// reader's format; any row length and any origin of rows will do.
    /// Strips that the range covers whole are decoded straight into the
    /// destination when its rows are packed tight; the rest passes through
    /// one band kept from call to call, so ranges that go down the image in
    /// order decode every strip once. BadArgument for a destination that
    /// doesn't fit; Truncated or Malformed when the data fails.
    ImageStatus readRows(std::int32_t firstRow, Bitmap& destination);

    /// Whether readRowsAt can read this file's rows: strips of one plane,
    /// stored uncompressed in the machine's byte order, in a file.
    bool readsRowsAtOnce() const;
    /// The same as readRows, straight from the file with no band kept, so
    /// that any number of threads may call it at once (beside one calling
    /// anything else); BadArgument when !readsRowsAtOnce().
    ImageStatus readRowsAt(std::int32_t firstRow, Bitmap& destination) const;

    /// Hands every band to the sink, top to bottom. Cancelled when the sink
    /// returns false.
    ImageStatus forEachBand(const BandSink& sink);

    /// The whole image in a bitmap of its own, with the smallest rows.
    ImageResult<Bitmap> readBitmap();

  private:
    struct Impl;
    explicit TiffReader(std::unique_ptr<Impl> impl);
    /// Reads the description behind the handle in impl (null: not a TIFF).
    static ImageResult<TiffReader> finishOpening(std::unique_ptr<Impl> impl,
                                                 std::uint64_t fileSize);
    std::unique_ptr<Impl> impl_;
};

/// Opens and reads a whole TIFF file.
ImageResult<Bitmap> readTiff(const std::filesystem::path& path,
                             const TiffReadOptions& options = {});

} // namespace slidebox::image
