#pragma once

#include <cassert>
#include <optional>
#include <utility>

#include "image/image_status.h"

namespace slidebox::image {

/// A value, or the status that says why there is none.
template <class T> class ImageResult {
  public:
    /// Success with a value.
    ImageResult(T value) : value_(std::move(value)) {}
    /// Failure; status must not be ok().
    ImageResult(ImageStatus status) : status_(std::move(status)) { assert(!status_.ok()); }

    bool ok() const { return value_.has_value(); }
    explicit operator bool() const { return ok(); }
    /// ok() on success, else the failure.
    const ImageStatus& status() const { return status_; }

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
    ImageStatus status_;
};

} // namespace slidebox::image
