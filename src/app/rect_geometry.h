#pragma once

#include <string>

#include <QRect>
#include <QRectF>

#include "draw/rect_f.h"

namespace slidebox::app {

/// A rectangle of the user interface in points, single precision, with y
/// growing upwards from the bottom edge of whatever holds it.
using draw::RectF;

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
