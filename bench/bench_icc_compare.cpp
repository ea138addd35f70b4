// slidebox-cli icc compare of two 24-megapixel Lab TIFFs (6000 x 4000,
// 16-bit CIELab, packed, uncompressed) with the gamut image written, timed
// against `cat A B > /dev/null`, which only reads both files, in the same
// run:
//
//   bench_icc_compare [WORK_DIR]
//
// Prints the best of three runs of each and their ratio (goal <= 8).
#include <cstdint>

#include "bench_support.h"
#include "image/tiff_writer.h"

namespace fs = std::filesystem;
using namespace slidebox::image;

namespace {

constexpr std::int32_t kWidth = 6000, kHeight = 4000;

// Lab fields in smooth ramps; the second image differs from the first by a
// few units of a and b that grow across the image, with a spot of noise.
bool makeLab(const fs::path& path, bool shifted) {
    const PixelFormat lab16 = PixelFormat::make(ColorSpace::Lab, 16);
    auto writer = TiffWriter::create(path, kWidth, kHeight, lab16,
                                     TiffWriteOptions{TiffCompression::None, 0, {}, false});
    if (!writer)
        return false;
    auto rows = Bitmap::allocate(kWidth, 50, lab16);
    std::uint32_t noise = 777;
    for (std::int32_t y0 = 0; y0 < kHeight; y0 += 50) {
        for (std::int32_t r = 0; r < 50; ++r) {
            std::uint16_t* p = rows->row16(r);
            const std::int32_t y = y0 + r;
            for (std::int32_t x = 0; x < kWidth; ++x) {
                noise = noise * 1664525u + 1013904223u;
                std::uint32_t L = 6000u + static_cast<std::uint32_t>(x) * 9u;
                std::uint32_t a = 12000u + static_cast<std::uint32_t>(y) * 10u;
                std::uint32_t b = 20000u + static_cast<std::uint32_t>(x + y) * 4u;
                if (shifted) {
                    a += static_cast<std::uint32_t>(x) / 8u + (noise >> 27);
                    b += static_cast<std::uint32_t>(y) / 16u;
                }
                p[3 * x] = static_cast<std::uint16_t>(L);
                p[3 * x + 1] = static_cast<std::uint16_t>(a);
                p[3 * x + 2] = static_cast<std::uint16_t>(b);
            }
        }
        if (!writer->writeRows(*rows))
            return false;
    }
    return static_cast<bool>(writer->finish());
}

} // namespace

int main(int argc, char** argv) {
    const fs::path dir =
        argc > 1 ? fs::path(argv[1]) : fs::temp_directory_path() / "slidebox-bench-icc";
    fs::create_directories(dir);
    const fs::path a = dir / "lab24mp-a.tif", b = dir / "lab24mp-b.tif";
    for (auto [path, shifted] : {std::pair{a, false}, std::pair{b, true}})
        if (!fs::exists(path)) {
            std::printf("making %s ...\n", path.c_str());
            if (!makeLab(path, shifted))
                return 1;
        }
    const fs::path gamut = dir / "gamut24mp.tif";
    const std::string reference =
        "cat " + bench::quoted(a) + " " + bench::quoted(b) + " > /dev/null";
    const std::string command = std::string(SLIDEBOX_CLI) + " icc compare " + bench::quoted(a) +
                                " " + bench::quoted(b) + " " + bench::quoted(gamut) +
                                " > /dev/null";
    bool ok = true;
    const double cat = bench::bestOfThree([&] { ok = bench::run(reference) && ok; });
    const double compare = bench::bestOfThree([&] { ok = bench::run(command) && ok; });
    if (!ok)
        return 1;
    std::printf("cat A B:      %.3f s\n", cat);
    std::printf("icc compare:  %.3f s\n", compare);
    bench::report("icc compare, 24 MP Lab pair", compare, "cat A B", cat, 8.0);
    return 0;
}
