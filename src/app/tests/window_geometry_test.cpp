// The window arithmetic in screen points with y upwards: where the status
// item kind's window is parked and docked, and the drag of the background.
#include <optional>
#include <vector>

#include <gtest/gtest.h>

#include "app/window_geometry.h"
#include "app/window_kind.h"

namespace slidebox::app {
// Failures print rectangles in their stored text form.
void PrintTo(const RectF& rect, std::ostream* out) {
    *out << stringFromRect(rect);
}
} // namespace slidebox::app

using namespace slidebox::app;

namespace {

TEST(StatusItemFrames, EdgesComeFromTheTruncatedSumsOfTheVisibleFrame) {
    // Truncation is towards zero, also left of or below the origin.
    const struct {
        RectF visible;
        float width, height;
        RectF parked;
    } rows[] = {
        {{0.5f, 40.25f, 1279.75f, 759.5f}, 400, 300, {870, 799, 400, 300}},
        {{-1024.5f, -0.75f, 1024.25f, 768.5f}, 400, 300, {-410, 767, 400, 300}},
        {{-2000.5f, 0, 500, 800.9f}, 300.5f, 200, {-1810.5f, 800, 300.5f, 200}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(stringFromRect(row.visible));
        EXPECT_EQ(statusItemHiddenFrame(row.visible, row.width, row.height), row.parked);
        RectF docked = row.parked;
        docked.y -= row.height;
        EXPECT_EQ(statusItemShownFrame(row.visible, row.width, row.height), docked);
    }
}

TEST(StatusItemFrames, QtRectanglesTurnAroundTheHeightOfThePrimaryScreen) {
    const RectF up = rectFromScreen(QRectF(10, 0, 100, 50), 800);
    EXPECT_EQ(up, (RectF{10, 750, 100, 50}));
    EXPECT_EQ(screenRectFromRect(up, 800), QRectF(10, 0, 100, 50));
    EXPECT_EQ(pointFromScreen(QPointF(5, 30), 800), (PointF{5, 770}));
}

TEST(WidgetDrag, PullLimitJumpAndDropFollowTheKindAndThePlace) {
    const RectF visible{0, 0, 1280, 776};
    const RectF docked{870, 476, 400, 300}; // top edge on the visible frame's top
    const RectF loose{870, 300, 400, 300};
    const PointF press{1000, 700};
    const struct {
        const char* name;
        int kind;
        RectF frame;
        bool pressed;
        std::vector<PointF> moves;
        std::optional<PointF> lastOrigin; // of the last step; nothing: the window stayed
        bool hides;
    } rows[] = {
        // clang-format off
        {"docked, 50.0 down stays", statusItemWindowKind, docked, true, {{1000, 650}}, std::nullopt, false},
        {"docked, 50.5 down jumps", statusItemWindowKind, docked, true, {{1000, 649.5f}}, PointF{870, 425.5f}, false},
        {"docked, sideways and up stay", statusItemWindowKind, docked, true, {{1500, 651}, {400, 900}}, std::nullopt, false},
        {"docked, pulled 60 and back hides", statusItemWindowKind, docked, true, {{1000, 640}, {1000, 700}}, PointF{870, 476}, true},
        {"docked click hides nothing", statusItemWindowKind, docked, true, {}, std::nullopt, false},
        {"loose moves at once", statusItemWindowKind, loose, true, {{1010, 699}}, PointF{880, 299}, false},
        {"loose, one point below the top stays", statusItemWindowKind, loose, true, {{1000, 875}}, PointF{870, 475}, false},
        {"loose, exactly at the top hides", statusItemWindowKind, loose, true, {{1000, 876}}, PointF{870, 476}, true},
        {"floating kind held like docked", floatingWindowKind, loose, true, {{1000, 650}}, std::nullopt, false},
        {"normal kind held, then follows", normalWindowKind, loose, true, {{1000, 649}, {1000, 700}}, PointF{870, 300}, false},
        {"unknown kind held", 3, loose, true, {{1000, 650}}, std::nullopt, false},
        {"no press, no move", statusItemWindowKind, loose, false, {{1000, 876}}, std::nullopt, false},
        // clang-format on
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        WidgetDrag drag;
        RectF frame = row.frame;
        if (row.pressed)
            drag.mouseDown(row.kind, frame, press, visible);
        std::optional<PointF> last;
        for (const PointF& mouse : row.moves) {
            last = drag.moveWidgetWindow(mouse);
            if (last) {
                frame.x = last->x;
                frame.y = last->y;
            }
        }
        EXPECT_EQ(last.has_value(), row.lastOrigin.has_value());
        if (last && row.lastOrigin) {
            EXPECT_TRUE(*last == *row.lastOrigin) << last->x << ", " << last->y;
        }
        EXPECT_EQ(drag.mouseUp(frame, visible), row.hides);
        EXPECT_FALSE(drag.mouseDownOccured());
        EXPECT_FALSE(drag.moveWidgetWindow({0, 0})) << "a drag after the release does nothing";
    }
}

TEST(RectStrings, RoundTripInTheShortestForm) {
    const RectF rect{-1.5f, 2.25f, 320.0f, 240.5f};
    EXPECT_EQ(stringFromRect(rect), "{{-1.5, 2.25}, {320, 240.5}}");
    EXPECT_EQ(rectFromString(stringFromRect(rect)), rect);
    EXPECT_EQ(rectFromString("{{1, 2}, {3}}"), RectF{});
    EXPECT_EQ(rectFromString(""), RectF{});
    const QRectF qt = toQtRect({12, 6, 60, 72}, 84);
    EXPECT_EQ(qt, QRectF(12, 6, 60, 72));
}

} // namespace
