// slidebox-cli icc compare: two 16-bit Lab images, as icc transform writes
// them, compared the way the toolkit compares the Lab bitmaps of two colour
// worlds; the statistics are printed and the gamut image written if asked.
#include <QGuiApplication>
#include <QImage>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

#include "cli/icc_subcommands.h"
#include "color/color_world.h"
#include "image/image_file.h"

namespace slidebox::cli {

namespace {

// The engine's code of a 16-bit Lab pixel, three CMLabColor fields.
constexpr std::uint32_t kLab48Space = 0x2908;

struct CompareOptions {
    float tolerance = 2.0f;
    bool cie94 = false;
    bool patches = false;
    std::string mask;
    std::vector<std::string> files; // A, B and perhaps GAMUT
};

std::optional<float> parseReal(const std::string& text) {
    if (text.empty())
        return std::nullopt;
    char* end = nullptr;
    const float value = std::strtof(text.c_str(), &end);
    if (*end != '\0')
        return std::nullopt;
    return value;
}

std::optional<std::string> parse(const std::vector<std::string>& args, CompareOptions& options) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--cie94") {
            options.cie94 = true;
        } else if (arg == "--patches") {
            options.patches = true;
        } else if (arg == "--tolerance" || arg == "--mask") {
            if (i + 1 >= args.size() || args[i + 1].empty())
                return arg + " needs a value";
            const std::string& value = args[++i];
            if (arg == "--mask") {
                options.mask = value;
            } else if (auto real = parseReal(value)) {
                options.tolerance = *real;
            } else {
                return "--tolerance takes a number";
            }
        } else if (arg.rfind("--", 0) == 0) {
            return "unknown option '" + arg + "'";
        } else {
            options.files.push_back(arg);
        }
    }
    if (options.files.size() < 2)
        return "two Lab images A and B are required";
    if (options.files.size() > 3)
        return "too many arguments";
    if (options.files.size() == 3) {
        const auto kind = image::imageFileKind(options.files[2]);
        if (kind != image::ImageFileKind::Png && kind != image::ImageFileKind::Tiff)
            return "the gamut image must end in .png, .tif or .tiff";
    }
    return std::nullopt;
}

// A 16-bit packed Lab image without alpha: its samples are the Lab fields.
std::optional<std::string> readLab(const std::string& path, image::Bitmap& bitmap,
                                   color::CMBitmap& described) {
    auto read = image::readImageFile(path);
    if (!read)
        return "'" + path + "': " + read.status().message();
    const image::PixelFormat& format = read->format();
    if (format.space != image::ColorSpace::Lab || format.bytesPerSample != 2 ||
        format.hasAlpha || format.isPlanar)
        return "'" + path + "' is not a 16-bit Lab image (it is " + image::describe(format) + ")";
    bitmap = std::move(read.value());
    described.image = reinterpret_cast<char*>(bitmap.plane(0));
    described.width = static_cast<std::uint32_t>(bitmap.width());
    described.height = static_cast<std::uint32_t>(bitmap.height());
    described.rowBytes = static_cast<std::uint32_t>(bitmap.rowBytes());
    described.pixelSize = 48;
    described.space = kLab48Space;
    return std::nullopt;
}

std::string real(double value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.9g", value);
    return buffer;
}

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

int iccCompare(const std::vector<std::string>& args) {
    CompareOptions options;
    if (auto problem = parse(args, options))
        return usageError("icc compare: " + *problem);

    image::Bitmap imageA, imageB, maskImage;
    color::CMBitmap labA, labB, mask;
    if (auto problem = readLab(options.files[0], imageA, labA))
        return failure("icc compare: " + *problem);
    if (auto problem = readLab(options.files[1], imageB, labB))
        return failure("icc compare: " + *problem);
    if (!options.mask.empty()) {
        auto read = image::readImageFile(options.mask);
        if (!read)
            return failure("icc compare: '" + options.mask + "': " + read.status().message());
        const image::PixelFormat& format = read->format();
        if (format.space != image::ColorSpace::Gray || format.bytesPerSample != 1 ||
            format.hasAlpha)
            return failure("icc compare: the mask '" + options.mask +
                           "' is not an 8-bit image of one sample");
        // The comparison reads the mask wherever A has a pixel.
        if (read->width() < imageA.width() || read->height() < imageA.height())
            return failure("icc compare: the mask '" + options.mask + "' is smaller than '" +
                           options.files[0] + "'");
        maskImage = std::move(read.value());
        mask.image = reinterpret_cast<char*>(maskImage.plane(0));
        mask.rowBytes = static_cast<std::uint32_t>(maskImage.rowBytes());
    }

    auto application = options.files.size() == 3 ? guiApplication() : nullptr;
    // The beep of a bad gamut image: the terminal's bell when someone is
    // looking at standard error, nothing in a pipe or a log file.
    color::ColorWorld::setBeepHandler([] {
        if (isatty(STDERR_FILENO))
            std::fputs("\a", stderr);
    });

    color::ColorWorld world;
    world.initComparisonColors();
    world.setDeltaEKindForLabBitmapComparison(options.cie94 ? 1 : 0);
    world.setAveragePatchColor(options.patches);
    std::optional<QImage> gamut;
    if (options.files.size() == 3) {
        gamut.emplace(imageA.width(), imageA.height(), QImage::Format_RGB888);
        if (gamut->isNull())
            return failure("icc compare: no memory for the gamut image");
    }
    // Statuses of the comparison itself go to the log, word for word.
    if (!world.compareLabBitmapWithLabBitmapOf(&labA, &labB, options.tolerance,
                                               options.mask.empty() ? nullptr : &mask,
                                               gamut ? &*gamut : nullptr))
        return Failed;

    if (gamut) {
        auto wrapped = image::Bitmap::wrap(
            gamut->width(), gamut->height(), image::PixelFormat::make(image::ColorSpace::RGB, 8),
            static_cast<std::size_t>(gamut->bytesPerLine()), gamut->bits());
        if (!wrapped)
            return failure("icc compare: " + wrapped.status().message());
        const image::ImageStatus written = image::writeImageFile(options.files[2], *wrapped);
        if (!written)
            return failure("icc compare: '" + options.files[2] + "': " + written.message());
    }
    printLine("compared: " + std::to_string(world.comparedCount()));
    printLine("average-delta-e: " + real(world.averageDeltaE()));
    printLine("maxi-delta-e: " + real(world.maxiDeltaE()));
    printLine("mini-delta-e: " + real(world.miniDeltaE()));
    printLine("in-gamut-pixels-percentage: " + real(world.inGamutPixelsPercentage()));
    printLine("gamut-tolerance: " + real(world.gamutTolerance()));
    printLine(std::string("no-difference: ") + (world.noDifference() ? "yes" : "no"));
    return Done;
}

const IccSubcommand compare(
    "compare",
    "  icc compare [--tolerance T] [--cie94] [--mask MASK] [--patches] A B [GAMUT]\n"
    "                               two 16-bit Lab images compared: differences, share in\n"
    "                               gamut; GAMUT (.png, .tif) paints where they differ\n",
    iccCompare);
} // namespace

} // namespace slidebox::cli
