#include "tests/temp_dir.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace slidebox::testing {

TempDir::TempDir() {
    std::string templ = (std::filesystem::temp_directory_path() / "slidebox-test-XXXXXX").string();
    if (!mkdtemp(templ.data()))
        throw std::runtime_error("mkdtemp failed");
    path_ = templ;
}

namespace {

// Removes what folder holds, then the folder, by descriptors relative to
// its parent: chains of folders deeper than a path the system takes are
// removed too, and folders a test made unreadable are opened again first.
void removeTree(int parent, const char* name) {
    struct stat st {};
    if (::fstatat(parent, name, &st, AT_SYMLINK_NOFOLLOW) != 0)
        return;
    if (!S_ISDIR(st.st_mode)) {
        ::unlinkat(parent, name, 0);
        return;
    }
    ::fchmodat(parent, name, 0700, 0);
    if (const int fd = ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        fd >= 0) {
        std::vector<std::string> names;
        if (DIR* dir = ::fdopendir(::dup(fd))) {
            while (const dirent* entry = ::readdir(dir))
                if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
                    names.emplace_back(entry->d_name);
            ::closedir(dir);
        }
        for (const std::string& entry : names)
            removeTree(fd, entry.c_str());
        ::close(fd);
    }
    ::unlinkat(parent, name, AT_REMOVEDIR);
}

} // namespace

TempDir::~TempDir() {
    removeTree(AT_FDCWD, path_.c_str());
}

void writeFile(const std::filesystem::path& path, std::string_view bytes) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::filesystem::path writeDeepFile(const std::filesystem::path& folder, std::size_t pathBytes,
                                    std::string_view bytes) {
    std::filesystem::path path = folder;
    ::mkdir(folder.c_str(), 0755);
    int fd = ::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    std::size_t left = pathBytes - std::min(pathBytes, folder.native().size());
    // Folders until a file name of at most 200 bytes fills what is left; the
    // last folder leaves it 100 bytes or more.
    while (fd >= 0 && left > 201) {
        const std::string name(std::min<std::size_t>(200, left - 102), 'd');
        ::mkdirat(fd, name.c_str(), 0755);
        const int next = ::openat(fd, name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        ::close(fd);
        fd = next;
        path /= name;
        left -= name.size() + 1;
    }
    if (fd < 0 || left < 2)
        return {};
    const std::string name(left - 1, 'f');
    const int file = ::openat(fd, name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    ::close(fd);
    if (file < 0)
        return {};
    const bool written =
        ::write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    ::close(file);
    return written ? path / name : std::filesystem::path();
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf(); // in blocks: large files read fast under the sanitizers too
    return std::move(bytes).str();
}

std::filesystem::path buildDir() {
    if (const char* dir = std::getenv("SLIDEBOX_BUILD_DIR"))
        return dir;
    // Test executables live in <build>/tests.
    return std::filesystem::canonical("/proc/self/exe").parent_path().parent_path();
}

} // namespace slidebox::testing
