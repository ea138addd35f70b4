// slidebox-cli switch, run as a program, with the stand-in "iPhoto" first on
// PATH and a temporary home.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/tests/cli_runner.h"
#include "platform/plist_file.h"
#include "tests/stand_in_control.h"
#include "tests/temp_dir.h"

using ::testing::HasSubstr;
using namespace slidebox::testing;
using slidebox::platform::PlistDictionary;
using slidebox::platform::PlistFormat;
using slidebox::platform::PlistValue;

class CliSwitch : public ::testing::Test {
  protected:
    std::filesystem::path preferenceFile() const {
        return home / "Library" / "Preferences" / "com.apple.iPhoto.plist";
    }
    StandInLock lock;
    TempDir home;
};

TEST_F(CliSwitch, QuitsRewritesAndStartsTheStandInOnTheNormalPath) {
    StandInCleanup cleanup{home.path(), {}};
    const auto env = standInEnvironment(home.path());
    const auto libraryA = home / "Libraries" / "Library A";
    const auto newFolder = home / "Libraries" / "New Library";
    makeEmptyLibrary6(libraryA);
    std::filesystem::create_directories(newFolder);
    writeFile(preferenceFile(),
              slidebox::platform::serializePlist(
                  PlistValue(PlistDictionary{{"RootDirectory", libraryA.string()}}),
                  PlistFormat::Binary));
    const pid_t first = startStandIn(home.path());
    cleanup.children.push_back(first);
    ASSERT_TRUE(waitFor([&] { return hasEvent(home.path(), "opened", libraryA.string()); }));

    // An empty folder is no library yet: --no-test switches all the same. A
    // path relative to the current folder goes in absolute and lexically normal.
    const auto cwd = std::filesystem::current_path();
    std::filesystem::current_path(home / "Libraries");
    auto run = runCli({"switch", "--no-test", "./../Libraries/./New Library/"}, env);
    std::filesystem::current_path(cwd);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(run.out.empty());
    EXPECT_FALSE(processRuns(first));
    EXPECT_EQ(slidebox::platform::stringInPlistFile(preferenceFile(), "RootDirectory"),
              newFolder.string()); // the rest of the file is the library's and platform's
    EXPECT_TRUE(waitFor([&] { return hasEvent(home.path(), "made-library", newFolder.string()); }));
}

TEST_F(CliSwitch, MissingPreferenceFileIsReportedAndNotMade) {
    const auto libraryA = home / "Library A";
    makeEmptyLibrary6(libraryA);
    // No stand-in on PATH: the launch script finds nothing and says so.
    auto run = runCli({"switch", libraryA.string()},
                      {"HOME=" + home.path().string(), "XDG_RUNTIME_DIR=" + home.path().string(),
                       "PATH=/usr/bin:/bin"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr("the preference file is missing"));
    EXPECT_THAT(run.err, HasSubstr("] iPhoto was not found on PATH")); // a log line
    EXPECT_FALSE(std::filesystem::exists(preferenceFile()));
}
