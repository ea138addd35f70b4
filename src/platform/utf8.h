#pragma once

// Code points written as UTF-8, for text that arrives as UTF-16 or UTF-32
// (property lists, profile descriptions).

#include <cstdint>
#include <string>

namespace slidebox::platform {

/// Appends the UTF-8 bytes of one code point; a surrogate or a value past
/// U+10FFFF, which no text holds, becomes U+FFFD.
inline void appendUtf8(std::string& out, std::uint32_t code) {
    if ((code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF)
        code = 0xFFFD;
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (code >> 18));
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

} // namespace slidebox::platform
