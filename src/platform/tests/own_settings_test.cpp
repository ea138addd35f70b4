// The program's own settings: registered values, every type kept exactly,
// broken and unreadable files kept aside, more than the files of others may
// hold, long lists read only when used, and nothing written that could not
// be read back.
#include <gtest/gtest.h>

#include <fstream>

#include <fcntl.h>
#include <sys/stat.h>

#include "every_type.h"
#include "platform/file_system.h"
#include "platform/user_defaults.h"
#include "tests/log_capture.h"
#include "tests/temp_dir.h"
#include "tests/unprivileged.h"

using namespace slidebox::platform;
using slidebox::platform::testing::everyType;
using slidebox::testing::TempDir;
using slidebox::testing::writeFile;

TEST(UserDefaults, RegisteredValuesAnswerButAreNeverWritten) {
    TempDir dir;
    UserDefaults defaults(dir / "cfg");
    defaults.registerDefaults({{"AM_viewerWindowKind", 0}, {"other", "x"}});
    EXPECT_EQ(defaults.integerForKey("AM_viewerWindowKind"), 0);
    EXPECT_TRUE(defaults.objectForKey("missing").isNull());
    ASSERT_TRUE(defaults.setObject("AM_viewerWindowKind", 2));
    EXPECT_EQ(defaults.integerForKey("AM_viewerWindowKind"), 2);

    UserDefaults reread(dir / "cfg");
    EXPECT_EQ(reread.integerForKey("AM_viewerWindowKind"), 2);
    EXPECT_TRUE(reread.objectForKey("other").isNull()); // registered values stay in memory
    EXPECT_TRUE(reread.removeObjectForKey("AM_viewerWindowKind"));
    EXPECT_TRUE(UserDefaults(dir / "cfg").objectForKey("AM_viewerWindowKind").isNull());
}

// A file of an earlier version (data/, XML with a byte-order mark and a date
// in the format's own form) reads the same and is written in binary at the next
// save, even of the same values; every type and odd paths come back exactly.
TEST(UserDefaults, EarlierXmlFilesAndEveryTypeComeBackExactly) {
    TempDir dir;
    std::filesystem::create_directory(dir / "cfg");
    std::filesystem::copy_file(std::filesystem::path(SLIDEBOX_PLATFORM_TEST_DATA) /
                                   "defaults_of_an_earlier_version.xml",
                               dir / "cfg" / "defaults.plist");
    const std::string path = "/home/u/caf\xe9\x01\r";
    {
        UserDefaults defaults(dir / "cfg");
        EXPECT_FALSE(defaults.movedAsideFile());
        EXPECT_EQ(defaults.objectForKey("AM_list"), PlistValue(PlistArray{"/p/lib \xe9"}));
        ASSERT_TRUE(defaults.setObjects({{"pi", 3.25}}));
        EXPECT_EQ(parsePlist(*readWholeFile(dir / "cfg" / "defaults.plist"))->format,
                  PlistFormat::Binary);
        ASSERT_TRUE(defaults.setObjects({{"AM_path", path}, {"all", everyType()}}));
    }
    const std::string written = *readWholeFile(dir / "cfg" / "defaults.plist");
    // The date in the format's own form: 10 seconds past 2001 as a double.
    EXPECT_NE(written.find(std::string("\x33\x40\x24\0\0\0\0\0\0", 9)), std::string::npos);
    UserDefaults reread(dir / "cfg");
    EXPECT_EQ(reread.objectForKey("AM_path"), PlistValue(path));
    EXPECT_EQ(reread.objectForKey("all"), everyType());
    EXPECT_EQ(*reread.objectForKey("other").date(), (Date{978307210, 0}));
}

TEST(UserDefaults, BrokenFileIsKeptAsideAndTheStoreStartsEmpty) {
    TempDir dir;
    const std::string broken = "<?xml version=\"1.0\"?><plist><dict><key>AM_x</key><integer>1";
    writeFile(dir / "cfg" / "defaults.plist", broken);
    UserDefaults defaults(dir / "cfg");
    EXPECT_TRUE(defaults.objectForKey("AM_x").isNull());
    EXPECT_EQ(readWholeFile(defaults.movedAsideFile().value_or("")), broken); // nothing lost
    EXPECT_FALSE(fileExistsAtPath(dir / "cfg" / "defaults.plist"));
    defaults.setObject("AM_x", 2);
    EXPECT_EQ(UserDefaults(dir / "cfg").integerForKey("AM_x"), 2);
    // A property list that is not a dictionary is no settings file either.
    writeFile(dir / "cfg2" / "defaults.plist", serializePlist(PlistArray{}, PlistFormat::Xml));
    EXPECT_TRUE(UserDefaults(dir / "cfg2").movedAsideFile());
    // Below a file, the folder can never be made: the value is kept all the same.
    UserDefaults unwritable(dir / "cfg" / "defaults.plist" / "cfg");
    EXPECT_FALSE(unwritable.setObject("k", 1));
    EXPECT_EQ(unwritable.integerForKey("k"), 1);
}

TEST(UserDefaults, UnreadableFileIsKeptAsideOrNeverWrittenOver) {
    TempDir dir;
    const std::filesystem::path folder = dir / "cfg", file = folder / "defaults.plist";
    const std::string bytes = serializePlist(PlistDictionary{{"AM_x", 1}}, PlistFormat::Xml);
    writeFile(file, bytes);
    chmod(file.c_str(), 0); // left by an earlier run as another user
    std::filesystem::permissions(dir.path(), std::filesystem::perms::all); // they pass through
    // Kept aside, the store saves anew.
    auto run = [&](int value, bool aside) {
        UserDefaults defaults(folder);
        if (bool(defaults.movedAsideFile()) != aside || defaults.isSaving() != aside)
            return 1;
        return defaults.setObject("AM_x", value) == aside ? 0 : 2;
    };
    EXPECT_EQ(slidebox::testing::runAsUnprivilegedUser([&] { return run(2, true); }, {folder}), 0);
    auto names = directoryContentsAtPath(folder);
    ASSERT_EQ(names.size(), 2u);
    EXPECT_EQ(readWholeFile(folder / names[1]), bytes); // "defaults.plist.broken-..." sorts second
    EXPECT_EQ(UserDefaults(folder).integerForKey("AM_x"), 2);

    // Neither readable nor movable: nothing is ever written over it.
    std::filesystem::remove(folder / names[1]);
    writeFile(file, bytes);
    chmod(file.c_str(), 0);
    chmod(folder.c_str(), 0555);
    EXPECT_EQ(slidebox::testing::runAsUnprivilegedUser([&] { return run(3, false); }), 0);
    chmod(folder.c_str(), 0755);
    EXPECT_EQ(readWholeFile(file), bytes);
}

TEST(UserDefaults, AListLargerThanOtherProgramsFilesIsReadBackWhole) {
    TempDir dir;
    // About 20 MiB of XML: beyond what a file of another program may be.
    PlistArray paths;
    for (int i = 0; i < 200'000; ++i)
        paths.emplace_back(std::string(80, 'p') + std::to_string(i));
    ASSERT_TRUE(UserDefaults(dir / "cfg").setObject("VL_Libraries", paths));
    const auto bytes = readWholeFile(dir / "cfg" / "defaults.plist", std::size_t(1) << 30);
    ASSERT_GT(bytes->size(), PlistLimits{}.maxBytes);
    EXPECT_FALSE(parsePlistChecked(*bytes)) << "the default limits are the tight ones";

    UserDefaults reread(dir / "cfg");
    EXPECT_TRUE(reread.isSaving());
    EXPECT_EQ(reread.objectForKey("VL_Libraries"), PlistValue(paths));
}

TEST(UserDefaults, AValueBeyondTheLimitsIsNotWrittenAndTheOldFileStays) {
    TempDir dir;
    const auto file = dir / "list.plist";
    ASSERT_TRUE(writePlistFile(file, PlistArray{"kept"}, PlistFormat::Xml));
    const auto before = readWholeFile(file);
    PlistLimits small;
    small.maxObjects = 10;
    for (auto format : {PlistFormat::Xml, PlistFormat::Binary}) {
        const Status written = writePlistFile(file, PlistArray(50, "x"), format, small);
        EXPECT_NE(written.message().find("more than 10 values"), std::string::npos)
            << written.message();
        EXPECT_EQ(readWholeFile(file), before);
    }
}

TEST(UserDefaults, ASetThatChangesNothingWritesNothing) {
    TempDir dir;
    UserDefaults defaults(dir / "cfg");
    // A save renames a new file in: the inode tells whether one happened.
    auto inode = [&] {
        struct stat st {};
        return ::stat((dir / "cfg" / "defaults.plist").c_str(), &st) == 0 ? st.st_ino : 0;
    };
    ASSERT_TRUE(defaults.setObjects({{"a", 1}, {"b", "two"}}));
    const auto first = inode();
    ASSERT_NE(first, 0u);
    EXPECT_TRUE(defaults.setObjects({{"a", 1}, {"b", "two"}}));
    EXPECT_TRUE(defaults.setObject("absent", PlistValue()));
    EXPECT_EQ(inode(), first);
    EXPECT_TRUE(defaults.setObject("a", 2));
    EXPECT_NE(inode(), first);
    EXPECT_EQ(UserDefaults(dir / "cfg").integerForKey("a"), 2);
}

namespace {

std::vector<std::string> numberedPaths(int n) {
    std::vector<std::string> paths;
    for (int i = 0; i < n; ++i)
        paths.push_back("/p/" + std::to_string(i) + ".jpg");
    return paths;
}

PlistArray asArray(const std::vector<std::string>& strings) {
    return PlistArray(strings.begin(), strings.end());
}

} // namespace

// A long list that starts with a string stays in the file until it is used.
// It reads as stored: text, UTF-16 in the file, and bytes that are no UTF-8
// (kept as data). An item that is no string is left out, as the library's
// path list leaves it out. A save of something else writes it back from the
// file.
TEST(UserDefaults, LongListsAreReadWhenUsedAndWrittenBackAsStored) {
    TempDir dir;
    auto paths = numberedPaths(300);
    paths[1] = "/p/Caf\xc3\xa9 \xe2\x82\xac.jpg";
    paths[2] = "/p/\xff\xfe.jpg";
    PlistArray withNumber = asArray(paths);
    withNumber.insert(withNumber.begin() + 3, PlistValue(7));
    const PlistArray mixed{"a", 1};
    ASSERT_TRUE(UserDefaults(dir / "cfg").setObjects({{"paths", withNumber}, {"mixed", mixed}}));

    UserDefaults reread(dir / "cfg");
    const PlistValue& stored = reread.objectForKey("paths");
    ASSERT_NE(stored.stored(), nullptr);
    EXPECT_EQ(stored.stored()->size(), 301u);
    EXPECT_EQ(stored, PlistValue(asArray(paths)));
    EXPECT_EQ(reread.objectForKey("mixed"), PlistValue(mixed));
    EXPECT_EQ(reread.objectForKey("mixed").stored(), nullptr);

    ASSERT_TRUE(reread.setObject("other", 1));
    EXPECT_EQ(UserDefaults(dir / "cfg").objectForKey("paths"), PlistValue(asArray(paths)));
}

// Another program writes the file where it lies (an editor that doesn't
// rename): the lists still in it can't be read, and the store no longer
// writes, so what the other program wrote stays. A rewrite of the same size
// within the same second is told by the nanoseconds of its date.
TEST(UserDefaults, AFileChangedInPlaceIsNeitherReadFromNorWrittenOver) {
    for (const bool sameSize : {false, true}) {
        SCOPED_TRACE(sameSize);
        TempDir dir;
        ASSERT_TRUE(UserDefaults(dir / "cfg").setObject("paths", asArray(numberedPaths(300))));
        UserDefaults held(dir / "cfg");
        const auto file = dir / "cfg" / "defaults.plist";
        struct stat before {};
        ASSERT_EQ(::stat(file.c_str(), &before), 0);
        std::string edited = "edited";
        if (sameSize) {
            edited = *readWholeFile(file);
            edited[8] ^= 1;
        }
        std::ofstream(file, std::ios::trunc | std::ios::binary) << edited;
        if (sameSize) {
            struct timespec dates[2] = {before.st_atim, before.st_mtim};
            dates[1].tv_nsec = (dates[1].tv_nsec + 1) % 1'000'000'000;
            ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), dates, 0), 0);
        }

        slidebox::testing::LogCapture log;
        EXPECT_TRUE(held.objectForKey("paths").array()->empty());
        EXPECT_FALSE(held.setObject("other", 1));
        EXPECT_EQ(readWholeFile(file), edited);
        ASSERT_EQ(log.lines.size(), 1u);
        EXPECT_NE(log.lines[0].find("changed in place"), std::string::npos) << log.lines[0];
    }
}

// One string of 100,000 bytes used by each of 300 items would make 30 MB
// from a file of 100 kB: the list is refused when it is read, before
// anything is made of it.
TEST(UserDefaults, AListOfOneSharedStringCannotGrowPastTheFile) {
    std::string bytes = "bplist00";
    auto be = [&](std::uint64_t v, int width) {
        for (int k = width - 1; k >= 0; --k)
            bytes += static_cast<char>((v >> (8 * k)) & 0xFF);
    };
    std::vector<std::uint64_t> offsets;
    offsets.push_back(bytes.size()); // 0: the key
    bytes += "\x51k";
    offsets.push_back(bytes.size()); // 1: the string
    bytes += "\x5F\x12";
    be(100'000, 4);
    bytes.append(100'000, 'x');
    offsets.push_back(bytes.size()); // 2: the list, each item the string
    bytes += "\xAF\x11";
    be(300, 2);
    bytes.append(300, '\x01');
    offsets.push_back(bytes.size()); // 3: {k: the list}
    bytes += std::string_view("\xD1\x00\x02", 3);
    const std::uint64_t table = bytes.size();
    for (std::uint64_t offset : offsets)
        be(offset, 4);
    bytes.append(6, '\0');
    bytes += "\x04\x01";
    be(4, 8);
    be(3, 8);
    be(table, 8);

    TempDir dir;
    std::filesystem::create_directory(dir / "cfg");
    writeFile(dir / "cfg" / "defaults.plist", bytes);
    UserDefaults defaults(dir / "cfg");
    const PlistStoredStrings* stored = defaults.objectForKey("k").stored();
    ASSERT_NE(stored, nullptr);
    std::size_t given = 0;
    EXPECT_FALSE(stored->forEach([&](std::string_view) { ++given; }));
    EXPECT_LT(given, 3u);
    EXPECT_NE(stored->reason().find("twice the file"), std::string::npos);
}
