#include "app/window_geometry.h"

#include <cmath>

#include <QGuiApplication>
#include <QScreen>

#include "app/window_kind.h"

namespace slidebox::app {

namespace {

// Conversion to an integer towards zero and back, as the window arithmetic
// has always done it.
float truncated(float value) {
    return static_cast<float>(static_cast<int>(value));
}

constexpr float rightMargin = 10.0f;

} // namespace

RectF statusItemHiddenFrame(const RectF& visibleFrame, float width, float height) {
    const float x = truncated(visibleFrame.width + visibleFrame.x) - width - rightMargin;
    const float yTop = truncated(visibleFrame.height + visibleFrame.y);
    return {x, yTop, width, height};
}

RectF statusItemShownFrame(const RectF& visibleFrame, float width, float height) {
    RectF frame = statusItemHiddenFrame(visibleFrame, width, height);
    frame.y -= height;
    return frame;
}

bool isOnMenubar(const RectF& frame, const RectF& visibleFrame) {
    const float windowTop = frame.y + frame.height;
    const float visibleTop = visibleFrame.y + visibleFrame.height;
    return windowTop >= visibleTop;
}

void WidgetDrag::mouseDown(int windowKind, const RectF& windowFrame, PointF mouse,
                           const RectF& visibleFrame) {
    mouseDownOccured_ = true;
    // A loose status-item window moves at once; a docked one, and the
    // window of any other kind, must first be pulled.
    acceptMove_ = windowKind == statusItemWindowKind && !isOnMenubar(windowFrame, visibleFrame);
    initialWindowFrame_ = windowFrame;
    initialMouseLocation_ = mouse;
}

std::optional<PointF> WidgetDrag::moveWidgetWindow(PointF mouse) {
    if (!mouseDownOccured_)
        return std::nullopt;
    if (initialMouseLocation_.y - mouse.y > pullLimit)
        acceptMove_ = true;
    if (!acceptMove_)
        return std::nullopt;
    // The whole offset of the drag, not only what came after the limit.
    return PointF{mouse.x - initialMouseLocation_.x + initialWindowFrame_.x,
                  mouse.y - initialMouseLocation_.y + initialWindowFrame_.y};
}

bool WidgetDrag::mouseUp(const RectF& windowFrame, const RectF& visibleFrame) {
    const bool wasDown = mouseDownOccured_;
    mouseDownOccured_ = false;
    return wasDown && acceptMove_ && isOnMenubar(windowFrame, visibleFrame);
}

RectF rectFromScreen(const QRectF& rect, double primaryScreenHeight) {
    return {static_cast<float>(rect.x()),
            static_cast<float>(primaryScreenHeight - rect.y() - rect.height()),
            static_cast<float>(rect.width()), static_cast<float>(rect.height())};
}

QRectF screenRectFromRect(const RectF& rect, double primaryScreenHeight) {
    return toQtRect(rect, primaryScreenHeight);
}

PointF pointFromScreen(const QPointF& point, double primaryScreenHeight) {
    return {static_cast<float>(point.x()), static_cast<float>(primaryScreenHeight - point.y())};
}

ScreenFrames mainScreenFrames() {
    QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen)
        return {};
    const QRect whole = screen->geometry();
    const double height = whole.y() + whole.height();
    return {rectFromScreen(QRectF(screen->availableGeometry()), height), height};
}

} // namespace slidebox::app
