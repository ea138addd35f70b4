// Whole bitmaps through a colour world, in horizontal tiles of at most one
// million pixels, or into a 16-bit Lab bitmap kept for the comparison.

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "color/color_world.h"
#include "color/profile_header_report.h"
#include "platform/log.h"

namespace slidebox::color {

namespace {

/// The signature a rep of this space must meet; 0 when any will do.
OSType neededSignature(image::ColorSpace space) {
    switch (space) {
    case image::ColorSpace::Gray:
        return cmGrayData;
    case image::ColorSpace::RGB:
        return cmRGBData;
    case image::ColorSpace::CMYK:
        return cmCMYKData;
    case image::ColorSpace::Lab:
        return cmLabData;
    case image::ColorSpace::XYZ:
        break;
    }
    return 0;
}

/// Samples a pixel has by the world's signature for that side: the rep's
/// own layout is not asked.
std::int32_t channelsOf(OSType signature, bool hasAlpha) {
    if (signature == cmGrayData)
        return hasAlpha ? 2 : 1;
    if (signature == cmRGBData || signature == cmLabData)
        return hasAlpha ? 4 : 3;
    return 4;
}

/// Colour samples only: what a tile buffer holds for a planar rep.
std::int32_t colorChannelsOf(OSType signature) {
    if (signature == cmGrayData)
        return 1;
    if (signature == cmRGBData || signature == cmLabData)
        return 3;
    return 4;
}

std::uint32_t spaceCode(OSType signature, bool hasAlpha, bool isPlanar, int bytesPerSample) {
    const bool alpha = hasAlpha && !isPlanar; // a tile buffer carries no alpha
    std::uint32_t code = cm32_8ColorSpace;
    if (signature == cmGrayData)
        code = alpha ? cmGrayA8Space : cmGray8Space;
    else if (signature == cmRGBData)
        code = alpha ? cmRGBA32Space : cmRGB24Space;
    else if (signature == cmLabData)
        code = alpha ? cmLabA32Space : cmLab24Space;
    return bytesPerSample == 2 ? code | cm16BitSamples : code;
}

/// Whether a rep holds the samples the world's signature reads from it,
/// so that no tile reaches past its pixels.
bool repHolds(const image::Bitmap& rep, OSType signature) {
    const image::PixelFormat& f = rep.format();
    if (f.isPlanar)
        return f.planeCount() >= colorChannelsOf(signature);
    return f.samplesPerPixel() >= channelsOf(signature, f.hasAlpha);
}

} // namespace

std::string sizeText(std::int64_t width, std::int64_t height) {
    return std::to_string(width) + "×" + std::to_string(height);
}

platform::Status ColorWorld::refuse(const char* logLine, platform::ErrorCode code,
                                    std::string reason) {
    refusalLogLine_ = logLine;
    return platform::Status::failure(code, std::move(reason));
}

bool ColorWorld::logged(const platform::Status& status) {
    if (!status && refusalLogLine_)
        platform::log(refusalLogLine_);
    refusalLogLine_ = nullptr;
    return status.ok();
}

bool ColorWorld::matchSourceImageRep(const image::Bitmap& source, image::Bitmap* destination) {
    return logged(matchImage(source, destination));
}

platform::Status ColorWorld::matchImage(const image::Bitmap& source, image::Bitmap* destination) {
    refusalLogLine_ = nullptr;
    const OSType needIn = neededSignature(source.format().space);
    const bool sourcePasses = needIn == 0 || dataColorSpaceIn_ == needIn;
    const auto spaces = [&](const image::Bitmap& rep, OSType world) {
        return "the image is " + std::string(image::colorSpaceName(rep.format().space)) +
               " but the profile's space is '" + signatureText(world) + "'";
    };
    if (!destination) {
        if (!sourcePasses || dataColorSpaceOut_ != cmLabData)
            return refuse("ColorWorld: No good source or not a destination Lab color space",
                          platform::ErrorCode::BadArgument,
                          sourcePasses ? "the colour world doesn't end in Lab"
                                       : spaces(source, dataColorSpaceIn_));
    } else if (source.width() != destination->width() || source.height() != destination->height()) {
        return refuse(
            "ColorWorld: ImageReps not of the same size", platform::ErrorCode::BadArgument,
            "the two bitmaps differ in size (" + sizeText(source.width(), source.height()) +
                " and " + sizeText(destination->width(), destination->height()) + ")");
    } else {
        const OSType needOut = neededSignature(destination->format().space);
        const bool destinationPasses =
            needOut == 0 || dataColorSpaceOut_ == needOut || dataColorSpaceOut_ == 0;
        if (!sourcePasses || !destinationPasses)
            return refuse("ColorWorld: No correlation between imageReps and profil color space",
                          platform::ErrorCode::BadArgument,
                          !sourcePasses ? spaces(source, dataColorSpaceIn_)
                                        : spaces(*destination, dataColorSpaceOut_));
    }
    repIn_ = &source;
    repOut_ = destination;
    auto status = matchImageReps();
    // Our bitmaps carry no colour key masks, so there is nothing to hand on.
    repIn_ = nullptr;
    repOut_ = nullptr;
    return status;
}

platform::Status ColorWorld::matchImageReps() {
    if (auto status = allocAndInitDatas(); !status)
        return status;
    do {
        inRect();
        if (!bitmapOut_.ownBitmap)
            outRect();
        matchBitmaps();
        if (bitmapOut_.ownBitmap)
            outRect();
    } while (nextRect());
    if (repOut_)
        releaseMemory();
    else
        releaseCMBitmapMemory(bitmapIn_);
    return {};
}

platform::Status ColorWorld::allocAndInitDatas() {
    const std::int32_t w = repIn_->width();
    const std::int32_t h = repIn_->height();
    tileSizeWidth_ = w;
    tileSizeHeight_ = h;
    if (repOut_ && static_cast<float>(w) * static_cast<float>(h) > tilePixelLimit_)
        tileSizeHeight_ = static_cast<std::int32_t>(static_cast<double>(tilePixelLimit_) / w);

    // A rep that holds fewer samples than the world reads would be read or
    // written past its end.
    if (!repHolds(*repIn_, dataColorSpaceIn_) ||
        (repOut_ && !repHolds(*repOut_, dataColorSpaceOut_))) {
        return refuse("ColorWorld: image rep holds fewer samples than its color space",
                      platform::ErrorCode::BadArgument,
                      "the image holds fewer samples than the profile's colour space");
    }

    allocCMBitmapMemory(bitmapIn_, *repIn_, dataColorSpaceIn_);
    if (repOut_)
        allocCMBitmapMemory(bitmapOut_, *repOut_, dataColorSpaceOut_);
    else
        allocCMBitmapMemoryWithLabBitmap(bitmapOut_);

    datasRect_ = image::makeRect(0, 0, std::min(tileSizeWidth_, w), std::min(tileSizeHeight_, h));
    for (CMBitmap* bitmap : {&bitmapIn_.cmBitmap, &bitmapOut_.cmBitmap}) {
        bitmap->width = static_cast<std::uint32_t>(std::max(datasRect_.size.width, 0));
        bitmap->height = static_cast<std::uint32_t>(std::max(datasRect_.size.height, 0));
    }
    if (!bitmapIn_.cmBitmap.image || !bitmapOut_.cmBitmap.image) {
        releaseMemory();
        return refuse(nullptr, platform::ErrorCode::OutOfMemory, "no memory for the tiles");
    }
    return {};
}

namespace {

/// A block of rowBytes × rows bytes (at least one), or null when it is too
/// large or memory fails.
std::unique_ptr<std::uint8_t[]> allocateTile(std::int64_t rowBytes, std::int64_t rows) {
    if (rowBytes <= 0 || rowBytes > std::numeric_limits<std::int32_t>::max() || rows < 0)
        return nullptr;
    const std::int64_t bytes = std::max<std::int64_t>(rowBytes * rows, 1);
    return std::unique_ptr<std::uint8_t[]>(new (std::nothrow)
                                               std::uint8_t[static_cast<std::size_t>(bytes)]);
}

} // namespace

void ColorWorld::allocCMBitmapMemory(CMBitmapMemory& memory, const image::Bitmap& rep,
                                     OSType space) {
    releaseCMBitmapMemory(memory);
    const image::PixelFormat& f = rep.format();
    memory.isPlanar = f.isPlanar;
    memory.hasAlpha = f.hasAlpha;
    CMBitmap& b = memory.cmBitmap;
    b.user1 = 0;
    b.user2 = 0;
    b.space = spaceCode(space, f.hasAlpha, f.isPlanar, f.bytesPerSample);
    if (!f.isPlanar) {
        b.pixelSize = static_cast<std::uint32_t>(f.bitsPerPixel());
        b.rowBytes = static_cast<std::uint32_t>(rep.rowBytes());
        // The source is only read through this pointer; the destination
        // rep's memory is the one written.
        b.image = reinterpret_cast<char*>(const_cast<std::uint8_t*>(rep.plane(0)));
        memory.ownBitmap = false;
        return;
    }
    // A planar rep's bitsPerPixel is that of one plane.
    b.pixelSize = static_cast<std::uint32_t>(f.bitsPerSample() * channelsOf(space, f.hasAlpha));
    const std::int64_t rowBytes =
        std::int64_t{tileSizeWidth_} * f.samplesPerPixel() * f.bytesPerSample;
    memory.ownedImage = allocateTile(rowBytes, tileSizeHeight_);
    b.rowBytes = memory.ownedImage ? static_cast<std::uint32_t>(rowBytes) : 0;
    b.image = reinterpret_cast<char*>(memory.ownedImage.get());
    memory.ownBitmap = b.image != nullptr;
}

void ColorWorld::allocCMBitmapMemoryWithLabBitmap(CMBitmapMemory& memory) {
    releaseCMBitmapMemory(memory);
    CMBitmap& b = memory.cmBitmap;
    b.pixelSize = 48;
    b.space = cmLab48Space;
    b.user1 = 0;
    b.user2 = 0;
    const std::int64_t rowBytes = std::int64_t{tileSizeWidth_} * 6;
    memory.ownedImage = allocateTile(rowBytes, tileSizeHeight_);
    b.rowBytes = memory.ownedImage ? static_cast<std::uint32_t>(rowBytes) : 0;
    b.image = reinterpret_cast<char*>(memory.ownedImage.get());
    memory.ownBitmap = b.image != nullptr;
}

namespace {

/// Copies the colour planes of the tile rect between a planar rep and a
/// tile buffer (samples side by side at stride channels), either way.
void copyPlanes(const image::Bitmap& rep, CMBitmap& buffer, const image::ZOL_Rect& rect,
                std::int32_t channels, bool toBuffer) {
    const std::size_t bps = rep.format().bytesPerSample;
    const std::size_t stride = static_cast<std::size_t>(channels) * bps;
    for (std::int32_t r = 0; r < rect.size.height; ++r) {
        std::uint8_t* row = reinterpret_cast<std::uint8_t*>(buffer.image) +
                            static_cast<std::size_t>(r) * buffer.rowBytes;
        for (std::int32_t p = 0; p < channels; ++p) {
            auto* plane = const_cast<std::uint8_t*>(rep.row(rect.origin.y + r, p)) +
                          static_cast<std::size_t>(rect.origin.x) * bps;
            std::uint8_t* cell = row + static_cast<std::size_t>(p) * bps;
            for (std::int32_t c = 0; c < rect.size.width; ++c) {
                std::uint8_t* sample = plane + static_cast<std::size_t>(c) * bps;
                std::uint8_t* slot = cell + static_cast<std::size_t>(c) * stride;
                if (toBuffer)
                    std::memcpy(slot, sample, bps);
                else
                    std::memcpy(sample, slot, bps);
            }
        }
    }
}

char* packedTileStart(const image::Bitmap& rep, const image::ZOL_Rect& rect, OSType signature) {
    const std::size_t n = static_cast<std::size_t>(channelsOf(signature, rep.format().hasAlpha)) *
                          rep.format().bytesPerSample;
    return reinterpret_cast<char*>(const_cast<std::uint8_t*>(rep.plane(0))) +
           rep.rowBytes() * static_cast<std::size_t>(rect.origin.y) +
           n * static_cast<std::size_t>(rect.origin.x);
}

} // namespace

void ColorWorld::inRect() {
    if (!bitmapIn_.isPlanar)
        bitmapIn_.cmBitmap.image = packedTileStart(*repIn_, datasRect_, dataColorSpaceIn_);
    else
        copyPlanes(*repIn_, bitmapIn_.cmBitmap, datasRect_, colorChannelsOf(dataColorSpaceIn_),
                   true);
}

void ColorWorld::outRect() {
    if (!repOut_)
        return;
    if (!bitmapOut_.isPlanar)
        bitmapOut_.cmBitmap.image = packedTileStart(*repOut_, datasRect_, dataColorSpaceOut_);
    else
        copyPlanes(*repOut_, bitmapOut_.cmBitmap, datasRect_, colorChannelsOf(dataColorSpaceOut_),
                   false);
}

void ColorWorld::matchBitmaps() {
    if (!bitmapWorld_ ||
        CWMatchBitmap(*bitmapWorld_, bitmapIn_.cmBitmap, bitmapOut_.cmBitmap) != noErr)
        platform::log("Error in matchBitmaps (CWMatchBitmap) of ColorWorld");
}

bool ColorWorld::nextRect() {
    const std::int32_t w = repIn_->width();
    const std::int32_t h = repIn_->height();
    image::ZOL_Point& o = datasRect_.origin;
    image::ZOL_Size& s = datasRect_.size;
    bool more = true;
    o.x += tileSizeWidth_;
    if (o.x < w) {
        if (std::int64_t{o.x} + s.width > w)
            s.width = w - o.x;
    } else {
        o.x = 0;
        o.y += tileSizeHeight_;
        s.width = std::min(tileSizeWidth_, w);
    }
    if (o.y > h) {
        more = false;
    } else if (std::int64_t{o.y} + s.height > h) {
        s.height = h - o.y;
    }
    if (s.width == 0 || s.height == 0)
        more = false;
    if (more) {
        for (CMBitmap* bitmap : {&bitmapIn_.cmBitmap, &bitmapOut_.cmBitmap}) {
            bitmap->width = static_cast<std::uint32_t>(s.width);
            bitmap->height = static_cast<std::uint32_t>(s.height);
        }
    }
    if (completionHandler_) {
        std::int32_t percent = 100;
        if (more) {
            const double wd = w;
            const double share = static_cast<double>(o.y) / h + (o.x / wd) * (tileSizeWidth_ / wd);
            percent = static_cast<std::int32_t>(100.0 * share);
        }
        completionHandler_->setAmountOfCompletion(percent);
    }
    return more;
}

void ColorWorld::releaseCMBitmapMemory(CMBitmapMemory& memory) {
    memory.ownedImage.reset();
    memory.ownedRep = image::Bitmap();
    memory.cmBitmap.image = nullptr;
    memory.ownBitmap = false;
}

void ColorWorld::releaseMemory() {
    releaseCMBitmapMemory(bitmapIn_);
    releaseCMBitmapMemory(bitmapOut_);
}

const CMBitmap* ColorWorld::labBitmap() const {
    const CMBitmap& b = bitmapOut_.cmBitmap;
    if (!b.image || !bitmapOut_.ownBitmap ||
        (b.space != cmLab48Space && b.space != cmLab48SignedABSpace))
        return nullptr;
    return &b;
}

bool ColorWorld::setLabBitmap(image::Bitmap lab, bool abSigned) {
    const image::PixelFormat& f = lab.format();
    if (lab.isNull() || f.space != image::ColorSpace::Lab || f.bytesPerSample != 2 || f.hasAlpha ||
        f.isPlanar || lab.rowBytes() > 0xFFFFFFFFu)
        return false;
    releaseCMBitmapMemory(bitmapOut_);
    CMBitmap& b = bitmapOut_.cmBitmap;
    b.image = reinterpret_cast<char*>(lab.plane(0));
    b.width = static_cast<std::uint32_t>(lab.width());
    b.height = static_cast<std::uint32_t>(lab.height());
    b.rowBytes = static_cast<std::uint32_t>(lab.rowBytes());
    b.pixelSize = 48;
    b.space = abSigned ? cmLab48SignedABSpace : cmLab48Space;
    b.user1 = 0;
    b.user2 = 0;
    bitmapOut_.ownedRep = std::move(lab);
    bitmapOut_.ownBitmap = true;
    return true;
}

} // namespace slidebox::color
