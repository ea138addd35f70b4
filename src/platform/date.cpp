#include "platform/date.h"

#include <cstdio>
#include <ctime>

namespace slidebox::platform {

Date Date::now() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return {static_cast<std::int64_t>(ts.tv_sec), static_cast<std::int32_t>(ts.tv_nsec)};
}

Date Date::fromTotalNanoseconds(std::int64_t ns) {
    std::int64_t sec = ns / 1'000'000'000;
    std::int64_t rest = ns % 1'000'000'000;
    if (rest < 0) { // floor division, so nanoseconds stay non-negative
        rest += 1'000'000'000;
        --sec;
    }
    return {sec, static_cast<std::int32_t>(rest)};
}

std::string Date::toString() const {
    time_t t = static_cast<time_t>(seconds);
    tm parts{};
    gmtime_r(&t, &parts);
    char buf[64];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d.%09d +0000", parts.tm_year + 1900,
                  parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec,
                  static_cast<int>(nanoseconds));
    return buf;
}

} // namespace slidebox::platform
