// The Lab bitmap comparison as ColorWorld offers it: the checks, the log
// lines and the engine's records at the edge; the comparison itself is
// LabComparison's. The forms that paint a QImage are in
// color_world_compare_image.cpp.
#include "color/color_world.h"
#include "platform/log.h"

namespace slidebox::color {

namespace {

LabView viewOf(const CMBitmap& bitmap) {
    return {reinterpret_cast<const std::uint8_t*>(bitmap.image), bitmap.width, bitmap.height,
            bitmap.rowBytes, bitmap.space == cmLab48SignedABSpace};
}

MaskView maskOf(const CMBitmap& mask) {
    return {reinterpret_cast<const std::uint8_t*>(mask.image), mask.rowBytes};
}

} // namespace

bool ColorWorld::sameLabBitmap(const CMBitmap& a, const CMBitmap& b) {
    return a.pixelSize == b.pixelSize && a.rowBytes == b.rowBytes && a.width == b.width &&
           a.height == b.height;
}

void ColorWorld::findPatchDimensionWidth(std::uint32_t& width, std::uint32_t& height,
                                         const std::uint8_t* maskPtr, const CMBitmap& mask,
                                         std::uint32_t widthLeft, std::uint32_t heightLeft) {
    LabComparison::findPatchDimension(width, height, maskPtr, mask.rowBytes, widthLeft, heightLeft);
}

CMColor ColorWorld::averagePatchColorWidth(std::uint32_t width, std::uint32_t height,
                                           const std::uint8_t* color, const CMBitmap& bitmap) {
    return LabComparison::averagePatchColorOf(width, height, color, viewOf(bitmap));
}

void ColorWorld::setBeepHandler(std::function<void()> handler) {
    LabComparison::setBeepHandler(std::move(handler));
}

void ColorWorld::setWordsHandler(LabComparison::WordsHandler handler) {
    LabComparison::setWordsHandler(std::move(handler));
}

bool ColorWorld::compareLabBitmap(const CMBitmap& own, const CMBitmap& external,
                                  const CMBitmap* mask, std::uint8_t* gamut,
                                  std::size_t gamutRowBytes) {
    const MaskView maskView = mask ? maskOf(*mask) : MaskView{};
    return comparison_.compare(viewOf(own), viewOf(external), mask ? &maskView : nullptr, gamut,
                               gamutRowBytes);
}

platform::Status ColorWorld::prepareComparison(std::uint32_t width, std::uint32_t height,
                                               float tolerance, const image::Bitmap* mask,
                                               MaskView& maskView) {
    comparison_.gamutTolerance = tolerance;
    if (!mask)
        return {};
    // Every byte the comparison reads must exist: a mask of one 8-bit
    // sample at least as large as the bitmaps.
    const image::PixelFormat& f = mask->format();
    if (mask->isNull() || f.space != image::ColorSpace::Gray || f.bytesPerSample != 1 ||
        f.hasAlpha || mask->rowBytes() > 0xFFFFFFFFu)
        return refuse("ColorWorld: Gray mask does not cover the Lab CMbitmaps",
                      platform::ErrorCode::BadArgument,
                      "the mask is not an 8-bit image of one sample (it is " +
                          (mask->isNull() ? std::string("empty") : image::describe(f)) + ")");
    if (static_cast<std::uint32_t>(mask->width()) < width ||
        static_cast<std::uint32_t>(mask->height()) < height)
        return refuse("ColorWorld: Gray mask does not cover the Lab CMbitmaps",
                      platform::ErrorCode::BadArgument,
                      "the mask (" + sizeText(mask->width(), mask->height()) +
                          ") is smaller than the images (" + sizeText(width, height) + ")");
    maskView = {mask->plane(0), mask->rowBytes()};
    return {};
}

platform::Status ColorWorld::compareLabBitmaps(const ColorWorld& other, float tolerance,
                                               const image::Bitmap* mask, GamutSink* sink) {
    const CMBitmap* own = labBitmap();
    const CMBitmap* external = other.labBitmap();
    comparison_.gamutTolerance = tolerance;
    refusalLogLine_ = nullptr;
    // Both missing bitmaps have their line, as they always had.
    if (!own && !external)
        platform::log("ColorWorld: No Internal CMbitmap image");
    if (!own || !external)
        return refuse(own ? "ColorWorld: No External CMbitmap image"
                          : (external ? "ColorWorld: No Internal CMbitmap image"
                                      : "ColorWorld: No External CMbitmap image"),
                      platform::ErrorCode::BadArgument,
                      std::string("the ") + (own ? "second" : "first") +
                          " image has no Lab bitmap");
    if (!sameLabBitmap(*own, *external)) {
        const bool sameSize = own->width == external->width && own->height == external->height;
        return refuse("Not Same Lab CMbitmaps", platform::ErrorCode::BadArgument,
                      sameSize
                          ? "the two Lab bitmaps differ in layout"
                          : "the two bitmaps differ in size (" + sizeText(own->width, own->height) +
                                " and " + sizeText(external->width, external->height) + ")");
    }
    LabViewRows ownRows(labView()), externalRows(other.labView());
    return compareLabRows(ownRows, externalRows, tolerance, mask, sink);
}

platform::Status ColorWorld::compareLabRows(LabRows& own, LabRows& external, float tolerance,
                                            const image::Bitmap* mask, GamutSink* sink) {
    refusalLogLine_ = nullptr;
    comparison_.gamutTolerance = tolerance;
    if (own.width() != external.width() || own.height() != external.height())
        return refuse("Not Same Lab CMbitmaps", platform::ErrorCode::BadArgument,
                      "the two bitmaps differ in size (" + sizeText(own.width(), own.height()) +
                          " and " + sizeText(external.width(), external.height()) + ")");
    MaskView maskView;
    if (auto status = prepareComparison(own.width(), own.height(), tolerance, mask, maskView);
        !status)
        return status;
    return comparison_.compareRows(own, external, mask ? &maskView : nullptr, sink);
}

bool ColorWorld::compareLabBitmapWithLabBitmapOf(const ColorWorld& other, float tolerance,
                                                 const image::Bitmap* mask, GamutSink* sink) {
    return logged(compareLabBitmaps(other, tolerance, mask, sink));
}

} // namespace slidebox::color
