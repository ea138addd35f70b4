#include "image/image_file.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "image/png_jpeg_reader.h"
#include "image/tiff_reader.h"

namespace slidebox::image {

ImageFileKind imageFileKind(const std::filesystem::path& path) {
    std::string ending = path.extension().native();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (ending == ".tif" || ending == ".tiff")
        return ImageFileKind::Tiff;
    if (ending == ".png")
        return ImageFileKind::Png;
    if (ending == ".jpg" || ending == ".jpeg")
        return ImageFileKind::Jpeg;
    return ImageFileKind::Unknown;
}

ImageResult<DecodedImage> readImage(const std::filesystem::path& path) {
    switch (imageFileKind(path)) {
    case ImageFileKind::Tiff: {
        auto reader = TiffReader::open(path);
        if (!reader)
            return reader.status();
        DecodedImage decoded;
        decoded.iccProfile = reader->iccProfile();
        auto bitmap = reader->readBitmap();
        if (!bitmap)
            return bitmap.status();
        decoded.bitmap = std::move(bitmap.value());
        return decoded;
    }
    case ImageFileKind::Png:
        return readPng(path);
    case ImageFileKind::Jpeg:
        return readJpeg(path);
    case ImageFileKind::Unknown:
        break;
    }
    return ImageStatus::failure(
        ImageErrorCode::Unsupported,
        "unknown image file ending (.tif, .tiff, .png, .jpg, .jpeg are read)");
}

ImageResult<Bitmap> readImageFile(const std::filesystem::path& path) {
    auto decoded = readImage(path);
    if (!decoded)
        return decoded.status();
    return std::move(decoded->bitmap);
}

} // namespace slidebox::image
