#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/plist_value.h"
#include "platform/status.h"

namespace slidebox::platform {

class MappedFile;

/// The two encodings of a property-list file.
enum class PlistFormat { Xml, Binary };

/// A parsed property list with the format it was read in.
struct PlistDocument {
    PlistValue root;
    PlistFormat format = PlistFormat::Xml;
};

/// What a property list may hold before it is parsed or written: a file
/// beyond these is refused whole, before the parser sees it. The defaults
/// suit files other programs write; the program's own settings, which hold
/// every library's image paths, may be far larger (ownFiles()).
struct PlistLimits {
    static constexpr int maxDepth = 512;          ///< nesting of arrays and dictionaries
    std::size_t maxBytes = std::size_t(16) << 20; ///< file size
    std::size_t maxObjects = 1'000'000;           ///< values, shared ones counted at each use
    std::size_t maxExpandedBytes = std::size_t(64) << 20; ///< bytes of those values

    /// A file this program writes itself and reads back: a hundred
    /// libraries of a hundred thousand pictures each fit.
    static constexpr PlistLimits ownFiles() {
        return {std::size_t(1) << 30, 32'000'000, std::size_t(4) << 30};
    }
};

/// Parses property-list bytes (XML or binary, told by the content; a UTF-8
/// byte-order mark before XML is accepted). Refused with the reason: bytes
/// that are not a property list, and lists beyond PlistLimits.
Result<PlistDocument> parsePlistChecked(std::string_view bytes, const PlistLimits& limits = {});

/// A mapped binary property list, checked as parsePlistChecked checks it;
/// every array of 256 strings or more stays in the file, read when it is
/// first used (PlistStoredStrings).
Result<PlistValue> parseBinaryPlistMapped(std::shared_ptr<const MappedFile> file,
                                          const PlistLimits& limits);

/// parsePlistChecked without the reason.
std::optional<PlistDocument> parsePlist(std::string_view bytes);

/// Encodes a value. A date is written in the format's own date form when
/// that holds it exactly (whole seconds, 1902..2037); otherwise as the
/// one-entry dictionary {"$date-ns": integer nanoseconds since 1970}. A
/// string that either encoding can't hold as text (bytes that aren't UTF-8,
/// control characters) is written as {"$string-bytes": data}. parsePlist
/// turns both dictionaries back, so every value comes back exactly.
std::string serializePlist(const PlistValue& value, PlistFormat format);

/// Reads and parses a whole file; nothing when missing, not a regular file,
/// not a property list or beyond PlistLimits.
std::optional<PlistDocument> readPlistFile(const std::filesystem::path& path);

/// Writes a value atomically (temporary file, fsync, rename). A value whose
/// encoding would be beyond limits is refused, so that what is written can
/// always be read back. On failure the old file is untouched and the status
/// says why.
Status writePlistFile(const std::filesystem::path& path, const PlistValue& value,
                      PlistFormat format, const PlistLimits& limits = {});

/// The bytes of a dictionary property list with one top-level string entry
/// set, in the list's own format, every other key and value kept exactly.
/// Refused with the reason, rather than changing anything else: bytes that
/// are no dictionary list or exceed PlistLimits; a value the format can't
/// hold as text (not UTF-8, a NUL or another control character); an XML
/// file declared in another encoding than UTF-8; any other value the
/// writer would not give back exactly (a NUL inside a binary string, -0.0
/// in XML).
Result<std::string> plistWithString(std::string_view bytes, const std::string& key,
                                    const std::string& value);

/// plistWithString applied to a file, written back atomically (through a
/// symbolic link to its target; a file with other hard links is refused).
/// On any refusal the file stays byte-identical and the status says why.
Status setStringInPlistFile(const std::filesystem::path& path, const std::string& key,
                            const std::string& value);

/// One top-level string entry of a dictionary in either format, read the way
/// the rewrite above reads another program's file; nothing when absent.
std::optional<std::string> stringInPlist(std::string_view bytes, const std::string& key);
/// One top-level string entry of a dictionary file; nothing when absent.
std::optional<std::string> stringInPlistFile(const std::filesystem::path& path,
                                             const std::string& key);

} // namespace slidebox::platform
