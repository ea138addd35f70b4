#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "platform/date.h"

namespace slidebox::platform {

/// One entry of a folder listing, with what the folder itself says of its
/// kind (no extra system call): a link or an unknown kind must be asked.
struct DirectoryEntry {
    enum class Kind : unsigned char { Directory, Other, LinkOrUnknown };
    std::string name;
    Kind kind = Kind::LinkOrUnknown;
};

/// A folder's entries sorted byte-wise by name, and the folder's identity
/// (device and inode), so that walks can tell a folder seen before.
struct DirectoryListing {
    std::vector<DirectoryEntry> entries;
    dev_t device = 0;
    ino_t inode = 0;
};

/// Lists a folder once; nothing for a path that can't be listed.
std::optional<DirectoryListing> listDirectory(const std::filesystem::path& folder);

/// Whether a listed entry is a folder, following links (a dangling link is not).
bool isDirectoryEntry(const std::filesystem::path& folder, const DirectoryEntry& entry);

/// The names of a folder's direct entries, hidden ones included, "." and ".."
/// left out, sorted byte-wise ascending. Empty for a path that can't be listed
/// (missing, not a folder, unreadable). Names are raw bytes.
std::vector<std::string> directoryContentsAtPath(const std::filesystem::path& folder);

/// Whether something exists at the path, following links. When it does and
/// isDirectory is given, *isDirectory tells whether it is a folder (or a link
/// to one). A dangling link does not exist.
bool fileExistsAtPath(const std::filesystem::path& path, bool* isDirectory = nullptr);

/// Shorthand: exists and is a folder, following links.
bool isDirectory(const std::filesystem::path& path);

/// The modification date with nanoseconds. With traverseLink false a link is
/// dated by itself, not by its target. Nothing when the entry can't be read.
std::optional<Date> modificationDate(const std::filesystem::path& path, bool traverseLink);

/// The text behind the last dot of the last path component, "" without a dot.
std::string pathExtension(std::string_view name);

/// Replaces a leading "~" or "~/" by the home folder.
std::filesystem::path expandTilde(const std::filesystem::path& path);

/// $HOME, or the password database's entry when it is unset.
std::filesystem::path homeDirectory();

/// Writes bytes to a file atomically: a temporary file beside it, fsync,
/// rename over the target, fsync of the folder. On failure the target is
/// untouched, the temporary file removed, and the result is false.
bool writeFileAtomically(const std::filesystem::path& path, std::string_view bytes);

/// The whole file; nothing when it can't be read.
std::optional<std::string> readWholeFile(const std::filesystem::path& path);

} // namespace slidebox::platform
