// slidebox-cli icc compare: two Lab images compared the way the toolkit
// compares the Lab bitmaps of two colour worlds. A side is a 16-bit Lab
// TIFF as icc transform writes it, or any image matched into Lab first
// through its own profile; the statistics are printed (one JSON object
// with --json) and the gamut image written if asked.
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "cli/arguments.h"
#include "cli/icc_bitmap_support.h"
#include "cli/icc_subcommands.h"
#include "cli/json_out.h"
#include "cli/no_difference_words.h"
#include "color/color_world.h"
#include "color/gamut_file.h"
#include "color/lab_file_rows.h"
#include "image/image_file.h"

namespace slidebox::cli {

namespace {

constexpr const char* kCommand = "icc compare";

struct Side {
    std::string source; // a PROFILE, or empty for a Lab TIFF
    std::int32_t intent = 0;
};

struct CompareOptions {
    float tolerance = 2.0f;
    bool cie94 = false;
    bool patches = false;
    bool json = false;
    std::string mask;
    Side a, b;
    std::vector<std::string> files; // A, B and perhaps GAMUT
};

std::optional<std::string> parse(const std::vector<std::string>& args, CompareOptions& options) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--cie94") {
            options.cie94 = true;
        } else if (arg == "--json") {
            options.json = true;
        } else if (arg == "--patches") {
            options.patches = true;
        } else if (arg == "--tolerance" || arg == "--mask" || arg == "--src-a" ||
                   arg == "--src-b" || arg == "--intent-a" || arg == "--intent-b") {
            if (i + 1 >= args.size() || args[i + 1].empty())
                return arg + " needs a value";
            const std::string& value = args[++i];
            if (arg == "--mask") {
                options.mask = value;
            } else if (arg == "--src-a" || arg == "--src-b") {
                (arg == "--src-a" ? options.a : options.b).source = value;
            } else if (arg == "--tolerance") {
                auto real = realArgument(value);
                if (!real)
                    return "--tolerance takes a number";
                options.tolerance = *real;
            } else {
                auto intent = intentArgument(value);
                if (!intent)
                    return arg + " takes an intent 0..3";
                (arg == "--intent-a" ? options.a : options.b).intent = *intent;
            }
        } else if (arg.rfind("--", 0) == 0) {
            return "unknown option '" + arg + "'";
        } else {
            options.files.push_back(arg);
        }
    }
    if (options.files.size() < 2)
        return "two images A and B are required";
    if (options.files.size() > 3)
        return "too many arguments";
    if (options.files.size() == 3) {
        const auto kind = image::imageFileKind(options.files[2]);
        if (kind != image::ImageFileKind::Png && kind != image::ImageFileKind::Tiff)
            return "the gamut image must end in .png, .tif or .tiff";
    }
    return std::nullopt;
}

// One side of the comparison: the rows of a 16-bit Lab TIFF as icc
// transform writes it, streamed from the file; else a Lab bitmap in a world
// of its own, matched through its profile or read whole.
struct Loaded {
    std::unique_ptr<color::LabRows> rows;
    std::unique_ptr<color::ColorWorld> world;
};

std::unique_ptr<color::ColorWorld> loadSide(const Side& side, const std::string& path, int& status);

bool loadRows(const Side& side, const std::string& path, Loaded& loaded, int& status) {
    if (side.source.empty() && image::imageFileKind(path) == image::ImageFileKind::Tiff) {
        status = Failed;
        auto opened = color::LabFileRows::open(path);
        if (!opened) {
            if (opened.status().code() == platform::ErrorCode::BadArgument)
                failure(std::string(kCommand) + ": '" + path + "' is " + opened.status().message() +
                        ": give --src-a or --src-b PROFILE");
            else
                failure(std::string(kCommand) + ": '" + path + "': " + opened.status().message());
            return false;
        }
        loaded.rows = std::move(opened.value());
        status = Done;
        return true;
    }
    loaded.world = loadSide(side, path, status);
    if (!loaded.world)
        return false;
    loaded.rows = std::make_unique<color::LabViewRows>(loaded.world->labView());
    return true;
}

std::unique_ptr<color::ColorWorld> loadSide(const Side& side, const std::string& path,
                                            int& status) {
    if (!side.source.empty()) {
        auto world = labWorld(side.source, side.intent, side.intent, kCommand, status);
        if (world)
            status = matchIntoLab(*world, path, kCommand);
        return status == Done ? std::move(world) : nullptr;
    }
    status = Failed;
    auto read = image::readImageFile(path);
    if (!read) {
        failure(std::string(kCommand) + ": '" + path + "': " + read.status().message());
        return nullptr;
    }
    auto world = std::make_unique<color::ColorWorld>();
    world->initComparisonColors();
    const std::string kind = image::describe(read->format());
    if (!world->setLabBitmap(std::move(read.value()))) {
        failure(std::string(kCommand) + ": '" + path + "' is not a 16-bit Lab image (it is " +
                kind + "): give --src-a or --src-b PROFILE");
        return nullptr;
    }
    status = Done;
    return world;
}

void printStatistics(const color::ColorWorld& world, bool json) {
    const std::pair<const char*, std::string> fields[] = {
        {"compared", std::to_string(world.comparedCount())},
        {"average-delta-e", realText(world.averageDeltaE())},
        {"maxi-delta-e", realText(world.maxiDeltaE())},
        {"mini-delta-e", realText(world.miniDeltaE())},
        {"in-gamut-pixels-percentage", realText(world.inGamutPixelsPercentage())},
        {"gamut-tolerance", realText(world.gamutTolerance())},
    };
    const bool same = world.noDifference();
    if (!json) {
        for (const auto& [key, value] : fields)
            printLine(std::string(key) + ": " + value);
        printLine(std::string("no-difference: ") + (same ? "yes" : "no"));
        return;
    }
    const double numbers[] = {static_cast<double>(world.comparedCount()),
                              world.averageDeltaE(),
                              world.maxiDeltaE(),
                              world.miniDeltaE(),
                              world.inGamutPixelsPercentage(),
                              world.gamutTolerance()};
    JsonWriter out;
    out.beginObject();
    for (std::size_t i = 0; i < std::size(fields); ++i)
        out.key(fields[i].first).value(numbers[i]);
    out.key("no-difference").value(same).endObject();
    printLine(out.text());
}

int iccCompare(const std::vector<std::string>& args) {
    CompareOptions options;
    if (auto problem = parse(args, options))
        return usageError(std::string(kCommand) + ": " + *problem);

    int status = Done;
    Loaded a, b;
    if (!loadRows(options.a, options.files[0], a, status) ||
        !loadRows(options.b, options.files[1], b, status))
        return status;

    std::optional<image::Bitmap> mask;
    if (!options.mask.empty()) {
        auto read = image::readImageFile(options.mask);
        if (!read)
            return failure(std::string(kCommand) + ": '" + options.mask +
                           "': " + read.status().message());
        mask = std::move(read.value());
    }

    color::ColorWorld::setWordsHandler(writeNoDifferenceWords);
    // The beep of a bad gamut image: the terminal's bell when someone is
    // looking at standard error, nothing in a pipe or a log file.
    color::ColorWorld::setBeepHandler([] {
        if (isatty(STDERR_FILENO))
            std::fputs("\a", stderr);
    });
    color::ColorWorld comparison;
    comparison.initComparisonColors();
    comparison.setDeltaEKindForLabBitmapComparison(options.cie94 ? 1 : 0);
    comparison.setAveragePatchColor(options.patches);

    std::unique_ptr<color::GamutFile> gamut;
    if (options.files.size() == 3) {
        auto created =
            color::GamutFile::create(options.files[2], static_cast<std::int32_t>(a.rows->width()),
                                     static_cast<std::int32_t>(a.rows->height()));
        if (!created)
            return failure(std::string(kCommand) + ": " + created.status().message());
        gamut = std::move(created.value());
    }
    if (auto compared = comparison.compareLabRows(*a.rows, *b.rows, options.tolerance,
                                                  mask ? &*mask : nullptr, gamut.get());
        !compared)
        return failure(std::string(kCommand) + ": " + compared.message());
    if (gamut) {
        if (auto written = gamut->finish(); !written)
            return failure(std::string(kCommand) + ": " + written.message());
    }
    printStatistics(comparison, options.json);
    return Done;
}

const IccSubcommand
    compare("compare",
            "  icc compare [--tolerance T] [--cie94] [--mask MASK] [--patches] [--json]\n"
            "              [--src-a PROFILE]"
            " [--intent-a N] [--src-b PROFILE] [--intent-b N] A B [GAMUT]\n"
            "                               two Lab images compared: differences, share in gamut;\n"
            "                               GAMUT (.png, .tif) paints where they differ; with\n"
            "                               --src-a/-b an image is matched into Lab first\n",
            iccCompare);
} // namespace

} // namespace slidebox::cli
