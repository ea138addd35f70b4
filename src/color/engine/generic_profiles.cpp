// The generic profiles, made by the engine. The build writes them once as
// resources (make_generic_profiles.cpp); this file needs nothing but the
// engine so that the tool can be built from it alone.
#include "color/engine/lcms.h"

namespace slidebox::color::engine {

Handle grayProfile(cmsContext ctx) {
    cmsToneCurve* curve = cmsBuildGamma(ctx, 2.2);
    if (!curve)
        return nullptr;
    Handle h(cmsCreateGrayProfileTHR(ctx, cmsD50_xyY(), curve));
    cmsFreeToneCurve(curve);
    return h;
}

Handle makeGenericProfile(cmsContext ctx, OSType space) {
    switch (space) {
    case cmLabData:
        // Version 2, as the connection profile of the platform the behaviour
        // was written for: the engine applies no black-point compensation
        // to perceptual transforms into a version 2 Lab profile.
        return Handle(cmsCreateLab2ProfileTHR(ctx, nullptr));
    case cmXYZData:
        return Handle(cmsCreateXYZProfileTHR(ctx));
    case cmGrayData:
        return grayProfile(ctx);
    case cmRGBData:
        return Handle(cmsCreate_sRGBProfileTHR(ctx));
    default:
        return nullptr;
    }
}

} // namespace slidebox::color::engine
