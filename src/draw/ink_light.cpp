#include "draw/ink_light.h"

#include <algorithm>

namespace slidebox::draw {

std::array<std::uint8_t, 4> inksFromLight(unsigned red, unsigned green, unsigned blue) {
    const unsigned black = 255 - std::max({red, green, blue});
    if (black == 255)
        return {0, 0, 0, 255};
    const unsigned left = 255 - black;
    auto ink = [&](unsigned light) {
        return static_cast<std::uint8_t>(((left - light) * 255 + left / 2) / left);
    };
    return {ink(red), ink(green), ink(blue), static_cast<std::uint8_t>(black)};
}

std::array<std::uint8_t, 3> lightFromInks(unsigned cyan, unsigned magenta, unsigned yellow,
                                          unsigned black) {
    auto light = [&](unsigned ink) {
        return static_cast<std::uint8_t>(((255 - ink) * (255 - black) + 127) / 255);
    };
    return {light(cyan), light(magenta), light(yellow)};
}

QImage lightFromInks(const image::Bitmap& cmyk) {
    const image::PixelFormat& f = cmyk.format();
    if (cmyk.isNull() || f.space != image::ColorSpace::CMYK || f.bytesPerSample != 1 ||
        f.isPlanar || f.hasAlpha)
        return {};
    QImage picture(cmyk.width(), cmyk.height(), QImage::Format_RGB888);
    if (picture.isNull())
        return picture;
    for (std::int32_t y = 0; y < cmyk.height(); ++y) {
        const std::uint8_t* in = cmyk.row(y);
        std::uint8_t* out = picture.scanLine(y);
        for (std::int32_t x = 0; x < cmyk.width(); ++x, in += 4, out += 3) {
            const auto rgb = lightFromInks(in[0], in[1], in[2], in[3]);
            std::copy(rgb.begin(), rgb.end(), out);
        }
    }
    return picture;
}

} // namespace slidebox::draw
