#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/tests/cli_runner.h"

using slidebox::testing::runCli;
using ::testing::HasSubstr;

TEST(CliMain, HelpListsEveryGroupAndVersionPrints) {
    auto help = runCli({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr("Usage: slidebox-cli COMMAND"));
    EXPECT_THAT(help.out, HasSubstr("Exit status: 0 done, 1 refused or failed, 2 wrong usage."));

    auto version = runCli({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out.rfind("slidebox-cli ", 0), 0u);
}

TEST(CliMain, UnknownOrMissingCommandIsWrongUsage) {
    auto unknown = runCli({"frobnicate"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_TRUE(unknown.out.empty());
    EXPECT_THAT(unknown.err, HasSubstr("unknown command 'frobnicate'"));

    auto none = runCli({});
    EXPECT_EQ(none.status, 2);
    EXPECT_THAT(none.err, HasSubstr("no command given"));
}
