// The controller: start-up, the list and its persistence, the table and its
// pictures, selection, Control-move and the switch by double click.
#include <QLabel>
#include <QPushButton>
#include <QStatusBar>
#include <QTest>

#include "app/album_viewer.h"
#include "app/app_notifications.h"
#include "app/library_table_view.h"
#include "app/ui_window.h"
#include "library/tests/support/library_fixtures.h"
#include "platform/notification_center.h"
#include "platform/plist_file.h"
#include "support/app_fixture.h"

using namespace slidebox;
using namespace slidebox::app;
using namespace slidebox::testing;

namespace {

using ControllerStart = ControllerTest;

TEST_F(ControllerStart, FirstStartSearchesPicturesListsAndShowsTheFirstRow) {
    const auto a = makeLibrary("A Library", 3);
    const auto b = makeLibrary("B Library", 2);
    std::filesystem::create_directories(fixture.pictures() / "Not a library" / "Data");
    auto controller = start();

    EXPECT_TRUE(controller->firstStart());
    EXPECT_EQ(fixture.context().userDefaults().objectForKey(firstStartDone),
              platform::PlistValue(true));
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

TEST_F(ControllerStart, StoredDefaultsOfTheWrongShapeLoseNothingValid) {
    const auto a = makeLibrary("A", 2);
    auto& defaults = fixture.context().userDefaults();
    for (const platform::PlistValue& stored :
         {platform::PlistValue("garbage"), platform::PlistValue(platform::PlistArray{})}) {
        defaults.setObject(photoAlbumDictionariesKey, stored);
        EXPECT_EQ(start()->numberOfPhotoManager(), 1) << "the search instead";
    }
    for (int stored : {-1, 1, 99}) {
        defaults.setObject(viewerCurrentPhotoManagerIndexKey, stored);
        EXPECT_EQ(state(*start()), "1 -1 - 0/0 1 Library") << stored;
    }
    auto valid = iPhotoAlbumManager::initWithAlbumPath(a);
    valid->stopLookAtModificationDate();
    defaults.setObject(
        photoAlbumDictionariesKey,
        platform::PlistArray{"not a dictionary", 42, *valid->dictionary(), platform::PlistArray{}});
    defaults.setObject(viewerCurrentPhotoManagerIndexKey, "zero");
    defaults.setObject(viewerCurrentPhotoIndexKey, 1.9);
    EXPECT_EQ(state(*start()), "1 0 A 2/2 1 Library")
        << "a stored text reads as 0, a real is truncated";
}

using ControllerList = ControllerTest;

TEST_F(ControllerList, EmptyStartLookupsByIndexIdentityAndPathAndChangesWrittenSoon) {
    auto controller = start();
    EXPECT_EQ(state(*controller), "0 -1 - 0/0 0 Library");
    EXPECT_TRUE(controller->albumNameField()->text().isEmpty());
    for (QWidget* button : {controller->deleteButton(), controller->iPhotoButton(),
                            controller->rescanButton(), controller->albumViewer()->nextButton()})
        EXPECT_FALSE(button->isEnabled()) << button->objectName().toStdString();
    const auto file = fixture.context().userDefaults().filePath();
    const auto storedPaths = [&] {
        return storedLibraryPaths(
            platform::readPlistFile(file).value_or(platform::PlistDocument{}).root);
    };
    const auto a = makeLibrary("A", 1);
    const auto b = makeLibrary("B", 1);
    controller->newPhotoManagerWithPaths(std::vector<std::filesystem::path>{a}, true);
    EXPECT_TRUE(controller->rescanButton()->isEnabled());
    EXPECT_TRUE(controller->albumViewer()->nextButton()->isEnabled());
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

using ControllerTable = ControllerTest;

TEST_F(ControllerTable, RowPictureIsTheDefaultImageFittedIntoACopyOfTheFilmStrip) {
    const auto a = makeLibrary("A", 2);
    slidebox::testing::makeJpeg(a / "Data" / "Roll" / "1.jpg", 120, 80, 72, 3);
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

using ControllerSelection = ControllerTest;

TEST_F(ControllerSelection,
       OnlyAControlMovePicksThePictureOfTheLibraryBeingLeftAndAllIsRestoredNextRun) {
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
    platform::NotificationCenter::defaultCenter().postNotificationName(
        applicationWillTerminateNotification, nullptr);
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

using ControllerSwitch = ControllerTest;

TEST_F(ControllerSwitch,
       OnlyALibraryWhosePathThePreferenceCanHoldIsSwitchedToAndEveryOutcomeIsSaid) {
    const auto a = makeLibrary("A", 1);
    const auto odd = makeLibrary("Caf\xe9", 1); // Latin-1, no UTF-8
    const auto plain = makeLibrary("Plain with blanks", 1);
    const auto file = fixture.iPhotoPreferenceFile();
    std::filesystem::create_directories(file.parent_path());
    ASSERT_TRUE(platform::writePlistFile(file, platform::PlistDictionary{{"RootDirectory", "/old"}},
                                         platform::PlistFormat::Xml));
    const std::string before = slidebox::testing::readFile(file);
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
    std::filesystem::remove(a / "Library6.iPhoto");
    EXPECT_TRUE(controller->iPhotoButton()->isEnabled())
        << "the button keeps its state until the next selection";
    QTest::mouseClick(controller->iPhotoButton(), Qt::LeftButton);
    EXPECT_TRUE(controller->statusLine()->currentMessage().contains("is not an iPhoto Library"));
    std::filesystem::remove_all(a);
    said(0, "is no longer on the disk");
    ASSERT_EQ(pathAt(*controller, 1), odd.string());
    said(1, "can't be written into iPhoto's preferences");
    EXPECT_EQ(slidebox::testing::readFile(file), before) << "refused: the file is untouched";

    // The fixture ships no scripts: the preference is set (the rest of the
    // file is the property-list layer's), nothing starts.
    said(2, "iPhoto was not found");
    EXPECT_EQ(*platform::readPlistFile(file)->root["RootDirectory"].string(), plain.string());

    // A preference the rewrite can't give back faithfully: the switch thread
    // refuses it, and its reason reaches the status line.
    const std::string latin1 = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
                               "<plist version=\"1.0\"><dict><key>RootDirectory</key>"
                               "<string>/old</string></dict></plist>\n";
    slidebox::testing::writeFile(file, latin1);
    said(2, "");
    QCoreApplication::processEvents();
    EXPECT_TRUE(controller->statusLine()->currentMessage().contains("iPhoto was not switched to"))
        << controller->statusLine()->currentMessage().toStdString();
    EXPECT_EQ(slidebox::testing::readFile(file), latin1);
}

} // namespace
