#include "color/lab_file_rows.h"

#include <algorithm>

namespace slidebox::color {

platform::Result<std::unique_ptr<LabFileRows>>
LabFileRows::open(const std::filesystem::path& path) {
    // The a and b fields as the file keeps them: the comparison's reader
    // decodes signed fields itself, with no pass over the rows to move them.
    image::TiffReadOptions options;
    options.storedSamples = true;
    auto reader = image::TiffReader::open(path, options);
    if (!reader)
        return reader.status();
    const image::PixelFormat& f = reader->format();
    if (f.space != image::ColorSpace::Lab || f.bytesPerSample != 2 || f.hasAlpha || f.isPlanar)
        return platform::Status::failure(platform::ErrorCode::BadArgument,
                                         "not a 16-bit Lab image (it is " + image::describe(f) +
                                             ")");
    return std::make_unique<LabFileRows>(std::move(reader.value()), path);
}

std::uint32_t LabFileRows::width() const {
    return static_cast<std::uint32_t>(reader_.width());
}

std::uint32_t LabFileRows::height() const {
    return static_cast<std::uint32_t>(reader_.height());
}

std::uint32_t LabFileRows::rowsPerRead() const {
    return reader_.readsRowsAtOnce()
               ? 1
               : static_cast<std::uint32_t>(std::max(reader_.rowsPerBand(), 1));
}

bool LabFileRows::readsAtOnce() const {
    return reader_.readsRowsAtOnce();
}

platform::Status LabFileRows::read(std::uint32_t first, std::uint32_t count, int slot,
                                   LabView& rows) {
    const auto wanted = static_cast<std::int32_t>(count);
    image::Bitmap& band = bands_[static_cast<unsigned>(slot) % kReadSlots];
    if (band.isNull() || band.height() < wanted) {
        auto made = image::Bitmap::allocate(reader_.width(), wanted, reader_.format());
        if (!made)
            return made.status();
        band = std::move(made.value());
    }
    auto view = band.view(image::makeRect(0, 0, reader_.width(), wanted));
    if (!view)
        return view.status();
    const auto firstRow = static_cast<std::int32_t>(first);
    if (auto status = reader_.readsRowsAtOnce() ? reader_.readRowsAt(firstRow, *view)
                                                : reader_.readRows(firstRow, *view);
        !status)
        return platform::Status::failure(status.code(),
                                         "'" + path_.string() + "': " + status.message());
    rows = LabView::of(*view, reader_.isLabSigned());
    return {};
}

} // namespace slidebox::color
