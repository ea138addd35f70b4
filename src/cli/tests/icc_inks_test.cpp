// slidebox-cli icc inks of a printer without a way back, a profile made
// here; the installed profiles and the refusals are in golden/icc_inks.txt.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/tests/cli_runner.h"
#include "color/tests/profile_fixtures.h"

using namespace slidebox::testing;

namespace {

std::vector<std::string> keys(const std::string& text) {
    std::vector<std::string> result;
    for (const std::string& line : lines(text))
        result.push_back(line.substr(0, line.find(':')));
    return result;
}

const std::vector<std::string> kDefaultKeys = {"dot-gain", "total-ink-max", "black-max",
                                               "start-of-black"};

class CliIccInks : public ::testing::Test {
  protected:
    CliRun run(const std::vector<std::string>& args) { return runAt(home_, {"icc", "inks"}, args); }
    CliRun inks(const std::string& profile, const std::string& intent) {
        return run({profile, "--intent", intent});
    }
    TempDir home_;
};

} // namespace

TEST_F(CliIccInks, PrinterWithoutAWayBackHasOnlyTheDefaults) {
    const std::string path =
        writeProfile(home_, "oneway.icc", stored("cmyk-printer-a2b-only.icc")).string();
    auto r = inks(path, "0");
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.err, ::testing::HasSubstr("oneway.icc"));
    r = inks(path, "-1");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(keys(r.out), kDefaultKeys);
    EXPECT_NE(fields(r.out)["dot-gain"], "0 0 0 0"); // measured through its own world
}
