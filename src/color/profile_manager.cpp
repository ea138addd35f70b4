// Where profiles lie on this desktop: the generic profiles are resources
// made at build time and installed beside the program's others; the installed
// ones are in the desktop's colour folders; the display profiles come from
// profile_manager_display.cpp.
#include "color/profile_manager.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string_view>
#include <system_error>

#include "color/generic_profile_names.h"
#include "platform/file_system.h"
#include "platform/script_runner.h"

namespace slidebox::color {

namespace {

std::mutex& placesMutex() {
    static std::mutex mutex;
    return mutex;
}

std::optional<ProfilePlaces>& currentPlaces() {
    static std::optional<ProfilePlaces> places;
    return places;
}

std::filesystem::path environmentPath(const char* name) {
    const char* value = std::getenv(name);
    // The XDG rules ignore relative paths in these variables.
    if (!value || value[0] != '/')
        return {};
    return value;
}

const char* genericFileName(OSType space) {
    for (const GenericProfileName& generic : kGenericProfileNames)
        if (generic.space == space)
            return generic.fileName;
    return nullptr;
}

} // namespace

ProfilePlaces ProfilePlaces::underHome(const std::filesystem::path& home) {
    ProfilePlaces p;
    p.home = home;
    p.dataHome = home / ".local/share";
    p.runtime = home / ".run";
    p.profileFolders = {"/usr/share/color/icc", "/usr/local/share/color/icc",
                        home / ".local/share/icc", home / ".color/icc"};
    return p;
}

ProfilePlaces ProfilePlaces::fromEnvironment() {
    ProfilePlaces p = underHome(platform::homeDirectory());
    if (auto dataHome = environmentPath("XDG_DATA_HOME"); !dataHome.empty()) {
        p.dataHome = dataHome;
        p.profileFolders[2] = dataHome / "icc";
    }
    if (auto runtime = environmentPath("XDG_RUNTIME_DIR"); !runtime.empty())
        p.runtime = runtime / "slidebox";
    else {
        std::error_code error; // a $TMPDIR that isn't a folder: /tmp
        std::filesystem::path temporary = std::filesystem::temp_directory_path(error);
        p.runtime = (error ? std::filesystem::path("/tmp") : temporary) /
                    ("slidebox-" + std::to_string(static_cast<unsigned>(::getuid())));
    }
    return p;
}

ProfilePlaces ProfileManager::places() {
    std::lock_guard lock(placesMutex());
    if (!currentPlaces())
        currentPlaces() = ProfilePlaces::fromEnvironment();
    return *currentPlaces();
}

void ProfileManager::setPlaces(ProfilePlaces places) {
    std::lock_guard lock(placesMutex());
    currentPlaces() = std::move(places);
}

platform::Result<CMProfileRef> ProfileManager::openProfile(const std::filesystem::path& path) {
    using platform::ErrorCode;
    using platform::Status;
    if (path.empty())
        return Status::failure(ErrorCode::BadArgument, "no profile path given");
    if (path.native().size() > kMaxProfilePathBytes)
        return Status::failure(ErrorCode::TooLarge, "the path is longer than the " +
                                                        std::to_string(kMaxProfilePathBytes) +
                                                        " bytes a profile path may hold");
    struct stat st {};
    if (!platform::statPath(path, st))
        return Status::failure(ErrorCode::CannotOpen,
                               errno == ENOENT ? "no such file" : std::strerror(errno));
    if (!S_ISREG(st.st_mode))
        return Status::failure(ErrorCode::CannotOpen, "not a regular file");
    CMProfileRef profile = CMOpenProfile(path);
    if (!profile)
        return Status::failure(ErrorCode::Malformed, "not an ICC profile");
    return profile;
}

CMProfileRef ProfileManager::profileRefForPath(const std::filesystem::path& path) {
    auto opened = openProfile(path);
    return opened ? std::move(opened.value()) : nullptr;
}

std::optional<std::filesystem::path> ProfileManager::pathForProfileRef(CMProfileRef profile) {
    if (!profile)
        return std::nullopt;
    std::filesystem::path path = CMGetProfileLocation(*profile);
    profile.reset();
    return path;
}

std::optional<std::filesystem::path> ProfileManager::pathOfGenericProfilForSpace(OSType space) {
    const char* name = genericFileName(space);
    if (!name)
        return std::nullopt;
    // Made at build time among the resources; nothing is written to have it.
    std::filesystem::path path = platform::resourceDirectory() / kGenericProfileFolder / name;
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        return std::nullopt;
    return path;
}

std::optional<std::filesystem::path> ProfileManager::pathOfGenericLabProfil() {
    return pathOfGenericProfilForSpace(cmLabData);
}

std::optional<std::filesystem::path> ProfileManager::pathOfGenericXYZProfil() {
    return pathOfGenericProfilForSpace(cmXYZData);
}

std::optional<std::filesystem::path> ProfileManager::pathOfGenericGrayProfil() {
    return pathOfGenericProfilForSpace(cmGrayData);
}

std::optional<std::filesystem::path> ProfileManager::pathOfColorSyncUserFolder() {
    std::filesystem::path folder = places().dataHome / "icc";
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error || !platform::isDirectory(folder))
        return std::nullopt;
    return folder;
}

} // namespace slidebox::color
