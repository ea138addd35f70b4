#pragma once

// What the rest of a test stands on: a null pointer, an empty optional or a
// failed result ends the test as failed, saying what was missing, in place
// of a guard line after each step.

#include <stdexcept>
#include <string>

namespace slidebox::testing {

template <typename T> T present(T value, const std::string& what = "a value") {
    if (!value)
        throw std::runtime_error(what + " is missing");
    return value;
}

} // namespace slidebox::testing
