// Draws the application's pictures into a folder, once per build:
//   FilmStrip.tif       84 x 84, the frame of a library's picture in the list;
//                       the thumbnail goes into x 12, y 6, 60 x 72 (y up)
//   SmallFilmStrip.tif  32 x 32, the application's small icon
//   slidebox.png        128 x 128, the icon of the desktop entry
// and, given an icon theme folder, the icon at the theme's usual sizes as
// <theme>/<n>x<n>/apps/slidebox.png.
#include <cstdio>

#include <QCoreApplication>
#include <QDir>
#include <QImage>
#include <QImageWriter>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

namespace {

const QColor filmColor(34, 30, 28);
const QColor holeColor(236, 232, 222);
const QColor frameColor(62, 58, 54);

// A vertical strip of film filling the image: sprocket holes down both
// edges, the picture frame between them.
void drawFilm(QPainter& painter, const QRectF& area, const QRectF& frame, qreal holeWidth,
              qreal holeHeight, qreal pitch) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(filmColor);
    painter.drawRoundedRect(area, area.width() * 0.04, area.width() * 0.04);
    painter.setBrush(holeColor);
    const qreal margin = (frame.left() - area.left() - holeWidth) / 2.0;
    for (qreal y = area.top() + pitch / 2.0 - holeHeight / 2.0; y + holeHeight <= area.bottom();
         y += pitch) {
        const qreal radius = holeHeight * 0.25;
        painter.drawRoundedRect(QRectF(area.left() + margin, y, holeWidth, holeHeight), radius,
                                radius);
        painter.drawRoundedRect(QRectF(area.right() - margin - holeWidth, y, holeWidth, holeHeight),
                                radius, radius);
    }
    painter.setBrush(frameColor);
    painter.drawRect(frame);
}

// A small landscape for the icons: sky, sun, two hills.
void drawLandscape(QPainter& painter, const QRectF& frame) {
    QLinearGradient sky(frame.topLeft(), frame.bottomLeft());
    sky.setColorAt(0.0, QColor(88, 150, 222));
    sky.setColorAt(1.0, QColor(198, 226, 246));
    painter.setBrush(sky);
    painter.drawRect(frame);
    painter.setBrush(QColor(255, 204, 64));
    const qreal sun = frame.width() * 0.22;
    painter.drawEllipse(QRectF(frame.right() - sun * 1.5, frame.top() + sun * 0.5, sun, sun));
    QPainterPath back;
    back.moveTo(frame.left(), frame.bottom() - frame.height() * 0.35);
    back.quadTo(frame.center().x() - frame.width() * 0.1, frame.top() + frame.height() * 0.35,
                frame.right(), frame.bottom() - frame.height() * 0.3);
    back.lineTo(frame.bottomRight());
    back.lineTo(frame.bottomLeft());
    painter.setBrush(QColor(92, 158, 84));
    painter.drawPath(back);
    QPainterPath front;
    front.moveTo(frame.left(), frame.bottom() - frame.height() * 0.12);
    front.quadTo(frame.center().x() + frame.width() * 0.2, frame.bottom() - frame.height() * 0.42,
                 frame.right(), frame.bottom() - frame.height() * 0.1);
    front.lineTo(frame.bottomRight());
    front.lineTo(frame.bottomLeft());
    painter.setBrush(QColor(58, 122, 60));
    painter.drawPath(front);
}

QImage filmStrip() {
    QImage image(84, 84, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    // The thumbnail frame, x 12, y 6 from the bottom, 60 x 72: in Qt's
    // downward y it starts 84 - 6 - 72 = 6 from the top.
    drawFilm(painter, QRectF(0, 0, 84, 84), QRectF(12, 6, 60, 72), 6, 5, 10.5);
    return image;
}

QImage icon(int size) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal s = size;
    const QRectF area(s * 0.12, 0, s * 0.76, s);
    const QRectF frame(area.left() + s * 0.14, s * 0.1, area.width() - s * 0.28, s * 0.8);
    drawFilm(painter, area, frame, s * 0.07, s * 0.07, s * 0.14);
    drawLandscape(painter, frame);
    return image;
}

bool save(const QImage& image, const QString& path, const char* format) {
    QImageWriter writer(path, format);
    if (!writer.write(image)) {
        std::fprintf(stderr, "draw_film_strips: %s: %s\n", qPrintable(path),
                     qPrintable(writer.errorString()));
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    if (argc != 2 && argc != 3) {
        std::fprintf(stderr, "usage: draw_film_strips <folder> [<icon theme folder>]\n");
        return 2;
    }
    const QDir folder(QString::fromLocal8Bit(argv[1]));
    if (!QDir().mkpath(folder.path()))
        return 1;
    bool ok = save(filmStrip(), folder.filePath(QStringLiteral("FilmStrip.tif")), "tiff");
    ok = save(icon(32), folder.filePath(QStringLiteral("SmallFilmStrip.tif")), "tiff") && ok;
    ok = save(icon(128), folder.filePath(QStringLiteral("slidebox.png")), "png") && ok;
    if (argc == 3) {
        const QDir theme(QString::fromLocal8Bit(argv[2]));
        for (int size : {16, 32, 48, 64, 128, 256}) {
            const QString apps = QStringLiteral("%1x%1/apps").arg(size);
            ok = QDir().mkpath(theme.filePath(apps)) &&
                 save(icon(size), theme.filePath(apps + QStringLiteral("/slidebox.png")), "png") &&
                 ok;
        }
    }
    return ok ? 0 : 1;
}
