// The main window of each kind: the arithmetic in screen points with y
// upwards (where the status item kind's window is parked and docked, the drag
// of the background), then the real widgets: flags, the drag with Qt Test
// mouse events, closing, and the status item kind's slide, handle and menu.
#include <optional>
#include <vector>

#include <QAction>
#include <QApplication>
#include <QButtonGroup>
#include <QCursor>
#include <QGuiApplication>
#include <QMenu>
#include <QPushButton>
#include <QScreen>
#include <QTest>
#include <QTimer>

#include "app/app_delegate.h"
#include "app/status_item.h"
#include "app/ui_window.h"
#include "app/window_geometry.h"
#include "app/window_kind.h"
#include "support/app_fixture.h"

using namespace slidebox::app;
using slidebox::testing::ControllerTest;

namespace {

class WindowTest : public ControllerTest {
  protected:
    static QRect available() { return QGuiApplication::primaryScreen()->availableGeometry(); }

    // The mouse goes there (global Qt coordinates) before the event says so:
    // the window reads where the mouse is now.
    static void press(UIWindow* window, QPoint global) {
        QCursor::setPos(global);
        QTest::mousePress(window, Qt::LeftButton, {}, window->mapFromGlobal(global));
    }
    static void moveTo(UIWindow* window, QPoint global) {
        QCursor::setPos(global);
        QTest::mouseMove(window, window->mapFromGlobal(global));
    }
    static void release(UIWindow* window, QPoint global, Qt::KeyboardModifiers keys = {}) {
        QTest::mouseRelease(window, Qt::LeftButton, keys, window->mapFromGlobal(global));
    }

    // Runs the event loop until the step ends it or a second has passed: the
    // loop's exit code (7 when nothing ended it).
    static int runLoopWith(const std::function<void()>& step) {
        QApplication::setQuitOnLastWindowClosed(false);
        QObject guard; // ends the timer with the loop
        QTimer::singleShot(1000, &guard, [] { QCoreApplication::exit(7); });
        QTimer::singleShot(0, step);
        return QCoreApplication::exec();
    }
};

TEST(WindowFlags, ComeFromTheKindTitledOnTopAndNeverWithACloseButton) {
    for (const auto& [kind, titledOnTop] :
         std::initializer_list<std::pair<int, const char*>>{{floatingWindowKind, "11"},
                                                            {normalWindowKind, "10"},
                                                            {statusItemWindowKind, "01"},
                                                            {3, "11"}}) {
        const Qt::WindowFlags flags = UIWindow::flagsForKind(kind);
        EXPECT_EQ(std::to_string(!flags.testFlag(Qt::FramelessWindowHint)) +
                      std::to_string(flags.testFlag(Qt::WindowStaysOnTopHint)),
                  titledOnTop)
            << kind;
        EXPECT_FALSE(flags.testFlag(Qt::WindowCloseButtonHint)) << kind;
    }
}

TEST_F(WindowTest, DockedWindowSlidesDownIsPulledLooseAndDocksAgainOnAScreenChange) {
    auto controller = start(statusItemWindowKind); // the very first start shows it
    UIWindow* window = controller->window();
    ASSERT_TRUE(window->isVisible());
    const QRect area = available();
    EXPECT_EQ(window->frameGeometry().top(), area.top()) << "docked under the top edge";
    EXPECT_EQ(window->frameGeometry().right(), area.right() - 10)
        << "10 points clear of the right edge";
    EXPECT_FALSE(controller->hideButton()->isHidden());

    const QPoint start = window->frameGeometry().center();
    controller->hideWindow(nullptr);
    EXPECT_FALSE(window->isVisible());

    // It slides down again, input waiting until it is there; a loose window
    // dropped one point below the top stays.
    bool slidingMidway = false;
    QTimer::singleShot(UIWindow::slideDuration / 2, [&] { slidingMidway = window->isSliding(); });
    controller->showWindow(nullptr);
    EXPECT_TRUE(slidingMidway);
    EXPECT_FALSE(window->isSliding());
    press(window, start);
    moveTo(window, start + QPoint(0, 120));
    moveTo(window, start + QPoint(0, 1));
    release(window, start + QPoint(0, 1));
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(window->frameGeometry().top(), area.top() + 1);

    // Docked again when the screen changes. The offscreen screen cannot be
    // resized; a window left above the area stands for one that the area's
    // top edge moved away from.
    window->move(window->x(), area.top() - window->height() - 40);
    emit QGuiApplication::primaryScreen()->availableGeometryChanged(area);
    EXPECT_EQ(window->frameGeometry().top(), area.top());
}

TEST_F(WindowTest, TitledKindsAreHeldLikeADockedWindowAndADropAtTheTopHidesWithAWayBack) {
    fixture.context().userDefaults().setObject(slidebox::app::firstStartDone, true);
    for (const int kind : {floatingWindowKind, normalWindowKind}) {
        fixture.context().userDefaults().setObject(viewerWindowKind, kind);
        AppDelegate delegate(fixture.context());
        delegate.applicationDidFinishLaunching();
        UIController* controller = delegate.uiController();
        UIWindow* window = controller->window();
        ASSERT_TRUE(window->isVisible()) << kind;
        EXPECT_EQ(controller->statusItem(), nullptr) << kind;
        const QPoint origin = window->pos();
        const QPoint start = window->mapToGlobal(QPoint(5, window->height() - 5));
        press(window, start);
        moveTo(window, start + QPoint(0, 51));
        EXPECT_EQ(window->pos(), origin + QPoint(0, 51)) << kind;
        moveTo(window, start - QPoint(0, origin.y() + 10)); // the top edge above the area's
        ASSERT_LT(window->frameGeometry().top(), available().top());
        release(window, start);
        EXPECT_FALSE(window->isVisible()) << kind;

        // A stand-in item brings the window back, and goes with its return.
        ASSERT_NE(controller->statusItem(), nullptr) << kind;
        controller->statusItem()->stopWaitingForTray();
        ASSERT_NE(controller->statusItem()->handle(), nullptr) << kind;
        QTest::mouseClick(controller->statusItem()->handle(), Qt::LeftButton);
        EXPECT_TRUE(window->isVisible()) << kind;
        QCoreApplication::processEvents();
        EXPECT_EQ(controller->statusItem(), nullptr) << kind;
    }
}

TEST_F(WindowTest, CloseQuitsTheTitledKindsAndAltHideQuitsTheStatusItemKind) {
    auto titled = start(floatingWindowKind);
    EXPECT_EQ(runLoopWith([&] { titled->window()->close(); }), 0);
    EXPECT_TRUE(titled->window()->isVisible())
        << "the program ends, the window was not closed on its own";
    EXPECT_EQ(runLoopWith([&] { titled->hideWindow(nullptr); }), 7)
        << "hiding a titled kind never quits";
    titled.reset();

    auto docked = start(statusItemWindowKind);
    EXPECT_EQ(runLoopWith([&] { docked->window()->close(); }), 7) << "no quit";
    EXPECT_FALSE(docked->window()->isVisible());
    docked->showWindow(nullptr);
    EXPECT_EQ(runLoopWith([&] {
                  QTest::mouseClick(docked->hideButton(), Qt::LeftButton, Qt::AltModifier);
              }),
              0);
    EXPECT_FALSE(docked->window()->isVisible()) << "the slide ends before the quit";
}

TEST_F(WindowTest, WithoutATrayAHandleAtTheTopEdgeTogglesTheWindowAndOffersTheMenu) {
    fixture.context().userDefaults().setObject(viewerWindowKind, int(statusItemWindowKind));
    fixture.context().userDefaults().setObject(slidebox::app::firstStartDone, true);
    AppDelegate delegate(fixture.context());
    delegate.applicationDidFinishLaunching();
    UIController* controller = delegate.uiController();
    ASSERT_NE(controller->statusItem(), nullptr);
    EXPECT_FALSE(controller->window()->isVisible()) << "a later start shows nothing but the item";
    EXPECT_EQ(controller->statusItemImage().size(), QSize(16, 16));

    controller->statusItem()->stopWaitingForTray(); // the offscreen platform has no tray
    StatusItemHandle* handle = controller->statusItem()->handle();
    ASSERT_NE(handle, nullptr);
    EXPECT_TRUE(handle->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_EQ(handle->geometry().top(), available().top());

    QTest::mouseClick(handle, Qt::LeftButton);
    EXPECT_TRUE(controller->window()->isVisible());
    emit controller->statusItem()->menu()->aboutToShow();
    EXPECT_EQ(controller->statusItem()->showHideAction()->text(), "Hide Slidebox");
    QTest::mouseClick(handle, Qt::LeftButton);
    EXPECT_FALSE(controller->window()->isVisible());

    controller->statusItem()->preferencesAction()->trigger();
    EXPECT_TRUE(delegate.preferencesWindow()->isVisible());
    EXPECT_TRUE(delegate.preferencesWindow()->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    QTest::mouseClick(delegate.preferencesButton(), Qt::LeftButton);
    EXPECT_FALSE(delegate.preferencesWindow()->isVisible()) << "Done closes the preferences";
    EXPECT_FALSE(controller->window()->isVisible()) << "and brings nothing forward in this kind";
    QTest::mouseClick(handle, Qt::LeftButton);
    QTest::mouseClick(controller->hideButton(), Qt::LeftButton);
    EXPECT_FALSE(controller->window()->isVisible()) << "the hide button hides";
    EXPECT_NE(controller->statusItem()->handle(), nullptr) << "the way back stays";

    // Another kind takes the item and its handle away.
    delegate.windowKindMatrix()->button(floatingWindowKind)->click();
    EXPECT_EQ(delegate.uiController()->statusItem(), nullptr);
    EXPECT_TRUE(delegate.uiController()->window()->isVisible());
}

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
        EXPECT_EQ(last, row.lastOrigin);
        EXPECT_EQ(drag.mouseUp(frame, visible), row.hides);
        EXPECT_FALSE(drag.mouseDownOccured());
        EXPECT_FALSE(drag.moveWidgetWindow({0, 0})) << "a drag after the release does nothing";
    }
}

TEST(RectConversions, StringsRoundTripShortestAndQtRectanglesTurnAroundTheScreenHeight) {
    const RectF rect{-1.5f, 2.25f, 320.0f, 240.5f};
    EXPECT_EQ(stringFromRect(rect), "{{-1.5, 2.25}, {320, 240.5}}");
    EXPECT_EQ(rectFromString(stringFromRect(rect)), rect);
    for (const char* bad : {"{{1, 2}, {3}}", ""})
        EXPECT_EQ(rectFromString(bad), RectF{});
    EXPECT_EQ(toQtRect({12, 6, 60, 72}, 84), QRectF(12, 6, 60, 72));
    const RectF up = rectFromScreen(QRectF(10, 0, 100, 50), 800);
    EXPECT_EQ(up, (RectF{10, 750, 100, 50}));
    EXPECT_EQ(screenRectFromRect(up, 800), QRectF(10, 0, 100, 50));
    EXPECT_EQ(pointFromScreen(QPointF(5, 30), 800), (PointF{5, 770}));
}

} // namespace
