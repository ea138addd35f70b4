#pragma once

// The files of the generic profiles among the resources (share/slidebox/icc).

#include "color/cm_color.h"

namespace slidebox::color {

struct GenericProfileName {
    OSType space;
    const char* fileName;
};

inline constexpr GenericProfileName kGenericProfileNames[] = {
    {cmLabData, "Generic Lab Profile.icc"},
    {cmXYZData, "Generic XYZ Profile.icc"},
    {cmGrayData, "Generic Gray Profile.icc"},
    {cmRGBData, "sRGB Profile.icc"},
};

/// The resource folder below share/slidebox that holds them.
inline constexpr const char* kGenericProfileFolder = "icc";

} // namespace slidebox::color
