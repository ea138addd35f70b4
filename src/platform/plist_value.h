#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/date.h"

namespace slidebox::platform {

class PlistValue;
using PlistArray = std::vector<PlistValue>;
using PlistDictionary = std::map<std::string, PlistValue>;

/// Raw bytes of a property list's data element.
struct PlistData {
    std::string bytes;
    friend bool operator==(const PlistData&, const PlistData&) = default;
};

/// One property-list value: string, integer, real, boolean, date, data,
/// array or dictionary. Strings are byte strings (paths need not be UTF-8).
/// A default-constructed value is "absent" and compares unequal to any other.
class PlistValue {
  public:
    using Storage = std::variant<std::monostate, std::string, std::int64_t, double, bool, Date,
                                 PlistData, PlistArray, PlistDictionary>;

    PlistValue() = default;
    PlistValue(std::string s) : v_(std::move(s)) {}
    PlistValue(const char* s) : v_(std::string(s)) {}
    PlistValue(std::int64_t i) : v_(i) {}
    PlistValue(int i) : v_(static_cast<std::int64_t>(i)) {}
    PlistValue(double d) : v_(d) {}
    PlistValue(bool b) : v_(b) {}
    PlistValue(Date d) : v_(d) {}
    PlistValue(PlistData d) : v_(std::move(d)) {}
    PlistValue(PlistArray a) : v_(std::move(a)) {}
    PlistValue(PlistDictionary d) : v_(std::move(d)) {}

    bool isNull() const { return std::holds_alternative<std::monostate>(v_); }

    /// Typed access: nullptr when the value holds another type.
    const std::string* string() const { return std::get_if<std::string>(&v_); }
    const std::int64_t* integer() const { return std::get_if<std::int64_t>(&v_); }
    const double* real() const { return std::get_if<double>(&v_); }
    const bool* boolean() const { return std::get_if<bool>(&v_); }
    const Date* date() const { return std::get_if<Date>(&v_); }
    const PlistData* data() const { return std::get_if<PlistData>(&v_); }
    const PlistArray* array() const { return std::get_if<PlistArray>(&v_); }
    const PlistDictionary* dictionary() const { return std::get_if<PlistDictionary>(&v_); }
    /// A dictionary to change in place; nullptr when the value holds another type.
    PlistDictionary* dictionary() { return std::get_if<PlistDictionary>(&v_); }

    /// The number as an int, like a number object's intValue: integers and
    /// reals truncated, booleans 0/1, and 0 for anything else or absence.
    int intValue() const;

    /// A dictionary's entry, or an absent value.
    const PlistValue& operator[](const std::string& key) const;

    const Storage& storage() const { return v_; }
    friend bool operator==(const PlistValue& a, const PlistValue& b) {
        return !a.isNull() && a.v_ == b.v_;
    }

  private:
    Storage v_;
};

} // namespace slidebox::platform
