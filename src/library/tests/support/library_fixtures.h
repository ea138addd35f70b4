#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace slidebox::testing {

/// Writes a real JPEG of the given size and resolution (dots per inch), a
/// different flat colour per seed, making parent folders.
void makeJpeg(const std::filesystem::path& path, int width = 8, int height = 6, int dpi = 72,
              int seed = 0);

/// A library of the given generation in root: its marker ("Library6.iPhoto",
/// "Library.iPhoto" or "Albums/Photo Library" for 6, 3 or 2) and the given
/// folders (relative paths, below "Data" in generation 6), each holding
/// perFolder JPEG files "1.jpg", "2.jpg", ... Returns the image paths in walk order.
std::vector<std::filesystem::path> libraryOf(int generation, const std::filesystem::path& root,
                                             const std::vector<std::string>& folders,
                                             int perFolder = 1);

/// Sets a file's (or, with noFollow, a link's own) modification date.
void setModificationTime(const std::filesystem::path& path, long long seconds, long nanoseconds,
                         bool noFollow = false);

} // namespace slidebox::testing
