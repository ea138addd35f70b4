#include "platform/plist_bounds.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "platform/plist_file.h"

namespace slidebox::platform::plist_bounds {

namespace {

Status tooLarge(const std::string& what) {
    return Status::failure(ErrorCode::TooLarge, what);
}

const std::string kTooDeep =
    "property list nested deeper than " + std::to_string(PlistLimits::maxDepth) + " levels";

Status tooMany(const PlistLimits& limits) {
    return tooLarge("property list of more than " + std::to_string(limits.maxObjects) + " values");
}

// Element nesting and count by the tags alone; comments, declarations and
// character data sections are skipped.
Status checkXml(std::string_view xml, const PlistLimits& limits) {
    std::size_t depth = 0, count = 0;
    std::size_t i = 0;
    auto skipPast = [&](std::string_view end) {
        const std::size_t at = xml.find(end, i);
        i = at == std::string_view::npos ? xml.size() : at + end.size();
    };
    while ((i = xml.find('<', i)) != std::string_view::npos) {
        const std::string_view rest = xml.substr(i);
        if (rest.starts_with("<!--")) {
            skipPast("-->");
        } else if (rest.starts_with("<![CDATA[")) {
            skipPast("]]>");
        } else if (rest.starts_with("<?")) {
            skipPast("?>");
        } else if (rest.starts_with("<!") || rest.starts_with("</")) {
            if (rest.starts_with("</") && depth > 0)
                --depth;
            skipPast(">");
        } else {
            const std::size_t close = xml.find('>', i);
            if (close == std::string_view::npos)
                break;
            if (++count > limits.maxObjects * 2) // a key and its value each
                return tooMany(limits);
            // "<plist>" and the innermost leaf add two levels to the values' nesting.
            if (xml[close - 1] != '/' && ++depth > std::size_t(PlistLimits::maxDepth) + 2)
                return tooLarge(kTooDeep);
            i = close + 1;
        }
    }
    return {};
}

// A big-endian number of 1, 2, 4 or 8 bytes (any other width byte by byte).
inline std::uint64_t readBe(const char* p, std::size_t width) {
    switch (width) {
    case 1:
        return static_cast<unsigned char>(*p);
    case 2: {
        std::uint16_t v;
        std::memcpy(&v, p, 2);
        return __builtin_bswap16(v);
    }
    case 4: {
        std::uint32_t v;
        std::memcpy(&v, p, 4);
        return __builtin_bswap32(v);
    }
    case 8: {
        std::uint64_t v;
        std::memcpy(&v, p, 8);
        return __builtin_bswap64(v);
    }
    default: {
        std::uint64_t v = 0;
        for (std::size_t k = 0; k < width; ++k)
            v = (v << 8) | static_cast<unsigned char>(p[k]);
        return v;
    }
    }
}

// The binary encoding: a header, objects, a table of their offsets and a
// 32-byte trailer. Objects refer to each other by index, so one object may
// be used many times, and a parser that copies it at each use can be made
// to build an exponential tree from a few bytes.
class BinaryList {
  public:
    explicit BinaryList(std::string_view bytes, PlistLimits limits = {},
                        std::unordered_set<std::uint64_t>* stringLists = nullptr)
        : b_(bytes), limits_(limits), stringLists_(stringLists) {}

    Status open() {
        if (b_.size() < 8 + 32)
            return malformed("binary property list too short");
        const std::string_view t = b_.substr(b_.size() - 32);
        offsetSize_ = static_cast<unsigned char>(t[6]);
        refSize_ = static_cast<unsigned char>(t[7]);
        count_ = be(t.data() + 8, 8);
        top_ = be(t.data() + 16, 8);
        tableOffset_ = be(t.data() + 24, 8);
        if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8 || count_ == 0 ||
            top_ >= count_ || tableOffset_ < 8 || tableOffset_ >= b_.size() - 32 ||
            count_ > (b_.size() - 32 - tableOffset_) / offsetSize_)
            return malformed("binary property list with a broken trailer");
        memo_.clear();
        return {};
    }

    // Visits the whole graph from the top, counting each value at each use.
    Status measure() {
        auto size = measure(top_, 0);
        return size ? Status() : status_;
    }

    std::optional<std::map<std::string, std::string>> topLevel() {
        std::size_t start = 0;
        const unsigned char marker = markerAt(top_, start);
        if ((marker >> 4) != 0xD)
            return std::nullopt;
        std::uint64_t n = 0;
        if (!length(marker, start, n) || start + 2 * n * refSize_ > b_.size())
            return std::nullopt;
        std::map<std::string, std::string> entries;
        for (std::uint64_t k = 0; k < n; ++k) {
            std::string key, value;
            if (!encode(be(&b_[start + k * refSize_], refSize_), key, 1) ||
                !encode(be(&b_[start + (n + k) * refSize_], refSize_), value, 1))
                return std::nullopt;
            entries[key] = value;
        }
        return entries;
    }

  private:
    struct Size {
        std::uint64_t objects = 0, bytes = 0;
        int state = 0;  // 0 not seen, 1 on the current path, 2 measured
        int height = 1; // levels from this value down to its deepest leaf
    };

    Status malformed(const std::string& what) {
        status_ = Status::failure(ErrorCode::Malformed, what);
        return status_;
    }
    std::optional<Size> fail(Status status) {
        status_ = std::move(status);
        return std::nullopt;
    }

    std::uint64_t be(const char* p, int n) const { return readBe(p, static_cast<std::size_t>(n)); }

    // The object's marker byte, and where its payload starts; 0xFF for an
    // offset outside the objects.
    unsigned char markerAt(std::uint64_t index, std::size_t& start) const {
        const std::uint64_t offset = be(&b_[tableOffset_ + index * offsetSize_], offsetSize_);
        if (offset < 8 || offset >= tableOffset_)
            return 0xFF;
        start = offset + 1;
        return static_cast<unsigned char>(b_[offset]);
    }

    // Whether the object is a string, ASCII or UTF-16, holding no NUL.
    bool isKeyText(std::uint64_t index) const {
        std::size_t start = 0;
        const unsigned char marker = markerAt(index, start);
        std::size_t payload = 0;
        std::uint64_t refs = 0;
        const unsigned kind = marker >> 4;
        if ((kind != 0x5 && kind != 0x6) || !extent(marker, start, payload, refs) ||
            start + payload > tableOffset_)
            return false;
        if (kind == 0x5)
            return std::memchr(&b_[start], 0, payload) == nullptr;
        for (std::size_t i = 0; i + 1 < payload; i += 2)
            if (b_[start + i] == 0 && b_[start + i + 1] == 0)
                return false;
        return true;
    }

    // A count in the marker's low nibble, or in an integer after it.
    bool length(unsigned char marker, std::size_t& start, std::uint64_t& n) const {
        n = marker & 0x0F;
        if (n != 0x0F)
            return true;
        if (start >= tableOffset_)
            return false;
        const auto intMarker = static_cast<unsigned char>(b_[start]);
        const int width = 1 << (intMarker & 0x0F);
        if ((intMarker >> 4) != 0x1 || width > 8 || start + 1 + width > tableOffset_)
            return false;
        n = be(&b_[start + 1], width);
        start += 1 + width;
        return true;
    }

    // The payload's size in bytes and the number of references it holds.
    // Moves start past a count that follows the marker.
    bool extent(unsigned char marker, std::size_t& start, std::size_t& payload,
                std::uint64_t& refs) const {
        std::uint64_t n = 0;
        refs = 0;
        switch (marker >> 4) {
        case 0x0:
            payload = 0;
            return marker == 0x00 || marker == 0x08 || marker == 0x09 || marker == 0x0F;
        case 0x1:
            payload = std::size_t(1) << (marker & 0x0F);
            return (marker & 0x0F) <= 4;
        case 0x2:
            payload = std::size_t(1) << (marker & 0x0F);
            return (marker & 0x0F) == 2 || (marker & 0x0F) == 3;
        case 0x3:
            payload = 8;
            return marker == 0x33;
        case 0x8:
            payload = (marker & 0x0F) + 1u;
            return true;
        case 0x4:
        case 0x5:
        case 0x6:
            if (!length(marker, start, n) || n > b_.size())
                return false;
            payload = (marker >> 4) == 0x6 ? n * 2 : n;
            return true;
        case 0xA:
        case 0xC:
        case 0xD:
            if (!length(marker, start, n) || n > b_.size())
                return false;
            refs = (marker >> 4) == 0xD ? 2 * n : n;
            payload = refs * refSize_;
            return true;
        default:
            return false;
        }
    }

    bool startsWithString(std::size_t refs) const {
        std::size_t start = 0;
        const unsigned kind = markerAt(be(&b_[refs], refSize_), start) >> 4;
        return kind == 0x5 || kind == 0x6;
    }

    // Whether the n references from refs are to objects of the list.
    bool referencesWithin(std::size_t refs, std::uint64_t n) const {
        for (std::uint64_t k = 0; k < n; ++k)
            if (be(&b_[refs + k * refSize_], refSize_) >= count_)
                return false;
        return true;
    }

    std::optional<Size> measure(std::uint64_t index, int depth) {
        if (depth > PlistLimits::maxDepth)
            return fail(tooLarge(kTooDeep));
        std::size_t start = 0;
        const unsigned char marker = markerAt(index, start);
        std::size_t payload = 0;
        std::uint64_t refs = 0;
        if (marker == 0xFF || !extent(marker, start, payload, refs) ||
            start + payload > tableOffset_)
            return fail(
                Status::failure(ErrorCode::Malformed, "binary property list with a broken value"));
        // A leaf holds nothing that could loop or grow: only containers,
        // few beside the strings of a long list, are remembered.
        if (refs == 0)
            return Size{1, payload + 1, 2, 1};
        Size& memo = memo_[index];
        // A value used again deeper down nests as deep as it reaches from there.
        if (memo.state == 2 && depth + memo.height - 1 > PlistLimits::maxDepth)
            return fail(tooLarge(kTooDeep));
        if (memo.state == 2)
            return memo;
        if (memo.state == 1)
            return fail(
                Status::failure(ErrorCode::Malformed, "binary property list that contains itself"));
        // A long list that starts with a string, such as a library's image
        // paths, is left to be read when it is used (stringLists): only its
        // references are looked at here, not what they refer to, and it is
        // not walked again when it is used again.
        if (const unsigned kind = marker >> 4;
            stringLists_ && (kind == 0xA || kind == 0xC) && refs >= kStoredFrom &&
            referencesWithin(start, refs) && startsWithString(start)) {
            Size size{1 + refs, payload + 1, 2, 2};
            if (size.objects > limits_.maxObjects)
                return fail(tooMany(limits_));
            memo_[index] = size;
            stringLists_->insert(index);
            return size;
        }
        memo_[index].state = 1;
        Size size{1, payload + 1, 1, 1};
        for (std::uint64_t k = 0; k < refs; ++k) {
            const std::uint64_t child = be(&b_[start + k * refSize_], refSize_);
            if (child >= count_)
                return fail(Status::failure(ErrorCode::Malformed,
                                            "binary property list with a reference past its end"));
            // A dictionary's first half of references are its keys: the
            // parser trusts that they are text without a NUL (and aborts
            // the program on one that is not).
            if ((marker >> 4) == 0xD && k < refs / 2 && !isKeyText(child))
                return fail(Status::failure(ErrorCode::Malformed,
                                            "binary property list with a key that is not text"));
            auto childSize = measure(child, depth + 1);
            if (!childSize)
                return std::nullopt;
            size.objects += childSize->objects;
            size.bytes += childSize->bytes;
            size.height = std::max(size.height, childSize->height + 1);
            if (size.objects > limits_.maxObjects)
                return fail(tooMany(limits_));
            if (size.bytes > limits_.maxExpandedBytes)
                return fail(tooLarge("property list whose values make more than " +
                                     std::to_string(limits_.maxExpandedBytes) + " bytes"));
        }
        size.state = 2;
        memo_[index] = size;
        return size;
    }

    // An exact, self-delimiting encoding of a measured object.
    bool encode(std::uint64_t index, std::string& out, int depth) const {
        if (index >= count_ || depth > PlistLimits::maxDepth)
            return false;
        std::size_t start = 0;
        const unsigned char marker = markerAt(index, start);
        std::size_t payload = 0;
        std::uint64_t refs = 0;
        if (marker == 0xFF || !extent(marker, start, payload, refs))
            return false;
        const std::uint64_t n = (marker >> 4) == 0x6 ? payload / 2 : payload;
        const char* p = &b_[start];
        switch (marker >> 4) {
        case 0x1: { // integers of any width by value
            const std::uint64_t v = payload > 8 ? be(p + payload - 8, 8) : be(p, int(payload));
            const bool negative = payload == 8 && (v >> 63);
            out += 'i' + std::to_string(negative ? 1 : 0) + std::to_string(v) + ';';
            if (payload > 8)
                out += std::to_string(be(p, 8)) + ';';
            return true;
        }
        case 0x2:
        case 0x3: { // reals and dates by the bits of their double
            double d = 0;
            if (payload == 4) {
                std::uint32_t bits = static_cast<std::uint32_t>(be(p, 4));
                float f = 0;
                std::memcpy(&f, &bits, 4);
                d = f;
            } else {
                std::uint64_t bits = be(p, 8);
                std::memcpy(&d, &bits, 8);
            }
            std::uint64_t bits = 0;
            std::memcpy(&bits, &d, 8);
            out += ((marker >> 4) == 0x2 ? 'r' : 'd') + std::to_string(bits) + ';';
            return true;
        }
        case 0x5:
        case 0x6: { // text by its UTF-16 code units
            out += 's' + std::to_string(n) + ':';
            for (std::uint64_t k = 0; k < n; ++k) {
                const std::uint64_t unit =
                    (marker >> 4) == 0x5 ? static_cast<unsigned char>(p[k]) : be(p + 2 * k, 2);
                out += static_cast<char>(unit >> 8);
                out += static_cast<char>(unit & 0xFF);
            }
            return true;
        }
        case 0x4:
        case 0x8:
            out += static_cast<char>(marker >> 4);
            out += std::to_string(payload) + ':';
            out.append(p, payload);
            return true;
        case 0xA:
        case 0xC:
        case 0xD: {
            std::vector<std::string> items(refs);
            for (std::uint64_t k = 0; k < refs; ++k)
                if (!encode(be(p + k * refSize_, refSize_), items[k], depth + 1))
                    return false;
            if ((marker >> 4) == 0xD) { // a dictionary's order is not part of its value
                std::vector<std::string> pairs(refs / 2);
                for (std::uint64_t k = 0; k < refs / 2; ++k)
                    pairs[k] = items[k] + items[refs / 2 + k];
                std::sort(pairs.begin(), pairs.end());
                items = std::move(pairs);
            }
            out += static_cast<char>(marker >> 4);
            out += std::to_string(items.size()) + '[';
            for (const std::string& item : items)
                out += item;
            out += ']';
            return true;
        }
        default:
            out += static_cast<char>(marker);
            return true;
        }
    }

    std::string_view b_;
    PlistLimits limits_;
    std::unordered_set<std::uint64_t>* stringLists_ = nullptr;
    int offsetSize_ = 0, refSize_ = 0;
    std::uint64_t count_ = 0, top_ = 0, tableOffset_ = 0;
    std::unordered_map<std::uint64_t, Size> memo_; ///< containers by index
    Status status_;
};

} // namespace

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

bool isPlainText(std::string_view text) {
    for (char c : text)
        if (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n')
            return false;
    return isUtf8(text);
}

Status check(std::string_view bytes, bool binary, const PlistLimits& limits,
             std::unordered_set<std::uint64_t>* stringLists) {
    if (bytes.size() > limits.maxBytes)
        return tooLarge("property list of more than " + std::to_string(limits.maxBytes) + " bytes");
    if (!binary)
        return checkXml(bytes, limits);
    BinaryList list(bytes, limits, stringLists);
    if (Status opened = list.open(); !opened)
        return opened;
    return list.measure();
}

std::optional<std::map<std::string, std::string>> binaryTopLevel(std::string_view bytes) {
    BinaryList list(bytes);
    if (!list.open() || !list.measure())
        return std::nullopt;
    return list.topLevel();
}

std::string encodedKey(std::string_view ascii) {
    std::string out = 's' + std::to_string(ascii.size()) + ':';
    for (char c : ascii) {
        out += '\0';
        out += c;
    }
    return out;
}

std::string declaredEncoding(std::string_view xml) {
    if (!xml.starts_with("<?xml"))
        return {};
    const std::string_view declaration = xml.substr(0, xml.find("?>"));
    std::size_t at = declaration.find("encoding");
    if (at == std::string_view::npos)
        return {};
    at = declaration.find_first_of("\"'", at);
    if (at == std::string_view::npos)
        return {};
    const std::size_t end = declaration.find(declaration[at], at + 1);
    std::string name(declaration.substr(at + 1, end == std::string_view::npos ? 0 : end - at - 1));
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    return name;
}

} // namespace slidebox::platform::plist_bounds
