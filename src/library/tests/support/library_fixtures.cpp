#include "library/tests/support/library_fixtures.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <QBuffer>
#include <QByteArray>
#include <QColor>
#include <QImage>
#include <QString>

#include "tests/temp_dir.h"

namespace slidebox::testing {

void makeJpeg(const std::filesystem::path& path, int width, int height, int dpi, int seed) {
    std::filesystem::create_directories(path.parent_path());
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(QColor::fromHsv((seed * 47) % 360, 200, 200));
    int dotsPerMeter = static_cast<int>(dpi / 0.0254 + 0.5);
    image.setDotsPerMeterX(dotsPerMeter);
    image.setDotsPerMeterY(dotsPerMeter);
    // Save through a byte array so that the file name's bytes stay raw.
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "JPG");
    writeFile(path, std::string_view(bytes.constData(), static_cast<size_t>(bytes.size())));
}

namespace {
std::vector<std::filesystem::path> fill(const std::filesystem::path& base,
                                        const std::vector<std::string>& folders, int perFolder) {
    std::vector<std::filesystem::path> images;
    int seed = 0;
    for (const auto& folder : folders) {
        std::filesystem::create_directories(base / folder);
        for (int i = 1; i <= perFolder; ++i) {
            auto path = base / folder / (std::to_string(i) + ".jpg");
            makeJpeg(path, 8, 6, 72, seed++);
            images.push_back(path);
        }
    }
    return images;
}
} // namespace

std::vector<std::filesystem::path> makeLibrary6(const std::filesystem::path& root,
                                                const std::vector<std::string>& folders,
                                                int perFolder) {
    writeFile(root / "Library6.iPhoto", "library");
    std::filesystem::create_directories(root / "Data");
    return fill(root / "Data", folders, perFolder);
}

std::vector<std::filesystem::path> makeLibrary3(const std::filesystem::path& root,
                                                const std::vector<std::string>& thumbFolders,
                                                int perFolder) {
    writeFile(root / "Library.iPhoto", "library");
    return fill(root, thumbFolders, perFolder);
}

std::vector<std::filesystem::path> makeLibrary2(const std::filesystem::path& root,
                                                const std::vector<std::string>& thumbFolders,
                                                int perFolder) {
    writeFile(root / "Albums" / "Photo Library", "library");
    return fill(root, thumbFolders, perFolder);
}

void setModificationTime(const std::filesystem::path& path, long long seconds, long nanoseconds,
                         bool noFollow) {
    timespec times[2] = {{0, UTIME_OMIT}, {static_cast<time_t>(seconds), nanoseconds}};
    utimensat(AT_FDCWD, path.c_str(), times, noFollow ? AT_SYMLINK_NOFOLLOW : 0);
}

} // namespace slidebox::testing
