// Profile paths: the generic profiles among the resources, the
// user's folder, the display profile and the screen under a point.
#include <gtest/gtest.h>

#include "color/profile_manager.h"
#include "color/tests/profile_fixtures.h"
#include "platform/file_system.h"
#include "platform/script_runner.h"

#include <QGuiApplication>
#include <QScreen>

#include <cmath>

using namespace slidebox::color;
using namespace slidebox::testing;

TEST(ProfilePlaces, FoldersOfTheDesktop) {
    ProfilePlaces places = ProfilePlaces::underHome("/home/someone");
    EXPECT_EQ(places.dataHome, "/home/someone/.local/share");
    const std::vector<std::filesystem::path> folders = {
        "/usr/share/color/icc", "/usr/local/share/color/icc", "/home/someone/.local/share/icc",
        "/home/someone/.color/icc"};
    EXPECT_EQ(places.profileFolders, folders);
}

TEST(ProfileManagerTest, GenericProfilesAreResourcesAndNothingIsWritten) {
    ScopedProfilePlaces places;
    auto lab = ProfileManager::pathOfGenericLabProfil();
    ASSERT_TRUE(lab);
    EXPECT_EQ(lab->parent_path(), slidebox::platform::resourceDirectory() / "icc");
    auto profile = ProfileManager::profileRefForPath(*lab);
    ASSERT_TRUE(profile);
    auto header = CMGetProfileHeader(*profile);
    EXPECT_EQ(header->profileClass, cmAbstractClass);
    EXPECT_EQ(header->dataColorSpace, cmLabData);
    EXPECT_EQ(header->profileConnectionSpace, cmLabData);
    EXPECT_EQ(header->profileVersion, 0x02100000u); // 2.1: no black-point compensation into it
    // D50 white: 0.9642, 1.0, 0.8249 in 16.16 fixed point.
    EXPECT_NEAR(header->white.X, 0xF6D6, 1);
    EXPECT_EQ(header->white.Y, 0x10000);
    EXPECT_NEAR(header->white.Z, 0xD32D, 1);

    struct Row {
        std::optional<std::filesystem::path> path;
        OSType space;
    };
    for (Row row : {Row{ProfileManager::pathOfGenericXYZProfil(), cmXYZData},
                    Row{ProfileManager::pathOfGenericGrayProfil(), cmGrayData},
                    Row{ProfileManager::pathOfGenericProfilForSpace(cmRGBData), cmRGBData}}) {
        ASSERT_TRUE(row.path);
        EXPECT_EQ(row.path->parent_path(), lab->parent_path());
        auto p = ProfileManager::profileRefForPath(*row.path);
        ASSERT_TRUE(p);
        EXPECT_EQ(CMGetProfileHeader(*p)->dataColorSpace, row.space);
    }
    EXPECT_FALSE(ProfileManager::pathOfGenericProfilForSpace(cmCMYKData));
    // The user's data folder plays no part: even unwritable, nothing changes.
    EXPECT_FALSE(slidebox::platform::fileExistsAtPath(places.home() / ".local/share/slidebox"));
    ProfilePlaces blocked = ProfileManager::places();
    writeFile(places.home() / "file", "x");
    blocked.dataHome = places.home() / "file"; // a file where the folder should be
    ProfileManager::setPlaces(blocked);
    EXPECT_EQ(ProfileManager::pathOfGenericLabProfil(), lab);
    // The path of a profile reference is where it was opened.
    EXPECT_EQ(ProfileManager::pathForProfileRef(ProfileManager::profileRefForPath(*lab)), lab);
    EXPECT_FALSE(ProfileManager::pathForProfileRef(nullptr));
}

TEST(ProfileManagerTest, UserFolderIsMadeWhenMissing) {
    ScopedProfilePlaces places;
    std::filesystem::path expected = places.home() / ".local/share/icc";
    EXPECT_FALSE(slidebox::platform::fileExistsAtPath(expected));
    EXPECT_EQ(ProfileManager::pathOfColorSyncUserFolder(), expected);
    EXPECT_TRUE(slidebox::platform::isDirectory(expected));
    EXPECT_EQ(ProfileManager::pathOfColorSyncUserFolder(), expected);
}

TEST(ScreenDevices, PointIsTurnedToTopLeftPixelsAndInactiveScreensArePassed) {
    // Main screen 1440 x 900; a second one to its right, one above it inactive.
    std::vector<ScreenDevice> screens = {{QRect(0, 0, 1440, 900), true},
                                         {QRect(1440, 0, 1920, 1080), true},
                                         {QRect(0, -800, 1280, 800), false}};
    using PM = ProfileManager;
    EXPECT_EQ(PM::FindGDeviceWithGlobalPoint(10, 10, screens), 0u);
    EXPECT_EQ(PM::FindGDeviceWithGlobalPoint(1500.5f, 10, screens), 1u);
    // y equal to the height is the top edge, row 0, still on the main screen.
    EXPECT_EQ(PM::FindGDeviceWithGlobalPoint(0, 900, screens), 0u);
    // y = 0 is row 900, just below the main screen but on the taller second one only.
    EXPECT_EQ(PM::FindGDeviceWithGlobalPoint(5, 0, screens), std::nullopt);
    EXPECT_EQ(PM::FindGDeviceWithGlobalPoint(1445, 0, screens), 1u);
    // Above the main screen lies only the inactive one.
    EXPECT_EQ(PM::FindGDeviceWithGlobalPoint(100, 1200, screens), std::nullopt);
    screens[2].active = true;
    EXPECT_EQ(PM::FindGDeviceWithGlobalPoint(100, 1200, screens), 2u);
    EXPECT_EQ(PM::FindGDeviceWithGlobalPoint(-1, 10, screens), std::nullopt);
    EXPECT_EQ(PM::FindGDeviceWithGlobalPoint(10, 10, {}), std::nullopt);
    EXPECT_EQ(PM::FindGDeviceWithGlobalPoint(std::nanf(""), 10, screens), std::nullopt);
}

TEST(ScreenDevices, ScreenProfileOnlyWhereAScreenIsUnderThePoint) {
    ScopedProfilePlaces places;
    QScreen* screen = QGuiApplication::primaryScreen();
    ASSERT_NE(screen, nullptr);
    QRect rect = screen->geometry();
    auto inside = ProfileManager::pathOfScreenProfileWithGlobalPoint(
        static_cast<float>(rect.left() + 1), static_cast<float>(rect.height() / 2));
    // The default display profile, an RGB one.
    ASSERT_TRUE(inside);
    EXPECT_EQ(inside, ProfileManager::pathOfDefaultDisplayUseProfile());
    auto profile = ProfileManager::profileRefForPath(*inside);
    ASSERT_TRUE(profile);
    EXPECT_EQ(CMGetProfileHeader(*profile)->dataColorSpace, cmRGBData);
    EXPECT_FALSE(ProfileManager::pathOfScreenProfileWithGlobalPoint(-20000.0f, -20000.0f));
}
