#pragma once

#include <string>

#include "color/cm2_header.h"

namespace slidebox::color {

/// The four bytes of a signature as text, top byte first. A byte 0 is no
/// end: it stays in the text, which always has four characters.
std::string signatureText(OSType signature);

/// The report of a profile header: seven lines, no line feed at the end.
///
///   Size : 3.144 Ko / CMMType : lcms / version : 0x02100000
///   class : mntr / dataColorSpace : RGB  / connectionSpace : XYZ
///   CS2signature : acsp / platform : APPL / flags : 0x00000000
///   deviceManufacturer : none / model : 0x00000000
///   deviceAttributes : 0x00000000 0x00000000
///   renderingIntent : cmPerceptual
///   white : X = 0.9642, Y = 1.0000, Z = 0.8249
///
/// A size above 1000 is in thousands of bytes with three decimals, else a
/// plain integer. An intent above 3 has no name and prints as its number.
std::string headerInfos(const CM2Header& header);

/// The header's creation date in local time, "%d %B %Y - %H:%M:%S" with the
/// month's English name, from the six fields as they stand.
std::string creationDateText(const CM2Header& header);

} // namespace slidebox::color
