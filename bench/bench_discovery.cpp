// Discovery of photo libraries below a large tree, timed against
// `find DIR -type d` on the same tree in the same run.
//
//   bench_discovery [TREE_DIR]
//
// Makes (once) a tree of about 100,000 folders holding 50 libraries of the
// three generations, then prints the best of three runs of each and their
// ratio. The goal is a ratio of at most 1.5.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench_support.h"
#include "library/iphoto_album_manager.h"

namespace fs = std::filesystem;

namespace {

constexpr int kTop = 20, kMiddle = 50, kLeaves = 100; // 20 + 1,000 + 100,000 folders
constexpr int kLibraries = 50;

void touchFile(const fs::path& path) {
    std::ofstream(path).put('x');
}

void makeTree(const fs::path& root) {
    int library = 0;
    for (int a = 0; a < kTop; ++a) {
        for (int b = 0; b < kMiddle; ++b) {
            fs::path middle = root / ("t" + std::to_string(a)) / ("m" + std::to_string(b));
            for (int c = 0; c < kLeaves; ++c)
                fs::create_directories(middle / ("leaf " + std::to_string(c)));
            touchFile(middle / "notes.txt");
            // Every twentieth middle folder gets a library in one of its leaves.
            if ((a * kMiddle + b) % (kTop * kMiddle / kLibraries) == 0 && library < kLibraries) {
                fs::path lib = middle / "leaf 7";
                switch (library++ % 3) {
                case 0:
                    touchFile(lib / "Library6.iPhoto");
                    break;
                case 1:
                    touchFile(lib / "Library.iPhoto");
                    break;
                default:
                    fs::create_directories(lib / "Albums");
                    touchFile(lib / "Albums" / "Photo Library");
                }
            }
        }
    }
    touchFile(root / ".complete");
}

} // namespace

int main(int argc, char** argv) {
    fs::path root =
        argc > 1 ? fs::path(argv[1]) : fs::temp_directory_path() / "slidebox-bench-tree";
    if (!fs::exists(root / ".complete")) {
        std::printf("making the tree in %s ...\n", root.c_str());
        fs::remove_all(root);
        makeTree(root);
    }
    std::string command = "find '" + root.string() + "' -type d > /dev/null";
    double reference = bench::bestOfThree([&] {
        if (std::system(command.c_str()) != 0)
            std::fprintf(stderr, "find failed\n");
    });
    size_t found = 0;
    double discovery = bench::bestOfThree(
        [&] { found = slidebox::iPhotoAlbumManager::iPhotoLibrariesPathsInFolder(root).size(); });
    std::printf("libraries found: %zu (expected %d)\n", found, kLibraries);
    std::printf("find -type d:    %.3f s\n", reference);
    std::printf("discovery:       %.3f s\n", discovery);
    bench::report("library discovery", discovery, "find -type d", reference, 1.5);
    return found == static_cast<size_t>(kLibraries) ? 0 : 1;
}
