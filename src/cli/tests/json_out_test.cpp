// The JSON writer of --json: strings of any bytes give valid JSON.
#include <gtest/gtest.h>

#include <cmath>

#include "cli/json_out.h"

using slidebox::cli::jsonString;
using slidebox::cli::JsonWriter;

TEST(JsonOut, StringsOfAnyBytes) {
    const struct {
        std::string bytes, json;
    } rows[] = {
        {"", R"("")"},
        {"a \"b\" \\c", R"("a \"b\" \\c")"},
        {"\n\t\x01\x7F", R"("\n\t\u0001\u007f")"},
        {"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x8E\x9E",
         "\"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x8E\x9E\""},
        {"caf\xE9", R"("caf\ufffd")"},                         // Latin-1
        {"\x80x", R"("\ufffdx")"},                             // a lone continuation byte
        {"\xC0\x80", R"("\ufffd\ufffd")"},                     // an overlong NUL
        {"\xED\xA0\x80", R"("\ufffd\ufffd\ufffd")"},           // a surrogate
        {"\xE2\x82", R"("\ufffd\ufffd")"},                     // cut short at the end
        {"\xF4\x90\x80\x80", R"("\ufffd\ufffd\ufffd\ufffd")"}, // beyond U+10FFFF
        {std::string("a\0b", 3), R"("a\u0000b")"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(jsonString(row.bytes), row.json) << row.json;
}

TEST(JsonOut, NestingCommasAndNumbers) {
    JsonWriter out;
    out.beginObject().key("a").numbers({1.5, NAN, -INFINITY, 1e-7});
    out.key("b").beginArray().beginObject().endObject().value(true).null().value(42).endArray();
    out.key("c").value("x").endObject();
    EXPECT_EQ(out.text(), R"({"a":[1.5,null,null,1e-07],"b":[{},true,null,42],"c":"x"})");
}
