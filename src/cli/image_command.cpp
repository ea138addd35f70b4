// slidebox-cli image: the drawing layer's scaling of a bitmap, on files.
#include <optional>
#include <string>

#include "cli/arguments.h"
#include "cli/command.h"
#include "draw/image_scaling.h"

namespace slidebox::cli {

namespace {

// "N" or "WxH", positive reals.
std::optional<draw::SizeF> sizeArgument(const std::string& text) {
    const auto cross = text.find('x');
    const auto width = realArgument(text.substr(0, cross));
    const auto height = cross == std::string::npos ? width : realArgument(text.substr(cross + 1));
    if (!width || !height || !(*width > 0.0f) || !(*height > 0.0f))
        return std::nullopt;
    return draw::SizeF{*width, *height};
}

int scale(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    std::optional<draw::SizeF> size;
    std::optional<std::filesystem::path> profile;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--size" || arg == "--profile") {
            if (i + 1 >= args.size())
                return usageError("image scale: " + arg + " needs a value");
            const std::string& value = args[++i];
            if (arg == "--profile") {
                profile = value;
            } else if (!(size = sizeArgument(value))) {
                return usageError("image scale: --size takes N or WxH, positive numbers, not '" +
                                  value + "'");
            }
        } else if (arg.rfind("--", 0) == 0) {
            return usageError("image scale: unknown option '" + arg + "'");
        } else {
            files.push_back(arg);
        }
    }
    if (files.size() != 2)
        return usageError("image scale takes IN and OUT");
    if (!size)
        return usageError("image scale: --size is required");

    auto made = draw::scaleImageFile(files[0], files[1], *size, profile);
    if (!made) {
        // The input's own failures don't name it; the others do.
        const std::string& message = made.status().message();
        const bool named = message.rfind(files[1] + ":", 0) == 0 ||
                           (profile && message.rfind(profile->string() + ":", 0) == 0);
        return failure(named ? message : files[0] + ": " + message);
    }
    printLine(files[1] + ": " + std::to_string(made->pixelsWide) + " x " +
              std::to_string(made->pixelsHigh) + " " + made->layout +
              (made->profileEmbedded ? ", profile embedded" : ""));
    return Done;
}

int run(const std::vector<std::string>& args) {
    if (args.empty())
        return usageError("image: no subcommand given");
    if (args[0] == "scale")
        return scale(std::vector<std::string>(args.begin() + 1, args.end()));
    return usageError("image: unknown subcommand '" + args[0] + "'");
}

const CommandGroup group{
    "image",
    "  image scale IN OUT --size N|WxH [--profile ICC]\n"
    "                               scale IN (TIFF, PNG, JPEG) to a TIFF of N by N or W by H\n"
    "                               pixels, stretched; gray, RGB (with alpha) or CMYK as IN is\n",
    run};

} // namespace

} // namespace slidebox::cli
