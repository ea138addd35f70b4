// The controller: start-up, the list and its persistence, the table and its
// pictures, selection, Control-move and the switch by double click; adding,
// creating, removing and rescanning libraries, with the dialogs answered by
// the test through real clicks and keys.
// The slide view: index rules, the slider, the rate limiter shared by all
// viewers, the slide show and the library notification, driven with real
// clicks and timers; the viewer registry and its catalogue in the user
// defaults.
// The main window of each kind: the arithmetic in screen points with y
// upwards (where the status item kind's window is parked and docked, the drag
// of the background), then the real widgets: flags, the drag with Qt Test
// mouse events, closing, and the status item kind's slide, handle and menu.
// The application delegate: first launch, the change of window kind, the
// preferences, help and about windows, the home page; the string table
// "localized": English keys, French translations, and the fallback value
// when the table lacks a key; the quit signals reaching the event loop.
#include <csignal>

#include <QButtonGroup>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QSlider>
#include <QStatusBar>
#include <QTest>

#include "app/album_viewer.h"
#include "app/albums_manager.h"
#include "app/app_delegate.h"
#include "app/app_notifications.h"
#include "app/current_event.h"
#include "app/image_view.h"
#include "app/library_table_view.h"
#include "app/localized.h"
#include "app/quit_signal_handler.h"
#include "app/status_item.h"
#include "app/ui_window.h"
#include "app/window_geometry.h"
#include "app/window_kind.h"
#include "library/tests/support/library_fixtures.h"
#include "platform/plist_file.h"
#include "support/app_fixture.h"
#include "support/url_recorder.h"
#include "tests/known_value.h"
#include "tests/log_capture.h"

using namespace slidebox;
using namespace slidebox::app;
using namespace slidebox::platform;
using namespace slidebox::testing;
namespace fs = std::filesystem;

namespace {

// The viewers' clock, the windows and the delegate's string table, put back
// after each case.
class AppTest : public ControllerTest {
  protected:
    void TearDown() override {
        AlbumViewer::setClock(nullptr);
        removeLocalizedTable();
        ControllerTest::TearDown();
    }
    PhotoManagerPtr library(const std::string& name, int images) {
        return iPhotoAlbumManager::initWithAlbumPath(makeLibrary(name, images));
    }
    static void click(QAbstractButton* button) { QTest::mouseClick(button, Qt::LeftButton); }
    // The index, the number field and the slider, as one text.
    static std::string shown(AlbumViewer& viewer) {
        return std::to_string(viewer.currentPhotoIndex()) + " " +
               viewer.numberField()->text().toStdString() + " " +
               std::to_string(viewer.slider()->value());
    }

    double now = 1000.0;
    const fs::path temp = fixture.pictures();

    std::unique_ptr<AppDelegate> launch() {
        auto delegate = std::make_unique<AppDelegate>(fixture.context());
        delegate->applicationDidFinishLaunching();
        return delegate;
    }
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
using AlbumViewerTest = AppTest;
using WindowTest = AppTest;

TEST_F(ControllerTest, FirstStartSearchesPicturesListsAndShowsTheFirstRow) {
    const auto a = makeLibrary("A Library", 3);
    const auto b = makeLibrary("B Library", 2);
    fs::create_directories(fixture.pictures() / "Not a library" / "Data");
    auto controller = start();

    EXPECT_TRUE(controller->firstStart());
    EXPECT_EQ(fixture.context().userDefaults().objectForKey(firstStartDone), PlistValue(true));
    EXPECT_EQ(state(*controller), "2 0 A Library 1/3 2 Libraries");
    EXPECT_EQ(pathAt(*controller, 1), b.string());
    EXPECT_EQ(controller->albumNameField()->text(), "A Library");
    // The tool tips come after the list, so the name field shows its own
    // until the selection first changes; then it shows the path.
    EXPECT_EQ(controller->albumNameField()->toolTip(), "Name of the selected album (Folder name)");
    clickRow(*controller, 1);
    clickRow(*controller, 0);
    EXPECT_EQ(controller->albumNameField()->toolTip().toStdString(), a.string());
    EXPECT_TRUE(controller->hideButton()->isHidden()) << "kinds 0 and 1 put the hide button away";
    EXPECT_EQ(controller->window()->focusWidget(), controller->photoManagersTableView());

    // Only the very first controller of the first run has the flag.
    EXPECT_FALSE(UIController(1, fixture.context()).firstStart());
}

TEST_F(ControllerTest, StoredDefaultsOfTheWrongShapeLoseNothingValid) {
    const auto a = makeLibrary("A", 2);
    auto& defaults = fixture.context().userDefaults();
    for (const PlistValue& stored : {PlistValue("garbage"), PlistValue(PlistArray{})}) {
        defaults.setObject(photoAlbumDictionariesKey, stored);
        EXPECT_EQ(start()->numberOfPhotoManager(), 1) << "the search instead";
    }
    for (int stored : {-1, 1, 99}) {
        defaults.setObject(viewerCurrentPhotoManagerIndexKey, stored);
        EXPECT_EQ(state(*start()), "1 -1 - 0/0 1 Library") << stored;
    }
    auto valid = iPhotoAlbumManager::initWithAlbumPath(a);
    valid->stopLookAtModificationDate();
    defaults.setObject(photoAlbumDictionariesKey,
                       PlistArray{"not a dictionary", 42, *valid->dictionary(), PlistArray{}});
    defaults.setObject(viewerCurrentPhotoManagerIndexKey, "zero");
    defaults.setObject(viewerCurrentPhotoIndexKey, 1.9);
    EXPECT_EQ(state(*start()), "1 0 A 2/2 1 Library")
        << "a stored text reads as 0, a real is truncated";
}

TEST_F(ControllerTest, EmptyStartLookupsByIndexIdentityAndPathAndChangesWrittenSoon) {
    auto controller = start();
    EXPECT_EQ(state(*controller), "0 -1 - 0/0 0 Library");
    EXPECT_TRUE(controller->albumNameField()->text().isEmpty());
    for (QWidget* button : {controller->deleteButton(), controller->iPhotoButton(),
                            controller->rescanButton(), controller->albumViewer()->nextButton()})
        EXPECT_FALSE(button->isEnabled()) << button->objectName().toStdString();
    const auto file = fixture.context().userDefaults().filePath();
    const auto storedPaths = [&] {
        return storedLibraryPaths(readPlistFile(file).value_or(PlistDocument{}).root);
    };
    const auto a = makeLibrary("A", 1);
    const auto b = makeLibrary("B", 1);
    controller->newPhotoManagerWithPaths(std::vector<fs::path>{a}, true);
    EXPECT_TRUE(controller->rescanButton()->isEnabled() &&
                controller->albumViewer()->nextButton()->isEnabled());
    EXPECT_TRUE(QTest::qWaitFor([&] { return storedPaths() == std::vector{a.string()}; }, 3000));

    for (int index : {-2, -1, 1})
        EXPECT_EQ(controller->photoManagerAtIndex(index), nullptr) << index;
    auto stranger = iPhotoAlbumManager::initWithAlbumPath(a);
    stranger->stopLookAtModificationDate();
    EXPECT_EQ(controller->indexOfPhotoManager(stranger.get()), -1) << "by identity, not by path";
    controller->removePhotoManagerFromList(stranger.get());
    EXPECT_EQ(controller->numberOfPhotoManager(), 1);
    EXPECT_TRUE(controller->isAlbumPathAlreadyInList(a));
    EXPECT_FALSE(controller->isAlbumPathAlreadyInList(a.string() + "/")) << "no normalising";
    controller->selectPhotoManagerRow(5);
    EXPECT_EQ(controller->currentPhotoManagerIndex(), 0);
    // Removals outside the list do nothing; the count field takes the singular below two.
    controller->addPhotoManagerToList(iPhotoAlbumManager::initWithAlbumPath(b));
    for (int index : {2, -1})
        controller->removePhotoManagerAtIndex(index);
    EXPECT_EQ(controller->albumNumberField()->text(), "2 Libraries");
    controller->removePhotoManagerAtIndex(0);
    EXPECT_EQ(controller->albumNumberField()->text(), "1 Library");
    EXPECT_TRUE(QTest::qWaitFor([&] { return storedPaths() == std::vector{b.string()}; }, 3000));
}

TEST_F(ControllerTest, RowPictureIsTheDefaultImageFittedIntoACopyOfTheFilmStrip) {
    const auto a = makeLibrary("A", 2);
    makeJpeg(a / "Data" / "Roll" / "1.jpg", 120, 80, 72, 3);
    auto controller = start();
    controller->addPhotoManagerToList(
        iPhotoAlbumManager::initWithAlbumPath(makeLibrary("Empty", 0)));

    const QImage strip(QString::fromStdString((fixture.resources() / "FilmStrip.tif").string()));
    const QImage cell = controller->tableViewObjectValue(0);
    ASSERT_EQ(cell.size(), strip.size());
    // The fit itself is the drawing layer's: here, that the thumbnail lands
    // inside the frame (centre 42, 42 in Qt's downward y) and not above it.
    EXPECT_NE(cell.pixelColor(42, 42), strip.pixelColor(42, 42));
    EXPECT_EQ(cell.pixelColor(42, 12), strip.pixelColor(42, 12))
        << "above the thumbnail: film frame";
    EXPECT_EQ(controller->tableViewObjectValue(1).convertToFormat(QImage::Format_ARGB32),
              strip.convertToFormat(QImage::Format_ARGB32))
        << "a library without images shows the plain film strip, never drawn on";

    // The library's name goes with its picture, the whole path in the tool tip.
    const QModelIndex row = controller->photoManagersTableView()->model()->index(0, 0);
    EXPECT_EQ(row.data(Qt::DisplayRole).toString(), "A");
    EXPECT_EQ(row.data(Qt::ToolTipRole).toString().toStdString(), a.string());
    EXPECT_FALSE(row.data(Qt::DecorationRole).isNull()) << "the first column keeps its picture";
}

TEST_F(ControllerTest, OnlyAControlMovePicksTheLeftLibrarysPictureAndAllComesBackNextRun) {
    const auto a = makeLibrary("A", 5);
    const auto b = makeLibrary("B", 4);
    makeLibrary("C", 0);
    auto controller = start();
    const QImage before = controller->tableViewObjectValue(0);
    QTest::mouseClick(controller->albumViewer()->nextButton(), Qt::LeftButton);
    clickRow(*controller, 1);
    EXPECT_EQ(pathOnShow(*controller), b.string());
    EXPECT_EQ(controller->albumNameField()->text(), "B");
    QTest::keyClick(controller->photoManagersTableView(), Qt::Key_Up);
    EXPECT_EQ(pathOnShow(*controller), a.string());
    EXPECT_EQ(controller->photoManagerAtIndex(0)->defaultImageIndex(), 0) << "a plain move";

    QTest::mouseClick(controller->albumViewer()->nextButton(), Qt::LeftButton);
    QTest::mouseClick(controller->albumViewer()->nextButton(), Qt::LeftButton);
    ASSERT_EQ(controller->albumViewer()->currentPhotoIndex(), 2);
    QTest::keyClick(controller->photoManagersTableView(), Qt::Key_Down, Qt::ControlModifier);
    EXPECT_EQ(controller->currentPhotoManagerIndex(), 1);
    EXPECT_EQ(controller->photoManagerAtIndex(0)->defaultImageIndex(), 2);
    EXPECT_EQ(controller->photoManagerAtIndex(1)->defaultImageIndex(), 0)
        << "the arriving one is left alone";
    EXPECT_NE(controller->tableViewObjectValue(0), before) << "the row shows its new picture";

    // Control on the selected row keeps it selected.
    clickRow(*controller, 1, Qt::ControlModifier);
    EXPECT_EQ(controller->currentPhotoManagerIndex(), 1);

    // An empty library left with Control keeps -1.
    QTest::keyClick(controller->photoManagersTableView(), Qt::Key_Down);
    ASSERT_EQ(controller->currentPhotoManagerIndex(), 2);
    QTest::keyClick(controller->photoManagersTableView(), Qt::Key_Up, Qt::ControlModifier);
    EXPECT_EQ(controller->currentPhotoManagerIndex(), 1);
    EXPECT_EQ(controller->photoManagerAtIndex(2)->defaultImageIndex(), -1);

    // All of it comes back at the next run, the saved image winning over the
    // default one, and nothing is scanned.
    controller->albumViewer()->setCurrentPhotoIndex(2);
    NotificationCenter::defaultCenter().postNotificationName(applicationWillTerminateNotification,
                                                             nullptr);
    controller.reset();
    fixture.restart();
    makeLibrary("D", 1); // a library that a scan would find
    controller = start();
    EXPECT_FALSE(controller->firstStart());
    EXPECT_EQ(state(*controller), "3 1 B 3/4 3 Libraries");
    EXPECT_EQ(controller->photoManagerAtIndex(0)->defaultImageIndex(), 2);
    EXPECT_EQ(controller->photoManagerAtIndex(1)->defaultImageIndex(), 0);
    EXPECT_EQ(controller->albumViewer()->slider()->value(), 666) << "trunc(2 * 1000 / 3)";
}

TEST_F(ControllerTest, SwitchOnlyToWhatThePreferenceCanHoldAndEveryOutcomeIsSaid) {
    const auto a = makeLibrary("A", 1);
    const auto odd = makeLibrary("Caf\xe9", 1); // Latin-1, no UTF-8
    const auto plain = makeLibrary("Plain with blanks", 1);
    const auto file = fixture.iPhotoPreferenceFile();
    fs::create_directories(file.parent_path());
    ASSERT_TRUE(writePlistFile(file, PlistDictionary{{"RootDirectory", "/old"}}, PlistFormat::Xml));
    const std::string before = readFile(file);
    auto controller = start();
    const auto said = [&](int row, const char* message) {
        auto* table = controller->photoManagersTableView();
        const QPoint centre = table->visualRect(table->model()->index(row, 0)).center();
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, centre);
        QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, centre);
        EXPECT_TRUE(controller->statusLine()->currentMessage().contains(message)) << message;
        ASSERT_TRUE(fixture.context().switcher().waitUntilIdle(std::chrono::seconds(10)));
    };

    // A folder that is no library, or no longer there, is not switched to.
    ASSERT_TRUE(controller->iPhotoButton()->isEnabled());
    fs::remove(a / "Library6.iPhoto");
    EXPECT_TRUE(controller->iPhotoButton()->isEnabled())
        << "the button keeps its state until the next selection";
    QTest::mouseClick(controller->iPhotoButton(), Qt::LeftButton);
    EXPECT_TRUE(controller->statusLine()->currentMessage().contains("is not an iPhoto Library"));
    fs::remove_all(a);
    said(0, "is no longer on the disk");
    ASSERT_EQ(pathAt(*controller, 1), odd.string());
    said(1, "can't be written into iPhoto's preferences");
    EXPECT_EQ(readFile(file), before) << "refused: the file is untouched";

    // The fixture ships no scripts: the preference is set (the rest of the
    // file is the property-list layer's), nothing starts.
    said(2, "iPhoto was not found");
    EXPECT_EQ(*readPlistFile(file)->root["RootDirectory"].string(), plain.string());

    // A preference the rewrite can't give back faithfully: the switch thread
    // refuses it, and its reason reaches the status line.
    const std::string latin1 = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
                               "<plist version=\"1.0\"><dict><key>RootDirectory</key>"
                               "<string>/old</string></dict></plist>\n";
    writeFile(file, latin1);
    said(2, "");
    QCoreApplication::processEvents();
    EXPECT_TRUE(controller->statusLine()->currentMessage().contains("iPhoto was not switched to"))
        << controller->statusLine()->currentMessage().toStdString();
    EXPECT_EQ(readFile(file), latin1);
}

TEST_F(ControllerTest, AddedFoldersAddTheLibrariesFoundAndShowTheFirst) {
    makeLibrary("Home library", 1);
    const auto elsewhere = fixture.home() / "Elsewhere";
    const auto one = makeLibrary("One", 2, elsewhere);
    makeLibrary("Two", 1, elsewhere / "deeper");
    makeLibrary("Three", 1, elsewhere);
    auto controller = start();
    fixture.dialogs().folderAnswers.push_back(std::vector<fs::path>{elsewhere});
    QTest::mouseClick(controller->newButton(), Qt::LeftButton);

    EXPECT_EQ(fixture.dialogs().lastStartFolder.string(), fixture.pictures().string() + "/");
    EXPECT_EQ(state(*controller), "4 1 One 1/2 4 Libraries");
    EXPECT_EQ(pathAt(*controller, 1), one.string()) << "in the order they were found";

    // The same folder again, and a cancelled chooser, add nothing.
    fixture.dialogs().folderAnswers.push_back(std::vector<fs::path>{elsewhere});
    QTest::mouseClick(controller->newButton(), Qt::LeftButton);
    QTest::mouseClick(controller->newButton(), Qt::LeftButton);
    EXPECT_EQ(state(*controller), "4 1 One 1/2 4 Libraries");
    EXPECT_EQ(fixture.dialogs().folderCalls, 3);

    // Several folders at once.
    const auto a = makeLibrary("A", 1, fixture.home());
    const auto b = makeLibrary("B", 1, fixture.home());
    fixture.dialogs().folderAnswers.push_back(std::vector<fs::path>{b, a});
    QTest::mouseClick(controller->newButton(), Qt::LeftButton);
    EXPECT_EQ(state(*controller), "6 4 B 1/1 6 Libraries");
    EXPECT_EQ(pathAt(*controller, 5), a.string());
}

TEST_F(ControllerTest, CreateProposesFreeNumbersRefusesBadNamesAndSwitchesToTheNewFolder) {
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
            EXPECT_TRUE(!controller->libraryNameCreateButton()->isEnabled() &&
                        controller->libraryNameRefusalField()->isVisible() &&
                        !controller->libraryNameRefusalField()->text().isEmpty())
                << name.toStdString();
            QTest::keyClick(field, Qt::Key_Return);
            EXPECT_TRUE(dialog.isVisible()) << "Return does not confirm " << name.toStdString();
        }
        field->setText("Good name");
        EXPECT_TRUE(controller->libraryNameCreateButton()->isEnabled() &&
                    !controller->libraryNameRefusalField()->isVisible());
        QTest::mouseClick(controller->libraryNameCancelButton(), Qt::LeftButton);
        EXPECT_FALSE(dialog.isVisible());
    };
    QTest::mouseClick(controller->iPhotoNewAlbumButton(), Qt::LeftButton);
    EXPECT_TRUE(fs::is_empty(fixture.pictures()));
    fs::create_directories(fixture.pictures() / "iPhoto Library  1");
    fs::create_directories(fixture.pictures() / "iPhoto Library  2");
    writeFile(fixture.pictures() / "iPhoto Library  3", "a file is no folder");
    QTest::mouseClick(controller->iPhotoNewAlbumButton(), Qt::LeftButton);
    EXPECT_EQ(proposals, QStringList({"iPhoto Library  1", "iPhoto Library  3"})) << "two blanks";
    EXPECT_EQ(controller->libraryNameDialogChoice(), 0);
    EXPECT_EQ(controller->numberOfPhotoManager(), 0) << "cancelled: nothing added";
    EXPECT_FALSE(isDirectory(fixture.pictures() / "iPhoto Library  3"));
    EXPECT_FALSE(fs::exists(fixture.home() / "Escaped"));
    EXPECT_FALSE(fs::exists(fixture.home() / "Pictures_2"));

    // The Pictures folder is made when missing; a taken name gets numbers.
    fs::remove_all(fixture.pictures());
    const auto preference = fixture.iPhotoPreferenceFile();
    fs::create_directories(preference.parent_path());
    ASSERT_TRUE(writePlistFile(preference, PlistDictionary{{"RootDirectory", "/old"}, {"Other", 1}},
                               PlistFormat::Xml));
    fixture.dialogs().onModal = [&](QDialog&) {
        QTest::keyClick(controller->libraryNameTextField(), Qt::Key_Return);
    };
    QTest::mouseClick(controller->iPhotoNewAlbumButton(), Qt::LeftButton);

    const auto created = fixture.pictures() / "iPhoto Library  1";
    EXPECT_TRUE(isDirectory(created) && fs::is_empty(created));
    EXPECT_EQ(state(*controller), "1 0 iPhoto Library  1 0/0 1 Library");
    EXPECT_EQ(pathAt(*controller, 0), created.string());
    EXPECT_FALSE(controller->iPhotoButton()->isEnabled()) << "an empty folder is no library yet";
    ASSERT_TRUE(fixture.context().switcher().waitUntilIdle(std::chrono::seconds(10)));
    EXPECT_EQ(*readPlistFile(preference)->root["RootDirectory"].string(),
              created.string()); // switched without the test

    // A typed name that is taken gets numbers behind the whole path; a file
    // with the confirmed name makes it fail silently.
    fs::create_directories(fixture.pictures() / "Trip");
    fs::create_directories(fixture.pictures() / "Trip_2");
    writeFile(fixture.pictures() / "Taken", "file");
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
    EXPECT_TRUE(fs::is_regular_file(fixture.pictures() / "Taken"));
}

TEST_F(ControllerTest, RemovedAfterTheQuestionThePreviousRowTakesOver) {
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
    EXPECT_TRUE(fs::exists(fixture.pictures() / "D")) << "the folder stays on disk";

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

TEST_F(ControllerTest, RemoveNothingWithoutARowRescanThenTheOnlyLibraryGoesAndRemoveIsOff) {
    const auto a = makeLibrary("A", 3);
    fixture.context().userDefaults().setObject("AM_viewerCurrentPhotoManagerIndex", -1);
    auto controller = start();
    fixture.dialogs().alertAnswers.push_back(0);
    controller->deletePhotoManager(controller->deleteButton());
    EXPECT_EQ(controller->numberOfPhotoManager(), 1);

    // A rescan finds new images and resets the default image.
    clickRow(*controller, 0);
    controller->photoManagerAtIndex(0)->setDefaultImageIndex(2);
    makeJpeg(a / "Data" / "Roll" / "4.jpg");
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
    fs::create_directories(empty);
    fixture.dialogs().folderAnswers.push_back(std::vector<fs::path>{empty});
    QTest::mouseClick(controller->newButton(), Qt::LeftButton);
    EXPECT_EQ(controller->numberOfPhotoManager(), 0);
    EXPECT_TRUE(controller->deleteButton()->isEnabled());
    EXPECT_TRUE(controller->statusLine()->currentMessage().contains(
        QString::fromStdString(empty.string())));
}

TEST_F(AlbumViewerTest, WithoutLibraryOrImagesNothingIsShownAndOnlyWhatCanActIsEnabled) {
    AlbumViewer viewer;
    for (PhotoManagerPtr record : {PhotoManagerPtr(), library("Empty", 0)}) {
        viewer.setPhotoManager(record);
        EXPECT_EQ(shown(viewer), "-1 0/0 0");
        EXPECT_TRUE(viewer.nameField()->text().isEmpty() && viewer.imageView()->image().isNull());
        for (QWidget* control :
             std::initializer_list<QWidget*>{viewer.previousButton(), viewer.nextButton(),
                                             viewer.autoRepeatButton(), viewer.slider()})
            EXPECT_FALSE(control->isEnabled()) << control->objectName().toStdString();
        EXPECT_EQ(viewer.openFolderButton()->isEnabled(), record != nullptr)
            << "an empty library has a folder";
        // A show started otherwise can still be stopped; a step by the user ends it.
        viewer.autoImage(nullptr);
        ASSERT_TRUE(viewer.autoActive());
        EXPECT_TRUE(viewer.autoRepeatButton()->isEnabled());
        viewer.nextImage(viewer.nextButton());
        EXPECT_FALSE(viewer.autoActive() || viewer.autoRepeatButton()->isEnabled());
        viewer.previousImage(viewer.previousButton());
        EXPECT_EQ(shown(viewer), "-1 0/0 0");
    }
    viewer.setPhotoManager(library("One", 1));
    EXPECT_TRUE(viewer.nextButton()->isEnabled() && viewer.autoRepeatButton()->isEnabled());
}

TEST_F(AlbumViewerTest, StepsWrapTheIndexRuleWrapsAndTheSliderMapsBothWays) {
    AlbumViewer viewer;
    viewer.setPhotoManager(library("Four", 4));
    const struct {
        std::function<void()> action;
        const char* expected; // index, number field, slider
    } steps[] = {
        {[] {}, "0 1/4 0"},
        {[&] { click(viewer.previousButton()); }, "3 4/4 1000"},
        {[&] { click(viewer.nextButton()); }, "0 1/4 0"},
        {[&] { click(viewer.nextButton()); }, "1 2/4 333"}, // trunc(1 * 1000 / 3)
        // Any negative index is the last, the count and beyond the first; the slider stays.
        {[&] { viewer.setCurrentPhotoIndex(-7); }, "3 4/4 333"},
        {[&] { viewer.setCurrentPhotoIndex(4); }, "0 1/4 333"},
        {[&] { viewer.setCurrentPhotoIndex(2); }, "2 3/4 333"},
        {[&] { viewer.setSliderPosition(); }, "2 3/4 666"},
        // The user drags the slider: the slider's own signal picks the image.
        {[&] { viewer.slider()->setValue(400); }, "1 2/4 400"}, // trunc(3 * 400 / 1000)
        {[&] { QTest::keyClick(viewer.slider(), Qt::Key_End); }, "3 4/4 1000"},
    };
    for (const auto& step : steps) {
        step.action();
        EXPECT_EQ(shown(viewer), step.expected);
    }
    // One image stays on index zero.
    viewer.setPhotoManager(library("One", 1));
    click(viewer.nextButton());
    click(viewer.previousButton());
    EXPECT_EQ(shown(viewer) + " " + viewer.nameField()->text().toStdString(), "0 1/1 0 1.jpg");
}

TEST_F(AlbumViewerTest, LimiterAllowsOneStepInThreeTenthsOfASecondSharedByAllViewers) {
    AlbumViewer::setClock([this] { return now; });
    EXPECT_TRUE(AlbumViewer::doIt()) << "the first step of the process";
    now += 0.2;
    EXPECT_FALSE(AlbumViewer::doIt());
    now = 1000.0 + 0.3;
    EXPECT_FALSE(AlbumViewer::doIt()) << "0.3 s exactly is still too early";
    // A left button release always gets its step, and doesn't restart the wait.
    QPushButton button;
    QTest::mouseRelease(&button, Qt::LeftButton);
    EXPECT_TRUE(AlbumViewer::doIt());
    QTest::mouseRelease(&button, Qt::RightButton);
    EXPECT_FALSE(AlbumViewer::doIt()) << "only the left button";
    CurrentEvent::clear();
    now = 1000.0 + 0.3001;
    EXPECT_TRUE(AlbumViewer::doIt());

    // Keyboard shortcuts click the button from a timer, not a mouse release.
    AlbumViewer first, second;
    first.setPhotoManager(library("First", 5));
    second.setPhotoManager(library("Second", 5));
    // The second is held back by the step of the first.
    for (auto [viewer, wait, index] :
         {std::tuple{&first, 0.4, 1}, {&second, 0.1, 0}, {&second, 0.25, 1}}) {
        now += wait;
        viewer->nextImage(viewer);
        EXPECT_EQ(viewer->currentPhotoIndex(), index) << now;
    }

    // A click on mouse down within the limit stops the show but changes no image.
    click(second.autoRepeatButton());
    ASSERT_TRUE(second.autoActive() && second.autoRepeatButton()->isChecked());
    now += 0.1;
    QTest::mousePress(second.numberField(), Qt::LeftButton);
    second.nextImage(second.nextButton());
    EXPECT_FALSE(second.autoActive() || second.autoRepeatButton()->isChecked());
    EXPECT_EQ(second.currentPhotoIndex(), 1);
}

TEST_F(AlbumViewerTest, SlideShowStepsEverySixteenTenthsAndLosesTicksWithinTheLimit) {
    AlbumViewer viewer;
    viewer.setPhotoManager(library("Show", 3));
    click(viewer.autoRepeatButton());
    ASSERT_TRUE(viewer.autoActive());
    QTest::qWait(1000);
    EXPECT_EQ(viewer.currentPhotoIndex(), 0);
    QTest::qWait(900);
    EXPECT_EQ(viewer.currentPhotoIndex(), 1);
    AlbumViewer::setClock([this] { return now; });
    AlbumViewer::resetLastTime();
    AlbumViewer::doIt(); // a step just now
    viewer.slideShow();
    EXPECT_EQ(viewer.currentPhotoIndex(), 1) << "a tick within 0.3 s of a step is lost";
    EXPECT_TRUE(viewer.autoActive()) << "and the show goes on";
    click(viewer.autoRepeatButton());
    EXPECT_FALSE(viewer.autoActive());
}

TEST_F(AlbumViewerTest,
       ItsOwnLibrarysNotificationRereadsTheSliderAndTheSameLibraryAgainItsDefault) {
    AlbumViewer viewer;
    PhotoManagerPtr shownRecord = library("Shown", 10);
    const long references = shownRecord.use_count();
    viewer.setPhotoManager(shownRecord);
    viewer.setCurrentPhotoIndex(8);
    viewer.setSliderPosition();
    NotificationCenter::defaultCenter().postNotificationName(libraryModificationNotification,
                                                             library("Other", 3).get());
    EXPECT_EQ(shown(viewer), "8 9/10 888");
    // Half of the images go; the library notices and tells. The slider
    // stays where it stands: trunc(4 * 888 / 1000).
    for (int i : {6, 7, 8, 9, 10})
        fs::remove(temp / "Shown" / "Data" / "Roll" / (std::to_string(i) + ".jpg"));
    setModificationTime(temp / "Shown" / "Library6.iPhoto", 2000000000, 0);
    shownRecord->checkLibraryModificationDate();
    EXPECT_EQ(shown(viewer), "3 4/5 888");

    shownRecord->setDefaultImageIndex(2);
    viewer.setPhotoManager(shownRecord);
    EXPECT_EQ(viewer.currentPhotoIndex(), 2);
    EXPECT_EQ(shownRecord.use_count(), references + 1) << "the viewer holds one reference";
    shownRecord->stopLookAtModificationDate();
}

TEST_F(AlbumViewerTest, OpenFolderShowsTheLibraryAndTheMarkTogglesOnlyWhenSelectable) {
    UrlRecorder recorder("file");
    AlbumViewer viewer;
    click(viewer.openFolderButton());
    EXPECT_TRUE(recorder.urls.isEmpty()) << "no library, nothing to open";
    viewer.setPhotoManager(library("With blank", 1));
    click(viewer.openFolderButton());
    ASSERT_EQ(recorder.urls.size(), 1);
    EXPECT_EQ(recorder.urls.first().toLocalFile().toStdString(), (temp / "With blank").string());

    viewer.resize(340, 300);
    QTest::mouseClick(&viewer, Qt::LeftButton, {}, QPoint(2, 2));
    EXPECT_FALSE(viewer.viewSelected());
    viewer.setIsSelectable(true);
    QTest::mouseClick(&viewer, Qt::LeftButton, {}, QPoint(2, 2));
    EXPECT_TRUE(viewer.viewSelected());
    viewer.setIsSelectable(true);
    EXPECT_FALSE(viewer.viewSelected()) << "setIsSelectable clears the mark either way";
}

TEST(ImageView, LargerImagesAreScaledDownToFitSmallerOnesStayAtOnePointPerPixel) {
    const QSizeF view(400, 300);
    for (const auto& [image, expected] : std::initializer_list<std::pair<QSizeF, QRectF>>{
             {{1600, 300}, {0, 112.5, 400, 75}}, // too wide: a quarter, centred
             {{300, 600}, {125, 0, 150, 300}},   // too tall: half
             {{800, 900}, {66.6667, 0, 266.6667, 300}},
             {{100, 50}, {150, 125, 100, 50}}, // smaller: as it is, centred
             {{400, 300}, {0, 0, 400, 300}},
             {{0, 0}, {}}}) {
        const QRectF shown = ImageView::displayRect(image, view);
        EXPECT_TRUE(knownValues({expected.x(), expected.y(), expected.width(), expected.height()},
                                tolerance::kFourDecimals,
                                {shown.x(), shown.y(), shown.width(), shown.height()}))
            << image.width();
    }
}

TEST_F(AlbumViewerTest, AWideImageFitsTheViewAndTheLayoutStaysStillBetweenImages) {
    const auto images = libraryOf(6, temp / "Sizes", {"Roll"}, 2);
    makeJpeg(images[0], 1600, 300, 72, 1);
    makeJpeg(images[1], 20, 10, 300, 2);
    AlbumViewer viewer;
    viewer.resize(420, 360);
    viewer.show();
    viewer.setPhotoManager(iPhotoAlbumManager::initWithAlbumPath(temp / "Sizes"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return !viewer.isLoadingImage(); }));
    const QRect view = viewer.imageView()->geometry();
    const QRect slider = viewer.slider()->geometry();
    viewer.setCurrentPhotoIndex(1);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !viewer.isLoadingImage(); }));
    QTest::qWait(20); // any layout change would land now
    EXPECT_EQ(viewer.imageView()->imageRect().size(), QSizeF(20, 10))
        << "one point per pixel, whatever its dpi";
    EXPECT_EQ(viewer.imageView()->geometry(), view);
    EXPECT_EQ(viewer.slider()->geometry(), slider);
}

TEST_F(AlbumViewerTest, RegistryIndexesOutsideTheListAndStoredEntriesOfTheWrongShape) {
    AlbumsManager registry(fixture.context().userDefaults());
    EXPECT_EQ(registry.numberOfViewer(), 0);
    AlbumViewer* viewer = registry.newViewerAtFrame({10, 20, 300, 200});
    EXPECT_EQ(registry.numberOfViewer(), 1);
    EXPECT_EQ(registry.viewerAtIndex(0), viewer);
    for (int index : {-1, 1}) {
        EXPECT_EQ(registry.viewerAtIndex(index), nullptr);
        registry.removeViewerAtIndex(index);
    }
    EXPECT_EQ(registry.numberOfViewer(), 1);
    registry.loadAlbumOfFolder(makeLibrary("L", 2), 5);
    EXPECT_EQ(viewer->photoManager(), nullptr);
    registry.removeViewerAtIndex(0);
    EXPECT_EQ(registry.numberOfViewer(), 0);

    // Stored entries of the wrong shape give empty viewers.
    fixture.context().userDefaults().setObject(
        albumsCatalogKey, PlistArray{PlistDictionary{{viewerFrameKey, 12}},
                                     PlistDictionary{{viewerFrameKey, "{{1, 2}}"}}});
    AlbumsManager stored(fixture.context().userDefaults());
    ASSERT_EQ(stored.numberOfViewer(), 2);
    EXPECT_EQ(stored.viewerAtIndex(0)->geometry(), QRect(0, 0, 0, 0)) << "no frame: zero";
    EXPECT_EQ(shown(*stored.viewerAtIndex(1)), "-1 0/0 0") << "no library";
}

TEST_F(AlbumViewerTest, CatalogueComesBackWithFramesLibrariesAndStoredImages) {
    const auto a = makeLibrary("A", 9);
    {
        AlbumsManager registry(fixture.context().userDefaults());
        registry.newViewerAtFrame({0, 0, 100, 80}); // no library: left out
        registry.newViewerAtFrame({10, 20, 300, 200});
        registry.loadAlbumOfFolder(a, 1);
        registry.viewerAtIndex(1)->photoManager()->setDefaultImageIndex(2);
        registry.viewerAtIndex(1)->setPhotoManager(registry.viewerAtIndex(1)->photoManager());
        registry.viewerAtIndex(1)->setCurrentPhotoIndex(7);
        registry.newViewerAtFrame({5, 6, 120, 90});
        registry.loadAlbumOfFolder(makeLibrary("B", 3), 2);
        NotificationCenter::defaultCenter().postNotificationName(
            applicationWillTerminateNotification, nullptr);
    }
    const PlistArray* catalog =
        fixture.context().userDefaults().objectForKey(albumsCatalogKey).array();
    ASSERT_TRUE(catalog);
    ASSERT_EQ(catalog->size(), 2u);
    EXPECT_EQ(*(*catalog)[0][viewerFrameKey].string(), "{{10, 20}, {300, 200}}");
    EXPECT_EQ((*catalog)[0][viewerCurrentIndexKey].intValue(), 7);

    fixture.restart();
    AlbumsManager registry(fixture.context().userDefaults());
    ASSERT_EQ(registry.numberOfViewer(), 2);
    AlbumViewer* first = registry.viewerAtIndex(0);
    EXPECT_EQ(first->geometry(), QRect(10, 20, 300, 200));
    ASSERT_NE(first->photoManager(), nullptr);
    EXPECT_EQ(first->photoManager()->albumPath()->string(), a.string());
    EXPECT_EQ(first->photoManager()->defaultImageIndex(), 2);
    // The stored image wins over the default one; the slider stays at the
    // default image: trunc(2 * 1000 / 8).
    EXPECT_EQ(shown(*first), "7 8/9 250");
    EXPECT_EQ(registry.viewerAtIndex(1)->geometry(), QRect(5, 6, 120, 90));
}

TEST(WindowFlags, ComeFromTheKindTitledOnTopAndNeverWithACloseButton) {
    for (const auto& [kind, titledOnTop] : {std::pair<int, const char*>{floatingWindowKind, "11"},
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
    // Docked under the top edge, 10 points clear of the right edge.
    EXPECT_EQ(window->frameGeometry().topRight(), QPoint(area.right() - 10, area.top()));
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
    fixture.context().userDefaults().setObject(firstStartDone, true);
    for (const int kind : {floatingWindowKind, normalWindowKind}) {
        fixture.context().userDefaults().setObject(viewerWindowKind, kind);
        auto delegate = launch();
        UIController* controller = delegate->uiController();
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
    fixture.context().userDefaults().setObject(firstStartDone, true);
    auto delegate = launch();
    UIController* controller = delegate->uiController();
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
    EXPECT_TRUE(delegate->preferencesWindow()->isVisible() &&
                delegate->preferencesWindow()->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    QTest::mouseClick(delegate->preferencesButton(), Qt::LeftButton);
    EXPECT_FALSE(delegate->preferencesWindow()->isVisible() || controller->window()->isVisible())
        << "Done closes the preferences and brings nothing forward in this kind";
    QTest::mouseClick(handle, Qt::LeftButton);
    QTest::mouseClick(controller->hideButton(), Qt::LeftButton);
    EXPECT_FALSE(controller->window()->isVisible()) << "the hide button hides";
    EXPECT_NE(controller->statusItem()->handle(), nullptr) << "the way back stays";

    // Another kind takes the item and its handle away.
    delegate->windowKindMatrix()->button(floatingWindowKind)->click();
    EXPECT_TRUE(!delegate->uiController()->statusItem() &&
                delegate->uiController()->window()->isVisible());
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

TEST_F(WindowTest, FirstLaunchTakesTheFloatingKindAndAChosenKindIsRebuiltAndKept) {
    makeLibrary("A", 1);
    makeLibrary("B", 6);
    auto delegate = launch();
    EXPECT_EQ(AppDelegate::sharedDelegate(), delegate.get());
    ASSERT_NE(delegate->uiController(), nullptr);
    EXPECT_EQ(delegate->uiController()->windowKind(), 0);
    EXPECT_EQ(delegate->windowKindMatrix()->checkedId(), 0);
    UIWindow* mainWindow = delegate->uiController()->window();
    // The kind's flags; the main window carries the menus.
    EXPECT_TRUE(mainWindow->windowFlags().testFlag(Qt::WindowStaysOnTopHint) &&
                mainWindow->isVisible());
    EXPECT_FALSE(delegate->iPhotoIcon().isNull());
    EXPECT_TRUE(mainWindow->menuBar()->actions().size() == 2 && mainWindow->menuBar()->isVisible());
    const auto stored = readPlistFile(fixture.context().userDefaults().filePath());
    ASSERT_TRUE(stored);
    EXPECT_TRUE(stored->root[viewerWindowKind].isNull()) << "the registered default is not written";

    QWidget* preferences = delegate->preferencesWindow();
    delegate->preferencesAction()->trigger();
    delegate->helpAction()->trigger();
    // "Done" closes the preferences and brings the main window forward.
    delegate->uiController()->window()->hide();
    QTest::mouseClick(delegate->preferencesButton(), Qt::LeftButton);
    EXPECT_TRUE(!preferences->isVisible() && delegate->uiController()->window()->isVisible());

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
    EXPECT_FALSE(second->window()->windowFlags().testFlag(Qt::WindowStaysOnTopHint) ||
                 second->firstStart());
    EXPECT_EQ(state(*second), "2 1 B 5/6 2 Libraries");
    for (QWidget* window : {preferences, delegate->helpWindow()})
        EXPECT_TRUE(window->isVisible() &&
                    !window->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
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
    UrlRecorder https("https");
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

TEST_F(WindowTest, TextsWithoutATableInEnglishAndInFrench) {
    makeLibrary("A", 1);
    makeLibrary("B", 1);
    const auto tables = buildDir() / "share" / "slidebox" / "translations";
    const char *key = "Close the window or the application",
               *fallback = "Close the window/application";
    // Without a table: the key or its fallback value.
    EXPECT_EQ(localizedString("Libraries"), "Libraries");
    EXPECT_EQ(localizedString(key, fallback), fallback);
    auto controller = start();
    EXPECT_EQ(controller->hideButton()->toolTip(), fallback);

    // The English table holds every key.
    ASSERT_TRUE(installLocalizedTable(tables, QLocale(QLocale::English)));
    EXPECT_EQ(localizedString(key, fallback), key);
    EXPECT_EQ(localizedString("Not a key", "fallback"), "fallback");

    // The French one translates the controller's texts.
    ASSERT_TRUE(installLocalizedTable(tables, QLocale(QLocale::French, QLocale::France)));
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
