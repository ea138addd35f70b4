// slidebox-cli icc grade where the grades are known by their relations or
// within a tolerance; the exact lines and refusals are in golden/icc_grade.txt.
#include <gtest/gtest.h>

#include "cli/tests/cli_runner.h"
#include "tests/known_value.h"

using namespace slidebox::testing;

namespace {

class CliIccGrade : public ::testing::Test {
  protected:
    void SetUp() override {
        if (auto missing = firstMissing({kCMYK}); !missing.empty())
            GTEST_SKIP() << missing << " missing: run tools/setup.sh";
    }
    std::map<std::string, std::string> grade(const std::vector<std::string>& args) {
        auto r = runAt(home_, {"icc", "grade"}, args);
        EXPECT_EQ(r.status, 0) << r.err;
        return fields(r.out);
    }
    TempDir home_;
};

} // namespace

TEST_F(CliIccGrade, GamutAndBijectivityWithTheirOptions) {
    // The generic Lab profile brings every point back: 100 / 0.649, printed
    // with nine digits.
    auto lab = grade({"lab", "--gamut"});
    EXPECT_EQ(lab["tolerance"], "2");
    EXPECT_KNOWN(100.0 / 0.6489999890327454, 1e-5, std::stod(lab["in-gamut-percentage"]));

    // A printer takes in more of the cube at a wider tolerance.
    auto narrow = grade({kCMYK, "--gamut", "--absolute", "--tolerance", "1"});
    auto wider = grade({kCMYK, "--gamut", "--absolute", "--tolerance", "10"});
    EXPECT_EQ(narrow["mode"], "absolute");
    EXPECT_GT(std::stod(wider["in-gamut-percentage"]), std::stod(narrow["in-gamut-percentage"]));

    auto round = grade({kCMYK, "--bijectivity", "--absolute", "--speed", "50"});
    EXPECT_EQ(round["speed-calculation"], "50");
    EXPECT_GT(std::stod(round["average-delta-e"]), 0.0);
    EXPECT_GE(std::stod(round["max-delta-e"]), std::stod(round["average-delta-e"]));
}
