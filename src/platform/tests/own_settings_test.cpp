// The program's own settings may hold far more than the files of others
// that are read with the tight default limits, and nothing is written that
// could not be read back.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "platform/file_system.h"
#include "platform/plist_file.h"
#include "platform/user_defaults.h"
#include "tests/temp_dir.h"

using namespace slidebox::platform;
using slidebox::testing::TempDir;

TEST(OwnSettings, AListLargerThanOtherProgramsFilesIsReadBackWhole) {
    TempDir dir;
    // About 20 MiB of XML: beyond what a file of another program may be.
    PlistArray paths;
    const std::string stem(80, 'p');
    for (int i = 0; i < 200'000; ++i)
        paths.emplace_back(stem + std::to_string(i));
    {
        UserDefaults defaults(dir / "cfg");
        ASSERT_TRUE(defaults.setObject("VL_Libraries", PlistValue(paths)));
    }
    const auto bytes = readWholeFile(dir / "cfg" / "defaults.plist", std::size_t(1) << 30);
    ASSERT_TRUE(bytes);
    ASSERT_GT(bytes->size(), PlistLimits{}.maxBytes);
    EXPECT_FALSE(parsePlistChecked(*bytes)) << "the default limits are the tight ones";

    UserDefaults reread(dir / "cfg");
    EXPECT_TRUE(reread.isSaving());
    const PlistArray* back = reread.objectForKey("VL_Libraries").array();
    ASSERT_NE(back, nullptr);
    ASSERT_EQ(back->size(), paths.size());
    EXPECT_EQ(*back->back().string(), *paths.back().string());
}

TEST(OwnSettings, AValueBeyondTheLimitsIsNotWrittenAndTheOldFileStays) {
    TempDir dir;
    const auto file = dir / "list.plist";
    ASSERT_TRUE(writePlistFile(file, PlistValue(PlistArray{PlistValue("kept")}), PlistFormat::Xml));
    const auto before = readWholeFile(file, 1 << 20);

    PlistArray many(50, PlistValue("x"));
    PlistLimits small;
    small.maxObjects = 10;
    for (auto format : {PlistFormat::Xml, PlistFormat::Binary}) {
        const Status written = writePlistFile(file, PlistValue(many), format, small);
        EXPECT_FALSE(written);
        EXPECT_NE(written.message().find("more than 10 values"), std::string::npos)
            << written.message();
        EXPECT_EQ(readWholeFile(file, 1 << 20).value(), before.value());
    }
}

TEST(OwnSettings, ASetThatChangesNothingWritesNothing) {
    TempDir dir;
    UserDefaults defaults(dir / "cfg");
    // A save renames a new file in: the inode tells whether one happened.
    auto inode = [&] {
        struct stat st {};
        return ::stat((dir / "cfg" / "defaults.plist").c_str(), &st) == 0 ? st.st_ino : 0;
    };
    ASSERT_TRUE(defaults.setObjects({{"a", PlistValue(1)}, {"b", PlistValue("two")}}));
    const auto first = inode();
    ASSERT_NE(first, 0u);
    EXPECT_TRUE(defaults.setObjects({{"a", PlistValue(1)}, {"b", PlistValue("two")}}));
    EXPECT_TRUE(defaults.setObject("absent", PlistValue()));
    EXPECT_EQ(inode(), first);
    EXPECT_TRUE(defaults.setObject("a", PlistValue(2)));
    EXPECT_NE(inode(), first);
    EXPECT_EQ(UserDefaults(dir / "cfg").integerForKey("a"), 2);
}

TEST(OwnSettings, AnXmlFileOfEarlierVersionsReadsTheSameAndIsWrittenInBinaryAtTheNextSave) {
    TempDir dir;
    const PlistDictionary stored{
        {"AM_photoAlbumDictionaries",
         PlistArray{PlistDictionary{{"AM_AlbumPath", "/p/lib \xe9"},
                                    {"AM_AlbumDate", Date{1700000000, 0}},
                                    {"AM_ImagePaths", PlistArray{"/p/lib \xe9/Thumbs/1.jpg"}},
                                    {"AM_defaultImageIndex", 0}}}},
        {"AM_viewerCurrentPhotoManagerIndex", -1}};
    const auto file = dir / "cfg" / "defaults.plist";
    std::filesystem::create_directories(dir / "cfg");
    ASSERT_TRUE(writePlistFile(file, PlistValue(stored), PlistFormat::Xml));
    {
        UserDefaults defaults(dir / "cfg");
        for (const auto& [key, value] : stored)
            EXPECT_EQ(defaults.objectForKey(key), value) << key;
        // The same values again: no change, and still a save.
        ASSERT_TRUE(defaults.setObjects({stored.begin(), stored.end()}));
    }
    const auto written = parsePlist(readWholeFile(file).value());
    ASSERT_TRUE(written);
    EXPECT_EQ(written->format, PlistFormat::Binary);
    EXPECT_EQ(written->root, PlistValue(stored));
}
