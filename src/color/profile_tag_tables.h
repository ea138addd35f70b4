#pragma once

// Reading the tagged elements of a profile: which table stands for which
// rendering intent, whether it is there, its kind and its grid. Plain
// functions with no state; every element is asked for by its signature.

#include <cstdint>
#include <optional>
#include <vector>

#include "color/cm2_header.h"
#include "color/colorsync.h"

namespace slidebox::color {

/// A block that knows its size: one element as stored, type signature first.
using ElementBlock = std::vector<std::uint8_t>;

/// What is known of one table element.
struct TabInfos {
    std::uint32_t size = 0; ///< size of the element in bytes
    OSType type = 0;        ///< 'mft1', 'mft2', 'mAB ' or 'mBA '; 0 if nothing is known
    std::uint16_t inputChannels = 0;
    std::uint16_t outputChannels = 0;
    std::uint16_t gridPoints = 0; ///< points per side; 0xFFFF when the type has no single number
};

inline constexpr OSType kLut8Type = fourCC("mft1");
inline constexpr OSType kLut16Type = fourCC("mft2");
inline constexpr OSType kLutAtoBType = fourCC("mAB ");
inline constexpr OSType kLutBtoAType = fourCC("mBA ");
inline constexpr OSType kTechnologyTag = fourCC("tech");
inline constexpr OSType kMultiLocalizedUnicodeType = fourCC("mluc");

/// The table tags of an intent: 0 gives A2B0/B2A0, 2 gives A2B2/B2A2, any
/// other value (1, 3, -1, ...) A2B1/B2A1. Either out place may be null.
void GetTableTags(std::int32_t intent, OSType* deviceToPCSTag, OSType* PCSToDeviceTag);

/// Sets all fields to 0.
void ResetTabInfos(TabInfos& infos);

/// 1 if the element's type signature is the signature, 0 if not, if there
/// is no element or it is too short to hold a signature.
int IsOSType(const ElementBlock* element, OSType signature);

/// Reads one element whole. Without an out place for the element nothing is
/// read, the result is 0 and *size, if given, becomes 0. Otherwise the
/// element is cleared, its size asked for, a block of that size made (-108
/// when there is no memory) and filled; after an error the element stays
/// absent. *size, if given, receives the size as last seen. The result is
/// the error narrowed to 16 bits, 0 for success.
std::int16_t GetElement(const CMProfile& profile, OSType tag, std::optional<ElementBlock>* element,
                        std::uint32_t* size);

/// Whether the device-to-PCS table of the intent can be read. No fallback.
bool TestProfileDatasForIntent(const CMProfile& profile, std::int32_t intent);

/// Fills the record from a table element: 'mft2'/'mft1' give their size,
/// type, channels and grid (bytes 8, 9, 10), 'mAB '/'mBA ' the same with grid
/// 0xFFFF. No element, another type, or an element too short to hold those
/// bytes leaves the record as it was.
void GetInfosOnTable(TabInfos& infos, const ElementBlock* element);

/// The table records of an intent. A device-to-PCS table that can't be read
/// makes both records fall back to the tables of the header's own intent
/// (unclamped); a record whose table can't be read either stays all zero.
/// Either out record may be null.
void GetProfileDatas(const CMProfile& profile, std::int32_t intent, const CM2Header& header,
                     TabInfos* deviceToPCS, TabInfos* PCSToDevice);

} // namespace slidebox::color
