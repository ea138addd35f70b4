#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace slidebox::image {

/// a × b, or nothing when the product doesn't fit std::size_t. Every size
/// that comes from a file or a caller goes through here, so that a huge
/// dimension is refused instead of wrapping round to a small buffer.
constexpr std::optional<std::size_t> checkedMultiply(std::size_t a, std::size_t b) {
    std::size_t product = 0;
    if (__builtin_mul_overflow(a, b, &product))
        return std::nullopt;
    return product;
}

/// a + b, or nothing when the sum doesn't fit std::size_t.
constexpr std::optional<std::size_t> checkedAdd(std::size_t a, std::size_t b) {
    std::size_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum))
        return std::nullopt;
    return sum;
}

/// a × b × c, or nothing on overflow.
constexpr std::optional<std::size_t> checkedMultiply(std::size_t a, std::size_t b, std::size_t c) {
    auto ab = checkedMultiply(a, b);
    return ab ? checkedMultiply(*ab, c) : std::nullopt;
}

} // namespace slidebox::image
