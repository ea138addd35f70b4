// slidebox-cli icc transform: an image matched through a colour world into
// a TIFF by the colour toolkit's tile loop. Without --src the profile the
// image embeds is the source; with no destination (or "lab") the TIFF is a
// 16-bit CIELab one whose samples give the Lab fields back exactly.
#include <optional>
#include <string>
#include <vector>

#include "cli/icc_bitmap_support.h"
#include "cli/icc_subcommands.h"
#include "color/image_transform.h"
#include "image/image_file.h"

namespace slidebox::cli {

namespace {

constexpr const char* kCommand = "icc transform";

struct TransformOptions : WorldOptions {
    TransformOptions() { destination = "lab"; }
    std::vector<std::string> files; // IN, OUT
};

std::optional<std::string> parse(const std::vector<std::string>& args, TransformOptions& options) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (WorldOptions::isOption(arg)) {
            if (auto error = options.take(args, i))
                return error;
        } else if (arg.rfind("--", 0) == 0) {
            return "unknown option '" + arg + "'";
        } else {
            options.files.push_back(arg);
        }
    }
    if (options.files.size() != 2)
        return "an input image IN and an output TIFF OUT are required";
    if (image::imageFileKind(options.files[1]) != image::ImageFileKind::Tiff)
        return "OUT must end in .tif or .tiff";
    return std::nullopt;
}

int iccTransform(const std::vector<std::string>& args) {
    TransformOptions options;
    if (auto problem = parse(args, options))
        return usageError(std::string(kCommand) + ": " + *problem);
    color::ImageTransformRequest request;
    request.intentIn = options.intentIn;
    request.intentOut = options.intentOut.value_or(options.intentIn);
    request.engine = options.engine;
    if (!options.source.empty()) {
        const auto source = profileArgument(options.source);
        if (!source)
            return failure(std::string(kCommand) + ": '" + options.source +
                           "' is not a usable ICC profile");
        request.source = *source;
    }
    if (options.destination != "lab") {
        const auto destination = profileArgument(options.destination);
        if (!destination)
            return failure(std::string(kCommand) + ": '" + options.destination +
                           "' is not a usable ICC profile");
        request.destination = *destination;
    }
    ProgressLine progress;
    if (auto status =
            color::transformImageFile(options.files[0], options.files[1], request, &progress);
        !status)
        return failure(std::string(kCommand) + ": " + status.message());
    return Done;
}

const IccSubcommand transform(
    "transform",
    "  icc transform [--src PROFILE] [--dst PROFILE|lab] [--intent N] [--intent-out M]\n"
    "                [--bpc] [--no-optimize] IN OUT\n"
    "                               an image matched into a TIFF of the destination's space,\n"
    "                               or (lab, the default) a 16-bit CIELab TIFF; without\n"
    "                               --src, the profile IN embeds; --bpc: black-point\n"
    "                               compensation, --no-optimize: matched as single colours are\n",
    iccTransform);

} // namespace

} // namespace slidebox::cli
