// How a TIFF describes its pixels, and whether this reader takes them:
// every number from the file is checked before it sizes anything.
#include <limits>
#include <string>

#include "image/checked_size.h"
#include "image/tiff_reader_impl.h"

namespace slidebox::image {

namespace {

std::string photometricName(std::uint16_t photometric) {
    switch (photometric) {
    case PHOTOMETRIC_PALETTE:
        return "palette";
    case PHOTOMETRIC_MASK:
        return "transparency mask";
    case PHOTOMETRIC_YCBCR:
        return "YCbCr";
    case PHOTOMETRIC_ITULAB:
        return "ITU Lab";
    case PHOTOMETRIC_LOGL:
        return "LogL";
    case PHOTOMETRIC_LOGLUV:
        return "LogLuv";
    case PHOTOMETRIC_CFA:
        return "colour filter array";
    default:
        return "unknown";
    }
}

std::string sizeText(std::uint64_t width, std::uint64_t height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

std::uint32_t divideUp(std::uint32_t a, std::uint32_t b) {
    return a / b + (a % b != 0 ? 1 : 0);
}

} // namespace

ImageStatus TiffReader::Impl::describe(std::uint64_t fileSize) {
    TIFF* t = tif.get();
    std::uint32_t w = 0, h = 0;
    if (!TIFFGetField(t, TIFFTAG_IMAGEWIDTH, &w) || !TIFFGetField(t, TIFFTAG_IMAGELENGTH, &h))
        return fail(ImageErrorCode::Malformed, "no image size");
    if (w == 0 || h == 0)
        return fail(ImageErrorCode::Malformed, "image of " + sizeText(w, h) + " pixels");
    if (w > 0x7FFFFFFF || h > 0x7FFFFFFF)
        return fail(ImageErrorCode::TooLarge,
                    "image of " + sizeText(w, h) + " pixels is too large");

    std::uint16_t samples = 1, bits = 1, planar = PLANARCONFIG_CONTIG;
    std::uint16_t sampleFormat = SAMPLEFORMAT_UINT, photometric = 0;
    TIFFGetFieldDefaulted(t, TIFFTAG_SAMPLESPERPIXEL, &samples);
    TIFFGetFieldDefaulted(t, TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(t, TIFFTAG_PLANARCONFIG, &planar);
    TIFFGetFieldDefaulted(t, TIFFTAG_SAMPLEFORMAT, &sampleFormat);
    TIFFGetFieldDefaulted(t, TIFFTAG_COMPRESSION, &compression);
    if (!TIFFGetField(t, TIFFTAG_PHOTOMETRIC, &photometric))
        return fail(ImageErrorCode::Malformed, "no photometric interpretation");

    if (bits != 8 && bits != 16)
        return fail(ImageErrorCode::Unsupported,
                    std::to_string(bits) + "-bit samples (8 and 16 bits are read)");
    if (!TIFFIsCODECConfigured(compression))
        return fail(ImageErrorCode::Unsupported,
                    "compression " + std::to_string(compression) + " is not available");

    ColorSpace space = ColorSpace::Gray;
    bool minIsWhite = false, labSigned = false;
    switch (photometric) {
    case PHOTOMETRIC_MINISWHITE:
        minIsWhite = true;
        [[fallthrough]];
    case PHOTOMETRIC_MINISBLACK:
        space = ColorSpace::Gray;
        break;
    case PHOTOMETRIC_RGB:
        space = ColorSpace::RGB;
        break;
    case PHOTOMETRIC_SEPARATED: {
        std::uint16_t inkSet = INKSET_CMYK;
        TIFFGetFieldDefaulted(t, TIFFTAG_INKSET, &inkSet);
        if (inkSet != INKSET_CMYK)
            return fail(ImageErrorCode::Unsupported, "separated image of inks other than CMYK");
        if (samples != 4)
            return fail(ImageErrorCode::Unsupported,
                        "separated image of " + std::to_string(samples) +
                            " samples a pixel (CMYK has 4, and no alpha)");
        space = ColorSpace::CMYK;
        break;
    }
    case PHOTOMETRIC_CIELAB:
        space = ColorSpace::Lab;
        labSigned = true;
        break;
    case PHOTOMETRIC_ICCLAB:
        space = ColorSpace::Lab;
        break;
    case PHOTOMETRIC_YCBCR:
        // The JPEG codec converts YCbCr to RGB itself; other YCbCr (with its
        // subsampled layouts) isn't taken.
        if (compression == COMPRESSION_JPEG && planar == PLANARCONFIG_CONTIG && bits == 8) {
            TIFFSetField(t, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
            space = ColorSpace::RGB;
            break;
        }
        [[fallthrough]];
    default:
        return fail(ImageErrorCode::Unsupported, "photometric interpretation " +
                                                     std::to_string(photometric) + " (" +
                                                     photometricName(photometric) + ")");
    }
    if (sampleFormat == SAMPLEFORMAT_IEEEFP || sampleFormat == SAMPLEFORMAT_COMPLEXINT ||
        sampleFormat == SAMPLEFORMAT_COMPLEXIEEEFP)
        return fail(ImageErrorCode::Unsupported, "floating-point or complex samples");
    if (sampleFormat == SAMPLEFORMAT_INT && space != ColorSpace::Lab)
        return fail(ImageErrorCode::Unsupported, "signed samples");

    const int channels = channelCount(space);
    if (samples < channels)
        return fail(ImageErrorCode::Malformed, std::to_string(samples) + " samples a pixel for a " +
                                                   std::string(colorSpaceName(space)) + " image");
    if (samples > channels + 1)
        return fail(ImageErrorCode::Unsupported, std::to_string(samples) + " samples a pixel (" +
                                                     std::to_string(channels) +
                                                     " colour channels and at most one alpha)");
    const bool alpha = samples == channels + 1;
    if (alpha && space != ColorSpace::Gray && space != ColorSpace::RGB)
        return fail(ImageErrorCode::Unsupported,
                    "an alpha sample on a " + std::string(colorSpaceName(space)) + " image");

    // One sample lies the same either way; the flag still says what the file says.
    format = PixelFormat::make(space, bits, alpha, planar == PLANARCONFIG_SEPARATE);
    if (alpha) {
        std::uint16_t extraCount = 0;
        std::uint16_t* extraKinds = nullptr;
        if (TIFFGetField(t, TIFFTAG_EXTRASAMPLES, &extraCount, &extraKinds) && extraCount > 0 &&
            extraKinds)
            format.alphaPremultiplied = extraKinds[0] == EXTRASAMPLE_ASSOCALPHA;
    }
    if (!options.storedSamples)
        masks = tiff::sampleMasks(format, minIsWhite, labSigned);
    this->minIsWhite = minIsWhite;
    this->labSigned = labSigned;
    width = static_cast<std::int32_t>(w);
    height = static_cast<std::int32_t>(h);

    const auto planes = static_cast<std::size_t>(format.planeCount());
    const auto row = checkedMultiply(w, static_cast<std::size_t>(format.bytesPerPlanePixel()));
    const auto image = row ? checkedMultiply(*row, h, planes) : std::nullopt;
    if (!image || *image > options.maxImageBytes)
        return fail(ImageErrorCode::TooLarge, "image of " + sizeText(w, h) + " pixels, " +
                                                  image::describe(format) +
                                                  ", is larger than the limit");
    scanline = *row;
    if (compression == COMPRESSION_NONE && *image > fileSize)
        return fail(ImageErrorCode::Truncated, "the file holds " + std::to_string(fileSize) +
                                                   " bytes, its pixels need " +
                                                   std::to_string(*image));

    if (TIFFIsTiled(t)) {
        tiled = true;
        if (!TIFFGetField(t, TIFFTAG_TILEWIDTH, &tileWidth) ||
            !TIFFGetField(t, TIFFTAG_TILELENGTH, &tileLength) || tileWidth == 0 || tileLength == 0)
            return fail(ImageErrorCode::Malformed, "tiles without a size");
        auto tile = checkedMultiply(tileWidth, tileLength,
                                    static_cast<std::size_t>(format.bytesPerPlanePixel()));
        if (!tile || *tile > options.maxImageBytes)
            return fail(ImageErrorCode::TooLarge, "tiles of " + sizeText(tileWidth, tileLength) +
                                                      " pixels are larger than the limit");
        if (static_cast<std::uint64_t>(TIFFTileSize64(t)) != *tile)
            return fail(ImageErrorCode::Malformed, "tiles of an unexpected size");
        tileBytes = *tile;
        tilesAcross = divideUp(w, tileWidth);
        const std::uint32_t tilesDown = divideUp(h, tileLength);
        if (static_cast<std::uint64_t>(TIFFNumberOfTiles(t)) !=
            std::uint64_t{tilesAcross} * tilesDown * planes)
            return fail(ImageErrorCode::Malformed, "the tile count doesn't match the image");
        rowsPerBand = static_cast<std::int32_t>(std::min(tileLength, h));
    } else {
        std::uint32_t rowsPerStrip = 0;
        TIFFGetFieldDefaulted(t, TIFFTAG_ROWSPERSTRIP, &rowsPerStrip);
        if (rowsPerStrip == 0)
            return fail(ImageErrorCode::Malformed, "strips of 0 rows");
        rowsPerBand = static_cast<std::int32_t>(std::min(rowsPerStrip, h));
        stripsPerPlane = divideUp(h, static_cast<std::uint32_t>(rowsPerBand));
        if (static_cast<std::uint64_t>(TIFFNumberOfStrips(t)) !=
            std::uint64_t{stripsPerPlane} * planes)
            return fail(ImageErrorCode::Malformed, "the strip count doesn't match the image");
        if (static_cast<std::uint64_t>(
                TIFFVStripSize64(t, static_cast<std::uint32_t>(rowsPerBand))) !=
            std::uint64_t{scanline} * static_cast<std::uint64_t>(rowsPerBand))
            return fail(ImageErrorCode::Malformed, "strips of an unexpected size");
    }
    bandCount = divideUp(h, static_cast<std::uint32_t>(rowsPerBand));
    const auto bandBytes = checkedMultiply(scanline, static_cast<std::size_t>(rowsPerBand), planes);
    if (!bandBytes || *bandBytes > options.maxImageBytes)
        return fail(ImageErrorCode::TooLarge, "strips or tiles larger than the limit");
    findStoredRows();
    return {};
}

void TiffReader::Impl::findStoredRows() {
    // Strips of one plane stored uncompressed, in the machine's byte order
    // and with the bits of a byte in the usual order, hold the rows as they
    // come: their bytes can be read from the file by any thread.
    TIFF* t = tif.get();
    std::uint16_t fillOrder = FILLORDER_MSB2LSB;
    TIFFGetFieldDefaulted(t, TIFFTAG_FILLORDER, &fillOrder);
    if (tiled || compression != COMPRESSION_NONE || format.planeCount() != 1 ||
        fillOrder != FILLORDER_MSB2LSB || (format.bytesPerSample > 1 && TIFFIsByteSwapped(t)) ||
        memory.data != nullptr || TIFFFileno(t) < 0)
        return;
    std::uint64_t* offsets = nullptr;
    std::uint64_t* counts = nullptr;
    if (!TIFFGetField(t, TIFFTAG_STRIPOFFSETS, &offsets) || !offsets ||
        !TIFFGetField(t, TIFFTAG_STRIPBYTECOUNTS, &counts) || !counts)
        return;
    // A strip that says it holds fewer bytes than its rows goes through
    // libtiff, which reports it.
    for (std::uint32_t s = 0; s < stripsPerPlane; ++s)
        if (counts[s] < scanline * static_cast<std::uint64_t>(rowsInBand(s)))
            return;
    stripOffsets.assign(offsets, offsets + stripsPerPlane);
}

} // namespace slidebox::image
