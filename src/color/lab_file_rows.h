#pragma once

#include <filesystem>
#include <memory>

#include "color/lab_comparison.h"
#include "image/tiff_reader.h"
#include "platform/status.h"

namespace slidebox::color {

/// The rows of a 16-bit Lab TIFF (as icc transform writes it), read from
/// the file band by band as a streaming comparison asks for them, so that
/// the image is never held whole.
class LabFileRows : public LabRows {
  public:
    /// Opens path. The reader's refusal; BadArgument, naming what the file
    /// holds, when it is not 16-bit packed Lab without alpha.
    static platform::Result<std::unique_ptr<LabFileRows>> open(const std::filesystem::path& path);

    std::uint32_t width() const override;
    std::uint32_t height() const override;
    /// A strip's rows, or a tile's height; 1 when the rows are read
    /// straight from the file.
    std::uint32_t rowsPerRead() const override;
    /// When the file stores the rows as they come (uncompressed strips).
    bool readsAtOnce() const override;
    /// The reader's reason, naming the file, when the rows can't be read.
    platform::Status read(std::uint32_t first, std::uint32_t count, int slot,
                          LabView& rows) override;

    LabFileRows(image::TiffReader reader, std::filesystem::path path)
        : reader_(std::move(reader)), path_(std::move(path)) {}

  private:
    image::TiffReader reader_;
    std::filesystem::path path_;      // named in the reasons of read()
    image::Bitmap bands_[kReadSlots]; // the rows of the last read into each slot, grown as asked
};

} // namespace slidebox::color
