#pragma once

// A small JSON writer for the commands' --json output: one value per run,
// built in memory and printed once, so that a failing command prints none.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace slidebox::cli {

/// A JSON string of bytes, quotes included. Valid UTF-8 passes through
/// (control characters, quote and backslash escaped); each byte that is not
/// part of valid UTF-8 becomes U+FFFD, so that paths of any bytes still give
/// valid JSON.
std::string jsonString(std::string_view bytes);

/// Writes one JSON value. Keys and values are appended in order; commas are
/// placed by the writer. Misuse (a value without its key in an object) is
/// the caller's bug and isn't checked.
class JsonWriter {
  public:
    JsonWriter& beginObject();
    JsonWriter& endObject();
    JsonWriter& beginArray();
    JsonWriter& endArray();
    /// The key of the next value in an object.
    JsonWriter& key(std::string_view name);
    JsonWriter& value(std::string_view bytes);
    JsonWriter& value(const char* bytes) { return value(std::string_view(bytes)); }
    /// A finite number with nine significant digits; null for NaN or infinity.
    JsonWriter& value(double number);
    JsonWriter& value(std::int64_t number);
    JsonWriter& value(int number) { return value(static_cast<std::int64_t>(number)); }
    JsonWriter& value(unsigned number) { return value(static_cast<std::int64_t>(number)); }
    JsonWriter& value(bool flag);
    JsonWriter& null();
    /// An array of numbers.
    JsonWriter& numbers(const std::vector<double>& values);

    /// The text written so far.
    const std::string& text() const { return text_; }

  private:
    void separate();
    JsonWriter& raw(std::string_view text);

    std::string text_;
    std::vector<bool> first_; ///< per open container: no element written yet
    bool afterKey_ = false;
};

} // namespace slidebox::cli
