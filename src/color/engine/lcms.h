#pragma once

// The inside of the colour engine adapter: the one header that includes
// Little CMS, and what the files of this folder share. Nothing outside
// src/color/engine/ includes it.

#include <lcms2.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "color/colorsync.h"

namespace slidebox::color::engine {

// --- Context and error routing (context.cpp)

/// The engine context of the process, made once. It lives as long as the
/// process: profiles and worlds made in it may outlive any other static.
/// Null only when the engine can't allocate it.
cmsContext context();

/// What the engine last complained of on this thread since the last call,
/// taken (the record is emptied). The engine's complaints are kept, not
/// logged: the caller that failed reports one reason.
std::string takeComplaint();

/// Counts the work done, for CMGetEngineCounters.
void countProfileOpened();
void countWorldBuilt();

// --- Owners of the engine's handles

struct ProfileCloser {
    void operator()(void* profile) const noexcept {
        if (profile)
            cmsCloseProfile(profile);
    }
};
using Handle = std::unique_ptr<void, ProfileCloser>;

struct TransformDeleter {
    void operator()(void* transform) const noexcept {
        if (transform)
            cmsDeleteTransform(transform);
    }
};
using Transform = std::unique_ptr<void, TransformDeleter>;

// --- The 16-bit fields of the colour record and the engine's values (fields.cpp)

/// How colours of one space are laid out for the engine.
struct Layout {
    int pixelType = PT_ANY;
    unsigned channels = 0;
    enum class Scale { Lab, XYZ, Ink, Unit } scale = Scale::Unit;
};

/// The layout of a colour space, nothing for a space without a colour record.
std::optional<Layout> layoutOf(OSType space);

/// The engine's format for colours of a layout as doubles.
cmsUInt32Number doubleFormat(const Layout& layout);

/// The engine's values of n colours, channels values each, into values.
void valuesOfColors(const CMColor* colors, std::size_t n, const Layout& layout, double* values);
/// The colour records of n colours' engine values, rounded and held to the field.
void colorsOfValues(const double* values, std::size_t n, const Layout& layout, CMColor* colors);

/// Lab fields of a 16-bit Lab bitmap (three a pixel) to the engine's Lab and back.
void labFieldsToValues(const std::uint16_t* fields, double* lab, std::size_t pixels);
void labValuesToFields(const double* lab, std::uint16_t* fields, std::size_t pixels);

/// A value rounded to the nearest 16-bit field, held to 0..65535 (NaN is 0).
std::uint16_t toField(double value);

// --- Profiles (profiles.cpp)

/// The stored bytes of a profile handle; nothing if the engine refuses.
std::optional<std::vector<std::uint8_t>> saveProfile(cmsHPROFILE profile);

/// A handle of the engine's own over a profile's bytes; null if refused.
Handle openProfileBytes(std::span<const std::uint8_t> bytes);

/// The handle of an open profile, and a new handle of the same profile
/// (from the bytes it was opened from).
cmsHPROFILE handleOf(const CMProfile& profile);
Handle duplicate(const CMProfile& profile);

// --- Generic profiles (generic_profiles.cpp; also built into the tool that
// writes them at build time, so it needs nothing but the engine)

/// A generic profile of a space made in ctx: 'Lab ' the version 2 Lab
/// identity with a D50 white, 'XYZ ' the XYZ identity, 'GRAY' gray D50 with
/// gamma 2.2, 'RGB ' sRGB. Null for another space.
Handle makeGenericProfile(cmsContext ctx, OSType space);

/// The gray profile of makeGenericProfile, for the test profile maker too.
Handle grayProfile(cmsContext ctx);

} // namespace slidebox::color::engine
