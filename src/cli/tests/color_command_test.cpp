#include <gtest/gtest.h>

#include <sstream>

#include "cli/tests/cli_runner.h"

using slidebox::testing::runCli;

namespace {
constexpr double kFloatTol = 1e-5;      // single-precision rounding
constexpr double kThreeDecimals = 5e-4; // values known to three decimals

// The reals of one output line.
std::vector<double> numbers(const std::string& line) {
    std::istringstream in(line);
    std::vector<double> values;
    double v;
    while (in >> v)
        values.push_back(v);
    return values;
}

std::string run(const std::vector<std::string>& args) {
    auto r = runCli(args);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(r.err.empty()) << r.err;
    return r.out;
}
} // namespace

TEST(CliColor, XyzAndLabOfTheWhiteAreExact) {
    EXPECT_EQ(run({"color", "xyz2lab", "96.42", "100", "82.49"}), "100 0 0\n");
    // The white's X and Z are the single-precision 96.42 and 82.49.
    EXPECT_EQ(run({"color", "lab2xyz", "100", "0", "0"}), "96.4199982 100 82.4899979 1\n");
}

TEST(CliColor, LabToXyzReportsTheClampInItsLastWord) {
    EXPECT_EQ(run({"color", "lab2xyz", "0", "0", "100"}), "0 0 0 0\n");
    auto v = numbers(run({"color", "lab2xyz", "5", "0", "0"}));
    ASSERT_EQ(v.size(), 4u);
    EXPECT_NEAR(v[0], 0.5337, 5e-5);
    EXPECT_NEAR(v[1], 0.5535, 5e-5);
    EXPECT_NEAR(v[2], 0.4566, 5e-5);
    EXPECT_EQ(v[3], 1.0);

    v = numbers(run({"color", "xyz2lab", "30", "40", "20"}));
    ASSERT_EQ(v.size(), 3u);
    EXPECT_NEAR(v[0], 69.470, kThreeDecimals);
    EXPECT_NEAR(v[1], -29.594, kThreeDecimals);
    EXPECT_NEAR(v[2], 22.650, kThreeDecimals);
}

TEST(CliColor, LchBothWays) {
    auto v = numbers(run({"color", "lab2lch", "50", "-1", "-1"}));
    ASSERT_EQ(v.size(), 3u);
    EXPECT_EQ(v[0], 50.0);
    EXPECT_NEAR(v[1], 1.41421356, kFloatTol);
    EXPECT_NEAR(v[2], 225.0, kFloatTol);
    v = numbers(run({"color", "lab2lch", "50", "-1", "0.05"})); // b inside the band: hue 180
    ASSERT_EQ(v.size(), 3u);
    EXPECT_NEAR(v[1], 1.00124922, kFloatTol);
    EXPECT_EQ(v[2], 180.0);

    v = numbers(run({"color", "lch2lab", "60", "10", "225"}));
    ASSERT_EQ(v.size(), 3u);
    EXPECT_EQ(v[0], 60.0);
    EXPECT_NEAR(v[1], -7.0710678, kFloatTol);
    EXPECT_NEAR(v[2], -7.0710678, kFloatTol);
}

TEST(CliColor, DeltaEBothMeasures) {
    EXPECT_EQ(run({"color", "deltae", "50", "0", "0", "50", "10", "0"}), "10\n");
    auto v = numbers(run({"color", "deltae", "50", "0", "0", "50", "10", "0", "--cie94"}));
    ASSERT_EQ(v.size(), 1u);
    EXPECT_NEAR(v[0], 10.0 / 0.6, 1e-4);
    v = numbers(run({"color", "deltae", "--cie94", "50", "20", "30", "55", "25", "20"}));
    ASSERT_EQ(v.size(), 1u);
    EXPECT_NEAR(v[0], 12.828, kThreeDecimals);
    v = numbers(run({"color", "deltae", "50", "20", "30", "55", "25", "20"}));
    ASSERT_EQ(v.size(), 1u);
    EXPECT_NEAR(v[0], 12.247, kThreeDecimals);
}

TEST(CliColor, LabFieldsBothWays) {
    EXPECT_EQ(run({"color", "encode-lab", "50", "0", "0"}), "32767 32768 32768\n");
    EXPECT_EQ(run({"color", "encode-lab", "120", "200", "-200"}), "65535 65535 0\n");
    EXPECT_EQ(run({"color", "decode-lab", "0", "0", "0"}), "0 -128 -128\n");
    EXPECT_EQ(run({"color", "decode-lab", "65535", "65535", "65535"}),
              "100 127.996002 127.996002\n");
}

TEST(CliColor, WrongUsageIsStatus2WithAMessage) {
    const std::vector<std::vector<std::string>> bad = {
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
        EXPECT_EQ(r.status, 2) << args.back();
        EXPECT_TRUE(r.out.empty()) << args.back();
        EXPECT_NE(r.err.find("slidebox-cli: "), std::string::npos) << args.back();
    }
}
