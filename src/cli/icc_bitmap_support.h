#pragma once

// What `icc transform` and `icc compare` share: the colour world that
// takes an image into Lab, and the progress line.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "cli/arguments.h"
#include "color/color_world.h"
#include "image/bitmap.h"

namespace slidebox::cli {

/// Redraws one line on standard error, "\r[####      ]  50%", and ends it
/// with a newline after 100. Quiet when standard error is not a terminal.
class ProgressLine : public color::CompletionHandler {
  public:
    ProgressLine();
    void setAmountOfCompletion(std::int32_t percent) override;

  private:
    bool terminal_;
};

/// The world from source (a PROFILE argument) into the generic Lab profile,
/// intentIn then intentOut; null with a message on standard error (and the
/// status to return in status) when a profile or the chain fails.
std::unique_ptr<color::ColorWorld> labWorld(const std::string& source, std::int32_t intentIn,
                                            std::int32_t intentOut, const char* command,
                                            int& status);

/// Reads an image and matches it in Lab mode through world: world then
/// holds its Lab bitmap. Status 1 with the reason when the file can't be
/// read or the match is refused.
int matchIntoLab(color::ColorWorld& world, const std::string& path, const char* command);

} // namespace slidebox::cli
