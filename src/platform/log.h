#pragma once

#include <functional>
#include <string_view>

namespace slidebox::platform {

/// Writes one line to standard error in the form of the desktop's system
/// log: "2026-11-23 11:17:14.123 program[pid] text". Newlines inside the
/// text become blanks, so one message is always one line.
void log(std::string_view text);

/// Routes log lines elsewhere (tests); an empty function restores stderr.
/// The sink receives the text without date and process.
void setLogSink(std::function<void(std::string_view)> sink);

} // namespace slidebox::platform
