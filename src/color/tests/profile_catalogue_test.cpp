// The header report (its seven lines and number formats) and the catalogue:
// installed profiles by kind and space in groups, the
// profiles of one folder, its rows, its current row as text, and the table
// source — on folder trees made for each test; the generic profiles, the
// user's folder, the display profile (colord, or the X11 property read from
// an Xvfb of the test's own, set with xprop as a colour tool would set it)
// and the screen under a point.
#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include "color/profile_header_report.h"
#include "color/profile_manager.h"
#include "color/profile_table_model.h"
#include "color/tests/present.h"
#include "color/tests/profile_fixtures.h"
#include "platform/file_system.h"
#include "platform/script_runner.h"
#include "tests/child_process.h"
#include "tests/scoped_env.h"

#include <QGuiApplication>
#include <QScreen>

#include <cmath>
#include <map>

using namespace slidebox::color;
using namespace slidebox::testing;

namespace {

const OSType kCMY = fourCC("CMY ");
const std::string kNul4(4, '\0');

using Names = std::vector<std::string>;

/// Names of all rows, "|" for a separator; a catalogue that came to nothing
/// is one row of its own.
Names rows(const ProfileManager* m) {
    if (!m)
        return {"no catalogue"};
    Names names;
    for (std::int32_t i = 0; i < m->count(); ++i)
        names.push_back(m->isASeparatorAtIndex(i) ? "|" : *m->profileNameAtIndex(i));
    return names;
}
Names rows(const std::unique_ptr<ProfileManager>& m) {
    return rows(m.get());
}

/// The current row as text: name, space, kind, connection space, creator, date.
std::vector<std::string> current(const ProfileManager& m) {
    return {m.name(), m.colorSpace(), m.kindOfUse(), m.pcs(), m.profilCreator(), m.creationDate()};
}

CM2Header sampleHeader() {
    return {.size = 3144,
            .CMMType = fourCC("lcms"),
            .profileVersion = 0x02100000,
            .profileClass = fourCC("mntr"),
            .dataColorSpace = fourCC("RGB "),
            .profileConnectionSpace = fourCC("XYZ "),
            .CS2profileSignature = fourCC("acsp"),
            .platform = fourCC("APPL"),
            .flags = 0x00010002,
            .deviceManufacturer = fourCC("IEC "),
            .deviceModel = 0x73524742,
            .deviceAttributes = {0x00000001, 0x80000000},
            .renderingIntent = 1,
            .white = {0xF6D6, 0x10000, 0xD32D}};
}
} // namespace

/// Installed folders of the test's own: system, local, data home, ~/.color.
class CatalogueTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ProfilePlaces p = ProfilePlaces::underHome(places.home().path());
        p.profileFolders = {root / "system", root / "local", root / "data", root / "dotcolor"};
        ProfileManager::setPlaces(p);
    }
    void put(const std::string& relative, const Bytes& bytes) {
        writeProfile(root, relative, bytes);
    }
    /// A CMYK printer profile of the given name and creation date.
    void putDated(const std::string& relative, const std::string& name, const CMDateTime& date) {
        Bytes bytes = catalogueProfile(cmOutputClass, cmCMYKData, name);
        setDate(bytes, date);
        put(relative, bytes);
    }
    ScopedProfilePlaces places;
    TempDir root;
};

TEST_F(CatalogueTest, InstalledProfilesComeInGroupsOfKindThenSpace) {
    put("system/b-rgb-display.icc", catalogueProfile(cmDisplayClass, cmRGBData, "Display RGB B"));
    put("system/a-cmyk-printer.icc", catalogueProfile(cmOutputClass, cmCMYKData, "Printer"));
    put("system/sub/a-gray-display.icc", catalogueProfile(cmDisplayClass, cmGrayData, "Gray"));
    put("system/a-rgb-display.icc", catalogueProfile(cmDisplayClass, cmRGBData, "Display RGB A"));
    put("local/lab-space.icc", catalogueProfile(cmColorSpaceClass, cmLabData, "Lab space"));
    put("data/scanner.icc", catalogueProfile(cmInputClass, cmRGBData, "Scanner"));
    put("dotcolor/.hidden.icc", catalogueProfile(cmDisplayClass, cmRGBData, "Hidden"));
    put("dotcolor/abstract.icc", catalogueProfile(cmAbstractClass, cmLabData, "Abstract"));
    put("dotcolor/named.icc", catalogueProfile(cmNamedColorClass, cmLabData, "Named"));

    auto all = present(ProfileManager::init());
    // spac, scnr, mntr (RGB in walk order, then GRAY), prtr; no abst, nmcl.
    const Names expected = {"Lab space", "|", "Scanner", "|", "Display RGB A", "Display RGB B",
                            "Hidden",    "|", "Gray",    "|", "Printer"};
    EXPECT_EQ(rows(all), expected); // no separator at either end, never two side by side

    const std::int32_t hidden = all->indexOfProfileName("Hidden");
    EXPECT_EQ(all->profileFileNameAtIndex(hidden), std::optional<std::string>(".hidden.icc"));
    EXPECT_EQ(all->profileFileNameAtIndex(all->indexOfProfileName("Gray")),
              std::optional<std::string>("a-gray-display.icc"));
    EXPECT_EQ(
        std::pair(all->profileKindOfUseAtIndex(hidden), all->profileColorSpaceAtIndex(hidden)),
        std::pair(kUseDisplay, kSpaceRGB));
    EXPECT_TRUE(all->hasFullDatas());

    // Masks pick kinds and spaces; the two kinds init leaves out can be asked for.
    auto displays =
        present(ProfileManager::initWithUse(kUseDisplay | kUseNamedColor, kSpaceRGB | kSpaceLab));
    EXPECT_EQ(rows(displays), (Names{"Display RGB A", "Display RGB B", "Hidden", "|", "Named"}));
    EXPECT_FALSE(displays->hasFullDatas());
    EXPECT_FALSE(ProfileManager::initWithUse(kUseLink, 0x3F, true));
    EXPECT_FALSE(ProfileManager::initWithUse(0x7F, 0));
}

TEST_F(CatalogueTest, WalkIsSortedByBytesAndSubfoldersStandInPlace) {
    put("system/B.icc", catalogueProfile(cmDisplayClass, cmRGBData, "B"));
    put("system/a/z.icc", catalogueProfile(cmDisplayClass, cmRGBData, "a/z"));
    put("system/a.icc", catalogueProfile(cmDisplayClass, cmRGBData, "a.icc"));
    put("system/\xC3\xA9.icc", catalogueProfile(cmDisplayClass, cmRGBData, "e-acute"));
    put("system/_.icc", catalogueProfile(cmDisplayClass, cmRGBData, "underscore"));
    // A link to a folder isn't followed; a link to a file is a file.
    std::filesystem::create_directory_symlink(root / "system/a", root / "system/c-link-to-a");
    std::filesystem::create_symlink(root / "system/B.icc", root / "system/d-link-to-B.icc");

    auto m = present(ProfileManager::initWithUse(kUseDisplay, kSpaceRGB));
    // "B" < "_" < "a" < "a.icc" < "d-..." < "\xC3": bytes, not letters.
    EXPECT_EQ(rows(m), (Names{"B", "underscore", "a/z", "a.icc", "B", "e-acute"}));
    EXPECT_EQ(*m->profilePathAtIndex(4), root / "system/d-link-to-B.icc");
}

TEST_F(CatalogueTest, XYZColorSpaceProfilesOnlyFromAFolderAndNamesCutTo255Bytes) {
    put("system/xyz-space.icc", catalogueProfile(cmColorSpaceClass, cmXYZData, "XYZ space"));
    put("system/xyz-display.icc", catalogueProfile(cmDisplayClass, cmXYZData, "XYZ display"));
    EXPECT_EQ(rows(ProfileManager::initWithUse(0x7F, kSpaceXYZ)), (Names{"XYZ display"}));
    EXPECT_EQ(rows(ProfileManager::initWithUse(0, kSpaceXYZ, true, root / "system")),
              (Names{"|", "XYZ display  (xyz-display.icc)", "XYZ space  (xyz-space.icc)"}));

    // Installed names are the engine's description cut to 255 bytes.
    put("system/long.icc", catalogueProfile(cmDisplayClass, cmRGBData, std::string(300, 'x')));
    put("system/none.icc", catalogueProfile(cmDisplayClass, cmRGBData, std::nullopt));
    put("system/v4.icc", stored("matrix-rgb-v4-localized.icc"));
    // No description: offered all the same, and not a separator.
    EXPECT_EQ(rows(ProfileManager::initWithUse(kUseDisplay, kSpaceRGB)),
              (Names{std::string(255, 'x'), "", "Localized"}));
}

TEST_F(CatalogueTest, EachFileIsReadOncePerListingAndPathsPastTheSystemsLimitAreListed) {
    for (std::string i : {"0", "1", "2", "3", "4"})
        put("system/p" + i + ".icc", catalogueProfile(cmDisplayClass, cmRGBData, "P" + i));
    put("system/junk.icc", Bytes(500, 0x41));
    const auto before = CMGetEngineCounters().profilesOpened;
    EXPECT_EQ(present(ProfileManager::initWithUse(0x7F, 0x3F, true))->count(), 5); // all 42 pairs
    EXPECT_EQ(CMGetEngineCounters().profilesOpened - before, 5u);

    // A folder list of all spaces: the same, once a file.
    const auto beforeFolder = CMGetEngineCounters().profilesOpened;
    EXPECT_EQ(present(ProfileManager::initWithUse(0, 0x3F, true, root / "system"))->count(), 6);
    EXPECT_EQ(CMGetEngineCounters().profilesOpened - beforeFolder, 5u);

    // Profiles past the system's path limit open and are listed.
    const auto deep = writeDeepFile(root / "system", 6000,
                                    readFile(ProfileManager::pathOfGenericLabProfil().value()));
    ASSERT_FALSE(deep.empty());
    EXPECT_TRUE(ProfileManager::openProfile(deep));
    auto installed = present(ProfileManager::initWithUse(kUseAbstract, kSpaceLab));
    EXPECT_EQ(installed->profilesPathArray(), std::vector<std::filesystem::path>{deep});
    auto folder = present(ProfileManager::initWithUse(0, kSpaceLab, false, root / "system", false));
    EXPECT_NE(folder->indexOfProfilePath(deep), ProfileManager::kNotFound);
}

TEST_F(CatalogueTest, FolderListBeginsWithASeparatorAndNamesTheRelativePath) {
    put("dir/sub/one.icc", catalogueProfile(cmOutputClass, cmCMYKData, "Name"));
    put("dir/two.icc", catalogueProfile(cmDisplayClass, cmRGBData, "Name"));
    put("dir/cmy.icc", catalogueProfile(cmOutputClass, kCMY, "CMY printer"));
    put("dir/nodesc.icc", catalogueProfile(cmDisplayClass, cmRGBData, std::nullopt));
    put("dir/v4.icc", stored("matrix-rgb-v4-localized.icc"));

    auto m = present(ProfileManager::initWithUse(0, kSpaceRGB | kSpaceCMYK, true, root / "dir/"));
    EXPECT_EQ(rows(m),
              (Names{"|", "Name  (sub/one.icc)", "Name  (two.icc)", "Localized  (v4.icc)"}));
    EXPECT_EQ(*m->profileFileNameAtIndex(1), "sub/one.icc");
    EXPECT_EQ(*m->profilePathAtIndex(1), (root / "dir/sub/one.icc").native());
    // currentIndex 0 stands on the separator until it is set.
    EXPECT_EQ(m->currentIndex(), 0);
    EXPECT_EQ(current(*m), (Names{"", kNul4, kNul4, kNul4, "", "No Date"}));

    auto plain =
        present(ProfileManager::initWithUse(0, kSpaceRGB | kSpaceCMYK, false, root / "dir", false));
    EXPECT_EQ(rows(plain), (Names{"|", "Name", "Name", "Localized"}));
    EXPECT_EQ(plain->indexOfProfileName("Name"), 1);

    // No profile of an accepted space: the one separator goes and so does the catalogue.
    EXPECT_FALSE(ProfileManager::initWithUse(0x7F, kSpaceGray, true, root / "dir"));
    EXPECT_FALSE(ProfileManager::initWithUse(0x7F, 0x3F, true, root / "missing"));
}

TEST_F(CatalogueTest, DescriptionElementIsReadIntoTheBuffer) {
    const Bytes base = catalogueProfile(cmDisplayClass, cmRGBData, "x");
    auto element = [](std::uint32_t count, const std::string& text) {
        Bytes b(4);
        setWord(b, 0, count);
        b.insert(b.end(), text.begin(), text.end());
        return b;
    };
    put("dir/a-plain.icc", withRawDescription(base, element(6, std::string("Hello\0", 6))));
    put("dir/b-zero.icc", withRawDescription(base, element(0, "ignored")));
    // A count beyond what was read: only the bytes read, up to the buffer's end.
    put("dir/c-long.icc", withRawDescription(base, element(5000, std::string(3000, 'L'))));
    put("dir/d-over.icc", withRawDescription(base, element(0xFFFFFFFF, "short")));
    EXPECT_EQ(rows(ProfileManager::initWithUse(0, kSpaceRGB, true, root / "dir", false)),
              (Names{"|", "Hello", "", std::string(kDescriptionBufferBytes - 12, 'L'), "short"}));

    // The same rule on bytes alone.
    const std::uint8_t shortElement[] = {'d', 'e', 's', 'c', 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(textDescriptionFromElement(shortElement).value_or("?"), "");
    const std::uint8_t otherType[] = {'m', 'l', 'u', 'c', 0, 0, 0, 0, 0, 0, 0, 1};
    EXPECT_FALSE(textDescriptionFromElement(otherType));
}

TEST_F(CatalogueTest, RowsBySearchAndIndex) {
    put("system/a.icc", catalogueProfile(cmDisplayClass, cmRGBData, "Alpha"));
    put("system/b.icc", catalogueProfile(cmOutputClass, cmCMYKData, "Beta"));
    auto m = present(ProfileManager::initWithUse(0x1F, 0x3F));
    ASSERT_EQ(rows(m), (Names{"Alpha", "|", "Beta"}));
    EXPECT_FALSE(m->profileNameAtIndex(-1) || m->profileNameAtIndex(m->count()) ||
                 m->profilePathAtIndex(-5));
    EXPECT_EQ(m->profileNameAtIndex(1), std::optional<std::string>(""));
    for (std::int32_t i : {-1, 1, 3})
        EXPECT_EQ(m->profileColorSpaceAtIndex(i) | m->profileKindOfUseAtIndex(i), 0u) << i;
    EXPECT_FALSE(m->isASeparatorAtIndex(3));
    EXPECT_EQ(m->indexOfProfilePath(root / "system/b.icc"), 2);
    EXPECT_EQ(
        std::pair(m->indexOfProfilePath(root / "system/c.icc"), m->indexOfProfileName("Gamma")),
        std::pair(0x7FFFFFFF, 0x7FFFFFFF));

    EXPECT_TRUE(m->validCurrentIndex(3)); // past the end passes
    EXPECT_FALSE(m->validCurrentIndex(1));
    // A separator or a negative index puts the current row back at 0.
    for (auto [set, now] : {std::pair{2, 2}, {1, 0}, {2, 2}, {-1, 0}}) {
        m->setCurrentIndex(set);
        EXPECT_EQ(m->currentIndex(), now) << set;
    }

    // The building left no pending separator: asking for one adds nothing.
    m->addASeparatorIfNeeded();
    ASSERT_EQ(m->count(), 3);
    // An absent folder adds nothing, and still removes a separator at the end.
    m->addProfilName("Gamma", "c.icc", root / "system/c.icc", cmGrayData, cmLabData, {},
                     cmOutputClass);
    m->addASeparatorIfNeeded();
    ASSERT_EQ(rows(m), (Names{"Alpha", "|", "Beta", "Gamma", "|"}));
    m->addProfilesFromDirectory(std::nullopt, true);
    EXPECT_EQ(rows(m), (Names{"Alpha", "|", "Beta", "Gamma"}));
}

TEST_F(CatalogueTest, CurrentRowAsTextForTheTableAndTheReport) {
    Bytes dated = catalogueProfile(cmOutputClass, cmCMYKData, "Dated", cmLabData);
    setDate(dated, {2023, 3, 2, 10, 45, 31});
    setWord(dated, 80, fourCC("ZOL "));
    put("system/dated.icc", dated);
    putDated("system/undated.icc", "Undated", {0, 0, 0, 0, 0, 0});
    putDated("system/y-late.icc", "Late", {2024, 2, 29, 24, 0, 0});

    auto m = present(ProfileManager::initWithUse(kUseOutput, kSpaceCMYK, true));
    ASSERT_EQ(rows(m), (Names{"Dated", "Undated", "Late"}));
    ScopedEnv zone("TZ", "UTC");
    m->setCurrentIndex(0);
    EXPECT_EQ(current(*m),
              (Names{"Dated", "CMYK", "prtr", "Lab ", "ZOL ", "02 March 2023 - 10:45:31"}));
    EXPECT_EQ(m->headerInfos(), headerInfos(headerFromBytes(dated).value()));
    for (std::int32_t row : {1, 2}) {
        m->setCurrentIndex(row);
        EXPECT_EQ(m->creationDate(), "No Date") << row;
    }

    EXPECT_EQ(m->valueForKey("kindOfUse").value_or(""), "prtr");
    EXPECT_FALSE(m->valueForKey("size"));
    // The table source stores the row it is asked about, unchecked.
    EXPECT_EQ(m->objectValueForTableColumn("name", 1).value_or(""), "Undated");
    EXPECT_EQ(m->currentIndex(), 1);
    EXPECT_EQ(m->numberOfRowsInTableView(), 3);

    // Without full data there is no header to report on.
    auto brief = present(ProfileManager::initWithUse(kUseOutput, kSpaceCMYK));
    EXPECT_EQ((Names{brief->creationDate(), brief->headerInfos(), brief->name()}),
              (Names{"No Date", "", "Dated"}));
}

TEST_F(CatalogueTest, CreationDateIsTheHeaderReadAsLocalTimeElseNoDate) {
    // The last day of each month and the day after; 29 February of leap years only.
    const std::uint16_t lastDay[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    std::vector<std::pair<CMDateTime, bool>> dates = {{{2024, 2, 29, 12, 0, 0}, true},
                                                      {{2000, 2, 29, 12, 0, 0}, true},
                                                      {{2100, 2, 29, 12, 0, 0}, false}};
    for (std::uint16_t month = 1; month <= 12; ++month) {
        dates.push_back({{2023, month, lastDay[month - 1], 12, 0, 0}, true});
        dates.push_back(
            {{2023, month, static_cast<std::uint16_t>(lastDay[month - 1] + 1), 12, 0, 0}, false});
    }
    for (std::size_t i = 0; i < dates.size(); ++i)
        putDated("system/d" + std::to_string(100 + i) + ".icc", "D", dates[i].first);
    // 02:30 doesn't exist in Paris on 26 March 2023: the clock jumps to 03:00.
    putDated("system/e-spring.icc", "Spring", {2023, 3, 26, 2, 30, 0});
    putDated("system/f-winter.icc", "Winter", {2009, 12, 31, 23, 59, 59});
    auto m = present(ProfileManager::initWithUse(kUseOutput, kSpaceCMYK, true));
    const auto n = static_cast<std::int32_t>(dates.size());
    ASSERT_EQ(m->count(), n + 2);
    {
        ScopedEnv zone("TZ", "UTC");
        for (std::int32_t i = 0; i < n; ++i) {
            m->setCurrentIndex(i);
            const CMDateTime& d = dates[i].first;
            EXPECT_EQ(m->creationDate() != "No Date", dates[i].second)
                << d.year << "-" << d.month << "-" << d.dayOfTheMonth << ": " << m->creationDate();
        }
    }
    ScopedEnv zone("TZ", "Europe/Paris");
    m->setCurrentIndex(n);
    EXPECT_EQ(m->creationDate(), "26 March 2023 - 03:30:00");
    m->setCurrentIndex(n + 1);
    EXPECT_EQ(m->creationDate(), "31 December 2009 - 23:59:59");
}

TEST_F(CatalogueTest, TableModelAnswersByColumnIdentifier) {
    put("system/a.icc", catalogueProfile(cmDisplayClass, cmRGBData, "Alpha"));
    put("system/b.icc", catalogueProfile(cmOutputClass, cmCMYKData, "Beta", cmLabData));
    ProfileTableModel model(ProfileManager::initWithUse(0x1F, 0x3F, true),
                            {"kindOfUse", "name", "pcs", "headerInfos", "nothing"});
    ASSERT_EQ(std::pair(model.rowCount(), model.columnCount()), std::pair(3, 5));
    EXPECT_EQ(model.headerData(1, Qt::Horizontal).toString(), "name");
    EXPECT_EQ(model.data(model.index(0, 0)).toString(), "mntr");
    EXPECT_EQ(model.data(model.index(2, 1)).toString(), "Beta");
    EXPECT_EQ(model.manager()->currentIndex(), 2);
    EXPECT_EQ(model.data(model.index(2, 2)).toString(), "Lab ");
    EXPECT_TRUE(model.data(model.index(2, 3)).toString().startsWith("Size : "));
    EXPECT_EQ(model.data(model.index(2, 3)).toString().count('\n'), 6);
    // A separator row: empty name, signatures of four NUL characters.
    EXPECT_EQ(model.data(model.index(1, 1)).toString(), "");
    EXPECT_EQ(model.data(model.index(1, 0)).toString(), QString(4, QChar(0)));
    EXPECT_FALSE(model.data(model.index(0, 4)).isValid());
    EXPECT_FALSE(model.data(model.index(0, 1), Qt::DecorationRole).isValid());

    // A catalogue that came to nothing makes an empty table.
    ProfileTableModel empty(ProfileManager::initWithUse(kUseLink, 0x3F), {"name"});
    EXPECT_FALSE(empty.manager());
    EXPECT_EQ(empty.rowCount(), 0);
    EXPECT_FALSE(empty.data(empty.index(0, 0)).isValid());
}

TEST(CatalogueFolders, DataHomeFromTheEnvironmentHoldsInstalledProfiles) {
    ScopedEnv data("XDG_DATA_HOME", "/somewhere/data");
    ProfilePlaces places = ProfilePlaces::fromEnvironment();
    EXPECT_EQ(places.profileFolders, (std::vector<std::filesystem::path>{
                                         "/usr/share/color/icc", "/usr/local/share/color/icc",
                                         "/somewhere/data/icc", places.home / ".color/icc"}));
}

TEST_F(CatalogueTest, GenericProfilesAreResourcesAndTheUserFolderFollowsTheDataFolder) {
    auto lab = present(ProfileManager::pathOfGenericLabProfil());
    EXPECT_EQ(lab->parent_path(), slidebox::platform::resourceDirectory() / "icc");
    auto profile = present(ProfileManager::profileRefForPath(*lab));
    auto header = CMGetProfileHeader(*profile);
    // Version 2.1: no black-point compensation into it.
    EXPECT_EQ((std::vector{header->profileClass, header->dataColorSpace,
                           header->profileConnectionSpace, header->profileVersion}),
              (std::vector{cmAbstractClass, cmLabData, cmLabData, 0x02100000u}));
    // D50 white: 0.9642, 1.0, 0.8249 in 16.16 fixed point.
    EXPECT_NEAR(header->white.X, 0xF6D6, 1);
    EXPECT_EQ(header->white.Y, 0x10000);
    EXPECT_NEAR(header->white.Z, 0xD32D, 1);

    for (auto [path, space] :
         {std::pair{ProfileManager::pathOfGenericXYZProfil(), cmXYZData},
          {ProfileManager::pathOfGenericGrayProfil(), cmGrayData},
          {ProfileManager::pathOfGenericProfilForSpace(cmRGBData), cmRGBData}}) {
        ASSERT_TRUE(path);
        EXPECT_EQ(path->parent_path(), lab->parent_path());
        auto p = present(ProfileManager::profileRefForPath(*path));
        EXPECT_EQ(CMGetProfileHeader(*p)->dataColorSpace, space);
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

    // The user's folder follows the data folder and is made when missing.
    ProfilePlaces moved = ProfileManager::places();
    moved.dataHome = places.home() / "data"; // as $XDG_DATA_HOME would
    ProfileManager::setPlaces(moved);
    const std::filesystem::path expected = places.home() / "data/icc";
    EXPECT_EQ(ProfileManager::pathOfColorSyncUserFolder(), expected);
    EXPECT_TRUE(slidebox::platform::isDirectory(expected));
}

TEST_F(CatalogueTest, OpeningSaysWhyNot) {
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

TEST(ScreenDevices, PointIsTurnedToTopLeftPixelsAndInactiveScreensArePassed) {
    // Main screen 1440 x 900; a second one to its right, one above it inactive.
    std::vector<ScreenDevice> screens = {{slidebox::image::makeRect(0, 0, 1440, 900), true},
                                         {slidebox::image::makeRect(1440, 0, 1920, 1080), true},
                                         {slidebox::image::makeRect(0, -800, 1280, 800), false}};
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

/// An Xvfb server that lives as long as the object.
struct OwnXServer : XServer {
    OwnXServer() : XServer(startXServer({"-nolisten", "tcp"}, "/dev/null")) {}
    ~OwnXServer() { endChild(pid); }
};

} // namespace

TEST_F(CatalogueTest, DisplayProfileIsColordsFirstThenTheX11PropertyElseNone) {
    QScreen* screen = QGuiApplication::primaryScreen();
    ASSERT_NE(screen, nullptr);
    const std::string output = screen->name().toStdString();
    auto rgb = present(ProfileManager::pathOfGenericProfilForSpace(cmRGBData));
    std::string atom = readFile(*rgb);
    std::map<std::string, std::filesystem::path> colord;
    std::vector<int> asked;
    ScopedSources sources(
        {[&](const std::string& name) -> std::optional<std::filesystem::path> {
             auto found = colord.find(name);
             return found == colord.end() ? std::nullopt : std::optional(found->second);
         },
         [&](int n) -> std::optional<std::vector<std::uint8_t>> {
             asked.push_back(n);
             return atom.empty() ? std::nullopt : std::optional(Bytes(atom.begin(), atom.end()));
         }});

    // colord knows the screen's output: its file, the property unasked.
    colord[output] = *rgb;
    EXPECT_EQ(ProfileManager::pathOfDefaultDisplayUseProfile(), rgb);
    EXPECT_TRUE(asked.empty());

    // colord knows another output only: the property of screen 0, kept as a
    // file of the same bytes under the runtime folder, the same while the
    // bytes are, another when they change.
    colord = {{"elsewhere", *rgb}};
    auto fromAtom = present(ProfileManager::pathOfDefaultDisplayUseProfile());
    EXPECT_EQ(asked, std::vector<int>{0});
    EXPECT_EQ(fromAtom->parent_path(), ProfileManager::places().runtime);
    EXPECT_EQ(readFile(*fromAtom), atom);
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

TEST(DisplayProfileX11, RootWindowPropertyOfEachScreen) {
    OwnXServer server;
    if (server.display.empty())
        GTEST_SKIP() << "Xvfb can't be started: run tools/setup.sh";
    const char* display = server.display.c_str();
    EXPECT_FALSE(readX11ProfileAtom(display, 0)); // nothing set yet

    const auto set = [&](const std::string& atom, const std::string& value) {
        auto run = runChild("/usr/bin/xprop", {"-display", display, "-root", "-format", atom, "8s",
                                               "-set", atom, value});
        return run.status == 0;
    };
    if (!set("_ICC_PROFILE", "first") || !set("_ICC_PROFILE_1", "second"))
        GTEST_SKIP() << "xprop can't set the property: run tools/setup.sh";
    const auto text = [](const std::optional<std::vector<std::uint8_t>>& bytes) {
        return bytes ? std::string(bytes->begin(), bytes->end()) : std::string("none");
    };
    for (auto [screen, value] : {std::pair{0, "first"}, {1, "second"}, {2, "none"}})
        EXPECT_EQ(text(readX11ProfileAtom(display, screen)), value);
    EXPECT_EQ(text(readX11ProfileAtom(":999999", 0)), "none"); // no server there
}

TEST(ProfileHeaderReport, SevenLinesSizesZeroBytesIntentsAndWhite) {
    CM2Header h = sampleHeader();
    EXPECT_EQ(headerInfos(h), "Size : 3.144 Ko / CMMType : lcms / version : 0x02100000\n"
                              "class : mntr / dataColorSpace : RGB  / connectionSpace : XYZ \n"
                              "CS2signature : acsp / platform : APPL / flags : 0x00010002\n"
                              "deviceManufacturer : IEC  / model : 0x73524742\n"
                              "deviceAttributes : 0x00000001 0x80000000\n"
                              "renderingIntent : cmRelativeColorimetric\n"
                              "white : X = 0.9642, Y = 1.0000, Z = 0.8249");
    // The size in thousands only above 1000; single precision first:
    // 4294967295 becomes 4294967296 before the division.
    for (auto [size, start] : {std::pair{1000u, "Size : 1000 / "},
                               {1001u, "Size : 1.001 Ko / "},
                               {0u, "Size : 0 / "},
                               {0xFFFFFFFFu, "Size : 4294967.296 Ko / "}}) {
        h.size = size;
        EXPECT_EQ(headerInfos(h).rfind(start, 0), 0u) << size;
    }
    // Zero bytes stay in the text, intents are named, the white is read in
    // single precision and may be negative.
    h.platform = 0;
    h.white = {-0x8000, 0x7FFFFFFF, 1};
    const char* names[] = {"cmPerceptual", "cmRelativeColorimetric", "cmSaturation",
                           "cmAbsoluteColorimetric"};
    for (std::uint32_t i = 0; i < 4; ++i) {
        h.renderingIntent = i;
        const std::string report = headerInfos(h);
        EXPECT_NE(report.find(std::string("platform : \0\0\0\0 / flags", 22)), std::string::npos);
        EXPECT_NE(report.find(std::string("renderingIntent : ") + names[i] + "\n"),
                  std::string::npos);
        EXPECT_NE(report.find("white : X = -0.5000, Y = 32768.0000, Z = 0.0000"),
                  std::string::npos);
    }
}
