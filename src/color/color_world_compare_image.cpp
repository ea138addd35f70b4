// The Lab bitmap comparison into a QImage, as the application paints it:
// apart from the rest, so that a program that streams comparisons without
// Qt links none of this.
#include <QImage>

#include "color/color_world.h"

namespace slidebox::color {

std::uint8_t* ColorWorld::testGamutImage(QImage* image, const CMBitmap& bitmap,
                                         std::int32_t& rowBytes) {
    return LabComparison::testGamutImage(image, bitmap.width, bitmap.height, rowBytes);
}

void ColorWorld::drawNoDifference(QImage& image) {
    LabComparison::drawNoDifference(image);
}

bool ColorWorld::compareLabBitmapWithLabBitmapOf(const ColorWorld& other, float tolerance,
                                                 const image::Bitmap* mask, QImage* image) {
    const CMBitmap* own = labBitmap();
    std::int32_t gamutRowBytes = 0;
    // The image is looked at first: a bad one beeps even when the
    // comparison then stops.
    std::uint8_t* gamut = testGamutImage(image, own ? *own : CMBitmap{}, gamutRowBytes);
    if (!logged(compareLabBitmaps(other, tolerance, mask, nullptr)))
        return false;
    if (gamut) {
        const MaskView maskView = mask ? MaskView{mask->plane(0), mask->rowBytes()} : MaskView{};
        comparison_.paint(labView(), other.labView(), mask ? &maskView : nullptr, gamut,
                          static_cast<std::size_t>(gamutRowBytes));
    }
    if (noDifference() && image)
        drawNoDifference(*image);
    return true;
}

} // namespace slidebox::color
