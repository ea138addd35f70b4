#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/tests/cli_runner.h"

using ::testing::HasSubstr;
using namespace slidebox::testing;

namespace {

constexpr double kQuotientTol = 1e-5; // 100 / K printed with nine digits

// Each test has a home of its own, where the generic Lab profile is made.
class CliIccGrade : public ::testing::Test {
  protected:
    void SetUp() override {
        if (auto missing = firstMissing({kCMYK, kSRGB}); !missing.empty())
            GTEST_SKIP() << missing << " missing: run tools/setup.sh";
    }
    CliRun grade(const std::vector<std::string>& args) {
        return runAt(home_, {"icc", "grade"}, args);
    }
    TempDir home_;
};

TEST_F(CliIccGrade, WrongUsage) {
    for (const auto& args :
         std::vector<std::vector<std::string>>{{kCMYK},
                                               {kCMYK, "--gamut", "--bijectivity"},
                                               {kCMYK, "--gamut", "--absolute", "--perceptual"},
                                               {"--gamut"},
                                               {kCMYK, kSRGB, "--gamut"},
                                               {kCMYK, "--gamut", "--tolerance", "two"},
                                               {kCMYK, "--gamut", "--tolerance"},
                                               {kCMYK, "--gamut", "--speed", "nan"},
                                               {kCMYK, "--gamut", "--fast"}}) {
        CliRun run = grade(args);
        EXPECT_EQ(run.status, 2) << args.back();
        EXPECT_TRUE(run.out.empty());
        EXPECT_THAT(run.err, HasSubstr("icc grade: "));
    }
}

TEST_F(CliIccGrade, GamutOfAPrinterProfile) {
    CliRun run = grade({kCMYK, "--gamut", "--absolute", "--tolerance", "1"});
    ASSERT_EQ(run.status, 0) << run.err;
    auto f = fields(run.out);
    EXPECT_EQ(f["test"], "gamut");
    EXPECT_EQ(f["mode"], "absolute");
    EXPECT_EQ(f["speed-calculation"], "100") << "the setting starts at 100";
    EXPECT_EQ(f["tolerance"], "1");
    const double share = std::stod(f["in-gamut-percentage"]);
    // A printer reaches a small part of the whole Lab cube.
    EXPECT_GT(share, 1.0);
    EXPECT_LT(share, 50.0);
    // A wider tolerance takes in more of it.
    CliRun wider = grade({kCMYK, "--gamut", "--absolute", "--tolerance", "10"});
    EXPECT_GT(std::stod(fields(wider.out)["in-gamut-percentage"]), share);
}

TEST_F(CliIccGrade, NothingOutsideGivesHundredOverTheDivisor) {
    // The generic Lab profile brings every point back: 100 / 0.649, also
    // with the default tolerance and in the perceptual default mode.
    CliRun lab = grade({"lab", "--gamut"});
    ASSERT_EQ(lab.status, 0) << lab.err;
    auto f = fields(lab.out);
    EXPECT_EQ(f["mode"], "perceptual");
    EXPECT_EQ(f["tolerance"], "2");
    EXPECT_NEAR(std::stod(f["in-gamut-percentage"]), 100.0 / 0.6489999890327454, kQuotientTol);
    // An XYZ connection space divides by 0.776.
    CliRun srgb = grade({kSRGB, "--gamut", "--tolerance", "1000"});
    ASSERT_EQ(srgb.status, 0) << srgb.err;
    EXPECT_NEAR(std::stod(fields(srgb.out)["in-gamut-percentage"]), 100.0 / 0.7760000228881836,
                kQuotientTol);
}

TEST_F(CliIccGrade, BijectivityAndTheThrottle) {
    CliRun full = grade({kCMYK, "--bijectivity", "--absolute"});
    ASSERT_EQ(full.status, 0) << full.err;
    auto f = fields(full.out);
    EXPECT_EQ(f["test"], "bijectivity");
    const double average = std::stod(f["average-delta-e"]);
    const double maxi = std::stod(f["max-delta-e"]);
    EXPECT_GT(average, 0.0);
    EXPECT_GE(maxi, average);
    // Under the throttle the same numbers come, later; 5 is held to 10.
    CliRun slow = grade({kCMYK, "--bijectivity", "--absolute", "--speed", "50"});
    ASSERT_EQ(slow.status, 0) << slow.err;
    auto g = fields(slow.out);
    EXPECT_EQ(g["speed-calculation"], "50");
    EXPECT_EQ(g["average-delta-e"], f["average-delta-e"]);
    EXPECT_EQ(g["max-delta-e"], f["max-delta-e"]);
    CliRun held = grade({"lab", "--bijectivity", "--speed", "5"});
    EXPECT_EQ(fields(held.out)["speed-calculation"], "10");
}

TEST_F(CliIccGrade, NoAnswerIsStatusOneWithItsReason) {
    // A missing profile: the reference is never touched and prints -1.
    CliRun missing = grade({(home_ / "none.icc").string(), "--bijectivity"});
    EXPECT_EQ(missing.status, 1);
    auto f = fields(missing.out);
    EXPECT_EQ(f["average-delta-e"], "-1");
    EXPECT_EQ(f["max-delta-e"], "-1");
    EXPECT_THAT(missing.err, HasSubstr("not a usable ICC profile"));

    // Lab has no device grid: the test started, so the reference is 0.
    CliRun lab = grade({"lab", "--bijectivity", "--absolute"});
    EXPECT_EQ(lab.status, 1);
    EXPECT_EQ(fields(lab.out)["average-delta-e"], "-1");
    EXPECT_EQ(fields(lab.out)["max-delta-e"], "0");
    EXPECT_THAT(lab.err, HasSubstr("no grid for the data colour space 'Lab '"));

    // A file that isn't a profile.
    const auto text = home_ / "text.icc";
    slidebox::testing::writeFile(text, "not a profile at all");
    CliRun bad = grade({text.string(), "--gamut"});
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(fields(bad.out)["in-gamut-percentage"], "-1");
}

} // namespace
