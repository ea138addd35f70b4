#include "cli/arguments.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace slidebox::cli {

std::optional<float> realArgument(const std::string& text) {
    if (text.empty())
        return std::nullopt;
    errno = 0;
    char* end = nullptr;
    const float value = std::strtof(text.c_str(), &end);
    if (*end != '\0' || errno == ERANGE || !std::isfinite(value))
        return std::nullopt;
    return value;
}

std::optional<std::uint16_t> fieldArgument(const std::string& text) {
    if (text.empty() || text.size() > 5 ||
        text.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
    const long value = std::strtol(text.c_str(), nullptr, 10);
    if (value > 65535)
        return std::nullopt;
    return static_cast<std::uint16_t>(value);
}

std::optional<std::int32_t> intentArgument(const std::string& text) {
    if (text.size() != 1 || text[0] < '0' || text[0] > '3')
        return std::nullopt;
    return text[0] - '0';
}

std::string realText(double value) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.9g", value);
    return buffer;
}

} // namespace slidebox::cli
