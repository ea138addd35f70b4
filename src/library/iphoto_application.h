#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/file_system.h"
#include "platform/script_runner.h"
#include "platform/status.h"

namespace slidebox {

/// The photo application seen from outside: its preference file, its
/// scripts, its process. No call goes into the application itself. A plain
/// value holding two folders; every operation reads the disk or the process
/// list afresh, so one object may be used from any thread.
class iPhotoApplication {
  public:
    /// homeFolder: where "Library/Preferences/com.apple.iPhoto.plist" lives
    /// (tests pass a temporary folder); resourceFolder: where
    /// "QuitiPhoto.applescript" and "LaunchiPhoto.applescript" are.
    explicit iPhotoApplication(
        std::filesystem::path homeFolder = platform::homeDirectory(),
        std::filesystem::path resourceFolder = platform::resourceDirectory());

    /// Whether a process of this user with exactly that name runs.
    using ProcessProbe = std::function<bool(std::string_view name)>;

    /// Replaces the look at the system's process list (tests fill it).
    void setProcessProbe(ProcessProbe probe) { probe_ = std::move(probe); }

    /// The file whose lock serialises the switches of every Slidebox
    /// process of the user; by default "slidebox-switch-<uid>.lock" in
    /// platform::runtimeDirectory() (made when missing).
    void setSwitchLockFile(std::filesystem::path file) { switchLock_ = std::move(file); }
    const std::filesystem::path& switchLockFile() const { return switchLock_; }

    static const std::string applicationName;  ///< "iPhoto"
    static const std::string rootDirectoryKey; ///< "RootDirectory"
    static const std::string quitScriptName;   ///< "QuitiPhoto"
    static const std::string launchScriptName; ///< "LaunchiPhoto"

    /// The application's preference file below the home folder.
    std::filesystem::path preferenceFilePath() const;

    /// Whether a process of this user named exactly "iPhoto" runs (asked afresh).
    bool isiPhotoActive() const;

    /// The preference's value; nothing when the file is missing, is no
    /// property-list dictionary, or holds no string under the key.
    std::optional<std::string> iPhotoRootDirectoryPath() const;

    /// Sets the preference to the path, byte for byte, and writes the file
    /// back atomically in its own format (binary or XML) with every other key
    /// and value kept. A missing or unparsable file is not written (nor
    /// made): false. False too when the write fails, and for a path the file
    /// can't hold (not UTF-8, control characters), and for a file whose other
    /// values would not be written back exactly or which exceeds the bounds
    /// of a property list: the old file then stays byte-identical, and the
    /// status says why.
    platform::Status changeiPhotoRootDirectoryPathTo(const std::string& path) const;

    /// name + ".applescript" in the resource folder, when such a readable
    /// file exists; nothing otherwise.
    std::optional<std::filesystem::path> getAppleScript(const std::string& name) const;

    /// Runs the script and waits for its end; a text it gives goes to the
    /// log as one line. Its exit status is not looked at. Nothing happens for
    /// no script.
    void executeAppleScript(const std::optional<std::filesystem::path>& script) const;

    /// Quits the application if it runs and works on exactly this path
    /// (compared as strings).
    void closeiPhotoForAlbumPath(const std::string& path) const;

    /// The steps of one switch, on the calling thread, in this order: the
    /// quit script if the application runs (it returns once the application
    /// has ended), the rewrite of the preference, the launch script. A
    /// missing script or preference file leaves out that step only (the
    /// status then says the preference was not set). A preference that
    /// can't take the path (see changeiPhotoRootDirectoryPathTo) refuses the
    /// whole switch before anything is done. Switches of every Slidebox
    /// process of the user run one at a time (switchLockFile()). Every
    /// failure is logged as well as returned.
    platform::Status threadSwitchAlbum(const std::string& path) const;

  private:
    std::filesystem::path homeFolder_;
    std::filesystem::path resourceFolder_;
    ProcessProbe probe_;
    std::filesystem::path switchLock_;
};

} // namespace slidebox
