#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string_view>

#include <time.h>

#include "platform/status.h"

namespace slidebox::platform {

/// A regular file mapped read-only, for reading large files where they lie
/// in the page cache. The file stays open while the mapping lives, so that
/// whether it was changed in place since can be asked (a file replaced by a
/// rename, as every writer here replaces files, leaves the mapping as it
/// was).
class MappedFile {
  public:
    /// Maps a regular file (links followed); refused with the reason when it
    /// can't be opened, is anything but a regular file, is empty or is
    /// larger than maxBytes.
    static Result<std::shared_ptr<const MappedFile>> open(const std::filesystem::path& path,
                                                          std::size_t maxBytes);
    ~MappedFile();
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    std::string_view bytes() const { return {data_, size_}; }

    /// False once the file has been written, truncated or grown in place
    /// since it was mapped (its size or modification time differ; the
    /// change time is not asked, as a rename over the file changes it): its bytes are no longer
    /// what was read. (A file cut shorter under the mapping would end the program at the next read
    /// past its new end, so callers ask before each read of a part they have
    /// not read yet.)
    bool unchanged() const;

  private:
    struct PrivateTag {};

  public:
    MappedFile(PrivateTag, int fd, const char* data, std::size_t size,
               const struct timespec& modified)
        : fd_(fd), data_(data), size_(size), modified_(modified) {}

  private:
    int fd_;
    const char* data_;
    std::size_t size_;
    struct timespec modified_;
};

} // namespace slidebox::platform
