#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "color/cm_color.h"
#include "color/colorsync.h"
#include "color/profile_iterate_data.h"
#include "image/zol_rect.h"
#include "platform/status.h"

namespace slidebox::color {

/// Where the profile operations look and write. Every operation reads the
/// process's current places (ProfileManager::places()), so that tests can
/// point them at a temporary folder and never touch the real home.
struct ProfilePlaces {
    std::filesystem::path home;     ///< the user's home folder
    std::filesystem::path dataHome; ///< $XDG_DATA_HOME, by default home/.local/share
    /// Where a display profile that comes as bytes is kept while the session
    /// lasts: $XDG_RUNTIME_DIR/slidebox, else the temporary folder.
    std::filesystem::path runtime;
    /// Folders of installed profiles, searched in this order.
    std::vector<std::filesystem::path> profileFolders;

    /// The places of this user: $HOME, $XDG_DATA_HOME and the desktop's
    /// colour folders /usr/share/color/icc, /usr/local/share/color/icc,
    /// $XDG_DATA_HOME/icc (by default ~/.local/share/icc) and ~/.color/icc.
    static ProfilePlaces fromEnvironment();
    /// The same places below another home, with dataHome home/.local/share
    /// and runtime home/.run.
    static ProfilePlaces underHome(const std::filesystem::path& home);
};

/// Where display profiles come from on this desktop, one function a
/// source, so that tests can answer for the colour manager and the X
/// server. An empty function is a source that has nothing.
struct DisplayProfileSources {
    /// The file of the profile that the colour manager (colord) gives the
    /// output of this name (QScreen::name()); nothing when it doesn't run or
    /// has no profile for it.
    std::function<std::optional<std::filesystem::path>(const std::string& output)> colord;
    /// The bytes of the X11 root window property _ICC_PROFILE (screen 0) or
    /// _ICC_PROFILE_n (screen n); nothing when unset or without X11.
    std::function<std::optional<std::vector<std::uint8_t>>(int screen)> x11;

    /// The sources of this desktop: colord over the system bus, the X
    /// server of $DISPLAY (or of the running application).
    static DisplayProfileSources system();
};

/// The bytes of the root window property _ICC_PROFILE (screen 0) or
/// _ICC_PROFILE_n of the X server at display (null: $DISPLAY). Nothing
/// when the server can't be reached or the property isn't set.
std::optional<std::vector<std::uint8_t>> readX11ProfileAtom(const char* display, int screen);

/// A screen as the device list gives it: its rectangle in the windowing
/// system's coordinates (origin at the top left of the main screen, y
/// downwards) and whether it is an active display.
struct ScreenDevice {
    image::ZOL_Rect rect;
    bool active = true;
};

class ProfileManager;

/// Bits of the kinds of use (profile classes) a catalogue lists, in the
/// order of listing.
inline constexpr std::uint32_t kUseColorSpace = 1;  ///< 'spac'
inline constexpr std::uint32_t kUseInput = 2;       ///< 'scnr'
inline constexpr std::uint32_t kUseDisplay = 4;     ///< 'mntr'
inline constexpr std::uint32_t kUseOutput = 8;      ///< 'prtr'
inline constexpr std::uint32_t kUseLink = 16;       ///< 'link'
inline constexpr std::uint32_t kUseAbstract = 32;   ///< 'abst'
inline constexpr std::uint32_t kUseNamedColor = 64; ///< 'nmcl'

/// Bits of the colour spaces a catalogue lists, in the order of listing.
inline constexpr std::uint32_t kSpaceLab = 1;   ///< 'Lab '
inline constexpr std::uint32_t kSpaceXYZ = 2;   ///< 'XYZ '
inline constexpr std::uint32_t kSpaceRGB = 4;   ///< 'RGB '
inline constexpr std::uint32_t kSpaceCMYK = 8;  ///< 'CMYK'
inline constexpr std::uint32_t kSpaceGray = 16; ///< 'GRAY'
inline constexpr std::uint32_t kSpaceCMY = 32;  ///< 'CMY '

/// The bit of a class signature in the kinds of use, 0 for one without.
std::uint32_t kindOfUseBit(OSType profileClass);
/// The bit of a colour-space signature in the spaces, 0 for one without.
std::uint32_t colorSpaceBit(OSType space);

/// What the iteration over the installed profiles passes to
/// ProfilIterateProc: the class and space asked for, the connection space
/// (0 accepts any) and the catalogue that takes the rows.
struct ProfileIterateRecord {
    OSType kindOfUse = 0;
    OSType colorSpace = 0;
    OSType pcs = 0;
    ProfileManager* manager = nullptr;
};

/// Adds one installed profile to the record's catalogue if it is of the
/// record's class, a file, of its space and connection space (0 accepts
/// any), not an 'XYZ ' colour-space profile, and its path holds at most
/// kFullPathCapacity bytes.
/// Always 0, so that the iteration goes on.
std::int32_t ProfilIterateProc(const CMProfileIterateData& data, ProfileIterateRecord& record);

/// The path operations on profiles (class operations: from a path to an
/// open profile and back, where the well-known profiles lie), and a
/// catalogue of profiles for a chooser (an instance: the installed profiles
/// filtered by kind of use and colour space, or the profiles of one folder).
///
/// A catalogue holds its rows in parallel arrays; groups of rows are parted
/// by separator rows, which hold "" (and 0) in every array. It is built once
/// and doesn't follow later changes on disk. It is not sorted: its order is
/// that of the kinds and spaces of the masks, and within a group the walk
/// order of the folders.
class ProfileManager {
  public:
    /// What the search operations answer when nothing is found.
    static constexpr std::int32_t kNotFound = 0x7FFFFFFF;

    ~ProfileManager();
    ProfileManager(const ProfileManager&) = delete;
    ProfileManager& operator=(const ProfileManager&) = delete;

    // Creation. Each gives the catalogue, or null if no row came of it.

    /// The kinds 'spac', 'scnr', 'mntr', 'prtr' and 'link' in all six
    /// spaces, with full data.
    static std::unique_ptr<ProfileManager> init();
    /// The installed profiles of the masks, without full data.
    static std::unique_ptr<ProfileManager> initWithUse(std::uint32_t use, std::uint32_t space);
    /// The installed profiles of the masks; full data keeps each header for
    /// profilCreator, creationDate and headerInfos.
    static std::unique_ptr<ProfileManager> initWithUse(std::uint32_t use, std::uint32_t space,
                                                       bool fullDatas);
    /// With a directory: the profiles of its spaces found in it and below,
    /// whatever their class (the use mask plays no part), the name followed
    /// by "  (relative path)" when withFileName holds. Without one, as above.
    static std::unique_ptr<ProfileManager>
    initWithUse(std::uint32_t use, std::uint32_t space, bool fullDatas,
                const std::optional<std::filesystem::path>& extraDirectory,
                bool withFileName = true);

    // Building.

    /// Makes the arrays empty, with the header blocks when fullDatas holds.
    void allocArraysWithFullDatas(bool fullDatas);
    /// Lists the installed profiles: one group per kind of the mask and
    /// space of the catalogue's mask, in the order of the bits. Each file is
    /// read once, however many groups are asked for.
    void listProfilesWithUse(std::uint32_t use);
    /// Adds a separator, then the profiles of the folder's walk whose space
    /// is in the mask and that have a 'desc' element; then removes a
    /// separator left at the end. An absent folder adds nothing.
    void addProfilesFromDirectory(const std::optional<std::filesystem::path>& directory,
                                  bool withFileName);
    /// Appends one row.
    void addProfilName(std::string name, std::string fileName, std::filesystem::path path,
                       OSType colorSpace, OSType pcs, const CMProfileIterateData& data,
                       OSType kindOfUse);
    /// Appends a separator row if rows were added since the last one.
    void addASeparatorIfNeeded();
    /// Removes the last row if it is a separator.
    void removeLastSeparator();
    /// Whether there is a row.
    bool goodArrays() const;
    /// Whether the space's bit is in the catalogue's space mask.
    bool sameColorSpaceThan(OSType space) const;

    // Reading. Rows are indexes 0..count()-1.

    /// Rows, separators included.
    std::int32_t count() const;
    const std::vector<std::string>& profilesNameArray() const { return profilesNameArray_; }
    const std::vector<std::filesystem::path>& profilesPathArray() const {
        return profilesPathArray_;
    }
    /// The row's name, file name (relative path in a folder list) or path;
    /// nothing for an index outside the rows, "" for a separator.
    std::optional<std::string> profileNameAtIndex(std::int32_t index) const;
    std::optional<std::string> profileFileNameAtIndex(std::int32_t index) const;
    std::optional<std::filesystem::path> profilePathAtIndex(std::int32_t index) const;
    /// The bit of the row's space or kind of use; 0 outside the rows, for a
    /// separator and for a signature without a bit.
    std::uint32_t profileColorSpaceAtIndex(std::int32_t index) const;
    std::uint32_t profileKindOfUseAtIndex(std::int32_t index) const;
    /// Whether the row's path is "". An index outside the rows is no separator.
    bool isASeparatorAtIndex(std::int32_t index) const;
    /// The first row of the path or name; kNotFound when there is none.
    std::int32_t indexOfProfilePath(const std::filesystem::path& path) const;
    std::int32_t indexOfProfileName(std::string_view name) const;
    /// Not negative and not a separator (an index past the end passes).
    bool validCurrentIndex(std::int32_t index) const;
    /// The row the accessors below report on: the index if valid, else 0.
    void setCurrentIndex(std::int32_t index);
    std::int32_t currentIndex() const { return currentIndex_; }
    /// The space mask.
    std::uint32_t curentColorSpace() const { return curentColorSpace_; }
    /// Whether the rows keep their headers.
    bool hasFullDatas() const { return profilesCMProfileIterateDataArray_.has_value(); }

    // The row at currentIndex as text (no file is opened). Outside the rows,
    // names are "" and signatures four bytes 0.

    /// The row's name.
    std::string name() const;
    /// The four bytes of the row's space, class and connection space, NUL
    /// bytes kept; four bytes 0 on a separator.
    std::string colorSpace() const;
    std::string kindOfUse() const;
    std::string pcs() const;
    /// The four bytes of the header's creator; "" without a header.
    std::string profilCreator() const;
    /// The header's date as local time, "%d %B %Y - %H:%M:%S" with English
    /// month names; "No Date" without a header or for a date that is none.
    std::string creationDate() const;
    /// The seven-line report of the header; "" without a header.
    std::string headerInfos() const;
    /// The accessor of that name ("name", "colorSpace", "kindOfUse", "pcs",
    /// "profilCreator", "creationDate", "headerInfos"); nothing for another.
    std::optional<std::string> valueForKey(std::string_view key) const;

    // A table's data source.

    /// count().
    std::int32_t numberOfRowsInTableView() const { return count(); }
    /// Stores the row as currentIndex, unchecked, and answers the accessor
    /// named by the column's identifier.
    std::optional<std::string> objectValueForTableColumn(std::string_view identifier,
                                                         std::int32_t row);

    // Paths and places.

    /// The places in force; fromEnvironment() until setPlaces is called.
    static ProfilePlaces places();
    /// Replaces the places in force (tests, or a user who moved them).
    static void setPlaces(ProfilePlaces places);

    /// An open profile for a path, closed by its owner, or why there is
    /// none: no path (BadArgument), a path longer than kMaxProfilePathBytes
    /// (TooLarge), no such file or not a regular file (CannotOpen), not an
    /// ICC profile the engine reads (Malformed).
    static platform::Result<CMProfileRef> openProfile(const std::filesystem::path& path);

    /// The same with the reason dropped: null on any failure.
    static CMProfileRef profileRefForPath(const std::filesystem::path& path);

    /// The path the profile was opened from. Takes the profile over and
    /// closes it in every case; nothing for a null profile.
    static std::optional<std::filesystem::path> pathForProfileRef(CMProfileRef profile);

    /// The path of the generic profile of a colour space: for 'Lab ' the
    /// version 2 Lab identity profile with a D50 white, for 'XYZ ' the XYZ
    /// identity, for 'GRAY' gray with gamma 2.2, for 'RGB ' sRGB. Each is a
    /// resource made at build time (share/slidebox/icc/ beside bin/);
    /// nothing is written to have it. Nothing for another space or when
    /// the resource is missing.
    static std::optional<std::filesystem::path> pathOfGenericProfilForSpace(OSType space);
    static std::optional<std::filesystem::path> pathOfGenericLabProfil();
    static std::optional<std::filesystem::path> pathOfGenericXYZProfil();
    static std::optional<std::filesystem::path> pathOfGenericGrayProfil();

    /// The default profile for display use: that of the main screen, as
    /// for a point on it. Nothing when no source has one (no sRGB stands in).
    static std::optional<std::filesystem::path> pathOfDefaultDisplayUseProfile();

    /// The profile of a screen: the file colord gives its output, else the
    /// X11 property of its number, kept as
    /// runtime/display-<screen>-<hash>.icc. Nothing when neither has one.
    static std::optional<std::filesystem::path> displayProfileOfScreen(const std::string& output,
                                                                       int screen);

    /// Replaces the display profile sources (tests); the system's by default.
    static void setDisplayProfileSources(DisplayProfileSources sources);

    /// The user's folder of profiles, dataHome/icc ($XDG_DATA_HOME/icc, by
    /// default ~/.local/share/icc), made when it is missing. Nothing if it
    /// can't be made.
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

  private:
    ProfileManager() = default;
    bool hasRow(std::int32_t index) const;
    const CMProfileIterateData* blockAt(std::int32_t index) const;

    std::vector<std::string> profilesNameArray_;
    std::vector<std::string> profilesFileNameArray_;
    std::vector<std::filesystem::path> profilesPathArray_;
    std::vector<OSType> profilesColorSpaceArray_;
    std::vector<OSType> profilesKindOfUseArray_;
    std::vector<OSType> profilesPCSArray_;
    /// The header blocks, absent unless made with full data; a separator
    /// holds none.
    std::optional<std::vector<std::optional<CMProfileIterateData>>>
        profilesCMProfileIterateDataArray_;
    bool addASeparator_ = false;
    std::int32_t currentIndex_ = 0;
    std::uint32_t curentColorSpace_ = 0;
};

} // namespace slidebox::color
