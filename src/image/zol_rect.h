#pragma once

#include <cstdint>
#include <type_traits>

namespace slidebox::image {

/// A pixel position; y grows from the first row of the bitmap's data.
struct ZOL_Point {
    std::int32_t x = 0;
    std::int32_t y = 0;
    friend constexpr bool operator==(const ZOL_Point&, const ZOL_Point&) = default;
};

/// A size in pixels.
struct ZOL_Size {
    std::int32_t width = 0;
    std::int32_t height = 0;
    friend constexpr bool operator==(const ZOL_Size&, const ZOL_Size&) = default;
};

/// A half-open rectangle of pixels: columns origin.x up to, not including,
/// origin.x + size.width, and the same for rows. A negative size is empty.
/// The far edges are computed in 64 bits, so no rectangle wraps round.
struct ZOL_Rect {
    ZOL_Point origin;
    ZOL_Size size;

    constexpr std::int64_t left() const { return origin.x; }
    constexpr std::int64_t top() const { return origin.y; }
    /// One past the last column.
    constexpr std::int64_t right() const { return std::int64_t{origin.x} + size.width; }
    /// One past the last row.
    constexpr std::int64_t bottom() const { return std::int64_t{origin.y} + size.height; }
    constexpr bool isEmpty() const { return size.width <= 0 || size.height <= 0; }

    /// Whether the pixel lies inside.
    constexpr bool contains(ZOL_Point p) const {
        return p.x >= left() && p.x < right() && p.y >= top() && p.y < bottom();
    }
    /// Whether every pixel of other lies inside; an empty other lies in any rectangle.
    constexpr bool contains(const ZOL_Rect& other) const {
        return other.isEmpty() || (other.left() >= left() && other.right() <= right() &&
                                   other.top() >= top() && other.bottom() <= bottom());
    }

    friend constexpr bool operator==(const ZOL_Rect&, const ZOL_Rect&) = default;
};

static_assert(std::is_trivially_copyable_v<ZOL_Rect>);

/// A rectangle from its four numbers.
constexpr ZOL_Rect makeRect(std::int32_t x, std::int32_t y, std::int32_t width,
                            std::int32_t height) {
    return ZOL_Rect{{x, y}, {width, height}};
}

/// The pixels both rectangles hold; a rectangle of size 0 × 0 at the
/// origin of a when they share none.
constexpr ZOL_Rect intersection(const ZOL_Rect& a, const ZOL_Rect& b) {
    std::int64_t l = a.left() > b.left() ? a.left() : b.left();
    std::int64_t t = a.top() > b.top() ? a.top() : b.top();
    std::int64_t r = a.right() < b.right() ? a.right() : b.right();
    std::int64_t bt = a.bottom() < b.bottom() ? a.bottom() : b.bottom();
    if (a.isEmpty() || b.isEmpty() || r <= l || bt <= t)
        return ZOL_Rect{a.origin, {0, 0}};
    // Both edges lie within a, whose edges are int32 origins plus int32
    // sizes, and the width of the overlap is at most a's width.
    return makeRect(static_cast<std::int32_t>(l), static_cast<std::int32_t>(t),
                    static_cast<std::int32_t>(r - l), static_cast<std::int32_t>(bt - t));
}

} // namespace slidebox::image
