#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

#include "color/color_world.h"
#include "image/bitmap.h"
#include "image/tiff_writer.h"
#include "platform/status.h"

namespace slidebox::color {

/// A comparison's gamut image written to a file: a TIFF streamed band by
/// band as the comparison paints it, a PNG gathered whole and written at
/// the end. Nothing is left at the path unless finish() succeeds.
class GamutFile : public GamutSink {
  public:
    /// A gamut file of width × height at path, by its ending (.tif, .tiff,
    /// .png). The writer's refusal, naming the path.
    static platform::Result<std::unique_ptr<GamutFile>>
    create(const std::filesystem::path& path, std::int32_t width, std::int32_t height);
    bool writeRows(const std::uint8_t* rows, std::size_t rowBytes, std::int32_t count) override;
    /// Completes the file; the first problem met, naming the path.
    platform::Status finish();

    /// An empty sink; create() is the way to one that writes.
    GamutFile() = default;

  private:
    std::filesystem::path path_;
    std::int32_t width_ = 0;
    std::int32_t written_ = 0;
    std::optional<image::TiffWriter> tiff_;
    image::Bitmap whole_; // a PNG's rows until finish()
    platform::Status problem_;
};

} // namespace slidebox::color
