// A catalogue folder with everything that isn't a good profile: broken and
// truncated profiles, unreadable files, pipes, dangling links, link loops,
// and ten thousand files. The listing ends, the good profiles are there and
// nothing else is.
#include <gtest/gtest.h>

#include <chrono>

#include <fcntl.h>
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

/// One file written with a single call, no buffering: ten thousand of them
/// have to be quick to make.
bool writeSmall(const std::filesystem::path& path, const Bytes& bytes) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0)
        return false;
    const bool written =
        ::write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    return ::close(fd) == 0 && written;
}

/// A temporary folder in memory (/dev/shm) where there is one, so that
/// making and removing many files costs no disk work; else in the temporary
/// folder. Removed with all it holds.
class MemoryFolder {
  public:
    MemoryFolder() {
        for (const std::filesystem::path& base :
             {std::filesystem::path("/dev/shm"), std::filesystem::temp_directory_path()}) {
            std::string templ = (base / "slidebox-test-XXXXXX").string();
            if (::mkdtemp(templ.data())) {
                path_ = templ;
                return;
            }
        }
    }
    ~MemoryFolder() {
        std::error_code ignored;
        if (!path_.empty())
            std::filesystem::remove_all(path_, ignored);
    }
    MemoryFolder(const MemoryFolder&) = delete;
    MemoryFolder& operator=(const MemoryFolder&) = delete;
    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

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

TEST(CatalogueHostile, TenThousandFilesAreWalkedToTheEnd) {
    ScopedProfilePlaces places;
    MemoryFolder dir;
    ASSERT_FALSE(dir.path().empty());
    const Bytes good = catalogueProfile(cmDisplayClass, cmRGBData, "Good");
    const Bytes junk(200, 0x5A);
    for (int folder = 0; folder < 50; ++folder) {
        char name[8];
        std::snprintf(name, sizeof name, "f%02d", folder);
        std::filesystem::create_directory(dir.path() / name);
    }
    for (int i = 0; i < 10000; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "f%02d/%05d.icc", i % 50, i);
        ASSERT_TRUE(writeSmall(dir.path() / name, i % 1000 == 0 ? good : junk)) << name;
    }
    ProfilePlaces p = ProfilePlaces::underHome(places.home().path());
    p.profileFolders = {dir.path()};
    ProfileManager::setPlaces(p);
    const auto start = std::chrono::steady_clock::now();
    auto installed = ProfileManager::init();
    auto folder = ProfileManager::initWithUse(0, 0x3F, true, dir.path());
    const auto seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    ASSERT_TRUE(installed);
    ASSERT_TRUE(folder);
    EXPECT_EQ(installed->count(), 10);
    EXPECT_EQ(folder->count(), 11);
    EXPECT_EQ(*folder->profileFileNameAtIndex(1), "f00/00000.icc");
    EXPECT_EQ(*folder->profileFileNameAtIndex(10), "f00/09000.icc");
    RecordProperty("seconds_two_listings", std::to_string(seconds));
}
