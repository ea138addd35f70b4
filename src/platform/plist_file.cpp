#include "platform/plist_file.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <string>

#include <plist/plist.h>

#include "platform/file_system.h"
#include "platform/mapped_file.h"
#include "platform/plist_binary.h"
#include "platform/plist_bounds.h"

namespace slidebox::platform {

namespace {

using plist_bounds::isPlainText;
using plist_bounds::isUtf8;
using plist_bounds::kBytesKey;
using plist_bounds::kDateKey;
constexpr std::int64_t k2001 = plist_bounds::kSeconds1970To2001;

struct PlistFree {
    void operator()(plist_t node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, PlistFree>;

Node toNode(const PlistValue& value);

struct ToNode {
    plist_t operator()(std::monostate) const { return plist_new_string(""); }
    plist_t operator()(const std::string& s) const {
        if (isPlainText(s))
            return plist_new_string(s.c_str());
        plist_t dict = plist_new_dict();
        plist_dict_set_item(dict, kBytesKey, plist_new_data(s.data(), s.size()));
        return dict;
    }
    plist_t operator()(std::int64_t i) const { return plist_new_uint(static_cast<uint64_t>(i)); }
    plist_t operator()(double d) const { return plist_new_real(d); }
    plist_t operator()(bool b) const { return plist_new_bool(b ? 1 : 0); }
    plist_t operator()(const Date& d) const {
        const std::int64_t since2001 = d.seconds - k2001;
        if (d.nanoseconds == 0 && since2001 >= std::numeric_limits<std::int32_t>::min() &&
            since2001 <= std::numeric_limits<std::int32_t>::max())
            return plist_new_date(static_cast<int32_t>(since2001), 0);
        plist_t dict = plist_new_dict();
        plist_dict_set_item(dict, kDateKey,
                            plist_new_uint(static_cast<uint64_t>(d.totalNanoseconds())));
        return dict;
    }
    plist_t operator()(const PlistData& d) const {
        return plist_new_data(d.bytes.data(), d.bytes.size());
    }
    plist_t operator()(const PlistArray& a) const {
        plist_t array = plist_new_array();
        for (const auto& item : a)
            plist_array_append_item(array, toNode(item).release());
        return array;
    }
    plist_t operator()(const PlistValue::Stored& s) const { return (*this)(s->items()); }
    plist_t operator()(const PlistDictionary& d) const {
        plist_t dict = plist_new_dict();
        for (const auto& [key, item] : d)
            plist_dict_set_item(dict, key.c_str(), toNode(item).release());
        return dict;
    }
};

Node toNode(const PlistValue& value) {
    return Node(std::visit(ToNode{}, value.storage()));
}

// libplist 2.2 keeps integers as 64-bit unsigned; both encodings write the
// bit pattern back, so a negative number comes back through the cast.
std::int64_t signedInteger(plist_t node) {
    uint64_t u = 0;
    plist_get_uint_val(node, &u);
    return static_cast<std::int64_t>(u);
}

// Calls visit(key, item) for each entry of a dictionary node in order, until
// it answers false; the key may be null. False when a visit stopped it.
template <typename Visit> bool forEachEntry(plist_t node, Visit visit) {
    plist_dict_iter it = nullptr;
    plist_dict_new_iter(node, &it);
    bool all = true;
    for (;;) {
        char* key = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, it, &key, &item);
        if (!item) {
            std::free(key);
            break;
        }
        all = visit(static_cast<const char*>(key), item);
        std::free(key);
        if (!all)
            break;
    }
    std::free(it);
    return all;
}

PlistValue fromNode(plist_t node, int depth) {
    if (!node || depth > PlistLimits::maxDepth) // bounded before parsing; never reached
        return {};
    switch (plist_get_node_type(node)) {
    case PLIST_STRING: {
        uint64_t length = 0;
        const char* p = plist_get_string_ptr(node, &length);
        return PlistValue(std::string(p ? p : "", p ? length : 0));
    }
    case PLIST_UINT:
        return PlistValue(signedInteger(node));
    case PLIST_REAL: {
        double d = 0;
        plist_get_real_val(node, &d);
        return PlistValue(d);
    }
    case PLIST_BOOLEAN: {
        uint8_t b = 0;
        plist_get_bool_val(node, &b);
        return PlistValue(b != 0);
    }
    case PLIST_DATE: {
        int32_t sec = 0, usec = 0;
        plist_get_date_val(node, &sec, &usec);
        return PlistValue(
            Date::fromTotalNanoseconds((k2001 + sec) * 1'000'000'000LL + usec * 1000LL));
    }
    case PLIST_DATA: {
        uint64_t length = 0;
        const char* p = plist_get_data_ptr(node, &length);
        return PlistValue(PlistData{std::string(p ? p : "", p ? length : 0)});
    }
    case PLIST_ARRAY: {
        PlistArray array;
        uint32_t n = plist_array_get_size(node);
        array.reserve(n);
        for (uint32_t i = 0; i < n; ++i)
            array.push_back(fromNode(plist_array_get_item(node, i), depth + 1));
        return PlistValue(std::move(array));
    }
    case PLIST_DICT: {
        if (plist_dict_get_size(node) == 1) {
            plist_t ns = plist_dict_get_item(node, kDateKey);
            if (ns && plist_get_node_type(ns) == PLIST_UINT)
                return PlistValue(Date::fromTotalNanoseconds(signedInteger(ns)));
            plist_t bytes = plist_dict_get_item(node, kBytesKey);
            if (bytes && plist_get_node_type(bytes) == PLIST_DATA) {
                uint64_t length = 0;
                const char* p = plist_get_data_ptr(bytes, &length);
                return PlistValue(std::string(p ? p : "", p ? length : 0));
            }
        }
        PlistDictionary dict;
        forEachEntry(node, [&](const char* key, plist_t item) {
            if (key)
                dict[key] = fromNode(item, depth + 1);
            return true;
        });
        return PlistValue(std::move(dict));
    }
    default:
        return {};
    }
}

// libplist takes an XML document cut off anywhere after the closing tag of
// its top value ("</dict>" with no "</plist>"); such a file lost its end all
// the same, and must not count as a property list (nor be written over).
bool isCutOffXml(std::string_view bytes) {
    const size_t last = bytes.find_last_not_of(" \t\r\n");
    return last == std::string_view::npos || !bytes.substr(0, last + 1).ends_with("</plist>");
}

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool isBinary(std::string_view bytes) {
    return bytes.size() >= 8 && plist_is_binary(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

Result<Node> parseNode(std::string_view bytes, const PlistLimits& limits = {}) {
    const bool binary = isBinary(bytes);
    if (!binary && bytes.starts_with(kByteOrderMark))
        bytes.remove_prefix(kByteOrderMark.size());
    if (bytes.empty())
        return Status::failure(ErrorCode::Malformed, "empty file");
    if (!binary && isCutOffXml(bytes))
        return Status::failure(ErrorCode::Truncated, "property list cut off before its end");
    if (Status bounded = plist_bounds::check(bytes, binary, limits); !bounded)
        return bounded;
    plist_t root = nullptr;
    plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
    if (!root)
        return Status::failure(ErrorCode::Malformed, "not a property list");
    return Node(root);
}

PlistFormat formatOf(std::string_view bytes) {
    return isBinary(bytes) ? PlistFormat::Binary : PlistFormat::Xml;
}

std::string serializeNode(plist_t node, PlistFormat format) {
    char* out = nullptr;
    uint32_t length = 0;
    std::string result;
    if (format == PlistFormat::Binary) {
        plist_to_bin(node, &out, &length);
        if (out)
            result.assign(out, length);
        plist_to_bin_free(out);
    } else {
        plist_to_xml(node, &out, &length);
        if (out)
            result.assign(out, length);
        plist_to_xml_free(out);
    }
    return result;
}

// Exact equality of two parsed trees: reals and dates to the bit, strings
// and data to the byte. skipKey names a top-level key left out.
bool sameNode(plist_t a, plist_t b, const char* skipKey, int depth) {
    const plist_type type = plist_get_node_type(a);
    if (type != plist_get_node_type(b) || depth > PlistLimits::maxDepth)
        return false;
    switch (type) {
    case PLIST_STRING:
    case PLIST_KEY:
    case PLIST_DATA: {
        uint64_t la = 0, lb = 0;
        const char* pa =
            type == PLIST_DATA ? plist_get_data_ptr(a, &la) : plist_get_string_ptr(a, &la);
        const char* pb =
            type == PLIST_DATA ? plist_get_data_ptr(b, &lb) : plist_get_string_ptr(b, &lb);
        return std::string_view(pa ? pa : "", pa ? la : 0) ==
               std::string_view(pb ? pb : "", pb ? lb : 0);
    }
    case PLIST_REAL: {
        double da = 0, db = 0;
        plist_get_real_val(a, &da);
        plist_get_real_val(b, &db);
        return std::memcmp(&da, &db, sizeof da) == 0;
    }
    case PLIST_DATE: {
        int32_t sa = 0, ua = 0, sb = 0, ub = 0;
        plist_get_date_val(a, &sa, &ua);
        plist_get_date_val(b, &sb, &ub);
        return sa == sb && ua == ub;
    }
    case PLIST_ARRAY: {
        const uint32_t n = plist_array_get_size(a);
        if (n != plist_array_get_size(b))
            return false;
        for (uint32_t i = 0; i < n; ++i)
            if (!sameNode(plist_array_get_item(a, i), plist_array_get_item(b, i), nullptr,
                          depth + 1))
                return false;
        return true;
    }
    case PLIST_DICT: {
        uint32_t countA = 0;
        const bool same = forEachEntry(a, [&](const char* key, plist_t item) {
            if (skipKey && key && std::strcmp(key, skipKey) == 0)
                return true;
            ++countA;
            plist_t other = key ? plist_dict_get_item(b, key) : nullptr;
            return other && sameNode(item, other, nullptr, depth + 1);
        });
        const uint32_t countB =
            plist_dict_get_size(b) - (skipKey && plist_dict_get_item(b, skipKey) ? 1 : 0);
        return same && countA == countB;
    }
    default:
        return plist_compare_node_value(a, b) != 0;
    }
}

Status refused(ErrorCode code, const std::string& why) {
    return Status::failure(code, why);
}

// Whether every dictionary below the node has keys that are UTF-8 text,
// each once: a key is written as it is, and a second one would shadow the
// first when read back, so neither could be given back faithfully.
bool keysAreSound(plist_t node) {
    switch (plist_get_node_type(node)) {
    case PLIST_ARRAY:
        for (uint32_t i = 0, n = plist_array_get_size(node); i < n; ++i)
            if (!keysAreSound(plist_array_get_item(node, i)))
                return false;
        return true;
    case PLIST_DICT: {
        std::set<std::string> seen;
        return forEachEntry(node, [&](const char* key, plist_t item) {
            return key && isUtf8(key) && seen.insert(key).second && keysAreSound(item);
        });
    }
    default:
        return true;
    }
}

} // namespace

Result<PlistDocument> parsePlistChecked(std::string_view bytes, const PlistLimits& limits) {
    // Binary lists are read straight into values: the settings file's half
    // a million strings would cost a node each, and more, in the library.
    if (isBinary(bytes)) {
        if (Status bounded = plist_bounds::check(bytes, true, limits); !bounded)
            return bounded;
        auto value = plist_binary::decode(bytes);
        if (!value)
            return value.status();
        return PlistDocument{std::move(*value), PlistFormat::Binary};
    }
    auto root = parseNode(bytes, limits);
    if (!root)
        return root.status();
    if (!keysAreSound(root->get()))
        return refused(ErrorCode::Malformed,
                       "property list with a key that is not UTF-8 text or stands twice");
    return PlistDocument{fromNode(root->get(), 0), formatOf(bytes)};
}

Result<PlistValue> parseBinaryPlistMapped(std::shared_ptr<const MappedFile> file,
                                          const PlistLimits& limits) {
    if (!isBinary(file->bytes()))
        return refused(ErrorCode::Malformed, "not a binary property list");
    std::unordered_set<std::uint64_t> stringLists;
    if (Status bounded = plist_bounds::check(file->bytes(), true, limits, &stringLists); !bounded)
        return bounded;
    return plist_binary::decode(std::move(file), stringLists);
}

std::optional<PlistDocument> parsePlist(std::string_view bytes) {
    auto document = parsePlistChecked(bytes);
    if (!document)
        return std::nullopt;
    return std::move(*document);
}

std::string serializePlist(const PlistValue& value, PlistFormat format) {
    if (format == PlistFormat::Binary) {
        auto encoded = plist_binary::encode(value);
        return encoded ? std::move(*encoded) : std::string();
    }
    Node node = toNode(value);
    return serializeNode(node.get(), format);
}

std::optional<PlistDocument> readPlistFile(const std::filesystem::path& path) {
    auto bytes = readWholeFile(path, PlistLimits{}.maxBytes);
    if (!bytes)
        return std::nullopt;
    return parsePlist(*bytes);
}

Status writePlistFile(const std::filesystem::path& path, const PlistValue& value,
                      PlistFormat format, const PlistLimits& limits) {
    // The binary writer says why it refuses; the XML one gives nothing.
    auto encoded = format == PlistFormat::Binary
                       ? plist_binary::encode(value)
                       : Result<std::string>(serializePlist(value, format));
    if (!encoded)
        return encoded.status();
    const std::string& bytes = *encoded;
    if (bytes.empty())
        return refused(ErrorCode::CannotWrite, "the property list could not be encoded");
    // What could not be read back is not written: the old file stays.
    if (Status bounded = plist_bounds::check(bytes, format == PlistFormat::Binary, limits);
        !bounded)
        return bounded;
    return writeFileAtomically(path, bytes);
}

Result<std::string> plistWithString(std::string_view bytes, const std::string& key,
                                    const std::string& value) {
    auto root = parseNode(bytes);
    if (!root)
        return root.status();
    if (plist_get_node_type(root->get()) != PLIST_DICT)
        return refused(ErrorCode::Malformed, "the property list is not a dictionary");
    if (!keysAreSound(root->get()))
        return refused(ErrorCode::Malformed,
                       "property list with a key that is not UTF-8 text or stands twice");
    const PlistFormat format = formatOf(bytes);
    const bool binary = format == PlistFormat::Binary;
    if (!isUtf8(value) || value.find('\0') != std::string::npos)
        return refused(ErrorCode::BadArgument,
                       "the value is not UTF-8 text, which the file can't hold");
    if (!binary && !isPlainText(value))
        return refused(ErrorCode::BadArgument,
                       "the value holds control characters, which XML can't hold");
    const bool bom = !binary && bytes.starts_with(kByteOrderMark);
    if (const std::string encoding =
            plist_bounds::declaredEncoding(bytes.substr(bom ? kByteOrderMark.size() : 0));
        !binary && !encoding.empty() && encoding != "utf-8" && encoding != "utf8")
        return refused(ErrorCode::Unsupported, "the file is declared in the encoding " + encoding +
                                                   ", which can't be written back as it is");
    std::optional<std::map<std::string, std::string>> before;
    if (binary) {
        if (std::any_of(key.begin(), key.end(),
                        [](char c) { return static_cast<unsigned char>(c) >= 0x80; }))
            return refused(ErrorCode::BadArgument, "the key is not ASCII");
        before = plist_bounds::binaryTopLevel(bytes);
        if (!before)
            return refused(ErrorCode::Malformed, "the property list can't be read");
    }

    plist_dict_set_item(root->get(), key.c_str(), plist_new_string(value.c_str()));
    std::string out = serializeNode(root->get(), format);
    if (out.empty())
        return refused(ErrorCode::CannotWrite, "the property list could not be encoded");
    if (bom)
        out.insert(0, kByteOrderMark);

    // What would be written is read back: every other value as before, the
    // new one as given; anything else, and the file is left as it is.
    const std::string changed = "a value of the file would not be written back exactly";
    auto written = parseNode(out);
    if (!written)
        return refused(ErrorCode::Unsupported, changed);
    plist_t item = plist_dict_get_item(written->get(), key.c_str());
    uint64_t length = 0;
    const char* p = item && plist_get_node_type(item) == PLIST_STRING
                        ? plist_get_string_ptr(item, &length)
                        : nullptr;
    if (!p || std::string_view(p, length) != value)
        return refused(ErrorCode::Unsupported, "the value would not be written back exactly");
    if (binary) {
        auto after = plist_bounds::binaryTopLevel(out);
        if (!after)
            return refused(ErrorCode::Unsupported, changed);
        before->erase(plist_bounds::encodedKey(key));
        after->erase(plist_bounds::encodedKey(key));
        if (*before != *after)
            return refused(ErrorCode::Unsupported, changed);
    } else {
        auto original = parseNode(bytes);
        if (!original || !sameNode(original->get(), written->get(), key.c_str(), 0))
            return refused(ErrorCode::Unsupported, changed);
    }
    return out;
}

Status setStringInPlistFile(const std::filesystem::path& path, const std::string& key,
                            const std::string& value) {
    auto bytes = readRegularFile(path, PlistLimits{}.maxBytes);
    if (!bytes)
        return bytes.status();
    auto out = plistWithString(*bytes, key, value);
    if (!out)
        return out.status();
    return writeFileAtomically(path, *out);
}

std::optional<std::string> stringInPlistFile(const std::filesystem::path& path,
                                             const std::string& key) {
    auto bytes = readWholeFile(path, PlistLimits{}.maxBytes);
    if (!bytes)
        return std::nullopt;
    return stringInPlist(*bytes, key);
}

std::optional<std::string> stringInPlist(std::string_view bytes, const std::string& key) {
    auto root = parseNode(bytes);
    if (!root || plist_get_node_type(root->get()) != PLIST_DICT)
        return std::nullopt;
    plist_t item = plist_dict_get_item(root->get(), key.c_str());
    if (!item || plist_get_node_type(item) != PLIST_STRING)
        return std::nullopt;
    uint64_t length = 0;
    const char* p = plist_get_string_ptr(item, &length);
    return std::string(p ? p : "", p ? length : 0);
}

} // namespace slidebox::platform
