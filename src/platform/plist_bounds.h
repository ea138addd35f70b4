#pragma once

// Checks on property-list bytes made before the parser sees them, and the
// exact comparison of two binary lists; used by plist_file.cpp only.

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/plist_file.h"
#include "platform/status.h"

namespace slidebox::platform::plist_bounds {

/// Whether the bytes stay within the limits (size, depth, object count and,
/// for binary lists whose values may be shared, their expanded size). A
/// binary list whose references loop or point outside it is Malformed.
Status check(std::string_view bytes, bool binary, const PlistLimits& limits = {});

/// A binary list's top-level dictionary as key -> an exact encoding of the
/// value (numbers by their bits, strings by their UTF-16 code units), so
/// that two lists compare equal only when every value is the same.
/// Nothing for a list that isn't a dictionary or fails check().
std::optional<std::map<std::string, std::string>> binaryTopLevel(std::string_view bytes);

/// The key of binaryTopLevel for an ASCII key.
std::string encodedKey(std::string_view ascii);

/// The encoding an XML declaration names, lower case; "" when none is named.
std::string declaredEncoding(std::string_view xml);

} // namespace slidebox::platform::plist_bounds
