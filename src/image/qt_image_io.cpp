#include "image/qt_image_io.h"

#include <cstring>

#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QImageWriter>

#include "image/atomic_file.h"

namespace slidebox::image {

namespace {

QString qtPath(const std::filesystem::path& path) {
    // Names are bytes; Qt decodes them the way it encodes its own.
    return QFile::decodeName(QByteArray(path.c_str()));
}

/// Whether an 8-bit image without alpha holds only grays.
bool onlyGrays(const QImage& image) {
    if (image.format() == QImage::Format_Grayscale8 || image.format() == QImage::Format_Grayscale16)
        return true;
    return !image.hasAlphaChannel() && image.isGrayscale();
}

} // namespace

ImageResult<Bitmap> readQtImage(const std::filesystem::path& path) {
    QImageReader reader(qtPath(path));
    reader.setAutoTransform(false);
    QImage image = reader.read();
    if (image.isNull()) {
        const bool tooLarge = reader.error() == QImageReader::InvalidDataError &&
                              reader.errorString().contains(QLatin1String("limit"));
        return ImageStatus::failure(tooLarge ? ImageErrorCode::TooLarge
                                             : ImageErrorCode::CannotOpen,
                                    "cannot read the image: " + reader.errorString().toStdString());
    }
    PixelFormat format;
    QImage::Format qtFormat;
    if (onlyGrays(image)) {
        format = PixelFormat::make(ColorSpace::Gray, 8);
        qtFormat = QImage::Format_Grayscale8;
    } else if (image.hasAlphaChannel()) {
        format = PixelFormat::make(ColorSpace::RGB, 8, true);
        qtFormat = QImage::Format_RGBA8888;
    } else {
        format = PixelFormat::make(ColorSpace::RGB, 8);
        qtFormat = QImage::Format_RGB888;
    }
    if (image.format() != qtFormat)
        image.convertTo(qtFormat);
    if (image.isNull())
        return ImageStatus::failure(ImageErrorCode::OutOfMemory, "no memory to convert the image");
    auto bitmap = Bitmap::allocate(image.width(), image.height(), format);
    if (!bitmap)
        return bitmap;
    for (std::int32_t y = 0; y < bitmap->height(); ++y)
        std::memcpy(bitmap->row(y), image.constScanLine(y), bitmap->minRowBytes());
    return bitmap;
}

ImageStatus writePng(const std::filesystem::path& path, const Bitmap& bitmap, bool durable) {
    const PixelFormat& format = bitmap.format();
    QImage::Format qtFormat = QImage::Format_Invalid;
    if (!bitmap.isNull() && format.bytesPerSample == 1 && !format.isPlanar &&
        !format.alphaPremultiplied) {
        if (format.space == ColorSpace::Gray && !format.hasAlpha)
            qtFormat = QImage::Format_Grayscale8;
        else if (format.space == ColorSpace::RGB)
            qtFormat = format.hasAlpha ? QImage::Format_RGBA8888 : QImage::Format_RGB888;
    }
    if (qtFormat == QImage::Format_Invalid)
        return ImageStatus::failure(ImageErrorCode::BadArgument,
                                    "a PNG is written from 8-bit packed gray or RGB, not " +
                                        describe(format));
    // The image only points at the bitmap's rows: nothing is copied.
    const QImage image(bitmap.plane(0), bitmap.width(), bitmap.height(),
                       static_cast<qsizetype>(bitmap.rowBytes()), qtFormat);
    auto file = AtomicFile::create(path);
    if (!file)
        return file.status();
    QFile output;
    if (!output.open(file->descriptor(), QIODevice::WriteOnly, QFileDevice::DontCloseHandle))
        return ImageStatus::failure(ImageErrorCode::CannotWrite, "cannot write the PNG");
    QImageWriter writer(&output, "png");
    if (!writer.write(image) || !output.flush())
        return ImageStatus::failure(ImageErrorCode::CannotWrite,
                                    "cannot write the PNG: " + writer.errorString().toStdString());
    output.close();
    return file->commit(durable);
}

} // namespace slidebox::image
