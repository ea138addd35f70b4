#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "color/characteristic_profile_points.h"
#include "color/cm2_header.h"
#include "color/color_world.h"
#include "platform/status.h"

namespace slidebox::color {

/// One ICC profile in a file or in memory: whether it is usable, what its
/// header says, how it compares with another, and, for an intent 0..3, two
/// colour worlds through the generic Lab profile to probe it with. It keeps
/// the path and a copy of the header only; every operation that needs the
/// profile opens it and closes it before returning.
class ProfileInspector {
  public:
    ~ProfileInspector();
    ProfileInspector(const ProfileInspector&) = delete;
    ProfileInspector& operator=(const ProfileInspector&) = delete;

    /// An inspector of the profile at a path with an intent (-1, or 4 and
    /// above, for no colour worlds). Null for an empty path, a file that
    /// isn't a usable profile, or a colour world the intent needs that
    /// can't be built.
    static std::unique_ptr<ProfileInspector>
    profileInspectorWithProfilePath(const std::filesystem::path& path, std::int32_t rendering);

    /// The same with the reason when there is none: the reasons of
    /// ProfileManager::openProfile, or Unsupported when a colour world the
    /// intent needs can't be built (a named-colour or device-link profile,
    /// a table the engine refuses).
    static platform::Result<std::unique_ptr<ProfileInspector>>
    inspect(const std::filesystem::path& path, std::int32_t rendering);

    /// The same from the bytes of a profile, which go to a temporary file
    /// "/tmp/ZOL_ProfileInspector_<unique>" that the inspector removes when
    /// it ends. Null for no bytes or when the file can't be written; no
    /// temporary file remains after a failure.
    static std::unique_ptr<ProfileInspector>
    profileInspectorWithProfileData(std::span<const std::uint8_t> data, std::int32_t rendering);

    /// An inspector with the profile's own preferred intent; null as above.
    static std::unique_ptr<ProfileInspector> initWithPath(const std::filesystem::path& path);

    /// Whether the file is a usable profile: it opens, and its colour worlds
    /// stand for intents 0, 1 and 2 (for an input profile, for its preferred
    /// intent alone).
    static bool goodPathProfileData(const std::filesystem::path& path);

    /// The same for the bytes of a profile, through a temporary file that is
    /// removed again. A failed write is a bad profile.
    static bool goodProfileData(std::span<const std::uint8_t> data);

    /// Whether two profiles are the same by name, date, data colour space,
    /// class and connection space (neither size nor contents). False when
    /// either isn't a profile.
    static bool profileWithPath(const std::filesystem::path& path,
                                const std::filesystem::path& otherPath);

    /// Keeps a new path. The header is not read again until getProfileInfos.
    void setProfilePath(const std::filesystem::path& path);
    /// Reads the header of the profile at the path; false when it won't open.
    bool getProfileInfos();

    const std::filesystem::path& profilePath() const { return profilePath_; }
    /// The intent given at creation, as given.
    std::int32_t rendering() const { return rendering_; }
    /// The header, fields in host order.
    const CM2Header& profileHeader() const { return profileHeader_; }
    /// Colour world profile -> generic Lab; null without an intent 0..3.
    const ColorWorld* DeviceToPCS() const { return DeviceToPCS_.get(); }
    /// Colour world generic Lab -> profile; null without an intent 0..3, and
    /// possibly for an input (scanner) profile.
    const ColorWorld* PCSToDevice() const { return PCSToDevice_.get(); }

    /// The profile's description, or "_unknown_".
    std::string profileName() const;
    /// The header's date and time.
    CMDateTime dateTime() const { return profileHeader_.dateTime; }
    /// The header's date and time as text, "YYYY-MM-DD hh:mm:ss +0000"
    /// (taken as GMT); equal dates give equal text.
    std::string dateTimeAsString() const;
    OSType dataColorSpace() const { return profileHeader_.dataColorSpace; }
    OSType profileClass() const { return profileHeader_.profileClass; }
    OSType profileConnectionSpace() const { return profileHeader_.profileConnectionSpace; }
    /// Channels of the data colour space; 0 for a space without a count.
    unsigned nbComponents() const;
    /// The header's intent held to 0..3.
    std::int32_t preferedRenderingIntent() const;

    /// Grid points per side of the device-to-PCS table of the inspector's
    /// intent (falling back to the header's intent): -1 for a table without
    /// a single number, 0 without a table or when the profile won't open.
    std::int32_t DeviceToPCSNbGridPoints() const;
    /// The same for the PCS-to-device table; 0 also without a PCSToDevice world.
    std::int32_t PCSToDeviceNbGridPoints() const;
    /// Whether the profile has the device-to-PCS table of an intent.
    bool availableRenderingIntent(std::int32_t intent) const;
    /// The 44-byte profile description structure: manufacturer, model,
    /// attributes, technology (0 without a readable 'tech' element), then two
    /// empty localized-text entries; all big-endian. Nothing when the
    /// profile won't open.
    std::optional<std::vector<std::uint8_t>> profileDescriptionStructureData() const;

    // Ink limits, dot gain and characteristic points, measured from outside:
    // single test colours through the colour worlds (profile_inspector_inks.cpp).

    /// The density log10(1/v) of a colour after the world has matched it
    /// into Lab, v its X (component 0), Y (1) or Z (2) on the scale where Y of
    /// white is 100 (so white has a Y density of -2). The colour is
    /// overwritten by its match. Infinite for a component of 0.
    static float densityForColor(CMColor& color, const ColorWorld& world, std::int32_t component);
    static float XdensityForColor(CMColor& color, const ColorWorld& world);
    static float YdensityForColor(CMColor& color, const ColorWorld& world);
    static float ZdensityForColor(CMColor& color, const ColorWorld& world);

    /// Works out the four dot gains once for the inspector's life, through a
    /// world of its own (profile -> generic Lab, absolute colorimetric); a
    /// failed attempt is not repeated. Gains stay 0 for a space other than
    /// CMYK and GRAY, and for GRAY all but black.
    void calculateDotGain();
    /// The gain of an ink at its nominal half tint, in percentage points;
    /// each calls calculateDotGain first. May be NaN when the profile's
    /// paper has no density.
    float dotGainOfBlackChanel();
    float dotGainOfCyanChanel();
    float dotGainOfMagentaChanel();
    float dotGainOfYellowChanel();
    /// Whether the gains are settled.
    bool calculatedDotGain() const { return calculatedDotGain_; }

    /// Total ink of the darkest neutral (Lab 0 sent to the device), in
    /// percent truncated: 400 without a PCSToDevice world or for a space
    /// other than CMYK.
    std::int32_t PCSToDeviceTotalInkMax() const;
    /// Black ink of the darkest neutral in percent truncated; 100 without a
    /// PCSToDevice world or for a space other than CMYK.
    std::int32_t PCSToDeviceBlackMax() const;
    /// Lightness 0..100 at which black ink reaches 0.5 % walking down the
    /// neutral axis in 91 steps from L 100; about 9.0486 when it never does,
    /// 100 without a PCSToDevice world or for a space other than CMYK.
    float PCSToDeviceLuminanceOfStartBlack() const;
    /// The characteristic colours of a CMYK or GRAY profile through the
    /// inspector's worlds; all zero without a DeviceToPCS world or for
    /// another space.
    CharacteristicProfilePoints characteristicProfilePoints() const;

  private:
    ProfileInspector() = default;
    static std::unique_ptr<ProfileInspector> initWithPath(const std::filesystem::path& path,
                                                          std::int32_t rendering);

    std::unique_ptr<ColorWorld> DeviceToPCS_;
    std::unique_ptr<ColorWorld> PCSToDevice_;
    std::int32_t rendering_ = 0;
    std::filesystem::path profilePath_;
    bool eraseTempFile_ = false;
    CM2Header profileHeader_;
    bool calculatedDotGain_ = false;
    float dotGainForBlack_ = 0.0f;
    float dotGainForCyan_ = 0.0f;
    float dotGainForMagenta_ = 0.0f;
    float dotGainForYellow_ = 0.0f;
};

} // namespace slidebox::color
