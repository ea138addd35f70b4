#pragma once

// What `icc transform` and `icc compare` share: a mapped TIFF, the
// colour world that takes an image into Lab, and the progress line.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "cli/arguments.h"
#include "color/color_world.h"
#include "image/bitmap.h"

namespace slidebox::cli {

/// A file mapped read-only into memory, unmapped at the end. The pages
/// are set up at once, for a caller that reads the whole file in order.
class MappedFile {
  public:
    MappedFile() = default;
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    ~MappedFile();
    /// False when the file can't be opened, is empty or won't map.
    bool map(const std::string& path);
    std::uint8_t* data() const { return static_cast<std::uint8_t*>(data_); }
    std::size_t size() const { return size_; }

  private:
    void* data_ = nullptr;
    std::size_t size_ = 0;
};

/// The image of an uncompressed TIFF whose samples lie in the file as
/// reading would give them, as a bitmap over the mapped file (which must
/// outlive it); a Lab file's signed a and b are left as they are and
/// reported in labSigned. Nothing when the file isn't laid out so.
std::optional<image::Bitmap> mapTiff(const std::string& path, MappedFile& file, bool& labSigned);

/// Redraws one line on standard error, "\r[####      ]  50%", and ends it
/// with a newline after 100. Quiet when standard error is not a terminal.
class ProgressLine : public color::CompletionHandler {
  public:
    ProgressLine();
    void setAmountOfCompletion(std::int32_t percent) override;

  private:
    bool terminal_;
};

/// The world from source (a PROFILE argument) into the generic Lab profile,
/// intentIn then intentOut; null with a message on standard error (and the
/// status to return in status) when a profile or the chain fails.
std::unique_ptr<color::ColorWorld> labWorld(const std::string& source, std::int32_t intentIn,
                                            std::int32_t intentOut, const char* command,
                                            int& status);

/// Reads an image and matches it in Lab mode through world: world then
/// holds its Lab bitmap. Status 1 with a message when the file can't be
/// read; the match's own log line when it is refused.
int matchIntoLab(color::ColorWorld& world, const std::string& path, const char* command);

} // namespace slidebox::cli
