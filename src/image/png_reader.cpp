#include <bit>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <png.h>
#include <unistd.h>

#include "image/png_jpeg_reader.h"
#include "platform/file_system.h"

namespace slidebox::image {

namespace {

// What the C callbacks hand back; libpng longjmps out of a failing call,
// so everything with a destructor lives outside the function that calls
// setjmp.
struct PngState {
    std::string message;
    std::FILE* file = nullptr;
    png_structp png = nullptr;
    png_infop info = nullptr;
    ~PngState() {
        png_destroy_read_struct(&png, info ? &info : nullptr, nullptr);
        if (file)
            std::fclose(file);
    }
};

void onError(png_structp png, png_const_charp message) {
    auto* state = static_cast<PngState*>(png_get_error_ptr(png));
    if (state->message.empty())
        state->message = message;
    png_longjmp(png, 1);
}

void onWarning(png_structp, png_const_charp) {}

struct PngHeader {
    png_uint_32 width = 0, height = 0;
    int bitDepth = 0, colorType = 0;
    bool transparency = false;
    png_bytep profile = nullptr;
    png_uint_32 profileLength = 0;
};

// The libpng calls, each of which may jump back here. Only trivially
// destructible locals: a jump skips no destructor.
bool readHeader(PngState& state, PngHeader& header) {
    if (setjmp(png_jmpbuf(state.png)))
        return false;
    png_init_io(state.png, state.file);
    png_read_info(state.png, state.info);
    png_get_IHDR(state.png, state.info, &header.width, &header.height, &header.bitDepth,
                 &header.colorType, nullptr, nullptr, nullptr);
    header.transparency = png_get_valid(state.png, state.info, PNG_INFO_tRNS) != 0;
    png_charp name = nullptr;
    int compression = 0;
    if (png_get_iCCP(state.png, state.info, &name, &compression, &header.profile,
                     &header.profileLength) == 0)
        header.profile = nullptr;
    // What comes out: 8 or 16 bits, palettes as RGB, transparency as alpha,
    // 16-bit samples in the machine's order.
    if (header.colorType == PNG_COLOR_TYPE_PALETTE)
        png_set_palette_to_rgb(state.png);
    if (header.colorType == PNG_COLOR_TYPE_GRAY && header.bitDepth < 8)
        png_set_expand_gray_1_2_4_to_8(state.png);
    if (header.transparency)
        png_set_tRNS_to_alpha(state.png);
    if (header.bitDepth == 16 && std::endian::native == std::endian::little)
        png_set_swap(state.png);
    png_set_interlace_handling(state.png);
    png_read_update_info(state.png, state.info);
    return true;
}

bool readPixels(PngState& state, png_bytepp rows) {
    if (setjmp(png_jmpbuf(state.png)))
        return false;
    png_read_image(state.png, rows);
    png_read_end(state.png, nullptr);
    return true;
}

ImageStatus failed(const PngState& state) {
    const bool truncated = state.message.find("Read Error") != std::string::npos ||
                           state.message.find("EOF") != std::string::npos || std::feof(state.file);
    return ImageStatus::failure(
        truncated ? ImageErrorCode::Truncated : ImageErrorCode::Malformed,
        "cannot read the PNG: " + (truncated ? std::string("the file ends early") : state.message));
}

} // namespace

ImageResult<DecodedImage> readPng(const std::filesystem::path& path) {
    auto fd = platform::openRegularFile(path);
    if (!fd)
        return ImageStatus::failure(ImageErrorCode::CannotOpen,
                                    "cannot read the image: " + fd.status().message());
    PngState state;
    state.file = fdopen(*fd, "rb");
    if (!state.file) {
        ::close(*fd);
        return ImageStatus::failure(ImageErrorCode::OutOfMemory, "cannot read the image");
    }
    png_byte signature[8] = {};
    if (std::fread(signature, 1, 8, state.file) != 8 || png_sig_cmp(signature, 0, 8) != 0)
        return ImageStatus::failure(ImageErrorCode::CannotOpen,
                                    "cannot read the image: not a PNG file");
    state.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &state, onError, onWarning);
    if (state.png)
        state.info = png_create_info_struct(state.png);
    if (!state.info)
        return ImageStatus::failure(ImageErrorCode::OutOfMemory, "no memory to read the PNG");
    png_set_sig_bytes(state.png, 8);
    // A profile is at most a few megabytes; a chunk that claims more is
    // refused before libpng allocates it.
    png_set_chunk_malloc_max(state.png, 64u << 20);

    PngHeader header;
    if (!readHeader(state, header))
        return failed(state);
    const bool gray = (header.colorType & PNG_COLOR_MASK_COLOR) == 0;
    const bool alpha = (header.colorType & PNG_COLOR_MASK_ALPHA) != 0 || header.transparency;
    const PixelFormat format = PixelFormat::make(gray ? ColorSpace::Gray : ColorSpace::RGB,
                                                 header.bitDepth == 16 ? 16 : 8, alpha);
    const std::uint64_t bytes = std::uint64_t{header.width} * header.height *
                                static_cast<std::uint64_t>(format.bitsPerPixel() / 8);
    if (bytes > kMaxDecodedImageBytes || header.width > 0x7FFFFFFF || header.height > 0x7FFFFFFF)
        return ImageStatus::failure(ImageErrorCode::TooLarge,
                                    "the PNG's " + std::to_string(header.width) + " × " +
                                        std::to_string(header.height) +
                                        " pixels are past the limit");
    if (png_get_rowbytes(state.png, state.info) !=
        static_cast<std::size_t>(format.bitsPerPixel() / 8) * header.width)
        return ImageStatus::failure(ImageErrorCode::Unsupported,
                                    "cannot read the PNG: an unexpected sample layout");
    DecodedImage decoded;
    if (header.profile)
        decoded.iccProfile.assign(reinterpret_cast<const char*>(header.profile),
                                  header.profileLength);
    auto bitmap = Bitmap::allocate(static_cast<std::int32_t>(header.width),
                                   static_cast<std::int32_t>(header.height), format);
    if (!bitmap)
        return bitmap.status();
    decoded.bitmap = std::move(bitmap.value());
    std::vector<png_bytep> rows(header.height);
    for (png_uint_32 y = 0; y < header.height; ++y)
        rows[y] = decoded.bitmap.row(static_cast<std::int32_t>(y));
    if (!readPixels(state, rows.data()))
        return failed(state);
    return decoded;
}

} // namespace slidebox::image
