// The string table "localized": English keys, French translations, and the
// fallback value when the table lacks a key.
#include <gtest/gtest.h>

#include <QAction>
#include <QCoreApplication>
#include <QLabel>
#include <QPushButton>

#include "app/localized.h"
#include "app/status_item.h"
#include "support/controller_test.h"

using namespace slidebox::app;
using slidebox::testing::ControllerTest;

namespace {

std::filesystem::path tables() {
    return slidebox::testing::buildDir() / "share" / "slidebox" / "translations";
}

class LocalizedTest : public ControllerTest {
  protected:
    void TearDown() override {
        removeLocalizedTable();
        ControllerTest::TearDown();
    }
};

TEST_F(LocalizedTest, NoTableEnglishAndFrench) {
    makeLibrary("A", 1);
    makeLibrary("B", 1);
    // Without a table: the key or its fallback value.
    EXPECT_EQ(localizedString("Libraries"), "Libraries");
    EXPECT_EQ(
        localizedString("Close the window or the application", "Close the window/application"),
        "Close the window/application");
    auto controller = start();
    EXPECT_EQ(controller->hideButton()->toolTip(), "Close the window/application");
    EXPECT_EQ(controller->newButton()->toolTip(), "Add an existing Library into the List");

    // The English table holds every key.
    ASSERT_TRUE(installLocalizedTable(tables(), QLocale(QLocale::English)));
    EXPECT_EQ(
        localizedString("Close the window or the application", "Close the window/application"),
        "Close the window or the application");
    EXPECT_EQ(localizedString("Not a key", "fallback"), "fallback");

    // The French one translates the controller's texts.
    ASSERT_TRUE(installLocalizedTable(tables(), QLocale(QLocale::French, QLocale::France)));
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

} // namespace
