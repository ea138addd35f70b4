#pragma once

#include <filesystem>
#include <memory>

#include "app/user_dialogs.h"
#include "library/album_switcher.h"
#include "platform/user_defaults.h"

namespace slidebox::app {

/// What the application's objects share and what the outside world gives
/// them: the user defaults, the home folder (its Pictures folder and the
/// photo application's preference file), the resource folder, the switcher
/// of the photo application and the dialogs. Every folder is a parameter so
/// that tests run against temporary ones; the program uses standard().
///
/// Lives longer than the delegate and every controller built on it.
class AppContext {
  public:
    struct Folders {
        std::filesystem::path userDefaults; ///< folder of the defaults file
        std::filesystem::path home;         ///< stands for "~"
        std::filesystem::path resources;    ///< pictures, scripts, translations

        /// $XDG_CONFIG_HOME/slidebox, $HOME, share/slidebox beside bin/.
        static Folders standard();
    };

    AppContext(Folders folders, std::unique_ptr<UserDialogs> dialogs);
    ~AppContext();
    AppContext(const AppContext&) = delete;
    AppContext& operator=(const AppContext&) = delete;

    platform::UserDefaults& userDefaults() { return defaults_; }
    const std::filesystem::path& homeFolder() const { return folders_.home; }
    const std::filesystem::path& resourceFolder() const { return folders_.resources; }
    /// "~/Pictures/" with the tilde expanded (the trailing slash kept).
    std::filesystem::path picturesFolder() const;
    /// A file of the resource folder by its name.
    std::filesystem::path resourcePath(const std::string& name) const;

    /// One switcher for the whole process, so that switches asked by two
    /// controllers in turn keep their order as well.
    AlbumSwitcher& switcher() { return *switcher_; }
    /// The photo application the switcher works on, for checks made before
    /// a switch is asked for.
    const iPhotoApplication& photoApplication() const { return photoApplication_; }
    UserDialogs& dialogs() { return *dialogs_; }

  private:
    Folders folders_;
    platform::UserDefaults defaults_;
    std::unique_ptr<UserDialogs> dialogs_;
    iPhotoApplication photoApplication_;
    std::unique_ptr<AlbumSwitcher> switcher_;
};

} // namespace slidebox::app
