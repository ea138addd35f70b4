#pragma once

#include <cstdint>

#include "color/colorsync.h"
#include "image/bitmap.h"
#include "platform/status.h"

namespace slidebox::color {

/// Told how far a long match has come, as a percentage 0..100.
class CompletionHandler {
  public:
    virtual ~CompletionHandler() = default;
    virtual void setAmountOfCompletion(std::int32_t percent) = 0;
};

/// The layout code of a Lab bitmap kept as a CIELab file keeps it: three
/// 16-bit samples, L as the field, a and b as the field less 32768, signed.
inline constexpr std::uint32_t cmLab48SignedABSpace = 0x12908;

/// The engine's record of a bitmap's first plane, made at the engine's
/// edge: the pixels stay the bitmap's.
CMBitmap cmBitmapOf(const image::Bitmap& bitmap, std::uint32_t space, std::uint32_t pixelSize);

/// What a tiled match works with: the bitmap world and the data colour
/// spaces of its two ends, the handler (may be null) and the tile limit.
struct TileMatchSetup {
    CMBitmapWorld* world = nullptr; ///< null: every tile is refused
    OSType spaceIn = 0;
    OSType spaceOut = 0; ///< 0 for a one-profile chain
    CompletionHandler* handler = nullptr;
    float tilePixelLimit = 1000000.0f;
    /// Threads a tile is matched on; 0: one a core.
    unsigned threads = 0;
};

/// How a tiled match went.
struct TileMatchOutcome {
    platform::Status status;
    /// The line the log has always had for a refusal (null: none).
    const char* logLine = nullptr;
    std::int32_t tileSizeWidth = 0;
    std::int32_t tileSizeHeight = 0;
};

/// Matches a whole bitmap through the world in horizontal tiles of at most
/// tilePixelLimit pixels into destination, of the same size; with no
/// destination and a world that ends in Lab, into lab, a new 16-bit Lab
/// bitmap of the whole image in one tile. The reps' channels are taken
/// from the world's spaces; samples 8 or 16 bits. Packed reps are matched
/// in place; planar ones through a tile buffer. All tile state lives for
/// this call. BadArgument when the reps don't fit the world or each other,
/// OutOfMemory when the tiles can't be had; lab is then left alone.
TileMatchOutcome matchTiles(const TileMatchSetup& setup, const image::Bitmap& source,
                            image::Bitmap* destination, image::Bitmap& lab);

} // namespace slidebox::color
