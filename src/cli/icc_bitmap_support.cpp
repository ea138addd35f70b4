#include "cli/icc_bitmap_support.h"

#include <cstdio>

#include <unistd.h>

#include "cli/command.h"
#include "color/image_transform.h"
#include "color/profile_manager.h"
#include "image/image_file.h"

namespace slidebox::cli {

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
    if (!path) {
        failure(std::string(command) + ": '" + source + "' is not a usable ICC profile");
        return nullptr;
    }
    if (auto checked = color::profileFileStatus(*path); !checked) {
        failure(std::string(command) + ": " + checked.message());
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
    if (auto status = world.matchImage(*read, nullptr); !status)
        return failure(std::string(command) + ": '" + path + "': " + status.message());
    return Done;
}

} // namespace slidebox::cli
