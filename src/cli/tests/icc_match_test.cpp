#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/tests/cli_runner.h"

using ::testing::HasSubstr;
using namespace slidebox::testing;

namespace {

constexpr double kWhiteTol = 0.01;     // a white point through a profile, on its scale
constexpr double kPublishedTol = 0.05; // published Lab values, given to two decimals

void expectNear(const std::string& line, const std::vector<double>& expected, double tolerance) {
    SCOPED_TRACE(line);
    auto v = numbers(line);
    ASSERT_EQ(v.size(), expected.size());
    for (std::size_t i = 0; i < v.size(); ++i)
        EXPECT_NEAR(v[i], expected[i], tolerance) << i;
}

// Each test has a home of its own, where the generic Lab profile is made.
class CliIccMatch : public ::testing::Test {
  protected:
    void SetUp() override {
        if (auto missing = firstMissing({kSRGB, kCMYK, kGray, kNamed}); !missing.empty())
            GTEST_SKIP() << missing << " missing: run tools/setup.sh";
    }
    CliRun match(const std::vector<std::string>& args) {
        return runAt(home_, {"icc", "match"}, args);
    }
    TempDir home_;
};

} // namespace

TEST_F(CliIccMatch, LabThroughTheGenericLabProfileIsUnchanged) {
    auto r = match({"--src", "lab", "--dst", "lab", "32767", "32768", "32768"});
    EXPECT_EQ(r.status, 0) << r.err;
    // Field 32767 reads as 32767 * 100 / 65535, a neutral a or b as just below 0.
    EXPECT_EQ(r.out, "32767 32768 32768\n49.9992371 -4.68757135e-05 -4.68757135e-05\n");
    EXPECT_TRUE(std::filesystem::exists(home_ / "share" / "slidebox" / "icc"));
}

TEST_F(CliIccMatch, RGBIntoLabAndIntoTheConnectionSpace) {
    // sRGB red in D50 Lab is published as 54.29, 80.81, 69.89.
    auto r = match({"--src", kSRGB, "--dst", "lab", "--intent", "1", "65535", "0", "0"});
    ASSERT_EQ(r.status, 0) << r.err;
    auto out = lines(r.out);
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(numbers(out[0]).size(), 3u);
    expectNear(out[1], {54.29, 80.81, 69.89}, kPublishedTol);

    // No destination: one profile, device to PCS. White is the D50 white.
    r = match({"--src", kSRGB, "65535", "65535", "65535"});
    ASSERT_EQ(r.status, 0) << r.err;
    out = lines(r.out);
    ASSERT_EQ(out.size(), 2u);
    expectNear(out[1], {96.42, 100.0, 82.49}, kWhiteTol);
}

TEST_F(CliIccMatch, GrayIsOneFieldOnTheUnitScale) {
    auto r = match({"--src", "lab", "--dst", kGray, "65535", "32768", "32768"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "65535\n1\n");
    r = match({"--src", kGray, "--dst", "lab", "65535"});
    ASSERT_EQ(r.status, 0) << r.err;
    auto lab = numbers(lines(r.out).at(1));
    ASSERT_EQ(lab.size(), 3u);
    EXPECT_NEAR(lab[0], 100.0, kWhiteTol);
}

TEST_F(CliIccMatch, TwoIntentsAndSeveralColours) {
    // Lab white onto paper: perceptual uses no ink (fields, then percent);
    // absolute, reached through the generic Lab profile, keeps a trace of
    // the paper's tint.
    auto perceptual =
        match({"--src", "lab", "--dst", kCMYK, "--intent", "0", "65535", "32768", "32768"});
    ASSERT_EQ(perceptual.status, 0) << perceptual.err;
    EXPECT_EQ(perceptual.out, "0 0 0 0\n0 0 0 0\n");

    auto absolute = match({"--src", "lab", "--dst", kCMYK, "--intent", "0", "--intent-out", "3",
                           "65535", "32768", "32768"});
    ASSERT_EQ(absolute.status, 0) << absolute.err;
    auto fields = numbers(lines(absolute.out).at(0));
    ASSERT_EQ(fields.size(), 4u);
    EXPECT_GT(fields[0], 0.0);

    // Three colours, commas standing alone or stuck to a field.
    auto r = match({"--src", kSRGB, "--dst", "lab", "65535", "65535", "65535,", "0", "0", "0", ",",
                    "65535", "0", "0"});
    ASSERT_EQ(r.status, 0) << r.err;
    auto out = lines(r.out);
    ASSERT_EQ(out.size(), 6u);
    EXPECT_NEAR(numbers(out[1])[0], 100.0, kWhiteTol);
    EXPECT_NEAR(numbers(out[3])[0], 0.0, kWhiteTol);
    EXPECT_NEAR(numbers(out[5])[0], 54.29, kPublishedTol);
}

TEST_F(CliIccMatch, UnusableProfilesAreStatus1AndWrongUsageStatus2) {
    writeFile(home_ / "broken.icc", std::string(300, '\0'));
    const std::vector<std::vector<std::string>> refused = {
        {"--src", (home_ / "missing.icc").string(), "1", "2", "3"},
        {"--src", (home_ / "broken.icc").string(), "1", "2", "3"},
        {"--src", "lab", "--dst", (home_ / "broken.icc").string(), "1", "2", "3"},
        {"--src", "lab", "--dst", kNamed, "1", "2", "3"}, // the engine has no colour record for it
    };
    for (const auto& args : refused) {
        auto r = match(args);
        EXPECT_EQ(r.status, 1) << args[1];
        EXPECT_TRUE(r.out.empty()) << args[1];
        EXPECT_THAT(r.err, HasSubstr("slidebox-cli: icc match: "));
    }
    const std::vector<std::vector<std::string>> bad = {
        {"1", "2", "3"},            // no --src
        {"--src", "lab"},           // no colour
        {"--src", "lab", "1", "2"}, // Lab takes three fields
        {"--src", "lab", "1", "2", "3", "4"},
        {"--src", "lab", "1", "2", "3", ",", ",", "4", "5", "6"},
        {"--src", "lab", "1", "2", "3", ","},
        {"--src", "lab", "1", "2", "65536"},
        {"--src", "lab", "1", "2", "-3"},
        {"--src", "lab", "--intent", "4", "1", "2", "3"},
        {"--src", "lab", "--intent-out", "x", "1", "2", "3"},
        {"--src", "lab", "--bogus", "1", "2", "3"},
        {"--src"},
    };
    for (const auto& args : bad) {
        auto r = match(args);
        EXPECT_EQ(r.status, 2) << ::testing::PrintToString(args);
        EXPECT_TRUE(r.out.empty()) << ::testing::PrintToString(args);
    }
}
