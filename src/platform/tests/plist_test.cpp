// Property-list values through both file encodings, their limits and the
// rewrite of one string in a file of another program.
#include <gtest/gtest.h>

#include <cmath>

#include "every_type.h"
#include "platform/file_system.h"
#include "platform/plist_file.h"
#include "tests/temp_dir.h"

using namespace slidebox::platform;
using slidebox::platform::testing::everyType;
using slidebox::testing::TempDir;
using slidebox::testing::writeFile;

namespace {
const std::filesystem::path kData = SLIDEBOX_PLATFORM_TEST_DATA;

} // namespace

TEST(PlistFile, EveryTypeSurvivesBothEncodingsToTheNanosecond) {
    // XML, the settings file's encoding, keeps raw bytes in strings; binary
    // stores text as ASCII or UTF-16, so only proper UTF-8 goes through it.
    PlistDictionary utf8 = *everyType().dictionary();
    utf8["string"] = "caf\xc3\xa9 <&> \xf0\x9f\x93\xb7"; // one past 16 bits
    utf8["\xf0\x9f\x93\xb7 albums"] = "a key past 16 bits";
    for (auto [format, value] :
         {std::pair{PlistFormat::Xml, everyType()}, {PlistFormat::Binary, PlistValue(utf8)}}) {
        auto back = parsePlist(serializePlist(value, format));
        ASSERT_TRUE(back);
        EXPECT_EQ(back->format, format);
        EXPECT_EQ(back->root, value);
    }
    EXPECT_EQ((Date{978307210, 5}).toString(), "2001-01-01 00:00:10.000000005 +0000");
}

TEST(PlistFile, HostileListsAreRefusedBeforeTheParserSeesThem) {
    const std::string huge = "<plist><string>" + std::string(17 << 20, 'x') + "</string></plist>";
    EXPECT_EQ(parsePlistChecked(huge).status().code(), ErrorCode::TooLarge);
    // Files named after their defect, and the reason they are refused for;
    // and files just inside the limits.
    for (const auto& entry : std::filesystem::directory_iterator(kData / "refused")) {
        const std::string name = entry.path().filename().string();
        EXPECT_EQ(parsePlistChecked(*readWholeFile(entry.path())).status().code(),
                  name.starts_with("too_large") ? ErrorCode::TooLarge : ErrorCode::Malformed)
            << name;
    }
    for (const char* nonsense : {"", "not a property list", "bplist00\x01\x02"})
        EXPECT_FALSE(parsePlist(nonsense)) << nonsense;
    for (const auto& entry : std::filesystem::directory_iterator(kData / "accepted"))
        EXPECT_TRUE(parsePlistChecked(*readWholeFile(entry.path())).ok()) << entry.path();
    // Read to the bottom.
    PlistValue deep = PlistDictionary{};
    for (int i = 0; i < 499; ++i)
        deep = i % 2 == 0 ? PlistValue(PlistArray{deep}) : PlistValue(PlistDictionary{{"k", deep}});
    const auto deepFile = kData / "accepted" / "arrays_and_dictionaries_500_deep.xml";
    EXPECT_EQ(parsePlist(*readWholeFile(deepFile))->root, deep);
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
        {"WindowState", PlistData{std::string("\0\1\377binary", 9)}},
        {"ZoomFactor", 0.1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.file);
        const std::string bytes = *readWholeFile(kData / row.file);
        PlistDictionary expected = others;
        expected["LastLaunch"] = Date{1142348966, row.launchNanoseconds}; // 2006-03-14 15:09:26
        expected["RootDirectory"] = "/Users/ann/Pictures/iPhoto Library";
        EXPECT_EQ(parsePlist(bytes)->root, PlistValue(expected));
        // Blanks, markup characters, UTF-8 and dot segments go in unchanged.
        for (const std::string path :
             {"/Volumes/My Photos/Ann's  Library 2006 ", "/Photos & <Co>/\"A\"",
              "/Users/ann/Bilder/Fotos \xe2\x80\x93 Sommer \xc3\xa9t\xc3\xa9",
              "/Users/ann/../ann/./Library/"}) {
            auto written = plistWithString(bytes, "RootDirectory", path);
            ASSERT_TRUE(written) << path;
            auto document = parsePlist(*written);
            EXPECT_EQ(document->format, row.format);
            expected["RootDirectory"] = path;
            EXPECT_EQ(document->root, PlistValue(expected));
        }
        const size_t complete =
            row.end ? bytes.rfind(row.end) + std::string_view(row.end).size() : bytes.size();
        for (size_t length = 0; length < complete; ++length)
            ASSERT_FALSE(plistWithString(bytes.substr(0, length), "RootDirectory", "/x"))
                << "cut at " << length;
    }
}

// A value the file can't hold, or a file whose other values the rewrite
// could not give back exactly or which is no dictionary: refused, the file as
// it was and no temporary file left. A UTF-8 value goes into every file that
// can be kept exactly (data/rewritable).
TEST(PlistFile, RewriteRefusesRatherThanChangeAnyOtherValue) {
    TempDir dir;
    auto refused = [&](const std::filesystem::path& path, const std::string& value) {
        const std::string bytes = *readWholeFile(path);
        writeFile(dir / "p.plist", bytes);
        EXPECT_FALSE(setStringInPlistFile(dir / "p.plist", "RootDirectory", value)) << path;
        EXPECT_EQ(readWholeFile(dir / "p.plist"), bytes);
        EXPECT_EQ(directoryContentsAtPath(dir.path()).size(), 1u);
        return bytes;
    };
    for (const auto& entry : std::filesystem::directory_iterator(kData / "unrewritable"))
        refused(entry.path(), "/new");
    for (const auto& entry : std::filesystem::directory_iterator(kData / "rewritable")) {
        if (entry.path().extension() == ".xml") // XML holds no control characters
            refused(entry.path(), "/a\x01b");
        const std::string bytes = refused(entry.path(), "/caf\xe9");
        ASSERT_TRUE(setStringInPlistFile(dir / "p.plist", "RootDirectory", "/caf\xC3\xA9"));
        EXPECT_EQ(stringInPlistFile(dir / "p.plist", "RootDirectory"), "/caf\xC3\xA9");
        EXPECT_EQ(readWholeFile(dir / "p.plist")->starts_with("\xEF\xBB\xBF"),
                  bytes.starts_with("\xEF\xBB\xBF"));
    }
    EXPECT_FALSE(setStringInPlistFile(dir / "none" / "p.plist", "RootDirectory", "/new"));
    EXPECT_FALSE(fileExistsAtPath(dir / "none"));
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
