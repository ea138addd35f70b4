#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/tests/cli_runner.h"

using slidebox::testing::numbers;
using slidebox::testing::runCli;
using ::testing::HasSubstr;

namespace {
constexpr double kFloatTol = 1e-5;      // single-precision rounding
constexpr double kThreeDecimals = 5e-4; // values known to three decimals
constexpr double kFourDigits = 5e-5;    // values known to four significant digits

using Args = std::vector<std::string>;

std::string run(const Args& args) {
    auto r = runCli(args);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(r.err.empty()) << r.err;
    return r.out;
}

std::string joined(const Args& args) {
    std::string text;
    for (const auto& a : args)
        text += a + " ";
    return text;
}
} // namespace

TEST(CliColor, ExactOutputs) {
    const std::pair<Args, const char*> cases[] = {
        {{"color", "xyz2lab", "96.42", "100", "82.49"}, "100 0 0\n"},
        // The white's X and Z are the single-precision 96.42 and 82.49.
        {{"color", "lab2xyz", "100", "0", "0"}, "96.4199982 100 82.4899979 1\n"},
        // The last word of lab2xyz says whether the colour was clamped.
        {{"color", "lab2xyz", "0", "0", "100"}, "0 0 0 0\n"},
        {{"color", "deltae", "50", "0", "0", "50", "10", "0"}, "10\n"},
        {{"color", "encode-lab", "50", "0", "0"}, "32767 32768 32768\n"},
        {{"color", "encode-lab", "120", "200", "-200"}, "65535 65535 0\n"},
        {{"color", "decode-lab", "0", "0", "0"}, "0 -128 -128\n"},
        {{"color", "decode-lab", "65535", "65535", "65535"}, "100 127.996002 127.996002\n"},
    };
    for (const auto& [args, expected] : cases)
        EXPECT_EQ(run(args), expected) << joined(args);
}

TEST(CliColor, KnownValuesWithinTheirTolerances) {
    // Each value with its own tolerance; 0: exact.
    const struct {
        Args args;
        std::vector<double> expected, tolerance;
    } cases[] = {
        {{"color", "lab2xyz", "5", "0", "0"},
         {0.5337, 0.5535, 0.4566, 1},
         {kFourDigits, kFourDigits, kFourDigits, 0}},
        {{"color", "xyz2lab", "30", "40", "20"},
         {69.470, -29.594, 22.650},
         {kThreeDecimals, kThreeDecimals, kThreeDecimals}},
        {{"color", "lab2lch", "50", "-1", "-1"}, {50, 1.41421356, 225}, {0, kFloatTol, kFloatTol}},
        // b inside the band round 0: hue 180.
        {{"color", "lab2lch", "50", "-1", "0.05"}, {50, 1.00124922, 180}, {0, kFloatTol, 0}},
        {{"color", "lch2lab", "60", "10", "225"},
         {60, -7.0710678, -7.0710678},
         {0, kFloatTol, kFloatTol}},
        {{"color", "deltae", "50", "0", "0", "50", "10", "0", "--cie94"}, {10.0 / 0.6}, {1e-4}},
        {{"color", "deltae", "--cie94", "50", "20", "30", "55", "25", "20"},
         {12.828},
         {kThreeDecimals}},
        {{"color", "deltae", "50", "20", "30", "55", "25", "20"}, {12.247}, {kThreeDecimals}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(joined(c.args));
        auto v = numbers(run(c.args));
        ASSERT_EQ(v.size(), c.expected.size());
        for (std::size_t i = 0; i < v.size(); ++i)
            EXPECT_NEAR(v[i], c.expected[i], c.tolerance[i]) << i;
    }
}

TEST(CliColor, WrongUsageIsStatus2WithAMessage) {
    const std::vector<Args> bad = {
        {"color"},
        {"color", "frobnicate"},
        {"color", "xyz2lab", "1", "2"},
        {"color", "xyz2lab", "1", "2", "3", "4"},
        {"color", "lab2xyz", "1", "2", "x"},
        {"color", "lab2lch", "1", "2", "3e99"},
        {"color", "deltae", "1", "2", "3", "4", "5"},
        {"color", "deltae", "1", "2", "3", "4", "5", "6", "--cie76"},
        {"color", "decode-lab", "65536", "0", "0"},
        {"color", "decode-lab", "-1", "0", "0"},
        {"color", "decode-lab", "1.5", "0", "0"},
        {"color", "encode-lab", "", "0", "0"},
    };
    for (const auto& args : bad) {
        auto r = runCli(args);
        EXPECT_EQ(r.status, 2) << joined(args);
        EXPECT_TRUE(r.out.empty()) << joined(args);
        EXPECT_THAT(r.err, HasSubstr("slidebox-cli: ")) << joined(args);
    }
}
