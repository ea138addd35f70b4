#pragma once

#include <filesystem>

#include "image/bitmap.h"
#include "image/image_result.h"

namespace slidebox::image {

/// Writes a PNG from an 8-bit packed gray, RGB or RGB-with-alpha bitmap
/// (alpha not premultiplied), streamed to a temporary file beside the
/// target that replaces it at the end. BadArgument for other formats.
ImageStatus writePng(const std::filesystem::path& path, const Bitmap& bitmap, bool durable = true);

} // namespace slidebox::image
