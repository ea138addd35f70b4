#include <gtest/gtest.h>

#include "cli/tests/cli_runner.h"

using slidebox::testing::runCli;

TEST(CliMain, HelpListsEveryGroupAndVersionPrints) {
    auto help = runCli({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("Usage: slidebox-cli COMMAND"), std::string::npos);
    EXPECT_NE(help.out.find("Exit status: 0 done, 1 refused or failed, 2 wrong usage."), std::string::npos);

    auto version = runCli({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out.rfind("slidebox-cli ", 0), 0u);
}

TEST(CliMain, UnknownOrMissingCommandIsWrongUsage) {
    auto unknown = runCli({"frobnicate"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_TRUE(unknown.out.empty());
    EXPECT_NE(unknown.err.find("unknown command 'frobnicate'"), std::string::npos);

    auto none = runCli({});
    EXPECT_EQ(none.status, 2);
    EXPECT_NE(none.err.find("no command given"), std::string::npos);
}
