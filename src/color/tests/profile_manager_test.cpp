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
#include <fstream>
#include <map>

using namespace slidebox::color;
using namespace slidebox::testing;

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

TEST(ProfileManagerTest, UserFolderFollowsTheDataFolderAndIsMadeWhenMissing) {
    ScopedProfilePlaces places;
    ProfilePlaces moved = ProfileManager::places();
    moved.dataHome = places.home() / "data"; // as $XDG_DATA_HOME would
    ProfileManager::setPlaces(moved);
    const std::filesystem::path expected = places.home() / "data/icc";
    EXPECT_EQ(ProfileManager::pathOfColorSyncUserFolder(), expected);
    EXPECT_TRUE(slidebox::platform::isDirectory(expected));
}

TEST(ProfileManagerTest, OpeningSaysWhyNot) {
    ScopedProfilePlaces places;
    writeFile(places.home() / "text.icc", "no profile");
    using slidebox::platform::ErrorCode;
    const struct {
        std::filesystem::path path;
        ErrorCode code;
    } rows[] = {{"", ErrorCode::BadArgument},
                {places.home() / "missing.icc", ErrorCode::CannotOpen},
                {places.home().path(), ErrorCode::CannotOpen},
                {places.home() / "text.icc", ErrorCode::Malformed},
                {"/" + std::string(kMaxProfilePathBytes, 'a'), ErrorCode::TooLarge}};
    for (const auto& row : rows) {
        auto opened = ProfileManager::openProfile(row.path);
        EXPECT_EQ(opened.status().code(), row.code) << row.path.native().size();
        EXPECT_FALSE(opened.status().message().empty());
        EXPECT_FALSE(ProfileManager::profileRefForPath(row.path));
    }
}

TEST(ProfileManagerTest, ProfilesPastTheSystemsPathLimitOpenAndAreListed) {
    ScopedProfilePlaces places;
    auto lab = ProfileManager::pathOfGenericLabProfil();
    ASSERT_TRUE(lab);
    ProfilePlaces moved = ProfileManager::places();
    moved.profileFolders = {places.home() / "icc"};
    ProfileManager::setPlaces(moved);
    const auto deep = writeDeepFile(places.home() / "icc", 6000, readFile(*lab));
    ASSERT_FALSE(deep.empty());
    EXPECT_TRUE(ProfileManager::openProfile(deep));
    auto installed = ProfileManager::initWithUse(kUseAbstract, kSpaceLab);
    ASSERT_TRUE(installed);
    EXPECT_EQ(installed->profilesPathArray(), std::vector<std::filesystem::path>{deep});
    auto folder = ProfileManager::initWithUse(0, kSpaceLab, false, places.home() / "icc", false);
    ASSERT_TRUE(folder);
    EXPECT_NE(folder->indexOfProfilePath(deep), ProfileManager::kNotFound);
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

namespace {
/// Display profile sources of the test's own for as long as it lives.
struct ScopedSources {
    explicit ScopedSources(DisplayProfileSources sources) {
        ProfileManager::setDisplayProfileSources(std::move(sources));
    }
    ~ScopedSources() { ProfileManager::setDisplayProfileSources({}); }
};

std::vector<std::uint8_t> bytesOf(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}
} // namespace

TEST(DisplayProfile, ColordFirstThenTheX11PropertyElseNone) {
    ScopedProfilePlaces places;
    QScreen* screen = QGuiApplication::primaryScreen();
    ASSERT_NE(screen, nullptr);
    const std::string output = screen->name().toStdString();
    auto rgb = ProfileManager::pathOfGenericProfilForSpace(cmRGBData);
    ASSERT_TRUE(rgb);
    std::vector<std::uint8_t> atom = bytesOf(*rgb);
    std::map<std::string, std::filesystem::path> colord;
    std::vector<int> asked;
    ScopedSources sources({[&](const std::string& name) -> std::optional<std::filesystem::path> {
                               auto found = colord.find(name);
                               if (found == colord.end())
                                   return std::nullopt;
                               return found->second;
                           },
                           [&](int n) -> std::optional<std::vector<std::uint8_t>> {
                               asked.push_back(n);
                               if (atom.empty())
                                   return std::nullopt;
                               return atom;
                           }});

    // colord knows the screen's output: its file, the property unasked.
    colord[output] = *rgb;
    EXPECT_EQ(ProfileManager::pathOfDefaultDisplayUseProfile(), rgb);
    EXPECT_TRUE(asked.empty());

    // colord knows another output only: the property of screen 0, kept as a
    // file of the same bytes under the runtime folder, the same while the
    // bytes are, another when they change.
    colord = {{"elsewhere", *rgb}};
    auto fromAtom = ProfileManager::pathOfDefaultDisplayUseProfile();
    ASSERT_TRUE(fromAtom);
    EXPECT_EQ(asked, std::vector<int>{0});
    EXPECT_EQ(fromAtom->parent_path(), ProfileManager::places().runtime);
    EXPECT_EQ(bytesOf(*fromAtom), atom);
    EXPECT_EQ(ProfileManager::pathOfDefaultDisplayUseProfile(), fromAtom);
    atom.back() ^= 1;
    EXPECT_NE(ProfileManager::pathOfDefaultDisplayUseProfile(), fromAtom);

    // Neither: no profile, not sRGB.
    atom.clear();
    EXPECT_FALSE(ProfileManager::pathOfDefaultDisplayUseProfile());

    // The screen under a point answers alike; no screen, nothing at all.
    colord[output] = *rgb;
    const QRect rect = screen->geometry();
    EXPECT_EQ(ProfileManager::pathOfScreenProfileWithGlobalPoint(
                  static_cast<float>(rect.left() + 1), static_cast<float>(rect.height() / 2)),
              rgb);
    EXPECT_FALSE(ProfileManager::pathOfScreenProfileWithGlobalPoint(-20000.0f, -20000.0f));
}
