// Start of the application with a long list of libraries, timed against its
// start with an empty list in the same run.
//
//   bench_app_start
//
// Makes a world in a temporary folder: 100 libraries on disk, each stored in
// the settings with 5,000 image paths, then starts the real program on the
// offscreen platform until its first window is shown (the program ends there
// when SLIDEBOX_QUIT_WHEN_SHOWN is set), best of five, and the same with an
// empty list. Prints both times, their ratio (goal: at most 1.3) and the
// most memory each start took.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QImage>

#include "bench_support.h"
#include "platform/file_system.h"
#include "platform/user_defaults.h"

extern char** environ;
namespace fs = std::filesystem;
using namespace slidebox::platform;

namespace {

constexpr int kLibraries = 100, kImagesEach = 5000;

struct Start {
    double seconds = 0;
    long maxResidentKiB = 0;
    bool ok = false;
};

// One start of the program in the world at root; wall time to its exit.
Start startOnce(const fs::path& root) {
    const std::string program = SLIDEBOX_APP;
    std::vector<std::string> env = {
        "HOME=" + (root / "home").string(),
        "XDG_CONFIG_HOME=" + (root / "config").string(),
        "XDG_RUNTIME_DIR=" + (root / "run").string(),
        "QT_QPA_PLATFORM=offscreen",
        "SLIDEBOX_QUIT_WHEN_SHOWN=1",
        "LANG=C.UTF-8",
        "PATH=/usr/bin:/bin",
    };
    std::vector<char*> envp, argv = {const_cast<char*>(program.c_str()), nullptr};
    for (auto& e : env)
        envp.push_back(e.data());
    envp.push_back(nullptr);
    Start start;
    // Qt's offscreen platform says what it can't do on standard error.
    posix_spawn_file_actions_t quiet;
    posix_spawn_file_actions_init(&quiet);
    posix_spawn_file_actions_addopen(&quiet, 2, "/dev/null", O_WRONLY, 0);
    const auto t0 = bench::Clock::now();
    pid_t pid = 0;
    const int spawned =
        posix_spawn(&pid, program.c_str(), &quiet, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&quiet);
    if (spawned != 0)
        return start;
    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) != pid)
        return start;
    start.seconds = std::chrono::duration<double>(bench::Clock::now() - t0).count();
    start.maxResidentKiB = usage.ru_maxrss;
    start.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return start;
}

Start bestStart(const fs::path& root) {
    Start best;
    best.seconds = 1e30;
    for (int i = 0; i < 5; ++i) {
        Start s = startOnce(root);
        if (!s.ok)
            return s;
        if (s.seconds < best.seconds)
            best = s;
    }
    return best;
}

// The settings as the program itself writes them.
bool writeSettings(const fs::path& root, PlistArray libraries) {
    fs::create_directories(root / "home");
    fs::create_directories(root / "run");
    fs::permissions(root / "run", fs::perms::owner_all);
    UserDefaults defaults(root / "config" / "slidebox");
    return defaults.setObjects({{"AM_firstStartDone", PlistValue(true)},
                                {"AM_photoAlbumDictionaries", PlistValue(std::move(libraries))}});
}

// 100 libraries on disk, each with one real thumbnail (the one shown) and
// 5,000 stored image paths.
PlistArray makeLibraries(const fs::path& root) {
    QImage thumb(160, 120, QImage::Format_RGB32);
    thumb.fill(Qt::darkCyan);
    PlistArray libraries;
    for (int l = 0; l < kLibraries; ++l) {
        const fs::path library = root / "home" / "Pictures" / ("Library " + std::to_string(l));
        fs::create_directories(library / "Thumbs");
        std::ofstream(library / "Library.iPhoto").put('x');
        thumb.save(QString::fromStdString((library / "Thumbs" / "0.jpg").string()));
        PlistArray paths;
        paths.reserve(kImagesEach);
        for (int i = 0; i < kImagesEach; ++i)
            paths.emplace_back((library / "Thumbs" / (std::to_string(i) + ".jpg")).string());
        PlistDictionary record;
        record["AM_AlbumPath"] = PlistValue(library.string());
        // Dated as the library is, so that the program takes the list as it is.
        if (auto date = modificationDate(library / "Library.iPhoto", false))
            record["AM_AlbumDate"] = PlistValue(*date);
        record["AM_ImagePaths"] = PlistValue(std::move(paths));
        record["AM_defaultImageIndex"] = PlistValue(0);
        libraries.emplace_back(std::move(record));
    }
    return libraries;
}

} // namespace

int main() {
    char pattern[] = "/tmp/slidebox-bench-start-XXXXXX";
    if (!mkdtemp(pattern)) {
        std::perror("mkdtemp");
        return 1;
    }
    const fs::path empty = fs::path(pattern) / "empty", full = fs::path(pattern) / "full";
    // The world is made by a child process, so that the memory it takes is
    // not counted in the starts below (a spawned child's peak includes its
    // parent's).
    if (const pid_t maker = fork(); maker == 0) {
        const bool written = writeSettings(empty, {}) && writeSettings(full, makeLibraries(full));
        _exit(written ? 0 : 1);
    } else if (int status = 0; maker < 0 || waitpid(maker, &status, 0) != maker ||
                               !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "could not make the libraries\n");
        return 1;
    }
    std::printf("settings with %d libraries of %d image paths: %.1f MB\n", kLibraries, kImagesEach,
                fs::file_size(full / "config" / "slidebox" / "defaults.plist") / 1e6);

    const Start reference = bestStart(empty);
    const Start work = bestStart(full);
    if (!std::getenv("BENCH_KEEP"))
        fs::remove_all(pattern);
    if (!reference.ok || !work.ok) {
        std::fprintf(stderr, "the program did not start and end cleanly\n");
        return 1;
    }
    std::printf("start, empty list:     %.3f s, %ld MiB at most\n", reference.seconds,
                reference.maxResidentKiB / 1024);
    std::printf("start, 100 libraries:  %.3f s, %ld MiB at most\n", work.seconds,
                work.maxResidentKiB / 1024);
    bench::report("app start, 100 libraries x 5,000 paths", work.seconds, "app start, empty list",
                  reference.seconds, 1.3);
    return 0;
}
