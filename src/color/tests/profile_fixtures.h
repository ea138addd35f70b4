#pragma once

// Profiles for the colour tests: stored beside the tests in data/profiles
// (named after what they hold), copied to temporary folders, patched a few
// header bytes at a time, or found among the system's installed profiles.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "color/cm2_header.h"
#include "color/colorsync.h"
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

/// The path and the bytes of a stored profile (data/profiles/name); the
/// bytes fail the test when the file is missing.
std::filesystem::path storedPath(const std::string& name);
Bytes stored(const std::string& name);

/// The drawing tests' name for the display RGB profile with 'mft2' tables of
/// grid 9 for all three intents both ways (rgb-tables-v2.icc).
struct StoredProfile {
    std::string name;
};
inline StoredProfile tableRGBRecipe() {
    return {"rgb-tables-v2.icc"};
}
inline Bytes make(const StoredProfile& profile) {
    return stored(profile.name);
}

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

/// Writes the six date fields into the header bytes.
void setDate(Bytes& bytes, const color::CMDateTime& date);

/// Writes a 'desc' element in place of the profile's own: the bytes given,
/// which follow the 4-byte type signature 'desc' and 4 reserved bytes.
Bytes withRawDescription(const Bytes& profile, const std::vector<std::uint8_t>& afterReserved);

/// A small profile that the engine opens, of any class and space: the
/// stored RGB matrix shaper (version 2) with a text description (none
/// when not given) and its class, data colour space and connection space
/// written over in the header. No colour world is built from it.
Bytes catalogueProfile(color::OSType profileClass, color::OSType space,
                       std::optional<std::string> description,
                       color::OSType pcs = color::cmXYZData);

} // namespace slidebox::testing
