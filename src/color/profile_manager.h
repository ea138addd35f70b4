#pragma once

#include <QRect>

#include <filesystem>
#include <optional>
#include <vector>

#include "color/cm_color.h"
#include "color/colorsync.h"

namespace slidebox::color {

/// Where the profile operations look and write. Every operation reads the
/// process's current places (ProfileManager::places()), so that tests can
/// point them at a temporary folder and never touch the real home.
struct ProfilePlaces {
    std::filesystem::path home;     ///< the user's home folder
    std::filesystem::path dataHome; ///< $XDG_DATA_HOME, by default home/.local/share
    /// Folders of installed profiles, searched in this order.
    std::vector<std::filesystem::path> profileFolders;

    /// The places of this user: $HOME, $XDG_DATA_HOME and the desktop's
    /// colour folders /usr/share/color/icc, /usr/local/share/color/icc,
    /// ~/.local/share/icc and ~/.color/icc.
    static ProfilePlaces fromEnvironment();
    /// The same places below another home, with dataHome home/.local/share.
    static ProfilePlaces underHome(const std::filesystem::path& home);
};

/// A screen as the device list gives it: its rectangle in the windowing
/// system's coordinates (origin at the top left of the main screen, y
/// downwards) and whether it is an active display.
struct ScreenDevice {
    QRect rect;
    bool active = true;
};

/// The path operations on profiles: from a path to an open profile and
/// back, and where the well-known profiles lie. No state besides the places.
class ProfileManager {
  public:
    /// The places in force; fromEnvironment() until setPlaces is called.
    static ProfilePlaces places();
    /// Replaces the places in force (tests, or a user who moved them).
    static void setPlaces(ProfilePlaces places);

    /// An open profile for a path, closed by its owner. Null for an empty
    /// path, a path of 256 bytes or more (refused before the engine is
    /// asked), a missing file or one that isn't a profile.
    static CMProfileRef profileRefForPath(const std::filesystem::path& path);

    /// The path the profile was opened from. Takes the profile over and
    /// closes it in every case; nothing for a null profile.
    static std::optional<std::filesystem::path> pathForProfileRef(CMProfileRef profile);

    /// The path of the generic profile of a colour space: for 'Lab ' the
    /// version 4 Lab identity profile with a D50 white, for 'XYZ ' the XYZ
    /// identity, for 'GRAY' gray with gamma 2.2, for 'RGB ' sRGB. Each is
    /// made once as a file under dataHome/slidebox/icc/ and reused after.
    /// Nothing for another space or when the file can't be written.
    static std::optional<std::filesystem::path> pathOfGenericProfilForSpace(OSType space);
    static std::optional<std::filesystem::path> pathOfGenericLabProfil();
    static std::optional<std::filesystem::path> pathOfGenericXYZProfil();
    static std::optional<std::filesystem::path> pathOfGenericGrayProfil();

    /// The default profile for display use: the profile that the desktop's
    /// colour manager (colord) publishes for the first display that has
    /// one, else the sRGB profile made under dataHome/slidebox/icc/.
    static std::optional<std::filesystem::path> pathOfDefaultDisplayUseProfile();

    /// The user's folder of profiles, home/.local/share/icc, made when it is
    /// missing. Nothing if it can't be made.
    static std::optional<std::filesystem::path> pathOfColorSyncUserFolder();

    /// The profile of the screen that holds a point, given in points with
    /// the origin at the bottom left of the main screen and y upwards.
    /// Nothing when no active screen holds the point. Needs a
    /// QGuiApplication; without one no screen holds any point.
    static std::optional<std::filesystem::path> pathOfScreenProfileWithGlobalPoint(float x,
                                                                                   float y);

    /// The index of the first active screen whose rectangle holds the point
    /// (y upwards from the bottom of the main screen, screens[mainIndex]);
    /// the point is truncated to whole pixels in 16 bits first. Nothing
    /// when no screen holds it.
    static std::optional<std::size_t>
    FindGDeviceWithGlobalPoint(float x, float y, const std::vector<ScreenDevice>& screens,
                               std::size_t mainIndex = 0);
};

} // namespace slidebox::color
