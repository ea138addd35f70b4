#include "platform/plist_file.h"

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>

#include <plist/plist.h>

#include "platform/file_system.h"

namespace slidebox::platform {

namespace {

constexpr const char* kDateKey = "$date-ns";

struct PlistFree {
    void operator()(plist_t node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, PlistFree>;

Node toNode(const PlistValue& value);

struct ToNode {
    plist_t operator()(std::monostate) const { return plist_new_string(""); }
    plist_t operator()(const std::string& s) const { return plist_new_string(s.c_str()); }
    plist_t operator()(std::int64_t i) const { return plist_new_uint(static_cast<uint64_t>(i)); }
    plist_t operator()(double d) const { return plist_new_real(d); }
    plist_t operator()(bool b) const { return plist_new_bool(b ? 1 : 0); }
    plist_t operator()(const Date& d) const {
        plist_t dict = plist_new_dict();
        plist_dict_set_item(dict, kDateKey, plist_new_uint(static_cast<uint64_t>(d.totalNanoseconds())));
        return dict;
    }
    plist_t operator()(const PlistData& d) const { return plist_new_data(d.bytes.data(), d.bytes.size()); }
    plist_t operator()(const PlistArray& a) const {
        plist_t array = plist_new_array();
        for (const auto& item : a)
            plist_array_append_item(array, toNode(item).release());
        return array;
    }
    plist_t operator()(const PlistDictionary& d) const {
        plist_t dict = plist_new_dict();
        for (const auto& [key, item] : d)
            plist_dict_set_item(dict, key.c_str(), toNode(item).release());
        return dict;
    }
};

Node toNode(const PlistValue& value) { return Node(std::visit(ToNode{}, value.storage())); }

// libplist 2.2 keeps integers as 64-bit unsigned; both encodings write the
// bit pattern back, so a negative number comes back through the cast.
std::int64_t signedInteger(plist_t node) {
    uint64_t u = 0;
    plist_get_uint_val(node, &u);
    return static_cast<std::int64_t>(u);
}

PlistValue fromNode(plist_t node, int depth) {
    if (!node || depth > 512) // a hostile file may nest deeply; stop well before the stack does
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
        // The format counts from 2001-01-01.
        constexpr std::int64_t k2001 = 978307200;
        return PlistValue(Date::fromTotalNanoseconds((k2001 + sec) * 1'000'000'000LL + usec * 1000LL));
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
        }
        PlistDictionary dict;
        plist_dict_iter it = nullptr;
        plist_dict_new_iter(node, &it);
        for (;;) {
            char* key = nullptr;
            plist_t item = nullptr;
            plist_dict_next_item(node, it, &key, &item);
            if (!item) {
                std::free(key);
                break;
            }
            if (key)
                dict[key] = fromNode(item, depth + 1);
            std::free(key);
        }
        std::free(it);
        return PlistValue(std::move(dict));
    }
    default:
        return {};
    }
}

// Well-formed UTF-8: no stray continuation byte, no overlong form, no
// surrogate, nothing past U+10FFFF.
bool isUtf8(std::string_view text) {
    size_t i = 0;
    while (i < text.size()) {
        const auto c = static_cast<unsigned char>(text[i]);
        size_t length = 0;
        std::uint32_t code = 0;
        if (c < 0x80) {
            ++i;
            continue;
        } else if (c >= 0xC2 && c <= 0xDF) {
            length = 2, code = c & 0x1F;
        } else if (c >= 0xE0 && c <= 0xEF) {
            length = 3, code = c & 0x0F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            length = 4, code = c & 0x07;
        } else {
            return false;
        }
        if (i + length > text.size())
            return false;
        for (size_t k = 1; k < length; ++k) {
            const auto d = static_cast<unsigned char>(text[i + k]);
            if ((d & 0xC0) != 0x80)
                return false;
            code = (code << 6) | (d & 0x3F);
        }
        if ((length == 3 && (code < 0x800 || (code >= 0xD800 && code <= 0xDFFF))) ||
            (length == 4 && (code < 0x10000 || code > 0x10FFFF)))
            return false;
        i += length;
    }
    return true;
}

// libplist takes an XML document cut off anywhere after the closing tag of
// its top value ("</dict>" with no "</plist>"); such a file lost its end all
// the same, and must not count as a property list (nor be written over).
bool isCutOffXml(std::string_view bytes) {
    const size_t last = bytes.find_last_not_of(" \t\r\n");
    return last == std::string_view::npos || !bytes.substr(0, last + 1).ends_with("</plist>");
}

Node parseNode(std::string_view bytes) {
    if (bytes.empty() || bytes.size() > std::numeric_limits<uint32_t>::max())
        return nullptr;
    if (!plist_is_binary(bytes.data(), static_cast<uint32_t>(bytes.size())) && isCutOffXml(bytes))
        return nullptr;
    plist_t root = nullptr;
    plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
    return Node(root);
}

PlistFormat formatOf(std::string_view bytes) {
    return plist_is_binary(bytes.data(), static_cast<uint32_t>(bytes.size())) ? PlistFormat::Binary
                                                                              : PlistFormat::Xml;
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

} // namespace

std::optional<PlistDocument> parsePlist(std::string_view bytes) {
    Node root = parseNode(bytes);
    if (!root)
        return std::nullopt;
    return PlistDocument{fromNode(root.get(), 0), formatOf(bytes)};
}

std::string serializePlist(const PlistValue& value, PlistFormat format) {
    Node node = toNode(value);
    return serializeNode(node.get(), format);
}

std::optional<PlistDocument> readPlistFile(const std::filesystem::path& path) {
    auto bytes = readWholeFile(path);
    if (!bytes)
        return std::nullopt;
    return parsePlist(*bytes);
}

bool writePlistFile(const std::filesystem::path& path, const PlistValue& value, PlistFormat format) {
    std::string bytes = serializePlist(value, format);
    return !bytes.empty() && writeFileAtomically(path, bytes);
}

bool setStringInPlistFile(const std::filesystem::path& path, const std::string& key,
                          const std::string& value) {
    auto bytes = readWholeFile(path);
    if (!bytes)
        return false;
    Node root = parseNode(*bytes);
    if (!root || plist_get_node_type(root.get()) != PLIST_DICT)
        return false;
    // libplist's string ends at a NUL, and its binary writer cuts a string at
    // the first byte that isn't UTF-8: such a value would be written wrong.
    const PlistFormat format = formatOf(*bytes);
    if (value.find('\0') != std::string::npos || (format == PlistFormat::Binary && !isUtf8(value)))
        return false;
    plist_dict_set_item(root.get(), key.c_str(), plist_new_string(value.c_str()));
    std::string out = serializeNode(root.get(), format);
    return !out.empty() && writeFileAtomically(path, out);
}

std::optional<std::string> stringInPlistFile(const std::filesystem::path& path, const std::string& key) {
    auto bytes = readWholeFile(path);
    if (!bytes)
        return std::nullopt;
    Node root = parseNode(*bytes);
    if (!root || plist_get_node_type(root.get()) != PLIST_DICT)
        return std::nullopt;
    plist_t item = plist_dict_get_item(root.get(), key.c_str());
    if (!item || plist_get_node_type(item) != PLIST_STRING)
        return std::nullopt;
    uint64_t length = 0;
    const char* p = plist_get_string_ptr(item, &length);
    return std::string(p ? p : "", p ? length : 0);
}

} // namespace slidebox::platform
