// The slide view: index rules, the slider, the rate limiter shared by all
// viewers, the slide show and the library notification, driven with real
// clicks and timers; the viewer registry and its catalogue in the user
// defaults.
#include <gtest/gtest.h>

#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QTest>

#include "app/album_viewer.h"
#include "app/albums_manager.h"
#include "app/app_notifications.h"
#include "app/current_event.h"
#include "app/image_view.h"
#include "library/tests/support/library_fixtures.h"
#include "platform/notification_center.h"
#include "support/app_fixture.h"
#include "support/url_recorder.h"
#include "tests/known_value.h"

using namespace slidebox;
using namespace slidebox::app;
using namespace slidebox::testing;

namespace {

class AlbumViewerTest : public ControllerTest {
  protected:
    void TearDown() override {
        AlbumViewer::setClock(nullptr);
        ControllerTest::TearDown();
    }
    void useFakeClock() {
        AlbumViewer::setClock([this] { return now; });
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
    const std::filesystem::path temp = fixture.pictures();
};

TEST_F(AlbumViewerTest, WithoutLibraryOrImagesNothingIsShownAndOnlyWhatCanActIsEnabled) {
    AlbumViewer viewer;
    for (PhotoManagerPtr record : {PhotoManagerPtr(), library("Empty", 0)}) {
        viewer.setPhotoManager(record);
        EXPECT_EQ(shown(viewer), "-1 0/0 0");
        EXPECT_TRUE(viewer.nameField()->text().isEmpty());
        EXPECT_TRUE(viewer.imageView()->image().isNull());
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
        EXPECT_FALSE(viewer.autoActive());
        EXPECT_FALSE(viewer.autoRepeatButton()->isEnabled());
        viewer.previousImage(viewer.previousButton());
        EXPECT_EQ(shown(viewer), "-1 0/0 0");
    }
    viewer.setPhotoManager(library("One", 1));
    EXPECT_TRUE(viewer.nextButton()->isEnabled());
    EXPECT_TRUE(viewer.autoRepeatButton()->isEnabled());
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
    EXPECT_EQ(shown(viewer), "0 1/1 0");
    EXPECT_EQ(viewer.nameField()->text(), "1.jpg");
}

TEST_F(AlbumViewerTest, LimiterAllowsOneStepInThreeTenthsOfASecondSharedByAllViewers) {
    useFakeClock();
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
    now += 0.4;
    first.nextImage(&first);
    EXPECT_EQ(first.currentPhotoIndex(), 1);
    now += 0.1;
    second.nextImage(&second);
    EXPECT_EQ(second.currentPhotoIndex(), 0) << "held back by the step of the other viewer";
    now += 0.25;
    second.nextImage(&second);
    EXPECT_EQ(second.currentPhotoIndex(), 1);

    // A click on mouse down within the limit stops the show but changes no image.
    click(second.autoRepeatButton());
    ASSERT_TRUE(second.autoActive() && second.autoRepeatButton()->isChecked());
    now += 0.1;
    QTest::mousePress(second.numberField(), Qt::LeftButton);
    second.nextImage(second.nextButton());
    EXPECT_FALSE(second.autoActive());
    EXPECT_FALSE(second.autoRepeatButton()->isChecked());
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
    useFakeClock();
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
    platform::NotificationCenter::defaultCenter().postNotificationName(
        libraryModificationNotification, library("Other", 3).get());
    EXPECT_EQ(shown(viewer), "8 9/10 888");
    // Half of the images go; the library notices and tells. The slider
    // stays where it stands: trunc(4 * 888 / 1000).
    for (int i : {6, 7, 8, 9, 10})
        std::filesystem::remove(temp / "Shown" / "Data" / "Roll" / (std::to_string(i) + ".jpg"));
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
        albumsCatalogKey,
        platform::PlistArray{platform::PlistDictionary{{viewerFrameKey, 12}},
                             platform::PlistDictionary{{viewerFrameKey, "{{1, 2}}"}}});
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
        platform::NotificationCenter::defaultCenter().postNotificationName(
            applicationWillTerminateNotification, nullptr);
    }
    const platform::PlistArray* catalog =
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

} // namespace
