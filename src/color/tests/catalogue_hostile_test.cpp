// A catalogue folder with everything that isn't a good profile: broken and
// truncated profiles, unreadable files, pipes, dangling links, link loops,
// and many files. The listing ends, the good profiles are there and
// nothing else is.
#include <gtest/gtest.h>

#include <cstdio>

#include <sys/stat.h>
#include <unistd.h>

#include "color/profile_manager.h"
#include "color/tests/catalogue_fixtures.h"

using namespace slidebox::color;
using namespace slidebox::testing;

namespace {

void put(const std::filesystem::path& path, const Bytes& bytes) {
    writeFile(path, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

} // namespace

TEST(CatalogueHostile, BrokenUnreadableAndLoopingEntriesAreLeftOut) {
    ScopedProfilePlaces places;
    TempDir dir;
    const Bytes good = catalogueProfile(cmDisplayClass, cmRGBData, "Good");
    put(dir / "good.icc", good);
    put(dir / "empty.icc", {});
    put(dir / "header-only.icc", Bytes(good.begin(), good.begin() + 128));
    put(dir / "truncated.icc", Bytes(good.begin(), good.begin() + good.size() / 2));
    Bytes outside = good;
    setWord(outside, 132 + 4, 0x7FFFFFF0); // first tag far outside the file
    put(dir / "tag-outside.icc", outside);
    Bytes hugeCount = good;
    setWord(hugeCount, 128, 0xFFFFFFFF);
    put(dir / "tag-count.icc", hugeCount);
    put(dir / "text.icc", Bytes(4000, 'x'));
    put(dir / "locked.icc", good);
    ::chmod((dir / "locked.icc").c_str(), 0);
    ::mkfifo((dir / "pipe.icc").c_str(), 0600);
    std::filesystem::create_symlink(dir / "nowhere.icc", dir / "dangling.icc");
    std::filesystem::create_symlink(dir / "self.icc", dir / "self.icc");
    std::filesystem::create_directory_symlink(dir.path(), dir / "loop");
    std::filesystem::create_directory(dir / "locked-folder");
    put(dir / "locked-folder/inside.icc", good);
    ::chmod((dir / "locked-folder").c_str(), 0);

    auto m = ProfileManager::initWithUse(0x7F, 0x3F, true, dir.path(), false);
    ::chmod((dir / "locked-folder").c_str(), 0700);
    ::chmod((dir / "locked.icc").c_str(), 0600);
    ASSERT_TRUE(m);
    std::vector<std::string> names;
    for (std::int32_t i = 1; i < m->count(); ++i)
        names.push_back(*m->profileFileNameAtIndex(i));
    // Root reads what the mode bars; anyone else is barred.
    std::vector<std::string> expected = {"good.icc"};
    if (::geteuid() == 0)
        expected = {"good.icc", "locked-folder/inside.icc", "locked.icc"};
    EXPECT_EQ(names, expected);
}

TEST(CatalogueHostile, ManyFilesAreWalkedToTheEnd) {
    ScopedProfilePlaces places;
    TempDir dir;
    const Bytes good = catalogueProfile(cmDisplayClass, cmRGBData, "Good");
    const Bytes junk(200, 0x5A);
    for (int i = 0; i < 500; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "f%02d/%05d.icc", i % 10, i);
        put(dir / name, i % 100 == 0 ? good : junk);
    }
    ProfilePlaces p = ProfilePlaces::underHome(places.home().path());
    p.profileFolders = {dir.path()};
    ProfileManager::setPlaces(p);
    auto installed = ProfileManager::init();
    auto folder = ProfileManager::initWithUse(0, 0x3F, true, dir.path());
    ASSERT_TRUE(installed);
    ASSERT_TRUE(folder);
    EXPECT_EQ(installed->count(), 5);
    EXPECT_EQ(folder->count(), 6);
    EXPECT_EQ(*folder->profileFileNameAtIndex(1), "f00/00000.icc");
    EXPECT_EQ(*folder->profileFileNameAtIndex(5), "f00/00400.icc");
}
