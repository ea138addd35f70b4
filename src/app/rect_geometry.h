#pragma once

#include <string>

#include <QRect>
#include <QRectF>

namespace slidebox::app {

/// A rectangle of the user interface in points, single precision, with y
/// growing upwards from the bottom edge of whatever holds it.
struct RectF {
    float x = 0.0f;
    float y = 0.0f;
    float width = 0.0f;
    float height = 0.0f;
    friend bool operator==(const RectF&, const RectF&) = default;
};

/// The same rectangle in Qt's coordinates (y growing downwards) inside a
/// container of the given height.
QRectF toQtRect(const RectF& rect, double containerHeight);

/// "{{x, y}, {w, h}}", numbers in their shortest form ("{{0, 0}, {320, 240.5}}").
std::string stringFromRect(const RectF& rect);

/// The inverse of stringFromRect: the first four numbers of the text in
/// order; the zero rectangle when the text has fewer than four.
RectF rectFromString(const std::string& text);

/// Conversions for a widget's geometry.
RectF rectFromQRect(const QRect& rect);
QRect qRectFromRect(const RectF& rect);

} // namespace slidebox::app
