#pragma once

// A property list of every type, with the values that are hard to keep:
// raw bytes in a string, nanoseconds, a date before 1970, bytes of data.

#include "platform/plist_file.h"

namespace slidebox::platform::testing {

inline PlistValue everyType() {
    return PlistDictionary{
        {"string", "caf\xe9 <&> \xc3\xa9"}, // not UTF-8, and markup characters
        {"negative", -1},
        {"big", std::int64_t{1} << 40},
        {"real", 0.1},
        {"true", true},
        {"false", false},
        {"date", Date{1700000000, 123456789}},
        {"whole date", Date{1700000000, 0}},
        {"old date", Date{-1000, 1}},
        {"data", PlistData{std::string("\0\x01\xff", 3)}},
        {"array", PlistArray{1, "two", PlistArray{}}},
        {"dict", PlistDictionary{{"inner", 2.5}}},
    };
}

} // namespace slidebox::platform::testing
