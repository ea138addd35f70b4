#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "draw/rect_f.h"
#include "image/image_result.h"

namespace slidebox::draw {

/// What scaleImageFile made.
struct ScaledImageFile {
    std::int32_t pixelsWide = 0;
    std::int32_t pixelsHigh = 0;
    std::string layout; ///< "gray", "RGB with alpha" or "CMYK"
    bool profileEmbedded = false;
};

/// Scales an image file into a TIFF with bitmapWithPixelsSize: reads input
/// (TIFF; PNG and JPEG), scales it to size (stretched) in the layout its
/// space picks, and writes output, which must end in .tif or .tiff. The
/// profile, when given, must be an ICC profile of the layout's channels
/// (1, 3, 4) and is embedded; without one, the input's own embedded profile
/// is carried over when its channels fit. The output is written whole or
/// not at all.
///
/// Refusals: the reader's status for an input that can't be read;
/// Unsupported for an image in no space the scaling takes (Lab, XYZ);
/// BadArgument for a size of no pixels, an output of another kind, or a
/// profile that can't be read, isn't one or doesn't fit; the writer's
/// status when the output can't be written. Messages name the file at
/// fault where it isn't the input.
image::ImageResult<ScaledImageFile>
scaleImageFile(const std::filesystem::path& input, const std::filesystem::path& output, SizeF size,
               const std::optional<std::filesystem::path>& profile);

} // namespace slidebox::draw
