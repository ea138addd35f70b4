#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "image/bitmap.h"
#include "image/image_result.h"
#include "image/pixel_format.h"

namespace slidebox::image {

/// How a TIFF is written.
enum class TiffCompression : std::uint8_t { None, LZW, Deflate };

struct TiffWriteOptions {
    TiffCompression compression = TiffCompression::None;
    /// Rows a strip; 0 picks strips of about 1 MB.
    std::int32_t rowsPerStrip = 0;
    /// An ICC profile to embed; empty for none.
    std::string iccProfile;
    /// Flush the file to the disk before it replaces the target.
    bool durable = true;
    /// Rows come in any order, from several threads at once, through
    /// writeRowsAt: every strip gets its place in the file when the writer
    /// is made. Uncompressed files only.
    bool anyOrder = false;
};

/// Writes one TIFF image in strips, rows streamed in from the top, in the
/// kinds TiffReader reads: gray (black as 0), RGB, CMYK (separated, ink set
/// CMYK), Lab as CIELab (a and b signed in the file: 16-bit samples are the
/// Lab fields - 32768, so that fields come back exactly), 8 or 16 bits a
/// sample, packed or planar as the format says, alpha on gray and RGB.
///
/// Nothing is half-written: the data goes to a temporary file beside the
/// target, renamed over it by finish(). A writer that ends without a
/// successful finish() removes its temporary file and leaves the target as
/// it was. Move-only.
class TiffWriter {
  public:
    /// Starts a file of width × height pixels. BadArgument for a format the
    /// TIFF kinds above don't hold (XYZ, alpha on CMYK or Lab) or a size
    /// below 1 × 1; CannotWrite when the folder takes no temporary file.
    static ImageResult<TiffWriter> create(const std::filesystem::path& path, std::int32_t width,
                                          std::int32_t height, PixelFormat format,
                                          const TiffWriteOptions& options = {});

    TiffWriter(TiffWriter&& other) noexcept;
    TiffWriter& operator=(TiffWriter&& other) noexcept;
    ~TiffWriter();

    /// Appends rows below those written so far. The rows must have the
    /// image's width and format and not run past its height; the caller's
    /// pixels are not changed. Rows that make exactly the next strip of an
    /// uncompressed file, tight and needing no change, are written without
    /// a copy. BadArgument for rows that don't fit,
    /// CannotWrite when the disk refuses.
    ImageStatus writeRows(const Bitmap& rows);

    /// Writes rows at image row firstRow straight to their place in the
    /// file, for a writer made with anyOrder (and only so). Any threads may
    /// write different rows at once; the caller's pixels are not changed.
    /// BadArgument for rows that don't fit, CannotWrite when the disk
    /// refuses (finish() then refuses too).
    ImageStatus writeRowsAt(std::int32_t firstRow, const Bitmap& rows);

    /// Rows written so far.
    std::int32_t rowsWritten() const;

    /// Completes the file and renames it over the target. BadArgument when
    /// rows are missing (nothing is left behind then either). After every
    /// writeRowsAt has returned.
    ImageStatus finish();

  private:
    struct Impl;
    explicit TiffWriter(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

/// Writes a whole bitmap as a TIFF of its format.
ImageStatus writeTiff(const std::filesystem::path& path, const Bitmap& bitmap,
                      const TiffWriteOptions& options = {});

} // namespace slidebox::image
