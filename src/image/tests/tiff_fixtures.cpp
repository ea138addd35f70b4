#include "tiff_fixtures.h"

#include <algorithm>
#include <cstring>

namespace slidebox::image::testing {

namespace {

void putSample(std::vector<std::uint8_t>& bytes, std::size_t index, int bits, std::uint32_t value) {
    if (bits == 16) {
        const auto v = static_cast<std::uint16_t>(value);
        std::memcpy(bytes.data() + index * 2, &v, 2);
    } else {
        bytes[index] = static_cast<std::uint8_t>(value);
    }
}

std::uint32_t getSample(const std::vector<std::uint8_t>& bytes, std::size_t index, int bits) {
    if (bits == 16) {
        std::uint16_t v = 0;
        std::memcpy(&v, bytes.data() + index * 2, 2);
        return v;
    }
    return bytes[index];
}

} // namespace

std::vector<std::uint32_t> rampValues(std::size_t count, int bits) {
    std::vector<std::uint32_t> values(count);
    const std::uint32_t range = bits == 16 ? 65536 : 256;
    // A step that is odd and not a divisor of the range visits many values.
    const std::uint32_t step = bits == 16 ? 4099 : 37;
    for (std::size_t i = 0; i < count; ++i)
        values[i] = static_cast<std::uint32_t>((i * step + 11) % range);
    return values;
}

bool writeRawTiff(const std::filesystem::path& path, const RawTiff& t) {
    TIFF* tif = TIFFOpen(path.c_str(), t.bigEndian ? "wb" : "wl");
    if (!tif)
        return false;
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, t.width);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, t.height);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, t.samples);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, t.bits);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, t.photometric);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, t.planar);
    TIFFSetField(tif, TIFFTAG_COMPRESSION, t.compression);
    if (!t.extraSamples.empty())
        TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, static_cast<std::uint16_t>(t.extraSamples.size()),
                     t.extraSamples.data());
    if (t.inkSet)
        TIFFSetField(tif, TIFFTAG_INKSET, t.inkSet);
    if (t.sampleFormat)
        TIFFSetField(tif, TIFFTAG_SAMPLEFORMAT, t.sampleFormat);
    if (!t.iccProfile.empty())
        TIFFSetField(tif, TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(t.iccProfile.size()),
                     t.iccProfile.data());
    if (!t.colormap.empty()) {
        const std::size_t n = t.colormap.size() / 3;
        TIFFSetField(tif, TIFFTAG_COLORMAP, t.colormap.data(), t.colormap.data() + n,
                     t.colormap.data() + 2 * n);
    }
    if (t.compression == COMPRESSION_JPEG && t.photometric == PHOTOMETRIC_YCBCR) {
        TIFFSetField(tif, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        TIFFSetField(tif, TIFFTAG_JPEGQUALITY, 95);
    }

    const bool separate = t.planar == PLANARCONFIG_SEPARATE;
    const std::size_t planes = separate ? t.samples : 1;
    const std::size_t perPixel = separate ? 1 : t.samples;
    const std::size_t sampleBytes = t.bits / 8;
    const std::size_t rowSamples = t.width * perPixel;
    const std::size_t rowBytes = (rowSamples * t.bits + 7) / 8;
    // The whole image, plane by plane, in the file's sample bytes; samples
    // narrower than a byte are given as the bytes that hold them.
    std::vector<std::uint8_t> image(planes * t.height * rowBytes);
    const std::size_t count = planes * t.height * (t.bits >= 8 ? rowSamples : rowBytes);
    for (std::size_t i = 0; i < t.values.size() && i < count; ++i)
        putSample(image, i, t.bits >= 8 ? t.bits : 8, t.values[i]);

    bool ok = true;
    if (t.tileWidth && t.tileLength) {
        TIFFSetField(tif, TIFFTAG_TILEWIDTH, t.tileWidth);
        TIFFSetField(tif, TIFFTAG_TILELENGTH, t.tileLength);
        const std::size_t tileRow = t.tileWidth * perPixel * sampleBytes;
        std::vector<std::uint8_t> tile(tileRow * t.tileLength);
        for (std::size_t p = 0; p < planes && ok; ++p)
            for (std::uint32_t y = 0; y < t.height && ok; y += t.tileLength)
                for (std::uint32_t x = 0; x < t.width && ok; x += t.tileWidth) {
                    std::fill(tile.begin(), tile.end(), 0);
                    const std::uint32_t columns = std::min(t.tileWidth, t.width - x);
                    for (std::uint32_t r = 0; r < t.tileLength && y + r < t.height; ++r)
                        std::memcpy(tile.data() + r * tileRow,
                                    image.data() + (p * t.height + y + r) * rowBytes +
                                        x * perPixel * sampleBytes,
                                    columns * perPixel * sampleBytes);
                    ok = TIFFWriteTile(tif, tile.data(), x, y, 0, static_cast<std::uint16_t>(p)) >=
                         0;
                }
    } else {
        const std::uint32_t rows = t.rowsPerStrip ? t.rowsPerStrip : t.height;
        TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, rows);
        const std::uint32_t strips = (t.height + rows - 1) / rows;
        for (std::size_t p = 0; p < planes && ok; ++p)
            for (std::uint32_t s = 0; s < strips && ok; ++s) {
                const std::uint32_t first = s * rows;
                const std::uint32_t count = std::min(rows, t.height - first);
                ok = TIFFWriteEncodedStrip(tif, static_cast<std::uint32_t>(p * strips + s),
                                           image.data() + (p * t.height + first) * rowBytes,
                                           static_cast<tmsize_t>(count * rowBytes)) >= 0;
            }
    }
    TIFFClose(tif);
    return ok;
}

RawContents readRawTiff(const std::filesystem::path& path) {
    RawContents c;
    TIFF* tif = TIFFOpen(path.c_str(), "r");
    if (!tif)
        return c;
    TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &c.width);
    TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &c.height);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &c.samples);
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &c.bits);
    TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &c.photometric);
    TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &c.planar);
    TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &c.compression);
    TIFFGetField(tif, TIFFTAG_INKSET, &c.inkSet);
    std::uint16_t extraCount = 0;
    std::uint16_t* extra = nullptr;
    if (TIFFGetField(tif, TIFFTAG_EXTRASAMPLES, &extraCount, &extra))
        c.extraSamples.assign(extra, extra + extraCount);
    const bool separate = c.planar == PLANARCONFIG_SEPARATE;
    const std::size_t planes = separate ? c.samples : 1;
    const std::size_t rowSamples = c.width * (separate ? 1 : c.samples);
    const std::size_t rowBytes = rowSamples * c.bits / 8;
    std::vector<std::uint8_t> image(planes * c.height * rowBytes);
    const std::uint32_t strips = TIFFNumberOfStrips(tif) / static_cast<std::uint32_t>(planes);
    std::uint32_t rowsPerStrip = 0;
    TIFFGetFieldDefaulted(tif, TIFFTAG_ROWSPERSTRIP, &rowsPerStrip);
    rowsPerStrip = std::min(rowsPerStrip, c.height);
    c.ok = !TIFFIsTiled(tif) && (c.bits == 8 || c.bits == 16);
    for (std::size_t p = 0; p < planes && c.ok; ++p)
        for (std::uint32_t s = 0; s < strips && c.ok; ++s) {
            const std::size_t first = std::size_t{s} * rowsPerStrip;
            c.ok = TIFFReadEncodedStrip(tif, static_cast<std::uint32_t>(p * strips + s),
                                        image.data() + (p * c.height + first) * rowBytes, -1) >= 0;
        }
    TIFFClose(tif);
    c.values.resize(planes * c.height * rowSamples);
    for (std::size_t i = 0; i < c.values.size(); ++i)
        c.values[i] = getSample(image, i, c.bits);
    return c;
}

std::vector<std::uint32_t> bitmapValues(const Bitmap& bitmap) {
    std::vector<std::uint32_t> values;
    const auto perRow = static_cast<std::size_t>(bitmap.width()) *
                        static_cast<std::size_t>(bitmap.format().samplesPerPlanePixel());
    for (int p = 0; p < bitmap.planeCount(); ++p)
        for (std::int32_t y = 0; y < bitmap.height(); ++y)
            for (std::size_t i = 0; i < perRow; ++i)
                values.push_back(bitmap.format().bytesPerSample == 2 ? bitmap.row16(y, p)[i]
                                                                     : bitmap.row(y, p)[i]);
    return values;
}

Bitmap rampBitmap(std::int32_t width, std::int32_t height, PixelFormat format) {
    auto bitmap = Bitmap::allocate(width, height, format);
    if (!bitmap)
        return Bitmap();
    const auto perRow = static_cast<std::size_t>(width * format.samplesPerPlanePixel());
    const auto values = rampValues(perRow * height * format.planeCount(), format.bitsPerSample());
    std::size_t i = 0;
    for (int p = 0; p < format.planeCount(); ++p)
        for (std::int32_t y = 0; y < height; ++y)
            for (std::size_t x = 0; x < perRow; ++x, ++i) {
                if (format.bytesPerSample == 2)
                    bitmap->row16(y, p)[x] = static_cast<std::uint16_t>(values[i]);
                else
                    bitmap->row(y, p)[x] = static_cast<std::uint8_t>(values[i]);
            }
    return std::move(bitmap).value();
}

std::vector<std::string> folderEntries(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace slidebox::image::testing
