#pragma once

#include "image/image_status.h"

namespace slidebox::image {

/// A value, or the status that says why there is none.
template <class T> using ImageResult = platform::Result<T>;

} // namespace slidebox::image
