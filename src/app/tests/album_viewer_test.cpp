// The slide view: index rules, the slider, the rate limiter shared by all
// viewers, the slide show and the library notification, driven with real
// clicks and timers.
#include <gtest/gtest.h>

#include <QDesktopServices>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QTest>

#include "app/album_viewer.h"
#include "app/current_event.h"
#include "app/image_view.h"
#include "library/tests/support/library_fixtures.h"
#include "platform/notification_center.h"
#include "support/url_recorder.h"
#include "tests/known_value.h"
#include "tests/temp_dir.h"

using namespace slidebox;
using namespace slidebox::app;
using slidebox::testing::knownValues;
namespace tolerance = slidebox::testing::tolerance;

namespace {

class AlbumViewerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        AlbumViewer::resetLastTime();
        CurrentEvent::install();
        CurrentEvent::clear();
    }
    void TearDown() override {
        AlbumViewer::setClock(nullptr);
        AlbumViewer::resetLastTime();
    }
    void useFakeClock() {
        AlbumViewer::setClock([this] { return now; });
    }
    PhotoManagerPtr library(const std::string& name, int images) {
        slidebox::testing::makeLibrary6(temp / name, {"Roll"}, images);
        return iPhotoAlbumManager::initWithAlbumPath(temp / name);
    }
    static void click(QAbstractButton* button) { QTest::mouseClick(button, Qt::LeftButton); }

    double now = 1000.0;
    slidebox::testing::TempDir temp;
};

TEST_F(AlbumViewerTest, WithoutLibraryOrImagesNothingIsShownAndOnlyWhatCanActIsEnabled) {
    AlbumViewer viewer;
    for (PhotoManagerPtr record : {PhotoManagerPtr(), library("Empty", 0)}) {
        viewer.setPhotoManager(record);
        EXPECT_EQ(viewer.currentPhotoIndex(), -1);
        EXPECT_EQ(viewer.numberField()->text(), "0/0");
        EXPECT_TRUE(viewer.nameField()->text().isEmpty());
        EXPECT_TRUE(viewer.imageView()->image().isNull());
        EXPECT_EQ(viewer.slider()->value(), 0);
        for (QWidget* control :
             std::initializer_list<QWidget*>{viewer.previousButton(), viewer.nextButton(),
                                             viewer.autoRepeatButton(), viewer.slider()})
            EXPECT_FALSE(control->isEnabled()) << control->objectName().toStdString();
        EXPECT_EQ(viewer.openFolderButton()->isEnabled(), record != nullptr)
            << "an empty library has a folder";

        // A show started otherwise can still be stopped; a step ends it.
        viewer.autoImage(nullptr);
        ASSERT_TRUE(viewer.autoActive());
        EXPECT_TRUE(viewer.autoRepeatButton()->isEnabled());
        viewer.nextImage(viewer.nextButton());
        EXPECT_FALSE(viewer.autoActive()) << "a step by the user ends the slide show";
        EXPECT_FALSE(viewer.autoRepeatButton()->isEnabled());
        viewer.previousImage(viewer.previousButton());
        EXPECT_EQ(viewer.currentPhotoIndex(), -1);
        EXPECT_EQ(viewer.numberField()->text(), "0/0");
    }
    viewer.setPhotoManager(library("One", 1));
    EXPECT_TRUE(viewer.nextButton()->isEnabled());
    EXPECT_TRUE(viewer.autoRepeatButton()->isEnabled());
}

TEST_F(AlbumViewerTest, StepsWrapTheIndexRuleWrapsAndTheSliderMapsBothWays) {
    AlbumViewer viewer;
    viewer.setPhotoManager(library("Four", 4));
    ASSERT_EQ(viewer.currentPhotoIndex(), 0);
    click(viewer.previousButton());
    EXPECT_EQ(viewer.currentPhotoIndex(), 3);
    EXPECT_EQ(viewer.numberField()->text(), "4/4");
    EXPECT_EQ(viewer.slider()->value(), viewer.slider()->maximum());
    click(viewer.nextButton());
    EXPECT_EQ(viewer.slider()->value(), 0);
    click(viewer.nextButton());
    EXPECT_EQ(viewer.numberField()->text(), "2/4");
    EXPECT_EQ(viewer.slider()->value(), 333) << "trunc(1 * 1000 / 3)";

    // Any negative index is the last, the count and beyond the first; the slider stays.
    viewer.setCurrentPhotoIndex(-7);
    EXPECT_EQ(viewer.currentPhotoIndex(), 3);
    viewer.setCurrentPhotoIndex(4);
    EXPECT_EQ(viewer.currentPhotoIndex(), 0);
    viewer.setCurrentPhotoIndex(2);
    EXPECT_EQ(viewer.numberField()->text(), "3/4");
    EXPECT_EQ(viewer.slider()->value(), 333);
    viewer.setSliderPosition();
    EXPECT_EQ(viewer.slider()->value(), 666);
    // The user drags the slider: the slider's own signal picks the image.
    viewer.slider()->setValue(400);
    EXPECT_EQ(viewer.currentPhotoIndex(), 1) << "trunc(3 * 400 / 1000)";
    QTest::keyClick(viewer.slider(), Qt::Key_End);
    EXPECT_EQ(viewer.currentPhotoIndex(), 3);

    // One image stays on index zero.
    viewer.setPhotoManager(library("One", 1));
    click(viewer.nextButton());
    click(viewer.previousButton());
    EXPECT_EQ(viewer.currentPhotoIndex(), 0);
    EXPECT_EQ(viewer.numberField()->text(), "1/1");
    EXPECT_EQ(viewer.nameField()->text(), "1.jpg");
    EXPECT_TRUE(QTest::qWaitFor([&] { return !viewer.isLoadingImage(); }));
    EXPECT_FALSE(viewer.imageView()->image().isNull());
}

TEST_F(AlbumViewerTest, LimiterAllowsOneStepInThreeTenthsOfASecondExceptOnMouseUp) {
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
    now += 0.1;
    EXPECT_FALSE(AlbumViewer::doIt());
}

TEST_F(AlbumViewerTest, TheLimiterIsSharedByAllViewers) {
    useFakeClock();
    AlbumViewer first;
    AlbumViewer second;
    first.setPhotoManager(library("First", 5));
    second.setPhotoManager(library("Second", 5));
    // Keyboard shortcuts click the button from a timer, not a mouse release.
    first.nextImage(&first);
    EXPECT_EQ(first.currentPhotoIndex(), 1);
    now += 0.1;
    second.nextImage(&second);
    EXPECT_EQ(second.currentPhotoIndex(), 0) << "held back by the step of the other viewer";
    now += 0.25;
    second.nextImage(&second);
    EXPECT_EQ(second.currentPhotoIndex(), 1);
}

TEST_F(AlbumViewerTest, ClickOnMouseDownWithinTheLimitStopsTheShowButChangesNoImage) {
    useFakeClock();
    AlbumViewer viewer;
    viewer.setPhotoManager(library("Show", 5));
    click(viewer.autoRepeatButton());
    ASSERT_TRUE(viewer.autoActive());
    ASSERT_TRUE(viewer.autoRepeatButton()->isChecked());
    viewer.nextImage(&viewer); // a tick of the show: the last step
    ASSERT_EQ(viewer.currentPhotoIndex(), 1);
    now += 0.1;
    QTest::mousePress(viewer.numberField(), Qt::LeftButton);
    viewer.nextImage(viewer.nextButton());
    EXPECT_FALSE(viewer.autoActive());
    EXPECT_FALSE(viewer.autoRepeatButton()->isChecked());
    EXPECT_EQ(viewer.currentPhotoIndex(), 1);
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

TEST_F(AlbumViewerTest, NotificationOfItsOwnLibraryRereadsTheSlider) {
    AlbumViewer viewer;
    PhotoManagerPtr shown = library("Shown", 10);
    PhotoManagerPtr other = library("Other", 3);
    viewer.setPhotoManager(shown);
    viewer.setCurrentPhotoIndex(8);
    viewer.setSliderPosition();
    ASSERT_EQ(viewer.slider()->value(), 888);

    platform::NotificationCenter::defaultCenter().postNotificationName(
        libraryModificationNotification, other.get());
    EXPECT_EQ(viewer.currentPhotoIndex(), 8);

    // Half of the images go; the library notices and tells.
    for (int i : {6, 7, 8, 9, 10})
        std::filesystem::remove(temp / "Shown" / "Data" / "Roll" / (std::to_string(i) + ".jpg"));
    slidebox::testing::setModificationTime(temp / "Shown" / "Library6.iPhoto", 2000000000, 0);
    shown->checkLibraryModificationDate();
    ASSERT_EQ(shown->numberOfImage(), 5);
    EXPECT_EQ(viewer.slider()->value(), 888) << "the slider stays where it stands";
    EXPECT_EQ(viewer.currentPhotoIndex(), 3) << "trunc(4 * 888 / 1000)";
    EXPECT_EQ(viewer.numberField()->text(), "4/5");
}

TEST_F(AlbumViewerTest, SettingTheSameLibraryAgainReturnsToItsDefaultImage) {
    AlbumViewer viewer;
    PhotoManagerPtr record = library("Lib", 6);
    const long references = record.use_count();
    record->setDefaultImageIndex(2);
    viewer.setPhotoManager(record);
    EXPECT_EQ(viewer.currentPhotoIndex(), 2);
    viewer.setCurrentPhotoIndex(5);
    viewer.setPhotoManager(record);
    EXPECT_EQ(viewer.currentPhotoIndex(), 2);
    EXPECT_EQ(record.use_count(), references + 1) << "the viewer holds one reference";
}

TEST_F(AlbumViewerTest, OpenFolderShowsTheLibraryInTheFileManager) {
    slidebox::testing::UrlRecorder recorder("file");
    AlbumViewer viewer;
    click(viewer.openFolderButton());
    EXPECT_TRUE(recorder.urls.isEmpty()) << "no library, nothing to open";
    viewer.setPhotoManager(library("With blank", 1));
    click(viewer.openFolderButton());
    ASSERT_EQ(recorder.urls.size(), 1);
    EXPECT_EQ(recorder.urls.first().toLocalFile().toStdString(), (temp / "With blank").string());
}

TEST_F(AlbumViewerTest, SelectionMarkTogglesOnlyWhenSelectable) {
    AlbumViewer viewer;
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
    struct Case {
        QSizeF image;
        QRectF expected;
    };
    const QSizeF view(400, 300);
    for (const Case& c : std::initializer_list<Case>{
             {{1600, 300}, {0, 112.5, 400, 75}}, // too wide: a quarter, centred
             {{300, 600}, {125, 0, 150, 300}},   // too tall: half
             {{800, 900}, {66.6667, 0, 266.6667, 300}},
             {{100, 50}, {150, 125, 100, 50}}, // smaller: as it is, centred
             {{400, 300}, {0, 0, 400, 300}},
             {{0, 0}, {}}}) {
        const QRectF shown = ImageView::displayRect(c.image, view);
        SCOPED_TRACE(c.image.width());
        EXPECT_TRUE(knownValues(
            {c.expected.x(), c.expected.y(), c.expected.width(), c.expected.height()},
            tolerance::kFourDecimals, {shown.x(), shown.y(), shown.width(), shown.height()}));
    }
}

TEST_F(AlbumViewerTest, AWideImageFitsTheViewAndTheLayoutStaysStillBetweenImages) {
    const auto images = slidebox::testing::makeLibrary6(temp / "Sizes", {"Roll"}, 2);
    slidebox::testing::makeJpeg(images[0], 1600, 300, 72, 1);
    slidebox::testing::makeJpeg(images[1], 20, 10, 300, 2);
    AlbumViewer viewer;
    viewer.resize(420, 360);
    viewer.show();
    viewer.setPhotoManager(iPhotoAlbumManager::initWithAlbumPath(temp / "Sizes"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return !viewer.isLoadingImage(); }));
    const QRect view = viewer.imageView()->geometry();
    const QRect slider = viewer.slider()->geometry();
    EXPECT_NEAR(viewer.imageView()->imageRect().width(), view.width(), 1.0);

    viewer.setCurrentPhotoIndex(1);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !viewer.isLoadingImage(); }));
    QTest::qWait(20); // any layout change would land now
    EXPECT_EQ(viewer.imageView()->imageRect().size(), QSizeF(20, 10))
        << "one point per pixel, whatever its dpi";
    EXPECT_EQ(viewer.imageView()->geometry(), view);
    EXPECT_EQ(viewer.slider()->geometry(), slider);
}

} // namespace
