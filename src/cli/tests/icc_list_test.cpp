// slidebox-cli icc list: the rows of a catalogue a line, from a folder and
// from the installed folders of a home given to the command.
#include <gtest/gtest.h>

#include "cli/tests/cli_runner.h"
#include "color/tests/profile_fixtures.h"

using namespace slidebox::testing;
using namespace slidebox::color;

namespace {

class CliIccList : public ::testing::Test {
  protected:
    void put(const std::filesystem::path& path, OSType cls, OSType space,
             std::optional<std::string> name, OSType pcs = cmXYZData) {
        Bytes bytes = catalogueProfile(cls, space, name, pcs);
        setDate(bytes, {2023, 3, 2, 10, 45, 31});
        writeFile(path,
                  std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    }
    CliRun list(std::vector<std::string> args, std::vector<std::string> env = {}) {
        args.insert(args.begin(), {"icc", "list"});
        if (env.empty())
            env = {"HOME=" + home_.path().string(), "XDG_DATA_HOME=" + (home_ / "data").string()};
        env.push_back("TZ=UTC");
        return runCli(args, env);
    }
    TempDir home_, folder_;
    const std::string base = folder_.path().string(), dir = base + "/";
};

} // namespace

TEST_F(CliIccList, FolderRowsWithTheirRelativePathsAndTheReport) {
    put(folder_ / "b/printer.icc", cmOutputClass, cmCMYKData, "Printer", cmLabData);
    put(folder_ / "a.icc", cmDisplayClass, cmRGBData, "Display");
    put(folder_ / "c.icc", cmDisplayClass, cmRGBData, std::nullopt);
    put(folder_ / "d.icc", cmDisplayClass, cmGrayData, "Gray");
    const std::string a = "a.icc\t" + base + "/a.icc\tRGB \tmntr\tXYZ \n";
    const std::string b = "b/printer.icc\t" + base + "/b/printer.icc\tCMYK\tprtr\tLab \n";
    EXPECT_EQ(list({"--dir", dir, "--space", "0xC"}).out,
              "\nDisplay  (a.icc)\t" + a + "Printer  (b/printer.icc)\t" + b);
    // Without file names; masks in decimal; --use plays no part.
    EXPECT_EQ(list({"--dir", base, "--space", "12", "--use", "0", "--no-file-names"}).out,
              "\nDisplay\t" + a + "Printer\t" + b);
    EXPECT_EQ(list({"--dir", base, "--space", "0x10"}).out,
              "\nGray  (d.icc)\td.icc\t" + base + "/d.icc\tGRAY\tmntr\tXYZ \n");

    // The report adds the date and the header as "icc header" prints it, a
    // TAB before each line; --brief has no header to report on.
    const std::string path = base + "/b/printer.icc";
    const std::string row =
        "\nPrinter  (printer.icc)\tprinter.icc\t" + path + "\tCMYK\tprtr\tLab \t";
    const auto header = lines(runCli({"icc", "header", path}).out);
    EXPECT_EQ(header.size(), 7u);
    std::string report = row + "02 March 2023 - 10:45:31\n";
    for (const std::string& line : header)
        report += "\t" + line + "\n";
    EXPECT_EQ(list({"--dir", base + "/b/", "--report"}).out, report);
    EXPECT_EQ(list({"--dir", base + "/b/", "--report", "--brief"}).out, row + "No Date\n");
}

TEST_F(CliIccList, InstalledFoldersComeFromTheHomeOfTheCommand) {
    // No installed profile is of space CMY: only these, data home first; a
    // signature of NUL bytes prints as nothing.
    const OSType kCMY = fourCC("CMY ");
    put(home_ / ".color/icc/z.icc", cmOutputClass, kCMY, "Dot color");
    put(home_ / "data/icc/y.icc", cmOutputClass, kCMY, "Data home", 0);
    put(home_ / "data/icc/other.icc", cmDisplayClass, kCMY, "Display");
    const std::string dotColor =
        "Dot color\tz.icc\t" + (home_ / ".color/icc").string() + "/z.icc\tCMY \tprtr\tXYZ \n";
    EXPECT_EQ(list({"--use", "8", "--space", "0x20"}).out, "Data home\ty.icc\t" +
                                                               (home_ / "data/icc").string() +
                                                               "/y.icc\tCMY \tprtr\t\n" + dotColor);
    // Two kinds make two groups, parted by an empty line.
    auto out = lines(list({"--use", "0xC", "--space", "0x20"}).out);
    EXPECT_EQ(out.size(), 4u);
    EXPECT_TRUE(out.size() > 1 && out[0].starts_with("Display\t") && out[1].empty());
    // Without XDG_DATA_HOME the data home is ~/.local/share.
    const std::vector<std::string> noDataHome = {"HOME=" + home_.path().string(), "XDG_DATA_HOME="};
    EXPECT_EQ(list({"--use", "8", "--space", "0x20"}, noDataHome).out, dotColor);
}

TEST_F(CliIccList, JsonRowsAndPathsOfAnyLengthAndBytes) {
    // A folder path of 300 bytes and more, and a file name that isn't UTF-8.
    std::filesystem::path deep = folder_.path();
    while (deep.native().size() < 300)
        deep /= std::string(50, 'd');
    put(deep / "long.icc", cmDisplayClass, cmRGBData, "Long");
    put(folder_ / "caf\xE9.icc", cmDisplayClass, cmRGBData, "Latin");
    const std::string rest = "\",\"space\":\"RGB \",\"class\":\"mntr\",\"PCS\":\"XYZ \"}";
    EXPECT_EQ(list({"--dir", dir, "--json", "--no-file-names"}).out,
              "[{\"name\":\"Latin\",\"file\":\"caf\\ufffd.icc\",\"path\":\"" + base +
                  "/caf\\ufffd.icc" + rest + ",{\"name\":\"Long\",\"file\":\"" +
                  (deep / "long.icc").string().substr(base.size() + 1) + "\",\"path\":\"" +
                  (deep / "long.icc").string() + rest + "]\n");
}
