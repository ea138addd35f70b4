#pragma once

namespace slidebox::color {

/// The colour spaces a ColorValue can be in: calibrated or device RGB and
/// calibrated or device gray ("white" components: 0 black, 1 white).
enum class ColorSpaceName {
    CalibratedRGB,
    DeviceRGB,
    CalibratedWhite,
    DeviceWhite,
};

/// One colour as the user interface hands it over: components 0..1 in one
/// of the spaces above, plus alpha. A plain value; its calibrated and device
/// forms hold the same numbers and differ only in name.
class ColorValue {
  public:
    /// Opaque black in calibrated RGB.
    ColorValue() = default;

    /// A colour from four floats 0..1 in calibrated RGB.
    static ColorValue colorWithCalibratedRed(float red, float green, float blue, float alpha);
    /// The same in device RGB.
    static ColorValue colorWithDeviceRed(float red, float green, float blue, float alpha);
    /// A gray 0..1 in calibrated gray.
    static ColorValue colorWithCalibratedWhite(float white, float alpha);
    /// A gray 0..1 in device gray.
    static ColorValue colorWithDeviceWhite(float white, float alpha);

    ColorSpaceName colorSpaceName() const { return space_; }

    /// Red, green, blue and alpha as stored. A gray gives its white
    /// component for all three.
    void getRed(float& red, float& green, float& blue, float& alpha) const;

    /// White and alpha; an RGB colour gives its luminance
    /// (0.299 red + 0.587 green + 0.114 blue).
    void getWhite(float& white, float& alpha) const;

    /// The same colour in another space: a gray becomes three equal RGB
    /// components, an RGB colour its luminance.
    ColorValue colorUsingColorSpaceName(ColorSpaceName space) const;

    bool operator==(const ColorValue&) const = default;

  private:
    ColorValue(ColorSpaceName space, float c0, float c1, float c2, float alpha)
        : space_(space), components_{c0, c1, c2}, alpha_(alpha) {}

    bool isRGB() const {
        return space_ == ColorSpaceName::CalibratedRGB || space_ == ColorSpaceName::DeviceRGB;
    }

    ColorSpaceName space_ = ColorSpaceName::CalibratedRGB;
    float components_[3] = {0.0f, 0.0f, 0.0f}; // RGB, or the white in the first
    float alpha_ = 1.0f;
};

} // namespace slidebox::color
