#include "cli/json_out.h"

#include <cmath>
#include <cstdio>

namespace slidebox::cli {

namespace {

/// Length of the valid UTF-8 sequence at bytes[at], or 0 when none starts there.
std::size_t utf8Length(std::string_view bytes, std::size_t at) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    const unsigned char lead = byte(at);
    std::size_t length;
    unsigned minimum;
    if (lead < 0x80)
        return 1;
    if (lead >= 0xC2 && lead <= 0xDF)
        length = 2, minimum = 0x80;
    else if (lead >= 0xE0 && lead <= 0xEF)
        length = 3, minimum = 0x800;
    else if (lead >= 0xF0 && lead <= 0xF4)
        length = 4, minimum = 0x10000;
    else
        return 0;
    if (at + length > bytes.size())
        return 0;
    unsigned code = lead & (0x7F >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80)
            return 0;
        code = (code << 6) | (byte(at + i) & 0x3F);
    }
    // Overlong forms, surrogates and code points beyond Unicode aren't UTF-8.
    if (code < minimum || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF)
        return 0;
    return length;
}

} // namespace

std::string jsonString(std::string_view bytes) {
    std::string out = "\"";
    for (std::size_t i = 0; i < bytes.size();) {
        const std::size_t length = utf8Length(bytes, i);
        if (length == 0) {
            out += "\\ufffd";
            ++i;
            continue;
        }
        const char c = bytes[i];
        if (length > 1) {
            out.append(bytes.substr(i, length));
        } else if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned char>(c));
            out += escape;
        } else {
            out += c;
        }
        i += length;
    }
    return out + "\"";
}

void JsonWriter::separate() {
    if (afterKey_) {
        afterKey_ = false;
        return;
    }
    if (!first_.empty()) {
        if (!first_.back())
            text_ += ',';
        first_.back() = false;
    }
}

JsonWriter& JsonWriter::raw(std::string_view text) {
    separate();
    text_ += text;
    return *this;
}

JsonWriter& JsonWriter::beginObject() {
    raw("{");
    first_.push_back(true);
    return *this;
}

JsonWriter& JsonWriter::endObject() {
    first_.pop_back();
    text_ += '}';
    return *this;
}

JsonWriter& JsonWriter::beginArray() {
    raw("[");
    first_.push_back(true);
    return *this;
}

JsonWriter& JsonWriter::endArray() {
    first_.pop_back();
    text_ += ']';
    return *this;
}

JsonWriter& JsonWriter::key(std::string_view name) {
    raw(jsonString(name) + ":");
    afterKey_ = true;
    return *this;
}

JsonWriter& JsonWriter::value(std::string_view bytes) {
    return raw(jsonString(bytes));
}

JsonWriter& JsonWriter::value(double number) {
    if (!std::isfinite(number))
        return null();
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", number);
    return raw(text);
}

JsonWriter& JsonWriter::value(std::int64_t number) {
    return raw(std::to_string(number));
}

JsonWriter& JsonWriter::value(bool flag) {
    return raw(flag ? "true" : "false");
}

JsonWriter& JsonWriter::null() {
    return raw("null");
}

JsonWriter& JsonWriter::numbers(const std::vector<double>& values) {
    beginArray();
    for (double v : values)
        value(v);
    return endArray();
}

} // namespace slidebox::cli
