#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/stat.h>
#include <sys/types.h>

#include "platform/date.h"
#include "platform/status.h"

namespace slidebox::platform {

/// Longest path, in bytes, that the operations here read, list or look at:
/// 8,000. The system takes no path of 4,096 bytes or more in one call; a
/// longer one is reached a stretch of folders at a time from its start.
inline constexpr std::size_t kMaxPathBytes = 8000;

/// Opens a path with open(2)'s flags (O_CREAT aside: no mode is given),
/// links followed as open follows them, for paths up to kMaxPathBytes. A descriptor the caller
/// closes, or -1 with errno set (ENAMETOOLONG past kMaxPathBytes).
int openPath(const std::filesystem::path& path, int flags);

/// stat(2), or lstat(2) without followLinks, of a path up to kMaxPathBytes.
/// False with errno set when it can't be had.
bool statPath(const std::filesystem::path& path, struct stat& st, bool followLinks = true);

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
    bool isKernelFileSystem = false; ///< /proc, /sys and their kin: no files of a user's
};

/// Lists a folder once; nothing for a path that can't be listed.
/// Paths up to kMaxPathBytes, as every path operation below that reads.
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

/// Writes bytes to a file atomically: a temporary file beside it (named
/// ".<name>.tmp-<pid>-XXXXXX"), fsync, rename over the target, fsync of the
/// folder. A symbolic link is written through: its final target gets the
/// bytes and the link stays. A file with other hard links is refused (the
/// rename would part it from them). On failure the target is untouched, the
/// temporary file removed, and the status says why. Stale temporaries of the
/// same file, left by a process that no longer runs, are removed first.
Status writeFileAtomically(const std::filesystem::path& path, std::string_view bytes);

/// A folder only this user may enter (mode 0700), made when missing. A path
/// that is a link, not a folder, someone else's or open to others is
/// refused: in a shared place such as /tmp another user may have made it
/// first, to read or plant what goes in it.
Status makePrivateFolder(const std::filesystem::path& folder);

/// Removes the temporaries writeFileAtomically left beside path when a
/// process was killed while writing: those of processes that no longer run,
/// and nameless older ones (".<name>.XXXXXX") more than an hour old.
void removeStaleTemporaries(const std::filesystem::path& path);

/// The largest file read whole unless the caller says otherwise: 64 MiB.
inline constexpr std::size_t kDefaultReadLimit = std::size_t(64) << 20;

/// A regular file's whole contents (links followed). The file is opened
/// without blocking, so a FIFO or a device never holds the caller; anything
/// but a regular file, a path past kMaxPathBytes and a file past maxBytes
/// are refused with their reason.
Result<std::string> readRegularFile(const std::filesystem::path& path,
                                    std::size_t maxBytes = kDefaultReadLimit);

/// A regular file (links followed) opened read-only without blocking, as a
/// descriptor the caller closes. CannotOpen, with the reason, for a file
/// that can't be opened or is anything but a regular file; TooLarge for a
/// path past kMaxPathBytes.
Result<int> openRegularFile(const std::filesystem::path& path);

/// readRegularFile without the reason: nothing when it can't be read.
std::optional<std::string> readWholeFile(const std::filesystem::path& path,
                                         std::size_t maxBytes = kDefaultReadLimit);

} // namespace slidebox::platform
