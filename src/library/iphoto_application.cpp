#include "library/iphoto_application.h"

#include <unistd.h>

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
    : homeFolder_(std::move(homeFolder)), resourceFolder_(std::move(resourceFolder)) {}

std::filesystem::path iPhotoApplication::preferenceFilePath() const {
    return homeFolder_ / "Library" / "Preferences" / "com.apple.iPhoto.plist";
}

bool iPhotoApplication::isiPhotoActive() const {
    return platform::isApplicationRunning(applicationName);
}

std::optional<std::string> iPhotoApplication::iPhotoRootDirectoryPath() const {
    return platform::stringInPlistFile(preferenceFilePath(), rootDirectoryKey);
}

bool iPhotoApplication::changeiPhotoRootDirectoryPathTo(const std::string& path) const {
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

void iPhotoApplication::threadSwitchAlbum(const std::string& path) const {
    if (isiPhotoActive())
        executeAppleScript(getAppleScript(quitScriptName));
    changeiPhotoRootDirectoryPathTo(path);
    executeAppleScript(getAppleScript(launchScriptName));
}

} // namespace slidebox
