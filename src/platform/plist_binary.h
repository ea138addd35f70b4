#pragma once

// The binary property-list encoding read into and written from PlistValue
// directly, one allocation per string at most: the program's own settings
// hold hundreds of thousands of image paths, read at every start. Used by
// plist_file.cpp only.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "platform/plist_value.h"
#include "platform/status.h"

namespace slidebox::platform {
class MappedFile;
}

namespace slidebox::platform::plist_binary {

/// The value of binary bytes that passed plist_bounds::check. The same
/// values as the XML reader gives: a one-entry {"$date-ns": integer} or
/// {"$string-bytes": data} dictionary is turned back into its date or
/// string, sets are read as arrays, null and UID objects as absent values.
/// Malformed: a dictionary key that is not UTF-8 or stands twice, a date
/// that is no number of seconds.
Result<PlistValue> decode(std::string_view bytes);

/// decode of a mapped file that passed plist_bounds::check, in which an array
/// of 256 strings or more that the check found sound (stringLists) is left
/// in the file (PlistStoredStrings, holding the mapping) and read when it is
/// first used.
Result<PlistValue> decode(std::shared_ptr<const MappedFile> file,
                          const std::unordered_set<std::uint64_t>& stringLists);

/// The binary bytes of a value: text as ASCII or UTF-16, a string that isn't
/// plain UTF-8 text as {"$string-bytes": data}, a date the format can't hold
/// exactly as {"$date-ns": integer}, an absent value as "". Refused when a
/// dictionary key is not UTF-8 (it could not be read back) or stored strings
/// can no longer be read.
Result<std::string> encode(const PlistValue& value);

} // namespace slidebox::platform::plist_binary
