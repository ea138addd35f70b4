#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "color/cm_color.h"

namespace slidebox::color {

/// Date and time of a profile header: six unsigned 16-bit fields.
struct CMDateTime {
    std::uint16_t year = 0;
    std::uint16_t month = 0;
    std::uint16_t dayOfTheMonth = 0;
    std::uint16_t hours = 0;
    std::uint16_t minutes = 0;
    std::uint16_t seconds = 0;
};

/// An XYZ colour in signed 32-bit fixed point with 16 fraction bits.
struct CMFixedXYZColor {
    std::int32_t X = 0;
    std::int32_t Y = 0;
    std::int32_t Z = 0;
};

/// The 128-byte header of an ICC profile, fields in host order. In a file
/// the same fields stand big-endian at the offsets given beside them.
struct CM2Header {
    std::uint32_t size = 0;            ///< 0: size of the profile in bytes
    OSType CMMType = 0;                ///< 4: preferred colour management module
    std::uint32_t profileVersion = 0;  ///< 8: version, packed
    OSType profileClass = 0;           ///< 12: scnr, mntr, prtr, link, spac, abst, nmcl
    OSType dataColorSpace = 0;         ///< 16: device colour space
    OSType profileConnectionSpace = 0; ///< 20: connection space
    CMDateTime dateTime;               ///< 24: creation date and time
    OSType CS2profileSignature = 0;    ///< 36: file signature, 'acsp'
    OSType platform = 0;               ///< 40: primary platform
    std::uint32_t flags = 0;           ///< 44: profile flags
    OSType deviceManufacturer = 0;     ///< 48
    std::uint32_t deviceModel = 0;     ///< 52
    std::array<std::uint32_t, 2> deviceAttributes{}; ///< 56: two words, the high one first
    std::uint32_t renderingIntent = 0;       ///< 64: 0 perceptual .. 3 absolute colorimetric
    CMFixedXYZColor white;                   ///< 68: illuminant of the connection space
    OSType creator = 0;                      ///< 80
    std::array<std::uint8_t, 44> reserved{}; ///< 84: profile id and reserved bytes, as stored
};

/// Size of the header in a file.
inline constexpr std::size_t kProfileHeaderSize = 128;

/// The header from its 128 big-endian bytes; nothing when fewer bytes are given.
std::optional<CM2Header> headerFromBytes(std::span<const std::uint8_t> bytes);

/// The 128 big-endian bytes of a header, as they stand in a file.
std::array<std::uint8_t, kProfileHeaderSize> bytesFromHeader(const CM2Header& header);

/// Signatures of profile classes and of the other colour spaces a header may name.
inline constexpr OSType cmInputClass = fourCC("scnr");
inline constexpr OSType cmDisplayClass = fourCC("mntr");
inline constexpr OSType cmOutputClass = fourCC("prtr");
inline constexpr OSType cmLinkClass = fourCC("link");
inline constexpr OSType cmAbstractClass = fourCC("abst");
inline constexpr OSType cmColorSpaceClass = fourCC("spac");
inline constexpr OSType cmNamedColorClass = fourCC("nmcl");

} // namespace slidebox::color
