#include "app/rect_geometry.h"

#include <charconv>
#include <cmath>

namespace slidebox::app {

QRectF toQtRect(const RectF& rect, double containerHeight) {
    return {rect.x, containerHeight - static_cast<double>(rect.y) - rect.height, rect.width,
            rect.height};
}

namespace {

std::string number(float value) {
    // Locale-free, shortest form that reads back to the same float.
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

} // namespace

std::string stringFromRect(const RectF& rect) {
    return "{{" + number(rect.x) + ", " + number(rect.y) + "}, {" + number(rect.width) + ", " +
           number(rect.height) + "}}";
}

RectF rectFromString(const std::string& text) {
    float values[4] = {};
    int found = 0;
    const char* p = text.data();
    const char* const end = text.data() + text.size();
    while (p < end && found < 4) {
        if ((*p >= '0' && *p <= '9') || *p == '-' || *p == '.') {
            float value = 0.0f;
            const auto result = std::from_chars(p, end, value);
            if (result.ec != std::errc() || result.ptr == p) {
                ++p;
                continue;
            }
            values[found++] = std::isfinite(value) ? value : 0.0f;
            p = result.ptr;
        } else {
            ++p;
        }
    }
    if (found < 4)
        return {};
    return {values[0], values[1], values[2], values[3]};
}

RectF rectFromQRect(const QRect& rect) {
    return {static_cast<float>(rect.x()), static_cast<float>(rect.y()),
            static_cast<float>(rect.width()), static_cast<float>(rect.height())};
}

QRect qRectFromRect(const RectF& rect) {
    return QRect(static_cast<int>(rect.x), static_cast<int>(rect.y), static_cast<int>(rect.width),
                 static_cast<int>(rect.height));
}

} // namespace slidebox::app
