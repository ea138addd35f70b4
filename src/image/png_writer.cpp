// PNG files written through libpng, into a temporary file beside the
// target that replaces it at the end.
#include "image/png_writer.h"

#include <csetjmp>
#include <string>

#include <png.h>

#include "platform/atomic_file.h"

namespace slidebox::image {

namespace {

// 96 dots an inch, whatever screen (or none) the program has: the same
// pixels make the same file.
constexpr png_uint_32 kDotsPerMeter = 3780;

// What the C callbacks hand back; libpng longjmps out of a failing call,
// so everything with a destructor lives outside the function that calls
// setjmp.
struct PngOut {
    platform::AtomicFile* file = nullptr;
    std::string message;
    png_structp png = nullptr;
    png_infop info = nullptr;
    ~PngOut() { png_destroy_write_struct(&png, info ? &info : nullptr); }
};

void onError(png_structp png, png_const_charp message) {
    auto* out = static_cast<PngOut*>(png_get_error_ptr(png));
    if (out->message.empty())
        out->message = message;
    png_longjmp(png, 1);
}

void onWarning(png_structp, png_const_charp) {}

void onWrite(png_structp png, png_bytep data, png_size_t size) {
    auto* out = static_cast<PngOut*>(png_get_io_ptr(png));
    if (!out->file->writeAll(data, size))
        png_error(png, "the file can't be written");
}

void onFlush(png_structp) {}

// The libpng calls, each of which may jump back here. Only trivially
// destructible locals: a jump skips no destructor.
bool writeRows(PngOut& out, const Bitmap& bitmap, int colorType) {
    if (setjmp(png_jmpbuf(out.png)))
        return false;
    png_set_write_fn(out.png, &out, onWrite, onFlush);
    png_set_IHDR(out.png, out.info, static_cast<png_uint_32>(bitmap.width()),
                 static_cast<png_uint_32>(bitmap.height()), 8, colorType, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_pHYs(out.png, out.info, kDotsPerMeter, kDotsPerMeter, PNG_RESOLUTION_METER);
    png_write_info(out.png, out.info);
    for (std::int32_t y = 0; y < bitmap.height(); ++y)
        png_write_row(out.png, bitmap.row(y));
    png_write_end(out.png, out.info);
    return true;
}

} // namespace

ImageStatus writePng(const std::filesystem::path& path, const Bitmap& bitmap, bool durable) {
    const PixelFormat& format = bitmap.format();
    int colorType = -1;
    if (!bitmap.isNull() && format.bytesPerSample == 1 && !format.isPlanar &&
        !format.alphaPremultiplied) {
        if (format.space == ColorSpace::Gray && !format.hasAlpha)
            colorType = PNG_COLOR_TYPE_GRAY;
        else if (format.space == ColorSpace::RGB)
            colorType = format.hasAlpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB;
    }
    if (colorType < 0)
        return ImageStatus::failure(ImageErrorCode::BadArgument,
                                    "a PNG is written from 8-bit packed gray or RGB, not " +
                                        describe(format));
    auto file = platform::AtomicFile::create(path);
    if (!file)
        return file.status();
    PngOut out;
    out.file = &*file;
    out.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &out, onError, onWarning);
    out.info = out.png ? png_create_info_struct(out.png) : nullptr;
    if (!out.info)
        return ImageStatus::failure(ImageErrorCode::OutOfMemory, "no memory for the PNG");
    if (!writeRows(out, bitmap, colorType))
        return ImageStatus::failure(ImageErrorCode::CannotWrite,
                                    "cannot write the PNG: " + out.message);
    return file->commit(durable);
}

} // namespace slidebox::image
