// slidebox-cli icc list: the rows of a catalogue a line, from a folder and
// from the installed folders of a home given to the command.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/tests/cli_runner.h"
#include "color/tests/profile_fixtures.h"

using ::testing::HasSubstr;
using namespace std::string_literals;
using namespace slidebox::testing;
using namespace slidebox::color;
namespace fixtures = slidebox::testing;

namespace {

const OSType kCMY = fourCC("CMY ");

class CliIccList : public ::testing::Test {
  protected:
    void put(const std::filesystem::path& path, fixtures::Bytes bytes,
             CMDateTime date = {2023, 3, 2, 10, 45, 31}) {
        fixtures::setDate(bytes, date);
        fixtures::writeFile(
            path, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    }
    CliRun list(std::vector<std::string> args, std::vector<std::string> env = {}) {
        args.insert(args.begin(), {"icc", "list"});
        env.push_back("TZ=UTC");
        if (env.size() == 1) {
            env.push_back("HOME=" + home_.path().string());
            env.push_back("XDG_DATA_HOME=" + (home_ / "data").string());
        }
        return runCli(args, env);
    }
    std::string dir() const { return (folder_ / "").string(); }
    TempDir home_;
    TempDir folder_;
};

} // namespace

TEST_F(CliIccList, FolderRowsWithTheirRelativePaths) {
    put(folder_ / "b/printer.icc",
        fixtures::catalogueProfile(cmOutputClass, cmCMYKData, "Printer", cmLabData));
    put(folder_ / "a.icc", fixtures::catalogueProfile(cmDisplayClass, cmRGBData, "Display"));
    put(folder_ / "c.icc", fixtures::catalogueProfile(cmDisplayClass, cmRGBData, std::nullopt));
    put(folder_ / "d.icc", fixtures::catalogueProfile(cmDisplayClass, cmGrayData, "Gray"));
    const std::string base = folder_.path().string();

    auto r = list({"--dir", dir(), "--space", "0xC"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "\n"
                     "Display  (a.icc)\ta.icc\t" +
                         base +
                         "/a.icc\tRGB \tmntr\tXYZ \n"
                         "Printer  (b/printer.icc)\tb/printer.icc\t" +
                         base + "/b/printer.icc\tCMYK\tprtr\tLab \n");

    // Without file names; masks in decimal; --use plays no part.
    r = list({"--dir", base, "--space", "12", "--use", "0", "--no-file-names"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(lines(r.out).at(1).substr(0, 8), "Display\t");
    EXPECT_EQ(lines(r.out).at(2).substr(0, 8), "Printer\t");
    r = list({"--dir", base, "--space", "0x10"});
    EXPECT_EQ(r.out, "\nGray  (d.icc)\td.icc\t" + base + "/d.icc\tGRAY\tmntr\tXYZ \n");
}

TEST_F(CliIccList, ReportAddsTheDateAndTheHeaderLines) {
    const std::string path = (folder_ / "p.icc").string();
    put(path, fixtures::catalogueProfile(cmOutputClass, cmCMYKData, "Printer", cmLabData));
    auto r = list({"--dir", dir(), "--report"});
    ASSERT_EQ(r.status, 0) << r.err;
    auto out = lines(r.out);
    ASSERT_EQ(out.size(), 9u);
    EXPECT_EQ(out[0], "");
    EXPECT_EQ(out[1],
              "Printer  (p.icc)\tp.icc\t" + path + "\tCMYK\tprtr\tLab \t02 March 2023 - 10:45:31");
    // The report is the header's, as "icc header" prints it, a TAB before each line.
    auto header = lines(runCli({"icc", "header", path}).out);
    ASSERT_EQ(header.size(), 7u);
    for (std::size_t i = 0; i < 7; ++i)
        EXPECT_EQ(out[2 + i], "\t" + header[i]);

    r = list({"--dir", dir(), "--report", "--brief"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "\nPrinter  (p.icc)\tp.icc\t" + path + "\tCMYK\tprtr\tLab \tNo Date\n");
}

TEST_F(CliIccList, InstalledFoldersComeFromTheHomeOfTheCommand) {
    // No installed profile is of space CMY: only these two, data home first.
    put(home_ / ".color/icc/z.icc", fixtures::catalogueProfile(cmOutputClass, kCMY, "Dot color"));
    auto noPCS = fixtures::catalogueProfile(cmOutputClass, kCMY, "Data home", 0);
    put(home_ / "data/icc/y.icc", noPCS);
    put(home_ / "data/icc/other.icc", fixtures::catalogueProfile(cmDisplayClass, kCMY, "Display"));

    const std::string dataHome = (home_ / "data/icc").string();
    const std::string dotColor = (home_ / ".color/icc").string();
    auto r = list({"--use", "8", "--space", "0x20"});
    ASSERT_EQ(r.status, 0) << r.err;
    // A signature of NUL bytes prints as nothing.
    EXPECT_EQ(r.out, "Data home\ty.icc\t" + dataHome + "/y.icc\tCMY \tprtr\t\n"s +
                         "Dot color\tz.icc\t" + dotColor + "/z.icc\tCMY \tprtr\tXYZ \n");

    // Two kinds make two groups, parted by an empty line.
    r = list({"--use", "0xC", "--space", "0x20"});
    EXPECT_EQ(lines(r.out).size(), 4u);
    EXPECT_EQ(lines(r.out).at(1), "");
    EXPECT_EQ(lines(r.out).at(0).substr(0, 8), "Display\t");

    // Without XDG_DATA_HOME the data home is ~/.local/share.
    r = list({"--use", "8", "--space", "0x20"},
             {"HOME=" + home_.path().string(), "XDG_DATA_HOME="});
    EXPECT_EQ(r.out, "Dot color\tz.icc\t" + dotColor + "/z.icc\tCMY \tprtr\tXYZ \n");
}

TEST_F(CliIccList, JsonRowsAndPathsOfAnyLengthAndBytes) {
    // A folder path of 300 bytes and more, and a file name that isn't UTF-8.
    std::filesystem::path deep = folder_.path();
    while (deep.native().size() < 300)
        deep /= std::string(50, 'd');
    put(deep / "long.icc", fixtures::catalogueProfile(cmDisplayClass, cmRGBData, "Long"));
    put(folder_ / "caf\xE9.icc", fixtures::catalogueProfile(cmDisplayClass, cmRGBData, "Latin"));

    auto r = list({"--dir", dir(), "--json", "--no-file-names"});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string base = folder_.path().string();
    const std::string relative = (deep / "long.icc").string().substr(base.size() + 1);
    EXPECT_EQ(r.out, "[{\"name\":\"Latin\",\"file\":\"caf\\ufffd.icc\",\"path\":\"" + base +
                         "/caf\\ufffd.icc\",\"space\":\"RGB \",\"class\":\"mntr\",\"PCS\":\"XYZ "
                         "\"},{\"name\":\"Long\",\"file\":\"" +
                         relative + "\",\"path\":\"" + (deep / "long.icc").string() +
                         "\",\"space\":\"RGB \",\"class\":\"mntr\",\"PCS\":\"XYZ \"}]\n");
}
