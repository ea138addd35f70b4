// slidebox-cli icc transform: an image matched through a colour world, in
// horizontal tiles of at most one million pixels that stream from the
// input file through the world into the output file, so that an image is
// never held whole. With no destination (or "lab") the world ends in the
// generic Lab profile and the tiles' Lab bitmaps are written as a 16-bit
// CIELab TIFF whose samples give the Lab fields back exactly.
#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "cli/icc_bitmap_support.h"
#include "cli/icc_subcommands.h"
#include "color/color_world.h"
#include "color/profile_manager.h"
#include "image/image_file.h"
#include "image/tiff_reader.h"
#include "image/tiff_writer.h"

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
    if (options.source.empty())
        return "--src PROFILE is required";
    if (options.files.size() != 2)
        return "an input image IN and an output TIFF OUT are required";
    if (image::imageFileKind(options.files[1]) != image::ImageFileKind::Tiff)
        return "OUT must end in .tif or .tiff";
    return std::nullopt;
}

// Where the tiles come from: an uncompressed TIFF mapped into memory, any
// other TIFF read strip by strip, or another image read whole; mapped and
// whole images hand out views.
class TileSource {
  public:
    static std::optional<TileSource> open(const std::string& path, std::string& problem) {
        TileSource source;
        if (image::imageFileKind(path) == image::ImageFileKind::Tiff) {
            // Samples stored as the world reads them are mapped, not read;
            // a Lab file's signed a and b are not what the world reads.
            auto file = std::make_unique<MappedFile>();
            bool labSigned = false;
            auto mapped = mapTiff(path, *file, labSigned);
            if (mapped && !labSigned) {
                source.file_ = std::move(file);
                source.whole_ = std::move(*mapped);
                source.width_ = source.whole_.width();
                source.height_ = source.whole_.height();
                source.format_ = source.whole_.format();
                return source;
            }
            auto reader = image::TiffReader::open(path);
            if (!reader) {
                problem = reader.status().message();
                return std::nullopt;
            }
            source.reader_.emplace(std::move(reader.value()));
            source.width_ = source.reader_->width();
            source.height_ = source.reader_->height();
            source.format_ = source.reader_->format();
            return source;
        }
        auto read = image::readImageFile(path);
        if (!read) {
            problem = read.status().message();
            return std::nullopt;
        }
        source.whole_ = std::move(read.value());
        source.width_ = source.whole_.width();
        source.height_ = source.whole_.height();
        source.format_ = source.whole_.format();
        return source;
    }

    std::int32_t width() const { return width_; }
    std::int32_t height() const { return height_; }
    const image::PixelFormat& format() const { return format_; }

    /// Rows first .. first + rows - 1 as a bitmap valid until the next call.
    image::ImageResult<image::Bitmap> tile(std::int32_t first, std::int32_t rows) {
        if (!reader_)
            return whole_.view(image::makeRect(0, first, width_, rows));
        if (buffer_.isNull() || buffer_.height() < rows) {
            auto allocated = image::Bitmap::allocate(width_, rows, format_);
            if (!allocated)
                return allocated.status();
            buffer_ = std::move(allocated.value());
        }
        auto view = buffer_.view(image::makeRect(0, 0, width_, rows));
        if (!view)
            return view;
        if (auto status = reader_->readRows(first, *view); !status)
            return status;
        return view;
    }

  private:
    std::unique_ptr<MappedFile> file_; // under whole_ when the file is mapped
    std::optional<image::TiffReader> reader_;
    image::Bitmap whole_;
    image::Bitmap buffer_;
    std::int32_t width_ = 0, height_ = 0;
    image::PixelFormat format_;
};

std::optional<image::ColorSpace> imageSpace(color::OSType signature) {
    if (signature == color::cmGrayData)
        return image::ColorSpace::Gray;
    if (signature == color::cmRGBData)
        return image::ColorSpace::RGB;
    if (signature == color::cmCMYKData)
        return image::ColorSpace::CMYK;
    if (signature == color::cmLabData)
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

int iccTransform(const std::vector<std::string>& args) {
    TransformOptions options;
    if (auto problem = parse(args, options))
        return usageError(std::string(kCommand) + ": " + *problem);
    const std::string& inPath = options.files[0];
    const std::string& outPath = options.files[1];

    const auto source = profileArgument(options.source);
    if (!source || !color::ProfileManager::profileRefForPath(*source))
        return failure(std::string(kCommand) + ": '" + options.source +
                       "' is not a usable ICC profile");
    const bool labMode = options.destination == "lab";
    const auto destination = profileArgument(options.destination);
    // The toolkit would quietly drop a destination that won't open; asked
    // for by name here, it is an error.
    if (!destination || !color::ProfileManager::profileRefForPath(*destination))
        return failure(std::string(kCommand) + ": '" + options.destination +
                       "' is not a usable ICC profile");
    auto world = color::ColorWorld::initColorWorldWithSrcProfil(
        *source, options.intentIn, options.intentOut.value_or(options.intentIn), *destination);
    if (!world)
        return failure(std::string(kCommand) +
                       ": no colour world through these profiles and intents");

    std::string problem;
    auto input = TileSource::open(inPath, problem);
    if (!input)
        return failure(std::string(kCommand) + ": '" + inPath + "': " + problem);
    const std::int32_t width = input->width();
    const std::int32_t height = input->height();
    const image::PixelFormat& inFormat = input->format();

    image::PixelFormat outFormat = image::PixelFormat::make(image::ColorSpace::Lab, 16);
    if (!labMode) {
        auto space = imageSpace(world->dataColorSpaceOut());
        if (!space)
            return failure(std::string(kCommand) +
                           ": the destination's colour space can't be written as a TIFF");
        const bool alpha = inFormat.hasAlpha &&
                           (*space == image::ColorSpace::Gray || *space == image::ColorSpace::RGB);
        outFormat =
            image::PixelFormat::make(*space, inFormat.bitsPerSample(), alpha, inFormat.isPlanar);
        if (width > 1000000)
            return failure(std::string(kCommand) +
                           ": an image wider than one million pixels makes no tile");
    }

    // Tiles of the whole width and at most one million pixels, as the
    // world's own tiling would cut them; each is one match.
    std::int32_t tileHeight = height;
    if (static_cast<float>(width) * static_cast<float>(height) > 1000000.0f)
        tileHeight = std::max(1, static_cast<std::int32_t>(1000000.0 / width));

    image::Bitmap outTile;
    if (!labMode) {
        auto allocated = image::Bitmap::allocate(width, tileHeight, outFormat);
        if (!allocated)
            return failure(std::string(kCommand) + ": " + allocated.status().message());
        outTile = std::move(allocated.value());
    }

    ProgressLine progress;
    std::optional<image::TiffWriter> writer;
    for (std::int32_t y = 0; y < height; y += tileHeight) {
        const std::int32_t rows = std::min(tileHeight, height - y);
        auto in = input->tile(y, rows);
        if (!in)
            return failure(std::string(kCommand) + ": '" + inPath + "': " + in.status().message());
        image::Bitmap out;
        if (labMode) {
            // The world's refusals are its log lines.
            if (!world->matchSourceImageRep(*in, nullptr))
                return Failed;
            const color::CMBitmap& lab = *world->labBitmap();
            auto wrapped = image::Bitmap::wrap(width, rows, outFormat, lab.rowBytes,
                                               reinterpret_cast<std::uint8_t*>(lab.image));
            if (!wrapped)
                return failure(std::string(kCommand) + ": " + wrapped.status().message());
            out = std::move(wrapped.value());
        } else {
            auto view = outTile.view(image::makeRect(0, 0, width, rows));
            if (!view)
                return failure(std::string(kCommand) + ": " + view.status().message());
            out = std::move(view.value());
            if (!world->matchSourceImageRep(*in, &out))
                return Failed;
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
            auto created =
                image::TiffWriter::create(outPath, width, height, outFormat, writeOptions);
            if (!created)
                return failure(std::string(kCommand) + ": '" + outPath +
                               "': " + created.status().message());
            writer.emplace(std::move(created.value()));
        }
        if (auto status = writer->writeRows(out); !status)
            return failure(std::string(kCommand) + ": '" + outPath + "': " + status.message());
        const bool last = y + rows >= height;
        progress.setAmountOfCompletion(
            last ? 100
                 : static_cast<std::int32_t>(100.0 * (static_cast<double>(y + rows) / height)));
    }
    if (auto status = writer->finish(); !status)
        return failure(std::string(kCommand) + ": '" + outPath + "': " + status.message());
    return Done;
}

const IccSubcommand transform(
    "transform",
    "  icc transform --src PROFILE [--dst PROFILE|lab] [--intent N] [--intent-out M] IN OUT\n"
    "                               an image matched into a TIFF of the destination's space,\n"
    "                               or (lab, the default) a 16-bit CIELab TIFF\n",
    iccTransform);

} // namespace

} // namespace slidebox::cli
