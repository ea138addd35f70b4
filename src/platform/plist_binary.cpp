#include "platform/plist_binary.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <unordered_set>
#include <vector>

#include "platform/mapped_file.h"
#include "platform/plist_bounds.h"
#include "platform/utf8.h"

namespace slidebox::platform::plist_binary {

using plist_bounds::isPlainText;
using plist_bounds::isUtf8;
using plist_bounds::kBytesKey;
using plist_bounds::kDateKey;
using plist_bounds::kSeconds1970To2001;

namespace {

// Object kinds: the high nibble of an object's marker byte.
enum : unsigned {
    kSimple = 0x0,
    kInteger = 0x1,
    kReal = 0x2,
    kDate = 0x3,
    kData = 0x4,
    kAscii = 0x5,
    kUtf16 = 0x6,
    kUid = 0x8,
    kArray = 0xA,
    kSet = 0xC,
    kDictionary = 0xD,
};

std::uint64_t be(const char* p, std::size_t n) {
    std::uint64_t v = 0;
    for (std::size_t k = 0; k < n; ++k)
        v = (v << 8) | static_cast<unsigned char>(p[k]);
    return v;
}

// Big-endian UTF-16 code units as UTF-8; a lone surrogate, which no text
// holds, becomes U+FFFD.
std::string fromUtf16(const char* p, std::uint64_t units) {
    std::string out;
    out.reserve(units);
    for (std::uint64_t k = 0; k < units; ++k) {
        std::uint32_t unit = static_cast<std::uint32_t>(be(p + 2 * k, 2));
        if (unit >= 0xD800 && unit <= 0xDBFF && k + 1 < units) {
            const auto low = static_cast<std::uint32_t>(be(p + 2 * (k + 1), 2));
            if (low >= 0xDC00 && low <= 0xDFFF) {
                appendUtf8(out, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
                ++k;
                continue;
            }
        }
        appendUtf8(out, unit);
    }
    return out;
}

// An array of strings left in the mapped file: the position of its
// references and their count.
class StoredStrings final : public PlistStoredStrings {
  public:
    StoredStrings(std::shared_ptr<const MappedFile> file, std::size_t start, std::uint64_t n)
        : file_(std::move(file)), start_(start), n_(n) {}
    std::size_t size() const override { return static_cast<std::size_t>(n_); }
    bool forEach(const std::function<void(std::string_view)>& visit) const override;
    std::string reason() const override {
        if (!file_->unchanged())
            return "the file was changed in place since it was read, so the strings left in "
                   "it can no longer be read";
        return "its strings would make more than twice the file's bytes";
    }

  private:
    std::shared_ptr<const MappedFile> file_;
    std::size_t start_;
    std::uint64_t n_;
};

// Reads what plist_bounds::check measured: the offsets, extents, references
// and nesting are known to be sound, and are still not trusted past the
// bytes (a cheap test beside each read).
//
// With the mapped file it reads from, an array the check left unwalked
// (stringLists) is kept as StoredStrings, read when it is first used.
class Reader {
  public:
    explicit Reader(std::string_view bytes, std::shared_ptr<const MappedFile> file = nullptr,
                    const std::unordered_set<std::uint64_t>* stringLists = nullptr)
        : b_(bytes), file_(std::move(file)), stringLists_(stringLists) {}

    Result<PlistValue> read() {
        if (!readTrailer())
            return malformed("binary property list with a broken trailer");
        Result<PlistValue> value{PlistValue()};
        if (!readObject(top_, 0, *value))
            return status_;
        return value;
    }

    bool readTrailer() {
        if (b_.size() < 8 + 32)
            return false;
        const char* t = b_.data() + b_.size() - 32;
        offsetSize_ = static_cast<unsigned char>(t[6]);
        refSize_ = static_cast<unsigned char>(t[7]);
        count_ = be(t + 8, 8);
        top_ = be(t + 16, 8);
        tableOffset_ = be(t + 24, 8);
        return offsetSize_ >= 1 && offsetSize_ <= 8 && refSize_ >= 1 && refSize_ <= 8 &&
               top_ < count_ && tableOffset_ >= 8 && tableOffset_ < b_.size() - 32 &&
               count_ <= (b_.size() - 32 - tableOffset_) / offsetSize_;
    }

    // The string at index as bytes: a view of the file for ASCII, and for
    // the data of a {"$string-bytes": data} dictionary (unless asked for
    // text alone), which stands for a string that is not text; converted
    // into scratch for UTF-16. Nothing for any other object.
    std::optional<std::string_view> string(std::uint64_t index, std::string& scratch,
                                           bool textAlone = false) const {
        unsigned char marker = 0;
        std::size_t start = 0;
        std::uint64_t n = 0;
        if (!locate(index, marker, start, n))
            return std::nullopt;
        if (marker >> 4 == kAscii && fits(start, n))
            return std::string_view(b_.data() + start, n);
        if (marker >> 4 == kUtf16 && n <= tableOffset_ / 2 && fits(start, 2 * n)) {
            scratch = fromUtf16(b_.data() + start, n);
            return scratch;
        }
        if (textAlone || marker != ((kDictionary << 4) | 1) || !fits(start, 2 * refSize_))
            return std::nullopt;
        std::string key;
        auto name = string(reference(start, 0), key, true);
        if (!name || *name != kBytesKey || !locate(reference(start, 1), marker, start, n) ||
            marker >> 4 != kData || !fits(start, n))
            return std::nullopt;
        return std::string_view(b_.data() + start, n);
    }

    // The reference at position k of the references from start.
    std::uint64_t reference(std::size_t start, std::uint64_t k) const {
        return be(b_.data() + start + k * refSize_, refSize_);
    }

  private:
    Status malformed(const std::string& what) {
        status_ = Status::failure(ErrorCode::Malformed, what);
        return status_;
    }
    bool fail(const std::string& what) {
        malformed(what);
        return false;
    }

    // The object's marker and where its payload starts, past a count that
    // follows the marker; n is that count (or the low nibble).
    bool locate(std::uint64_t index, unsigned char& marker, std::size_t& start,
                std::uint64_t& n) const {
        if (index >= count_)
            return false;
        const std::uint64_t offset = be(&b_[tableOffset_ + index * offsetSize_], offsetSize_);
        if (offset < 8 || offset >= tableOffset_)
            return false;
        marker = static_cast<unsigned char>(b_[offset]);
        start = offset + 1;
        n = marker & 0x0F;
        const unsigned kind = marker >> 4;
        if (n != 0x0F || kind == kSimple || kind == kInteger || kind == kReal || kind == kDate ||
            kind == kUid)
            return true;
        if (start >= tableOffset_)
            return false;
        const auto intMarker = static_cast<unsigned char>(b_[start]);
        const std::size_t width = std::size_t(1) << (intMarker & 0x0F);
        if ((intMarker >> 4) != kInteger || width > 8 || start + 1 + width > tableOffset_)
            return false;
        n = be(&b_[start + 1], width);
        start += 1 + width;
        return true;
    }

    // Whether payload bytes from start lie within the objects.
    bool fits(std::size_t start, std::uint64_t bytes) const {
        return bytes <= tableOffset_ && start <= tableOffset_ - bytes;
    }

    bool readObject(std::uint64_t index, int depth, PlistValue& out) {
        unsigned char marker = 0;
        std::size_t start = 0;
        std::uint64_t n = 0;
        if (depth > PlistLimits::maxDepth || !locate(index, marker, start, n))
            return fail("binary property list with a broken value");
        const char* p = b_.data() + start;
        switch (marker >> 4) {
        case kSimple:
            // Null, fill (and the UID below) have no value of their own.
            if (marker == 0x08 || marker == 0x09)
                out = PlistValue(marker == 0x09);
            else if (marker == 0x00 || marker == 0x0F)
                out = PlistValue();
            else
                return fail("binary property list with an unknown value");
            return true;
        case kInteger: {
            const std::size_t width = std::size_t(1) << n;
            if (width > 16 || !fits(start, width))
                return fail("binary property list with a broken integer");
            // 8 bytes are signed; 16 bytes hold a 64-bit pattern in the low half.
            out = PlistValue(static_cast<std::int64_t>(width > 8 ? be(p + 8, 8) : be(p, width)));
            return true;
        }
        case kReal:
        case kDate: {
            const std::size_t width = std::size_t(1) << n;
            if ((width != 4 && width != 8) || !fits(start, width) ||
                ((marker >> 4) == kDate && width != 8))
                return fail("binary property list with a broken number");
            double d = 0;
            if (width == 4)
                d = std::bit_cast<float>(static_cast<std::uint32_t>(be(p, 4)));
            else
                d = std::bit_cast<double>(be(p, 8));
            if ((marker >> 4) == kReal) {
                out = PlistValue(d);
                return true;
            }
            // Seconds since 2001, whole seconds and microseconds each cut
            // towards zero, as the XML side's dates come.
            if (!std::isfinite(d) || std::fabs(d) > 8e9)
                return fail("binary property list with a date out of range");
            const auto seconds = static_cast<std::int64_t>(d);
            const auto micro = static_cast<std::int64_t>((d - static_cast<double>(seconds)) * 1e6);
            out = PlistValue(Date::fromTotalNanoseconds(
                (kSeconds1970To2001 + seconds) * 1'000'000'000LL + micro * 1000));
            return true;
        }
        case kData:
            if (!fits(start, n))
                return fail("binary property list with broken data");
            out = PlistValue(PlistData{std::string(p, n)});
            return true;
        case kAscii:
            if (!fits(start, n))
                return fail("binary property list with a broken string");
            out = PlistValue(std::string(p, n));
            return true;
        case kUtf16:
            if (n > tableOffset_ / 2 || !fits(start, 2 * n))
                return fail("binary property list with a broken string");
            out = PlistValue(fromUtf16(p, n));
            return true;
        case kUid:
            out = PlistValue();
            return true;
        case kArray:
        case kSet: {
            if (n > tableOffset_ / refSize_ || !fits(start, n * refSize_))
                return fail("binary property list with a broken array");
            if (file_ && n >= plist_bounds::kStoredFrom && stringLists_ &&
                stringLists_->contains(index)) {
                out = PlistValue(
                    PlistValue::Stored(std::make_shared<StoredStrings>(file_, start, n)));
                return true;
            }
            PlistArray array(n);
            for (std::uint64_t k = 0; k < n; ++k)
                if (!readObject(be(p + k * refSize_, refSize_), depth + 1, array[k]))
                    return false;
            out = PlistValue(std::move(array));
            return true;
        }
        case kDictionary:
            return readDictionary(p, start, n, depth, out);
        default:
            return fail("binary property list with an unknown value");
        }
    }

    bool readDictionary(const char* p, std::size_t start, std::uint64_t n, int depth,
                        PlistValue& out) {
        if (n > tableOffset_ / (2 * refSize_) || !fits(start, 2 * n * refSize_))
            return fail("binary property list with a broken dictionary");
        PlistDictionary dictionary;
        for (std::uint64_t k = 0; k < n; ++k) {
            PlistValue key;
            if (!readObject(be(p + k * refSize_, refSize_), depth + 1, key))
                return false;
            // A key is written as it is, and a second one would shadow the
            // first: neither could be given back faithfully.
            const std::string* text = key.string();
            if (!text || !isUtf8(*text))
                return fail("property list with a key that is not UTF-8 text or stands twice");
            auto [entry, inserted] = dictionary.try_emplace(*text);
            if (!inserted)
                return fail("property list with a key that is not UTF-8 text or stands twice");
            if (!readObject(be(p + (n + k) * refSize_, refSize_), depth + 1, entry->second))
                return false;
        }
        out = PlistValue(std::move(dictionary));
        unwrap(out);
        return true;
    }

    // The two one-entry dictionaries that stand for what the format can't
    // hold as it is.
    static void unwrap(PlistValue& value) {
        const PlistDictionary& d = *value.dictionary();
        if (d.size() != 1)
            return;
        const auto& [key, item] = *d.begin();
        if (key == kDateKey && item.integer())
            value = PlistValue(Date::fromTotalNanoseconds(*item.integer()));
        else if (key == kBytesKey && item.data())
            value = PlistValue(std::string(item.data()->bytes));
    }

    std::string_view b_;
    std::shared_ptr<const MappedFile> file_;
    const std::unordered_set<std::uint64_t>* stringLists_;
    std::size_t offsetSize_ = 0, refSize_ = 0;
    std::uint64_t count_ = 0, top_ = 0, tableOffset_ = 0;
    Status status_;
};

bool StoredStrings::forEach(const std::function<void(std::string_view)>& visit) const {
    if (!file_->unchanged())
        return false;
    const std::string_view bytes = file_->bytes();
    Reader reader(bytes);
    if (!reader.readTrailer())
        return false;
    // Each string is written once; UTF-16 grows by half at most as UTF-8.
    // Only one string used many times could make more.
    const std::uint64_t most = 2 * static_cast<std::uint64_t>(bytes.size());
    std::uint64_t made = 0;
    std::string scratch;
    for (std::uint64_t k = 0; k < n_; ++k) {
        auto text = reader.string(reader.reference(start_, k), scratch);
        if (!text)
            continue; // no string: left out, as an eagerly read list's reader leaves it
        made += text->size();
        if (made > most)
            return false;
        visit(*text);
    }
    return true;
}

std::size_t widthFor(std::uint64_t largest) {
    std::size_t width = 1;
    while (width < 8 && (largest >> (8 * width)) != 0)
        width *= 2;
    return width;
}

void putBe(std::string& out, std::uint64_t v, std::size_t width) {
    for (std::size_t k = width; k-- > 0;)
        out += static_cast<char>((v >> (8 * k)) & 0xFF);
}

bool isNativeDate(const Date& d) {
    const std::int64_t since2001 = d.seconds - kSeconds1970To2001;
    return d.nanoseconds == 0 && since2001 >= INT32_MIN && since2001 <= INT32_MAX;
}

bool isAscii(std::string_view text) {
    for (char c : text)
        if (static_cast<unsigned char>(c) >= 0x80)
            return false;
    return true;
}

// Objects are written children first, so that a container's references are
// known when it is written; the object count, which sets the width of every
// reference, is counted before.
class Writer {
  public:
    Result<std::string> write(const PlistValue& value) {
        const std::uint64_t count = countOf(value);
        if (!sound_)
            return Status::failure(ErrorCode::Unsupported, unsound_);
        refSize_ = widthFor(count - 1);
        out_ = "bplist00";
        offsets_.reserve(count);
        const std::uint64_t top = add(value);
        if (!sound_)
            return Status::failure(ErrorCode::Unsupported, unsound_);
        const std::uint64_t tableOffset = out_.size();
        const std::size_t offsetSize = widthFor(tableOffset);
        out_.reserve(out_.size() + offsets_.size() * offsetSize + 32);
        for (std::uint64_t offset : offsets_)
            putBe(out_, offset, offsetSize);
        out_.append(6, '\0');
        out_ += static_cast<char>(offsetSize);
        out_ += static_cast<char>(refSize_);
        putBe(out_, offsets_.size(), 8);
        putBe(out_, top, 8);
        putBe(out_, tableOffset, 8);
        return std::move(out_);
    }

  private:
    // The number of objects; a dictionary key that is not UTF-8 makes the
    // value unsound.
    std::uint64_t countOf(const PlistValue& value) {
        if (const std::string* s = value.string())
            return isPlainText(*s) ? 1 : 3;
        if (const PlistStoredStrings* stored = value.stored()) {
            std::uint64_t n = 1;
            if (!stored->forEach([&](std::string_view s) { n += isPlainText(s) ? 1 : 3; }))
                unsound(stored->reason());
            return n;
        }
        if (const Date* d = value.date())
            return isNativeDate(*d) ? 1 : 3;
        if (const PlistArray* a = value.array()) {
            std::uint64_t n = 1;
            for (const PlistValue& item : *a)
                n += countOf(item);
            return n;
        }
        if (const PlistDictionary* d = value.dictionary()) {
            std::uint64_t n = 1;
            for (const auto& [key, item] : *d) {
                if (!isUtf8(key))
                    unsound("a dictionary key is not UTF-8 text");
                n += 1 + countOf(item);
            }
            return n;
        }
        return 1;
    }

    std::uint64_t begin() {
        offsets_.push_back(out_.size());
        return offsets_.size() - 1;
    }

    void marker(unsigned kind, std::uint64_t n) {
        if (n < 0x0F) {
            out_ += static_cast<char>((kind << 4) | n);
            return;
        }
        out_ += static_cast<char>((kind << 4) | 0x0F);
        integer(n);
    }

    // Widths of 1, 2 and 4 bytes are unsigned, 8 bytes signed.
    void integer(std::uint64_t bits) {
        const std::size_t width = static_cast<std::int64_t>(bits) < 0 ? 8 : widthFor(bits);
        out_ += static_cast<char>((kInteger << 4) | std::countr_zero(width));
        putBe(out_, bits, width);
    }

    void unsound(const std::string& why) {
        if (sound_)
            unsound_ = why;
        sound_ = false;
    }

    std::uint64_t addText(std::string_view s) {
        const std::uint64_t index = begin();
        if (isAscii(s)) {
            marker(kAscii, s.size());
            out_ += s;
            return index;
        }
        std::vector<std::uint16_t> units;
        units.reserve(s.size());
        for (std::size_t i = 0; i < s.size();) {
            const auto c = static_cast<unsigned char>(s[i]);
            const std::size_t length = c < 0x80 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4;
            std::uint32_t code = length == 1 ? c : c & (0x7F >> length);
            for (std::size_t k = 1; k < length; ++k)
                code = (code << 6) | (static_cast<unsigned char>(s[i + k]) & 0x3F);
            i += length;
            if (code >= 0x10000) {
                units.push_back(static_cast<std::uint16_t>(0xD800 + ((code - 0x10000) >> 10)));
                units.push_back(static_cast<std::uint16_t>(0xDC00 + ((code - 0x10000) & 0x3FF)));
            } else {
                units.push_back(static_cast<std::uint16_t>(code));
            }
        }
        marker(kUtf16, units.size());
        for (std::uint16_t unit : units)
            putBe(out_, unit, 2);
        return index;
    }

    std::uint64_t addData(std::string_view bytes) {
        const std::uint64_t index = begin();
        marker(kData, bytes.size());
        out_ += bytes;
        return index;
    }

    std::uint64_t addInteger(std::int64_t i) {
        const std::uint64_t index = begin();
        integer(static_cast<std::uint64_t>(i));
        return index;
    }

    // {key: the value at index}, a dictionary of one entry.
    std::uint64_t addWrapper(const char* key, std::uint64_t value) {
        const std::uint64_t keyIndex = addText(key);
        const std::uint64_t index = begin();
        marker(kDictionary, 1);
        putBe(out_, keyIndex, refSize_);
        putBe(out_, value, refSize_);
        return index;
    }

    std::uint64_t addString(std::string_view s) {
        if (isPlainText(s))
            return addText(s);
        return addWrapper(kBytesKey, addData(s));
    }

    std::uint64_t addArray(const std::vector<std::uint64_t>& items) {
        const std::uint64_t index = begin();
        marker(kArray, items.size());
        for (std::uint64_t item : items)
            putBe(out_, item, refSize_);
        return index;
    }

    std::uint64_t add(const PlistValue& value) {
        if (const std::string* s = value.string())
            return addString(*s);
        if (const PlistStoredStrings* stored = value.stored()) {
            // Read again as counted; a file changed in place between the two
            // readings makes the whole encoding a refusal, not a shorter list.
            std::vector<std::uint64_t> items;
            items.reserve(stored->size());
            if (!stored->forEach([&](std::string_view s) { items.push_back(addString(s)); }))
                unsound(stored->reason());
            return addArray(items);
        }
        if (const std::int64_t* i = value.integer())
            return addInteger(*i);
        if (const double* d = value.real()) {
            const std::uint64_t index = begin();
            out_ += static_cast<char>((kReal << 4) | 3);
            putBe(out_, std::bit_cast<std::uint64_t>(*d), 8);
            return index;
        }
        if (const bool* b = value.boolean()) {
            const std::uint64_t index = begin();
            out_ += static_cast<char>(*b ? 0x09 : 0x08);
            return index;
        }
        if (const Date* d = value.date()) {
            if (!isNativeDate(*d))
                return addWrapper(kDateKey, addInteger(d->totalNanoseconds()));
            const std::uint64_t index = begin();
            out_ += static_cast<char>((kDate << 4) | 3);
            const auto since2001 = static_cast<double>(d->seconds - kSeconds1970To2001);
            putBe(out_, std::bit_cast<std::uint64_t>(since2001), 8);
            return index;
        }
        if (const PlistData* data = value.data())
            return addData(data->bytes);
        if (const PlistArray* a = value.array()) {
            std::vector<std::uint64_t> items;
            items.reserve(a->size());
            for (const PlistValue& item : *a)
                items.push_back(add(item));
            return addArray(items);
        }
        if (const PlistDictionary* d = value.dictionary()) {
            std::vector<std::uint64_t> keys, items;
            keys.reserve(d->size());
            items.reserve(d->size());
            for (const auto& [key, item] : *d) {
                keys.push_back(addText(key));
                items.push_back(add(item));
            }
            const std::uint64_t index = begin();
            marker(kDictionary, keys.size());
            for (std::uint64_t key : keys)
                putBe(out_, key, refSize_);
            for (std::uint64_t item : items)
                putBe(out_, item, refSize_);
            return index;
        }
        return addText(std::string()); // an absent value
    }

    std::string out_;
    std::vector<std::uint64_t> offsets_;
    std::size_t refSize_ = 1;
    bool sound_ = true;
    std::string unsound_;
};

} // namespace

Result<PlistValue> decode(std::string_view bytes) {
    return Reader(bytes).read();
}

Result<PlistValue> decode(std::shared_ptr<const MappedFile> file,
                          const std::unordered_set<std::uint64_t>& stringLists) {
    const std::string_view bytes = file->bytes();
    return Reader(bytes, std::move(file), &stringLists).read();
}

Result<std::string> encode(const PlistValue& value) {
    return Writer().write(value);
}

} // namespace slidebox::platform::plist_binary
