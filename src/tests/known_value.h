#pragma once

// Known values and their tolerances: each check names the value it expects
// and how far off it may be, and a failure prints both with what came.

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <sstream>
#include <vector>

namespace slidebox::testing {

/// Named tolerances, so that a number in a check says where it comes from.
namespace tolerance {
inline constexpr double kExact = 0.0;
inline constexpr double kFloat = 1e-5;         ///< single-precision rounding of values near 1..100
inline constexpr double kThreeDecimals = 5e-4; ///< values published to three decimals
inline constexpr double kTwoDecimals = 5e-3;   ///< values published to two decimals
inline constexpr double kFourDecimals = 5e-5;  ///< values published to four decimals
inline constexpr double kLabStep = 100.0 / 65535; ///< one 16-bit field on the L and percent scales
} // namespace tolerance

/// Passes when actual lies within tolerance of expected (NaN only matches
/// NaN); otherwise says "expected X within T, got Y".
inline ::testing::AssertionResult knownValue(double expected, double tol, double actual) {
    if ((std::isnan(expected) && std::isnan(actual)) || std::fabs(actual - expected) <= tol)
        return ::testing::AssertionSuccess();
    std::ostringstream text;
    text.precision(10);
    text << "expected " << expected << " within " << tol << ", got " << actual;
    return ::testing::AssertionFailure() << text.str();
}

/// The same for a row of values, one tolerance for all.
inline ::testing::AssertionResult knownValues(const std::vector<double>& expected, double tol,
                                              const std::vector<double>& actual) {
    if (expected.size() != actual.size())
        return ::testing::AssertionFailure()
               << "expected " << expected.size() << " values, got " << actual.size();
    for (std::size_t i = 0; i < expected.size(); ++i)
        if (auto r = knownValue(expected[i], tol, actual[i]); !r)
            return r << " (value " << i << ")";
    return ::testing::AssertionSuccess();
}

} // namespace slidebox::testing

#define EXPECT_KNOWN(expected, tol, actual)                                                        \
    EXPECT_TRUE(::slidebox::testing::knownValue((expected), (tol), (actual)))
#define EXPECT_KNOWN3(e0, e1, e2, tol, a0, a1, a2)                                                 \
    EXPECT_TRUE(::slidebox::testing::knownValues({double(e0), double(e1), double(e2)}, (tol),      \
                                                 {double(a0), double(a1), double(a2)}))
