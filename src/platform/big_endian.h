#pragma once

// Big-endian words in bytes read from files (profiles, property lists).

#include <cstdint>

namespace slidebox::platform {

/// The unsigned 16-bit word at p, most significant byte first.
constexpr std::uint16_t bigEndian16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>((p[0] << 8) | p[1]);
}

/// The unsigned 32-bit word at p, most significant byte first.
constexpr std::uint32_t bigEndian32(const std::uint8_t* p) {
    return (std::uint32_t{p[0]} << 24) | (std::uint32_t{p[1]} << 16) | (std::uint32_t{p[2]} << 8) |
           std::uint32_t{p[3]};
}

} // namespace slidebox::platform
