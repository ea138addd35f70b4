// Adding, creating, removing and rescanning libraries, with the dialogs
// answered by the test through real clicks and keys.
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStatusBar>
#include <QTest>

#include "app/album_viewer.h"
#include "app/library_table_view.h"
#include "library/tests/support/library_fixtures.h"
#include "platform/file_system.h"
#include "platform/plist_file.h"
#include "support/app_fixture.h"

using namespace slidebox;
using namespace slidebox::app;
using slidebox::testing::ControllerTest;

namespace {

using AddLibraries = ControllerTest;

TEST_F(AddLibraries, FoldersAddTheLibrariesFoundAndShowTheFirst) {
    makeLibrary("Home library", 1);
    const auto elsewhere = fixture.home() / "Elsewhere";
    const auto one = makeLibrary("One", 2, elsewhere);
    makeLibrary("Two", 1, elsewhere / "deeper");
    makeLibrary("Three", 1, elsewhere);
    auto controller = start();
    fixture.dialogs().folderAnswers.push_back(std::vector<std::filesystem::path>{elsewhere});
    QTest::mouseClick(controller->newButton(), Qt::LeftButton);

    EXPECT_EQ(fixture.dialogs().lastStartFolder.string(), fixture.pictures().string() + "/");
    EXPECT_EQ(state(*controller), "4 1 One 1/2 4 Libraries");
    EXPECT_EQ(pathAt(*controller, 1), one.string()) << "in the order they were found";

    // The same folder again, and a cancelled chooser, add nothing.
    fixture.dialogs().folderAnswers.push_back(std::vector<std::filesystem::path>{elsewhere});
    QTest::mouseClick(controller->newButton(), Qt::LeftButton);
    QTest::mouseClick(controller->newButton(), Qt::LeftButton);
    EXPECT_EQ(state(*controller), "4 1 One 1/2 4 Libraries");
    EXPECT_EQ(fixture.dialogs().folderCalls, 3);

    // Several folders at once.
    const auto a = makeLibrary("A", 1, fixture.home());
    const auto b = makeLibrary("B", 1, fixture.home());
    fixture.dialogs().folderAnswers.push_back(std::vector<std::filesystem::path>{b, a});
    QTest::mouseClick(controller->newButton(), Qt::LeftButton);
    EXPECT_EQ(state(*controller), "6 4 B 1/1 6 Libraries");
    EXPECT_EQ(pathAt(*controller, 5), a.string());
}

using CreateLibrary = ControllerTest;

TEST_F(CreateLibrary, ProposalsSkipTakenNumbersBadNamesAreRefusedAndTheNewFolderIsSwitchedTo) {
    auto controller = start();
    QStringList proposals;
    fixture.dialogs().onModal = [&](QDialog& dialog) {
        QLineEdit* field = controller->libraryNameTextField();
        proposals << field->text();
        for (const QString& name :
             QStringList{"", ".", "..", "x/y", "../Escaped", QString(256, 'a')}) {
            field->selectAll();
            QTest::keyClick(field, Qt::Key_Backspace);
            QTest::keyClicks(field, name);
            EXPECT_FALSE(controller->libraryNameCreateButton()->isEnabled()) << name.toStdString();
            EXPECT_FALSE(controller->libraryNameRefusalField()->text().isEmpty());
            EXPECT_TRUE(controller->libraryNameRefusalField()->isVisible());
            QTest::keyClick(field, Qt::Key_Return);
            EXPECT_TRUE(dialog.isVisible()) << "Return does not confirm " << name.toStdString();
        }
        field->setText("Good name");
        EXPECT_TRUE(controller->libraryNameCreateButton()->isEnabled());
        EXPECT_FALSE(controller->libraryNameRefusalField()->isVisible());
        QTest::mouseClick(controller->libraryNameCancelButton(), Qt::LeftButton);
        EXPECT_FALSE(dialog.isVisible());
    };
    QTest::mouseClick(controller->iPhotoNewAlbumButton(), Qt::LeftButton);
    EXPECT_TRUE(std::filesystem::is_empty(fixture.pictures()));
    std::filesystem::create_directories(fixture.pictures() / "iPhoto Library  1");
    std::filesystem::create_directories(fixture.pictures() / "iPhoto Library  2");
    slidebox::testing::writeFile(fixture.pictures() / "iPhoto Library  3", "a file is no folder");
    QTest::mouseClick(controller->iPhotoNewAlbumButton(), Qt::LeftButton);
    EXPECT_EQ(proposals, QStringList({"iPhoto Library  1", "iPhoto Library  3"})) << "two blanks";
    EXPECT_EQ(controller->libraryNameDialogChoice(), 0);
    EXPECT_EQ(controller->numberOfPhotoManager(), 0) << "cancelled: nothing added";
    EXPECT_FALSE(platform::isDirectory(fixture.pictures() / "iPhoto Library  3"));
    EXPECT_FALSE(std::filesystem::exists(fixture.home() / "Escaped"));
    EXPECT_FALSE(std::filesystem::exists(fixture.home() / "Pictures_2"));

    // The Pictures folder is made when missing; a taken name gets numbers.
    std::filesystem::remove_all(fixture.pictures());
    const auto preference = fixture.iPhotoPreferenceFile();
    std::filesystem::create_directories(preference.parent_path());
    ASSERT_TRUE(platform::writePlistFile(
        preference, platform::PlistDictionary{{"RootDirectory", "/old"}, {"Other", 1}},
        platform::PlistFormat::Xml));
    fixture.dialogs().onModal = [&](QDialog&) {
        QTest::keyClick(controller->libraryNameTextField(), Qt::Key_Return);
    };
    QTest::mouseClick(controller->iPhotoNewAlbumButton(), Qt::LeftButton);

    const auto created = fixture.pictures() / "iPhoto Library  1";
    EXPECT_TRUE(platform::isDirectory(created));
    EXPECT_TRUE(std::filesystem::is_empty(created));
    EXPECT_EQ(state(*controller), "1 0 iPhoto Library  1 0/0 1 Library");
    EXPECT_EQ(pathAt(*controller, 0), created.string());
    EXPECT_FALSE(controller->iPhotoButton()->isEnabled()) << "an empty folder is no library yet";
    ASSERT_TRUE(fixture.context().switcher().waitUntilIdle(std::chrono::seconds(10)));
    const auto after = platform::readPlistFile(preference);
    EXPECT_EQ(*after->root["RootDirectory"].string(), created.string())
        << "switched without the test";

    // A typed name that is taken gets numbers behind the whole path; a file
    // with the confirmed name makes it fail silently.
    std::filesystem::create_directories(fixture.pictures() / "Trip");
    std::filesystem::create_directories(fixture.pictures() / "Trip_2");
    slidebox::testing::writeFile(fixture.pictures() / "Taken", "file");
    QString typed = "Trip";
    fixture.dialogs().onModal = [&](QDialog&) {
        QLineEdit* field = controller->libraryNameTextField();
        field->selectAll();
        QTest::keyClicks(field, typed);
        QTest::mouseClick(controller->libraryNameCreateButton(), Qt::LeftButton);
    };
    QTest::mouseClick(controller->iPhotoNewAlbumButton(), Qt::LeftButton);
    EXPECT_EQ(controller->libraryNameDialogChoice(), 1);
    ASSERT_EQ(controller->numberOfPhotoManager(), 2);
    EXPECT_EQ(pathAt(*controller, 1), (fixture.pictures() / "Trip_2_3").string());
    typed = "Taken";
    QTest::mouseClick(controller->iPhotoNewAlbumButton(), Qt::LeftButton);
    EXPECT_EQ(controller->numberOfPhotoManager(), 2);
    EXPECT_TRUE(std::filesystem::is_regular_file(fixture.pictures() / "Taken"));
}

using RemoveLibrary = ControllerTest;

TEST_F(RemoveLibrary, ThePreviousRowTakesOverAfterTheQuestion) {
    for (const char* name : {"A", "B", "C", "D", "E"})
        makeLibrary(name, 1);
    auto controller = start();
    clickRow(*controller, 3);
    const auto removed = controller->photoManagerAtIndex(3);

    fixture.dialogs().alertAnswers.push_back(1); // "Keep Library"
    QTest::mouseClick(controller->deleteButton(), Qt::LeftButton);
    EXPECT_EQ(controller->numberOfPhotoManager(), 5);
    EXPECT_EQ(fixture.dialogs().lastAlert,
              QStringList({"Remove Library's reference",
                           "Do you want to remove the Library's reference ?", "Keep Library",
                           "Remove Only Reference"}));

    fixture.dialogs().alertAnswers.push_back(0); // "Remove Only Reference"
    QTest::mouseClick(controller->deleteButton(), Qt::LeftButton);
    EXPECT_EQ(state(*controller), "4 2 C 1/1 4 Libraries");
    EXPECT_EQ(controller->indexOfPhotoManager(removed.get()), -1);
    EXPECT_TRUE(std::filesystem::exists(fixture.pictures() / "D")) << "the folder stays on disk";

    clickRow(*controller, 0);
    fixture.dialogs().alertAnswers.push_back(0);
    QTest::mouseClick(controller->deleteButton(), Qt::LeftButton);
    // No previous row: the viewer is empty, no row is marked, and a click
    // on the first row shows it.
    EXPECT_EQ(state(*controller), "3 -1 - 0/0 3 Libraries");
    EXPECT_TRUE(controller->deleteButton()->isEnabled());
    clickRow(*controller, 0);
    EXPECT_EQ(controller->albumViewer()->photoManager(), controller->photoManagerAtIndex(0));
}

TEST_F(RemoveLibrary, NothingWithoutASelectedRowARescanThenTheOnlyLibraryGoesAndRemoveIsOff) {
    const auto a = makeLibrary("A", 3);
    fixture.context().userDefaults().setObject("AM_viewerCurrentPhotoManagerIndex", -1);
    auto controller = start();
    fixture.dialogs().alertAnswers.push_back(0);
    controller->deletePhotoManager(controller->deleteButton());
    EXPECT_EQ(controller->numberOfPhotoManager(), 1);

    // A rescan finds new images and resets the default image.
    clickRow(*controller, 0);
    controller->photoManagerAtIndex(0)->setDefaultImageIndex(2);
    slidebox::testing::makeJpeg(a / "Data" / "Roll" / "4.jpg");
    QTest::mouseClick(controller->rescanButton(), Qt::LeftButton);
    EXPECT_EQ(state(*controller), "1 0 A 1/4 1 Library");
    EXPECT_EQ(controller->photoManagerAtIndex(0)->defaultImageIndex(), 0);

    // Removing the only library empties the viewer and disables Remove.
    fixture.dialogs().alertAnswers.push_back(0);
    QTest::mouseClick(controller->deleteButton(), Qt::LeftButton);
    EXPECT_EQ(state(*controller), "0 -1 - 0/0 0 Library");
    EXPECT_FALSE(controller->deleteButton()->isEnabled());

    // A folder without libraries enables Remove all the same, and the status line says why.
    const auto empty = fixture.home() / "Nothing here";
    std::filesystem::create_directories(empty);
    fixture.dialogs().folderAnswers.push_back(std::vector<std::filesystem::path>{empty});
    QTest::mouseClick(controller->newButton(), Qt::LeftButton);
    EXPECT_EQ(controller->numberOfPhotoManager(), 0);
    EXPECT_TRUE(controller->deleteButton()->isEnabled());
    EXPECT_TRUE(controller->statusLine()->currentMessage().contains(
        QString::fromStdString(empty.string())));
}

} // namespace
