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
        world->chain_.sourcePath = source;
    if (destinationRef)
        world->chain_.destinationPath = destination;
    const bool failed = world->initColorWorld(world->chain_.world, sourceRef.get(), intentIn,
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
    place = chain_.build(source, intentIn, intentOut, destination, options);
    return !place;
}

void ColorWorld::getProfilInfos(const CMProfile& profile, OSType& space) {
    ColorChain::readSpace(profile, space);
}

void ColorWorld::disposeColorWorld() {
    chain_.world.reset();
}

void ColorWorld::setCompletionHandler(std::shared_ptr<CompletionHandler> handler) {
    // The new reference is taken before the old one goes, so setting the
    // same handler again is harmless.
    completionHandler_.swap(handler);
}

bool ColorWorld::matchColor(CMColor& color) const {
    return chain_.matchColor(color);
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
    comparison_.colors = {bytesOf(kInGamutLow), bytesOf(kInGamutLimit), bytesOf(kOutGamutLimit),
                          bytesOf(kOutGamutHigh), bytesOf(kNonCompared)};
}

void ColorWorld::setInGamutColors(const ColorValue& color, const ColorValue& limitColor) {
    comparison_.colors.inGamutLowRGB = bytesOf(color);
    comparison_.colors.inGamutLimitRGB = bytesOf(limitColor);
}

void ColorWorld::setOutGamutColors(const ColorValue& color, const ColorValue& limitColor) {
    comparison_.colors.outGamutHighRGB = bytesOf(color);
    comparison_.colors.outGamutLimitRGB = bytesOf(limitColor);
}

void ColorWorld::setNonComparedColor(const ColorValue& color) {
    comparison_.colors.nonComparedRGB = bytesOf(color);
}

void ColorWorld::getInGamutColors(ColorValue* color, ColorValue* limitColor) const {
    if (color)
        *color = colorOf(comparison_.colors.inGamutLowRGB);
    if (limitColor)
        *limitColor = colorOf(comparison_.colors.inGamutLimitRGB);
}

void ColorWorld::getOutGamutColors(ColorValue* color, ColorValue* limitColor) const {
    if (color)
        *color = colorOf(comparison_.colors.outGamutHighRGB);
    if (limitColor)
        *limitColor = colorOf(comparison_.colors.outGamutLimitRGB);
}

// --- Bitmap matching: the tiled matcher, with the state of one call ---

bool ColorWorld::matchSourceImageRep(const image::Bitmap& source, image::Bitmap* destination) {
    return logged(matchImage(source, destination));
}

platform::Status ColorWorld::matchImage(const image::Bitmap& source, image::Bitmap* destination) {
    const TileMatchSetup setup{chain_.bitmapWorld.get(), chain_.spaceIn, chain_.spaceOut,
                               completionHandler_.get(), tilePixelLimit_};
    image::Bitmap lab;
    TileMatchOutcome outcome = matchTiles(setup, source, destination, lab);
    refusalLogLine_ = outcome.logLine;
    if (!outcome.logLine) { // the walk began: its tile size stands
        tileSizeWidth_ = outcome.tileSizeWidth;
        tileSizeHeight_ = outcome.tileSizeHeight;
    }
    if (!destination && outcome.status) {
        lab_ = std::move(lab);
        labSigned_ = false;
        labRecord_ = cmBitmapOf(lab_, cmLab48Space, 48);
    } else if (!destination && !outcome.logLine) {
        releaseLabBitmap(); // no memory: nothing is left of the Lab bitmap
    }
    return outcome.status;
}

platform::Status ColorWorld::matchRows(const image::Bitmap& source,
                                       image::Bitmap& destination) const {
    const TileMatchSetup setup{
        chain_.bitmapWorld.get(), chain_.spaceIn, chain_.spaceOut, nullptr, tilePixelLimit_, 1};
    image::Bitmap unused;
    return matchTiles(setup, source, &destination, unused).status;
}

const CMBitmap* ColorWorld::labBitmap() const {
    return lab_.isNull() ? nullptr : &labRecord_;
}

LabView ColorWorld::labView() const {
    return LabView::of(lab_, labSigned_);
}

bool ColorWorld::setLabBitmap(image::Bitmap lab, bool abSigned) {
    if (!LabView::of(lab).pixels || lab.rowBytes() > 0xFFFFFFFFu)
        return false;
    lab_ = std::move(lab);
    labSigned_ = abSigned;
    labRecord_ = cmBitmapOf(lab_, abSigned ? cmLab48SignedABSpace : cmLab48Space, 48);
    return true;
}

void ColorWorld::releaseLabBitmap() {
    lab_ = image::Bitmap();
    labRecord_ = CMBitmap();
}

void ColorWorld::releaseMemory() {
    releaseLabBitmap();
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

// --- Profile grading, class operations forwarded to its unit ---

float ColorWorld::bijectivityAverageDeltaEForAbsoluteMode(const std::filesystem::path& path,
                                                          float* maxDeltaE) {
    return ProfileGrading::testProfile(path, true, true, 0.0f, maxDeltaE);
}

float ColorWorld::bijectivityAverageDeltaEForPerceptualMode(const std::filesystem::path& path,
                                                            float* maxDeltaE) {
    return ProfileGrading::testProfile(path, true, false, 0.0f, maxDeltaE);
}

float ColorWorld::inAbsoluteGamutPercentage(const std::filesystem::path& path, float tolerance) {
    return ProfileGrading::testProfile(path, false, true, tolerance, nullptr);
}

float ColorWorld::inPerceptualGamutPercentage(const std::filesystem::path& path, float tolerance) {
    return ProfileGrading::testProfile(path, false, false, tolerance, nullptr);
}

platform::Status ColorWorld::gradeRefusal(const std::filesystem::path& path, bool qualityTest) {
    return ProfileGrading::gradeRefusal(path, qualityTest);
}

float ColorWorld::testProfile(const std::filesystem::path& path, bool qualityTest, bool absolute,
                              float tolerance, float* maxiDeltaE) {
    return ProfileGrading::testProfile(path, qualityTest, absolute, tolerance, maxiDeltaE);
}

float ColorWorld::getProfileQualityOf(const CMWorld& toLab, const CMWorld& fromLab, OSType space,
                                      OSType pcs, float* maxiDeltaE) {
    return ProfileGrading::getProfileQualityOf(toLab, fromLab, space, pcs, maxiDeltaE);
}

float ColorWorld::getGamutAreaOf(const CMWorld& toLab, const CMWorld& fromLab, OSType /*space*/,
                                 OSType pcs, float tolerance) {
    return ProfileGrading::getGamutAreaOf(toLab, fromLab, pcs, tolerance);
}

void ColorWorld::setSpeedCalculation(float percent) {
    ProfileGrading::setSpeedCalculation(percent);
}

float ColorWorld::speedCalculation() {
    return ProfileGrading::speedCalculation();
}

void ColorWorld::setThrottleClock(ThrottleClock* clock) {
    ProfileGrading::setThrottleClock(clock);
}

// --- Colours ---

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
