#pragma once

// What the catalogue learns of each profile file: the record the engine's
// iteration hands over, the walk of a folder of profiles, and the reading of
// a profile's description into the catalogue's buffer.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "color/cm2_header.h"
#include "color/colorsync.h"

namespace slidebox::color {

/// One profile as the iteration over the installed profiles gives it. Only
/// the header is read back by the catalogue's accessors.
struct CMProfileIterateData {
    std::uint32_t dataVersion = 0x20000;
    CM2Header header;
    /// The engine's description cut to 255 bytes; empty in a folder list,
    /// which fills only the version and the header.
    std::string name;
    /// The file; empty in a folder list.
    std::filesystem::path location;
};

/// Longest description the iteration keeps, in bytes.
inline constexpr std::size_t kIterateNameBytes = 255;
/// Capacity of the buffer the description element is read into.
inline constexpr std::size_t kDescriptionBufferBytes = 1014;
/// Longest path, in bytes, that the iteration hands over.
inline constexpr std::size_t kFullPathCapacity = kMaxProfilePathBytes;

/// Walks a folder of profiles: its entries sorted byte-wise by name, hidden
/// ones included, each subfolder walked where it stands in that order.
/// Links to folders aren't followed; a link to a file is a file. visit gets
/// each regular file with its path relative to the folder (parts joined with
/// one "/"). Folders that can't be listed are passed over, and a folder met
/// twice (a mount inside itself) is walked once.
void walkProfileFolder(
    const std::filesystem::path& folder,
    const std::function<void(const std::string& relativePath, const std::string& fileName)>& visit);

/// The folder and a relative path joined with one "/" (trailing slashes of
/// the folder dropped).
std::filesystem::path joinPath(const std::filesystem::path& folder, const std::string& relative);

/// The text of a description element of which the first bytes were read
/// (at most kDescriptionBufferBytes): for a text description ('desc'), count
/// less one bytes from offset 12, the count being the big-endian word at
/// offset 8, never more than were read; empty for a count of 0 or fewer
/// than 12 bytes. Nothing for an element of another type.
std::optional<std::string> textDescriptionFromElement(std::span<const std::uint8_t> read);

/// The catalogue's name of a profile: its 'desc' element read into a buffer
/// of kDescriptionBufferBytes; for an element of another type (the 'mluc' of
/// version 4) the engine's description. Nothing when the profile has no
/// 'desc' element or it can't be read.
std::optional<std::string> catalogueDescription(const CMProfile& profile);

/// One pass of the engine over the installed profiles: every file of the
/// folders, in their order and walk order, that opens as a profile, with its
/// header, description (cut to 255 bytes, empty when it has none) and path.
std::vector<CMProfileIterateData>
iterateProfileFolders(const std::vector<std::filesystem::path>& folders);

} // namespace slidebox::color
