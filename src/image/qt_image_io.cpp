#include "image/qt_image_io.h"

#include <QFile>
#include <QImage>
#include <QImageWriter>

#include "platform/atomic_file.h"

namespace slidebox::image {

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
    QImage image(bitmap.plane(0), bitmap.width(), bitmap.height(),
                 static_cast<qsizetype>(bitmap.rowBytes()), qtFormat);
    // 96 dots an inch, whatever screen (or none) the program has: the same
    // pixels make the same file.
    constexpr int kDotsPerMeter = 3780;
    image.setDotsPerMeterX(kDotsPerMeter);
    image.setDotsPerMeterY(kDotsPerMeter);
    auto file = platform::AtomicFile::create(path);
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
