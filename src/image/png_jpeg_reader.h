#pragma once

// PNG and JPEG files read through libpng and libjpeg, which say what the
// file holds (colour type, bit depth, embedded profile) rather than what a
// decoder would like to hand out.
#include <filesystem>

#include "image/image_file.h"

namespace slidebox::image {

/// The most bytes a decoded PNG or JPEG may take; a larger one is refused
/// (TooLarge) before its pixels are allocated.
inline constexpr std::uint64_t kMaxDecodedImageBytes = std::uint64_t{4} << 30;

/// A PNG as its colour type says: gray or RGB (a palette is RGB), with
/// alpha when it has an alpha channel or transparency, 8 bits (fewer are
/// widened) or 16 bits, and its iCCP profile. CannotOpen for a file that
/// isn't a readable regular file or PNG, Truncated when it ends early,
/// Malformed when libpng refuses it.
ImageResult<DecodedImage> readPng(const std::filesystem::path& path);

/// A JPEG as its colour model says: gray, RGB (YCbCr included), or CMYK
/// (YCCK included; the inverted samples of a file with an Adobe marker are
/// turned back so that 0 is no ink), 8 bits, and its APP2 profile. The
/// refusals of readPng; Truncated also when the data ends before the image.
ImageResult<DecodedImage> readJpeg(const std::filesystem::path& path);

} // namespace slidebox::image
