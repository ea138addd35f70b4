#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "image/bitmap.h"
#include "image/image_result.h"

namespace slidebox::image {

class TiffReader;

/// The rows of an image file, handed out a band of rows at a time. A TIFF
/// is read into a buffer as the bands are asked for (read, never mapped:
/// a file cut short by another program meanwhile is a read error); any
/// other image is read whole and handed out as views. Move-only.
class TileSource {
  public:
    /// Opens the file; the refusals of TiffReader::open and readImage.
    static ImageResult<TileSource> open(const std::filesystem::path& path);
    TileSource(TileSource&&) noexcept;
    TileSource& operator=(TileSource&&) noexcept;
    ~TileSource();

    std::int32_t width() const { return width_; }
    std::int32_t height() const { return height_; }
    const PixelFormat& format() const { return format_; }
    /// The ICC profile the file embeds; empty without one.
    const std::string& iccProfile() const { return iccProfile_; }

    /// Rows first .. first + rows - 1 as a bitmap valid until the next call.
    /// The reader's refusal when the file fails under it.
    ImageResult<Bitmap> tile(std::int32_t first, std::int32_t rows);

    /// The same rows read into the caller's bitmap, of the image's width
    /// and format. One thread at a time, as tile().
    ImageStatus readRows(std::int32_t first, Bitmap& into);

    /// The rows the file stores together (a strip, a row of tiles): reads
    /// of whole bands go straight into the caller's rows. 1 for an image
    /// held whole.
    std::int32_t rowsPerBand() const;

  private:
    TileSource();
    std::unique_ptr<TiffReader> reader_;
    Bitmap whole_;
    Bitmap buffer_;
    std::int32_t width_ = 0, height_ = 0;
    PixelFormat format_;
    std::string iccProfile_;
};

} // namespace slidebox::image
