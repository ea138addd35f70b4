#include "cli/icc_bitmap_support.h"

#include <cstdio>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/command.h"
#include "color/profile_manager.h"
#include "image/image_file.h"
#include "image/tiff_reader.h"

namespace slidebox::cli {

MappedFile::~MappedFile() {
    if (data_)
        munmap(data_, size_);
}

bool MappedFile::map(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat info {};
    if (fstat(fd, &info) == 0 && info.st_size > 0) {
        // The pages found at hand are entered at once, not one fault each.
        void* data = mmap(nullptr, static_cast<std::size_t>(info.st_size), PROT_READ,
                          MAP_PRIVATE | MAP_POPULATE, fd, 0);
        if (data != MAP_FAILED) {
            data_ = data;
            size_ = static_cast<std::size_t>(info.st_size);
            madvise(data_, size_, MADV_SEQUENTIAL);
        }
    }
    ::close(fd);
    return data_ != nullptr;
}

std::optional<image::Bitmap> mapTiff(const std::string& path, MappedFile& file, bool& labSigned) {
    auto reader = image::TiffReader::open(path);
    if (!reader)
        return std::nullopt;
    auto raw = reader->rawLayout();
    if (!raw || raw->offset % 2 != 0 || !file.map(path))
        return std::nullopt;
    const std::uint64_t bytes =
        static_cast<std::uint64_t>(raw->rowBytes) * static_cast<std::uint64_t>(reader->height());
    if (raw->offset > file.size() || bytes > file.size() - raw->offset)
        return std::nullopt;
    auto wrapped = image::Bitmap::wrap(reader->width(), reader->height(), reader->format(),
                                       raw->rowBytes, file.data() + raw->offset);
    if (!wrapped)
        return std::nullopt;
    labSigned = raw->labSigned;
    return std::move(wrapped.value());
}

ProgressLine::ProgressLine() : terminal_(isatty(STDERR_FILENO) == 1) {}

void ProgressLine::setAmountOfCompletion(std::int32_t percent) {
    if (!terminal_)
        return;
    const std::int32_t shown = percent < 0 ? 0 : percent > 100 ? 100 : percent;
    char bar[21];
    for (int i = 0; i < 20; ++i)
        bar[i] = i < shown / 5 ? '#' : ' ';
    bar[20] = '\0';
    std::fprintf(stderr, "\r[%s] %3d%%%s", bar, static_cast<int>(shown), shown == 100 ? "\n" : "");
    std::fflush(stderr);
}

std::unique_ptr<color::ColorWorld> labWorld(const std::string& source, std::int32_t intentIn,
                                            std::int32_t intentOut, const char* command,
                                            int& status) {
    status = Failed;
    const auto path = profileArgument(source);
    if (!path || !color::ProfileManager::profileRefForPath(*path)) {
        failure(std::string(command) + ": '" + source + "' is not a usable ICC profile");
        return nullptr;
    }
    const auto lab = color::ProfileManager::pathOfGenericLabProfil();
    if (!lab) {
        failure(std::string(command) + ": the generic Lab profile can't be made");
        return nullptr;
    }
    auto world = color::ColorWorld::initColorWorldWithSrcProfil(*path, intentIn, intentOut, *lab);
    if (!world) {
        failure(std::string(command) + ": no colour world through these profiles and intents");
        return nullptr;
    }
    status = Done;
    return world;
}

int matchIntoLab(color::ColorWorld& world, const std::string& path, const char* command) {
    auto read = image::readImageFile(path);
    if (!read)
        return failure(std::string(command) + ": '" + path + "': " + read.status().message());
    // The refusals of the match are the toolkit's log lines.
    return world.matchSourceImageRep(*read, nullptr) ? Done : Failed;
}

} // namespace slidebox::cli
