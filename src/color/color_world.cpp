#include "color/color_world.h"

#include <vector>

#include "color/profile_manager.h"
#include "platform/log.h"

namespace slidebox::color {

namespace {

// The defaults of the comparison colours, as calibrated RGB components.
// 0.6, 0.7 and 0.2 are single-precision constants: 0.7 ends as byte 178.
const ColorValue kInGamutLow = ColorValue::colorWithCalibratedRed(1.0f, 1.0f, 1.0f, 1.0f);
const ColorValue kInGamutLimit = ColorValue::colorWithCalibratedRed(0.0f, 0.6f, 0.0f, 1.0f);
const ColorValue kOutGamutLimit = ColorValue::colorWithCalibratedRed(1.0f, 0.7f, 0.0f, 1.0f);
const ColorValue kOutGamutHigh = ColorValue::colorWithCalibratedRed(0.2f, 0.0f, 0.0f, 1.0f);
const ColorValue kNonCompared = ColorValue::colorWithCalibratedRed(0.7f, 0.7f, 0.7f, 1.0f);

std::uint8_t toByte(float c) {
    // trunc(c * 255) with the product in single precision; components
    // outside 0..1 are held to the byte's range rather than wrapped.
    const float v = c * 255.0f;
    if (!(v > 0.0f))
        return 0;
    if (v >= 255.0f)
        return 255;
    return static_cast<std::uint8_t>(v);
}

RGB8 bytesOf(const ColorValue& color) {
    float r, g, b, alpha;
    ColorWorld::checkColorSpace(color).getRed(r, g, b, alpha); // alpha is dropped
    return {toByte(r), toByte(g), toByte(b)};
}

ColorValue colorOf(const RGB8& bytes) {
    return ColorValue::colorWithCalibratedRed(bytes.red / 255.0f, bytes.green / 255.0f,
                                              bytes.blue / 255.0f, 1.0f);
}

} // namespace

ColorWorld::~ColorWorld() {
    completionHandler_.reset();
    disposeColorWorld();
}

std::unique_ptr<ColorWorld> ColorWorld::initColorWorldWithSrcProfil(
    const std::filesystem::path& source, std::int32_t intentIn, std::int32_t intentOut,
    const std::filesystem::path& destination, const CMWorldOptions& options) {
    if (source.empty())
        return nullptr; // no profile is touched
    auto world = std::make_unique<ColorWorld>();
    CMProfileRef sourceRef = ProfileManager::profileRefForPath(source);
    CMProfileRef destinationRef =
        destination.empty() ? nullptr : ProfileManager::profileRefForPath(destination);
    if (sourceRef)
        world->srcProfilePath_ = source;
    if (destinationRef)
        world->destProfilePath_ = destination;
    const bool failed = world->initColorWorld(world->colorWorld_, sourceRef.get(), intentIn,
                                              intentOut, destinationRef.get(), options);
    world->initComparisonColors();
    // The engine's world keeps what it needs: the profiles close here.
    sourceRef.reset();
    destinationRef.reset();
    if (failed)
        return nullptr;
    return world;
}

std::unique_ptr<ColorWorld> ColorWorld::withHandler(std::unique_ptr<ColorWorld> world,
                                                    std::shared_ptr<CompletionHandler> handler) {
    if (world)
        world->setCompletionHandler(std::move(handler));
    return world;
}

std::unique_ptr<ColorWorld> ColorWorld::initColorWorldWithSrcProfil(
    const std::filesystem::path& source, const std::filesystem::path& destination,
    std::int32_t intentIn, std::int32_t intentOut, std::shared_ptr<CompletionHandler> handler) {
    return withHandler(initColorWorldWithSrcProfil(source, intentIn, intentOut, destination),
                       std::move(handler));
}

std::unique_ptr<ColorWorld>
ColorWorld::initColorWorldWithSrcProfil(const std::filesystem::path& source,
                                        const std::filesystem::path& destination,
                                        std::int32_t intentIn, std::int32_t intentOut) {
    return initColorWorldWithSrcProfil(source, intentIn, intentOut, destination);
}

std::unique_ptr<ColorWorld> ColorWorld::initColorWorldWithSrcProfil(
    const std::filesystem::path& source, const std::filesystem::path& destination,
    std::int32_t intent, std::shared_ptr<CompletionHandler> handler) {
    return withHandler(initColorWorldWithSrcProfil(source, intent, intent, destination),
                       std::move(handler));
}

std::unique_ptr<ColorWorld>
ColorWorld::initColorWorldWithSrcProfil(const std::filesystem::path& source,
                                        const std::filesystem::path& destination,
                                        std::int32_t intent) {
    return initColorWorldWithSrcProfil(source, intent, intent, destination);
}

std::unique_ptr<ColorWorld>
ColorWorld::initColorWorldWithLinkProfil(const std::filesystem::path& link,
                                         std::shared_ptr<CompletionHandler> handler) {
    return withHandler(initColorWorldWithSrcProfil(link, 3, 3, std::filesystem::path()),
                       std::move(handler));
}

bool ColorWorld::initColorWorld(CMWorldRef& place, const CMProfile* source, std::int32_t intentIn,
                                std::int32_t intentOut, const CMProfile* destination,
                                const CMWorldOptions& options) {
    dataColorSpaceIn_ = 0;
    dataColorSpaceOut_ = 0;
    if (!source)
        return true;

    std::vector<ProfileSetEntry> set{{source, intentIn, TransformTag::DeviceToPCS}};
    // Opened and closed here, after the engine has built the world; the
    // source and the destination belong to the caller.
    CMProfileRef genericLab;
    if (destination) {
        if (intentIn != intentOut) {
            // Two intents meet in Lab: the source leaves with its own, the
            // destination is reached from Lab with the other.
            if (auto path = ProfileManager::pathOfGenericLabProfil())
                genericLab = ProfileManager::profileRefForPath(*path);
            if (!genericLab)
                return true;
            set.push_back({genericLab.get(), intentOut, TransformTag::DeviceToPCS});
        }
        set.push_back({destination, intentOut, TransformTag::PCSToDevice});
    }

    for (std::size_t i = 0; i < set.size(); ++i)
        getProfilInfos(*set[i].profile, i == 0 ? dataColorSpaceIn_ : dataColorSpaceOut_);

    place = NCWConcatColorWorld(set, options);
    bitmapWorld_ = place ? NCWNewBitmapWorld(*place, set, options) : nullptr;
    return !place;
}

void ColorWorld::getProfilInfos(const CMProfile& profile, OSType& space) {
    if (auto header = CMGetProfileHeader(profile))
        space = header->dataColorSpace;
}

void ColorWorld::disposeColorWorld() {
    colorWorld_.reset();
}

void ColorWorld::setCompletionHandler(std::shared_ptr<CompletionHandler> handler) {
    // The new reference is taken before the old one goes, so setting the
    // same handler again is harmless.
    completionHandler_.swap(handler);
}

bool ColorWorld::matchColor(CMColor& color) const {
    if (!colorWorld_ || !CWMatchColors(*colorWorld_, std::span<CMColor>(&color, 1))) {
        platform::log("Error in matchColor: (CWMatchColors) of ColorWorld");
        return false;
    }
    return true;
}

bool ColorWorld::matchColors(CMColor* colors, std::int32_t count) const {
    if (count <= 0)
        return true;
    if (!colors)
        return false;
    for (std::int32_t i = 0; i < count; ++i) {
        if (!matchColor(colors[i]))
            return false;
    }
    return true;
}

void ColorWorld::initComparisonColors() {
    comparison_ = {bytesOf(kInGamutLow), bytesOf(kInGamutLimit), bytesOf(kOutGamutLimit),
                   bytesOf(kOutGamutHigh), bytesOf(kNonCompared)};
}

void ColorWorld::setInGamutColors(const ColorValue& color, const ColorValue& limitColor) {
    comparison_.inGamutLowRGB = bytesOf(color);
    comparison_.inGamutLimitRGB = bytesOf(limitColor);
}

void ColorWorld::setOutGamutColors(const ColorValue& color, const ColorValue& limitColor) {
    comparison_.outGamutHighRGB = bytesOf(color);
    comparison_.outGamutLimitRGB = bytesOf(limitColor);
}

void ColorWorld::setNonComparedColor(const ColorValue& color) {
    comparison_.nonComparedRGB = bytesOf(color);
}

void ColorWorld::getInGamutColors(ColorValue* color, ColorValue* limitColor) const {
    if (color)
        *color = colorOf(comparison_.inGamutLowRGB);
    if (limitColor)
        *limitColor = colorOf(comparison_.inGamutLimitRGB);
}

void ColorWorld::getOutGamutColors(ColorValue* color, ColorValue* limitColor) const {
    if (color)
        *color = colorOf(comparison_.outGamutHighRGB);
    if (limitColor)
        *limitColor = colorOf(comparison_.outGamutLimitRGB);
}

ColorValue ColorWorld::checkColorSpace(const ColorValue& color) {
    const ColorSpaceName space = color.colorSpaceName();
    if (space == ColorSpaceName::DeviceRGB || space == ColorSpaceName::CalibratedRGB)
        return color;
    return color.colorUsingColorSpaceName(ColorSpaceName::CalibratedRGB);
}

void ColorWorld::getDefaultInGamutColors(ColorValue* color, ColorValue* limitColor) {
    if (color)
        *color = kInGamutLow;
    if (limitColor)
        *limitColor = kInGamutLimit;
}

void ColorWorld::getDefaultOutGamutColors(ColorValue* color, ColorValue* limitColor) {
    if (color)
        *color = kOutGamutHigh;
    if (limitColor)
        *limitColor = kOutGamutLimit;
}

void ColorWorld::getDefaultNonComparedColor(ColorValue* color) {
    if (color)
        *color = kNonCompared;
}

} // namespace slidebox::color
