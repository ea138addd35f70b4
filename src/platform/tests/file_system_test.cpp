#include <gtest/gtest.h>

#include <csignal>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/atomic_file.h"
#include "platform/file_system.h"
#include "tests/temp_dir.h"

using namespace slidebox::platform;
using slidebox::testing::TempDir;
using slidebox::testing::writeDeepFile;
using slidebox::testing::writeFile;

TEST(DirectoryListing, SortedBytewiseWithHiddenAndRawNames) {
    TempDir dir;
    // Bytes compare unsigned: 0xC3 sorts after every ASCII letter; Latin-1 is not UTF-8.
    const std::vector<std::string> names{".hidden", "B",       "a b",
                                         "b",       "caf\xe9", "\xc3\xa9t\xc3\xa9"};
    for (const std::string& name : names)
        writeFile(dir / name, "x");
    EXPECT_EQ(directoryContentsAtPath(dir.path()), names);
    // Nothing for a missing folder or a file.
    EXPECT_TRUE(directoryContentsAtPath(dir / "missing").empty());
    EXPECT_TRUE(directoryContentsAtPath(dir / "b").empty());
}

TEST(FileExists, FollowsLinksAndRejectsDanglingOnes) {
    TempDir dir;
    std::filesystem::create_directory(dir / "folder");
    writeFile(dir / "file", "x");
    std::filesystem::create_symlink(dir / "folder", dir / "link-to-folder");
    std::filesystem::create_symlink(dir / "nowhere", dir / "dangling");
    bool isDir = false;
    EXPECT_TRUE(fileExistsAtPath(dir / "link-to-folder", &isDir) && isDir);
    EXPECT_TRUE(fileExistsAtPath(dir / "file", &isDir) && !isDir);
    EXPECT_FALSE(fileExistsAtPath(dir / "dangling", &isDir));
}

TEST(ModificationDate, NanosecondsAndLinkDatedByItself) {
    TempDir dir;
    writeFile(dir / "target", "x");
    std::filesystem::create_symlink(dir / "target", dir / "link");
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
    EXPECT_EQ(pathExtension("a.jpg"), "jpg");
    EXPECT_EQ(pathExtension("a.JPG"), "JPG");
    EXPECT_EQ(pathExtension("a.tar.jpeg"), "jpeg");
    EXPECT_EQ(pathExtension("noext"), "");
    EXPECT_EQ(pathExtension("/x.y/noext"), "");
    EXPECT_EQ(pathExtension("/x/trailing."), "");
}

TEST(AtomicWrite, ReplacesWholeThroughLinksAndRefusesToPartHardLinks) {
    TempDir dir;
    writeFile(dir / "real" / "f", "old");
    chmod((dir / "real" / "f").c_str(), 0600);
    std::filesystem::create_symlink("real/f", dir / "link"); // relative to the link's folder
    std::filesystem::create_directory(dir / "via");
    std::filesystem::create_symlink("../link", dir / "via" / "f"); // a chain of two
    ASSERT_TRUE(writeFileAtomically(dir / "via" / "f", "new contents"));
    EXPECT_TRUE(std::filesystem::is_symlink(dir / "via" / "f"));
    EXPECT_TRUE(std::filesystem::is_symlink(dir / "link"));
    EXPECT_EQ(readWholeFile(dir / "real" / "f"), "new contents");
    EXPECT_EQ(std::filesystem::status(dir / "real" / "f").permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    EXPECT_EQ(directoryContentsAtPath(dir / "real"), std::vector<std::string>{"f"});
    EXPECT_FALSE(writeFileAtomically(dir / "no-such-folder" / "f", "x"));

    std::filesystem::create_hard_link(dir / "real" / "f", dir / "hard");
    EXPECT_EQ(writeFileAtomically(dir / "hard", "newer").code(), ErrorCode::Unsupported);
    EXPECT_EQ(readWholeFile(dir / "real" / "f"), "new contents");
    EXPECT_EQ(std::filesystem::hard_link_count(dir / "hard"), 2u);
}

// A child stopped by a signal while it writes ends as the signal ends it,
// its temporary file gone and the old file standing; an ignored signal
// stays ignored; a file committed before the signal is not touched.
TEST(AtomicWrite, ASignalRemovesTheTemporariesOfTheFilesBeingWritten) {
    TempDir dir;
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
            auto first = AtomicFile::create(dir / "f");
            auto second = AtomicFile::create(dir / "g");
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
        std::filesystem::remove(dir / "done");
    }
}

TEST(AtomicWrite, AFailedWriteLeavesTheOldFileAndNoTemporary) {
    // A file size limit makes write() fail as a full disk would.
    TempDir dir;
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
    EXPECT_EQ(readWholeFile(dir / "f"), "old");
    EXPECT_EQ(directoryContentsAtPath(dir.path()), std::vector<std::string>{"f"});
}

TEST(AtomicWrite, RemovesTheStaleTemporariesOfEndedProcessesOnly) {
    TempDir dir;
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

TEST(ReadRegularFile, RefusesAnythingButARegularFileWithinTheLimitAndNeverBlocks) {
    TempDir dir;
    writeFile(dir / "small", "12345");
    writeFile(dir / "large", std::string(4097, 'x'));
    ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0); // no writer: an open would wait
    std::filesystem::create_symlink("/dev/zero", dir / "zero");
    std::filesystem::create_directory(dir / "folder");
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

TEST(LongPaths, ReadListedAndLookedAtUpToTheLimitThroughLinksAndDotDot) {
    TempDir dir;
    const auto deep = writeDeepFile(dir.path(), 6000, "12345");
    const auto limit = writeDeepFile(dir / "limit", kMaxPathBytes, "x");
    // A link near the top into the chain, and ".." past the point where a
    // long path is cut for the system, resolve as one call would.
    const auto first = dir / deep.lexically_relative(dir.path()).begin()->native();
    std::filesystem::create_directory_symlink(first, dir / "link");
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

TEST(PrivateFolder, MadeForThisUserOnlyAndRefusedWhenOpenOrALink) {
    TempDir dir;
    const auto mine = dir / "mine";
    ASSERT_TRUE(makePrivateFolder(mine));
    EXPECT_EQ(std::filesystem::status(mine).permissions() & std::filesystem::perms::all,
              std::filesystem::perms::owner_all);
    EXPECT_TRUE(makePrivateFolder(mine)) << "an existing private folder is taken";
    std::filesystem::create_directory(dir / "open");
    std::filesystem::permissions(dir / "open", std::filesystem::perms::all);
    std::filesystem::create_directory_symlink(mine, dir / "link");
    writeFile(dir / "file", "x");
    for (const char* name : {"open", "link", "file"})
        EXPECT_FALSE(makePrivateFolder(dir / name)) << name;
}
