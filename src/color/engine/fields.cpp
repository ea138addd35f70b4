// The colour record's 16-bit fields and the engine's values: one set of
// formulas for single colours, runs of colours and Lab bitmaps.
#include <cmath>
#include <cstring>

#include "color/engine/lcms.h"

namespace slidebox::color::engine {

namespace {

// The a and b span of the colour record: field 65535 is 127.996, field 0 is -128.
constexpr double kLabABSpan = 255.996;

std::uint8_t toByte(double value) {
    const double r = std::nearbyint(value);
    if (!(r >= 0.0)) // NaN too
        return 0;
    return r >= 255.0 ? std::uint8_t{255} : static_cast<std::uint8_t>(r);
}

double valueOfField(double field, Layout::Scale scale, unsigned channel) {
    switch (scale) {
    case Layout::Scale::Lab:
        return channel == 0 ? field * 100.0 / 65535.0 : field * kLabABSpan / 65535.0 - 128.0;
    case Layout::Scale::XYZ:
        return field * 2.0 / 65535.0;
    case Layout::Scale::Ink:
        return field * 100.0 / 65535.0;
    case Layout::Scale::Unit:
        break;
    }
    return field / 65535.0;
}

std::uint16_t fieldOfValue(double v, Layout::Scale scale, unsigned channel) {
    switch (scale) {
    case Layout::Scale::Lab:
        return toField(channel == 0 ? v * 65535.0 / 100.0 : (v + 128.0) * 65535.0 / kLabABSpan);
    case Layout::Scale::XYZ:
        return toField(v * 65535.0 / 2.0);
    case Layout::Scale::Ink:
        return toField(v * 65535.0 / 100.0);
    case Layout::Scale::Unit:
        break;
    }
    return toField(v * 65535.0);
}

/// The ink count of the multi-ink spaces 'nCLR' (n a hex digit from 3 to F)
/// and 'MCH5' to 'MCH8'; 0 for another space ('2CLR' among them).
unsigned inkCount(OSType space) {
    const unsigned first = space >> 24;
    const unsigned last = space & 0xFFu;
    if ((space & 0x00FFFFFFu) == (fourCC("xCLR") & 0x00FFFFFFu)) {
        if (first >= '3' && first <= '9')
            return first - '0';
        if (first >= 'A' && first <= 'F')
            return first - 'A' + 10;
    }
    if ((space & 0xFFFFFF00u) == (fourCC("MCHx") & 0xFFFFFF00u) && last >= '5' && last <= '8')
        return last - '0';
    return 0;
}

/// The one table of colour spaces: the channels of each, which the profile
/// inspector counts too, and how the engine holds its colours. A row of
/// pixel type PT_ANY has channels but no colour record: the record holds at
/// most eight, and the engine has no type for a space of another name.
std::optional<Layout> spaceRow(OSType space) {
    using S = Layout::Scale;
    struct Entry {
        OSType space;
        Layout layout;
    };
    static constexpr Entry kSpaces[] = {
        {cmGrayData, {PT_GRAY, 1, S::Unit}},      {cmRGBData, {PT_RGB, 3, S::Unit}},
        {fourCC("sRGB"), {PT_ANY, 3, S::Unit}},   {cmCMYData, {PT_CMY, 3, S::Ink}},
        {cmCMYKData, {PT_CMYK, 4, S::Ink}},       {cmLabData, {PT_Lab, 3, S::Lab}},
        {cmXYZData, {PT_XYZ, 3, S::XYZ}},         {fourCC("HSV "), {PT_HSV, 3, S::Unit}},
        {fourCC("HLS "), {PT_HLS, 3, S::Unit}},   {fourCC("Luv "), {PT_YUV, 3, S::Unit}},
        {fourCC("YCbr"), {PT_YCbCr, 3, S::Unit}}, {fourCC("Yxy "), {PT_Yxy, 3, S::Unit}},
    };
    for (const Entry& entry : kSpaces)
        if (entry.space == space)
            return entry.layout;
    if (const unsigned inks = inkCount(space))
        return Layout{inks <= 8 ? PT_MCH3 + static_cast<int>(inks - 3) : PT_ANY, inks, S::Ink};
    return std::nullopt;
}

} // namespace

std::uint16_t toField(double value) {
    const double r = std::nearbyint(value);
    if (!(r >= 0.0)) // NaN too
        return 0;
    return r >= 65535.0 ? std::uint16_t{65535} : static_cast<std::uint16_t>(r);
}

std::optional<Layout> layoutOf(OSType space) {
    auto row = spaceRow(space);
    if (!row || row->pixelType == PT_ANY)
        return std::nullopt;
    return row;
}

cmsUInt32Number doubleFormat(const Layout& layout) {
    return FLOAT_SH(1) | COLORSPACE_SH(static_cast<cmsUInt32Number>(layout.pixelType)) |
           CHANNELS_SH(layout.channels) | BYTES_SH(0);
}

void valuesOfColors(const CMColor* colors, std::size_t n, const Layout& layout, double* values) {
    const unsigned channels = layout.channels;
    for (std::size_t j = 0; j < n; ++j, values += channels) {
        if (channels > 4) { // five to eight inks: one byte each
            std::uint8_t bytes[sizeof(CMColor)];
            std::memcpy(bytes, &colors[j], sizeof bytes);
            for (unsigned i = 0; i < channels; ++i)
                values[i] = bytes[i] * 100.0 / 255.0;
            continue;
        }
        for (unsigned i = 0; i < channels; ++i)
            values[i] = valueOfField(colors[j].raw[i], layout.scale, i);
    }
}

void colorsOfValues(const double* values, std::size_t n, const Layout& layout, CMColor* colors) {
    const unsigned channels = layout.channels;
    for (std::size_t j = 0; j < n; ++j, values += channels) {
        CMColor color{};
        if (channels > 4) {
            std::uint8_t bytes[sizeof(CMColor)] = {};
            for (unsigned i = 0; i < channels; ++i)
                bytes[i] = toByte(values[i] * 255.0 / 100.0);
            std::memcpy(&color, bytes, sizeof bytes);
        } else {
            for (unsigned i = 0; i < channels; ++i)
                color.raw[i] = fieldOfValue(values[i], layout.scale, i);
        }
        colors[j] = color;
    }
}

void labFieldsToValues(const std::uint16_t* fields, double* lab, std::size_t pixels) {
    for (std::size_t i = 0; i < 3 * pixels; ++i)
        lab[i] = valueOfField(fields[i], Layout::Scale::Lab, static_cast<unsigned>(i % 3));
}

void labValuesToFields(const double* lab, std::uint16_t* fields, std::size_t pixels) {
    for (std::size_t i = 0; i < 3 * pixels; ++i)
        fields[i] = fieldOfValue(lab[i], Layout::Scale::Lab, static_cast<unsigned>(i % 3));
}

} // namespace slidebox::color::engine

namespace slidebox::color {

unsigned channelsOfColorSpace(OSType space) {
    auto row = engine::spaceRow(space);
    return row ? row->channels : 0;
}

std::vector<double> engineValuesFromColor(const CMColor& color, OSType space) {
    auto layout = engine::layoutOf(space);
    if (!layout)
        return {};
    std::vector<double> values(layout->channels);
    engine::valuesOfColors(&color, 1, *layout, values.data());
    return values;
}

std::optional<CMColor> colorFromEngineValues(std::span<const double> values, OSType space) {
    auto layout = engine::layoutOf(space);
    if (!layout || values.size() < layout->channels)
        return std::nullopt;
    CMColor color{};
    engine::colorsOfValues(values.data(), 1, *layout, &color);
    return color;
}

} // namespace slidebox::color
