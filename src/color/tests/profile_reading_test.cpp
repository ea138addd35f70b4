// ProfileInspector: opening (and why not) from a path and from bytes, its colour worlds,
// validation, comparison and the header accessors.
#include <gtest/gtest.h>

#include "color/profile_inspector.h"
#include "color/tests/profile_fixtures.h"
#include "platform/file_system.h"

using namespace slidebox::color;
using namespace slidebox::testing;

namespace {

/// The names of the inspector's temporary files now in /tmp.
std::vector<std::string> temporaryFiles() {
    std::vector<std::string> found;
    for (const std::string& name : slidebox::platform::directoryContentsAtPath("/tmp"))
        if (name.rfind("ZOL_ProfileInspector_", 0) == 0)
            found.push_back(name);
    return found;
}

/// How many files this process has open.
std::size_t openFiles() {
    return slidebox::platform::directoryContentsAtPath("/proc/self/fd").size();
}

} // namespace

class ProfileInspectorTest : public ::testing::Test {
  protected:
    ScopedProfilePlaces places;
    TempDir dir;
};

TEST_F(ProfileInspectorTest, IntentChoosesWhetherWorldsAreMade) {
    const auto path = storedPath("rgb-tables-v2.icc");
    for (std::int32_t intent : {0, 1, 2, 3, -1, 4, 77}) {
        const bool worlds = intent >= 0 && intent <= 3;
        auto inspector = ProfileInspector::profileInspectorWithProfilePath(path, intent);
        ASSERT_TRUE(inspector) << intent;
        EXPECT_EQ(inspector->DeviceToPCS() != nullptr, worlds) << intent;
        EXPECT_EQ(inspector->PCSToDevice() != nullptr, worlds) << intent;
        EXPECT_EQ(inspector->rendering(), intent);
        EXPECT_EQ(inspector->dataColorSpace(), cmRGBData);
        EXPECT_EQ(inspector->profileName(), "Test RGB tables");
    }
    // The worlds run from the profile to Lab and back; a live inspector and
    // its worlds hold no profile file open.
    const std::size_t before = openFiles();
    auto inspector = ProfileInspector::profileInspectorWithProfilePath(path, 1);
    EXPECT_EQ(openFiles(), before);
    EXPECT_EQ(inspector->DeviceToPCS()->dataColorSpaceIn(), cmRGBData);
    EXPECT_EQ(inspector->DeviceToPCS()->dataColorSpaceOut(), cmLabData);
    EXPECT_EQ(inspector->PCSToDevice()->dataColorSpaceIn(), cmLabData);
    EXPECT_EQ(inspector->PCSToDevice()->dataColorSpaceOut(), cmRGBData);
}

TEST_F(ProfileInspectorTest, AbsentOrUnusableInputGivesNothingAndSaysWhy) {
    using slidebox::platform::ErrorCode;
    writeFile(dir / "text.icc", "not a profile at all, just some words of text");
    const auto display = storedPath("rgb-display-a2b0-grid5.icc");
    const struct {
        std::filesystem::path path;
        std::int32_t intent;
        ErrorCode code;
    } rows[] = {{"", 0, ErrorCode::BadArgument},
                {dir / "missing.icc", -1, ErrorCode::CannotOpen},
                {dir / "text.icc", -1, ErrorCode::Malformed},
                {display, 0, ErrorCode::Unsupported}}; // no way back from Lab
    for (const auto& row : rows) {
        auto inspected = ProfileInspector::inspect(row.path, row.intent);
        EXPECT_EQ(inspected.status().code(), row.code) << row.path;
        EXPECT_FALSE(ProfileInspector::profileInspectorWithProfilePath(row.path, row.intent));
    }
    EXPECT_FALSE(ProfileInspector::profileInspectorWithProfileData({}, 0));
    EXPECT_FALSE(ProfileInspector::initWithPath(dir / "missing.icc"));
}

TEST_F(ProfileInspectorTest, OneWayProfileStandsOnlyAsInputClass) {
    const auto display = storedPath("rgb-display-a2b0-grid5.icc");
    Bytes scannerBytes = stored("rgb-display-a2b0-grid5.icc");
    setWord(scannerBytes, 12, cmInputClass);
    const auto scanner = writeProfile(dir, "scanner.icc", scannerBytes);
    EXPECT_FALSE(ProfileInspector::profileInspectorWithProfilePath(display, 0));
    EXPECT_TRUE(ProfileInspector::profileInspectorWithProfilePath(display, -1));
    auto input = ProfileInspector::profileInspectorWithProfilePath(scanner, 0);
    ASSERT_TRUE(input);
    EXPECT_TRUE(input->DeviceToPCS());
    EXPECT_FALSE(input->PCSToDevice());
    EXPECT_EQ(input->PCSToDeviceNbGridPoints(), 0);
    EXPECT_EQ(input->DeviceToPCSNbGridPoints(), 5);
    // A scanner profile that can't convert from Lab is still good.
    EXPECT_TRUE(ProfileInspector::goodPathProfileData(scanner));
    EXPECT_FALSE(ProfileInspector::goodPathProfileData(display));
}

TEST_F(ProfileInspectorTest, SpoiltIntent2TableFailsValidationButNotIntent0) {
    // Its A2B2 is an 'mft2' element that stops after its channel counts.
    const auto path = storedPath("rgb-tables-v2-a2b2-cut-short.icc");
    EXPECT_TRUE(ProfileInspector::profileInspectorWithProfilePath(path, 0));
    EXPECT_TRUE(ProfileInspector::profileInspectorWithProfilePath(path, 1));
    EXPECT_FALSE(ProfileInspector::profileInspectorWithProfilePath(path, 2));
    EXPECT_FALSE(ProfileInspector::goodPathProfileData(path));
    EXPECT_TRUE(ProfileInspector::goodPathProfileData(storedPath("rgb-tables-v2.icc")));
}

TEST_F(ProfileInspectorTest, FromBytesTheTemporaryFileGoesWithTheInspector) {
    auto before = temporaryFiles();
    Bytes bytes = stored("rgb-tables-v2.icc");
    {
        auto inspector = ProfileInspector::profileInspectorWithProfileData(bytes, 0);
        ASSERT_TRUE(inspector);
        EXPECT_EQ(inspector->profilePath().parent_path(), "/tmp");
        EXPECT_EQ(inspector->profilePath().filename().native().rfind("ZOL_ProfileInspector_", 0),
                  0u);
        EXPECT_TRUE(slidebox::platform::fileExistsAtPath(inspector->profilePath()));
        EXPECT_EQ(inspector->profileName(), "Test RGB tables");
        // Two inspectors never share a file.
        auto other = ProfileInspector::profileInspectorWithProfileData(bytes, -1);
        ASSERT_TRUE(other);
        EXPECT_NE(other->profilePath(), inspector->profilePath());
    }
    EXPECT_EQ(temporaryFiles(), before);

    // A failed opening leaves nothing behind either.
    Bytes broken(bytes.begin(), bytes.begin() + 200);
    EXPECT_FALSE(ProfileInspector::profileInspectorWithProfileData(broken, 0));
    EXPECT_FALSE(
        ProfileInspector::profileInspectorWithProfileData(stored("rgb-display-a2b0-grid5.icc"), 1));
    EXPECT_TRUE(ProfileInspector::goodProfileData(bytes));
    EXPECT_FALSE(ProfileInspector::goodProfileData(broken));
    EXPECT_FALSE(ProfileInspector::goodProfileData({}));
    EXPECT_EQ(temporaryFiles(), before);

    // A profile given by path is never removed.
    auto path = writeProfile(dir, "kept.icc", bytes);
    ProfileInspector::profileInspectorWithProfilePath(path, 0).reset();
    EXPECT_TRUE(slidebox::platform::fileExistsAtPath(path));
}

TEST_F(ProfileInspectorTest, PreferredIntentIsTheHeadersHeldInRange) {
    Bytes bytes = stored("rgb-tables-v2.icc");
    struct Row {
        std::uint32_t header;
        std::int32_t preferred;
    };
    for (Row row :
         {Row{0, 0}, Row{2, 2}, Row{3, 3}, Row{7, 3}, Row{0xFFFFFFFF, 0}, Row{0x80000000, 0}}) {
        setWord(bytes, 64, row.header);
        auto inspector = ProfileInspector::profileInspectorWithProfileData(bytes, -1);
        ASSERT_TRUE(inspector);
        EXPECT_EQ(inspector->preferedRenderingIntent(), row.preferred) << row.header;
    }
    // initWithPath takes that intent for its worlds.
    setWord(bytes, 64, 2);
    auto inspector = ProfileInspector::initWithPath(writeProfile(dir, "p.icc", bytes));
    ASSERT_TRUE(inspector);
    EXPECT_EQ(inspector->rendering(), 2);
    EXPECT_TRUE(inspector->DeviceToPCS());
}

TEST_F(ProfileInspectorTest, ComponentsFollowTheDataColorSpace) {
    Bytes bytes = stored("rgb-tables-v2.icc");
    std::vector<std::pair<std::string, unsigned>> rows = {{"GRAY", 1}, {"RGB ", 3}, {"Luv ", 3},
                                                          {"CMYK", 4}, {"MCH7", 7}, {"sRGB", 3},
                                                          {"2CLR", 0}, {"MCH4", 0}, {"abcd", 0}};
    for (unsigned n = 3; n <= 15; ++n) // "3CLR" .. "FCLR": n inks
        rows.push_back({std::string(1, "0123456789ABCDEF"[n]) + "CLR", n});
    for (const auto& [space, count] : rows) {
        setWord(bytes, 16, fourCC({space[0], space[1], space[2], space[3], 0}));
        // Worlds can't be asked of a profile whose space is a lie: intent -1.
        auto inspector = ProfileInspector::profileInspectorWithProfileData(bytes, -1);
        ASSERT_TRUE(inspector) << space;
        EXPECT_EQ(inspector->nbComponents(), count) << space;
    }
}

TEST_F(ProfileInspectorTest, ComparisonLooksAtNameDateAndSignaturesOnly) {
    Bytes a = stored("rgb-tables-v2.icc");
    Bytes b = stored("rgb-tables-v2-no-tech.icc"); // other contents, other size
    for (Bytes* bytes : {&a, &b})                  // the same date
        setDate(*bytes, {2024, 3, 5, 6, 7, 8});
    auto pa = writeProfile(dir, "a.icc", a);
    auto pb = writeProfile(dir, "b.icc", b);
    EXPECT_TRUE(ProfileInspector::profileWithPath(pa, pb));
    auto inspector = ProfileInspector::profileInspectorWithProfilePath(pa, -1);
    EXPECT_EQ(inspector->dateTimeAsString(), "2024-03-05 06:07:08 +0000");
    EXPECT_EQ(inspector->dateTime().year, 2024);

    Bytes c = b;
    c[35] = 9; // a second later
    EXPECT_FALSE(ProfileInspector::profileWithPath(pa, writeProfile(dir, "c.icc", c)));
    Bytes d = b;
    setWord(d, 12, cmOutputClass);
    EXPECT_FALSE(ProfileInspector::profileWithPath(pa, writeProfile(dir, "d.icc", d)));
    EXPECT_FALSE(ProfileInspector::profileWithPath(pa, dir / "missing.icc"));

    // Without descriptions both are "_unknown_", and so still equal.
    Bytes e = stored("rgb-two-tables-no-tech-no-desc.icc");
    std::copy(a.begin() + 24, a.begin() + 36, e.begin() + 24);
    auto pe = writeProfile(dir, "e.icc", e);
    auto pf = writeProfile(dir, "f.icc", e);
    EXPECT_EQ(ProfileInspector::profileInspectorWithProfilePath(pe, -1)->profileName(),
              "_unknown_");
    EXPECT_TRUE(ProfileInspector::profileWithPath(pe, pf));
}
