#pragma once

// Checks on property-list bytes made before the parser sees them, the exact
// comparison of two binary lists, and what the readers and writers of both
// encodings agree on; used by plist_file.cpp and plist_binary.cpp only.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "platform/plist_file.h"
#include "platform/status.h"

namespace slidebox::platform::plist_bounds {

/// The one-entry dictionaries that stand for a date neither encoding holds
/// exactly ({"$date-ns": integer nanoseconds since 1970}) and for a string
/// that isn't plain text ({"$string-bytes": data}).
inline constexpr const char* kDateKey = "$date-ns";
inline constexpr const char* kBytesKey = "$string-bytes";
/// The encodings' dates count seconds from 2001-01-01.
inline constexpr std::int64_t kSeconds1970To2001 = 978307200;

/// Well-formed UTF-8: no stray continuation byte, no overlong form, no
/// surrogate, nothing past U+10FFFF.
bool isUtf8(std::string_view text);

/// Text both encodings hold as it is: UTF-8 with no control character but
/// tab and line feed (XML has no NUL and turns a carriage return into a line
/// feed; the binary readers cut at a NUL).
bool isPlainText(std::string_view text);

/// Arrays this long or longer may be left to be read when they are used.
inline constexpr std::uint64_t kStoredFrom = 256;

/// Whether the bytes stay within the limits (size, depth, object count and,
/// for binary lists whose values may be shared, their expanded size). A
/// binary list whose references loop or point outside it is Malformed.
/// With stringLists, a binary list's arrays of kStoredFrom items or more that
/// start with a string are not walked: only their references are checked,
/// and their object indices are put there. A reader must leave them in the
/// bytes and check each item when it reads it (PlistStoredStrings).
Status check(std::string_view bytes, bool binary, const PlistLimits& limits = {},
             std::unordered_set<std::uint64_t>* stringLists = nullptr);

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
