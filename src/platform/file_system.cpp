#include "platform/file_system.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <utility>

#include "platform/atomic_file.h"

namespace slidebox::platform {

namespace {
bool isKernelFileSystem(unsigned long type) {
    switch (type) {
    case PROC_SUPER_MAGIC:
    case SYSFS_MAGIC:
    case DEVPTS_SUPER_MAGIC:
    case DEBUGFS_MAGIC:
    case TRACEFS_MAGIC:
    case SECURITYFS_MAGIC:
    case CGROUP_SUPER_MAGIC:
    case CGROUP2_SUPER_MAGIC:
        return true;
    default:
        return false;
    }
}
// The most bytes one system call takes as a path, its NUL left out.
constexpr std::size_t kShortPathBytes = PATH_MAX - 1;

} // namespace

int openPath(const std::filesystem::path& path, int flags) {
    const std::string& whole = path.native();
    if (whole.size() > kMaxPathBytes) {
        errno = ENAMETOOLONG;
        return -1;
    }
    if (whole.size() <= kShortPathBytes)
        return ::open(whole.c_str(), flags);
    // A long path is opened a stretch at a time: each stretch ends at a
    // slash, fits one call, and is opened as a folder relative to the one
    // before. Links and ".." resolve as in one call: a link is followed
    // where it stands, ".." leads to the parent of the folder reached.
    std::string_view rest = whole;
    int folder = AT_FDCWD;
    while (rest.size() > kShortPathBytes) {
        const std::size_t slash = rest.rfind('/', kShortPathBytes);
        if (slash == std::string_view::npos || slash == 0) {
            // No stretch fits: a name longer than any the system keeps.
            if (folder != AT_FDCWD)
                ::close(folder);
            errno = ENAMETOOLONG;
            return -1;
        }
        const std::string stretch(rest.substr(0, slash));
        const int next = ::openat(folder, stretch.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        const int error = errno;
        if (folder != AT_FDCWD)
            ::close(folder);
        if (next < 0) {
            errno = error;
            return -1;
        }
        folder = next;
        rest.remove_prefix(slash);
        while (!rest.empty() && rest.front() == '/')
            rest.remove_prefix(1); // the rest is relative to the folder
        if (rest.empty())
            rest = ".";
    }
    const int fd = ::openat(folder, std::string(rest).c_str(), flags);
    const int error = errno;
    if (folder != AT_FDCWD)
        ::close(folder);
    errno = error;
    return fd;
}

bool statPath(const std::filesystem::path& path, struct stat& st, bool followLinks) {
    const std::string& whole = path.native();
    if (whole.size() <= kShortPathBytes)
        return (followLinks ? ::stat(whole.c_str(), &st) : ::lstat(whole.c_str(), &st)) == 0;
    // O_PATH opens anything, a FIFO without waiting and, with O_NOFOLLOW,
    // a link itself, with no more rights than stat asks.
    const int fd = openPath(path, O_PATH | O_CLOEXEC | (followLinks ? 0 : O_NOFOLLOW));
    if (fd < 0)
        return false;
    const bool done = ::fstat(fd, &st) == 0;
    const int error = errno;
    ::close(fd);
    errno = error;
    return done;
}

std::optional<DirectoryListing> listDirectory(const std::filesystem::path& folder) {
    const int fd = openPath(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    DIR* dir = fdopendir(fd);
    if (!dir) {
        ::close(fd);
        return std::nullopt;
    }
    DirectoryListing listing;
    struct stat st {};
    if (fstat(dirfd(dir), &st) == 0) {
        listing.device = st.st_dev;
        listing.inode = st.st_ino;
    }
    if (struct statfs fs{}; fstatfs(dirfd(dir), &fs) == 0)
        listing.isKernelFileSystem = isKernelFileSystem(static_cast<unsigned long>(fs.f_type));
    while (dirent* entry = readdir(dir)) {
        const char* name = entry->d_name;
        if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
            continue;
        DirectoryEntry::Kind kind = DirectoryEntry::Kind::Other;
        if (entry->d_type == DT_DIR)
            kind = DirectoryEntry::Kind::Directory;
        else if (entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN)
            kind = DirectoryEntry::Kind::LinkOrUnknown;
        listing.entries.push_back({name, kind});
    }
    closedir(dir);
    // std::string compares as unsigned bytes (char_traits<char>::compare is memcmp).
    std::sort(listing.entries.begin(), listing.entries.end(),
              [](const DirectoryEntry& a, const DirectoryEntry& b) { return a.name < b.name; });
    return listing;
}

bool isDirectoryEntry(const std::filesystem::path& folder, const DirectoryEntry& entry) {
    switch (entry.kind) {
    case DirectoryEntry::Kind::Directory:
        return true;
    case DirectoryEntry::Kind::Other:
        return false;
    case DirectoryEntry::Kind::LinkOrUnknown:
        break;
    }
    return isDirectory(folder / entry.name);
}

std::vector<std::string> directoryContentsAtPath(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    if (auto listing = listDirectory(folder)) {
        names.reserve(listing->entries.size());
        for (auto& entry : listing->entries)
            names.push_back(std::move(entry.name));
    }
    return names;
}

bool fileExistsAtPath(const std::filesystem::path& path, bool* isDirectoryOut) {
    struct stat st {};
    if (!statPath(path, st))
        return false;
    if (isDirectoryOut)
        *isDirectoryOut = S_ISDIR(st.st_mode);
    return true;
}

bool isDirectory(const std::filesystem::path& path) {
    bool dir = false;
    return fileExistsAtPath(path, &dir) && dir;
}

std::optional<Date> modificationDate(const std::filesystem::path& path, bool traverseLink) {
    struct stat st {};
    if (!statPath(path, st, traverseLink))
        return std::nullopt;
    return Date{static_cast<std::int64_t>(st.st_mtim.tv_sec),
                static_cast<std::int32_t>(st.st_mtim.tv_nsec)};
}

std::string pathExtension(std::string_view name) {
    auto slash = name.rfind('/');
    if (slash != std::string_view::npos)
        name.remove_prefix(slash + 1);
    auto dot = name.rfind('.');
    if (dot == std::string_view::npos)
        return {};
    return std::string(name.substr(dot + 1));
}

std::filesystem::path homeDirectory() {
    if (const char* home = std::getenv("HOME"); home && *home)
        return home;
    if (const passwd* pw = getpwuid(getuid()); pw && pw->pw_dir)
        return pw->pw_dir;
    return "/";
}

std::filesystem::path expandTilde(const std::filesystem::path& path) {
    const std::string& s = path.native();
    if (s == "~")
        return homeDirectory();
    if (s.rfind("~/", 0) == 0)
        return homeDirectory() / s.substr(2);
    return path;
}

namespace {

bool writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t n = ::write(fd, bytes.data(), bytes.size());
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        bytes.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

Status failure(ErrorCode code, const std::string& what, int error) {
    return Status::failure(code, what + ": " + std::strerror(error));
}

std::string temporaryPrefix(const std::filesystem::path& path) {
    return "." + path.filename().native() + ".tmp-";
}

// The file a write lands in: a symbolic link's final target (relative
// targets taken from the link's folder), else the path itself.
std::filesystem::path writeTarget(const std::filesystem::path& path) {
    std::filesystem::path current = path;
    for (int hops = 0; hops < 40; ++hops) {
        std::error_code ec;
        if (!std::filesystem::is_symlink(current, ec))
            return current;
        std::filesystem::path target = std::filesystem::read_symlink(current, ec);
        if (ec)
            return current;
        current = target.is_absolute() ? target : current.parent_path() / target;
    }
    return current;
}

} // namespace

void removeStaleTemporaries(const std::filesystem::path& path) {
    std::filesystem::path folder = path.parent_path();
    if (folder.empty())
        folder = ".";
    const std::string prefix = temporaryPrefix(path);
    const std::string legacyPrefix = "." + path.filename().native() + ".";
    const Date hourAgo{Date::now().seconds - 3600, 0};
    for (const std::string& name : directoryContentsAtPath(folder)) {
        bool stale = false;
        if (name.rfind(prefix, 0) == 0) {
            const std::string rest = name.substr(prefix.size());
            char* end = nullptr;
            const long pid = std::strtol(rest.c_str(), &end, 10);
            stale = pid > 0 && *end == '-' && pid != ::getpid() &&
                    ::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH;
        } else if (name.size() == legacyPrefix.size() + 6 && name.rfind(legacyPrefix, 0) == 0) {
            auto date = modificationDate(folder / name, false);
            stale = date && *date < hourAgo;
        }
        struct stat st {};
        if (stale && ::lstat((folder / name).c_str(), &st) == 0 && S_ISREG(st.st_mode))
            ::unlink((folder / name).c_str());
    }
}

Status makePrivateFolder(const std::filesystem::path& folder) {
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        return Status::failure(ErrorCode::CannotWrite,
                               std::string("the folder can't be made: ") + std::strerror(errno));
    struct stat st {};
    if (::lstat(folder.c_str(), &st) != 0)
        return Status::failure(ErrorCode::CannotOpen, std::strerror(errno));
    if (!S_ISDIR(st.st_mode) || st.st_uid != ::geteuid() || (st.st_mode & 077) != 0)
        return Status::failure(ErrorCode::CannotOpen,
                               "not a folder of this user's that only this user may enter");
    return {};
}

namespace {

// The temporary files alive, as paths a signal handler can read: slots of
// fixed size, each free, being filled or ready. A path too long for a slot,
// or one past the last slot, is not listed: left to the next writer's
// removal of stale temporaries, as after SIGKILL.
enum SlotState : int { kFree, kFilling, kReady };
struct TemporarySlot {
    std::atomic<int> state{kFree};
    char path[PATH_MAX]{};
};
constexpr int kTemporarySlots = 32;
// Zeros known when compiled: no code at start touches the slots' pages.
constinit TemporarySlot temporarySlots[kTemporarySlots];

int listTemporary(const std::string& path) {
    if (path.size() >= PATH_MAX)
        return -1;
    for (int i = 0; i < kTemporarySlots; ++i) {
        int expected = kFree;
        if (temporarySlots[i].state.compare_exchange_strong(expected, kFilling)) {
            std::memcpy(temporarySlots[i].path, path.c_str(), path.size() + 1);
            temporarySlots[i].state.store(kReady, std::memory_order_release);
            return i;
        }
    }
    return -1;
}

void unlistTemporary(int slot) {
    if (slot >= 0)
        temporarySlots[slot].state.store(kFree, std::memory_order_release);
}

extern "C" void removeTemporariesAndEnd(int signal) {
    const int saved = errno;
    for (TemporarySlot& slot : temporarySlots)
        if (slot.state.load(std::memory_order_acquire) == kReady)
            ::unlink(slot.path);
    errno = saved;
    struct sigaction fallback {};
    fallback.sa_handler = SIG_DFL;
    ::sigemptyset(&fallback.sa_mask);
    ::sigaction(signal, &fallback, nullptr);
    ::raise(signal); // delivered once this handler returns
}

} // namespace

void removeTemporariesOnSignals() {
    for (int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction current {};
        if (::sigaction(signal, nullptr, &current) != 0 || current.sa_handler == SIG_IGN)
            continue;
        struct sigaction handler {};
        handler.sa_handler = removeTemporariesAndEnd;
        ::sigemptyset(&handler.sa_mask);
        ::sigaction(signal, &handler, nullptr);
    }
}

Result<AtomicFile> AtomicFile::create(const std::filesystem::path& requested) {
    if (requested.filename().empty())
        return Status::failure(ErrorCode::BadArgument, "no file name to write to");
    const std::filesystem::path path = writeTarget(requested);
    std::filesystem::path folder = path.parent_path();
    if (folder.empty())
        folder = ".";
    struct stat old {};
    const bool exists = ::stat(path.c_str(), &old) == 0;
    if (exists && !S_ISREG(old.st_mode))
        return Status::failure(ErrorCode::CannotWrite, "not a regular file");
    if (exists && old.st_nlink > 1)
        return Status::failure(ErrorCode::Unsupported,
                               "the file has other hard links, which a rewrite would part from it");
    removeStaleTemporaries(path);
    std::string temp =
        (folder / (temporaryPrefix(path) + std::to_string(::getpid()) + "-XXXXXX")).native();
    const int fd = ::mkstemp(temp.data());
    if (fd < 0)
        return failure(ErrorCode::CannotWrite, "cannot make a temporary file in " + folder.native(),
                       errno);
    // mkstemp makes the file private; keep the permissions of the file
    // being replaced, or an ordinary file's.
    ::fchmod(fd, exists ? (old.st_mode & 07777) : 0644);
    AtomicFile file;
    file.fd_ = fd;
    file.target_ = path;
    file.temporary_ = temp;
    file.slot_ = listTemporary(temp);
    file.replaces_ = exists;
    return file;
}

AtomicFile::AtomicFile(AtomicFile&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)), slot_(std::exchange(other.slot_, -1)),
      replaces_(other.replaces_), target_(std::move(other.target_)),
      temporary_(std::move(other.temporary_)) {
    other.temporary_.clear();
}

AtomicFile& AtomicFile::operator=(AtomicFile&& other) noexcept {
    if (this != &other) {
        discard();
        fd_ = std::exchange(other.fd_, -1);
        slot_ = std::exchange(other.slot_, -1);
        replaces_ = other.replaces_;
        target_ = std::move(other.target_);
        temporary_ = std::move(other.temporary_);
        other.temporary_.clear();
    }
    return *this;
}

AtomicFile::~AtomicFile() {
    discard();
}

bool AtomicFile::writeAll(const void* data, std::size_t size) {
    return fd_ >= 0 &&
           platform::writeAll(fd_, std::string_view(static_cast<const char*>(data), size));
}

void AtomicFile::startWriteBack(std::uint64_t offset, std::uint64_t length) const {
    // A hint: a file system without it writes the data later, as it would have.
    if (fd_ >= 0 && replaces_ && length > 0)
        (void)::sync_file_range(fd_, static_cast<off64_t>(offset), static_cast<off64_t>(length),
                                SYNC_FILE_RANGE_WRITE);
}

Status AtomicFile::commit(bool durable) {
    if (fd_ < 0)
        return Status::failure(ErrorCode::CannotWrite, "output already closed");
    if (durable && ::fsync(fd_) != 0) {
        const int error = errno;
        discard();
        return failure(ErrorCode::CannotWrite, "cannot write", error);
    }
    if (::close(std::exchange(fd_, -1)) != 0) {
        const int error = errno;
        discard();
        return failure(ErrorCode::CannotWrite, "cannot write", error);
    }
    if (::rename(temporary_.c_str(), target_.c_str()) != 0) {
        const int error = errno;
        discard();
        return failure(ErrorCode::CannotWrite, "cannot rename into place", error);
    }
    temporary_.clear();
    // Only now: a signal before the rename still removes the temporary.
    unlistTemporary(std::exchange(slot_, -1));
    if (durable) {
        std::filesystem::path folder = target_.parent_path();
        if (folder.empty())
            folder = ".";
        if (int dirFd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); dirFd >= 0) {
            ::fsync(dirFd);
            ::close(dirFd);
        }
    }
    return {};
}

void AtomicFile::discard() {
    if (fd_ >= 0)
        ::close(std::exchange(fd_, -1));
    if (!temporary_.empty()) {
        ::unlink(temporary_.c_str());
        temporary_.clear();
    }
    unlistTemporary(std::exchange(slot_, -1));
}

Status writeFileAtomically(const std::filesystem::path& path, std::string_view bytes) {
    auto file = AtomicFile::create(path);
    if (!file)
        return file.status();
    if (!file->writeAll(bytes.data(), bytes.size()))
        return failure(ErrorCode::CannotWrite, "cannot write", errno);
    return file->commit(true);
}

Result<int> openRegularFile(const std::filesystem::path& path) {
    if (path.native().size() > kMaxPathBytes)
        return Status::failure(ErrorCode::TooLarge, "the path is longer than the " +
                                                        std::to_string(kMaxPathBytes) +
                                                        " bytes a path may hold");
    // O_NONBLOCK: opening a FIFO with no writer would wait for one.
    int fd = openPath(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0)
        return failure(ErrorCode::CannotOpen, "cannot open", errno);
    struct stat st {};
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return Status::failure(ErrorCode::CannotOpen, "not a regular file");
    }
    return fd;
}

Result<std::string> readRegularFile(const std::filesystem::path& path, std::size_t maxBytes) {
    auto opened = openRegularFile(path);
    if (!opened)
        return opened.status();
    const int fd = *opened;
    struct stat st {};
    fstat(fd, &st);
    if (static_cast<std::uintmax_t>(st.st_size) > maxBytes) {
        ::close(fd);
        return Status::failure(ErrorCode::TooLarge,
                               "larger than " + std::to_string(maxBytes) + " bytes");
    }
    std::string data;
    data.reserve(static_cast<size_t>(st.st_size));
    char buf[65536];
    for (;;) {
        ssize_t n = ::read(fd, buf, sizeof buf);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            const int error = errno;
            ::close(fd);
            return failure(ErrorCode::CannotOpen, "cannot read", error);
        }
        if (n == 0)
            break;
        // A file that grows while it is read (or reports no size, as the
        // kernel's own files do) is held to the same limit.
        if (data.size() + static_cast<size_t>(n) > maxBytes) {
            ::close(fd);
            return Status::failure(ErrorCode::TooLarge,
                                   "larger than " + std::to_string(maxBytes) + " bytes");
        }
        data.append(buf, static_cast<size_t>(n));
    }
    ::close(fd);
    return data;
}

std::optional<std::string> readWholeFile(const std::filesystem::path& path, std::size_t maxBytes) {
    auto result = readRegularFile(path, maxBytes);
    if (!result)
        return std::nullopt;
    return std::move(*result);
}

} // namespace slidebox::platform
