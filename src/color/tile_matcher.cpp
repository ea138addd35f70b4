// Whole bitmaps through a colour world, in horizontal tiles of at most one
// million pixels, or into a 16-bit Lab bitmap kept for the comparison. The
// walk's records and its tile live in one call's TileWalk.
#include "color/tile_matcher.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string>

#include "color/lab_view.h"
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

/// This system's record around a CMBitmap: how the rep it describes keeps
/// its pixels, and the tile buffer when the record owns its image.
struct CMBitmapMemory {
    bool isPlanar = false;
    bool hasAlpha = false;
    bool ownBitmap = false;
    CMBitmap cmBitmap;
    std::unique_ptr<std::uint8_t[]> ownedImage;
};

/// A block of rowBytes × rows bytes (at least one), or null when it is too
/// large or memory fails.
std::unique_ptr<std::uint8_t[]> allocateTile(std::int64_t rowBytes, std::int64_t rows) {
    if (rowBytes <= 0 || rowBytes > std::numeric_limits<std::int32_t>::max() || rows < 0)
        return nullptr;
    const std::int64_t bytes = std::max<std::int64_t>(rowBytes * rows, 1);
    return std::unique_ptr<std::uint8_t[]>(new (std::nothrow)
                                               std::uint8_t[static_cast<std::size_t>(bytes)]);
}

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

/// One tiled match: the two reps, their tile records and the tile under
/// way, for as long as the call lasts.
class TileWalk {
  public:
    TileWalk(const TileMatchSetup& setup, const image::Bitmap& in, image::Bitmap* out)
        : setup_(setup), repIn_(in), repOut_(out) {}

    TileMatchOutcome run(image::Bitmap& lab);

  private:
    platform::Status allocAndInitDatas(image::Bitmap& lab);
    void allocCMBitmapMemory(CMBitmapMemory& memory, const image::Bitmap& rep, OSType space);
    void inRect();
    void outRect();
    void matchBitmaps();
    bool nextRect();

    const TileMatchSetup& setup_;
    const image::Bitmap& repIn_;
    image::Bitmap* repOut_;
    CMBitmapMemory bitmapIn_;
    CMBitmapMemory bitmapOut_;
    image::ZOL_Rect datasRect_;
    std::int32_t tileSizeWidth_ = 0;
    std::int32_t tileSizeHeight_ = 0;
};

TileMatchOutcome TileWalk::run(image::Bitmap& lab) {
    image::Bitmap labOut;
    TileMatchOutcome outcome;
    outcome.status = allocAndInitDatas(labOut);
    outcome.tileSizeWidth = tileSizeWidth_;
    outcome.tileSizeHeight = tileSizeHeight_;
    if (!outcome.status)
        return outcome;
    do {
        inRect();
        if (!bitmapOut_.ownBitmap)
            outRect();
        matchBitmaps();
        if (bitmapOut_.ownBitmap)
            outRect();
    } while (nextRect());
    if (!repOut_)
        lab = std::move(labOut);
    return outcome;
}

platform::Status TileWalk::allocAndInitDatas(image::Bitmap& lab) {
    const std::int32_t w = repIn_.width();
    const std::int32_t h = repIn_.height();
    tileSizeWidth_ = w;
    tileSizeHeight_ = h;
    if (repOut_ && static_cast<float>(w) * static_cast<float>(h) > setup_.tilePixelLimit)
        tileSizeHeight_ = static_cast<std::int32_t>(static_cast<double>(setup_.tilePixelLimit) / w);

    allocCMBitmapMemory(bitmapIn_, repIn_, setup_.spaceIn);
    if (repOut_) {
        allocCMBitmapMemory(bitmapOut_, *repOut_, setup_.spaceOut);
    } else {
        // The Lab bitmap of the whole image, kept by the caller.
        auto made = image::Bitmap::allocate(std::max(w, 1), std::max(h, 1),
                                            image::PixelFormat::make(image::ColorSpace::Lab, 16));
        if (made) {
            lab = std::move(made.value());
            bitmapOut_.cmBitmap = cmBitmapOf(lab, cmLab48Space, 48);
        }
    }
    datasRect_ = image::makeRect(0, 0, std::min(tileSizeWidth_, w), std::min(tileSizeHeight_, h));
    for (CMBitmap* bitmap : {&bitmapIn_.cmBitmap, &bitmapOut_.cmBitmap}) {
        bitmap->width = static_cast<std::uint32_t>(std::max(datasRect_.size.width, 0));
        bitmap->height = static_cast<std::uint32_t>(std::max(datasRect_.size.height, 0));
    }
    if (!bitmapIn_.cmBitmap.image || !bitmapOut_.cmBitmap.image)
        return platform::Status::failure(platform::ErrorCode::OutOfMemory,
                                         "no memory for the tiles");
    return {};
}

void TileWalk::allocCMBitmapMemory(CMBitmapMemory& memory, const image::Bitmap& rep, OSType space) {
    const image::PixelFormat& f = rep.format();
    memory.isPlanar = f.isPlanar;
    memory.hasAlpha = f.hasAlpha;
    const std::uint32_t code = spaceCode(space, f.hasAlpha, f.isPlanar, f.bytesPerSample);
    if (!f.isPlanar) {
        // The source is only read through this record; the destination
        // rep's memory is the one written.
        memory.cmBitmap = cmBitmapOf(rep, code, static_cast<std::uint32_t>(f.bitsPerPixel()));
        memory.ownBitmap = false;
        return;
    }
    CMBitmap& b = memory.cmBitmap;
    b.space = code;
    // A planar rep's bitsPerPixel is that of one plane.
    b.pixelSize = static_cast<std::uint32_t>(f.bitsPerSample() * channelsOf(space, f.hasAlpha));
    const std::int64_t rowBytes =
        std::int64_t{tileSizeWidth_} * f.samplesPerPixel() * f.bytesPerSample;
    memory.ownedImage = allocateTile(rowBytes, tileSizeHeight_);
    b.rowBytes = memory.ownedImage ? static_cast<std::uint32_t>(rowBytes) : 0;
    b.image = reinterpret_cast<char*>(memory.ownedImage.get());
    memory.ownBitmap = b.image != nullptr;
}

void TileWalk::inRect() {
    if (!bitmapIn_.isPlanar)
        bitmapIn_.cmBitmap.image = packedTileStart(repIn_, datasRect_, setup_.spaceIn);
    else
        copyPlanes(repIn_, bitmapIn_.cmBitmap, datasRect_, colorChannelsOf(setup_.spaceIn), true);
}

void TileWalk::outRect() {
    if (!repOut_)
        return;
    if (!bitmapOut_.isPlanar)
        bitmapOut_.cmBitmap.image = packedTileStart(*repOut_, datasRect_, setup_.spaceOut);
    else
        copyPlanes(*repOut_, bitmapOut_.cmBitmap, datasRect_, colorChannelsOf(setup_.spaceOut),
                   false);
}

void TileWalk::matchBitmaps() {
    if (!setup_.world || CWMatchBitmap(*setup_.world, bitmapIn_.cmBitmap, bitmapOut_.cmBitmap,
                                       setup_.threads) != noErr)
        platform::log("Error in matchBitmaps (CWMatchBitmap) of ColorWorld");
}

bool TileWalk::nextRect() {
    const std::int32_t w = repIn_.width();
    const std::int32_t h = repIn_.height();
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
    if (setup_.handler) {
        std::int32_t percent = 100;
        if (more) {
            const double wd = w;
            const double share = static_cast<double>(o.y) / h + (o.x / wd) * (tileSizeWidth_ / wd);
            percent = static_cast<std::int32_t>(100.0 * share);
        }
        setup_.handler->setAmountOfCompletion(percent);
    }
    return more;
}

} // namespace

CMBitmap cmBitmapOf(const image::Bitmap& bitmap, std::uint32_t space, std::uint32_t pixelSize) {
    CMBitmap b;
    // The engine's record names memory it may write; a source is only read.
    b.image = reinterpret_cast<char*>(const_cast<std::uint8_t*>(bitmap.plane(0)));
    b.width = static_cast<std::uint32_t>(bitmap.width());
    b.height = static_cast<std::uint32_t>(bitmap.height());
    b.rowBytes = static_cast<std::uint32_t>(bitmap.rowBytes());
    b.pixelSize = pixelSize;
    b.space = space;
    return b;
}

TileMatchOutcome matchTiles(const TileMatchSetup& setup, const image::Bitmap& source,
                            image::Bitmap* destination, image::Bitmap& lab) {
    const auto refused = [](const char* logLine, std::string reason) {
        TileMatchOutcome outcome;
        outcome.status =
            platform::Status::failure(platform::ErrorCode::BadArgument, std::move(reason));
        outcome.logLine = logLine;
        return outcome;
    };
    const OSType needIn = neededSignature(source.format().space);
    const bool sourcePasses = needIn == 0 || setup.spaceIn == needIn;
    const auto spaces = [&](const image::Bitmap& rep, OSType world) {
        return "the image is " + std::string(image::colorSpaceName(rep.format().space)) +
               " but the profile's space is '" + signatureText(world) + "'";
    };
    if (!destination) {
        if (!sourcePasses || setup.spaceOut != cmLabData)
            return refused("ColorWorld: No good source or not a destination Lab color space",
                           sourcePasses ? "the colour world doesn't end in Lab"
                                        : spaces(source, setup.spaceIn));
    } else if (source.width() != destination->width() || source.height() != destination->height()) {
        return refused("ColorWorld: ImageReps not of the same size",
                       "the two bitmaps differ in size (" +
                           sizeText(source.width(), source.height()) + " and " +
                           sizeText(destination->width(), destination->height()) + ")");
    } else {
        const OSType needOut = neededSignature(destination->format().space);
        const bool destinationPasses =
            needOut == 0 || setup.spaceOut == needOut || setup.spaceOut == 0;
        if (!sourcePasses || !destinationPasses)
            return refused("ColorWorld: No correlation between imageReps and profil color space",
                           !sourcePasses ? spaces(source, setup.spaceIn)
                                         : spaces(*destination, setup.spaceOut));
    }
    // A rep that holds fewer samples than the world reads would be read or
    // written past its end.
    if (!repHolds(source, setup.spaceIn) ||
        (destination && !repHolds(*destination, setup.spaceOut)))
        return refused("ColorWorld: image rep holds fewer samples than its color space",
                       "the image holds fewer samples than the profile's colour space");
    // Our bitmaps carry no colour key masks, so there is nothing to hand on.
    return TileWalk(setup, source, destination).run(lab);
}

} // namespace slidebox::color
