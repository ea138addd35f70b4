#pragma once

// The colour engine as the rest of the toolkit sees it: open profiles, their
// headers and tags, colour worlds over a chain of profiles, and single colours
// matched in place. The engine itself (Little CMS) stays behind this header:
// no engine type or constant appears here, and the files of color/engine/
// are the only ones that talk to it. Every handle is owned by a std::unique_ptr whose deleter
// is the matching close, so each open is closed exactly once.

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "color/cm2_header.h"
#include "color/cm_color.h"
#include "platform/file_system.h"
#include "platform/status.h"

namespace slidebox::color {

/// Result code of the engine calls that report one: 0 is success.
using CMError = std::int32_t;
inline constexpr CMError noErr = 0;
inline constexpr CMError paramErr = -50;               ///< a missing or unusable argument
inline constexpr CMError memFullErr = -108;            ///< no memory for a block
inline constexpr CMError cmProfileError = -170;        ///< the profile can't be read
inline constexpr CMError cmElementTagNotFound = -4200; ///< the profile has no such tag

/// Longest path, in bytes of its file-system form, that a profile is opened
/// from: the 8,000 bytes of any path the catalogue produces.
inline constexpr std::size_t kMaxProfilePathBytes = platform::kMaxPathBytes;

// ---------------------------------------------------------------------------
// Profiles

/// An open profile. Opaque; made by CMOpenProfile, ended by CMCloseProfile.
struct CMProfile;

/// Closes a profile (the deleter of CMProfileRef). Null is ignored.
void CMCloseProfile(CMProfile* profile) noexcept;

struct CMProfileCloser {
    void operator()(CMProfile* profile) const noexcept { CMCloseProfile(profile); }
};

/// An open profile with its close attached.
using CMProfileRef = std::unique_ptr<CMProfile, CMProfileCloser>;

/// Largest profile file opened: a larger one is refused before it is read.
inline constexpr std::size_t kMaxProfileBytes = std::size_t(64) << 20;

/// Opens the profile in a file: read whole (a regular file only, never
/// waiting on a FIFO or device), its sizes and tag table checked against
/// the file before the engine sees it, and held in memory, so no file stays
/// open. The reason of a refusal: BadArgument for an empty path or one
/// longer than kMaxProfilePathBytes, CannotOpen for a file that is missing, unreadable or
/// not a regular file, TooLarge past kMaxProfileBytes, Truncated or
/// Malformed (message "not a usable ICC profile: ...", with the engine's
/// complaint when it has one) for bytes that aren't a profile it accepts.
platform::Result<CMProfileRef> CMOpenProfileChecked(const std::filesystem::path& path);

/// Opens a profile held in memory (an image's embedded one, say) with the
/// checks of CMOpenProfileChecked: TooLarge past kMaxProfileBytes,
/// Truncated or Malformed ("not a usable ICC profile: ...") for bytes that
/// aren't a profile the engine accepts. The profile keeps its own copy of
/// the bytes; its location is empty.
platform::Result<CMProfileRef> CMOpenProfileFromBytes(std::span<const std::uint8_t> bytes);

/// CMOpenProfileChecked without the reason: null when refused.
CMProfileRef CMOpenProfile(const std::filesystem::path& path);

/// The path the profile was opened from.
const std::filesystem::path& CMGetProfileLocation(const CMProfile& profile);

/// The profile's 128-byte header as stored in the file, fields brought to
/// host order. Nothing when it can't be read.
std::optional<CM2Header> CMGetProfileHeader(const CMProfile& profile);

/// Reads one tagged element whole, as stored: its type signature first, all
/// words big-endian. With a null buffer, size receives the element's size in
/// bytes. With a buffer, size gives its capacity in bytes; it must hold the
/// whole element, and receives the number of bytes written.
/// cmElementTagNotFound when the profile has no such tag, cmProfileError
/// when the element can't be read or the buffer is too small, paramErr for a
/// size of 0 with a buffer.
CMError CMGetProfileElement(const CMProfile& profile, OSType tag, std::uint32_t& size,
                            void* buffer);

/// Reads the start of one tagged element, as stored: at most size bytes
/// (its capacity, above 0) of it, type signature first. size receives the
/// number of bytes written, which is less than the element's size when the
/// buffer is smaller. cmElementTagNotFound when the profile has no such
/// tag, cmProfileError when the element can't be read, paramErr for no
/// buffer or a capacity of 0.
CMError CMGetProfileElementStart(const CMProfile& profile, OSType tag, std::uint32_t& size,
                                 void* buffer);

/// The profile's description (its "desc" tag) as UTF-8. Nothing when the
/// profile has none or it can't be read.
std::optional<std::string> CMCopyProfileDescriptionString(const CMProfile& profile);

// ---------------------------------------------------------------------------
// Colour worlds

/// Which way one profile of a chain is used.
enum class TransformTag : std::uint32_t {
    DeviceToPCS = 1, ///< from the profile's data colour space to its connection space
    PCSToDevice = 2, ///< from the connection space to the data colour space
};

/// One entry of a chain: a profile the caller keeps open until the world is
/// built, the rendering intent (0..3) and the direction of this entry.
struct ProfileSetEntry {
    const CMProfile* profile = nullptr;
    std::int32_t renderingIntent = 0;
    TransformTag transformTag = TransformTag::DeviceToPCS;
};

/// A colour world: a transform through a chain of profiles. Opaque.
struct CMWorld;

/// Releases a colour world (the deleter of CMWorldRef). Null is ignored.
void CWDisposeColorWorld(CMWorld* world) noexcept;

struct CMWorldDisposer {
    void operator()(CMWorld* world) const noexcept { CWDisposeColorWorld(world); }
};

/// A colour world with its disposal attached.
using CMWorldRef = std::unique_ptr<CMWorld, CMWorldDisposer>;

/// How the engine builds a world. The defaults are the behaviour's own.
struct CMWorldOptions {
    /// Black-point compensation on every step of the chain.
    bool blackPointCompensation = false;
    /// Bitmap worlds: the engine may precalculate and optimise. Without it,
    /// a bitmap is matched as single colours are (NCWConcatColorWorld).
    bool optimize = true;
};

/// Builds a colour world through one to three profiles, in order. The
/// profiles may be closed once this returns. Colours go through the engine
/// without precalculated tables, so that what is measured is the profiles'
/// own arithmetic (options.optimize plays no part here). Null (with a line in the log) for an empty
/// or too long chain, a null profile, an intent outside 0..3, a direction that doesn't follow from
/// the spaces before it (the first device profile must be used device to PCS, and each later one
/// from the space the chain has reached), a colour space that has no colour record, or when the
/// engine refuses.
CMWorldRef NCWConcatColorWorld(std::span<const ProfileSetEntry> set,
                               const CMWorldOptions& options = {});

/// Colour space of the colours a world takes: the data colour space of the
/// first profile (of a link or abstract profile, its input space).
OSType CWInputSpace(const CMWorld& world);

/// Colour space of the colours a world gives: the connection space of the
/// last profile when it is used device to PCS (a one-profile chain), else its
/// data colour space.
OSType CWOutputSpace(const CMWorld& world);

/// Matches colours in place, from CWInputSpace to CWOutputSpace, each in the
/// form of its space: Lab L 0..65535 is 0..100, a and b 0..65535 are
/// -128..127.996; XYZ 0..65535 is 0..200 with Y of white at 100; RGB, CMYK,
/// gray and the other spaces of up to four channels 0..65535 is 0..1 (0..100
/// percent); spaces of five to eight channels hold one byte per channel,
/// 0..255. Results are rounded to the nearest field and held to its range.
/// False, leaving the colours untouched, only for an empty world.
bool CWMatchColors(const CMWorld& world, std::span<CMColor> colors);

// A colour world may later match whole bitmaps of packed rows too; the
// world already knows its input and output spaces for that.

/// Number of channels of a colour space signature, from the one table of
/// spaces that also lays out the engine's colours: 1 for 'GRAY'; 3 for
/// 'RGB ', 'sRGB', 'CMY ', 'HSV ', 'HLS ', 'Lab ', 'Luv ', 'XYZ ', 'Yxy ',
/// 'YCbr'; 4 for 'CMYK'; n for 'nCLR' (n a hex digit 3..F) and 'MCHn'
/// (5..8); 0 for any other ('2CLR' among them). Colours of 'sRGB' and of
/// more than eight inks have no colour record.
unsigned channelsOfColorSpace(OSType space);

/// The engine's values of a colour in a space (up to 8 channels; the engine
/// scale: Lab L 0..100, a, b -128..128; XYZ with Y of white 1.0; CMYK and
/// the multi-ink spaces 0..100; the other spaces 0..1). Empty for a space
/// without a colour record. Exposed so that the boundary can be tested.
std::vector<double> engineValuesFromColor(const CMColor& color, OSType space);

/// The colour record of the engine's values in a space: the inverse of
/// engineValuesFromColor, rounded to the nearest field and held to range.
/// Nothing for a space without a colour record or too few values.
std::optional<CMColor> colorFromEngineValues(std::span<const double> values, OSType space);

/// How much work the engine has done in this process: profiles opened and
/// colour worlds built. Lets a test tell that work isn't repeated.
struct CMEngineCounters {
    std::uint64_t profilesOpened = 0;
    std::uint64_t worldsBuilt = 0;
};
CMEngineCounters CMGetEngineCounters();

// ---------------------------------------------------------------------------
// Making profiles

/// The bytes of a well-known profile made by the engine: for cmLabData the
/// version 2 Lab identity profile with a D50 white, for cmXYZData the XYZ
/// identity profile, for cmGrayData a gray profile (D50, gamma 2.2), for
/// cmRGBData sRGB. Nothing for other spaces.
std::optional<std::vector<std::uint8_t>> genericProfileBytes(OSType space);

// ---------------------------------------------------------------------------
// Bitmaps

/// Layout codes of a CMBitmap row, 8-bit samples, packed, alpha last.
inline constexpr std::uint32_t cmGray8Space = 0x280A;     ///< 1 sample
inline constexpr std::uint32_t cmGrayA8Space = 0x208A;    ///< gray, alpha
inline constexpr std::uint32_t cmRGB24Space = 0x2101;     ///< 3 samples
inline constexpr std::uint32_t cmRGBA32Space = 0x0881;    ///< RGB, alpha
inline constexpr std::uint32_t cmLab24Space = 0x2108;     ///< 3 samples, a and b around 128
inline constexpr std::uint32_t cmLabA32Space = 0x0A08;    ///< Lab, alpha
inline constexpr std::uint32_t cm32_8ColorSpace = 0x0802; ///< 4 samples
/// Three unsigned 16-bit Lab fields a pixel, encoded as CMLabColor.
inline constexpr std::uint32_t cmLab48Space = 0x2908;
/// Added to any code above (but cmLab48Space): 16-bit samples in the
/// machine's byte order. A 16-bit Lab layout holds CMLabColor fields.
inline constexpr std::uint32_t cm16BitSamples = 0x10000;

/// A colour world for bitmaps: the same chain as NCWConcatColorWorld, but
/// the engine may precalculate and optimise, since whole images are
/// matched. Opaque; made by NCWNewBitmapWorld.
struct CMBitmapWorld;
void CWDisposeBitmapWorld(CMBitmapWorld* world) noexcept;
struct CMBitmapWorldDisposer {
    void operator()(CMBitmapWorld* world) const noexcept { CWDisposeBitmapWorld(world); }
};
using CMBitmapWorldRef = std::unique_ptr<CMBitmapWorld, CMBitmapWorldDisposer>;

/// Keeps the chain that built checked (by NCWConcatColorWorld, which made
/// the checks) for later bitmap matches, with its own copies of the
/// profiles; the caller's may close. The options are those of every match
/// (a match to or from 16-bit Lab fields is never optimised). Null when a profile can't be copied.
/// Cheap: the engine's transforms are built on the first match of each
/// pair of layouts.
CMBitmapWorldRef NCWNewBitmapWorld(const CMWorld& checked, std::span<const ProfileSetEntry> set,
                                   const CMWorldOptions& options = {});

/// Matches src into dst, both of the same width and height, rows at their
/// own rowBytes; src and dst may be the same memory when their layouts
/// are. The channels are those of the world's input and output spaces, the
/// sample width and alpha those of the layout codes (pixelSize is not
/// read); alpha is copied when both layouts have it. Spread over up to
/// `threads` threads (0: the machine's cores), the calling one among them.
/// Several threads may match through one world at once. paramErr for
/// sizes, codes or channel counts that don't fit, cmProfileError when the
/// engine refuses the transform.
CMError CWMatchBitmap(CMBitmapWorld& world, const CMBitmap& src, CMBitmap& dst,
                      unsigned threads = 0);

} // namespace slidebox::color

// ---------------------------------------------------------------------------
// Runs of single colours

namespace slidebox::color {

/// Matches colours in place with exactly the numbers CWMatchColors gives
/// one colour at a time (the same engine values in, the same rounding to
/// the record out: the engine treats every colour of a call alone), but
/// hands the engine runs of colours in one call and shares a long run
/// between up to `threads` threads (0: one a core). False, touching
/// nothing, for a world that can't match (as CWMatchColors).
bool CWMatchColorRuns(const CMWorld& world, std::span<CMColor> colors, unsigned threads = 0);

} // namespace slidebox::color
