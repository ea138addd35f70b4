// The gamut test of `icc grade PROFILE --gamut --absolute --tolerance 1`,
// timed against the same test made with one engine call per colour and per
// world (the 265,302 calls of the plain algorithm) in the same run.
//
//   bench_grade [PROFILE] [SLIDEBOX_CLI]
//
// PROFILE defaults to Ghostscript's CMYK printer profile. Prints the best
// of three runs of each, the two percentages (which must be equal) and the
// ratio; the goal is a ratio of at least 5. With the path of slidebox-cli
// the command itself is timed too, process start included.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <span>
#include <string>

#include "color/color_world.h"
#include "color/profile_manager.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using namespace slidebox::color;

namespace {

constexpr float kTolerance = 1.0f;

// The plain algorithm: both worlds, then each grid point through the
// engine one colour a call, fromLab then toLab, compared with itself.
float referenceGamut(const fs::path& path) {
    CMProfileRef profile = ProfileManager::profileRefForPath(path);
    auto labPath = ProfileManager::pathOfGenericLabProfil();
    CMProfileRef lab = labPath ? ProfileManager::profileRefForPath(*labPath) : nullptr;
    if (!profile || !lab)
        return -1.0f;
    CMWorldRef toLab, fromLab;
    ColorWorld a, b;
    if (a.initColorWorld(toLab, profile.get(), 3, 3, lab.get()) ||
        b.initColorWorld(fromLab, lab.get(), 3, 3, profile.get()))
        return -1.0f;
    const OSType pcs = CMGetProfileHeader(*profile)->profileConnectionSpace;
    int outside = 0;
    for (int i = 0; i < 51; ++i)
        for (int j = 0; j < 51; ++j)
            for (int k = 0; k < 51; ++k) {
                CMColor c1{};
                c1.raw[0] = static_cast<std::uint16_t>(i * 1310);
                c1.raw[1] = static_cast<std::uint16_t>(j * 1310);
                c1.raw[2] = static_cast<std::uint16_t>(k * 1310);
                CMColor c2 = c1;
                CWMatchColors(*fromLab, std::span(&c2, 1));
                CWMatchColors(*toLab, std::span(&c2, 1));
                CMColor l1 = c1, l2 = c2;
                if (pcs == cmXYZData) {
                    ColorWorld::CMXYZ(c1, l1);
                    ColorWorld::CMXYZ(c2, l2);
                }
                if (ColorWorld::deltaEWithC1(l1, l2) > kTolerance)
                    ++outside;
            }
    const float divisor = pcs == cmXYZData ? 0.776f : 0.649f;
    const float inside = static_cast<float>(132651 - outside) / 132651.0f;
    return static_cast<float>(static_cast<double>(inside) * 100.0 / divisor);
}

template <typename F> double bestOfThree(F&& f) {
    double best = 1e30;
    for (int i = 0; i < 3; ++i) {
        auto start = Clock::now();
        f();
        best = std::min(best, std::chrono::duration<double>(Clock::now() - start).count());
    }
    return best;
}

std::string real(float value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.9g", static_cast<double>(value));
    return buffer;
}

} // namespace

int main(int argc, char** argv) {
    const fs::path profile = argc > 1
                                 ? fs::path(argv[1])
                                 : fs::path("/usr/share/color/icc/ghostscript/default_cmyk.icc");
    if (!fs::exists(profile)) {
        std::fprintf(stderr, "no profile at %s\n", profile.c_str());
        return 1;
    }
    float reference = 0.0f, graded = 0.0f;
    const double referenceTime = bestOfThree([&] { reference = referenceGamut(profile); });
    const double gradeTime =
        bestOfThree([&] { graded = ColorWorld::inAbsoluteGamutPercentage(profile, kTolerance); });
    std::printf("profile:                   %s\n", profile.c_str());
    std::printf("one call a colour:         %.3f s, in-gamut-percentage %s\n", referenceTime,
                real(reference).c_str());
    std::printf("grade (library):           %.3f s, in-gamut-percentage %s\n", gradeTime,
                real(graded).c_str());
    bool same = real(reference) == real(graded);
    double best = gradeTime;
    if (argc > 2) {
        const std::string command = std::string("'") + argv[2] + "' icc grade '" +
                                    profile.string() +
                                    "' --gamut --absolute --tolerance 1 > /tmp/bench_grade.out";
        const double cliTime = bestOfThree([&] {
            if (std::system(command.c_str()) != 0)
                std::fprintf(stderr, "icc grade failed\n");
        });
        std::FILE* out = std::fopen("/tmp/bench_grade.out", "r");
        char line[256];
        std::string printed;
        while (out && std::fgets(line, sizeof line, out))
            if (std::string(line).rfind("in-gamut-percentage: ", 0) == 0)
                printed = std::string(line + 21, std::strlen(line + 21) - 1);
        if (out)
            std::fclose(out);
        std::printf("icc grade (process):       %.3f s, in-gamut-percentage %s\n", cliTime,
                    printed.c_str());
        same = same && printed == real(reference);
        best = cliTime;
    }
    std::printf("numbers identical:         %s\n", same ? "yes" : "NO");
    std::printf("one call a colour / grade ratio: %.2f (goal >= 5.00)\n", referenceTime / best);
    return same ? 0 : 1;
}
