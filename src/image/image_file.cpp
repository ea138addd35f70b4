#include "image/image_file.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "image/qt_image_io.h"
#include "image/tiff_reader.h"
#include "image/tiff_writer.h"

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

ImageResult<Bitmap> readImageFile(const std::filesystem::path& path) {
    switch (imageFileKind(path)) {
    case ImageFileKind::Tiff:
        return readTiff(path);
    case ImageFileKind::Png:
    case ImageFileKind::Jpeg:
        return readQtImage(path);
    case ImageFileKind::Unknown:
        break;
    }
    return ImageStatus::failure(
        ImageErrorCode::Unsupported,
        "unknown image file ending (.tif, .tiff, .png, .jpg, .jpeg are read)");
}

ImageStatus writeImageFile(const std::filesystem::path& path, const Bitmap& bitmap) {
    switch (imageFileKind(path)) {
    case ImageFileKind::Tiff:
        return writeTiff(path, bitmap);
    case ImageFileKind::Png:
        return writePng(path, bitmap);
    case ImageFileKind::Jpeg:
    case ImageFileKind::Unknown:
        break;
    }
    return ImageStatus::failure(ImageErrorCode::Unsupported,
                                "images are written as .tif, .tiff or .png");
}

} // namespace slidebox::image
