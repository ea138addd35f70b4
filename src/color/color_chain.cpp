#include "color/color_chain.h"

#include <span>
#include <vector>

#include "color/profile_manager.h"
#include "platform/log.h"

namespace slidebox::color {

CMWorldRef ColorChain::build(const CMProfile* source, std::int32_t intentIn, std::int32_t intentOut,
                             const CMProfile* destination, const CMWorldOptions& options) {
    spaceIn = 0;
    spaceOut = 0;
    if (!source)
        return nullptr;

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
                return nullptr;
            set.push_back({genericLab.get(), intentOut, TransformTag::DeviceToPCS});
        }
        set.push_back({destination, intentOut, TransformTag::PCSToDevice});
    }

    for (std::size_t i = 0; i < set.size(); ++i)
        readSpace(*set[i].profile, i == 0 ? spaceIn : spaceOut);

    CMWorldRef built = NCWConcatColorWorld(set, options);
    bitmapWorld = built ? NCWNewBitmapWorld(*built, set, options) : nullptr;
    return built;
}

void ColorChain::readSpace(const CMProfile& profile, OSType& space) {
    if (auto header = CMGetProfileHeader(profile))
        space = header->dataColorSpace;
}

bool ColorChain::matchColor(CMColor& color) const {
    if (!world || !CWMatchColors(*world, std::span<CMColor>(&color, 1))) {
        platform::log("Error in matchColor: (CWMatchColors) of ColorWorld");
        return false;
    }
    return true;
}

} // namespace slidebox::color
