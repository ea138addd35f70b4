// Colour worlds over a chain of profiles, and single colours matched
// through them, one at a time or in runs.
#include <algorithm>
#include <array>

#include "color/engine/lcms.h"
#include "color/engine/row_sharing.h"
#include "platform/log.h"

namespace slidebox::color {

struct CMWorld {
    engine::Transform transform;
    OSType inputSpace = 0;
    OSType outputSpace = 0;
    engine::Layout in;
    engine::Layout out;
};

void CWDisposeColorWorld(CMWorld* world) noexcept {
    delete world;
}

namespace {

// Colours handed to the engine in one call: small enough for the buffers
// to stay in the cache, large enough that the call costs nothing.
constexpr std::size_t kColorsPerRun = 512;
// A thread is worth starting for a few runs of colours, not less.
constexpr std::size_t kColorsPerThread = 2 * kColorsPerRun;

} // namespace

CMWorldRef NCWConcatColorWorld(std::span<const ProfileSetEntry> set,
                               const CMWorldOptions& options) {
    if (set.empty() || set.size() > 3 || !engine::context()) {
        platform::log("Colour world refused: a chain holds one to three profiles");
        return nullptr;
    }
    std::array<cmsHPROFILE, 3> handles{};
    std::array<cmsUInt32Number, 3> intents{};
    std::array<cmsBool, 3> blackPoint{};
    std::array<cmsFloat64Number, 3> adaptation{};
    OSType inputSpace = 0;
    OSType current = 0;
    for (std::size_t i = 0; i < set.size(); ++i) {
        const ProfileSetEntry& entry = set[i];
        if (!entry.profile || entry.renderingIntent < 0 || entry.renderingIntent > 3) {
            platform::log("Colour world refused: missing profile or intent outside 0..3");
            return nullptr;
        }
        cmsHPROFILE h = engine::handleOf(*entry.profile);
        auto cls = static_cast<OSType>(cmsGetDeviceClass(h));
        auto space = static_cast<OSType>(cmsGetColorSpace(h));
        auto pcs = static_cast<OSType>(cmsGetPCS(h));
        if (cls == cmNamedColorClass) {
            platform::log("Colour world refused: a named-colour profile has no colour record");
            return nullptr;
        }
        // The engine tells the direction of a profile by where it stands: the
        // first device profile is read device to PCS, a later one in the
        // direction that leaves the space the chain has reached. A chain
        // that asks otherwise is refused rather than quietly turned round.
        const bool passThrough = cls == cmLinkClass || cls == cmAbstractClass;
        const bool fromDevice = i == 0 || (current != cmXYZData && current != cmLabData);
        const bool wantsFromDevice = entry.transformTag == TransformTag::DeviceToPCS;
        if (!passThrough && fromDevice != wantsFromDevice) {
            platform::log("Colour world refused: entry " + std::to_string(i + 1) +
                          " can't be used in the direction asked");
            return nullptr;
        }
        if (i == 0)
            inputSpace = passThrough || fromDevice ? space : pcs;
        current = passThrough || fromDevice ? pcs : space;
        handles[i] = h;
        intents[i] = static_cast<cmsUInt32Number>(entry.renderingIntent);
        blackPoint[i] = options.blackPointCompensation ? TRUE : FALSE;
        adaptation[i] = 1.0;
    }
    auto in = engine::layoutOf(inputSpace);
    auto out = engine::layoutOf(current);
    if (!in || !out) {
        platform::log("Colour world refused: a colour space without a colour record");
        return nullptr;
    }
    // Single colours go through the engine without precalculated tables,
    // so that what is measured is the profiles' own arithmetic.
    auto world = std::make_unique<CMWorld>();
    (void)engine::takeComplaint();
    world->transform.reset(cmsCreateExtendedTransform(
        engine::context(), static_cast<cmsUInt32Number>(set.size()), handles.data(),
        blackPoint.data(), intents.data(), adaptation.data(), nullptr, 0, engine::doubleFormat(*in),
        engine::doubleFormat(*out), cmsFLAGS_NOOPTIMIZE | cmsFLAGS_NOCACHE));
    // The engine's complaint is not logged: the caller that asked reports
    // the refusal once, in its own words.
    if (!world->transform) {
        (void)engine::takeComplaint();
        return nullptr;
    }
    world->inputSpace = inputSpace;
    world->outputSpace = current;
    world->in = *in;
    world->out = *out;
    engine::countWorldBuilt();
    return CMWorldRef(world.release());
}

OSType CWInputSpace(const CMWorld& world) {
    return world.inputSpace;
}

OSType CWOutputSpace(const CMWorld& world) {
    return world.outputSpace;
}

namespace {

void matchRuns(const CMWorld& world, std::span<CMColor> colors) {
    std::array<double, kColorsPerRun * 8> in{};
    std::array<double, kColorsPerRun * 8> out{};
    for (std::size_t start = 0; start < colors.size(); start += kColorsPerRun) {
        const std::size_t n = std::min(kColorsPerRun, colors.size() - start);
        engine::valuesOfColors(colors.data() + start, n, world.in, in.data());
        cmsDoTransform(world.transform.get(), in.data(), out.data(),
                       static_cast<cmsUInt32Number>(n));
        engine::colorsOfValues(out.data(), n, world.out, colors.data() + start);
    }
}

} // namespace

bool CWMatchColors(const CMWorld& world, std::span<CMColor> colors) {
    return CWMatchColorRuns(world, colors, 1);
}

bool CWMatchColorRuns(const CMWorld& world, std::span<CMColor> colors, unsigned threads) {
    if (!world.transform)
        return false;
    // The engine treats every colour of a call alone, so runs give exactly
    // the numbers of one colour at a time. Its transform is only read while
    // it matches (no cache), so the threads share it.
    const unsigned sharing = engine::threadsFor(colors.size(), kColorsPerThread, threads);
    if (sharing <= 1) {
        matchRuns(world, colors);
        return true;
    }
    engine::shareWork(colors.size(), kColorsPerRun, sharing,
                      [&](std::size_t first, std::size_t last) {
                          matchRuns(world, colors.subspan(first, last - first));
                      });
    return true;
}

} // namespace slidebox::color
