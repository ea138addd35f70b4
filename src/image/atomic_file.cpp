#include "image/atomic_file.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace slidebox::image {

namespace {

ImageStatus writeFailure(const std::string& what, int error) {
    return ImageStatus::failure(ImageErrorCode::CannotWrite, what + ": " + std::strerror(error));
}

} // namespace

ImageResult<AtomicFile> AtomicFile::create(const std::filesystem::path& target) {
    if (target.filename().empty())
        return ImageStatus::failure(ImageErrorCode::BadArgument, "no file name to write to");
    std::filesystem::path folder = target.parent_path();
    if (folder.empty())
        folder = ".";
    std::string name = (folder / ("." + target.filename().native() + ".XXXXXX")).native();
    int fd = ::mkstemp(name.data());
    if (fd < 0)
        return writeFailure("cannot create a file in " + folder.native(), errno);
    // mkstemp makes the file private; give it the mode of the file it
    // replaces, or an ordinary file's.
    struct stat old {};
    ::fchmod(fd, ::stat(target.c_str(), &old) == 0 ? (old.st_mode & 07777) : 0644);
    AtomicFile file;
    file.fd_ = fd;
    file.target_ = target;
    file.temporary_ = name;
    return file;
}

AtomicFile::AtomicFile(AtomicFile&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)), target_(std::move(other.target_)),
      temporary_(std::move(other.temporary_)) {
    other.temporary_.clear();
}

AtomicFile& AtomicFile::operator=(AtomicFile&& other) noexcept {
    if (this != &other) {
        discard();
        fd_ = std::exchange(other.fd_, -1);
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
    const auto* bytes = static_cast<const char*>(data);
    while (size > 0 && fd_ >= 0) {
        ssize_t n = ::write(fd_, bytes, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        bytes += n;
        size -= static_cast<std::size_t>(n);
    }
    return size == 0;
}

ImageStatus AtomicFile::commit(bool durable) {
    if (fd_ < 0)
        return ImageStatus::failure(ImageErrorCode::CannotWrite, "output already closed");
    if (durable && ::fsync(fd_) != 0) {
        int error = errno;
        discard();
        return writeFailure("cannot flush " + target_.native(), error);
    }
    int fd = std::exchange(fd_, -1);
    if (::close(fd) != 0) {
        int error = errno;
        discard();
        return writeFailure("cannot close " + target_.native(), error);
    }
    if (::rename(temporary_.c_str(), target_.c_str()) != 0) {
        int error = errno;
        discard();
        return writeFailure("cannot rename to " + target_.native(), error);
    }
    temporary_.clear();
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
}

} // namespace slidebox::image
