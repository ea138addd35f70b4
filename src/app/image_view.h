#pragma once

#include <QImage>
#include <QRectF>
#include <QWidget>

namespace slidebox::app {

/// The viewer's picture: an image larger than the view is scaled down to
/// fit, keeping its proportions; a smaller one is shown at one point per
/// pixel. Both are centred. The view's size never depends on the image, so
/// the layout around it stays still from one image to the next.
class ImageView : public QWidget {
    Q_OBJECT
  public:
    explicit ImageView(QWidget* parent = nullptr);

    /// Shows the image (a null image: nothing).
    void setImage(QImage image);
    void clear() { setImage(QImage()); }
    const QImage& image() const { return image_; }

    /// Where an image of that size in points goes in a view of that size:
    /// scaled down by the smaller of the two ratios when it is larger in
    /// either direction, never scaled up; centred. Empty for an empty image.
    static QRectF displayRect(const QSizeF& imageSize, const QSizeF& viewSize);
    /// displayRect of the image on show in this view.
    QRectF imageRect() const;

    QSize sizeHint() const override { return {240, 180}; }
    QSize minimumSizeHint() const override { return {240, 180}; }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QImage image_;
};

} // namespace slidebox::app
