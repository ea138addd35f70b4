// The main window of each kind on the real widgets: flags, the drag of
// its background with Qt Test mouse events, closing, and the status item
// kind's slide, handle and menu.
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
        QTimer guard;
        guard.setSingleShot(true);
        QObject::connect(&guard, &QTimer::timeout, [] { QCoreApplication::exit(7); });
        guard.start(1000);
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

TEST_F(WindowTest, DockedWindowSlidesDownIsPulledLooseAndHidesWhenDroppedBack) {
    auto controller = start(statusItemWindowKind); // the very first start shows it
    UIWindow* window = controller->window();
    ASSERT_TRUE(window->isVisible());
    const QRect area = available();
    EXPECT_EQ(window->frameGeometry().top(), area.top()) << "docked under the top edge";
    EXPECT_EQ(window->frameGeometry().right(), area.right() - 10)
        << "10 points clear of the right edge";
    EXPECT_FALSE(controller->hideButton()->isHidden());

    const QPoint start = window->frameGeometry().center();
    const QPoint docked = window->pos();
    press(window, start);
    moveTo(window, start + QPoint(30, 51));
    EXPECT_EQ(window->pos(), docked + QPoint(30, 51)) << "past the limit: the whole offset at once";
    moveTo(window, start);
    EXPECT_EQ(window->pos(), docked) << "it follows back up";
    release(window, start);
    EXPECT_FALSE(window->isVisible()) << "dropped on the top edge: hidden";

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

} // namespace
