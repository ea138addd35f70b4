#include "color/color_value.h"

namespace slidebox::color {

ColorValue ColorValue::colorWithCalibratedRed(float red, float green, float blue, float alpha) {
    return {ColorSpaceName::CalibratedRGB, red, green, blue, alpha};
}

ColorValue ColorValue::colorWithDeviceRed(float red, float green, float blue, float alpha) {
    return {ColorSpaceName::DeviceRGB, red, green, blue, alpha};
}

ColorValue ColorValue::colorWithCalibratedWhite(float white, float alpha) {
    return {ColorSpaceName::CalibratedWhite, white, 0.0f, 0.0f, alpha};
}

ColorValue ColorValue::colorWithDeviceWhite(float white, float alpha) {
    return {ColorSpaceName::DeviceWhite, white, 0.0f, 0.0f, alpha};
}

void ColorValue::getRed(float& red, float& green, float& blue, float& alpha) const {
    if (isRGB()) {
        red = components_[0];
        green = components_[1];
        blue = components_[2];
    } else {
        red = green = blue = components_[0];
    }
    alpha = alpha_;
}

void ColorValue::getWhite(float& white, float& alpha) const {
    white = isRGB() ? 0.299f * components_[0] + 0.587f * components_[1] + 0.114f * components_[2]
                    : components_[0];
    alpha = alpha_;
}

ColorValue ColorValue::colorUsingColorSpaceName(ColorSpaceName space) const {
    float c0, c1, c2, alpha;
    if (space == ColorSpaceName::CalibratedRGB || space == ColorSpaceName::DeviceRGB) {
        getRed(c0, c1, c2, alpha);
        return {space, c0, c1, c2, alpha};
    }
    getWhite(c0, alpha);
    return {space, c0, 0.0f, 0.0f, alpha};
}

} // namespace slidebox::color
