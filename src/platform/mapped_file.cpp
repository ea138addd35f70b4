#include "platform/mapped_file.h"

#include <string>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/file_system.h"

namespace slidebox::platform {

namespace {

bool same(const struct timespec& a, const struct timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

} // namespace

Result<std::shared_ptr<const MappedFile>> MappedFile::open(const std::filesystem::path& path,
                                                           std::size_t maxBytes) {
    auto opened = openRegularFile(path);
    if (!opened)
        return opened.status();
    const int fd = *opened;
    struct stat st {};
    if (::fstat(fd, &st) != 0) {
        ::close(fd);
        return Status::failure(ErrorCode::CannotOpen, "cannot read");
    }
    if (static_cast<std::uintmax_t>(st.st_size) > maxBytes) {
        ::close(fd);
        return Status::failure(ErrorCode::TooLarge,
                               "larger than " + std::to_string(maxBytes) + " bytes");
    }
    if (st.st_size == 0) {
        ::close(fd);
        return Status::failure(ErrorCode::Truncated, "empty");
    }
    const auto size = static_cast<std::size_t>(st.st_size);
    // Not populated: a reader of the settings touches a small part of them.
    void* mapped = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
    if (mapped == MAP_FAILED) {
        ::close(fd);
        return Status::failure(ErrorCode::CannotOpen, "cannot map the file");
    }
    return std::shared_ptr<const MappedFile>(std::make_shared<MappedFile>(
        PrivateTag(), fd, static_cast<const char*>(mapped), size, st.st_mtim));
}

MappedFile::~MappedFile() {
    ::munmap(const_cast<char*>(data_), size_);
    ::close(fd_);
}

bool MappedFile::unchanged() const {
    struct stat st {};
    return ::fstat(fd_, &st) == 0 && static_cast<std::size_t>(st.st_size) == size_ &&
           same(st.st_mtim, modified_);
}

} // namespace slidebox::platform
