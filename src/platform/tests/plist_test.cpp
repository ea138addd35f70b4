// Property-list values through both file encodings, and the user defaults.
#include <gtest/gtest.h>

#include <cmath>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/file_system.h"
#include "platform/plist_file.h"
#include "platform/user_defaults.h"
#include "tests/temp_dir.h"

using namespace slidebox::platform;
using slidebox::testing::TempDir;
using slidebox::testing::writeFile;

namespace {
PlistValue everyType() {
    return PlistValue(PlistDictionary{
        {"string", PlistValue("caf\xe9 <&> \xc3\xa9")}, // not UTF-8, and markup characters
        {"negative", PlistValue(-1)},
        {"big", PlistValue(std::int64_t{1} << 40)},
        {"real", PlistValue(0.1)},
        {"true", PlistValue(true)},
        {"false", PlistValue(false)},
        {"date", PlistValue(Date{1700000000, 123456789})},
        {"old date", PlistValue(Date{-1000, 1})},
        {"data", PlistValue(PlistData{std::string("\0\x01\xff", 3)})},
        {"array", PlistValue(PlistArray{PlistValue(1), PlistValue("two"), PlistValue(PlistArray{})})},
        {"dict", PlistValue(PlistDictionary{{"inner", PlistValue(2.5)}})},
    });
}
} // namespace

TEST(PlistFile, EveryTypeSurvivesBothEncodingsToTheNanosecond) {
    // XML, the settings file's encoding, keeps raw bytes in strings.
    auto xml = parsePlist(serializePlist(everyType(), PlistFormat::Xml));
    ASSERT_TRUE(xml);
    EXPECT_EQ(xml->format, PlistFormat::Xml);
    EXPECT_EQ(xml->root, everyType());

    // Binary stores text as ASCII or UTF-16, so only proper UTF-8 goes through it.
    PlistDictionary utf8 = *everyType().dictionary();
    utf8["string"] = PlistValue("caf\xc3\xa9 <&>");
    auto binary = parsePlist(serializePlist(PlistValue(utf8), PlistFormat::Binary));
    ASSERT_TRUE(binary);
    EXPECT_EQ(binary->format, PlistFormat::Binary);
    EXPECT_EQ(binary->root, PlistValue(utf8));
}

TEST(PlistFile, NativeDatesAreReadAndNonsenseIsRefused) {
    // A date written by another program in the format's own encoding.
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                      "<key>d</key><date>2001-01-01T00:00:10Z</date></dict></plist>";
    auto doc = parsePlist(xml);
    ASSERT_TRUE(doc);
    EXPECT_EQ(*doc->root["d"].date(), (Date{978307210, 0}));

    EXPECT_FALSE(parsePlist(""));
    EXPECT_FALSE(parsePlist("not a property list"));
    EXPECT_FALSE(parsePlist("bplist00\x01\x02"));
}

TEST(UserDefaults, RegisteredValuesAnswerButAreNeverWritten) {
    TempDir dir;
    UserDefaults defaults(dir / "cfg");
    defaults.registerDefaults({{"AM_viewerWindowKind", PlistValue(0)}, {"other", PlistValue("x")}});
    EXPECT_EQ(defaults.integerForKey("AM_viewerWindowKind"), 0);
    EXPECT_TRUE(defaults.objectForKey("missing").isNull());
    EXPECT_EQ(defaults.integerForKey("missing"), 0);
    ASSERT_TRUE(defaults.setObject("AM_viewerWindowKind", PlistValue(2)));
    EXPECT_EQ(defaults.integerForKey("AM_viewerWindowKind"), 2);

    UserDefaults reread(dir / "cfg");
    EXPECT_EQ(reread.integerForKey("AM_viewerWindowKind"), 2);
    EXPECT_TRUE(reread.objectForKey("other").isNull()); // registered values stay in memory
    EXPECT_TRUE(reread.removeObjectForKey("AM_viewerWindowKind"));
    EXPECT_TRUE(UserDefaults(dir / "cfg").objectForKey("AM_viewerWindowKind").isNull());
}

TEST(UserDefaults, PersistsEveryTypeAndFileDatesExactly) {
    TempDir dir;
    writeFile(dir / "marker", "x");
    timespec times[2] = {{0, UTIME_OMIT}, {1712345678, 987654321}};
    utimensat(AT_FDCWD, (dir / "marker").c_str(), times, 0);
    Date fileDate = *modificationDate(dir / "marker", false);
    {
        UserDefaults defaults(dir / "cfg");
        defaults.setObject("date", PlistValue(fileDate));
        defaults.setObject("all", everyType());
    }
    UserDefaults reread(dir / "cfg");
    EXPECT_EQ(*reread.objectForKey("date").date(), fileDate);
    EXPECT_EQ(reread.objectForKey("all"), everyType());
    EXPECT_FALSE(reread.movedAsideFile());
}

TEST(UserDefaults, BrokenFileIsKeptAsideAndTheStoreStartsEmpty) {
    TempDir dir;
    const std::string broken = "<?xml version=\"1.0\"?><plist><dict><key>AM_x</key><integer>1";
    writeFile(dir / "cfg" / "defaults.plist", broken);
    UserDefaults defaults(dir / "cfg");
    EXPECT_TRUE(defaults.objectForKey("AM_x").isNull());
    ASSERT_TRUE(defaults.movedAsideFile());
    EXPECT_EQ(readWholeFile(*defaults.movedAsideFile()), broken); // nothing lost
    EXPECT_FALSE(fileExistsAtPath(dir / "cfg" / "defaults.plist"));
    defaults.setObject("AM_x", PlistValue(2));
    EXPECT_EQ(UserDefaults(dir / "cfg").integerForKey("AM_x"), 2);

    // A property list that is not a dictionary is no settings file either.
    writeFile(dir / "cfg2" / "defaults.plist", serializePlist(PlistValue(PlistArray{}), PlistFormat::Xml));
    EXPECT_TRUE(UserDefaults(dir / "cfg2").movedAsideFile());
}

TEST(UserDefaults, UnwritableFolderReportsFailureButKeepsTheValue) {
    TempDir dir;
    writeFile(dir / "file", "x");
    UserDefaults defaults(dir / "file" / "cfg"); // below a file: can never be made
    EXPECT_FALSE(defaults.setObject("k", PlistValue(1)));
    EXPECT_EQ(defaults.integerForKey("k"), 1);
}

TEST(PlistValue, IntValueLikeANumberObject) {
    EXPECT_EQ(PlistValue(7).intValue(), 7);
    EXPECT_EQ(PlistValue(2.9).intValue(), 2);
    EXPECT_EQ(PlistValue(-2.9).intValue(), -2);
    EXPECT_EQ(PlistValue(true).intValue(), 1);
    EXPECT_EQ(PlistValue("12").intValue(), 0);
    EXPECT_EQ(PlistValue().intValue(), 0);
    EXPECT_EQ(PlistValue(1e30).intValue(), 2147483647);
    EXPECT_EQ(PlistValue(std::nan("")).intValue(), 0);
    EXPECT_FALSE(PlistValue() == PlistValue()); // absence equals nothing
}
