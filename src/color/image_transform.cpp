#include "color/image_transform.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

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

// The rows a thread reads at a time hold about this many bytes, in whole
// bands of the file (which then go straight into the thread's rows).
constexpr std::size_t kBandBytes = std::size_t{256} << 10;
// And match and write this many pixels at a time, so that what is written
// is still in the cache.
constexpr std::int32_t kRunPixels = 32768;
// More threads than this gain nothing on the engine's transforms.
constexpr unsigned kMostThreads = 8;

Status outputFailure(const std::filesystem::path& output, const Status& status) {
    return Status::failure(status.code(), quoted(output) + ": " + status.message());
}

/// Every thread takes the next band of rows, reads it, matches it and
/// writes it to its place in the file, in rows of its own that stay in the
/// cache: no thread waits for another but to take its turn at reading a
/// file. The first failure stops them all.
class BandPipeline {
  public:
    BandPipeline(image::TileSource& source, const std::filesystem::path& input,
                 const ColorWorld& world, image::TiffWriter& writer,
                 const std::filesystem::path& output, image::PixelFormat outFormat,
                 std::int32_t tileHeight)
        : source_(source), input_(input), world_(world), writer_(writer), output_(output),
          outFormat_(outFormat) {
        const std::int32_t width = source.width();
        const image::PixelFormat& format = source.format();
        const std::size_t rowBytes = static_cast<std::size_t>(width) *
                                     static_cast<std::size_t>(format.samplesPerPixel()) *
                                     format.bytesPerSample;
        const std::int32_t fileBand = std::max(1, source.rowsPerBand());
        const auto wanted = static_cast<std::int32_t>(
            std::min<std::size_t>((kBandBytes + rowBytes - 1) / rowBytes, 1 << 20));
        band_ = std::min(tileHeight, (wanted + fileBand - 1) / fileBand * fileBand);
        run_ = std::clamp(kRunPixels / width, 1, band_);
    }

    Status run(CompletionHandler* progress) {
        const auto bands = static_cast<std::size_t>((source_.height() - 1) / band_ + 1);
        const unsigned threads = static_cast<unsigned>(std::min<std::size_t>(
            bands, std::clamp(std::thread::hardware_concurrency(), 1u, kMostThreads)));
        std::vector<std::thread> helpers;
        for (unsigned i = 1; i < threads; ++i) {
            try {
                helpers.emplace_back([this] { work(nullptr); });
            } catch (const std::system_error&) {
                break; // no more threads: those started and this one share the bands
            }
        }
        work(progress);
        for (std::thread& helper : helpers)
            helper.join();
        if (failure_ && progress && told_ != 100) // the last band may have been a helper's
            progress->setAmountOfCompletion(100);
        return failure_;
    }

  private:
    void work(CompletionHandler* progress) {
        const std::int32_t width = source_.width(), height = source_.height();
        image::Bitmap in, out;
        if (auto status = allocate(in, band_, source_.format()); !status)
            return stop(status);
        if (auto status = allocate(out, run_, outFormat_); !status)
            return stop(status);
        for (;;) {
            const std::int64_t first = std::int64_t{next_.fetch_add(1)} * band_;
            if (stopped_ || first >= height)
                return;
            const auto y = static_cast<std::int32_t>(first);
            const std::int32_t rows = std::min(band_, height - y);
            auto band = read(in, y, rows);
            if (!band)
                return stop(band.status());
            for (std::int32_t r = 0; r < rows && !stopped_; r += run_) {
                const std::int32_t n = std::min(run_, rows - r);
                auto from = band->view(image::makeRect(0, r, width, n));
                auto to = out.view(image::makeRect(0, 0, width, n));
                if (!from || !to)
                    return stop(!from ? from.status() : to.status());
                if (auto status = world_.matchRows(*from, *to); !status)
                    return stop(status);
                if (outFormat_.hasAlpha && outFormat_.isPlanar)
                    copyAlphaPlane(*from, *to);
                if (auto status = writer_.writeRowsAt(y + r, *to); !status)
                    return stop(outputFailure(output_, status));
            }
            const std::int32_t done = done_ += rows;
            if (progress && !stopped_) {
                const auto percent =
                    done >= height
                        ? 100
                        : static_cast<std::int32_t>(100.0 * (static_cast<double>(done) / height));
                if (percent != told_)
                    progress->setAmountOfCompletion(told_ = percent);
            }
        }
    }

    // The band's rows, read into the thread's own, one thread at a time.
    image::ImageResult<image::Bitmap> read(image::Bitmap& rows, std::int32_t y, std::int32_t n) {
        auto view = rows.view(image::makeRect(0, 0, rows.width(), n));
        if (!view)
            return view;
        const std::lock_guard held(reading_);
        if (auto status = source_.readRows(y, *view); !status)
            return Status::failure(status.code(), quoted(input_) + ": " + status.message());
        return view;
    }

    Status allocate(image::Bitmap& bitmap, std::int32_t rows, const image::PixelFormat& format) {
        auto made = image::Bitmap::allocate(source_.width(), rows, format);
        if (!made)
            return made.status();
        bitmap = std::move(made.value());
        return {};
    }

    void stop(const Status& status) {
        const std::lock_guard held(failing_);
        if (failure_)
            failure_ = status;
        stopped_ = true;
    }

    image::TileSource& source_;
    const std::filesystem::path& input_;
    const ColorWorld& world_;
    image::TiffWriter& writer_;
    const std::filesystem::path& output_;
    image::PixelFormat outFormat_;
    std::int32_t band_ = 1;
    std::int32_t run_ = 1;
    std::atomic<std::int32_t> next_{0};
    std::atomic<std::int32_t> done_{0};
    std::atomic<bool> stopped_{false};
    std::int32_t told_ = -1; // the last percentage told, by the calling thread
    std::mutex reading_;
    std::mutex failing_;
    Status failure_;
};

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
    if (!labMode) {
        // A row matched first, before any file is made, says whether the
        // image fits the world at all.
        auto probeIn = image::Bitmap::allocate(width, 1, inFormat);
        auto probeOut = image::Bitmap::allocate(width, 1, outFormat);
        if (!probeIn || !probeOut)
            return !probeIn ? probeIn.status() : probeOut.status();
        if (auto status = world->matchRows(*probeIn, *probeOut); !status)
            return status;
        image::TiffWriteOptions writeOptions;
        // Renamed into place at the end; the page cache is enough for a
        // file that is made again by running the command again.
        writeOptions.durable = false;
        writeOptions.rowsPerStrip = tileHeight;
        writeOptions.iccProfile = std::move(profileBytes.value());
        writeOptions.anyOrder = true;
        auto writer = image::TiffWriter::create(output, width, height, outFormat, writeOptions);
        if (!writer)
            return outputFailure(output, writer.status());
        BandPipeline pipeline(source, input, *world, *writer, output, outFormat, tileHeight);
        if (auto status = pipeline.run(progress); !status)
            return status;
        if (auto status = writer->finish(); !status)
            return outputFailure(output, status);
        return {};
    }

    // Lab: each tile through the world into its Lab bitmap, which the
    // writer stores with a and b signed.
    std::optional<image::TiffWriter> writer;
    for (std::int32_t y = 0; y < height; y += tileHeight) {
        const std::int32_t rows = std::min(tileHeight, height - y);
        auto in = source.tile(y, rows);
        if (!in)
            return Status::failure(in.status().code(),
                                   quoted(input) + ": " + in.status().message());
        if (auto status = world->matchImage(*in, nullptr); !status)
            return status;
        if (!writer) {
            image::TiffWriteOptions writeOptions;
            writeOptions.durable = false;
            writeOptions.rowsPerStrip = tileHeight; // a tile goes to the file as it is
            writeOptions.iccProfile = std::move(profileBytes.value());
            auto created =
                image::TiffWriter::create(output, width, height, outFormat, writeOptions);
            if (!created)
                return outputFailure(output, created.status());
            writer.emplace(std::move(created.value()));
        }
        // The Lab bitmap is the world's, made again by the next match.
        if (auto status = writer->writeRows(world->labImage()); !status)
            return outputFailure(output, status);
        if (progress) {
            const bool last = y + rows >= height;
            progress->setAmountOfCompletion(
                last ? 100
                     : static_cast<std::int32_t>(100.0 * (static_cast<double>(y + rows) / height)));
        }
    }
    if (auto status = writer->finish(); !status)
        return outputFailure(output, status);
    return {};
}

} // namespace slidebox::color
