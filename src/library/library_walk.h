#pragma once

// Tests on one folder listing, shared by recognition, discovery, the image
// walks and the watch, so that each folder is listed once per visit.

#include <filesystem>
#include <set>
#include <string_view>
#include <utility>

#include "platform/file_system.h"

namespace slidebox::walk {

/// Whether the listing has an entry of that exact name that is not a folder
/// (links followed; a dangling link counts as not a folder).
bool hasNonDirectoryNamed(const std::filesystem::path& folder,
                          const platform::DirectoryListing& listing, std::string_view name);

bool isLibrary6(const std::filesystem::path& folder, const platform::DirectoryListing& listing);
bool isLibrary3(const std::filesystem::path& folder, const platform::DirectoryListing& listing);
bool isLibrary2(const std::filesystem::path& folder, const platform::DirectoryListing& listing);

/// All three tests, always all three, as one answer.
bool isLibrary(const std::filesystem::path& folder, const platform::DirectoryListing& listing);

/// The folders a walk has entered, by identity (device and inode), so that
/// each is entered once however many links lead to it: a loop of links ends
/// and a "diamond" of links costs no more than one path through it.
class VisitedFolders {
  public:
    /// False when the folder was entered before, or is one of the kernel's
    /// own file systems (/proc, /sys), which hold no library: don't enter.
    bool enter(const platform::DirectoryListing& listing);

  private:
    std::set<std::pair<dev_t, ino_t>> folders_;
};

} // namespace slidebox::walk
