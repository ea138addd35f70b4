// The viewer registry and its catalogue in the user defaults.
#include <gtest/gtest.h>

#include <QSlider>

#include "app/albums_manager.h"
#include "app/app_notifications.h"
#include "library/tests/support/library_fixtures.h"
#include "platform/notification_center.h"
#include "platform/user_defaults.h"
#include "tests/temp_dir.h"

using namespace slidebox;
using namespace slidebox::app;

namespace {

class AlbumsManagerTest : public ::testing::Test {
  protected:
    std::filesystem::path library(const std::string& name, int images) {
        slidebox::testing::libraryOf(6, temp / name, {"Roll"}, images);
        return temp / name;
    }
    slidebox::testing::TempDir temp;
    platform::UserDefaults defaults{temp / "config"};
};

TEST_F(AlbumsManagerTest, EmptyCatalogueAndIndexesOutsideTheList) {
    AlbumsManager registry(defaults);
    EXPECT_EQ(registry.numberOfViewer(), 0);
    AlbumViewer* viewer = registry.newViewerAtFrame({10, 20, 300, 200});
    EXPECT_EQ(registry.numberOfViewer(), 1);
    EXPECT_EQ(registry.viewerAtIndex(0), viewer);
    EXPECT_EQ(registry.viewerAtIndex(-1), nullptr);
    EXPECT_EQ(registry.viewerAtIndex(1), nullptr);
    registry.removeViewerAtIndex(1);
    registry.removeViewerAtIndex(-1);
    EXPECT_EQ(registry.numberOfViewer(), 1);
    registry.loadAlbumOfFolder(library("L", 2), 5);
    EXPECT_EQ(viewer->photoManager(), nullptr);
    registry.removeViewerAtIndex(0);
    EXPECT_EQ(registry.numberOfViewer(), 0);
}

TEST_F(AlbumsManagerTest, CatalogueComesBackWithFramesLibrariesAndStoredImages) {
    const auto a = library("A", 9);
    const auto b = library("B", 3);
    {
        AlbumsManager registry(defaults);
        registry.newViewerAtFrame({0, 0, 100, 80}); // no library: left out
        registry.newViewerAtFrame({10, 20, 300, 200});
        registry.loadAlbumOfFolder(a, 1);
        registry.viewerAtIndex(1)->photoManager()->setDefaultImageIndex(2);
        registry.viewerAtIndex(1)->setPhotoManager(registry.viewerAtIndex(1)->photoManager());
        registry.viewerAtIndex(1)->setCurrentPhotoIndex(7);
        registry.newViewerAtFrame({5, 6, 120, 90});
        registry.loadAlbumOfFolder(b, 2);
        platform::NotificationCenter::defaultCenter().postNotificationName(
            applicationWillTerminateNotification, nullptr);
    }
    const platform::PlistArray* catalog = defaults.objectForKey(albumsCatalogKey).array();
    ASSERT_TRUE(catalog);
    ASSERT_EQ(catalog->size(), 2u);
    EXPECT_EQ(*(*catalog)[0][viewerFrameKey].string(), "{{10, 20}, {300, 200}}");
    EXPECT_EQ((*catalog)[0][viewerCurrentIndexKey].intValue(), 7);

    platform::UserDefaults reopened(temp / "config");
    AlbumsManager registry(reopened);
    ASSERT_EQ(registry.numberOfViewer(), 2);
    AlbumViewer* first = registry.viewerAtIndex(0);
    EXPECT_EQ(first->geometry(), QRect(10, 20, 300, 200));
    ASSERT_NE(first->photoManager(), nullptr);
    EXPECT_EQ(first->photoManager()->albumPath()->string(), a.string());
    EXPECT_EQ(first->photoManager()->defaultImageIndex(), 2);
    EXPECT_EQ(first->currentPhotoIndex(), 7) << "the stored image wins over the default one";
    EXPECT_EQ(first->slider()->value(), 250)
        << "the slider stays at the default image: trunc(2 * 1000 / 8)";
    EXPECT_EQ(registry.viewerAtIndex(1)->geometry(), QRect(5, 6, 120, 90));
}

TEST_F(AlbumsManagerTest, EntriesOfTheWrongShapeGiveEmptyViewers) {
    defaults.setObject(
        albumsCatalogKey,
        platform::PlistArray{platform::PlistDictionary{{viewerFrameKey, 12}},
                             platform::PlistDictionary{{viewerFrameKey, "{{1, 2}}"}}});
    AlbumsManager registry(defaults);
    ASSERT_EQ(registry.numberOfViewer(), 2);
    EXPECT_EQ(registry.viewerAtIndex(0)->geometry(), QRect(0, 0, 0, 0))
        << "no frame: the zero rectangle";
    EXPECT_EQ(registry.viewerAtIndex(1)->photoManager(), nullptr);
    EXPECT_EQ(registry.viewerAtIndex(1)->currentPhotoIndex(), -1);
}

} // namespace
