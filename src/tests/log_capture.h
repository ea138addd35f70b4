#pragma once

// The log lines a test caused, captured for its life instead of going to
// standard error.

#include <string>
#include <string_view>
#include <vector>

#include "platform/log.h"

namespace slidebox::testing {

class LogCapture {
  public:
    LogCapture() {
        platform::setLogSink([this](std::string_view line) { lines.emplace_back(line); });
    }
    ~LogCapture() { platform::setLogSink({}); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<std::string> lines;
};

} // namespace slidebox::testing
