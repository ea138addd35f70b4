// Files and folders, safe writes and reads, long paths; notifications,
// timers, running processes and scripts (their log is the library's tests').
// Property-list values through both file encodings, their limits and the
// rewrite of one string in a file of another program; the program's own
// settings: registered values, every type kept exactly, broken and unreadable
// files kept aside, more than the files of others may hold, long lists read
// only when used, and nothing written that could not be read back.
#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <fstream>

#include <fcntl.h>
#include <sys/resource.h>

#include <QCoreApplication>
#include <QElapsedTimer>

#include "platform/atomic_file.h"
#include "platform/file_system.h"
#include "platform/notification_center.h"
#include "platform/plist_file.h"
#include "platform/repeating_timer.h"
#include "platform/running_applications.h"
#include "platform/script_runner.h"
#include "platform/user_defaults.h"
#include "tests/log_capture.h"
#include "tests/temp_dir.h"
#include "tests/unprivileged.h"

using namespace slidebox::platform;
using slidebox::testing::TempDir;
using slidebox::testing::writeDeepFile;
using slidebox::testing::writeFile;
namespace fs = std::filesystem;

namespace {
const fs::path kData = SLIDEBOX_PLATFORM_TEST_DATA;

// A property list of every type, with the values that are hard to keep:
// raw bytes in a string, nanoseconds, a date before 1970, bytes of data.
PlistValue everyType() {
    return PlistDictionary{
        {"string", "caf\xe9 <&> \xc3\xa9"}, // not UTF-8, and markup characters
        {"negative", -1},
        {"big", std::int64_t{1} << 40},
        {"real", 0.1},
        {"true", true},
        {"false", false},
        {"date", Date{1700000000, 123456789}},
        {"whole date", Date{1700000000, 0}},
        {"old date", Date{-1000, 1}},
        {"data", PlistData{std::string("\0\x01\xff", 3)}},
        {"array", PlistArray{1, "two", PlistArray{}}},
        {"dict", PlistDictionary{{"inner", 2.5}}},
    };
}

// Paths "/p/0.jpg" .. for a long list.
PlistArray numberedPaths(int n) {
    PlistArray paths;
    for (int i = 0; i < n; ++i)
        paths.emplace_back("/p/" + std::to_string(i) + ".jpg");
    return paths;
}
class Files : public ::testing::Test {
  protected:
    TempDir dir;
};
} // namespace

TEST_F(Files, DirectoryListingSortedBytewiseWithHiddenAndRawNamesAndLinksFollowed) {
    // Bytes compare unsigned: 0xC3 sorts after every ASCII letter; Latin-1 is not UTF-8.
    const std::vector<std::string> names{".hidden", "B",       "a b",
                                         "b",       "caf\xe9", "\xc3\xa9t\xc3\xa9"};
    for (const std::string& name : names)
        writeFile(dir / name, "x");
    EXPECT_EQ(directoryContentsAtPath(dir.path()), names);
    // Nothing for a missing folder or a file.
    EXPECT_TRUE(directoryContentsAtPath(dir / "missing").empty());
    EXPECT_TRUE(directoryContentsAtPath(dir / "b").empty());
    // Existence follows links; a dangling one does not exist.
    fs::create_directory(dir / "folder");
    fs::create_symlink(dir / "folder", dir / "link-to-folder");
    fs::create_symlink(dir / "nowhere", dir / "dangling");
    bool isDir = false;
    EXPECT_TRUE(fileExistsAtPath(dir / "link-to-folder", &isDir) && isDir);
    EXPECT_TRUE(fileExistsAtPath(dir / "b", &isDir) && !isDir);
    EXPECT_FALSE(fileExistsAtPath(dir / "dangling", &isDir));
}

TEST_F(Files, ModificationDateNanosecondsAndLinkDatedByItself) {
    writeFile(dir / "target", "x");
    fs::create_symlink(dir / "target", dir / "link");
    timespec times[2] = {{0, UTIME_OMIT}, {1700000000, 123456789}};
    ASSERT_EQ(utimensat(AT_FDCWD, (dir / "target").c_str(), times, 0), 0);
    times[1] = {1600000000, 987654321};
    ASSERT_EQ(utimensat(AT_FDCWD, (dir / "link").c_str(), times, AT_SYMLINK_NOFOLLOW), 0);

    EXPECT_EQ(modificationDate(dir / "target", false), (Date{1700000000, 123456789}));
    EXPECT_EQ(modificationDate(dir / "link", true), (Date{1700000000, 123456789}));
    EXPECT_EQ(modificationDate(dir / "link", false), (Date{1600000000, 987654321}));
    EXPECT_FALSE(modificationDate(dir / "missing", false).has_value());
}

TEST(PathExtension, TextBehindTheLastDot) {
    for (const auto& [name, extension] : {std::pair{"a.jpg", "jpg"},
                                          {"a.JPG", "JPG"},
                                          {"a.tar.jpeg", "jpeg"},
                                          {"noext", ""},
                                          {"/x.y/noext", ""},
                                          {"/x/trailing.", ""}})
        EXPECT_EQ(pathExtension(name), extension) << name;
}

TEST_F(Files, AtomicWriteReplacesWholeThroughLinksAndRefusesToPartHardLinks) {
    writeFile(dir / "real" / "f", "old");
    chmod((dir / "real" / "f").c_str(), 0600);
    fs::create_symlink("real/f", dir / "link"); // relative to the link's folder
    fs::create_directory(dir / "via");
    fs::create_symlink("../link", dir / "via" / "f"); // a chain of two
    ASSERT_TRUE(writeFileAtomically(dir / "via" / "f", "new contents"));
    EXPECT_TRUE(fs::is_symlink(dir / "via" / "f") && fs::is_symlink(dir / "link"));
    EXPECT_EQ(readWholeFile(dir / "real" / "f"), "new contents");
    EXPECT_EQ(fs::status(dir / "real" / "f").permissions(),
              fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(directoryContentsAtPath(dir / "real"), std::vector<std::string>{"f"});
    EXPECT_FALSE(writeFileAtomically(dir / "no-such-folder" / "f", "x"));

    fs::create_hard_link(dir / "real" / "f", dir / "hard");
    EXPECT_EQ(writeFileAtomically(dir / "hard", "newer").code(), ErrorCode::Unsupported);
    EXPECT_EQ(readWholeFile(dir / "real" / "f"), "new contents");
    EXPECT_EQ(fs::hard_link_count(dir / "hard"), 2u);
}

// A child stopped by a signal while it writes ends as the signal ends it,
// its temporary file gone and the old file standing; an ignored signal
// stays ignored; a file committed before the signal is not touched.
TEST_F(Files, AtomicWriteASignalRemovesTheTemporariesOfTheFilesBeingWritten) {
    writeFile(dir / "f", "old");
    for (const bool ignored : {false, true}) {
        SCOPED_TRACE(ignored);
        const pid_t child = fork();
        if (child == 0) {
            if (ignored)
                std::signal(SIGTERM, SIG_IGN);
            removeTemporariesOnSignals();
            auto done = AtomicFile::create(dir / "done");
            done->writeAll("new", 3);
            const bool committed = done->commit(false).ok();
            // A file given up twice lets go of its own place in the list only.
            auto gaveUp = AtomicFile::create(dir / "x");
            gaveUp->discard();
            auto first = AtomicFile::create(dir / "f");
            auto second = AtomicFile::create(dir / "g");
            gaveUp->discard();
            const bool written = committed && first && second && first->writeAll("half", 4);
            ::raise(SIGTERM);
            // Reached only when the signal is ignored: the files go as usual.
            first->discard();
            second->discard();
            _exit(written ? 0 : 3);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        if (ignored) {
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
        } else {
            EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
        }
        EXPECT_EQ(directoryContentsAtPath(dir.path()), (std::vector<std::string>{"done", "f"}));
        EXPECT_EQ(readWholeFile(dir / "f"), "old");
        EXPECT_EQ(readWholeFile(dir / "done"), "new");
        fs::remove(dir / "done");
    }
}

TEST_F(Files, AtomicWriteAFailedWriteLeavesTheOldFileAndNoTemporary) {
    // A file size limit makes write() fail as a full disk would.
    writeFile(dir / "f", "old");
    rlimit limit{}, small{};
    getrlimit(RLIMIT_FSIZE, &limit);
    small = {1000, limit.rlim_max};
    const auto oldAction = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    const Status status = writeFileAtomically(dir / "f", std::string(5000, 'x'));
    setrlimit(RLIMIT_FSIZE, &limit);
    signal(SIGXFSZ, oldAction);
    EXPECT_EQ(status.message(), "cannot write: File too large");
    // A file given up holds no descriptor that its end could close again.
    auto file = AtomicFile::create(dir / "f");
    ASSERT_TRUE(file && file->writeAll("new", 3));
    file->discard();
    EXPECT_EQ(file->descriptor(), -1);
    EXPECT_EQ(readWholeFile(dir / "f"), "old");
    EXPECT_EQ(directoryContentsAtPath(dir.path()), std::vector<std::string>{"f"});
}

TEST_F(Files, AtomicWriteRemovesTheStaleTemporariesOfEndedProcessesOnly) {
    const pid_t ended = fork();
    if (ended == 0)
        _exit(0);
    waitpid(ended, nullptr, 0);
    const std::string stale = ".f.tmp-" + std::to_string(ended) + "-abcdef";
    const std::string live = ".f.tmp-" + std::to_string(getppid()) + "-abcdef"; // a save under way
    const std::string legacy = ".f.Xy12Z9", other = ".g.tmp-" + std::to_string(ended) + "-abcdef";
    for (const std::string& name : {stale, live, legacy, other})
        writeFile(dir / name, std::string(1000, 'x'));
    const timespec old[2] = {{0, UTIME_OMIT}, {1600000000, 0}};
    utimensat(AT_FDCWD, (dir / legacy).c_str(), old, 0);
    ASSERT_TRUE(writeFileAtomically(dir / "f", "saved"));
    EXPECT_EQ(directoryContentsAtPath(dir.path()), (std::vector<std::string>{live, other, "f"}));
}

TEST_F(Files, ReadRegularFileRefusesAnythingButARegularFileWithinTheLimitAndNeverBlocks) {
    writeFile(dir / "small", "12345");
    writeFile(dir / "large", std::string(4097, 'x'));
    ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0); // no writer: an open would wait
    fs::create_symlink("/dev/zero", dir / "zero");
    fs::create_directory(dir / "folder");
    for (const std::string name : {"large", "fifo", "zero", "folder", "missing"}) {
        EXPECT_EQ(readRegularFile(dir / name, 4096).status().code(),
                  name == "large" ? ErrorCode::TooLarge : ErrorCode::CannotOpen)
            << name;
        EXPECT_FALSE(readWholeFile(dir / name, 4096)) << name;
    }
    EXPECT_EQ(readWholeFile(dir / "small", 5), "12345");
    EXPECT_EQ(readRegularFile(dir / "small", 4).status().code(), ErrorCode::TooLarge);
    // Sizeless files too.
    EXPECT_EQ(readRegularFile("/proc/self/status", 1).status().code(), ErrorCode::TooLarge);
}

TEST_F(Files, LongPathsReadListedAndLookedAtUpToTheLimitThroughLinksAndDotDot) {
    const auto deep = writeDeepFile(dir.path(), 6000, "12345");
    const auto limit = writeDeepFile(dir / "limit", kMaxPathBytes, "x");
    // A link near the top into the chain, and ".." past the point where a
    // long path is cut for the system, resolve as one call would.
    const auto first = dir / deep.lexically_relative(dir.path()).begin()->native();
    fs::create_directory_symlink(first, dir / "link");
    const auto viaLink = dir / "link" / deep.lexically_relative(first);
    const auto viaDotDot =
        deep.parent_path() / ".." / deep.parent_path().filename() / deep.filename();
    for (const auto& path : {deep, viaLink, viaDotDot, limit}) {
        const auto size = path.native().size();
        EXPECT_EQ(readWholeFile(path), path == limit ? "x" : "12345") << size;
        bool folder = true;
        EXPECT_TRUE(fileExistsAtPath(path, &folder) && !folder) << size;
        EXPECT_TRUE(isDirectory(path.parent_path())) << size;
        EXPECT_EQ(directoryContentsAtPath(path.parent_path()),
                  std::vector<std::string>{path.filename().native()})
            << size;
        EXPECT_TRUE(modificationDate(path, false)) << size;
    }
    const auto over = writeDeepFile(dir / "over", kMaxPathBytes + 1, "x");
    EXPECT_EQ(readRegularFile(over).status().code(), ErrorCode::TooLarge);
    EXPECT_FALSE(fileExistsAtPath(over));
}

TEST_F(Files, PrivateFolderMadeForThisUserOnlyAndRefusedWhenOpenOrALink) {
    const auto mine = dir / "mine";
    ASSERT_TRUE(makePrivateFolder(mine));
    EXPECT_EQ(fs::status(mine).permissions() & fs::perms::all, fs::perms::owner_all);
    EXPECT_TRUE(makePrivateFolder(mine)) << "an existing private folder is taken";
    fs::create_directory(dir / "open");
    fs::permissions(dir / "open", fs::perms::all);
    fs::create_directory_symlink(mine, dir / "link");
    writeFile(dir / "file", "x");
    for (const char* name : {"open", "link", "file"})
        EXPECT_FALSE(makePrivateFolder(dir / name)) << name;
}

TEST(NotificationCenter, SynchronousInOrderAndSafeAgainstRemovalDuringDelivery) {
    NotificationCenter center;
    std::vector<std::string> calls;
    int token = 0;
    NotificationCenter::Observation second;
    auto first = center.addObserver("N", [&](const void* object) {
        calls.push_back(object == &token ? "first" : "first?");
        second.reset(); // a listener removed while told is not called
    });
    second = center.addObserver("N", [&](const void*) { calls.push_back("second"); });
    auto other = center.addObserver("Other", [&](const void*) { calls.push_back("other"); });

    center.postNotificationName("N", &token);
    EXPECT_EQ(calls, std::vector<std::string>{"first"}); // delivered before post returns
    first.reset();
    center.postNotificationName("N", &token);
    EXPECT_EQ(calls.size(), 1u);
}

TEST(RepeatingTimer, TicksRepeatedlyAndMayEndItselfInsideATick) {
    auto kept = std::make_shared<int>(0);
    std::weak_ptr<int> watch = kept;
    std::unique_ptr<RepeatingTimer> timer;
    timer = std::make_unique<RepeatingTimer>(std::chrono::milliseconds(10), [&timer, kept] {
        if (++*kept == 3)
            timer.reset(); // the timer ends from inside its own tick
    });
    kept.reset();
    QElapsedTimer clock;
    clock.start();
    while (!watch.expired() && clock.elapsed() < 5000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    EXPECT_TRUE(watch.expired()); // what the tick held was let go
    EXPECT_FALSE(timer);
}

TEST(RunningApplications, ThisUsersLiveProcessesOfTheExactNameOnly) {
    TempDir proc;
    const std::string me = std::to_string(::geteuid()), other = std::to_string(::geteuid() + 1);
    using Row = std::tuple<const char*, const char*, std::string, char>; // pid, name, uids, state
    for (const auto& [pid, comm, uids, state] :
         {Row{"12", "iPhoto", "0 " + me, 'S'}, Row{"13", "iPhotoHelper", me + " " + me, 'S'},
          Row{"14", "iphoto", me + " " + me, 'R'}, Row{"15", "iPhoto", me + " " + other, 'S'},
          Row{"16", "iPhoto", me + " " + me, 'Z'}, Row{"self", "iPhoto", me + " " + me, 'S'}}) {
        writeFile(proc / pid / "comm", std::string(comm) + "\n");
        writeFile(proc / pid / "status",
                  "Name:\t" + std::string(comm) + "\nUid:\t" + uids + "\t0\t0\n");
        writeFile(proc / pid / "stat", std::string(pid) + " (" + comm + ") " + state + " 1");
    }
    EXPECT_EQ(processesNamed("iPhoto", proc.path()), std::vector<pid_t>{12});
    EXPECT_FALSE(isApplicationRunning("Photo", proc.path()));
    EXPECT_TRUE(isApplicationRunning(std::string(program_invocation_short_name).substr(0, 15)));
}

TEST_F(Files, ScriptRunnerRunsWaitsAndReturnsItsText) {
    writeFile(dir / "hello.applescript", "sleep 0.2\necho 'hello world'\nexit 3\n");
    auto result = runScript(dir / "hello.applescript");
    ASSERT_TRUE(result);
    EXPECT_EQ(std::pair(result->output, result->exitStatus),
              std::pair(std::string("hello world"), 3));
    EXPECT_FALSE(runScript(dir / "missing.applescript"));
    EXPECT_FALSE(runScript(dir.path()));
}

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
    for (const auto& entry : fs::directory_iterator(kData / "refused")) {
        const std::string name = entry.path().filename().string();
        EXPECT_EQ(parsePlistChecked(*readWholeFile(entry.path())).status().code(),
                  name.starts_with("too_large") ? ErrorCode::TooLarge : ErrorCode::Malformed)
            << name;
    }
    for (const char* nonsense : {"", "not a property list", "bplist00\x01\x02"})
        EXPECT_FALSE(parsePlist(nonsense)) << nonsense;
    for (const auto& entry : fs::directory_iterator(kData / "accepted"))
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
TEST_F(Files, PlistFileRewriteRefusesRatherThanChangeAnyOtherValue) {
    auto refused = [&](const fs::path& path, const std::string& value) {
        const std::string bytes = *readWholeFile(path);
        writeFile(dir / "p.plist", bytes);
        EXPECT_FALSE(setStringInPlistFile(dir / "p.plist", "RootDirectory", value)) << path;
        EXPECT_EQ(readWholeFile(dir / "p.plist"), bytes);
        EXPECT_EQ(directoryContentsAtPath(dir.path()).size(), 1u);
        return bytes;
    };
    for (const auto& entry : fs::directory_iterator(kData / "unrewritable"))
        refused(entry.path(), "/new");
    for (const auto& entry : fs::directory_iterator(kData / "rewritable")) {
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
    const std::pair<PlistValue, int> rows[] = {
        {7, 7},    {2.9, 2},          {-2.9, -2},         {true, 1},
        {"12", 0}, {PlistValue(), 0}, {1e30, 2147483647}, {std::nan(""), 0}};
    for (const auto& row : rows)
        EXPECT_EQ(row.first.intValue(), row.second) << &row - rows;
    EXPECT_FALSE(PlistValue() == PlistValue()); // absence equals nothing
}

TEST_F(Files, UserDefaultsRegisteredValuesAnswerButAreNeverWritten) {
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
TEST_F(Files, UserDefaultsEarlierXmlFilesAndEveryTypeComeBackExactly) {
    fs::create_directory(dir / "cfg");
    fs::copy_file(fs::path(SLIDEBOX_PLATFORM_TEST_DATA) / "defaults_of_an_earlier_version.xml",
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

TEST_F(Files, UserDefaultsBrokenFileIsKeptAsideAndTheStoreStartsEmpty) {
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

TEST_F(Files, UserDefaultsUnreadableFileIsKeptAsideOrNeverWrittenOver) {
    const fs::path folder = dir / "cfg", file = folder / "defaults.plist";
    const std::string bytes = serializePlist(PlistDictionary{{"AM_x", 1}}, PlistFormat::Xml);
    writeFile(file, bytes);
    chmod(file.c_str(), 0);                      // left by an earlier run as another user
    fs::permissions(dir.path(), fs::perms::all); // they pass through
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
    fs::remove(folder / names[1]);
    writeFile(file, bytes);
    chmod(file.c_str(), 0);
    chmod(folder.c_str(), 0555);
    EXPECT_EQ(slidebox::testing::runAsUnprivilegedUser([&] { return run(3, false); }), 0);
    chmod(folder.c_str(), 0755);
    EXPECT_EQ(readWholeFile(file), bytes);
}

TEST_F(Files, UserDefaultsAListLargerThanOtherProgramsFilesIsReadBackWhole) {
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

TEST_F(Files, UserDefaultsAValueBeyondTheLimitsIsNotWrittenAndTheOldFileStays) {
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

TEST_F(Files, UserDefaultsASetThatChangesNothingWritesNothing) {
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

// A long list that starts with a string stays in the file until it is used.
// It reads as stored: text, UTF-16 in the file, and bytes that are no UTF-8
// (kept as data). An item that is no string is left out, as the library's
// path list leaves it out. A save of something else writes it back from the
// file.
TEST_F(Files, UserDefaultsLongListsAreReadWhenUsedAndWrittenBackAsStored) {
    auto paths = numberedPaths(300);
    paths[1] = "/p/Caf\xc3\xa9 \xe2\x82\xac.jpg";
    paths[2] = "/p/\xff\xfe.jpg";
    PlistArray withNumber = paths;
    withNumber.insert(withNumber.begin() + 3, PlistValue(7));
    const PlistArray mixed{"a", 1};
    ASSERT_TRUE(UserDefaults(dir / "cfg").setObjects({{"paths", withNumber}, {"mixed", mixed}}));

    UserDefaults reread(dir / "cfg");
    const PlistValue& stored = reread.objectForKey("paths");
    ASSERT_NE(stored.stored(), nullptr);
    EXPECT_EQ(stored.stored()->size(), 301u);
    EXPECT_EQ(stored, PlistValue(paths));
    EXPECT_EQ(reread.objectForKey("mixed"), PlistValue(mixed));
    EXPECT_EQ(reread.objectForKey("mixed").stored(), nullptr);

    ASSERT_TRUE(reread.setObject("other", 1));
    EXPECT_EQ(UserDefaults(dir / "cfg").objectForKey("paths"), PlistValue(paths));
}

// Another program writes the file where it lies (an editor that doesn't
// rename): the lists still in it can't be read, and the store no longer
// writes, so what the other program wrote stays. A rewrite of the same size
// within the same second is told by the nanoseconds of its date.
TEST(UserDefaults, AFileChangedInPlaceIsNeitherReadFromNorWrittenOver) {
    for (const bool sameSize : {false, true}) {
        SCOPED_TRACE(sameSize);
        TempDir dir;
        ASSERT_TRUE(UserDefaults(dir / "cfg").setObject("paths", numberedPaths(300)));
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
TEST_F(Files, UserDefaultsAListOfOneSharedStringCannotGrowPastTheFile) {
    // A binary list: the key "k", the string of 100,000 "x", the list whose
    // 300 items all refer to that string, {k: the list}, the offset table.
    fs::create_directory(dir / "cfg");
    fs::copy_file(kData / "one_string_in_300_items.bplist", dir / "cfg" / "defaults.plist");
    UserDefaults defaults(dir / "cfg");
    const PlistStoredStrings* stored = defaults.objectForKey("k").stored();
    ASSERT_NE(stored, nullptr);
    std::size_t given = 0;
    EXPECT_FALSE(stored->forEach([&](std::string_view) { ++given; }));
    EXPECT_LT(given, 3u);
    EXPECT_NE(stored->reason().find("twice the file"), std::string::npos);
}
