// Reading table elements by intent, their kind and grid, the fallback to
// the header's intent, and the profile description structure.
#include <gtest/gtest.h>

#include "color/profile_inspector.h"
#include "color/profile_tag_tables.h"
#include "color/tests/profile_fixtures.h"

using namespace slidebox::color;
using namespace slidebox::testing;

class ProfileTagTablesTest : public ::testing::Test {
  protected:
    ScopedProfilePlaces places;
    TempDir dir;

    CMProfileRef open(const Bytes& bytes) {
        auto profile = CMOpenProfile(writeProfile(dir, "p.icc", bytes));
        EXPECT_TRUE(profile);
        return profile;
    }
};

TEST(ProfileTagTables, TagsOfEachIntent) {
    struct Row {
        std::int32_t intent;
        const char* a;
        const char* b;
    };
    for (Row row : {Row{0, "A2B0", "B2A0"}, Row{1, "A2B1", "B2A1"}, Row{2, "A2B2", "B2A2"},
                    Row{3, "A2B1", "B2A1"}, Row{-1, "A2B1", "B2A1"}, Row{9, "A2B1", "B2A1"}}) {
        OSType a = 0, b = 0;
        GetTableTags(row.intent, &a, &b);
        EXPECT_EQ(a, fourCC({row.a[0], row.a[1], row.a[2], row.a[3], 0})) << row.intent;
        EXPECT_EQ(b, fourCC({row.b[0], row.b[1], row.b[2], row.b[3], 0})) << row.intent;
    }
    OSType only = 0;
    GetTableTags(2, nullptr, &only);
    EXPECT_EQ(only, fourCC("B2A2"));
}

TEST(ProfileTagTables, TypeTestAndTableRecordOfRawElements) {
    EXPECT_EQ(IsOSType(nullptr, kLut16Type), 0);
    ElementBlock shortBlock{'m', 'f', 't'};
    EXPECT_EQ(IsOSType(&shortBlock, kLut16Type), 0);
    ElementBlock lut8{'m', 'f', 't', '1', 0, 0, 0, 0, 4, 3, 17, 0};
    EXPECT_EQ(IsOSType(&lut8, kLut8Type), 1);
    EXPECT_EQ(IsOSType(&lut8, kLut16Type), 0);

    TabInfos infos;
    GetInfosOnTable(infos, &lut8);
    EXPECT_EQ(infos.size, 12u);
    EXPECT_EQ(infos.type, kLut8Type);
    EXPECT_EQ(infos.inputChannels, 4);
    EXPECT_EQ(infos.outputChannels, 3);
    EXPECT_EQ(infos.gridPoints, 17);

    ElementBlock mab{'m', 'B', 'A', ' ', 0, 0, 0, 0, 3, 4};
    GetInfosOnTable(infos, &mab);
    EXPECT_EQ(infos.type, kLutBtoAType);
    EXPECT_EQ(infos.gridPoints, 0xFFFF);
    EXPECT_EQ(infos.outputChannels, 4);

    // Another type, no element, or one too short leaves the record as it was.
    TabInfos before = infos;
    ElementBlock curve{'c', 'u', 'r', 'v', 0, 0, 0, 0, 0, 0, 0, 0};
    ElementBlock cut{'m', 'f', 't', '2', 0, 0, 0, 0, 3, 3};
    for (const ElementBlock* element : std::vector<const ElementBlock*>{&curve, &cut, nullptr}) {
        GetInfosOnTable(infos, element);
        EXPECT_EQ(infos.size, before.size);
        EXPECT_EQ(infos.type, before.type);
    }
    ResetTabInfos(infos);
    EXPECT_EQ(infos.size, 0u);
    EXPECT_EQ(infos.gridPoints, 0);
}

TEST_F(ProfileTagTablesTest, GetElementOutPlacesAndErrors) {
    auto profile = CMOpenProfile(storedPath("rgb-tables-v2.icc"));
    ASSERT_TRUE(profile);
    std::uint32_t size = 77;
    EXPECT_EQ(GetElement(*profile, fourCC("A2B0"), nullptr, &size), 0);
    EXPECT_EQ(size, 0u);

    std::optional<ElementBlock> element = ElementBlock{1, 2, 3};
    EXPECT_EQ(GetElement(*profile, fourCC("A2B0"), &element, &size), 0);
    ASSERT_TRUE(element);
    EXPECT_EQ(element->size(), size);
    EXPECT_EQ(IsOSType(&*element, kLut16Type), 1);

    EXPECT_EQ(GetElement(*profile, fourCC("gamt"), &element, &size), cmElementTagNotFound);
    EXPECT_FALSE(element);
    EXPECT_EQ(size, 0u);
    EXPECT_TRUE(TestProfileDatasForIntent(*profile, 2));
}

TEST_F(ProfileTagTablesTest, LutAtoBTablesHaveNoGridPoints) {
    // Lut16 grids are in the CLI's golden lines (icc info).
    const auto mab = storedPath("rgb-ab-tables-v4.icc");
    auto inspector = ProfileInspector::profileInspectorWithProfilePath(mab, 0);
    ASSERT_TRUE(inspector);
    EXPECT_EQ(inspector->DeviceToPCSNbGridPoints(), -1);
    EXPECT_EQ(inspector->PCSToDeviceNbGridPoints(), -1);
    auto profile = CMOpenProfile(mab);
    TabInfos a, b;
    GetProfileDatas(*profile, 0, *CMGetProfileHeader(*profile), &a, &b);
    EXPECT_EQ(a.type, kLutAtoBType);
    EXPECT_EQ(a.inputChannels, 3);
    EXPECT_EQ(a.outputChannels, 3);
    EXPECT_EQ(b.type, kLutBtoAType);
}

TEST_F(ProfileTagTablesTest, MissingTableFallsBackToTheHeadersIntent) {
    const auto path = storedPath("rgb-input-a2b0-grid6.icc");
    auto inspector = ProfileInspector::profileInspectorWithProfilePath(path, -1);
    ASSERT_TRUE(inspector);
    EXPECT_FALSE(inspector->availableRenderingIntent(1));
    EXPECT_TRUE(inspector->availableRenderingIntent(0));
    EXPECT_EQ(inspector->DeviceToPCSNbGridPoints(), 6); // -1 reads A2B1, falls back to A2B0

    // A header intent other than 0 and 2 falls back to A2B1.
    auto profile = CMOpenProfile(storedPath("rgb-input-intent3-a2b1-grid4-a2b2-grid5.icc"));
    TabInfos a;
    GetProfileDatas(*profile, 0, *CMGetProfileHeader(*profile), &a, nullptr);
    EXPECT_EQ(a.gridPoints, 4);

    // No table at all, or a table of another type: the record is zeroed.
    auto shaper = CMOpenProfile(storedPath("matrix-rgb-v2.icc"));
    Bytes curveBytes = stored("rgb-input-a2b0-grid6.icc");
    setWord(curveBytes, tagEntry(curveBytes, fourCC("A2B0")).value().first, fourCC("curv"));
    auto curve = open(curveBytes);
    for (CMProfile* profile : {shaper.get(), curve.get()}) {
        a.size = 5;
        GetProfileDatas(*profile, 0, *CMGetProfileHeader(*profile), &a, nullptr);
        EXPECT_EQ(a.size, 0u);
        EXPECT_EQ(a.type, 0u);
        EXPECT_EQ(a.gridPoints, 0);
    }
}

TEST_F(ProfileTagTablesTest, DescriptionStructureIs44BigEndianBytes) {
    Bytes bytes = stored("rgb-tables-v2.icc");
    setWord(bytes, 48, fourCC("SBOX"));
    setWord(bytes, 52, 0x00001234);
    setWord(bytes, 56, 0x01020304);
    setWord(bytes, 60, 0x05060708);
    auto inspector =
        ProfileInspector::profileInspectorWithProfilePath(writeProfile(dir, "d.icc", bytes), -1);
    ASSERT_TRUE(inspector);
    auto data = inspector->profileDescriptionStructureData();
    ASSERT_TRUE(data);
    const Bytes expected = {'S', 'B', 'O', 'X', 0,   0,   0x12, 0x34, 1,   2, 3, 4, 5, 6, 7,
                            8,   'C', 'R', 'T', ' ', 'm', 'l',  'u',  'c', 0, 0, 0, 0, 0, 0,
                            0,   0,   'm', 'l', 'u', 'c', 0,    0,    0,   0, 0, 0, 0, 0};
    EXPECT_EQ(*data, expected);

    auto plain = ProfileInspector::profileInspectorWithProfilePath(
        storedPath("rgb-tables-v2-no-tech.icc"), -1);
    auto plainData = plain->profileDescriptionStructureData();
    ASSERT_TRUE(plainData);
    ASSERT_EQ(plainData->size(), 44u);
    EXPECT_EQ(word(*plainData, 16), 0u);
}
