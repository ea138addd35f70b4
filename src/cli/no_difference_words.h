#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/status.h"

namespace slidebox::cli {

/// Writes "No Difference" on a gamut image of rows of 3 bytes a pixel,
/// rowBytes apart, as icc compare hands it over when its images don't
/// differ. The words need Qt's fonts: slidebox-cli-commands draws them
/// itself, slidebox-cli-compare (which links no Qt) loads the module
/// slidebox-cli-words.so beside it to draw them. The reason when they
/// can't be drawn.
platform::Status writeNoDifferenceWords(std::uint8_t* rows, std::uint32_t width,
                                        std::uint32_t height, std::size_t rowBytes);

} // namespace slidebox::cli
