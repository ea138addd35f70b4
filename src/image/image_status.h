#pragma once

// The image layer's names for the one status type every layer shares.
#include "platform/status.h"

namespace slidebox::image {

using ImageErrorCode = platform::ErrorCode;
using ImageStatus = platform::Status;

} // namespace slidebox::image
