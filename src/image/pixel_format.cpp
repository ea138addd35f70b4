#include "image/pixel_format.h"

#include "image/signature.h"

namespace slidebox::image {

std::uint32_t colorSpaceSignature(ColorSpace space) {
    switch (space) {
    case ColorSpace::Gray:
        return cmGrayData;
    case ColorSpace::RGB:
        return cmRGBData;
    case ColorSpace::CMYK:
        return cmCMYKData;
    case ColorSpace::Lab:
        return cmLabData;
    case ColorSpace::XYZ:
        return cmXYZData;
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
