#pragma once

#include <filesystem>
#include <string>

#include "image/bitmap.h"
#include "image/image_result.h"

namespace slidebox::image {

/// The kinds of image file, told by their ending.
enum class ImageFileKind { Unknown, Tiff, Png, Jpeg };

/// ".tif" and ".tiff" are TIFF, ".png" PNG, ".jpg" and ".jpeg" JPEG, in
/// any mix of case; anything else Unknown.
ImageFileKind imageFileKind(const std::filesystem::path& path);

/// An image file's pixels and the ICC profile it embeds.
struct DecodedImage {
    Bitmap bitmap;
    std::string iccProfile; ///< the profile's bytes; empty without one
};

/// Reads a whole image file in the colour model the file declares, TIFF
/// through TiffReader, PNG and JPEG through readPng and readJpeg.
/// Unsupported for an unknown ending.
ImageResult<DecodedImage> readImage(const std::filesystem::path& path);

/// readImage without the profile.
ImageResult<Bitmap> readImageFile(const std::filesystem::path& path);

/// Writes a bitmap as a TIFF (uncompressed) or a PNG, by the ending.
/// Unsupported for other endings, JPEG included.
ImageStatus writeImageFile(const std::filesystem::path& path, const Bitmap& bitmap);

} // namespace slidebox::image
