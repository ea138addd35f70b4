#include "platform/plist_value.h"

#include <cmath>
#include <limits>

namespace slidebox::platform {

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
