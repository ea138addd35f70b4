#include "library/iphoto_application.h"

#include <system_error>

#include <unistd.h>

#include "platform/file_lock.h"
#include "platform/log.h"
#include "platform/plist_file.h"
#include "platform/running_applications.h"

namespace slidebox {

const std::string iPhotoApplication::applicationName = "iPhoto";
const std::string iPhotoApplication::rootDirectoryKey = "RootDirectory";
const std::string iPhotoApplication::quitScriptName = "QuitiPhoto";
const std::string iPhotoApplication::launchScriptName = "LaunchiPhoto";

namespace {
const std::string kScriptExtension = ".applescript";
} // namespace

iPhotoApplication::iPhotoApplication(std::filesystem::path homeFolder,
                                     std::filesystem::path resourceFolder)
    : homeFolder_(std::move(homeFolder)), resourceFolder_(std::move(resourceFolder)),
      probe_([](std::string_view name) { return platform::isApplicationRunning(name); }),
      switchLock_(platform::runtimeDirectory() /
                  ("slidebox-switch-" + std::to_string(::getuid()) + ".lock")) {}

std::filesystem::path iPhotoApplication::preferenceFilePath() const {
    return homeFolder_ / "Library" / "Preferences" / "com.apple.iPhoto.plist";
}

bool iPhotoApplication::isiPhotoActive() const {
    return probe_(applicationName);
}

std::optional<std::string> iPhotoApplication::iPhotoRootDirectoryPath() const {
    return platform::stringInPlistFile(preferenceFilePath(), rootDirectoryKey);
}

platform::Status iPhotoApplication::changeiPhotoRootDirectoryPathTo(const std::string& path) const {
    return platform::setStringInPlistFile(preferenceFilePath(), rootDirectoryKey, path);
}

std::optional<std::filesystem::path>
iPhotoApplication::getAppleScript(const std::string& name) const {
    std::filesystem::path script = resourceFolder_ / (name + kScriptExtension);
    bool isFolder = false;
    if (!platform::fileExistsAtPath(script, &isFolder) || isFolder ||
        ::access(script.c_str(), R_OK) != 0)
        return std::nullopt;
    return script;
}

void iPhotoApplication::executeAppleScript(
    const std::optional<std::filesystem::path>& script) const {
    if (!script)
        return;
    auto result = platform::runScript(*script);
    if (result && !result->output.empty())
        platform::log(result->output);
}

void iPhotoApplication::closeiPhotoForAlbumPath(const std::string& path) const {
    if (isiPhotoActive() && iPhotoRootDirectoryPath() == path)
        executeAppleScript(getAppleScript(quitScriptName));
}

platform::Status iPhotoApplication::threadSwitchAlbum(const std::string& path) const {
    // One switch at a time for all of this user's Slidebox processes: two
    // interleaved switches would leave two photo applications running.
    const platform::FileLock lock(switchLock_);
    if (!lock.isLocked())
        platform::log("The switch lock " + switchLock_.string() +
                      " could not be taken; switching all the same.");

    const std::filesystem::path preferences = preferenceFilePath();
    std::error_code ec;
    const bool hasPreferences =
        std::filesystem::exists(std::filesystem::symlink_status(preferences, ec));
    auto refuse = [&](const platform::Status& why) {
        platform::log("The photo application was not switched to " + path +
                      ": its preference file " + preferences.string() + " can't take it (" +
                      why.message() + ").");
        return why;
    };
    // Asked before anything is done, so that a refused switch leaves the
    // running application alone.
    if (hasPreferences) {
        auto bytes = platform::readRegularFile(preferences, platform::PlistLimits{}.maxBytes);
        if (!bytes)
            return refuse(bytes.status());
        if (auto rewritten = platform::plistWithString(*bytes, rootDirectoryKey, path); !rewritten)
            return refuse(rewritten.status());
    }
    if (isiPhotoActive())
        executeAppleScript(getAppleScript(quitScriptName));
    platform::Status status;
    if (!hasPreferences) {
        status = platform::Status::failure(platform::ErrorCode::CannotOpen,
                                           "the preference file is missing");
        platform::log("The photo application's preference file " + preferences.string() +
                      " is missing; its library was not set to " + path + ".");
    } else if (status = changeiPhotoRootDirectoryPathTo(path); !status) {
        // The application may have rewritten its file while quitting.
        platform::log("The photo application's preference file " + preferences.string() +
                      " was not set to " + path + ": " + status.message());
    }
    executeAppleScript(getAppleScript(launchScriptName));
    return status;
}

} // namespace slidebox
