#include "platform/file_lock.h"

#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace slidebox::platform {

FileLock::FileLock(const std::filesystem::path& file) {
    fd_ = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd_ < 0)
        return;
    int rc = 0;
    while ((rc = ::flock(fd_, LOCK_EX)) != 0 && errno == EINTR) {
    }
    if (rc != 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

FileLock::~FileLock() {
    if (fd_ >= 0)
        ::close(fd_); // releases the lock
}

std::filesystem::path runtimeDirectory() {
    const char* dir = std::getenv("XDG_RUNTIME_DIR");
    return (dir && *dir == '/') ? std::filesystem::path(dir) : std::filesystem::path("/tmp");
}

} // namespace slidebox::platform
