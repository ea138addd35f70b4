// Bitmaps matched through a chain of profiles, spread over the cores.
#include <algorithm>
#include <mutex>
#include <thread>

#include "color/engine/lcms.h"
#include "color/engine/row_sharing.h"

namespace slidebox::color {

struct CMBitmapWorld {
    std::vector<engine::Handle> profiles;
    std::vector<cmsUInt32Number> intents;
    CMWorldOptions options;
    OSType inputSpace = 0;
    OSType outputSpace = 0;
    // The last transform built, for the pair of formats it was built for:
    // a tiled match asks for the same pair tile after tile. Several threads
    // may match through one world: the lock guards the choice, and a match
    // holds its transform while it runs, should another pair replace it.
    std::mutex lock;
    std::shared_ptr<void> transform;
    cmsUInt32Number inFormat = 0;
    cmsUInt32Number outFormat = 0;
    cmsUInt32Number flags = 0;
};

void CWDisposeBitmapWorld(CMBitmapWorld* world) noexcept {
    delete world;
}

namespace {

// A bitmap smaller than this is matched on the calling thread alone.
constexpr std::int64_t kPixelsPerThread = 65536;
// More threads than this gain nothing on the engine's transforms.
constexpr unsigned kMostThreads = 8;
// The rows a thread takes at a time hold about this many pixels.
constexpr std::int64_t kPixelsPerRun = 16384;
// Pixels of 16-bit Lab converted to the engine's doubles at a time.
constexpr std::size_t kLabChunk = 1024;

/// What a layout code says of a row.
struct RowLayout {
    unsigned samples = 0; // all samples of a pixel, alpha included
    bool alpha = false;
    unsigned bytes = 1; // of one sample
    bool labFields = false;
};

std::optional<RowLayout> rowLayoutOf(std::uint32_t space) {
    if (space == cmLab48Space)
        return RowLayout{3, false, 2, true};
    const unsigned bytes = (space & cm16BitSamples) ? 2 : 1;
    switch (space & ~cm16BitSamples) {
    case cmGray8Space:
        return RowLayout{1, false, bytes, false};
    case cmGrayA8Space:
        return RowLayout{2, true, bytes, false};
    case cmRGB24Space:
        return RowLayout{3, false, bytes, false};
    case cmRGBA32Space:
        return RowLayout{4, true, bytes, false};
    case cmLab24Space:
        return RowLayout{3, false, bytes, bytes == 2};
    case cmLabA32Space:
        return RowLayout{4, true, bytes, bytes == 2};
    case cm32_8ColorSpace:
        return RowLayout{4, false, bytes, false};
    default:
        return std::nullopt;
    }
}

/// The engine's format for a row, or 0 when the space's channels don't fit
/// the layout. Lab fields travel as doubles, converted here.
cmsUInt32Number bitmapFormat(const RowLayout& row, OSType space) {
    auto layout = engine::layoutOf(space);
    if (!layout)
        return 0;
    const unsigned colour = row.samples - (row.alpha ? 1u : 0u);
    if (layout->channels > colour)
        return 0;
    if (row.labFields)
        return layout->pixelType == PT_Lab && !row.alpha ? cmsUInt32Number{TYPE_Lab_DBL} : 0;
    return COLORSPACE_SH(static_cast<cmsUInt32Number>(layout->pixelType)) |
           CHANNELS_SH(layout->channels) | BYTES_SH(row.bytes) |
           EXTRA_SH(row.samples - layout->channels);
}

struct RowMatch {
    cmsHTRANSFORM transform;
    const CMBitmap& src;
    const CMBitmap& dst;
    std::size_t inPixel;
    std::size_t outPixel;
    bool labIn;
    bool labOut;

    /// Rows first..last: straight through the engine, or through chunks of
    /// doubles where a side holds Lab fields.
    void operator()(std::size_t first, std::size_t last) const {
        const auto width = static_cast<std::size_t>(src.width);
        const auto* inBase = reinterpret_cast<const std::uint8_t*>(src.image);
        auto* outBase = reinterpret_cast<std::uint8_t*>(dst.image);
        if (!labIn && !labOut) {
            cmsDoTransformLineStride(
                transform, inBase + first * src.rowBytes, outBase + first * dst.rowBytes,
                static_cast<cmsUInt32Number>(width), static_cast<cmsUInt32Number>(last - first),
                static_cast<cmsUInt32Number>(src.rowBytes),
                static_cast<cmsUInt32Number>(dst.rowBytes), 0, 0);
            return;
        }
        std::vector<double> inLab(labIn ? kLabChunk * 3 : 0);
        std::vector<double> outLab(labOut ? kLabChunk * 3 : 0);
        for (std::size_t y = first; y < last; ++y) {
            const std::uint8_t* in = inBase + y * src.rowBytes;
            std::uint8_t* out = outBase + y * dst.rowBytes;
            for (std::size_t x = 0; x < width; x += kLabChunk) {
                const std::size_t n = std::min(kLabChunk, width - x);
                const void* from = in + x * inPixel;
                if (labIn) {
                    engine::labFieldsToValues(reinterpret_cast<const std::uint16_t*>(from),
                                              inLab.data(), n);
                    from = inLab.data();
                }
                void* to = labOut ? static_cast<void*>(outLab.data()) : out + x * outPixel;
                cmsDoTransform(transform, from, to, static_cast<cmsUInt32Number>(n));
                if (labOut)
                    engine::labValuesToFields(
                        outLab.data(), reinterpret_cast<std::uint16_t*>(out + x * outPixel), n);
            }
        }
    }
};

} // namespace

CMBitmapWorldRef NCWNewBitmapWorld(const CMWorld& checked, std::span<const ProfileSetEntry> set,
                                   const CMWorldOptions& options) {
    auto world = std::make_unique<CMBitmapWorld>();
    world->inputSpace = CWInputSpace(checked);
    world->outputSpace = CWOutputSpace(checked);
    world->options = options;
    for (const ProfileSetEntry& entry : set) {
        if (!entry.profile)
            return nullptr;
        engine::Handle h = engine::duplicate(*entry.profile);
        if (!h)
            return nullptr;
        world->profiles.push_back(std::move(h));
        world->intents.push_back(static_cast<cmsUInt32Number>(entry.renderingIntent));
    }
    return CMBitmapWorldRef(world.release());
}

CMError CWMatchBitmap(CMBitmapWorld& world, const CMBitmap& src, CMBitmap& dst, unsigned threads) {
    auto inRow = rowLayoutOf(src.space);
    auto outRow = rowLayoutOf(dst.space);
    if (!inRow || !outRow || !src.image || !dst.image || src.width != dst.width ||
        src.height != dst.height || src.width > 0x7FFFFFFFu || src.height > 0x7FFFFFFFu)
        return paramErr;
    // The rows must hold their pixels, as many bytes as the layout code says.
    const auto inPixel = std::int64_t{inRow->samples} * inRow->bytes;
    const auto outPixel = std::int64_t{outRow->samples} * outRow->bytes;
    if (std::int64_t{src.rowBytes} < inPixel * src.width ||
        std::int64_t{dst.rowBytes} < outPixel * dst.width)
        return paramErr;
    if (src.width == 0 || src.height == 0)
        return noErr;
    const cmsUInt32Number inFormat = bitmapFormat(*inRow, world.inputSpace);
    const cmsUInt32Number outFormat = bitmapFormat(*outRow, world.outputSpace);
    if (!inFormat || !outFormat)
        return paramErr;
    cmsUInt32Number flags = cmsFLAGS_NOCACHE;
    // Lab fields are what comparisons measure: they come out as a single
    // colour's would, without the engine's precalculated tables; so does
    // any match asked to go without them.
    if (inRow->labFields || outRow->labFields || !world.options.optimize)
        flags |= cmsFLAGS_NOOPTIMIZE;
    if (inRow->alpha && outRow->alpha && !inRow->labFields && !outRow->labFields &&
        inRow->bytes == outRow->bytes)
        flags |= cmsFLAGS_COPY_ALPHA;
    std::shared_ptr<void> transform;
    {
        const std::lock_guard held(world.lock);
        if (!world.transform || world.inFormat != inFormat || world.outFormat != outFormat ||
            world.flags != flags) {
            std::vector<cmsHPROFILE> handles;
            for (const engine::Handle& h : world.profiles)
                handles.push_back(h.get());
            std::vector<cmsBool> blackPoint(handles.size(),
                                            world.options.blackPointCompensation ? TRUE : FALSE);
            std::vector<cmsFloat64Number> adaptation(handles.size(), 1.0);
            (void)engine::takeComplaint();
            engine::Transform made(cmsCreateExtendedTransform(
                engine::context(), static_cast<cmsUInt32Number>(handles.size()), handles.data(),
                blackPoint.data(), world.intents.data(), adaptation.data(), nullptr, 0, inFormat,
                outFormat, flags));
            world.transform = std::move(made);
            world.inFormat = inFormat;
            world.outFormat = outFormat;
            world.flags = flags;
        }
        transform = world.transform;
    }
    if (!transform)
        return cmProfileError;
    const RowMatch match{transform.get(),
                         src,
                         dst,
                         static_cast<std::size_t>(inPixel),
                         static_cast<std::size_t>(outPixel),
                         inRow->labFields,
                         outRow->labFields};
    const std::int64_t pixels = std::int64_t{src.width} * src.height;
    if (threads == 0)
        threads = std::min(kMostThreads, std::max(1u, std::thread::hardware_concurrency()));
    threads = src.height < 2
                  ? 1u
                  : engine::threadsFor(static_cast<std::size_t>(pixels), kPixelsPerThread, threads);
    const auto run = static_cast<std::size_t>(kPixelsPerRun / src.width + 1);
    engine::shareWork(src.height, run, threads, match);
    return noErr;
}

} // namespace slidebox::color
