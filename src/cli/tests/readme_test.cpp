// The README's command list is the program's own --help list.
#include <gtest/gtest.h>

#include <sstream>

#include "cli/tests/cli_runner.h"
#include "tests/temp_dir.h"

TEST(CliReadme, EveryHelpCommandLineStandsInTheReadme) {
    auto help = slidebox::testing::runCli({"--help"});
    ASSERT_EQ(help.status, 0);
    std::string readme =
        slidebox::testing::readFile(std::filesystem::path(SLIDEBOX_SOURCE_DIR) / "README.md");
    ASSERT_FALSE(readme.empty());
    std::istringstream lines(help.out.substr(help.out.find("Commands:\n") + 10));
    int commands = 0;
    for (std::string line; std::getline(lines, line) && !line.empty(); ++commands)
        EXPECT_NE(readme.find(line + "\n"), std::string::npos)
            << "missing from README.md: " << line;
    EXPECT_GT(commands, 0);
}
