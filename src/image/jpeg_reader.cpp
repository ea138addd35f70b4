#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <string>

// jpeglib.h needs FILE and size_t declared first.
#include <jerror.h>
#include <jpeglib.h>
#include <unistd.h>

#include "image/png_jpeg_reader.h"
#include "platform/file_system.h"

namespace slidebox::image {

namespace {

struct JpegError {
    jpeg_error_mgr manager{};
    std::jmp_buf jump{};
    char message[JMSG_LENGTH_MAX] = {};
    bool endedEarly = false;
};

void onError(j_common_ptr info) {
    auto* error = reinterpret_cast<JpegError*>(info->err);
    (*info->err->format_message)(info, error->message);
    std::longjmp(error->jump, 1);
}

// Warnings are kept quiet; the one that says the data stopped short makes
// the image a failure rather than one padded with gray.
void onMessage(j_common_ptr info, int level) {
    auto* error = reinterpret_cast<JpegError*>(info->err);
    if (level < 0 && info->err->msg_code == JWRN_JPEG_EOF)
        error->endedEarly = true;
}

// Everything with a destructor lives in the caller: libjpeg longjmps out
// of a failing call into the function that called setjmp.
struct JpegState {
    jpeg_decompress_struct info{};
    JpegError error;
    std::FILE* file = nullptr;
    bool created = false;
    ~JpegState() {
        if (created)
            jpeg_destroy_decompress(&info);
        if (file)
            std::fclose(file);
    }
};

struct JpegHeader {
    bool adobeInverted = false;
    JOCTET* profile = nullptr; // malloc'ed by libjpeg; freed by the caller
    unsigned int profileLength = 0;
};

bool readHeader(JpegState& state, JpegHeader& header) {
    if (setjmp(state.error.jump))
        return false;
    jpeg_create_decompress(&state.info);
    state.created = true;
    jpeg_stdio_src(&state.info, state.file);
    jpeg_save_markers(&state.info, JPEG_APP0 + 2, 0xFFFF);
    jpeg_read_header(&state.info, TRUE);
    if (!jpeg_read_icc_profile(&state.info, &header.profile, &header.profileLength))
        header.profile = nullptr;
    switch (state.info.jpeg_color_space) {
    case JCS_GRAYSCALE:
        state.info.out_color_space = JCS_GRAYSCALE;
        break;
    case JCS_CMYK:
    case JCS_YCCK:
        state.info.out_color_space = JCS_CMYK;
        header.adobeInverted = state.info.saw_Adobe_marker;
        break;
    default:
        state.info.out_color_space = JCS_RGB;
        break;
    }
    jpeg_calc_output_dimensions(&state.info);
    return true;
}

bool readPixels(JpegState& state, Bitmap& bitmap) {
    if (setjmp(state.error.jump))
        return false;
    jpeg_start_decompress(&state.info);
    while (state.info.output_scanline < state.info.output_height) {
        JSAMPROW row = bitmap.row(static_cast<std::int32_t>(state.info.output_scanline));
        jpeg_read_scanlines(&state.info, &row, 1);
        if (state.error.endedEarly)
            return false;
    }
    jpeg_finish_decompress(&state.info);
    return !state.error.endedEarly;
}

ImageStatus failed(const JpegState& state) {
    if (state.error.endedEarly)
        return ImageStatus::failure(ImageErrorCode::Truncated,
                                    "cannot read the JPEG: the file ends early");
    return ImageStatus::failure(ImageErrorCode::Malformed,
                                std::string("cannot read the JPEG: ") + state.error.message);
}

} // namespace

ImageResult<DecodedImage> readJpeg(const std::filesystem::path& path) {
    auto fd = platform::openRegularFile(path);
    if (!fd)
        return ImageStatus::failure(ImageErrorCode::CannotOpen,
                                    "cannot read the image: " + fd.status().message());
    JpegState state;
    state.file = fdopen(*fd, "rb");
    if (!state.file) {
        ::close(*fd);
        return ImageStatus::failure(ImageErrorCode::OutOfMemory, "cannot read the image");
    }
    const int first = std::fgetc(state.file), second = std::fgetc(state.file);
    if (first != 0xFF || second != 0xD8)
        return ImageStatus::failure(ImageErrorCode::CannotOpen,
                                    "cannot read the image: not a JPEG file");
    std::rewind(state.file);
    state.info.err = jpeg_std_error(&state.error.manager);
    state.error.manager.error_exit = onError;
    state.error.manager.emit_message = onMessage;

    JpegHeader header;
    const bool described = readHeader(state, header);
    DecodedImage decoded;
    if (header.profile) {
        decoded.iccProfile.assign(reinterpret_cast<const char*>(header.profile),
                                  header.profileLength);
        std::free(header.profile);
    }
    if (!described)
        return failed(state);
    const ColorSpace space = state.info.out_color_space == JCS_GRAYSCALE ? ColorSpace::Gray
                             : state.info.out_color_space == JCS_CMYK    ? ColorSpace::CMYK
                                                                         : ColorSpace::RGB;
    const PixelFormat format = PixelFormat::make(space, 8);
    const std::uint64_t width = state.info.output_width, height = state.info.output_height;
    if (width * height * static_cast<std::uint64_t>(format.samplesPerPixel()) >
        kMaxDecodedImageBytes)
        return ImageStatus::failure(ImageErrorCode::TooLarge,
                                    "the JPEG's " + std::to_string(width) + " × " +
                                        std::to_string(height) + " pixels are past the limit");
    if (state.info.output_components != format.samplesPerPixel())
        return ImageStatus::failure(ImageErrorCode::Unsupported,
                                    "cannot read the JPEG: an unexpected sample layout");
    auto bitmap = Bitmap::allocate(static_cast<std::int32_t>(width),
                                   static_cast<std::int32_t>(height), format);
    if (!bitmap)
        return bitmap.status();
    decoded.bitmap = std::move(bitmap.value());
    if (!readPixels(state, decoded.bitmap))
        return failed(state);
    if (header.adobeInverted) {
        for (std::int32_t y = 0; y < decoded.bitmap.height(); ++y) {
            std::uint8_t* row = decoded.bitmap.row(y);
            for (std::size_t i = 0; i < decoded.bitmap.minRowBytes(); ++i)
                row[i] = static_cast<std::uint8_t>(255 - row[i]);
        }
    }
    return decoded;
}

} // namespace slidebox::image
