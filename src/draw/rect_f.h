#pragma once

namespace slidebox::draw {

/// A point in points, single precision, with y growing upwards.
struct PointF {
    float x = 0.0f;
    float y = 0.0f;
    friend bool operator==(const PointF&, const PointF&) = default;
};

/// A size in points, single precision.
struct SizeF {
    float width = 0.0f;
    float height = 0.0f;
    friend bool operator==(const SizeF&, const SizeF&) = default;
};

/// A rectangle in points, single precision, with y growing upwards from the
/// bottom edge of whatever holds it.
struct RectF {
    float x = 0.0f;
    float y = 0.0f;
    float width = 0.0f;
    float height = 0.0f;
    friend bool operator==(const RectF&, const RectF&) = default;
};

} // namespace slidebox::draw
