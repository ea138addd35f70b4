#include "library/tests/support/library_fixtures.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <QBuffer>
#include <QColor>
#include <QImage>

#include "tests/temp_dir.h"

namespace slidebox::testing {

void makeJpeg(const std::filesystem::path& path, int width, int height, int dpi, int seed) {
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(QColor::fromHsv((seed * 47) % 360, 200, 200));
    image.setDotsPerMeterX(qRound(dpi / 0.0254));
    image.setDotsPerMeterY(qRound(dpi / 0.0254));
    // Saved through a byte array so that the file name's bytes stay raw.
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "JPG");
    writeFile(path, std::string_view(bytes.constData(), static_cast<size_t>(bytes.size())));
}

std::vector<std::filesystem::path> libraryOf(int generation, const std::filesystem::path& root,
                                             const std::vector<std::string>& folders,
                                             int perFolder) {
    writeFile(root / (generation == 6   ? "Library6.iPhoto"
                      : generation == 3 ? "Library.iPhoto"
                                        : "Albums/Photo Library"),
              "library");
    const auto images = generation == 6 ? root / "Data" : root;
    std::filesystem::create_directories(images);
    std::vector<std::filesystem::path> paths;
    for (const auto& folder : folders) {
        std::filesystem::create_directories(images / folder);
        for (int i = 1; i <= perFolder; ++i) {
            makeJpeg(images / folder / (std::to_string(i) + ".jpg"), 8, 6, 72, int(paths.size()));
            paths.push_back(images / folder / (std::to_string(i) + ".jpg"));
        }
    }
    return paths;
}

void setModificationTime(const std::filesystem::path& path, long long seconds, long nanoseconds,
                         bool noFollow) {
    timespec times[2] = {{0, UTIME_OMIT}, {static_cast<time_t>(seconds), nanoseconds}};
    utimensat(AT_FDCWD, path.c_str(), times, noFollow ? AT_SYMLINK_NOFOLLOW : 0);
}

} // namespace slidebox::testing
