#pragma once

#include <cassert>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace slidebox::platform {

/// Why an operation failed; one set of codes for every layer.
enum class ErrorCode : std::uint8_t {
    None,        ///< it didn't
    BadArgument, ///< the caller's value doesn't fit the call (a path a file format can't hold)
    CannotOpen,  ///< the file can't be opened, read, or isn't of the kind needed (not a regular
                 ///< file)
    CannotWrite, ///< the output (or its temporary file) can't be written
    Truncated,   ///< the data ends before it should
    Malformed,   ///< the data's description of itself is inconsistent or unparsable
    Unsupported, ///< valid data this program can't write back faithfully
    TooLarge,    ///< sizes, depths or counts beyond the limits, refused before reading on
    OutOfMemory, ///< an allocation within the limits failed
    Cancelled,   ///< the caller asked to stop
    Busy,        ///< another process holds what is needed
};

/// The outcome of an operation: success, or an error code with a one-line
/// message in English for a person. Messages don't name the file; the
/// caller, who knows it, puts it in front.
class Status {
  public:
    /// Success.
    Status() = default;

    /// A failure; code must not be None.
    static Status failure(ErrorCode code, std::string message) {
        Status status;
        status.code_ = code;
        status.message_ = std::move(message);
        return status;
    }

    bool ok() const { return code_ == ErrorCode::None; }
    explicit operator bool() const { return ok(); }
    ErrorCode code() const { return code_; }
    /// Empty on success.
    const std::string& message() const { return message_; }

  private:
    ErrorCode code_ = ErrorCode::None;
    std::string message_;
};

/// A value, or the status that says why there is none.
template <class T> class Result {
  public:
    /// Success with a value.
    Result(T value) : value_(std::move(value)) {}
    /// Failure; status must not be ok().
    Result(Status status) : status_(std::move(status)) { assert(!status_.ok()); }

    bool ok() const { return value_.has_value(); }
    explicit operator bool() const { return ok(); }
    /// ok() on success, else the failure.
    const Status& status() const { return status_; }

    /// The value; only after ok().
    T& value() & { return *value_; }
    const T& value() const& { return *value_; }
    T&& value() && { return std::move(*value_); }
    T* operator->() { return &*value_; }
    const T* operator->() const { return &*value_; }
    T& operator*() & { return *value_; }
    const T& operator*() const& { return *value_; }

  private:
    std::optional<T> value_;
    Status status_;
};

} // namespace slidebox::platform
