#include "platform/plist_value.h"

#include <cmath>
#include <limits>

namespace slidebox::platform {

PlistStoredStrings::~PlistStoredStrings() = default;

const PlistArray& PlistStoredStrings::items() const {
    std::call_once(once_, [this] {
        PlistArray items;
        items.reserve(size());
        if (forEach([&](std::string_view s) { items.emplace_back(std::string(s)); }))
            items_ = std::move(items);
    });
    return items_;
}

const PlistArray* PlistValue::array() const {
    if (const Stored* s = std::get_if<Stored>(&v_))
        return &(*s)->items();
    return std::get_if<PlistArray>(&v_);
}

bool operator==(const PlistValue& a, const PlistValue& b) {
    if (a.isNull())
        return false;
    const PlistStoredStrings *sa = a.stored(), *sb = b.stored();
    if (!sa && !sb)
        return a.v_ == b.v_;
    if (sa == sb)
        return true;
    const PlistArray *aa = a.array(), *ab = b.array();
    return aa && ab && *aa == *ab;
}

int PlistValue::intValue() const {
    if (auto i = integer())
        return static_cast<int>(*i);
    if (auto d = real()) {
        // Out-of-range and NaN reals would be undefined in a plain cast.
        if (!(std::fabs(*d) < 2147483648.0))
            return std::isnan(*d) ? 0
                                  : (*d > 0 ? std::numeric_limits<int>::max()
                                            : std::numeric_limits<int>::min());
        return static_cast<int>(*d);
    }
    if (auto b = boolean())
        return *b ? 1 : 0;
    return 0;
}

const PlistValue& PlistValue::operator[](const std::string& key) const {
    static const PlistValue absent;
    if (auto d = dictionary()) {
        auto it = d->find(key);
        if (it != d->end())
            return it->second;
    }
    return absent;
}

} // namespace slidebox::platform
