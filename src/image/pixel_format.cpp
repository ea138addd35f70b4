#include "image/pixel_format.h"

namespace slidebox::image {

std::uint32_t colorSpaceSignature(ColorSpace space) {
    switch (space) {
    case ColorSpace::Gray:
        return 0x47524159; // 'GRAY'
    case ColorSpace::RGB:
        return 0x52474220; // 'RGB '
    case ColorSpace::CMYK:
        return 0x434D594B; // 'CMYK'
    case ColorSpace::Lab:
        return 0x4C616220; // 'Lab '
    case ColorSpace::XYZ:
        return 0x58595A20; // 'XYZ '
    }
    return 0;
}

std::string_view colorSpaceName(ColorSpace space) {
    switch (space) {
    case ColorSpace::Gray:
        return "gray";
    case ColorSpace::RGB:
        return "RGB";
    case ColorSpace::CMYK:
        return "CMYK";
    case ColorSpace::Lab:
        return "Lab";
    case ColorSpace::XYZ:
        return "XYZ";
    }
    return "unknown";
}

std::string describe(const PixelFormat& format) {
    std::string text(colorSpaceName(format.space));
    text += ' ';
    text += std::to_string(format.bitsPerSample());
    text += format.isPlanar ? "-bit planar" : "-bit packed";
    if (format.hasAlpha)
        text += format.alphaPremultiplied ? " with premultiplied alpha" : " with alpha";
    return text;
}

} // namespace slidebox::image
