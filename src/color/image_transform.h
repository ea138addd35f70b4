#pragma once

// Image files through a colour world: the tile loop that streams an image
// from its file through the world into a TIFF, and the checks of the
// profile files it is given, each with the reason a person reads.
#include <cstdint>
#include <filesystem>
#include <string>

#include "color/color_world.h"
#include "image/tile_source.h"
#include "platform/status.h"

namespace slidebox::color {

/// Why a profile file can't serve: CannotOpen when it is missing or not a
/// regular file, Malformed when the engine doesn't take it as an ICC
/// profile, BadArgument for a device link or named colour profile, which
/// convert no image alone. The message names the file.
platform::Status profileFileStatus(const std::filesystem::path& path);

/// What transformImageFile is asked.
struct ImageTransformRequest {
    std::filesystem::path source;      ///< empty: the profile the input embeds
    std::filesystem::path destination; ///< empty: Lab, a 16-bit CIELab TIFF
    std::int32_t intentIn = 0;
    std::int32_t intentOut = 0;
    /// The most pixels of one tile, whole rows each.
    std::int32_t tilePixels = 1000000;
    /// Black-point compensation, the engine's unoptimised path.
    CMWorldOptions engine;
};

/// Matches the image in input through a world from the source to the
/// destination into a TIFF at output, in bands of whole rows (within the
/// tile limit) that stream from the file through the world into the TIFF,
/// so that the image is never held whole: every core takes the next band,
/// reads, matches and writes it to its place in the file (in Lab mode,
/// tiles go through the world's Lab bitmap one after the other). The TIFF
/// has the destination's space (alpha kept on gray and RGB, depth and
/// planarity of the input) and embeds the destination profile, or the
/// generic Lab profile in Lab mode. progress (may be null) hears on the
/// calling thread as the bands are done, ending on 100. On failure output
/// is untouched and no temporary file is left; the status names the file
/// or profile at fault.
platform::Status transformImageFile(const std::filesystem::path& input,
                                    const std::filesystem::path& output,
                                    const ImageTransformRequest& request,
                                    CompletionHandler* progress);

/// The same from a source opened already; input names it in reasons.
platform::Status transformImage(image::TileSource& source, const std::filesystem::path& input,
                                const std::filesystem::path& output,
                                const ImageTransformRequest& request, CompletionHandler* progress);

} // namespace slidebox::color
