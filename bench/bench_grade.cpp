// The gamut test of `icc grade PROFILE --gamut --absolute --tolerance 1`,
// timed against the same test made with one engine call per colour and per
// world (the 265,302 calls of the plain algorithm), in the same run, two
// ways: from a script (grade_reference.py, through the engine's C
// interface) and from C++ through the colour library's single-colour call.
//
//   bench_grade [PROFILE]
//
// PROFILE defaults to Ghostscript's CMYK printer profile. Prints the best
// of three runs of each (two of the script), the percentages, which must
// be equal, and the ratios; the goal is at least 5 against the script.
// The command itself (slidebox-cli beside this build, process start
// included) is what is timed for the ratios. Also: the grade's work (its
// time less that of a run refused at once) against the engine's own limit
// for the grid (both worlds, one call each, on one core) divided by the
// cores, goal at most 2; and the grade at --speed 10 against the
// unthrottled one, goal at most 11.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "bench_support.h"
#include "color/color_world.h"
#include "color/profile_manager.h"

namespace fs = std::filesystem;
using namespace slidebox::color;

namespace {

constexpr float kTolerance = 1.0f;

// The grid of the connection space, 51 steps an axis, each point against
// the colour that came back for it (returned(n, point)), counted against
// the tolerance as the library counts it.
template <typename Returned> float gamutOfReturns(OSType pcs, Returned&& returned) {
    int outside = 0;
    std::size_t n = 0;
    for (int i = 0; i < 51; ++i)
        for (int j = 0; j < 51; ++j)
            for (int k = 0; k < 51; ++k, ++n) {
                CMColor c1{};
                c1.raw[0] = static_cast<std::uint16_t>(i * 1310);
                c1.raw[1] = static_cast<std::uint16_t>(j * 1310);
                c1.raw[2] = static_cast<std::uint16_t>(k * 1310);
                CMColor c2 = returned(n, c1);
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
    return gamutOfReturns(pcs, [&](std::size_t, const CMColor& c1) {
        CMColor c2 = c1;
        CWMatchColors(*fromLab, std::span(&c2, 1));
        CWMatchColors(*toLab, std::span(&c2, 1));
        return c2;
    });
}

// The script's returned fields, counted against the tolerance as the
// library counts them.
float gamutOfFields(const fs::path& fields, OSType pcs) {
    std::ifstream in(fields, std::ios::binary);
    std::vector<std::uint16_t> words(132651 * 3);
    in.read(reinterpret_cast<char*>(words.data()),
            static_cast<std::streamsize>(words.size() * sizeof(std::uint16_t)));
    if (!in)
        return -1.0f;
    return gamutOfReturns(pcs, [&](std::size_t n, const CMColor&) {
        CMColor c2{};
        for (int c = 0; c < 3; ++c)
            c2.raw[c] = words[n * 3 + c];
        return c2;
    });
}

// The engine's own limit for the grid: both worlds built, then all the
// points through fromLab in one call and the answers through toLab in
// another, on one core. Only the engine's calls are timed.
double engineLimit(const fs::path& path) {
    CMProfileRef profile = ProfileManager::profileRefForPath(path);
    auto labPath = ProfileManager::pathOfGenericLabProfil();
    CMProfileRef lab = labPath ? ProfileManager::profileRefForPath(*labPath) : nullptr;
    CMWorldRef toLab, fromLab;
    ColorWorld a, b;
    if (!profile || !lab || a.initColorWorld(toLab, profile.get(), 3, 3, lab.get()) ||
        b.initColorWorld(fromLab, lab.get(), 3, 3, profile.get()))
        return -1.0;
    std::vector<CMColor> grid;
    for (int i = 0; i < 51; ++i)
        for (int j = 0; j < 51; ++j)
            for (int k = 0; k < 51; ++k) {
                CMColor c{};
                c.raw[0] = static_cast<std::uint16_t>(i * 1310);
                c.raw[1] = static_cast<std::uint16_t>(j * 1310);
                c.raw[2] = static_cast<std::uint16_t>(k * 1310);
                grid.push_back(c);
            }
    return bench::bestOf(3, [&] {
        std::vector<CMColor> colors = grid;
        CWMatchColorRuns(*fromLab, colors, 1);
        CWMatchColorRuns(*toLab, colors, 1);
    });
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
    const fs::path cli = fs::absolute(argv[0]).parent_path().parent_path() / "bin" / "slidebox-cli";
    const fs::path script = fs::path(SLIDEBOX_BENCH_DIR) / "grade_reference.py";
    const auto labPath = ProfileManager::pathOfGenericLabProfil();
    CMProfileRef opened = ProfileManager::profileRefForPath(profile);
    if (!opened || !labPath || !fs::exists(cli)) {
        std::fprintf(stderr, "no profile at %s, no generic Lab profile or no %s\n", profile.c_str(),
                     cli.c_str());
        return 1;
    }
    const OSType pcs = CMGetProfileHeader(*opened)->profileConnectionSpace;
    opened.reset();

    const fs::path fields = fs::temp_directory_path() / "bench_grade.fields";
    const fs::path printed = fs::temp_directory_path() / "bench_grade.out";
    const std::string scriptCommand = "python3 '" + script.string() + "' '" + profile.string() +
                                      "' '" + labPath->string() + "' 3 > '" + fields.string() + "'";
    const double scriptTime = bench::bestOf(2, [&] {
        if (std::system(scriptCommand.c_str()) != 0)
            std::fprintf(stderr, "the reference script failed\n");
    });
    const float scripted = gamutOfFields(fields, pcs);

    float reference = 0.0f, graded = 0.0f;
    const double referenceTime = bench::bestOf(3, [&] { reference = referenceGamut(profile); });
    const double libraryTime = bench::bestOf(
        3, [&] { graded = ColorWorld::inAbsoluteGamutPercentage(profile, kTolerance); });
    const std::string command = "'" + cli.string() + "' icc grade '" + profile.string() +
                                "' --gamut --absolute --tolerance 1 > '" + printed.string() + "'";
    const double cliTime = bench::bestOf(3, [&] {
        if (std::system(command.c_str()) != 0)
            std::fprintf(stderr, "icc grade failed\n");
    });
    std::ifstream out(printed);
    std::string cliValue;
    for (std::string line; std::getline(out, line);)
        if (line.rfind("in-gamut-percentage: ", 0) == 0)
            cliValue = line.substr(21);
    // The start-up of a run that is refused at once, and the throttled run.
    const std::string refusedCommand = "'" + cli.string() +
                                       "' icc grade /nonexistent.icc --gamut --absolute "
                                       "--tolerance 1 > /dev/null 2>&1";
    const double startTime = bench::bestOf(3, [&] { (void)std::system(refusedCommand.c_str()); });
    const std::string slowCommand = "'" + cli.string() + "' icc grade '" + profile.string() +
                                    "' --gamut --absolute --tolerance 1 --speed 10 > /dev/null";
    const double slowTime = bench::bestOf(1, [&] {
        if (std::system(slowCommand.c_str()) != 0)
            std::fprintf(stderr, "icc grade --speed 10 failed\n");
    });
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    const double limit = engineLimit(profile) / cores;
    fs::remove(fields);
    fs::remove(printed);

    std::printf("profile:                        %s\n", profile.c_str());
    std::printf("script, one call a colour:      %.3f s, in-gamut-percentage %s\n", scriptTime,
                real(scripted).c_str());
    std::printf("C++, one call a colour:         %.3f s, in-gamut-percentage %s\n", referenceTime,
                real(reference).c_str());
    std::printf("library call:                   %.3f s, in-gamut-percentage %s\n", libraryTime,
                real(graded).c_str());
    std::printf("icc grade (process):            %.3f s, in-gamut-percentage %s\n", cliTime,
                cliValue.c_str());
    const bool same =
        real(scripted) == cliValue && real(reference) == cliValue && real(graded) == cliValue;
    std::printf("numbers identical:              %s\n", same ? "yes" : "NO");
    std::printf("C++ one call a colour / icc grade ratio: %.2f\n", referenceTime / cliTime);
    std::printf("refused run (start-up):         %.3f s\n", startTime);
    std::printf("engine limit / %u cores:         %.3f s\n", cores, limit);
    std::printf("icc grade --speed 10:           %.3f s\n", slowTime);
    bench::report("script, one call a colour", scriptTime, "icc grade", cliTime, 5.0, false);
    bench::report("icc grade work (less start-up)", cliTime - startTime, "engine limit / cores",
                  limit, 2.0);
    bench::report("icc grade --speed 10", slowTime, "icc grade", cliTime, 11.0);
    return same ? 0 : 1;
}
