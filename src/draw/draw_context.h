#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include <QImage>
#include <QPainterPath>

#include "draw/drawing_objects.h"
#include "draw/rect_f.h"
#include "image/bitmap.h"

namespace slidebox::draw {

/// Draws into a bitmap's pixels in place, in points with y growing upwards
/// from the bottom edge (one point a pixel), antialiased, source over.
///
/// Three layouts, 8 bits a sample, packed: gray of one sample (a gray of
/// 1.0 writes 255), RGB with premultiplied alpha last, and CMYK of four
/// inks without alpha. Gray and RGB are painted by a QPainter on a QImage
/// over the bitmap's memory. Qt has no CMYK image, so each ink is painted as
/// a gray plane of its own with that ink's value, and written back into its
/// place in the pixels after every operation: what a reader of the pixels
/// sees is always the whole drawing. Colours and pictures of another space
/// reach the bitmap through device conversions (ink_light.h): a gray g is
/// the black ink 1 - g on CMYK.
///
/// The fill colour starts as opaque gray 0.0. The bitmap must outlive the
/// context and keep its memory.
class DrawContext {
  public:
    /// A context on the bitmap; null for any other layout than the three.
    static std::unique_ptr<DrawContext> create(image::Bitmap& pixels);
    DrawContext(const DrawContext&) = delete;
    DrawContext& operator=(const DrawContext&) = delete;

    DrawColorSpace::Model model() const { return model_; }

    /// Values 0..1, held to it.
    void setGrayFillColor(float gray, float alpha = 1.0f);
    void setRGBFillColor(float red, float green, float blue, float alpha = 1.0f);
    void setCMYKFillColor(float cyan, float magenta, float yellow, float black, float alpha = 1.0f);

    void fillRect(const RectF& rect);
    /// Fills the path as one shape, by the nonzero winding rule; an open
    /// subpath counts as closed by a straight line.
    void fillPath(const QPainterPath& path);

    /// Draws a picture scaled into the rectangle, filtered.
    void drawImage(const RectF& rect, const QImage& picture);
    /// Draws an 8-bit packed CMYK bitmap scaled into the rectangle, filtered:
    /// ink by ink on a CMYK bitmap, as light on the others.
    void drawImage(const RectF& rect, const image::Bitmap& inks);

  private:
    DrawContext(image::Bitmap& pixels, DrawColorSpace::Model model);
    /// The fill colour in the bitmap's own space, 0..255, and its alpha.
    std::array<std::uint8_t, 4> fillValues() const;
    template <class Paint> void paintInks(const std::array<std::uint8_t, 4>& inks, Paint paint);
    template <class Paint> void paintPicture(Paint paint);
    QRectF qtRect(const RectF& rect) const;

    image::Bitmap& pixels_;
    DrawColorSpace::Model model_;
    QImage picture_; ///< over the pixels; null for CMYK
    DrawColorSpace::Model fillSpace_ = DrawColorSpace::Model::Gray;
    std::array<float, 4> fill_{};
    float fillAlpha_ = 1.0f;
};

} // namespace slidebox::draw
