#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace slidebox::testing {

/// A fresh folder under the system's temporary folder, removed with
/// everything in it when the object ends. Tests never touch the real home.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::filesystem::path& name) const {
        return path_ / name;
    }

  private:
    std::filesystem::path path_;
};

/// Writes bytes to a file, making its parent folders.
void writeFile(const std::filesystem::path& path, std::string_view bytes);

/// Writes bytes to a new file below folder whose path is exactly pathBytes
/// long (past what the system takes in one call if asked), making a chain
/// of folders of up to 200 bytes a name on the way. Its path; empty when
/// it can't be made. TempDir removes such chains too.
std::filesystem::path writeDeepFile(const std::filesystem::path& folder, std::size_t pathBytes,
                                    std::string_view bytes);

/// The whole file as bytes; empty when it can't be read.
std::string readFile(const std::filesystem::path& path);

/// The folder of the build tree (bin/, share/, tests/ below it).
std::filesystem::path buildDir();

} // namespace slidebox::testing
