#include "draw/image_scaling.h"

#include <fstream>
#include <iterator>
#include <vector>

#include "color/profile_inspector.h"
#include "draw/bitmap_image_rep.h"
#include "draw/image_adaptation.h"
#include "draw/quartz_bitmap.h"
#include "image/image_file.h"
#include "image/tiff_reader.h"
#include "image/tiff_writer.h"

namespace slidebox::draw {

namespace {

using image::ImageErrorCode;
using image::ImageStatus;

struct Source {
    image::Bitmap pixels;
    std::string iccProfile;
    bool minIsWhite = false;
};

image::ImageResult<Source> readSource(const std::filesystem::path& input) {
    if (image::imageFileKind(input) != image::ImageFileKind::Tiff) {
        auto decoded = image::readImage(input);
        if (!decoded)
            return decoded.status();
        return Source{std::move(decoded->bitmap), std::move(decoded->iccProfile)};
    }
    auto reader = image::TiffReader::open(input);
    if (!reader)
        return reader.status();
    auto pixels = reader->readBitmap();
    if (!pixels)
        return pixels.status();
    return Source{std::move(pixels).value(), reader->iccProfile(), reader->isMinIsWhite()};
}

// The channels of a profile's data space; nothing when the bytes are no profile.
std::optional<int> profileChannels(const std::string& bytes) {
    if (bytes.empty())
        return std::nullopt;
    const std::span<const std::uint8_t> data(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                             bytes.size());
    auto inspector = color::ProfileInspector::profileInspectorWithProfileData(data, -1);
    if (!inspector)
        return std::nullopt;
    return static_cast<int>(inspector->nbComponents());
}

std::optional<std::string> fileText(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return std::nullopt;
    std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (file.bad())
        return std::nullopt;
    return bytes;
}

ImageStatus refuse(ImageErrorCode code, std::string message) {
    return ImageStatus::failure(code, std::move(message));
}

} // namespace

image::ImageResult<ScaledImageFile>
scaleImageFile(const std::filesystem::path& input, const std::filesystem::path& output, SizeF size,
               const std::optional<std::filesystem::path>& profile) {
    if (image::imageFileKind(output) != image::ImageFileKind::Tiff)
        return refuse(ImageErrorCode::BadArgument,
                      output.string() + ": the output is written as .tif or .tiff");
    if (pixelsForPoints(size.width) == 0 || pixelsForPoints(size.height) == 0)
        return refuse(ImageErrorCode::BadArgument, "the size gives no pixels");
    std::string chosenProfile;
    if (profile) {
        auto bytes = fileText(*profile);
        if (!bytes)
            return refuse(ImageErrorCode::BadArgument, profile->string() + ": can't be read");
        if (!profileChannels(*bytes))
            return refuse(ImageErrorCode::BadArgument, profile->string() + ": not an ICC profile");
        chosenProfile = std::move(*bytes);
    }

    auto source = readSource(input);
    if (!source)
        return source.status();
    auto rep = BitmapImageRep::fromBitmap(std::move(source->pixels));
    if (!rep)
        return refuse(ImageErrorCode::OutOfMemory, "no memory for the image's pixels");
    // A gray stored with white as 0 is a black space: its samples as the
    // file holds them (the reader turned them round).
    if (source->minIsWhite && isWhiteSpaceName(rep->colorSpaceName()))
        rep = BitmapImageRep::reversedGray(std::move(*rep));
    auto scaled = bitmapWithPixelsSize(size, *rep);
    if (!scaled) {
        if (rep->colorSpaceName() == NSCustomColorSpace)
            return refuse(ImageErrorCode::Unsupported,
                          "the image is in " +
                              std::string(image::colorSpaceName(rep->pixels().format().space)) +
                              ", not in gray, RGB or CMYK, and is not scaled");
        return refuse(ImageErrorCode::OutOfMemory, "the scaled image can't be made");
    }
    ScaledImageFile made;
    made.pixelsWide = scaled->pixelsWide();
    made.pixelsHigh = scaled->pixelsHigh();
    const int channels = scaled->pixels().format().colorChannels();
    made.layout = channels == 1 ? "gray" : channels == 3 ? "RGB with alpha" : "CMYK";

    if (profile) {
        const int profileHas = *profileChannels(chosenProfile);
        if (profileHas != channels)
            return refuse(ImageErrorCode::BadArgument,
                          profile->string() + ": its " + std::to_string(profileHas) +
                              " channels don't fit the scaled image (" + made.layout + ")");
    } else if (profileChannels(source->iccProfile) == channels) {
        chosenProfile = std::move(source->iccProfile);
    }

    auto pixels = scaled->toBitmap();
    if (!pixels)
        return refuse(ImageErrorCode::OutOfMemory, "no memory for the scaled pixels");
    image::TiffWriteOptions options;
    options.iccProfile = chosenProfile;
    if (auto written = image::writeTiff(output, *pixels, options); !written)
        return refuse(written.code(), output.string() + ": " + written.message());
    made.profileEmbedded = !chosenProfile.empty();
    return made;
}

} // namespace slidebox::draw
