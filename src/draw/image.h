#pragma once

#include <memory>
#include <vector>

#include <QImage>

#include "draw/bitmap_image_rep.h"
#include "draw/rect_f.h"

namespace slidebox::draw {

/// An image as a list of bitmap representations, each with its own size in
/// points and pixels, and a size of its own. Move-only: an image that
/// others share is changed in a copy made from its picture.
class Image {
  public:
    Image() = default;
    Image(Image&&) noexcept = default;
    Image& operator=(Image&&) noexcept = default;

    /// An image of one representation of the picture, both sized in points
    /// as the picture in pixels; an image of none for a null picture.
    static Image fromQImage(const QImage& picture);

    const std::vector<std::unique_ptr<BitmapImageRep>>& representations() const { return reps_; }
    /// Appends a representation; null is ignored.
    void addRepresentation(std::unique_ptr<BitmapImageRep> rep);
    /// Removes (and ends) the representation, if it is one of this image's.
    void removeRepresentation(const BitmapImageRep* rep);

    SizeF size() const { return size_; }
    void setSize(SizeF size) { size_ = size; }

    /// The first representation's picture (BitmapImageRep::toQImage); null without one.
    QImage toQImage() const;

  private:
    std::vector<std::unique_ptr<BitmapImageRep>> reps_;
    SizeF size_;
};

} // namespace slidebox::draw
