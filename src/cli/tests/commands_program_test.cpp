// slidebox-cli's commands: the README's command list is the program's own
// --help list; and slidebox-cli copied into a prefix of its own, where the
// program holding the other commands is missing or broken: the commands it
// runs itself still answer as the built one does; any other is refused in
// one line, status 1.
#include <gtest/gtest.h>

#include "cli/tests/cli_runner.h"
#include "tests/child_process.h"
#include "tests/temp_dir.h"

namespace fs = std::filesystem;
using namespace slidebox::testing;

TEST(CliReadme, EveryHelpCommandLineStandsInTheReadme) {
    auto help = runCli({"--help"});
    ASSERT_EQ(help.status, 0);
    std::string readme = readFile(fs::path(SLIDEBOX_SOURCE_DIR) / "README.md");
    ASSERT_FALSE(readme.empty());
    std::istringstream listed(help.out.substr(help.out.find("Commands:\n") + 10));
    int commands = 0;
    for (std::string line; std::getline(listed, line) && !line.empty(); ++commands)
        EXPECT_NE(readme.find(line + "\n"), std::string::npos)
            << "missing from README.md: " << line;
    EXPECT_GT(commands, 0);
}

TEST(CliCommandsProgram, MissingOrBrokenRefusesOtherCommandsInOneLine) {
    const struct {
        const char* defect;
        const char* bytes; // the commands program's, none when null
        fs::perms perms;
    } cases[] = {
        {"missing", nullptr, fs::perms::none},
        {"not executable", "\177ELF", fs::perms::owner_read},
        {"not a program", "garbage\n", fs::perms::owner_all},
    };
    const std::vector<std::string> deltaE = {"color", "deltae", "50", "10", "10", "52", "8", "12"};
    const CliRun built = runCli(deltaE);
    ASSERT_EQ(built.status, 0);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.defect);
        TempDir prefix;
        const fs::path cli = prefix / "bin" / "slidebox-cli";
        fs::create_directories(cli.parent_path());
        fs::copy_file(buildDir() / "bin" / "slidebox-cli", cli);
        if (c.bytes) {
            writeFile(prefix / "libexec" / "slidebox-cli-commands", c.bytes);
            fs::permissions(prefix / "libexec" / "slidebox-cli-commands", c.perms);
        }

        const ChildRun own = runChild(cli, deltaE);
        EXPECT_EQ(own.status, 0);
        EXPECT_EQ(own.out, built.out);
        EXPECT_EQ(runChild(cli, {"--version"}).status, 0);

        for (const std::vector<std::string>& other :
             {std::vector<std::string>{"--help"}, {"icc", "info", kSRGB}}) {
            const ChildRun refused = runChild(cli, other);
            EXPECT_EQ(refused.status, 1);
            EXPECT_EQ(refused.out, "");
            EXPECT_EQ(refused.err.rfind("slidebox-cli: ", 0), 0u) << refused.err;
            EXPECT_NE(refused.err.find("slidebox-cli-commands"), std::string::npos);
            EXPECT_EQ(refused.err.find('\n'), refused.err.size() - 1) << refused.err;
        }
    }
}
