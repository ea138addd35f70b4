#pragma once

#include <filesystem>

#include "image/bitmap.h"
#include "image/image_result.h"

namespace slidebox::image {

/// The kinds of image file, told by their ending.
enum class ImageFileKind { Unknown, Tiff, Png, Jpeg };

/// ".tif" and ".tiff" are TIFF, ".png" PNG, ".jpg" and ".jpeg" JPEG, in
/// any mix of case; anything else Unknown.
ImageFileKind imageFileKind(const std::filesystem::path& path);

/// Reads a whole image file, TIFF through TiffReader, PNG and JPEG through
/// Qt. Unsupported for an unknown ending.
ImageResult<Bitmap> readImageFile(const std::filesystem::path& path);

/// Writes a bitmap as a TIFF (uncompressed) or a PNG, by the ending.
/// Unsupported for other endings, JPEG included.
ImageStatus writeImageFile(const std::filesystem::path& path, const Bitmap& bitmap);

} // namespace slidebox::image
