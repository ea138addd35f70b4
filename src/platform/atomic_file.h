#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "platform/status.h"

namespace slidebox::platform {

/// An output file that appears whole or not at all, written as a stream:
/// the data goes to a hidden temporary file beside the target
/// (".<name>.tmp-<pid>-XXXXXX"), and commit() renames it over the target. A
/// file that is never committed is removed when the object ends, so a
/// failed write leaves nothing behind and an existing target untouched. A
/// symbolic link is written through (its final target gets the data); a
/// target that isn't a regular file, or has other hard links, is refused.
/// Stale temporaries of the same target are removed first. Move-only.
/// writeFileAtomically is this for bytes at hand.
class AtomicFile {
  public:
    /// Makes the temporary file beside target. CannotWrite, with the
    /// system's reason, when the folder doesn't take it or the target is no
    /// regular file; Unsupported for a target with other hard links.
    static Result<AtomicFile> create(const std::filesystem::path& target);

    AtomicFile(AtomicFile&& other) noexcept;
    AtomicFile& operator=(AtomicFile&& other) noexcept;
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;
    /// Removes the temporary file unless committed.
    ~AtomicFile();

    /// The open descriptor of the temporary file, for writing; -1 after
    /// commit() or discard(). Stays this object's: don't close it.
    int descriptor() const { return fd_; }
    const std::filesystem::path& temporaryPath() const { return temporary_; }
    /// The file the data lands in (a link's final target).
    const std::filesystem::path& target() const { return target_; }

    /// Writes all bytes at the current position; false on failure.
    bool writeAll(const void* data, std::size_t size);

    /// Bytes [offset, offset + length) of the temporary file are final.
    /// When it replaces a file, their writing to the disk starts now:
    /// ext4 and btrfs write out a file renamed over another at the rename,
    /// which waits for that; started while the rest is still being made,
    /// the writing overlaps that work. A new file is left to the system's
    /// own write-back, which nothing waits for. Only starts the writing;
    /// one thread at a time.
    void startWriteBack(std::uint64_t offset, std::uint64_t length) const;

    /// Closes the file and renames it over the target. With durable, the
    /// data and then the folder entry are flushed to the disk first, so the
    /// target survives a power cut as either the old or the new file. On
    /// failure the temporary file is removed and the target untouched.
    Status commit(bool durable = true);

    /// Closes and removes the temporary file.
    void discard();

  private:
    AtomicFile() = default;

    int fd_ = -1;
    int slot_ = -1;         // in the list a signal's removal reads; -1: not in it
    bool replaces_ = false; // the target was a file when this was made
    std::filesystem::path target_;
    std::filesystem::path temporary_;
};

/// Makes SIGINT, SIGTERM and SIGHUP remove the temporary files of the
/// AtomicFiles alive at that moment before the signal ends the process as
/// it would have (a signal the process ignores stays ignored): a person who
/// stops a program that writes a large file finds no half of it left. For
/// programs that end on those signals; call once, early.
void removeTemporariesOnSignals();

} // namespace slidebox::platform
