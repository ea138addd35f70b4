#pragma once

#include <filesystem>

namespace slidebox::platform {

/// An exclusive advisory lock (flock) on a file, made if missing, held from
/// construction until the object ends; waits while another process or
/// object holds it. Move-less; the file stays for the next holder.
class FileLock {
  public:
    explicit FileLock(const std::filesystem::path& file);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    /// False when the file could not be opened or locked (the caller then
    /// runs unserialised, as nothing better can be done).
    bool isLocked() const { return fd_ >= 0; }

  private:
    int fd_ = -1;
};

/// $XDG_RUNTIME_DIR when set to an absolute path, else /tmp: where the
/// user's locks live.
std::filesystem::path runtimeDirectory();

} // namespace slidebox::platform
