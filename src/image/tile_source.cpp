#include "image/tile_source.h"

#include <cstring>

#include "image/image_file.h"
#include "image/tiff_reader.h"

namespace slidebox::image {

TileSource::TileSource() = default;
TileSource::TileSource(TileSource&&) noexcept = default;
TileSource& TileSource::operator=(TileSource&&) noexcept = default;
TileSource::~TileSource() = default;

ImageResult<TileSource> TileSource::open(const std::filesystem::path& path) {
    TileSource source;
    if (imageFileKind(path) == ImageFileKind::Tiff) {
        auto reader = TiffReader::open(path);
        if (!reader)
            return reader.status();
        source.reader_ = std::make_unique<TiffReader>(std::move(reader.value()));
        source.width_ = source.reader_->width();
        source.height_ = source.reader_->height();
        source.format_ = source.reader_->format();
        source.iccProfile_ = source.reader_->iccProfile();
        return source;
    }
    auto decoded = readImage(path);
    if (!decoded)
        return decoded.status();
    source.whole_ = std::move(decoded->bitmap);
    source.iccProfile_ = std::move(decoded->iccProfile);
    source.width_ = source.whole_.width();
    source.height_ = source.whole_.height();
    source.format_ = source.whole_.format();
    return source;
}

ImageResult<Bitmap> TileSource::tile(std::int32_t first, std::int32_t rows) {
    if (!reader_)
        return whole_.view(makeRect(0, first, width_, rows));
    if (buffer_.isNull() || buffer_.height() < rows) {
        auto allocated = Bitmap::allocate(width_, rows, format_);
        if (!allocated)
            return allocated.status();
        buffer_ = std::move(allocated.value());
    }
    auto view = buffer_.view(makeRect(0, 0, width_, rows));
    if (!view)
        return view;
    if (auto status = reader_->readRows(first, *view); !status)
        return status;
    return view;
}

ImageStatus TileSource::readRows(std::int32_t first, Bitmap& into) {
    if (reader_)
        return reader_->readRows(first, into);
    if (into.isNull() || into.width() != width_ || !(into.format() == format_) || first < 0 ||
        into.height() > height_ - first)
        return ImageStatus::failure(ImageErrorCode::BadArgument,
                                    "the rows must be of the image's width and format, inside it");
    for (std::int32_t y = 0; y < into.height(); ++y)
        for (int p = 0; p < into.planeCount(); ++p)
            std::memcpy(into.row(y, p), whole_.row(first + y, p), into.minRowBytes());
    return {};
}

std::int32_t TileSource::rowsPerBand() const {
    return reader_ ? reader_->rowsPerBand() : 1;
}

} // namespace slidebox::image
