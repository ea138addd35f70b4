#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

#include "color/colorsync.h"

namespace slidebox::color {

/// The chain of a colour world: the engine's world for single colours, the
/// one for bitmaps, the data colour spaces of its two ends and the paths
/// of the profiles it was built from.
///
/// The chain: the source alone (device to PCS); source and destination
/// when both intents agree; else source, the generic Lab profile with the
/// second intent, then the destination, so that two intents meet in Lab.
class ColorChain {
  public:
    /// Builds the chain of open profiles (destination may be null) and
    /// records the spaces: the single-colour world is returned, the bitmap
    /// world kept. Null without a source, when the generic Lab profile
    /// won't open where two intents need it, or when the engine refuses the
    /// chain. The profiles stay the caller's.
    CMWorldRef build(const CMProfile* source, std::int32_t intentIn, std::int32_t intentOut,
                     const CMProfile* destination, const CMWorldOptions& options = {});

    /// Stores the header's data colour space in space; leaves it alone when
    /// the header can't be read.
    static void readSpace(const CMProfile& profile, OSType& space);

    /// Matches one colour in place; false (and a line in the log) when the
    /// engine refuses it or there is no world.
    bool matchColor(CMColor& color) const;

    CMWorldRef world;             ///< single colours; null once disposed
    CMBitmapWorldRef bitmapWorld; ///< bitmaps
    OSType spaceIn = 0;           ///< the first profile's data colour space
    OSType spaceOut = 0;          ///< the last one's; 0 for a one-profile chain
    std::optional<std::filesystem::path> sourcePath;
    std::optional<std::filesystem::path> destinationPath;
};

} // namespace slidebox::color
