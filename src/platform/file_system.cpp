#include "platform/file_system.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace slidebox::platform {

std::optional<DirectoryListing> listDirectory(const std::filesystem::path& folder) {
    DIR* dir = opendir(folder.c_str());
    if (!dir)
        return std::nullopt;
    DirectoryListing listing;
    struct stat st{};
    if (fstat(dirfd(dir), &st) == 0) {
        listing.device = st.st_dev;
        listing.inode = st.st_ino;
    }
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
    struct stat st{};
    if (::stat(path.c_str(), &st) != 0)
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
    struct stat st{};
    int rc = traverseLink ? ::stat(path.c_str(), &st) : ::lstat(path.c_str(), &st);
    if (rc != 0)
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

} // namespace

bool writeFileAtomically(const std::filesystem::path& path, std::string_view bytes) {
    std::filesystem::path folder = path.parent_path();
    if (folder.empty())
        folder = ".";
    std::string temp = (folder / ("." + path.filename().native() + ".XXXXXX")).native();
    int fd = mkstemp(temp.data());
    if (fd < 0)
        return false;
    // Keep the permissions of the file being replaced.
    struct stat old{};
    if (::stat(path.c_str(), &old) == 0)
        fchmod(fd, old.st_mode & 07777);
    else
        fchmod(fd, 0644);
    bool ok = writeAll(fd, bytes) && ::fsync(fd) == 0;
    ok = (::close(fd) == 0) && ok;
    if (ok)
        ok = ::rename(temp.c_str(), path.c_str()) == 0;
    if (!ok) {
        ::unlink(temp.c_str());
        return false;
    }
    if (int dirFd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY); dirFd >= 0) {
        ::fsync(dirFd);
        ::close(dirFd);
    }
    return true;
}

std::optional<std::string> readWholeFile(const std::filesystem::path& path) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    struct stat st{};
    if (fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
        ::close(fd);
        return std::nullopt;
    }
    std::string data;
    char buf[65536];
    for (;;) {
        ssize_t n = ::read(fd, buf, sizeof buf);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            ::close(fd);
            return std::nullopt;
        }
        if (n == 0)
            break;
        data.append(buf, static_cast<size_t>(n));
    }
    ::close(fd);
    return data;
}

} // namespace slidebox::platform
