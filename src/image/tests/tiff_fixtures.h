#pragma once

// Test support: TIFF files made and read with libtiff directly, sample by
// sample, so that what the reader and writer do is checked against files
// that neither of them made.

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <tiffio.h>

#include "image/bitmap.h"

namespace slidebox::image::testing {

/// A TIFF described field by field. values hold the file's samples, as
/// the file stores them (signed ones as their bit pattern): packed files
/// pixel by pixel, samples side by side; planar files plane by plane.
struct RawTiff {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t samples = 1;
    std::uint16_t bits = 8;
    std::uint16_t photometric = PHOTOMETRIC_MINISBLACK;
    std::uint16_t planar = PLANARCONFIG_CONTIG;
    std::uint16_t compression = COMPRESSION_NONE;
    std::uint32_t rowsPerStrip = 0; ///< 0: one strip
    std::uint32_t tileWidth = 0;    ///< with tileLength: tiles instead of strips
    std::uint32_t tileLength = 0;
    std::vector<std::uint16_t> extraSamples;
    std::uint16_t inkSet = 0;       ///< 0: tag left out
    std::uint16_t sampleFormat = 0; ///< 0: tag left out
    bool bigEndian = false;
    std::string iccProfile;
    std::vector<std::uint16_t> colormap; ///< red, green, blue tables of 2^bits entries each
    std::vector<std::uint32_t> values;
};

/// Samples 0, 1, 2, ... spread over the range of the bits, different in
/// every sample of a small image.
std::vector<std::uint32_t> rampValues(std::size_t count, int bits);

/// Writes the file; false when libtiff refuses.
bool writeRawTiff(const std::filesystem::path& path, const RawTiff& tiff);

/// What a strip-organised TIFF holds, read back sample by sample.
struct RawContents {
    std::uint32_t width = 0, height = 0;
    std::uint16_t samples = 0, bits = 0, photometric = 0, planar = 0, compression = 0;
    std::uint16_t inkSet = 0;
    std::vector<std::uint16_t> extraSamples;
    std::vector<std::uint32_t> values; ///< laid out as RawTiff::values
    bool ok = false;
};
RawContents readRawTiff(const std::filesystem::path& path);

/// A bitmap's samples in the layout of RawTiff::values (packed: pixel by
/// pixel; planar: plane by plane), padding left out.
std::vector<std::uint32_t> bitmapValues(const Bitmap& bitmap);

/// PixelFormat::make, shorter.
inline PixelFormat format(ColorSpace space, int bits, bool alpha = false, bool planar = false) {
    return PixelFormat::make(space, bits, alpha, planar);
}

/// A bitmap whose samples all differ (the ramp above, laid out as bitmapValues).
Bitmap rampBitmap(std::int32_t width, std::int32_t height, PixelFormat format);

/// The entries of a folder, sorted; to show that nothing was left behind.
std::vector<std::string> folderEntries(const std::filesystem::path& folder);

} // namespace slidebox::image::testing
