#include "color/gamut_file.h"

#include <cstring>

#include "image/image_file.h"
#include "image/png_writer.h"

namespace slidebox::color {

namespace {

constexpr image::PixelFormat kRgb8 = image::PixelFormat::make(image::ColorSpace::RGB, 8);

platform::Status named(const std::filesystem::path& path, const platform::Status& status) {
    return platform::Status::failure(status.code(), "'" + path.string() + "': " + status.message());
}

} // namespace

platform::Result<std::unique_ptr<GamutFile>>
GamutFile::create(const std::filesystem::path& path, std::int32_t width, std::int32_t height) {
    auto file = std::make_unique<GamutFile>();
    file->path_ = path;
    file->width_ = width;
    if (image::imageFileKind(path) == image::ImageFileKind::Tiff) {
        image::TiffWriteOptions options;
        options.durable = false; // renamed into place at the end all the same
        auto writer = image::TiffWriter::create(path, width, height, kRgb8, options);
        if (!writer)
            return named(path, writer.status());
        file->tiff_.emplace(std::move(writer.value()));
    } else {
        auto whole = image::Bitmap::allocate(width, height, kRgb8);
        if (!whole)
            return named(path, whole.status());
        file->whole_ = std::move(whole.value());
    }
    return file;
}

bool GamutFile::writeRows(const std::uint8_t* rows, std::size_t rowBytes, std::int32_t count) {
    if (!rows) {
        problem_ = platform::Status::failure(platform::ErrorCode::OutOfMemory,
                                             "no memory for the gamut image");
        return false;
    }
    if (tiff_) {
        auto wrapped =
            image::Bitmap::wrap(width_, count, kRgb8, rowBytes, const_cast<std::uint8_t*>(rows));
        if (!wrapped) {
            problem_ = wrapped.status();
            return false;
        }
        if (auto status = tiff_->writeRows(*wrapped); !status) {
            problem_ = status;
            return false;
        }
    } else {
        for (std::int32_t y = 0; y < count && written_ + y < whole_.height(); ++y)
            std::memcpy(whole_.row(written_ + y), rows + static_cast<std::size_t>(y) * rowBytes,
                        whole_.minRowBytes());
    }
    written_ += count;
    return true;
}

platform::Status GamutFile::finish() {
    if (!problem_)
        return named(path_, problem_);
    const auto status = tiff_ ? tiff_->finish() : image::writePng(path_, whole_);
    return status ? status : named(path_, status);
}

} // namespace slidebox::color
