#pragma once

// Tests on one folder listing, shared by recognition, discovery, the image
// walks and the watch, so that each folder is listed once per visit.

#include <filesystem>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/file_system.h"

namespace slidebox::walk {

/// Whether the listing has an entry of that exact name that is not a folder
/// (links followed; a dangling link counts as not a folder).
bool hasNonDirectoryNamed(const std::filesystem::path& folder, const platform::DirectoryListing& listing,
                          std::string_view name);

bool isLibrary6(const std::filesystem::path& folder, const platform::DirectoryListing& listing);
bool isLibrary3(const std::filesystem::path& folder, const platform::DirectoryListing& listing);
bool isLibrary2(const std::filesystem::path& folder, const platform::DirectoryListing& listing);

/// All three tests, always all three, as one answer.
bool isLibrary(const std::filesystem::path& folder, const platform::DirectoryListing& listing);

/// The folders of the current descent, by identity.
class DescentPath {
public:
    /// False when the folder is already on the path (a link loop): don't enter.
    bool enter(const platform::DirectoryListing& listing);
    void leave() { folders_.pop_back(); }

private:
    std::vector<std::pair<dev_t, ino_t>> folders_;
};

} // namespace slidebox::walk
