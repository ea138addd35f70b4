// The words on a gamut image for slidebox-cli-compare, which links no Qt:
// drawn by the module slidebox-cli-words.so beside the program, loaded only
// when a comparison finds no difference.
#include <dlfcn.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "cli/no_difference_words.h"

namespace slidebox::cli {

platform::Status writeNoDifferenceWords(std::uint8_t* rows, std::uint32_t width,
                                        std::uint32_t height, std::size_t rowBytes) {
    const auto refused = [](const std::string& why) {
        return platform::Status::failure(platform::ErrorCode::Unsupported,
                                         "the words on the gamut image can't be drawn: " + why);
    };
    std::error_code failed;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", failed);
    if (failed)
        return refused("this program's folder is unknown: " + failed.message());
    const auto module = self.parent_path() / "slidebox-cli-words.so";
    // Loaded for the rest of the run: Qt's own threads may outlive the call.
    void* handle = ::dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle)
        return refused(::dlerror());
    using Write =
        int (*)(std::uint8_t*, std::uint32_t, std::uint32_t, std::size_t, char*, std::size_t);
    auto* write = reinterpret_cast<Write>(::dlsym(handle, "slidebox_cli_write_no_difference"));
    if (!write)
        return refused(module.string() + " holds no words");
    char reason[512] = "";
    if (write(rows, width, height, rowBytes, reason, sizeof reason) != 0)
        return refused(reason);
    return {};
}

} // namespace slidebox::cli
