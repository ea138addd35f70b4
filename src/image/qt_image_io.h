#pragma once

#include <filesystem>

#include "image/bitmap.h"
#include "image/image_result.h"

namespace slidebox::image {

/// Reads a PNG or JPEG file (or any other kind Qt's image readers know)
/// into an 8-bit packed bitmap of its own: gray when the file holds only
/// grays and no transparency, RGB with alpha (not premultiplied) when it
/// has transparency, RGB otherwise. Deeper files are reduced to 8 bits.
/// CannotOpen for a file Qt can't decode, with Qt's reason; TooLarge past
/// Qt's allocation limit.
ImageResult<Bitmap> readQtImage(const std::filesystem::path& path);

/// Writes a PNG from an 8-bit packed gray, RGB or RGB-with-alpha bitmap
/// (alpha not premultiplied), streamed to a temporary file beside the
/// target that replaces it at the end. BadArgument for other formats.
ImageStatus writePng(const std::filesystem::path& path, const Bitmap& bitmap, bool durable = true);

} // namespace slidebox::image
