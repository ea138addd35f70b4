// Ink limits, dot gain and characteristic points. A profile is measured
// from outside: single test colours go through a colour world and what comes
// back is read, never a table of the profile. Precision matters here: the
// numbers are compared across tools, so each step keeps the width it is
// written with below.
#include "color/profile_inspector.h"

#include <cmath>

#include "color/profile_manager.h"

namespace slidebox::color {

namespace {

constexpr std::uint16_t kFull = 0xFFFF;
constexpr std::uint16_t kHalfTint = 0x7FFF; // a little under one half
constexpr std::int32_t kAbsoluteColorimetric = 3;

// The walk down the neutral axis: from the top, 655 a step, and no test at
// 5930, so that 91 colours at most are tried.
constexpr std::uint16_t kStartOfBlackTop = 65535;
constexpr std::uint16_t kStartOfBlackStep = 655;
constexpr std::uint16_t kStartOfBlackEnd = 5930;
constexpr float kStartOfBlackInk = 0.5f; // percent of black ink

CMColor cmyk(std::uint16_t c, std::uint16_t m, std::uint16_t y, std::uint16_t k) {
    CMColor color{};
    color.cmyk = {c, m, y, k};
    return color;
}

CMColor gray(std::uint16_t value) {
    CMColor color{};
    color.gray = {value};
    return color;
}

CMColor labField(std::uint16_t L) {
    CMColor color{};
    color.lab = {L, 0x7FFF, 0x7FFF};
    return color;
}

/// L 0 with a and b at the field 0x7FFF: the neutral black of the connection space.
CMColor neutralBlack() {
    return labField(0);
}

Lch lchOf(const CMColor& lab) {
    Lch lch{};
    ColorWorld::CMLabToLch(lab, lch.L, lch.c, lch.h);
    return lch;
}

/// One row of the dot gain: the component measured and the three test colours.
struct GainRow {
    float* gain;
    std::int32_t component;
    CMColor solid, paper, halfTint;
};

/// 100 * ((1 - 10^(Dp-Dm)) / (1 - 10^(Dp-Ds)) - 0.5): the powers in single
/// precision from single-precision differences, the rest in double, the
/// result narrowed before the product.
float gainFromDensities(float solid, float paper, float halfTint) {
    const float toHalfTint = std::pow(10.0f, paper - halfTint);
    const float toSolid = std::pow(10.0f, paper - solid);
    const double ratio =
        (1.0 - static_cast<double>(toHalfTint)) / (1.0 - static_cast<double>(toSolid));
    return static_cast<float>(ratio - 0.5) * 100.0f;
}

} // namespace

float ProfileInspector::densityForColor(CMColor& color, const ColorWorld& world,
                                        std::int32_t component) {
    // A failed match has been logged; the measure goes on with the colour as it stands.
    world.matchColor(color);
    float L, a, b;
    ColorWorld::CMLab(color, L, a, b);
    XYZ xyz{};
    LabToXYZ(L, a, b, xyz);
    const float v = component == 0 ? xyz.X : component == 1 ? xyz.Y : xyz.Z;
    return static_cast<float>(std::log10(1.0 / static_cast<double>(v)));
}

float ProfileInspector::XdensityForColor(CMColor& color, const ColorWorld& world) {
    return densityForColor(color, world, 0);
}

float ProfileInspector::YdensityForColor(CMColor& color, const ColorWorld& world) {
    return densityForColor(color, world, 1);
}

float ProfileInspector::ZdensityForColor(CMColor& color, const ColorWorld& world) {
    return densityForColor(color, world, 2);
}

void ProfileInspector::calculateDotGain() {
    if (calculatedDotGain_)
        return;
    // Settled whatever happens below: a failed attempt is not repeated.
    calculatedDotGain_ = true;
    const OSType space = dataColorSpace();
    if (space != cmCMYKData && space != cmGrayData)
        return;
    auto lab = ProfileManager::pathOfGenericLabProfil();
    if (!lab)
        return;
    auto world = ColorWorld::initColorWorldWithSrcProfil(profilePath_, *lab, kAbsoluteColorimetric);
    if (!world)
        return;

    std::vector<GainRow> rows;
    if (space == cmCMYKData) {
        const CMColor paper = cmyk(0, 0, 0, 0);
        rows = {{&dotGainForBlack_, 1, cmyk(0, 0, 0, kFull), paper, cmyk(0, 0, 0, kHalfTint)},
                {&dotGainForCyan_, 0, cmyk(kFull, 0, 0, 0), paper, cmyk(kHalfTint, 0, 0, 0)},
                {&dotGainForMagenta_, 1, cmyk(0, kFull, 0, 0), paper, cmyk(0, kHalfTint, 0, 0)},
                {&dotGainForYellow_, 2, cmyk(0, 0, kFull, 0), paper, cmyk(0, 0, kHalfTint, 0)}};
    } else {
        rows = {{&dotGainForBlack_, 1, gray(kFull), gray(0), gray(kHalfTint)}};
    }
    for (const GainRow& row : rows) {
        // Each measure overwrites its colour, so each starts from a fresh copy.
        CMColor solid = row.solid, paper = row.paper, halfTint = row.halfTint;
        const float Ds = densityForColor(solid, *world, row.component);
        const float Dp = densityForColor(paper, *world, row.component);
        const float Dm = densityForColor(halfTint, *world, row.component);
        *row.gain = gainFromDensities(Ds, Dp, Dm);
    }
}

float ProfileInspector::dotGainOfBlackChanel() {
    calculateDotGain();
    return dotGainForBlack_;
}

float ProfileInspector::dotGainOfCyanChanel() {
    calculateDotGain();
    return dotGainForCyan_;
}

float ProfileInspector::dotGainOfMagentaChanel() {
    calculateDotGain();
    return dotGainForMagenta_;
}

float ProfileInspector::dotGainOfYellowChanel() {
    calculateDotGain();
    return dotGainForYellow_;
}

std::int32_t ProfileInspector::PCSToDeviceTotalInkMax() const {
    if (!PCSToDevice_ || dataColorSpace() != cmCMYKData)
        return 400;
    CMColor color = neutralBlack();
    PCSToDevice_->matchColor(color);
    float c, m, y, k;
    ColorWorld::CMCMYK(color, c, m, y, k);
    const float sum = c + m + y + k; // single precision, in this order
    return static_cast<std::int32_t>(sum);
}

std::int32_t ProfileInspector::PCSToDeviceBlackMax() const {
    if (!PCSToDevice_ || dataColorSpace() != cmCMYKData)
        return 100;
    CMColor color = neutralBlack();
    PCSToDevice_->matchColor(color);
    float c, m, y, k;
    ColorWorld::CMCMYK(color, c, m, y, k);
    return static_cast<std::int32_t>(k);
}

float ProfileInspector::PCSToDeviceLuminanceOfStartBlack() const {
    if (!PCSToDevice_ || dataColorSpace() != cmCMYKData)
        return 100.0f;
    std::uint16_t L = kStartOfBlackTop;
    for (;;) {
        CMColor color = labField(L);
        PCSToDevice_->matchColor(color);
        float c, m, y, k;
        ColorWorld::CMCMYK(color, c, m, y, k);
        if (k >= kStartOfBlackInk)
            break;
        L = static_cast<std::uint16_t>(L - kStartOfBlackStep);
        if (L == kStartOfBlackEnd)
            break; // this last value is not tested
    }
    return static_cast<float>(L * 100.0 / 65535.0);
}

CharacteristicProfilePoints ProfileInspector::characteristicProfilePoints() const {
    CharacteristicProfilePoints points{};
    const OSType space = dataColorSpace();
    if (!DeviceToPCS_ || (space != cmCMYKData && space != cmGrayData))
        return points;
    const ColorWorld& toLab = *DeviceToPCS_;
    const bool isCMYK = space == cmCMYKData;

    points.lightestColor = isCMYK ? cmyk(0, 0, 0, 0) : gray(kFull);
    toLab.matchColor(points.lightestColor);
    points.lightestLch = lchOf(points.lightestColor);
    points.fullInkColor = isCMYK ? cmyk(kFull, kFull, kFull, kFull) : gray(0);
    toLab.matchColor(points.fullInkColor);
    points.fullInkLch = lchOf(points.fullInkColor);

    if (isCMYK) {
        CMColor scratch = cmyk(kFull, kFull, kFull, 0);
        toLab.matchColor(scratch);
        points.cmyInkLch = lchOf(scratch);
        scratch = cmyk(0, 0, 0, kFull);
        toLab.matchColor(scratch);
        points.blackInkLch = lchOf(scratch);
    }

    if (PCSToDevice_) {
        points.blackPointColor = neutralBlack();
        PCSToDevice_->matchColor(points.blackPointColor);
        toLab.matchColor(points.blackPointColor);
    } else {
        points.blackPointColor = points.fullInkColor;
    }

    if (isCMYK) {
        const CMColor primaries[6] = {cmyk(0, kFull, 0, 0), cmyk(0, kFull, kFull, 0),
                                      cmyk(0, 0, kFull, 0), cmyk(kFull, 0, kFull, 0),
                                      cmyk(kFull, 0, 0, 0), cmyk(kFull, kFull, 0, 0)};
        points.maxChroma = 0.0f;
        for (std::size_t i = 0; i < 6; ++i) {
            CMColor color = primaries[i];
            toLab.matchColor(color);
            points.primaryLch[i] = lchOf(color);
            if (points.primaryLch[i].c > points.maxChroma)
                points.maxChroma = points.primaryLch[i].c;
        }
    }
    return points;
}

} // namespace slidebox::color
