#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "platform/plist_value.h"

namespace slidebox::platform {

/// The two encodings of a property-list file.
enum class PlistFormat { Xml, Binary };

/// A parsed property list with the format it was read in.
struct PlistDocument {
    PlistValue root;
    PlistFormat format = PlistFormat::Xml;
};

/// Parses property-list bytes (XML or binary, told by the content).
/// Nothing for bytes that are not a property list.
std::optional<PlistDocument> parsePlist(std::string_view bytes);

/// Encodes a value. Dates keep their nanoseconds: a date is written as the
/// one-entry dictionary {"$date-ns": integer nanoseconds since 1970}, since
/// the file format's own date holds whole seconds (XML) or microseconds
/// (binary) at best; parsePlist turns such a dictionary back into a date.
/// Strings are written byte for byte in XML, so non-UTF-8 paths survive.
std::string serializePlist(const PlistValue& value, PlistFormat format);

/// Reads and parses a whole file; nothing when missing or not a property list.
std::optional<PlistDocument> readPlistFile(const std::filesystem::path& path);

/// Writes a value atomically (temporary file, fsync, rename). False on failure,
/// with the old file untouched.
bool writePlistFile(const std::filesystem::path& path, const PlistValue& value, PlistFormat format);

/// Rewrites one top-level string entry of a dictionary file, keeping every
/// other key and value as the file holds them (through the library's own
/// nodes, so no type is lost) and the file's own format. A missing file, or
/// one that is not a dictionary, is not written and gives false; so is a
/// value the file can't hold as given (a NUL byte; in a binary file, bytes
/// that aren't UTF-8, which the binary format has no way to store).
bool setStringInPlistFile(const std::filesystem::path& path, const std::string& key,
                          const std::string& value);

/// One top-level string entry of a dictionary file; nothing when absent.
std::optional<std::string> stringInPlistFile(const std::filesystem::path& path,
                                             const std::string& key);

} // namespace slidebox::platform
