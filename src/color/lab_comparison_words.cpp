// The words on a gamut image whose bitmaps don't differ, "No Difference",
// drawn with Qt's fonts; and the test of an image handed in to be painted.
// Apart from the painting, so that a program that streams comparisons
// without Qt links none of this.
#include <QFont>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>

#include "color/lab_comparison.h"
#include "platform/log.h"

namespace slidebox::color {

std::uint8_t* LabComparison::testGamutImage(QImage* image, std::uint32_t width,
                                            std::uint32_t height, std::int32_t& rowBytes) {
    if (image && !image->isNull() && image->format() == QImage::Format_RGB888 &&
        !image->hasAlphaChannel() && image->depth() == 24 &&
        static_cast<std::uint32_t>(image->width()) == width &&
        static_cast<std::uint32_t>(image->height()) == height) {
        std::uint8_t* data = image->bits(); // detaches: the data is the image's own
        if (data) {
            rowBytes = static_cast<std::int32_t>(image->bytesPerLine());
            return data;
        }
    }
    beep();
    platform::log("Gamut image is not RGB 24 bits, etc...");
    return nullptr;
}

void LabComparison::drawNoDifference(QImage& image) {
    if (image.isNull())
        return;
    if (!QGuiApplication::instance())
        return;
    static const QString text = QStringLiteral("No Difference");
    QFont font = QGuiApplication::font();
    qreal textWidth = 0;
    qreal textHeight = 0;
    for (int size = 28; size >= 2; --size) {
        font.setPixelSize(size);
        const QFontMetricsF metrics(font, &image);
        textWidth = metrics.horizontalAdvance(text);
        textHeight = metrics.height();
        if (textWidth <= image.width() || size == 2)
            break;
    }
    QPainter painter(&image);
    painter.setFont(font);
    painter.setPen(Qt::black);
    const QFontMetricsF metrics(font, &image);
    const qreal x = (image.width() - textWidth) / 2;
    const qreal y = (image.height() - textHeight) / 2;
    painter.drawText(QPointF(x, y + metrics.ascent()), text);
}

platform::Status LabComparison::drawNoDifferenceOnRows(std::uint8_t* rows, std::uint32_t width,
                                                       std::uint32_t height, std::size_t rowBytes) {
    if (!QGuiApplication::instance())
        return platform::Status::failure(platform::ErrorCode::Unsupported,
                                         "the words on the gamut image need a GUI application");
    // The image only points at the rows: the words land in them.
    QImage image(rows, static_cast<int>(width), static_cast<int>(height),
                 static_cast<qsizetype>(rowBytes), QImage::Format_RGB888);
    drawNoDifference(image);
    return {};
}

} // namespace slidebox::color
