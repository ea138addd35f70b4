#include "app/image_view.h"

#include <algorithm>

#include <QPainter>

namespace slidebox::app {

ImageView::ImageView(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void ImageView::setImage(QImage image) {
    image_ = std::move(image);
    update();
}

QRectF ImageView::displayRect(const QSizeF& imageSize, const QSizeF& viewSize) {
    if (imageSize.isEmpty() || viewSize.isEmpty())
        return {};
    const qreal scale = std::min(
        {1.0, viewSize.width() / imageSize.width(), viewSize.height() / imageSize.height()});
    const QSizeF shown = imageSize * scale;
    return {(viewSize.width() - shown.width()) / 2.0, (viewSize.height() - shown.height()) / 2.0,
            shown.width(), shown.height()};
}

QRectF ImageView::imageRect() const {
    // One point per pixel: the image's own pixel count, whatever the screen.
    return displayRect(QSizeF(image_.size()), QSizeF(size()));
}

void ImageView::paintEvent(QPaintEvent*) {
    const QRectF target = imageRect();
    if (target.isEmpty())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target, image_, QRectF(image_.rect()));
}

} // namespace slidebox::app
