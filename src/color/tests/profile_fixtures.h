#pragma once

// Profiles for the colour tests: made by the engine to a recipe, written to
// a temporary folder, or found among the system's installed profiles.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "color/colorsync.h"
#include "color/engine/tests/profile_maker.h"
#include "color/profile_manager.h"
#include "tests/temp_dir.h"

namespace slidebox::testing {

using Bytes = std::vector<std::uint8_t>;

/// Points the profile operations at a temporary home for the test's life,
/// and back at the previous places after it.
class ScopedProfilePlaces {
  public:
    ScopedProfilePlaces();
    ~ScopedProfilePlaces();
    const TempDir& home() const { return home_; }

  private:
    TempDir home_;
    color::ProfilePlaces previous_;
};

/// A display RGB profile with 'mft2' tables of grid 9 for all three intents
/// in both directions, a description and a technology.
color::ProfileRecipe tableRGBRecipe();

/// The bytes of a recipe's profile; fails the test when the engine refuses.
Bytes make(const color::ProfileRecipe& recipe);

/// Writes bytes to dir/name and gives the path.
std::filesystem::path writeProfile(const TempDir& dir, const std::string& name, const Bytes& bytes);

/// An installed profile, or nothing when its package isn't there.
std::optional<std::filesystem::path> installedProfile(const std::string& relative);

/// Big-endian word access to profile bytes.
std::uint32_t word(const Bytes& bytes, std::size_t offset);
void setWord(Bytes& bytes, std::size_t offset, std::uint32_t value);

/// The offset and size of a tag in the tag table; nothing when absent.
std::optional<std::pair<std::uint32_t, std::uint32_t>> tagEntry(const Bytes& bytes,
                                                                color::OSType tag);

} // namespace slidebox::testing
