// Reading profiles: ProfileInspector opening (and why not) from a path and
// from bytes, its colour worlds, validation, comparison and header accessors;
// table elements by intent, their kind and grid, the fallback to the header's
// intent and the description structure; broken files named after their
// defect, each refused with its reason (random damage is the fuzzer's job).
// The measures of a printing profile: densities, dot gain, total ink, black
// limit, start of black and the characteristic colours, on made profiles
// whose inks are known (the CLI's golden lines hold the installed printer's
// and gray profile's measures).
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cmath>

#include "color/profile_inspector.h"
#include "color/profile_manager.h"
#include "color/profile_tag_tables.h"
#include "color/tests/present.h"
#include "color/tests/profile_fixtures.h"
#include "platform/file_system.h"
#include "tests/known_value.h"

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

// The made printers model their inks on sRGB: a half tint 0x7FFF leaves
// 0.50000763 of the light in sRGB's encoding, which is 0.2140482 of it
// linearly; the gain of every ink is then 100 * (1 - 0.2140482 - 0.5).
constexpr double kPlainInkGain = 28.595180;
constexpr double kGainTolerance = 0.05; // grid-9 tables and 16-bit Lab on the way
// L of the field 5930, where the walk for the start of black ends untested.
constexpr double kFloatTolerance = 1e-5;
// Published sRGB primaries in D50 Lab, as chroma and hue.
constexpr double kLchTolerance = 0.15;
constexpr double kLabTolerance = 0.1;

CMColor labColor(std::uint16_t L, std::uint16_t a, std::uint16_t b) {
    CMColor c{};
    c.lab = {L, a, b};
    return c;
}

/// The dot gains of cyan, magenta, yellow and black, in that order.
std::array<float, 4> gains(ProfileInspector& inspector) {
    return {inspector.dotGainOfCyanChanel(), inspector.dotGainOfMagentaChanel(),
            inspector.dotGainOfYellowChanel(), inspector.dotGainOfBlackChanel()};
}

float labL(const CMColor& c) {
    float L, a, b;
    ColorWorld::CMLab(c, L, a, b);
    return L;
}

} // namespace

class ProfileReading : public ::testing::Test {
  protected:
    ScopedProfilePlaces places;
    TempDir dir;
    Bytes good = stored("rgb-tables-v2.icc");

    static std::unique_ptr<ProfileInspector> printer(const std::string& name, std::int32_t intent) {
        return present(ProfileInspector::profileInspectorWithProfilePath(storedPath(name), intent));
    }

    /// Writes bytes to dir/broken.icc, in place of what was there.
    std::filesystem::path write(const Bytes& bytes) {
        std::filesystem::remove(dir / "broken.icc");
        return writeProfile(dir, "broken.icc", bytes);
    }
};

TEST_F(ProfileReading, IntentChoosesWhetherWorldsAreMade) {
    const auto path = storedPath("rgb-tables-v2.icc");
    for (std::int32_t intent : {0, 1, 2, 3, -1, 4, 77}) {
        const bool worlds = intent >= 0 && intent <= 3;
        auto inspector = present(ProfileInspector::profileInspectorWithProfilePath(path, intent));
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
    EXPECT_EQ((std::vector{inspector->DeviceToPCS()->dataColorSpaceIn(),
                           inspector->DeviceToPCS()->dataColorSpaceOut(),
                           inspector->PCSToDevice()->dataColorSpaceIn(),
                           inspector->PCSToDevice()->dataColorSpaceOut()}),
              (std::vector{cmRGBData, cmLabData, cmLabData, cmRGBData}));

    // A spoilt intent 2 table fails validation but not intent 0: its A2B2 is
    // an 'mft2' element that stops after its channel counts.
    const auto spoilt = storedPath("rgb-tables-v2-a2b2-cut-short.icc");
    for (std::int32_t intent : {0, 1, 2})
        EXPECT_EQ(!!ProfileInspector::profileInspectorWithProfilePath(spoilt, intent), intent != 2);
    EXPECT_FALSE(ProfileInspector::goodPathProfileData(spoilt));
    EXPECT_TRUE(ProfileInspector::goodPathProfileData(path));
}

TEST_F(ProfileReading, OneWayProfileStandsOnlyAsInputClassAndRefusalsSayWhy) {
    using slidebox::platform::ErrorCode;
    // Why a file doesn't open is the catalogue's reason, passed on.
    EXPECT_EQ(ProfileInspector::inspect(dir / "missing.icc", -1).status().code(),
              ErrorCode::CannotOpen);
    EXPECT_FALSE(ProfileInspector::initWithPath(dir / "missing.icc"));
    // A display profile with no way back from Lab makes no worlds.
    const auto display = storedPath("rgb-display-a2b0-grid5.icc");
    EXPECT_EQ(ProfileInspector::inspect(display, 0).status().code(), ErrorCode::Unsupported);
    Bytes scannerBytes = stored("rgb-display-a2b0-grid5.icc");
    setWord(scannerBytes, 12, cmInputClass);
    const auto scanner = writeProfile(dir, "scanner.icc", scannerBytes);
    auto input = present(ProfileInspector::profileInspectorWithProfilePath(scanner, 0));
    EXPECT_TRUE(input->DeviceToPCS() && !input->PCSToDevice());
    EXPECT_EQ(std::pair(input->DeviceToPCSNbGridPoints(), input->PCSToDeviceNbGridPoints()),
              std::pair(5, 0));
    // A scanner profile that can't convert from Lab is still good.
    EXPECT_TRUE(ProfileInspector::goodPathProfileData(scanner));
    EXPECT_FALSE(ProfileInspector::goodPathProfileData(display));
}

TEST_F(ProfileReading, FromBytesTheTemporaryFileGoesWithTheInspector) {
    auto before = temporaryFiles();
    Bytes bytes = stored("rgb-tables-v2.icc");
    {
        auto inspector = present(ProfileInspector::profileInspectorWithProfileData(bytes, 0));
        EXPECT_EQ(inspector->profilePath().parent_path(), "/tmp");
        EXPECT_EQ(inspector->profilePath().filename().native().rfind("ZOL_ProfileInspector_", 0),
                  0u);
        EXPECT_TRUE(slidebox::platform::fileExistsAtPath(inspector->profilePath()));
        // Two inspectors never share a file.
        auto other = present(ProfileInspector::profileInspectorWithProfileData(bytes, -1));
        EXPECT_NE(other->profilePath(), inspector->profilePath());
    }
    EXPECT_EQ(temporaryFiles(), before);

    // A failed opening leaves nothing behind either.
    Bytes broken(bytes.begin(), bytes.begin() + 200);
    EXPECT_FALSE(ProfileInspector::profileInspectorWithProfileData(broken, 0));
    EXPECT_TRUE(ProfileInspector::goodProfileData(bytes));
    EXPECT_FALSE(ProfileInspector::goodProfileData(broken) ||
                 ProfileInspector::goodProfileData({}));
    EXPECT_EQ(temporaryFiles(), before);

    // A profile given by path is never removed.
    auto path = writeProfile(dir, "kept.icc", bytes);
    ProfileInspector::profileInspectorWithProfilePath(path, 0).reset();
    EXPECT_TRUE(slidebox::platform::fileExistsAtPath(path));
}

TEST_F(ProfileReading, PreferredIntentIsTheHeadersHeldInRange) {
    Bytes bytes = stored("rgb-tables-v2.icc");
    const std::pair<std::uint32_t, std::int32_t> rows[] = {
        {0, 0}, {2, 2}, {3, 3}, {7, 3}, {0xFFFFFFFF, 0}, {0x80000000, 0}};
    for (auto [header, preferred] : rows) {
        setWord(bytes, 64, header);
        auto inspector = present(ProfileInspector::profileInspectorWithProfileData(bytes, -1));
        EXPECT_EQ(inspector->preferedRenderingIntent(), preferred) << header;
    }
    // initWithPath takes that intent for its worlds.
    setWord(bytes, 64, 2);
    auto inspector = present(ProfileInspector::initWithPath(writeProfile(dir, "p.icc", bytes)));
    EXPECT_EQ(inspector->rendering(), 2);
    EXPECT_TRUE(inspector->DeviceToPCS());
}

TEST_F(ProfileReading, ComponentsFollowTheDataColorSpace) {
    Bytes bytes = stored("rgb-tables-v2.icc");
    std::vector<std::pair<std::string, unsigned>> rows = {{"GRAY", 1}, {"RGB ", 3}, {"Luv ", 3},
                                                          {"CMYK", 4}, {"MCH7", 7}, {"sRGB", 3},
                                                          {"2CLR", 0}, {"MCH4", 0}, {"abcd", 0}};
    for (unsigned n = 3; n <= 15; ++n) // "3CLR" .. "FCLR": n inks
        rows.push_back({std::string(1, "0123456789ABCDEF"[n]) + "CLR", n});
    for (const auto& [space, count] : rows) {
        setWord(bytes, 16, fourCC({space[0], space[1], space[2], space[3], 0}));
        // Worlds can't be asked of a profile whose space is a lie: intent -1.
        auto inspector =
            present(ProfileInspector::profileInspectorWithProfileData(bytes, -1), space);
        EXPECT_EQ(inspector->nbComponents(), count) << space;
    }
}

TEST_F(ProfileReading, ComparisonLooksAtNameDateAndSignaturesOnly) {
    Bytes a = stored("rgb-tables-v2.icc");
    Bytes b = stored("rgb-tables-v2-no-tech.icc"); // other contents, other size
    for (Bytes* bytes : {&a, &b})                  // the same date
        setDate(*bytes, {2024, 3, 5, 6, 7, 8});
    const auto pa = writeProfile(dir, "a.icc", a), pb = writeProfile(dir, "b.icc", b);
    EXPECT_TRUE(ProfileInspector::profileWithPath(pa, pb));
    auto inspector = ProfileInspector::profileInspectorWithProfilePath(pa, -1);
    EXPECT_EQ(inspector->dateTimeAsString(), "2024-03-05 06:07:08 +0000");
    EXPECT_EQ(inspector->dateTime().year, 2024);

    b[35] = 9; // a second later
    EXPECT_FALSE(ProfileInspector::profileWithPath(pa, writeProfile(dir, "c.icc", b)));
    b[35] = 8;
    setWord(b, 12, cmOutputClass);
    EXPECT_FALSE(ProfileInspector::profileWithPath(pa, writeProfile(dir, "d.icc", b)));
    EXPECT_FALSE(ProfileInspector::profileWithPath(pa, dir / "missing.icc"));

    // Without descriptions both are "_unknown_", and so still equal.
    Bytes e = stored("rgb-two-tables-no-tech-no-desc.icc");
    std::copy(a.begin() + 24, a.begin() + 36, e.begin() + 24);
    const auto pe = writeProfile(dir, "e.icc", e), pf = writeProfile(dir, "f.icc", e);
    EXPECT_EQ(ProfileInspector::profileInspectorWithProfilePath(pe, -1)->profileName(),
              "_unknown_");
    EXPECT_TRUE(ProfileInspector::profileWithPath(pe, pf));
}

TEST(ProfileTagTables, TagsOfEachIntentTypeTestAndTableRecordOfRawElements) {
    const OSType a1 = fourCC("A2B1"), b1 = fourCC("B2A1");
    for (auto [intent, a, b] : {std::tuple{0, fourCC("A2B0"), fourCC("B2A0")},
                                {1, a1, b1},
                                {2, fourCC("A2B2"), fourCC("B2A2")},
                                {3, a1, b1},
                                {-1, a1, b1},
                                {9, a1, b1}}) {
        OSType tagA = 0, tagB = 0;
        GetTableTags(intent, &tagA, &tagB);
        EXPECT_EQ(std::pair(tagA, tagB), std::pair(a, b)) << intent;
    }
    OSType only = 0;
    GetTableTags(2, nullptr, &only);
    EXPECT_EQ(only, fourCC("B2A2"));

    EXPECT_EQ(IsOSType(nullptr, kLut16Type), 0);
    ElementBlock shortBlock{'m', 'f', 't'};
    EXPECT_EQ(IsOSType(&shortBlock, kLut16Type), 0);
    ElementBlock lut8{'m', 'f', 't', '1', 0, 0, 0, 0, 4, 3, 17, 0};
    EXPECT_EQ(IsOSType(&lut8, kLut8Type), 1);
    EXPECT_EQ(IsOSType(&lut8, kLut16Type), 0);

    TabInfos infos;
    GetInfosOnTable(infos, &lut8);
    EXPECT_EQ((std::vector<std::uint64_t>{
                  infos.size, infos.type, std::uint64_t(infos.inputChannels),
                  std::uint64_t(infos.outputChannels), std::uint64_t(infos.gridPoints)}),
              (std::vector<std::uint64_t>{12, kLut8Type, 4, 3, 17}));

    ElementBlock mab{'m', 'B', 'A', ' ', 0, 0, 0, 0, 3, 4};
    GetInfosOnTable(infos, &mab);
    EXPECT_EQ((std::vector<std::uint64_t>{infos.type, std::uint64_t(infos.gridPoints),
                                          std::uint64_t(infos.outputChannels)}),
              (std::vector<std::uint64_t>{kLutBtoAType, 0xFFFF, 4}));

    // Another type, no element, or one too short leaves the record as it was.
    TabInfos before = infos;
    ElementBlock curve{'c', 'u', 'r', 'v', 0, 0, 0, 0, 0, 0, 0, 0};
    ElementBlock cut{'m', 'f', 't', '2', 0, 0, 0, 0, 3, 3};
    for (const ElementBlock* element : std::vector<const ElementBlock*>{&curve, &cut, nullptr}) {
        GetInfosOnTable(infos, element);
        EXPECT_EQ(std::pair(infos.size, infos.type), std::pair(before.size, before.type));
    }
    ResetTabInfos(infos);
    EXPECT_EQ((std::vector<std::uint64_t>{infos.size, infos.gridPoints}),
              (std::vector<std::uint64_t>(2, 0)));
}

TEST_F(ProfileReading, GetElementOutPlacesAndErrors) {
    auto profile = present(CMOpenProfile(storedPath("rgb-tables-v2.icc")));
    std::uint32_t size = 77;
    EXPECT_EQ(GetElement(*profile, fourCC("A2B0"), nullptr, &size), 0);
    EXPECT_EQ(size, 0u);

    std::optional<ElementBlock> element = ElementBlock{1, 2, 3};
    EXPECT_EQ(GetElement(*profile, fourCC("A2B0"), &element, &size), 0);
    EXPECT_EQ(element.value().size(), size);
    EXPECT_EQ(IsOSType(&*element, kLut16Type), 1);

    EXPECT_EQ(GetElement(*profile, fourCC("gamt"), &element, &size), cmElementTagNotFound);
    EXPECT_FALSE(element);
    EXPECT_EQ(size, 0u);
    EXPECT_TRUE(TestProfileDatasForIntent(*profile, 2));
}

TEST_F(ProfileReading, MissingTableFallsBackToTheHeadersIntentAndLutAtoBHasNoGrid) {
    const auto path = storedPath("rgb-input-a2b0-grid6.icc");
    auto inspector = present(ProfileInspector::profileInspectorWithProfilePath(path, -1));
    EXPECT_TRUE(inspector->availableRenderingIntent(0) && !inspector->availableRenderingIntent(1));
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
    auto curve = CMOpenProfile(write(curveBytes));
    for (CMProfile* profile : {shaper.get(), curve.get()}) {
        a.size = 5;
        GetProfileDatas(*profile, 0, *CMGetProfileHeader(*profile), &a, nullptr);
        EXPECT_EQ((std::vector<std::uint64_t>{a.size, a.type, std::uint64_t(a.gridPoints)}),
                  (std::vector<std::uint64_t>(3, 0)));
    }

    // Lut A-to-B tables have no grid points (Lut16 grids are in the CLI's
    // golden lines, icc info).
    const auto mab = storedPath("rgb-ab-tables-v4.icc");
    auto mabInspector = present(ProfileInspector::profileInspectorWithProfilePath(mab, 0));
    EXPECT_EQ(
        std::pair(mabInspector->DeviceToPCSNbGridPoints(), mabInspector->PCSToDeviceNbGridPoints()),
        std::pair(-1, -1));
    auto mabProfile = CMOpenProfile(mab);
    TabInfos mabA, mabB;
    GetProfileDatas(*mabProfile, 0, *CMGetProfileHeader(*mabProfile), &mabA, &mabB);
    EXPECT_EQ((std::vector<std::uint64_t>{mabA.type, std::uint64_t(mabA.inputChannels),
                                          std::uint64_t(mabA.outputChannels), mabB.type}),
              (std::vector<std::uint64_t>{kLutAtoBType, 3, 3, kLutBtoAType}));
}

TEST_F(ProfileReading, DescriptionStructureIs44BigEndianBytes) {
    Bytes bytes = stored("rgb-tables-v2.icc");
    setWord(bytes, 48, fourCC("SBOX"));
    setWord(bytes, 52, 0x00001234);
    setWord(bytes, 56, 0x01020304);
    setWord(bytes, 60, 0x05060708);
    auto inspector = present(
        ProfileInspector::profileInspectorWithProfilePath(writeProfile(dir, "d.icc", bytes), -1));
    const Bytes data = inspector->profileDescriptionStructureData().value();
    const Bytes expected = {'S', 'B', 'O', 'X', 0,   0,   0x12, 0x34, 1,   2, 3, 4, 5, 6, 7,
                            8,   'C', 'R', 'T', ' ', 'm', 'l',  'u',  'c', 0, 0, 0, 0, 0, 0,
                            0,   0,   'm', 'l', 'u', 'c', 0,    0,    0,   0, 0, 0, 0, 0};
    EXPECT_EQ(data, expected);

    auto plain = ProfileInspector::profileInspectorWithProfilePath(
        storedPath("rgb-tables-v2-no-tech.icc"), -1);
    const Bytes plainData = plain->profileDescriptionStructureData().value();
    ASSERT_EQ(plainData.size(), 44u);
    EXPECT_EQ(word(plainData, 16), 0u);

    // A 'tech' element too short to hold its signature counts as none.
    Bytes shortTech = stored("rgb-tables-v2.icc");
    for (std::size_t entry = 132; entry < 132 + 12 * std::size_t{word(shortTech, 128)}; entry += 12)
        if (word(shortTech, entry) == fourCC("tech"))
            setWord(shortTech, entry + 8, 8);
    auto cut = present(ProfileInspector::profileInspectorWithProfilePath(
        writeProfile(dir, "t.icc", shortTech), -1));
    EXPECT_EQ(word(cut->profileDescriptionStructureData().value(), 16), 0u);
}

TEST_F(ProfileReading, WrongDeclaredSizesTagCountsAndDescriptionCounts) {
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
    }
    // A declared size below the file's is accepted: some profiles carry padding.
    Bytes padded = good;
    padded.resize(good.size() + 64, 0);
    EXPECT_TRUE(CMOpenProfile(write(padded)));

    // A description whose count runs past its end is no name.
    auto desc = present(tagEntry(good, fourCC("desc")));
    ASSERT_EQ(word(good, desc->first), fourCC("desc"));
    for (std::uint32_t count : {desc->second, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        Bytes bytes = good;
        setWord(bytes, desc->first + 8, count); // the ASCII count
        auto path = write(bytes);
        auto inspector = present(ProfileInspector::profileInspectorWithProfilePath(path, -1));
        EXPECT_EQ(inspector->profileName(), "_unknown_") << count;
    }
}

TEST_F(ProfileReading, FilesThatArentProfilesAreRefusedAtOnceWithTheirReason) {
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

TEST_F(ProfileReading, CatalogueLeavesOutBrokenUnreadableAndLoopingEntries) {
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

TEST_F(ProfileReading, DensityIsLogOfTheInverseComponentWithWhiteAtMinusTwo) {
    const auto lab = ProfileManager::pathOfGenericLabProfil().value();
    auto world = present(ColorWorld::initColorWorldWithSrcProfil(lab, lab, 1));
    CMColor white = labColor(65535, 32768, 32768);
    EXPECT_NEAR(ProfileInspector::YdensityForColor(white, *world), -2.0, kFloatTolerance);
    // The colour is overwritten by its match: Lab through Lab is itself.
    EXPECT_EQ(white.lab.L, 65535);
    EXPECT_NEAR(ProfileInspector::XdensityForColor(white, *world), -std::log10(96.42),
                kFloatTolerance);
    EXPECT_NEAR(ProfileInspector::ZdensityForColor(white, *world), -std::log10(82.49),
                kFloatTolerance);
    // Black has no light left: its density is infinite.
    CMColor black = labColor(0, 32768, 32768);
    EXPECT_TRUE(std::isinf(ProfileInspector::YdensityForColor(black, *world)));
}

TEST_F(ProfileReading, DotGainAndCharacteristicPointsOfAPrinterAreItsInks) {
    auto inspector = printer("cmyk-printer.icc", 1);
    EXPECT_FALSE(inspector->calculatedDotGain());
    // The solid black has no light at all: 10^(Dp - Ds) is 0 and the gain stays finite.
    for (float gain : gains(*inspector))
        EXPECT_NEAR(gain, kPlainInkGain, kGainTolerance);
    EXPECT_TRUE(inspector->calculatedDotGain());

    CharacteristicProfilePoints p = inspector->characteristicProfilePoints();
    // The paper is white, every full ink black.
    EXPECT_KNOWN3(100.0, 0.0, 0.0, kLabTolerance, p.lightestLch.L, p.lightestLch.c, p.fullInkLch.L);
    EXPECT_KNOWN3(0.0, 0.0, 100.0, kLabTolerance, p.blackInkLch.L, p.cmyInkLch.L,
                  labL(p.lightestColor));
    EXPECT_NEAR(labL(p.blackPointColor), 0.0, kLabTolerance);
    // The primaries are sRGB's in D50 Lab: magenta, red, yellow, green, cyan, blue.
    const double chroma[6] = {111.42, 106.84, 94.69, 113.33, 52.83, 131.23};
    const double hue[6] = {327.10, 40.85, 99.57, 134.39, 196.48, 301.36};
    for (int i = 0; i < 6; ++i) {
        EXPECT_NEAR(p.primaryLch[i].c, chroma[i], kLchTolerance) << i;
        EXPECT_NEAR(p.primaryLch[i].h, hue[i], kLchTolerance) << i;
    }
    EXPECT_EQ(p.maxChroma, p.primaryLch[5].c); // blue

    // An RGB profile has none of it.
    auto rgb = printer("rgb-tables-v2.icc", 1);
    EXPECT_EQ(rgb->characteristicProfilePoints().lightestLch.L, 0.0f);
    EXPECT_EQ(rgb->PCSToDeviceTotalInkMax(), 400);
    EXPECT_EQ(gains(*rgb), (std::array<float, 4>{}));
    EXPECT_TRUE(rgb->calculatedDotGain());
}

TEST_F(ProfileReading, DotGainIsWorkedOutOnceAndAFailureIsNotRetried) {
    auto path = writeProfile(dir, "printer.icc", stored("cmyk-printer.icc"));
    auto inspector = present(ProfileInspector::profileInspectorWithProfilePath(path, -1));
    const auto before = CMGetEngineCounters().worldsBuilt;
    const float cyan = inspector->dotGainOfCyanChanel();
    EXPECT_EQ(CMGetEngineCounters().worldsBuilt, before + 1);
    // Another profile in the same file changes nothing: no second world.
    writeProfile(dir, "printer.icc", stored("cmyk-printer-no-black.icc"));
    EXPECT_EQ(inspector->dotGainOfCyanChanel(), cyan);
    EXPECT_NEAR(inspector->dotGainOfBlackChanel(), kPlainInkGain, kGainTolerance);
    EXPECT_EQ(CMGetEngineCounters().worldsBuilt, before + 1);

    // The dot gain has a world of its own: an inspector without worlds
    // measures it too. The profile gone before the first measure: the gains stay 0, for good.
    auto lost = present(ProfileInspector::profileInspectorWithProfilePath(path, -1));
    std::filesystem::remove(path);
    EXPECT_EQ(lost->dotGainOfYellowChanel(), 0.0f);
    EXPECT_TRUE(lost->calculatedDotGain());
    writeProfile(dir, "printer.icc", stored("cmyk-printer.icc"));
    EXPECT_EQ(lost->dotGainOfYellowChanel(), 0.0f);
}

TEST_F(ProfileReading, WithoutAWayBackTheInkMeasuresGiveTheirDefaults) {
    // Without worlds a printer that only goes to Lab gives the defaults.
    const auto oneWayPath = storedPath("cmyk-printer-a2b-only.icc");
    auto oneWayBare = present(ProfileInspector::profileInspectorWithProfilePath(oneWayPath, -1));
    EXPECT_EQ(oneWayBare->PCSToDeviceTotalInkMax(), 400);
    EXPECT_NEAR(oneWayBare->dotGainOfMagentaChanel(), kPlainInkGain, kGainTolerance);

    // An input profile stands with one way: defaults, and its black point is
    // the full-ink colour.
    Bytes input = stored("cmyk-printer-a2b-only.icc");
    setWord(input, 12, cmInputClass);
    auto scanner = present(
        ProfileInspector::profileInspectorWithProfilePath(writeProfile(dir, "in.icc", input), 1));
    ASSERT_FALSE(scanner->PCSToDevice());
    EXPECT_EQ(
        std::pair(scanner->PCSToDeviceBlackMax(), scanner->PCSToDeviceLuminanceOfStartBlack()),
        std::pair(100, 100.0f));
    CharacteristicProfilePoints points = scanner->characteristicProfilePoints();
    EXPECT_TRUE(std::equal(points.blackPointColor.raw, points.blackPointColor.raw + 3,
                           points.fullInkColor.raw));
}

TEST_F(ProfileReading, TotalInkBlackAndStartOfBlack) {
    const struct {
        const char* file;
        std::optional<int> totalInk, blackMax;
        float startOfBlack; // L where the walk down the neutral axis ends
    } rows[] = {
        // 74.9996 % four times sums to 299.998 in single precision: truncated.
        {"cmyk-printer-ink-just-under-300.icc", 299, 74, -1.0f},
        // Black never reaches 0.5 %: the walk ends at 5930 without testing it.
        {"cmyk-printer-no-black.icc", 300, 0, static_cast<float>(5930 * 100.0 / 65535.0)},
        // 1 % of black already on white: the first test stops, exactly 100.
        {"cmyk-printer-black-on-white.icc", std::nullopt, std::nullopt, 100.0f},
        // All neutrals in black: the second step, L 64880, already has about 1 %.
        {"cmyk-printer.icc", std::nullopt, std::nullopt,
         static_cast<float>(64880 * 100.0 / 65535.0)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.file);
        auto inspector = printer(row.file, 1);
        if (row.totalInk) {
            EXPECT_EQ(inspector->PCSToDeviceTotalInkMax(), *row.totalInk);
        }
        if (row.blackMax) {
            EXPECT_EQ(inspector->PCSToDeviceBlackMax(), *row.blackMax);
        }
        if (row.startOfBlack >= 0.0f) {
            EXPECT_EQ(inspector->PCSToDeviceLuminanceOfStartBlack(), row.startOfBlack);
        }
    }
}
