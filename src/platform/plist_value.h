#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
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

/// An array of strings still in the file it was read from. The settings
/// hold every library's image paths, and a start reads only those of the
/// library on show: the rest stay encoded until they are asked for.
/// Immutable; safe to read from several threads.
class PlistStoredStrings {
  public:
    virtual ~PlistStoredStrings();
    /// How many items there are; known without reading them. Each is a
    /// string unless the file was written by another program.
    virtual std::size_t size() const = 0;
    /// Gives each string's bytes in order; an item that is no string is left
    /// out. False when they can't be read (reason() says why): the file was
    /// changed in place since it was read, or its strings would make far
    /// more bytes than the file holds.
    virtual bool forEach(const std::function<void(std::string_view)>& visit) const = 0;
    virtual std::string reason() const = 0;
    /// The strings as values, read at the first call and kept; empty when
    /// forEach fails.
    const PlistArray& items() const;

  private:
    mutable std::once_flag once_;
    mutable PlistArray items_;
};

/// One property-list value: string, integer, real, boolean, date, data,
/// array or dictionary. Strings are byte strings (paths need not be UTF-8).
/// A default-constructed value is "absent" and compares unequal to any other.
/// An array may be held as stored strings (PlistStoredStrings): it reads and
/// compares as the array it stands for.
class PlistValue {
  public:
    using Stored = std::shared_ptr<const PlistStoredStrings>;
    using Storage = std::variant<std::monostate, std::string, std::int64_t, double, bool, Date,
                                 PlistData, PlistArray, PlistDictionary, Stored>;

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
    PlistValue(Stored s) : v_(std::move(s)) {}

    bool isNull() const { return std::holds_alternative<std::monostate>(v_); }

    /// Typed access: nullptr when the value holds another type.
    const std::string* string() const { return std::get_if<std::string>(&v_); }
    const std::int64_t* integer() const { return std::get_if<std::int64_t>(&v_); }
    const double* real() const { return std::get_if<double>(&v_); }
    const bool* boolean() const { return std::get_if<bool>(&v_); }
    const Date* date() const { return std::get_if<Date>(&v_); }
    const PlistData* data() const { return std::get_if<PlistData>(&v_); }
    /// An array, stored strings read here at the first call (stored() reads none).
    const PlistArray* array() const;
    /// The stored strings the value holds, nullptr when it holds anything else.
    const PlistStoredStrings* stored() const {
        const Stored* s = std::get_if<Stored>(&v_);
        return s ? s->get() : nullptr;
    }
    const PlistDictionary* dictionary() const { return std::get_if<PlistDictionary>(&v_); }
    /// A dictionary to change in place; nullptr when the value holds another type.
    PlistDictionary* dictionary() { return std::get_if<PlistDictionary>(&v_); }

    /// The number as an int, like a number object's intValue: integers and
    /// reals truncated, booleans 0/1, and 0 for anything else or absence.
    int intValue() const;

    /// A dictionary's entry, or an absent value.
    const PlistValue& operator[](const std::string& key) const;

    const Storage& storage() const { return v_; }
    /// Stored strings equal the array they stand for; the same stored
    /// strings are equal without being read.
    friend bool operator==(const PlistValue& a, const PlistValue& b);

  private:
    Storage v_;
};

} // namespace slidebox::platform
