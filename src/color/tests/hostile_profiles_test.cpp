// Broken profile files: each is refused (or its broken part answers
// nothing) without a crash or a read outside a buffer. Run under the
// sanitizers, these prove the readers' bounds.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "color/profile_header_report.h"
#include "color/profile_inspector.h"
#include "color/profile_tag_tables.h"
#include "color/tests/profile_fixtures.h"

using namespace slidebox::color;
using namespace slidebox::testing;

namespace {

/// Everything a reader may ask of a file; the answers only need to exist.
void inspectEverything(const std::filesystem::path& path) {
    if (auto profile = CMOpenProfile(path)) {
        if (auto header = CMGetProfileHeader(*profile))
            (void)headerInfos(*header);
        (void)CMCopyProfileDescriptionString(*profile);
        for (std::int32_t intent : {0, 1, 2}) {
            TabInfos a, b;
            GetProfileDatas(*profile, intent, CM2Header{}, &a, &b);
        }
    }
    for (std::int32_t intent : {-1, 0}) {
        if (auto inspector = ProfileInspector::profileInspectorWithProfilePath(path, intent)) {
            (void)inspector->profileName();
            (void)inspector->profileDescriptionStructureData();
            (void)inspector->DeviceToPCSNbGridPoints();
            (void)inspector->PCSToDeviceNbGridPoints();
        }
    }
}

} // namespace

class HostileProfilesTest : public ::testing::Test {
  protected:
    ScopedProfilePlaces places;
    TempDir dir;
    Bytes good = make(tableRGBRecipe());

    std::filesystem::path write(const Bytes& bytes) {
        auto path = dir / "broken.icc";
        std::filesystem::remove(path);
        return writeProfile(dir, "broken.icc", bytes);
    }
};

TEST_F(HostileProfilesTest, TruncatedAtManyOffsetsIsRefused) {
    ASSERT_GT(good.size(), 1000u);
    std::vector<std::size_t> offsets = {0, 1, 4, 64, 127, 128, 131, 132, 140, 200};
    for (std::size_t cut = 256; cut < good.size(); cut += good.size() / 37)
        offsets.push_back(cut);
    offsets.push_back(good.size() - 1);
    for (std::size_t cut : offsets) {
        Bytes bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(cut));
        auto path = write(bytes);
        EXPECT_FALSE(CMOpenProfile(path)) << "cut at " << cut;
        EXPECT_FALSE(ProfileInspector::profileInspectorWithProfilePath(path, -1)) << cut;
        EXPECT_FALSE(ProfileInspector::goodPathProfileData(path)) << cut;
        inspectEverything(path);
    }
}

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
        inspectEverything(path);
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

TEST_F(HostileProfilesTest, TablesWithLyingHeadersGiveNoWorld) {
    auto a2b0 = tagEntry(good, fourCC("A2B0"));
    ASSERT_TRUE(a2b0);
    for (auto [offset, value] : {std::pair{8, 0xFFu}, {9, 0u}, {10, 0xFFu}, {10, 1u}}) {
        Bytes bytes = good;
        bytes[a2b0->first + offset] = static_cast<std::uint8_t>(value);
        auto path = write(bytes);
        EXPECT_FALSE(ProfileInspector::profileInspectorWithProfilePath(path, 0)) << offset;
        inspectEverything(path);
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
        inspectEverything(row.path);
    }
}
