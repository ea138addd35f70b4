// Property-list values through both file encodings, and the user defaults.
#include <gtest/gtest.h>

#include <cmath>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/file_system.h"
#include "platform/plist_file.h"
#include "platform/user_defaults.h"
#include "tests/temp_dir.h"
#include "tests/unprivileged.h"

using namespace slidebox::platform;
using slidebox::testing::runAsUnprivilegedUser;
using slidebox::testing::TempDir;
using slidebox::testing::writeFile;

namespace {
const std::filesystem::path kData = SLIDEBOX_PLATFORM_TEST_DATA;

PlistValue everyType() {
    return PlistValue(PlistDictionary{
        {"string", PlistValue("caf\xe9 <&> \xc3\xa9")}, // not UTF-8, and markup characters
        {"negative", PlistValue(-1)},
        {"big", PlistValue(std::int64_t{1} << 40)},
        {"real", PlistValue(0.1)},
        {"true", PlistValue(true)},
        {"false", PlistValue(false)},
        {"date", PlistValue(Date{1700000000, 123456789})},
        {"whole date", PlistValue(Date{1700000000, 0})},
        {"old date", PlistValue(Date{-1000, 1})},
        {"data", PlistValue(PlistData{std::string("\0\x01\xff", 3)})},
        {"array",
         PlistValue(PlistArray{PlistValue(1), PlistValue("two"), PlistValue(PlistArray{})})},
        {"dict", PlistValue(PlistDictionary{{"inner", PlistValue(2.5)}})},
    });
}
// A binary property list of the given objects (object 0 at the top), with
// one-byte references and two-byte offsets.
std::string binaryPlist(const std::vector<std::string>& objects) {
    std::string out = "bplist00";
    std::vector<size_t> offsets;
    for (const std::string& object : objects) {
        offsets.push_back(out.size());
        out += object;
    }
    const size_t table = out.size();
    for (size_t offset : offsets)
        out += {char(offset >> 8), char(offset & 0xFF)};
    std::string trailer(32, '\0');
    trailer[6] = 2, trailer[7] = 1, trailer[15] = char(objects.size());
    trailer[30] = char(table >> 8), trailer[31] = char(table & 0xFF);
    return out + trailer;
}

// {"RootDirectory": "/old", key: value}
std::string binaryPreferences(const std::string& key, const std::string& valueObject) {
    return binaryPlist({"\xD2\x01\x02\x03\x04",
                        "\x5D"
                        "RootDirectory",
                        char(0x50 + key.size()) + key, std::string("\x54/old"), valueObject});
}

std::string xmlPreferences(const std::string& value) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
           "<key>RootDirectory</key><string>/old</string>" +
           value + "</dict></plist>\n";
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
    utf8["string"] = PlistValue("caf\xc3\xa9 <&> \xf0\x9f\x93\xb7"); // one past 16 bits
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
    EXPECT_EQ((Date{978307210, 5}).toString(), "2001-01-01 00:00:10.000000005 +0000");

    EXPECT_FALSE(parsePlist(""));
    EXPECT_FALSE(parsePlist("not a property list"));
    EXPECT_FALSE(parsePlist("bplist00\x01\x02"));
}

TEST(PlistFile, HostileListsAreRefusedBeforeTheParserSeesThem) {
    std::string deepXml = "<?xml version=\"1.0\"?><plist>";
    for (int i = 0; i < 40000; ++i)
        deepXml += "<array>";
    for (int i = 0; i < 40000; ++i)
        deepXml += "</array>";
    deepXml += "</plist>";
    EXPECT_EQ(parsePlistChecked(deepXml).status().code(), ErrorCode::TooLarge);
    EXPECT_EQ(
        parsePlistChecked("<plist><string>" + std::string(17 << 20, 'x') + "</string></plist>")
            .status()
            .code(),
        ErrorCode::TooLarge);
    // Files named after their defect, and the reason they are refused for.
    for (const auto& entry : std::filesystem::directory_iterator(kData / "refused")) {
        const std::string name = entry.path().filename().string();
        EXPECT_EQ(parsePlistChecked(*readWholeFile(entry.path())).status().code(),
                  name.starts_with("too_large") ? ErrorCode::TooLarge : ErrorCode::Malformed)
            << name;
    }

    std::string fine = "<?xml version=\"1.0\"?><plist>";
    for (int i = 0; i < 500; ++i)
        fine += "<array>";
    for (int i = 0; i < 500; ++i)
        fine += "</array>";
    EXPECT_TRUE(parsePlist(fine + "</plist>"));
    // A dictionary's values need not be text, and its references end where it ends.
    EXPECT_TRUE(parsePlistChecked(binaryPlist({"\xD1\x01\x02", "\x51k", "\x10\x07"})).ok());
}

// The preference file of the photo application, as another program's writer
// left it, in both encodings (data/); the binary one's date has half a second.
TEST(PlistFile, RewriteOfAForeignFileKeepsEveryOtherValueAndRefusesACutOne) {
    const struct {
        const char* file;
        PlistFormat format;
        std::int32_t launchNanoseconds;
        const char* end; // the file's last complete part; cut before it, it is refused
    } rows[] = {{"preferences_every_type.xml", PlistFormat::Xml, 0, "</plist>"},
                {"preferences_every_type.bplist", PlistFormat::Binary, 500'000'000, nullptr}};
    const PlistDictionary others{
        {"Export", PlistDictionary{{"Empty", PlistDictionary{}},
                                   {"Formats", PlistArray{"JPEG"}},
                                   {"Quality", 0.85}}},
        {"LastImportCount", std::int64_t{9007199254740993}}, // 2^53 + 1: no trip through a double
        {"RecentAlbums", PlistArray{"Summer", 7, PlistArray{}}},
        {"ShowRatings", false},
        {"ShowTitles", true},
        {"ThumbnailSize", std::int64_t{-42}},
        {"WindowState", PlistData{std::string("\x00\x01\xff"
                                              "binary",
                                              9)}},
        {"ZoomFactor", 0.1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.file);
        const std::string bytes = *readWholeFile(kData / row.file);
        PlistDictionary expected = others;
        expected["LastLaunch"] = Date{1142348966, row.launchNanoseconds}; // 2006-03-14 15:09:26
        expected["RootDirectory"] = "/Users/ann/Pictures/iPhoto Library";
        auto read = parsePlist(bytes);
        ASSERT_TRUE(read);
        EXPECT_EQ(read->root, PlistValue(expected));
        // Blanks, markup characters, UTF-8 and dot segments go in unchanged.
        for (const std::string path :
             {"/Volumes/My Photos/Ann's  Library 2006 ", "/Photos & <Co>/\"A\"",
              "/Users/ann/Bilder/Fotos \xe2\x80\x93 Sommer \xc3\xa9t\xc3\xa9",
              "/Users/ann/../ann/./Library/"}) {
            auto written = plistWithString(bytes, "RootDirectory", path);
            ASSERT_TRUE(written) << path;
            auto document = parsePlist(*written);
            ASSERT_TRUE(document && document->root.dictionary());
            EXPECT_EQ(document->format, row.format);
            expected["RootDirectory"] = path;
            EXPECT_EQ(*document->root.dictionary(), expected);
        }
        const size_t complete =
            row.end ? bytes.rfind(row.end) + std::string_view(row.end).size() : bytes.size();
        for (size_t length = 0; length < complete; ++length)
            ASSERT_FALSE(plistWithString(bytes.substr(0, length), "RootDirectory", "/x"))
                << "cut at " << length;
    }
}

TEST(PlistFile, RewriteRefusesRatherThanChangeAnyOtherValue) {
    TempDir dir;
    // Files whose other values the rewrite could not give back exactly, or
    // which are no dictionary; and values the file can't hold.
    std::vector<std::pair<std::string, std::string>> refused = {
        {xmlPreferences(""), "/caf\xe9"},
        {xmlPreferences(""), "/a\x01b"},
        {binaryPreferences("s", "\x51x"), "/caf\xe9"}};
    for (const auto& entry : std::filesystem::directory_iterator(kData / "unrewritable"))
        refused.emplace_back(*readWholeFile(entry.path()), "/new");
    for (const auto& [bytes, value] : refused) {
        writeFile(dir / "p.plist", bytes);
        EXPECT_FALSE(setStringInPlistFile(dir / "p.plist", "RootDirectory", value)) << bytes;
        EXPECT_EQ(readWholeFile(dir / "p.plist"), bytes);
        EXPECT_EQ(directoryContentsAtPath(dir.path()).size(), 1u); // no temporary file left
    }
    EXPECT_FALSE(setStringInPlistFile(dir / "none" / "p.plist", "RootDirectory", "/new"));
    EXPECT_FALSE(fileExistsAtPath(dir / "none"));

    // What can be kept exactly is: a binary string of both encodings, a
    // byte-order mark, a UTF-8 value.
    for (const std::string& bytes :
         {binaryPreferences("s", std::string("\x62\x00\xE9\x00\x41", 5)),
          "\xEF\xBB\xBF" + xmlPreferences("<key>r</key><real>-1.5</real>")}) {
        writeFile(dir / "p.plist", bytes);
        ASSERT_TRUE(setStringInPlistFile(dir / "p.plist", "RootDirectory", "/caf\xC3\xA9"));
        EXPECT_EQ(stringInPlistFile(dir / "p.plist", "RootDirectory"), "/caf\xC3\xA9");
    }
    EXPECT_EQ(readWholeFile(dir / "p.plist")->substr(0, 3), "\xEF\xBB\xBF");
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

TEST(UserDefaults, PersistsEveryTypeExactly) {
    TempDir dir;
    UserDefaults(dir / "cfg").setObject("all", everyType());
    UserDefaults reread(dir / "cfg");
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
    writeFile(dir / "cfg2" / "defaults.plist",
              serializePlist(PlistValue(PlistArray{}), PlistFormat::Xml));
    EXPECT_TRUE(UserDefaults(dir / "cfg2").movedAsideFile());
}

TEST(UserDefaults, UnreadableFileIsKeptAsideOrNeverWrittenOver) {
    TempDir dir;
    const std::filesystem::path folder = dir / "cfg", file = folder / "defaults.plist";
    const std::string bytes =
        serializePlist(PlistValue(PlistDictionary{{"AM_x", PlistValue(1)}}), PlistFormat::Xml);
    writeFile(file, bytes);
    chmod(file.c_str(), 0); // left by an earlier run as another user
    std::filesystem::permissions(dir.path(),
                                 std::filesystem::perms::all); // the other user passes through
    // Kept aside, the store saves anew.
    EXPECT_EQ(runAsUnprivilegedUser(
                  [&] {
                      UserDefaults defaults(folder);
                      if (!defaults.movedAsideFile() || !defaults.isSaving())
                          return 1;
                      return defaults.setObject("AM_x", PlistValue(2)) ? 0 : 2;
                  },
                  {folder}),
              0);
    auto names = directoryContentsAtPath(folder);
    ASSERT_EQ(names.size(), 2u);
    EXPECT_EQ(readWholeFile(folder / names[1]), bytes); // "defaults.plist.broken-..." sorts second
    EXPECT_EQ(UserDefaults(folder).integerForKey("AM_x"), 2);

    // Neither readable nor movable: nothing is ever written over it.
    std::filesystem::remove(folder / names[1]);
    writeFile(file, bytes);
    chmod(file.c_str(), 0);
    chmod(folder.c_str(), 0555);
    EXPECT_EQ(runAsUnprivilegedUser([&] {
                  UserDefaults defaults(folder);
                  if (defaults.isSaving() || defaults.movedAsideFile())
                      return 1;
                  return defaults.setObject("AM_x", PlistValue(3)) ? 2 : 0;
              }),
              0);
    chmod(folder.c_str(), 0755);
    EXPECT_EQ(readWholeFile(file), bytes);
}

TEST(UserDefaults, ForeignValuesAndOddPathsComeBackExactly) {
    TempDir dir;
    const std::string foreign = "<key>other</key><date>2001-01-01T00:00:10Z</date>"
                                "<key>pi</key><real>3.25</real>";
    writeFile(dir / "cfg" / "defaults.plist",
              "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<plist version=\"1.0\"><dict>" +
                  foreign + "</dict></plist>\n");
    const std::string path = "/home/u/caf\xe9\x01\r";
    {
        UserDefaults defaults(dir / "cfg");
        EXPECT_FALSE(defaults.movedAsideFile()); // the byte-order mark is fine
        ASSERT_TRUE(defaults.setObject("AM_path", PlistValue(path)));
    }
    const std::string written = *readWholeFile(dir / "cfg" / "defaults.plist");
    EXPECT_EQ(parsePlist(written)->format, PlistFormat::Binary);
    // The date in the format's own form: 10 seconds past 2001 as a double.
    EXPECT_NE(written.find(std::string("\x33\x40\x24\0\0\0\0\0\0", 9)), std::string::npos);
    UserDefaults reread(dir / "cfg");
    EXPECT_EQ(reread.objectForKey("AM_path"), PlistValue(path));
    EXPECT_EQ(*reread.objectForKey("other").date(), (Date{978307210, 0}));
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
