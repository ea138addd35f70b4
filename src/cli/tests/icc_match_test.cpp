// slidebox-cli icc match where the printed reals are known within a
// tolerance; the exact outputs and the refusals are in golden/icc_match.txt.
#include <gtest/gtest.h>

#include "cli/tests/cli_runner.h"
#include "tests/known_value.h"

using namespace slidebox::testing;

namespace {

constexpr double kWhiteTol = 0.01; // a white point through a profile, on its scale

class CliIccMatch : public ::testing::Test {
  protected:
    void SetUp() override {
        if (auto missing = firstMissing({kSRGB, kCMYK}); !missing.empty())
            GTEST_SKIP() << missing << " missing: run tools/setup.sh";
    }
    std::vector<std::string> match(const std::vector<std::string>& args) {
        auto r = runAt(home_, {"icc", "match"}, args);
        EXPECT_EQ(r.status, 0) << r.err;
        return lines(r.out);
    }
    TempDir home_;
};

} // namespace

TEST_F(CliIccMatch, ColoursGoThroughOneOrTwoIntents) {
    // No destination: device to the connection space, XYZ with Y 0..100.
    auto out = match({"--src", kSRGB, "65535", "65535", "65535"});
    ASSERT_EQ(out.size(), 2u);
    EXPECT_TRUE(knownValues({96.42, 100.0, 82.49}, kWhiteTol, numbers(out[1])));

    // Three colours, commas standing alone or stuck to a field.
    out = match({"--src", kSRGB, "--dst", "lab", "65535", "65535", "65535,", "0", "0", "0", ",",
                 "65535", "0", "0"});
    ASSERT_EQ(out.size(), 6u);
    EXPECT_KNOWN(100.0, kWhiteTol, numbers(out[1]).at(0));
    EXPECT_KNOWN(0.0, kWhiteTol, numbers(out[3]).at(0));

    // Absolute onto paper, through the generic Lab profile, keeps a trace of
    // the paper's tint where the perceptual (golden/icc_match.txt) uses no ink.
    out = match({"--src", "lab", "--dst", kCMYK, "--intent", "0", "--intent-out", "3", "65535",
                 "32768", "32768"});
    ASSERT_EQ(out.size(), 2u);
    EXPECT_GT(numbers(out[0]).at(0), 0.0);
}
