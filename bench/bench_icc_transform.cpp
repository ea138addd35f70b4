// slidebox-cli icc transform on a 24-megapixel image (6000 x 4000, 8-bit
// RGB, packed, uncompressed TIFF), timed against the colour engine's own
// TIFF tool `tificc -t0` on the same files in the same run:
//
//   bench_icc_transform [WORK_DIR]
//
// sRGB to a CMYK printer profile and sRGB to AdobeRGB, intent 0: the best
// of five runs of each tool, taken in turns, their ratio (goal <= 0.6) and
// the largest difference between the two outputs' samples. Once writing a
// new file (the outputs removed before each run, untimed), once over each
// tool's output of the run before: there tificc cuts its old output short
// and writes into it, while icc transform writes a new file that replaces
// the old one only when complete.
#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "bench_support.h"
#include "image/tiff_reader.h"
#include "image/tiff_writer.h"

namespace fs = std::filesystem;
using namespace slidebox::image;

namespace {

constexpr std::int32_t kWidth = 6000, kHeight = 4000;
const fs::path kSRGB = "/usr/share/color/icc/colord/sRGB.icc";
const fs::path kAdobe = "/usr/share/color/icc/colord/AdobeRGB1998.icc";
const fs::path kCMYK = "/usr/share/color/icc/ghostscript/default_cmyk.icc";

// Smooth ramps with a little noise, so that neighbours differ.
bool makeInput(const fs::path& path) {
    auto writer = TiffWriter::create(path, kWidth, kHeight, PixelFormat::make(ColorSpace::RGB, 8),
                                     TiffWriteOptions{TiffCompression::None, 0, {}, false});
    if (!writer)
        return false;
    auto rows = Bitmap::allocate(kWidth, 100, PixelFormat::make(ColorSpace::RGB, 8));
    std::uint32_t noise = 12345;
    for (std::int32_t y0 = 0; y0 < kHeight; y0 += 100) {
        for (std::int32_t r = 0; r < 100; ++r) {
            std::uint8_t* p = rows->row(r);
            for (std::int32_t x = 0; x < kWidth; ++x) {
                noise = noise * 1664525u + 1013904223u;
                p[3 * x] = static_cast<std::uint8_t>(x * 255 / kWidth + (noise >> 29));
                p[3 * x + 1] = static_cast<std::uint8_t>((y0 + r) * 255 / kHeight + (noise >> 30));
                p[3 * x + 2] = static_cast<std::uint8_t>(((x / 40) ^ ((y0 + r) / 40)) * 7);
            }
        }
        if (!writer->writeRows(*rows))
            return false;
    }
    return static_cast<bool>(writer->finish());
}

// The largest difference of two TIFFs' samples, read band by band.
int largestDifference(const fs::path& a, const fs::path& b) {
    auto ra = TiffReader::open(a);
    auto rb = TiffReader::open(b);
    if (!ra || !rb || ra->width() != rb->width() || ra->height() != rb->height() ||
        !(ra->format() == rb->format()))
        return -1;
    auto ba = Bitmap::allocate(ra->width(), 64, ra->format());
    auto bb = Bitmap::allocate(ra->width(), 64, ra->format());
    int largest = 0;
    for (std::int32_t y = 0; y < ra->height(); y += 64) {
        const std::int32_t n = std::min(64, ra->height() - y);
        auto va = ba->view(makeRect(0, 0, ra->width(), n));
        auto vb = bb->view(makeRect(0, 0, ra->width(), n));
        if (!ra->readRows(y, *va) || !rb->readRows(y, *vb))
            return -1;
        for (std::int32_t r = 0; r < n; ++r)
            for (std::size_t i = 0; i < va->minRowBytes(); ++i)
                largest = std::max(largest, std::abs(int(va->row(r)[i]) - int(vb->row(r)[i])));
    }
    return largest;
}

bool compareOne(const fs::path& dir, const char* name, const fs::path& destination) {
    const fs::path in = dir / "rgb24mp.tif";
    const fs::path ours = dir / (std::string(name) + "-slidebox.tif");
    const fs::path theirs = dir / (std::string(name) + "-tificc.tif");
    const std::string reference = "tificc -t0 -i " + bench::quoted(kSRGB) + " -o " +
                                  bench::quoted(destination) + " " + bench::quoted(in) + " " +
                                  bench::quoted(theirs) + " 2> /dev/null";
    const std::string command = std::string(SLIDEBOX_CLI) + " icc transform --src " +
                                bench::quoted(kSRGB) + " --dst " + bench::quoted(destination) +
                                " --intent 0 " + bench::quoted(in) + " " + bench::quoted(ours);
    bool ok = true;
    // Each tool's best of five, in turns, so that the machine's drift
    // falls on both.
    const auto bestInTurns = [&](bool fresh) {
        std::pair<double, double> best{1e30, 1e30};
        for (int i = 0; i < 5; ++i) {
            if (fresh) {
                fs::remove(theirs);
                fs::remove(ours);
            }
            best.first =
                std::min(best.first, bench::timed([&] { ok = bench::run(reference) && ok; }));
            best.second =
                std::min(best.second, bench::timed([&] { ok = bench::run(command) && ok; }));
        }
        return best;
    };
    const auto [tificc, slidebox] = bestInTurns(true);
    const auto [tificcOver, slideboxOver] = bestInTurns(false);
    if (!ok)
        return false;
    std::printf("sRGB -> %s\n", name);
    std::printf("  tificc -t0:     %.3f s (over its last output %.3f s)\n", tificc, tificcOver);
    std::printf("  icc transform:  %.3f s (over its last output %.3f s)\n", slidebox, slideboxOver);
    bench::report(std::string("icc transform 24 MP, sRGB -> ") + name + ", new file", slidebox,
                  "tificc -t0", tificc, 0.6);
    bench::report(std::string("icc transform 24 MP, sRGB -> ") + name + ", over the last",
                  slideboxOver, "tificc -t0", tificcOver, 0.6);
    std::printf("  largest sample difference from tificc: %d\n", largestDifference(ours, theirs));
    return true;
}

} // namespace

int main(int argc, char** argv) {
    for (const fs::path& p : {kSRGB, kAdobe, kCMYK})
        if (!fs::exists(p)) {
            std::fprintf(stderr, "%s missing: run tools/setup.sh\n", p.c_str());
            return 1;
        }
    const fs::path dir =
        argc > 1 ? fs::path(argv[1]) : fs::temp_directory_path() / "slidebox-bench-icc";
    fs::create_directories(dir);
    if (!fs::exists(dir / "rgb24mp.tif")) {
        std::printf("making %s ...\n", (dir / "rgb24mp.tif").c_str());
        if (!makeInput(dir / "rgb24mp.tif"))
            return 1;
    }
    bool ok = compareOne(dir, "CMYK", kCMYK);
    ok = compareOne(dir, "AdobeRGB", kAdobe) && ok;
    return ok ? 0 : 1;
}
