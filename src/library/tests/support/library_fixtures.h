#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace slidebox::testing {

/// Writes a real JPEG of the given size and resolution (dots per inch), a
/// different flat colour per seed, making parent folders.
void makeJpeg(const std::filesystem::path& path, int width = 8, int height = 6, int dpi = 72,
              int seed = 0);

/// A generation-6 library: "Library6.iPhoto" and, below "Data", the given
/// folders (relative paths), each holding `perFolder` JPEG files named
/// "1.jpg", "2.jpg", ... Returns the image paths in walk order.
std::vector<std::filesystem::path> makeLibrary6(const std::filesystem::path& root,
                                                const std::vector<std::string>& folders,
                                                int perFolder = 1);

/// A generation-3 library: "Library.iPhoto" and the given "Thumbs" folders
/// (relative paths ending in Thumbs), each with `perFolder` JPEG files.
std::vector<std::filesystem::path> makeLibrary3(const std::filesystem::path& root,
                                                const std::vector<std::string>& thumbFolders,
                                                int perFolder = 1);

/// A generation-2 library: "Albums/Photo Library" and the given "Thumbs" folders.
std::vector<std::filesystem::path> makeLibrary2(const std::filesystem::path& root,
                                                const std::vector<std::string>& thumbFolders,
                                                int perFolder = 1);

/// Sets a file's (or, with noFollow, a link's own) modification date.
void setModificationTime(const std::filesystem::path& path, long long seconds, long nanoseconds,
                         bool noFollow = false);

} // namespace slidebox::testing
