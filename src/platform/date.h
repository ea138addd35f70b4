#pragma once

#include <compare>
#include <cstdint>
#include <string>

namespace slidebox::platform {

/// A moment with the file system's full precision: seconds and nanoseconds
/// since the Unix epoch. Compared exactly, so a date that was stored and
/// read back equals the file date it came from.
struct Date {
    std::int64_t seconds = 0;
    std::int32_t nanoseconds = 0; ///< 0 .. 999'999'999

    friend auto operator<=>(const Date&, const Date&) = default;

    /// The current moment from the real-time clock.
    static Date now();

    /// Nanoseconds since the epoch (fits years 1678..2262).
    std::int64_t totalNanoseconds() const { return seconds * 1'000'000'000 + nanoseconds; }
    static Date fromTotalNanoseconds(std::int64_t ns);

    /// "2026-11-23 11:17:14.123456789 +0000", UTC; for logs and the CLI.
    std::string toString() const;
};

} // namespace slidebox::platform
