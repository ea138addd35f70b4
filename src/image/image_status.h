#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace slidebox::image {

/// Why an image operation failed.
enum class ImageErrorCode : std::uint8_t {
    None,        ///< it didn't
    BadArgument, ///< the caller's bitmap, rectangle or format doesn't fit the call
    CannotOpen,  ///< the file can't be opened or isn't of the kind its ending says
    CannotWrite, ///< the output (or its temporary file) can't be written
    Truncated,   ///< the data ends, or a strip or tile can't be read, before the image does
    Malformed,   ///< the file's description of itself is inconsistent (zero sizes, bad layout)
    Unsupported, ///< a valid file of a kind this reader doesn't take
    TooLarge,    ///< dimensions or sizes beyond the limits, refused before allocating
    OutOfMemory, ///< an allocation within the limits failed
    Cancelled,   ///< the caller's row sink asked to stop
};

/// The outcome of an image operation: success, or an error code with a
/// one-line message in English for a person. Messages don't name the file;
/// the caller, who knows it, puts it in front.
class ImageStatus {
  public:
    /// Success.
    ImageStatus() = default;

    /// A failure; code must not be None.
    static ImageStatus failure(ImageErrorCode code, std::string message) {
        ImageStatus status;
        status.code_ = code;
        status.message_ = std::move(message);
        return status;
    }

    bool ok() const { return code_ == ImageErrorCode::None; }
    explicit operator bool() const { return ok(); }
    ImageErrorCode code() const { return code_; }
    /// Empty on success.
    const std::string& message() const { return message_; }

  private:
    ImageErrorCode code_ = ImageErrorCode::None;
    std::string message_;
};

} // namespace slidebox::image
