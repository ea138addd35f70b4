#include "color/image_transform.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <future>
#include <optional>
#include <system_error>

#include <unistd.h>

#include "color/profile_header_report.h"
#include "color/profile_manager.h"
#include "image/tiff_writer.h"
#include "platform/file_system.h"

namespace slidebox::color {

namespace {

using platform::ErrorCode;
using platform::Status;

std::string quoted(const std::filesystem::path& path) {
    return "'" + path.string() + "'";
}

std::optional<image::ColorSpace> imageSpace(OSType signature) {
    if (signature == cmGrayData)
        return image::ColorSpace::Gray;
    if (signature == cmRGBData)
        return image::ColorSpace::RGB;
    if (signature == cmCMYKData)
        return image::ColorSpace::CMYK;
    if (signature == cmLabData)
        return image::ColorSpace::Lab;
    return std::nullopt;
}

// The alpha plane of a planar tile: the world's tile buffer carries none.
void copyAlphaPlane(const image::Bitmap& from, image::Bitmap& to) {
    const int fromPlane = from.planeCount() - 1;
    const int toPlane = to.planeCount() - 1;
    const std::size_t bytes = from.minRowBytes();
    for (std::int32_t y = 0; y < from.height(); ++y)
        std::memcpy(to.row(y, toPlane), from.row(y, fromPlane), bytes);
}

} // namespace

Status profileFileStatus(const std::filesystem::path& path) {
    auto fd = platform::openRegularFile(path);
    if (!fd)
        return Status::failure(ErrorCode::CannotOpen, quoted(path) + ": " + fd.status().message());
    ::close(*fd);
    auto profile = ProfileManager::profileRefForPath(path);
    if (!profile)
        return Status::failure(ErrorCode::Malformed, quoted(path) + " is not an ICC profile");
    const auto header = CMGetProfileHeader(*profile);
    if (!header)
        return Status::failure(ErrorCode::Malformed, quoted(path) + " is not an ICC profile");
    const OSType kind = header->profileClass;
    if (kind == cmLinkClass || kind == cmNamedColorClass)
        return Status::failure(ErrorCode::BadArgument, quoted(path) + " is a profile of class '" +
                                                           signatureText(kind) +
                                                           "', which converts no image");
    return {};
}

Status transformImageFile(const std::filesystem::path& input, const std::filesystem::path& output,
                          const ImageTransformRequest& request, CompletionHandler* progress) {
    auto opened = image::TileSource::open(input);
    if (!opened)
        return Status::failure(opened.status().code(),
                               quoted(input) + ": " + opened.status().message());
    return transformImage(opened.value(), input, output, request, progress);
}

Status transformImage(image::TileSource& source, const std::filesystem::path& input,
                      const std::filesystem::path& output, const ImageTransformRequest& request,
                      CompletionHandler* progress) {

    // The source profile, opened from the bytes the input embeds or from
    // its file; the engine takes it from memory either way.
    CMProfileRef sourceProfile;
    if (request.source.empty()) {
        const std::string& embedded = source.iccProfile();
        if (embedded.empty())
            return Status::failure(ErrorCode::BadArgument,
                                   quoted(input) + " embeds no profile: give --src PROFILE");
        auto opened = CMOpenProfileFromBytes(
            std::span(reinterpret_cast<const std::uint8_t*>(embedded.data()), embedded.size()));
        if (!opened)
            return Status::failure(opened.status().code(), "the profile " + quoted(input) +
                                                               " embeds is " +
                                                               opened.status().message());
        sourceProfile = std::move(opened.value());
    } else if (auto status = profileFileStatus(request.source); !status) {
        return status;
    } else {
        sourceProfile = ProfileManager::profileRefForPath(request.source);
    }
    const bool labMode = request.destination.empty();
    std::filesystem::path destination = request.destination;
    if (labMode) {
        auto lab = ProfileManager::pathOfGenericLabProfil();
        if (!lab)
            return Status::failure(ErrorCode::CannotOpen, "the generic Lab profile can't be made");
        destination = *lab;
    } else if (auto status = profileFileStatus(destination); !status) {
        return status;
    }
    auto world = std::make_unique<ColorWorld>();
    CMWorldRef colours; // the world of single colours, which no image needs
    if (world->initColorWorld(colours, sourceProfile.get(), request.intentIn, request.intentOut,
                              ProfileManager::profileRefForPath(destination).get(), request.engine))
        return Status::failure(ErrorCode::BadArgument,
                               "no colour world through these profiles and intents");
    sourceProfile.reset(); // the world keeps what it needs
    world->setTilePixelLimit(static_cast<float>(request.tilePixels));

    const std::int32_t width = source.width();
    const std::int32_t height = source.height();
    const image::PixelFormat& inFormat = source.format();
    image::PixelFormat outFormat = image::PixelFormat::make(image::ColorSpace::Lab, 16);
    if (!labMode) {
        auto space = imageSpace(world->dataColorSpaceOut());
        if (!space)
            return Status::failure(ErrorCode::Unsupported,
                                   "the destination's colour space '" +
                                       signatureText(world->dataColorSpaceOut()) +
                                       "' can't be written as a TIFF");
        const bool alpha = inFormat.hasAlpha &&
                           (*space == image::ColorSpace::Gray || *space == image::ColorSpace::RGB);
        outFormat =
            image::PixelFormat::make(*space, inFormat.bitsPerSample(), alpha, inFormat.isPlanar);
        if (width > request.tilePixels)
            return Status::failure(ErrorCode::TooLarge, "an image wider than " +
                                                            std::to_string(request.tilePixels) +
                                                            " pixels makes no tile");
    }
    auto profileBytes = platform::readRegularFile(destination);
    if (!profileBytes)
        return Status::failure(ErrorCode::CannotOpen,
                               quoted(destination) + ": " + profileBytes.status().message());

    // Tiles of the whole width and at most tilePixels pixels, as the world's
    // own tiling would cut them; each is one match.
    std::int32_t tileHeight = height;
    if (static_cast<float>(width) * static_cast<float>(height) >
        static_cast<float>(request.tilePixels))
        tileHeight =
            std::max(1, static_cast<std::int32_t>(static_cast<double>(request.tilePixels) / width));
    // Two destination tiles: one is written to the file on a helper thread
    // while the next is matched into the other.
    image::Bitmap outTiles[2];
    if (!labMode) {
        for (image::Bitmap& outTile : outTiles) {
            auto allocated = image::Bitmap::allocate(width, tileHeight, outFormat);
            if (!allocated)
                return allocated.status();
            outTile = std::move(allocated.value());
        }
    }
    std::optional<image::TiffWriter> writer;
    // After the writer: ended (its write waited for) before the writer.
    std::future<platform::Status> writing;
    const auto written = [&]() -> Status {
        if (!writing.valid())
            return {};
        auto status = writing.get();
        if (!status)
            return Status::failure(status.code(), quoted(output) + ": " + status.message());
        return {};
    };

    for (std::int32_t y = 0, k = 0; y < height; y += tileHeight, ++k) {
        const std::int32_t rows = std::min(tileHeight, height - y);
        auto in = source.tile(y, rows);
        if (!in)
            return Status::failure(in.status().code(),
                                   quoted(input) + ": " + in.status().message());
        image::Bitmap out;
        if (labMode) {
            if (auto status = world->matchImage(*in, nullptr); !status)
                return status;
        } else {
            auto view = outTiles[k % 2].view(image::makeRect(0, 0, width, rows));
            if (!view)
                return view.status();
            out = std::move(view.value());
            if (auto status = world->matchImage(*in, &out); !status)
                return status;
            if (outFormat.hasAlpha && outFormat.isPlanar)
                copyAlphaPlane(*in, out);
        }
        if (!writer) {
            image::TiffWriteOptions writeOptions;
            // Renamed into place at the end; the page cache is enough for
            // a file that is made again by running the command again.
            writeOptions.durable = false;
            // One strip a tile: a tile goes to the file as it is.
            writeOptions.rowsPerStrip = tileHeight;
            writeOptions.iccProfile = std::move(profileBytes.value());
            auto created =
                image::TiffWriter::create(output, width, height, outFormat, writeOptions);
            if (!created)
                return Status::failure(created.status().code(),
                                       quoted(output) + ": " + created.status().message());
            writer.emplace(std::move(created.value()));
        }
        if (auto status = written(); !status)
            return status;
        if (labMode) {
            // The Lab bitmap is the world's, made again by the next match.
            if (auto status = writer->writeRows(world->labImage()); !status)
                return Status::failure(status.code(), quoted(output) + ": " + status.message());
        } else {
            auto write = [&writer, tile = std::move(out)] { return writer->writeRows(tile); };
            try {
                writing = std::async(std::launch::async, std::move(write));
            } catch (const std::system_error&) { // no thread: written here
                auto tile = outTiles[k % 2].view(image::makeRect(0, 0, width, rows));
                if (!tile)
                    return tile.status();
                if (auto status = writer->writeRows(*tile); !status)
                    return Status::failure(status.code(), quoted(output) + ": " + status.message());
            }
        }
        if (progress) {
            const bool last = y + rows >= height;
            progress->setAmountOfCompletion(
                last ? 100
                     : static_cast<std::int32_t>(100.0 * (static_cast<double>(y + rows) / height)));
        }
    }
    if (auto status = written(); !status)
        return status;
    if (auto status = writer->finish(); !status)
        return Status::failure(status.code(), quoted(output) + ": " + status.message());
    return {};
}

} // namespace slidebox::color
