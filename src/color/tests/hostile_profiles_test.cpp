// Broken profile files named after their defect: each is refused with its
// reason (random damage is the profile fuzzer's job).
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include "color/profile_inspector.h"
#include "color/profile_manager.h"
#include "color/tests/profile_fixtures.h"

using namespace slidebox::color;
using namespace slidebox::testing;

class HostileProfilesTest : public ::testing::Test {
  protected:
    ScopedProfilePlaces places;
    TempDir dir;
    Bytes good = stored("rgb-tables-v2.icc");

    std::filesystem::path write(const Bytes& bytes) {
        auto path = dir / "broken.icc";
        std::filesystem::remove(path);
        return writeProfile(dir, "broken.icc", bytes);
    }
};

TEST_F(HostileProfilesTest, WrongDeclaredSizesAndTagCounts) {
    struct Row {
        const char* defect;
        std::size_t offset;
        std::uint32_t value;
    };
    const Row rows[] = {
        {"size beyond the file", 0, static_cast<std::uint32_t>(good.size() + 1)},
        {"size of 4 GiB", 0, 0xFFFFFFFF},
        {"size below the header", 0, 100},
        {"size cutting the tag table", 0, 140},
        {"huge tag count", 128, 0xFFFFFFFF},
        {"tag count past the file", 128, 100000},
        {"tag offset outside", 132 + 4, static_cast<std::uint32_t>(good.size() + 16)},
        {"tag offset wrapping", 132 + 4, 0xFFFFFFF0},
        {"tag size outside", 132 + 8, static_cast<std::uint32_t>(good.size())},
        {"tag inside the header", 132 + 4, 16},
    };
    for (const Row& row : rows) {
        Bytes bytes = good;
        setWord(bytes, row.offset, row.value);
        auto path = write(bytes);
        EXPECT_FALSE(CMOpenProfile(path)) << row.defect;
        EXPECT_FALSE(ProfileInspector::profileInspectorWithProfilePath(path, -1)) << row.defect;
    }
    // A declared size below the file's is accepted: some profiles carry padding.
    Bytes padded = good;
    padded.resize(good.size() + 64, 0);
    EXPECT_TRUE(CMOpenProfile(write(padded)));
}

TEST_F(HostileProfilesTest, DescriptionWhoseCountRunsPastItsEnd) {
    auto desc = tagEntry(good, fourCC("desc"));
    ASSERT_TRUE(desc);
    ASSERT_EQ(word(good, desc->first), fourCC("desc"));
    for (std::uint32_t count : {desc->second, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        Bytes bytes = good;
        setWord(bytes, desc->first + 8, count); // the ASCII count
        auto path = write(bytes);
        auto inspector = ProfileInspector::profileInspectorWithProfilePath(path, -1);
        ASSERT_TRUE(inspector);
        EXPECT_EQ(inspector->profileName(), "_unknown_") << count;
    }
}

TEST_F(HostileProfilesTest, FilesThatArentProfilesAreRefusedAtOnceWithTheirReason) {
    using slidebox::platform::ErrorCode;
    // A FIFO with no writer would hold a blocking open for ever.
    const auto fifo = dir / "fifo.icc";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    // A sparse file of 1 GiB whose header claims 89 million tags: refused
    // before its bytes are read, so without taking the memory.
    const auto sparse = dir / "sparse.icc";
    {
        Bytes header(good.begin(), good.begin() + 132);
        setWord(header, 0, 1u << 30);
        setWord(header, 128, 89000000);
        writeProfile(dir, "sparse.icc", header);
        std::filesystem::resize_file(sparse, std::uintmax_t{1} << 30);
    }
    // Below the size limit, a tag table the file can't hold is still caught
    // before the engine is asked.
    Bytes claims = good;
    setWord(claims, 128, static_cast<std::uint32_t>(good.size() / 12));
    struct Row {
        std::filesystem::path path;
        ErrorCode code;
    };
    const Row rows[] = {
        {fifo, ErrorCode::CannotOpen},         {dir.path(), ErrorCode::CannotOpen},
        {sparse, ErrorCode::TooLarge},         {write(claims), ErrorCode::Malformed},
        {dir / "none", ErrorCode::CannotOpen},
    };
    for (const Row& row : rows) {
        auto opened = CMOpenProfileChecked(row.path);
        ASSERT_FALSE(opened) << row.path;
        EXPECT_EQ(opened.status().code(), row.code)
            << row.path << ": " << opened.status().message();
    }
}

TEST_F(HostileProfilesTest, CatalogueLeavesOutBrokenUnreadableAndLoopingEntries) {
    good = catalogueProfile(cmDisplayClass, cmRGBData, "Good");
    writeProfile(dir, "good.icc", good);
    writeProfile(dir, "empty.icc", {});
    writeProfile(dir, "truncated.icc", Bytes(good.begin(), good.begin() + good.size() / 2));
    writeProfile(dir, "text.icc", Bytes(4000, 'x'));
    writeProfile(dir, "locked.icc", good);
    ::chmod((dir / "locked.icc").c_str(), 0);
    ::mkfifo((dir / "pipe.icc").c_str(), 0600);
    std::filesystem::create_symlink(dir / "nowhere.icc", dir / "dangling.icc");
    std::filesystem::create_symlink(dir / "self.icc", dir / "self.icc");
    std::filesystem::create_directory_symlink(dir.path(), dir / "loop");
    std::filesystem::create_directory(dir / "locked-folder");
    writeProfile(dir, "locked-folder/inside.icc", good);
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
