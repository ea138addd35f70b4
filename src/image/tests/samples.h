#pragma once

// Test support: a bitmap's samples as numbers, and the ramp of samples that
// the stored TIFFs in data/good hold.

#include <algorithm>
#include <filesystem>
#include <string>
#include <type_traits>
#include <vector>

#include "image/bitmap.h"

namespace slidebox::image::testing {

constexpr PixelFormat format(ColorSpace space, int bits, bool alpha = false, bool planar = false) {
    return PixelFormat::make(space, bits, alpha, planar);
}

/// Samples 0, 1, 2, ... spread over the range of the bits: different in
/// every sample of a small image.
inline std::vector<std::uint32_t> rampValues(std::size_t count, int bits) {
    std::vector<std::uint32_t> values(count);
    for (std::size_t i = 0; i < count; ++i)
        values[i] =
            static_cast<std::uint32_t>(bits == 16 ? (i * 4099 + 11) % 65536 : (i * 37 + 11) % 256);
    return values;
}

/// Calls visit(sample) with a reference to every sample of the bitmap, plane
/// by plane and row by row, padding left out.
template <class B, class Visit> void forEachSample(B& bitmap, Visit visit) {
    const auto perRow = std::size_t(bitmap.width() * bitmap.format().samplesPerPlanePixel());
    for (int p = 0; p < bitmap.planeCount(); ++p)
        for (std::int32_t y = 0; y < bitmap.height(); ++y)
            for (std::size_t x = 0; x < perRow; ++x)
                bitmap.format().bytesPerSample == 2 ? visit(bitmap.row16(y, p)[x])
                                                    : visit(bitmap.row(y, p)[x]);
}

inline std::vector<std::uint32_t> samplesOf(const Bitmap& bitmap) {
    std::vector<std::uint32_t> out;
    forEachSample(bitmap, [&](auto sample) { out.push_back(sample); });
    return out;
}

/// A bitmap of the values, in the order samplesOf reads them; by default
/// the ramp. Rows of rowBytes, when not 0.
inline Bitmap bitmapOf(std::int32_t width, std::int32_t height, PixelFormat format,
                       std::vector<std::uint32_t> values = {}, std::size_t rowBytes = 0) {
    Bitmap bitmap = std::move(Bitmap::allocate(width, height, format, rowBytes)).value();
    if (values.empty())
        values = rampValues(std::size_t(width * height * format.samplesPerPixel()),
                            format.bitsPerSample());
    std::size_t i = 0;
    forEachSample(bitmap, [&](auto& sample) {
        sample = static_cast<std::remove_reference_t<decltype(sample)>>(values.at(i++));
    });
    return bitmap;
}

/// The entries of a folder, sorted; to show that nothing was left behind.
inline std::vector<std::string> folderEntries(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace slidebox::image::testing
