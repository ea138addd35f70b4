#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/tests/cli_runner.h"
#include "library/tests/support/library_fixtures.h"
#include "tests/temp_dir.h"

using ::testing::HasSubstr;
namespace fx = slidebox::testing;
using fx::runCli;

TEST(CliLibraries, FindPrintsEachFoldersLibrariesInOrderAsRawBytes) {
    fx::TempDir dir;
    const std::string raw = "caf\xe9 lib";
    fx::makeLibrary3(dir / "a" / raw, {});
    fx::makeLibrary6(dir / "a" / "z", {});
    fx::makeLibrary2(dir / "b", {});
    auto run = runCli({"libraries", "find", (dir / "a").string(), (dir / "b").string()});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, (dir / "a" / raw).string() + "\n" + (dir / "a" / "z").string() + "\n" +
                           (dir / "b").string() + "\n");
    EXPECT_TRUE(run.err.empty());

    // A name holding a newline: -0 ends each path with a NUL instead.
    fx::makeLibrary3(dir / "c" / "two\nlines", {});
    for (const char* option : {"-0", "--null"}) {
        auto nul =
            runCli({"libraries", "find", option, (dir / "c").string(), (dir / "b").string()});
        EXPECT_EQ(nul.out,
                  (dir / "c" / "two\nlines").string() + '\0' + (dir / "b").string() + '\0');
    }
}

TEST(CliLibraries, ImagesInWalkOrder) {
    fx::TempDir dir;
    auto images = fx::makeLibrary6(dir / "lib", {"r1", "r2"}, 2);
    auto run = runCli({"libraries", "images", (dir / "lib").string()});
    EXPECT_EQ(run.status, 0);
    std::string expected;
    for (const auto& p : images)
        expected += p.string() + "\n";
    EXPECT_EQ(run.out, expected);
}

TEST(CliLibraries, AMissingFolderIsSaidAndTheOthersStillListed) {
    fx::TempDir dir;
    fx::makeLibrary3(dir / "lib", {});
    auto missing = runCli({"libraries", "find", (dir / "nope").string(), (dir / "lib").string()});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.out, (dir / "lib").string() + "\n"); // the others are still listed
    EXPECT_THAT(missing.err, HasSubstr("no such folder"));
}
