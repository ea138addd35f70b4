// slidebox-cli icc inks of a printer without a way back, a stored profile;
// the installed profiles and the refusals are in golden/icc_inks.txt.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/tests/cli_runner.h"
#include "color/tests/profile_fixtures.h"

using namespace slidebox::testing;

TEST(CliIccInks, PrinterWithoutAWayBackHasOnlyTheDefaults) {
    TempDir home;
    const std::string path = storedPath("cmyk-printer-a2b-only.icc").string();
    auto r = runAt(home, {"icc", "inks"}, {path, "--intent", "0"});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.err, ::testing::HasSubstr("cmyk-printer-a2b-only.icc"));
    r = runAt(home, {"icc", "inks"}, {path, "--intent", "-1"});
    ASSERT_EQ(r.status, 0) << r.err;
    // Measured through its own world; the rest are the defaults.
    EXPECT_TRUE(r.out.starts_with("dot-gain: ") && !r.out.starts_with("dot-gain: 0 0 0 0\n"));
    EXPECT_EQ(r.out.substr(r.out.find('\n') + 1),
              "total-ink-max: 400\nblack-max: 100\nstart-of-black: 100\n");
}
