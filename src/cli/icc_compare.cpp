// slidebox-cli icc compare: two Lab images compared the way the toolkit
// compares the Lab bitmaps of two colour worlds. A side is a 16-bit Lab
// TIFF as icc transform writes it, or any image matched into Lab first
// through its own profile; the statistics are printed and the gamut image
// written if asked.
#include <QGuiApplication>
#include <QImage>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include <unistd.h>

#include "cli/arguments.h"
#include "cli/icc_bitmap_support.h"
#include "cli/icc_subcommands.h"
#include "color/color_world.h"
#include "image/image_file.h"
#include "image/tiff_reader.h"
#include "image/tiff_writer.h"

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
    std::string mask;
    Side a, b;
    std::vector<std::string> files; // A, B and perhaps GAMUT
};

std::optional<std::string> parse(const std::vector<std::string>& args, CompareOptions& options) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--cie94") {
            options.cie94 = true;
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

// A 16-bit Lab TIFF whose samples lie in the file as they are, mapped
// rather than read: the comparison reads the signed a and b through its
// tables, so the pixels need no pass of their own.
std::unique_ptr<color::ColorWorld> mapLab(const std::string& path, MappedFile& file) {
    bool labSigned = false;
    auto mapped = mapTiff(path, file, labSigned);
    if (!mapped || !(mapped->format() == image::PixelFormat::make(image::ColorSpace::Lab, 16)))
        return nullptr;
    auto world = std::make_unique<color::ColorWorld>();
    world->initComparisonColors();
    if (!world->setLabBitmap(std::move(*mapped), labSigned))
        return nullptr;
    return world;
}

// One side's Lab bitmap in a world of its own: matched through its profile,
// or the 16-bit Lab image that icc transform writes, mapped when it can be
// and read otherwise.
std::unique_ptr<color::ColorWorld> loadSide(const Side& side, const std::string& path,
                                            MappedFile& file, int& status) {
    if (!side.source.empty()) {
        auto world = labWorld(side.source, side.intent, side.intent, kCommand, status);
        if (world)
            status = matchIntoLab(*world, path, kCommand);
        return status == Done ? std::move(world) : nullptr;
    }
    if (image::imageFileKind(path) == image::ImageFileKind::Tiff) {
        if (auto world = mapLab(path, file)) {
            status = Done;
            return world;
        }
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
                kind + ")");
        return nullptr;
    }
    status = Done;
    return world;
}

// A TIFF gamut image written band by band as the comparison paints it.
class TiffGamut : public color::GamutSink {
  public:
    explicit TiffGamut(image::TiffWriter writer) : writer_(std::move(writer)) {}
    bool writeRows(const std::uint8_t* rows, std::size_t rowBytes, std::int32_t count) override {
        if (!rows) {
            problem_ = "no memory for the gamut image";
            return false;
        }
        auto wrapped =
            image::Bitmap::wrap(width(), count, image::PixelFormat::make(image::ColorSpace::RGB, 8),
                                rowBytes, const_cast<std::uint8_t*>(rows));
        if (!wrapped) {
            problem_ = wrapped.status().message();
            return false;
        }
        if (auto status = writer_.writeRows(*wrapped); !status) {
            problem_ = status.message();
            return false;
        }
        return true;
    }
    /// Completes the file; the problem met, if any.
    std::optional<std::string> finish() {
        if (problem_)
            return problem_;
        if (auto status = writer_.finish(); !status)
            return status.message();
        return std::nullopt;
    }
    void setWidth(std::int32_t width) { width_ = width; }

  private:
    std::int32_t width() const { return width_; }
    image::TiffWriter writer_;
    std::int32_t width_ = 0;
    std::optional<std::string> problem_;
};

// The font of the words on the gamut image needs a GUI application; the
// command line draws offscreen and never needs a display.
std::unique_ptr<QGuiApplication> guiApplication() {
    if (QGuiApplication::instance())
        return nullptr;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "slidebox-cli";
    static char* argv[] = {name, nullptr};
    return std::make_unique<QGuiApplication>(argc, argv);
}

void printStatistics(const color::ColorWorld& world) {
    printLine("compared: " + std::to_string(world.comparedCount()));
    printLine("average-delta-e: " + realText(world.averageDeltaE()));
    printLine("maxi-delta-e: " + realText(world.maxiDeltaE()));
    printLine("mini-delta-e: " + realText(world.miniDeltaE()));
    printLine("in-gamut-pixels-percentage: " + realText(world.inGamutPixelsPercentage()));
    printLine("gamut-tolerance: " + realText(world.gamutTolerance()));
    printLine(std::string("no-difference: ") + (world.noDifference() ? "yes" : "no"));
}

int iccCompare(const std::vector<std::string>& args) {
    CompareOptions options;
    if (auto problem = parse(args, options))
        return usageError(std::string(kCommand) + ": " + *problem);

    int status = Done;
    MappedFile fileA, fileB; // outlive the worlds that read them
    auto worldA = loadSide(options.a, options.files[0], fileA, status);
    if (!worldA)
        return status;
    auto worldB = loadSide(options.b, options.files[1], fileB, status);
    if (!worldB)
        return status;
    const color::CMBitmap& labA = *worldA->labBitmap();

    std::optional<image::Bitmap> mask;
    if (!options.mask.empty()) {
        auto read = image::readImageFile(options.mask);
        if (!read)
            return failure(std::string(kCommand) + ": '" + options.mask +
                           "': " + read.status().message());
        const image::PixelFormat& format = read->format();
        if (format.space != image::ColorSpace::Gray || format.bytesPerSample != 1 ||
            format.hasAlpha)
            return failure(std::string(kCommand) + ": the mask '" + options.mask +
                           "' is not an 8-bit image of one sample");
        // The comparison reads the mask wherever A has a pixel.
        if (static_cast<std::uint32_t>(read->width()) < labA.width ||
            static_cast<std::uint32_t>(read->height()) < labA.height)
            return failure(std::string(kCommand) + ": the mask '" + options.mask +
                           "' is smaller than '" + options.files[0] + "'");
        mask = std::move(read.value());
    }

    auto application = options.files.size() == 3 ? guiApplication() : nullptr;
    // The beep of a bad gamut image: the terminal's bell when someone is
    // looking at standard error, nothing in a pipe or a log file.
    color::ColorWorld::setBeepHandler([] {
        if (isatty(STDERR_FILENO))
            std::fputs("\a", stderr);
    });

    worldA->setDeltaEKindForLabBitmapComparison(options.cie94 ? 1 : 0);
    worldA->setAveragePatchColor(options.patches);
    // A TIFF gamut image streams to its file; a PNG is painted whole.
    if (options.files.size() == 3 &&
        image::imageFileKind(options.files[2]) == image::ImageFileKind::Tiff) {
        image::TiffWriteOptions writeOptions;
        writeOptions.durable = false; // renamed into place at the end all the same
        auto writer = image::TiffWriter::create(
            options.files[2], static_cast<std::int32_t>(labA.width),
            static_cast<std::int32_t>(labA.height),
            image::PixelFormat::make(image::ColorSpace::RGB, 8), writeOptions);
        if (!writer)
            return failure(std::string(kCommand) + ": '" + options.files[2] +
                           "': " + writer.status().message());
        TiffGamut sink(std::move(writer.value()));
        sink.setWidth(static_cast<std::int32_t>(labA.width));
        if (!worldA->compareLabBitmapWithLabBitmapOf(*worldB, options.tolerance,
                                                     mask ? &*mask : nullptr, &sink))
            return Failed;
        if (auto problem = sink.finish())
            return failure(std::string(kCommand) + ": '" + options.files[2] + "': " + *problem);
        printStatistics(*worldA);
        return Done;
    }
    if (options.files.size() == 2) {
        // No gamut image asked for: the statistics alone.
        if (!worldA->compareLabBitmapWithLabBitmapOf(*worldB, options.tolerance,
                                                     mask ? &*mask : nullptr,
                                                     static_cast<color::GamutSink*>(nullptr)))
            return Failed;
        printStatistics(*worldA);
        return Done;
    }
    std::optional<QImage> gamut;
    if (options.files.size() == 3) {
        gamut.emplace(static_cast<int>(labA.width), static_cast<int>(labA.height),
                      QImage::Format_RGB888);
        if (gamut->isNull())
            return failure(std::string(kCommand) + ": no memory for the gamut image");
    }
    // Refusals of the comparison itself go to the log, word for word.
    if (!worldA->compareLabBitmapWithLabBitmapOf(
            *worldB, options.tolerance, mask ? &*mask : nullptr, gamut ? &*gamut : nullptr))
        return Failed;

    if (gamut) {
        auto wrapped = image::Bitmap::wrap(
            gamut->width(), gamut->height(), image::PixelFormat::make(image::ColorSpace::RGB, 8),
            static_cast<std::size_t>(gamut->bytesPerLine()), gamut->bits());
        if (!wrapped)
            return failure(std::string(kCommand) + ": " + wrapped.status().message());
        const image::ImageStatus written = image::writeImageFile(options.files[2], *wrapped);
        if (!written)
            return failure(std::string(kCommand) + ": '" + options.files[2] +
                           "': " + written.message());
    }
    printStatistics(*worldA);
    return Done;
}

const IccSubcommand
    compare("compare",
            "  icc compare [--tolerance T] [--cie94] [--mask MASK] [--patches] [--src-a PROFILE]\n"
            "              [--intent-a N] [--src-b PROFILE] [--intent-b N] A B [GAMUT]\n"
            "                               two Lab images compared: differences, share in gamut;\n"
            "                               GAMUT (.png, .tif) paints where they differ; with\n"
            "                               --src-a/-b an image is matched into Lab first\n",
            iccCompare);
} // namespace

} // namespace slidebox::cli
