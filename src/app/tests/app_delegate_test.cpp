// The application delegate: first launch, the change of window kind, the
// preferences, help and about windows, the home page; the string table
// "localized": English keys, French translations, and the fallback value
// when the table lacks a key; the quit signals reaching the event loop.
#include <csignal>

#include <QAbstractButton>
#include <QAction>
#include <QButtonGroup>
#include <QGuiApplication>
#include <QLabel>
#include <QMenuBar>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>

#include "app/album_viewer.h"
#include "app/app_delegate.h"
#include "app/localized.h"
#include "app/quit_signal_handler.h"
#include "app/status_item.h"
#include "app/ui_window.h"
#include "platform/plist_file.h"
#include "support/app_fixture.h"
#include "support/url_recorder.h"
#include "tests/log_capture.h"

using namespace slidebox;
using namespace slidebox::app;
using namespace slidebox::testing;

namespace {

class AppDelegateTest : public ControllerTest {
  protected:
    void TearDown() override {
        removeLocalizedTable();
        ControllerTest::TearDown();
    }
    std::unique_ptr<AppDelegate> launch() {
        auto delegate = std::make_unique<AppDelegate>(fixture.context());
        delegate->applicationDidFinishLaunching();
        return delegate;
    }
};

TEST_F(AppDelegateTest, FirstLaunchTakesTheFloatingKindAndAChosenKindIsRebuiltAndKept) {
    makeLibrary("A", 1);
    makeLibrary("B", 6);
    auto delegate = launch();
    EXPECT_EQ(AppDelegate::sharedDelegate(), delegate.get());
    ASSERT_NE(delegate->uiController(), nullptr);
    EXPECT_EQ(delegate->uiController()->windowKind(), 0);
    EXPECT_EQ(delegate->windowKindMatrix()->checkedId(), 0);
    UIWindow* mainWindow = delegate->uiController()->window();
    EXPECT_TRUE(mainWindow->windowFlags().testFlag(Qt::WindowStaysOnTopHint)); // the kind's flags
    EXPECT_TRUE(mainWindow->isVisible());
    EXPECT_FALSE(delegate->iPhotoIcon().isNull());
    EXPECT_EQ(mainWindow->menuBar()->actions().size(), 2) << "the main window carries the menus";
    EXPECT_TRUE(mainWindow->menuBar()->isVisible());
    const auto stored = platform::readPlistFile(fixture.context().userDefaults().filePath());
    ASSERT_TRUE(stored);
    EXPECT_TRUE(stored->root[viewerWindowKind].isNull()) << "the registered default is not written";

    QWidget* preferences = delegate->preferencesWindow();
    delegate->preferencesAction()->trigger();
    delegate->helpAction()->trigger();
    // "Done" closes the preferences and brings the main window forward.
    delegate->uiController()->window()->hide();
    QTest::mouseClick(delegate->preferencesButton(), Qt::LeftButton);
    EXPECT_FALSE(preferences->isVisible());
    EXPECT_TRUE(delegate->uiController()->window()->isVisible());

    // Choosing a kind rebuilds the controller after the old one saved; a
    // normal main window has nothing floating above it, also what was opened
    // before the change.
    clickRow(*delegate->uiController(), 1);
    delegate->uiController()->albumViewer()->setCurrentPhotoIndex(4);
    delegate->preferencesAction()->trigger();
    delegate->windowKindMatrix()->button(1)->click();
    UIController* second = delegate->uiController();
    ASSERT_EQ(second->windowKind(), 1);
    EXPECT_EQ(fixture.context().userDefaults().objectForKey(viewerWindowKind).intValue(), 1);
    EXPECT_FALSE(second->window()->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_FALSE(second->firstStart());
    EXPECT_EQ(state(*second), "2 1 B 5/6 2 Libraries");
    for (QWidget* window : {preferences, delegate->helpWindow()}) {
        EXPECT_TRUE(window->isVisible());
        EXPECT_FALSE(window->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    }
    delegate->aboutAction()->trigger();
    EXPECT_FALSE(delegate->aboutWindow()->windowFlags().testFlag(Qt::WindowStaysOnTopHint));

    // Help and about are centred each time they open; the home page opens in the browser.
    const QPoint centre = QGuiApplication::primaryScreen()->availableGeometry().center();
    for (auto [action, window] : {std::pair{delegate->helpAction(), delegate->helpWindow()},
                                  {delegate->aboutAction(), delegate->aboutWindow()}}) {
        window->move(3, 3);
        action->trigger();
        EXPECT_LE((window->frameGeometry().center() - centre).manhattanLength(), 8)
            << "within the frame's margins";
    }
    slidebox::testing::UrlRecorder https("https");
    delegate->homePageAction()->trigger();
    ASSERT_EQ(https.urls.size(), 1);
    EXPECT_TRUE(https.urls.first().toString().endsWith("/softwares.html"));
    delegate.reset();
    EXPECT_EQ(AppDelegate::sharedDelegate(), nullptr);
    // A stored kind comes back at the next launch.
    fixture.restart();
    delegate = launch();
    EXPECT_EQ(delegate->uiController()->windowKind(), 1);
    EXPECT_EQ(delegate->windowKindMatrix()->checkedId(), 1);
}

TEST_F(AppDelegateTest, TextsWithoutATableInEnglishAndInFrench) {
    makeLibrary("A", 1);
    makeLibrary("B", 1);
    // Without a table: the key or its fallback value.
    EXPECT_EQ(localizedString("Libraries"), "Libraries");
    EXPECT_EQ(
        localizedString("Close the window or the application", "Close the window/application"),
        "Close the window/application");
    auto controller = start();
    EXPECT_EQ(controller->hideButton()->toolTip(), "Close the window/application");

    // The English table holds every key.
    ASSERT_TRUE(installLocalizedTable(buildDir() / "share" / "slidebox" / "translations",
                                      QLocale(QLocale::English)));
    EXPECT_EQ(
        localizedString("Close the window or the application", "Close the window/application"),
        "Close the window or the application");
    EXPECT_EQ(localizedString("Not a key", "fallback"), "fallback");

    // The French one translates the controller's texts.
    ASSERT_TRUE(installLocalizedTable(buildDir() / "share" / "slidebox" / "translations",
                                      QLocale(QLocale::French, QLocale::France)));
    controller.reset();
    controller = start();
    EXPECT_EQ(controller->albumNumberField()->text(), QString::fromUtf8("2 photothèques"));
    EXPECT_EQ(controller->hideButton()->toolTip(),
              QString::fromUtf8("Fermer la fenêtre ou l'application"));
    EXPECT_EQ(controller->deleteButton()->text(), "Retirer") << "texts of the interface file too";
    EXPECT_EQ(QCoreApplication::translate("QPlatformTheme", "&Yes"), "&Oui") << "and Qt's own";
    StatusItem item(QImage(), [] { return false; });
    EXPECT_EQ(item.quitAction()->text(), "Quitter Slidebox") << "and the status item's menu";
    controller->deletePhotoManager(nullptr);
    EXPECT_EQ(fixture.dialogs().lastAlert.value(3), "Retirer seulement la référence");
}

TEST(QuitSignalHandler, TermIntAndHangUpAreReceivedInTheEventLoopAndLogged) {
    LogCapture log;
    for (const int signalNumber : {SIGTERM, SIGINT, SIGHUP}) {
        QuitSignalHandler handler;
        QSignalSpy received(&handler, &QuitSignalHandler::quitSignalReceived);
        // The handler is there before the event loop is watched: a signal
        // during the start waits for it.
        ASSERT_TRUE(handler.isActive());
        std::raise(signalNumber);
        ASSERT_TRUE(handler.startWatching());
        ASSERT_TRUE(QTest::qWaitFor([&] { return !received.isEmpty(); }, 5000));
        EXPECT_EQ(received.value(0).value(0).toInt(), signalNumber);
        ASSERT_FALSE(log.lines.empty());
        EXPECT_NE(log.lines.back().find(QuitSignalHandler::signalName(signalNumber).toStdString()),
                  std::string::npos)
            << log.lines.back();
    }
}

} // namespace
