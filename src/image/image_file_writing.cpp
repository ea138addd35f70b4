// Writing image files, apart from the readers: a program that only reads
// images (and writes TIFFs) then links no Qt, which the PNG writer needs.
#include "image/image_file.h"
#include "image/png_writer.h"
#include "image/tiff_writer.h"

namespace slidebox::image {

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
