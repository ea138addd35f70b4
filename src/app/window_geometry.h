#pragma once

#include <optional>

#include <QPointF>
#include <QRect>
#include <QRectF>

#include "app/rect_geometry.h"

namespace slidebox::app {

using draw::PointF;

/// The status item kind's window parked just above the top edge of the
/// visible frame (its lower edge on that edge), its right edge 10 points
/// left of the visible frame's right edge: where it slides from and to.
/// Single precision, the frame's right and top edges truncated to whole
/// points. `size` is the window's frame size.
RectF statusItemHiddenFrame(const RectF& visibleFrame, float width, float height);
/// The same window docked: its top edge on the top edge of the visible frame.
RectF statusItemShownFrame(const RectF& visibleFrame, float width, float height);

/// Whether the frame's top edge has reached the top of the visible frame.
bool isOnMenubar(const RectF& frame, const RectF& visibleFrame);

/// Dragging the main window by its background. Screen coordinates, y upwards.
/// A docked status-item window, and the window of every other kind, must be
/// pulled down more than 50 points before it moves; then it jumps to the
/// place under the mouse and follows it. A window dropped with its top edge
/// at or above the top of the visible frame asks to be hidden.
class WidgetDrag {
  public:
    /// A press in the window: the window's frame and the mouse now.
    void mouseDown(int windowKind, const RectF& windowFrame, PointF mouse,
                   const RectF& visibleFrame);
    /// One step of the drag with the mouse now: the new origin of the window,
    /// or nothing when it stays (also when no press began in the window).
    std::optional<PointF> moveWidgetWindow(PointF mouse);
    /// The release, with the window's frame now: true when the window is to
    /// be hidden.
    bool mouseUp(const RectF& windowFrame, const RectF& visibleFrame);

    bool mouseDownOccured() const { return mouseDownOccured_; }
    bool acceptMove() const { return acceptMove_; }

    /// How far down (points) the mouse must go before a held window moves.
    static constexpr float pullLimit = 50.0f;

  private:
    RectF initialWindowFrame_;
    PointF initialMouseLocation_;
    bool mouseDownOccured_ = false;
    bool acceptMove_ = false;
};

/// The one edge between these coordinates and Qt's: global Qt coordinates
/// (y downwards from the top of the primary screen) and ours (y upwards
/// from the bottom of the primary screen, whose height is given).
RectF rectFromScreen(const QRectF& rect, double primaryScreenHeight);
QRectF screenRectFromRect(const RectF& rect, double primaryScreenHeight);
PointF pointFromScreen(const QPointF& point, double primaryScreenHeight);

/// The primary screen's available area in our coordinates, and its height
/// for the conversions; a zero rectangle without a screen.
struct ScreenFrames {
    RectF visibleFrame;
    double primaryScreenHeight = 0.0;
};
ScreenFrames mainScreenFrames();

} // namespace slidebox::app
