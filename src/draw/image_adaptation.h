#pragma once

// Bringing images to a size: the icon of the tray item, the pictures of the
// film strip that stands for a library in the table. All sizes in points,
// single precision.

#include <memory>

#include <QImage>

#include "draw/bitmap_image_rep.h"
#include "draw/image.h"
#include "draw/rect_f.h"

namespace slidebox::draw {

/// The source scaled into a new representation of size pixels (rounded up
/// to whole pixels; the drawing keeps the fraction), stretched to fill it,
/// in the layout its space picks: a white or black gray (8 bits a pixel)
/// into gray, a white one with its samples reversed, since the new gray is
/// labelled black; RGB into RGB with alpha; CMYK into CMYK. The result has
/// the source's size in points and belongs to the caller; the source's
/// pixels are read in place and must live until this returns. Null for any
/// other space, for samples that don't fit its row (gray of other than 8
/// bits a pixel, RGB of other than 24 or 32, CMYK of other than 32), for a
/// source without pixels, or a size of no pixels.
std::unique_ptr<BitmapImageRep> bitmapWithPixelsSize(SizeF size, const BitmapImageRep& source);

/// Replaces the image's first representation by a square one of size
/// pixels scaled from it, sized size by size points, as is the image.
/// Further representations stay. When the scaling gives nothing, the image
/// is left as it was.
void adaptImage(Image& image, int size);

/// Keeps only the representations of exactly size by size points.
void adaptIconImage(Image& image, int size);

/// Sets the size in points of the image and of each representation; no
/// pixel changes.
void adaptImageSize(Image& image, SizeF size);

/// Fits the source's size into the destination: proportions kept, centred,
/// 2 points clear on each side along the limiting axis (larger or smaller).
/// The source's origin is not read; a source of no width or height gives a
/// rectangle that can't be drawn.
RectF adaptRect(const RectF& source, const RectF& destination);

/// The tray item's icon: the picture scaled to 16 by 16 pixels through
/// adaptImage. Null for a null picture or one that can't be scaled.
QImage statusItemIcon(const QImage& icon);

/// A film-strip cell: a copy of the strip with the picture fitted by
/// adaptRect into frame (in the strip's points, y upwards) and drawn over
/// it. The strip itself when the picture is null or gives no rectangle to
/// draw in; a null picture for a null strip.
QImage filmStripCell(const QImage& strip, const QImage& picture, const RectF& frame);

} // namespace slidebox::draw
