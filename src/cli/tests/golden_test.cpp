// The command-line cases kept as data in golden/*.txt: each is a command
// line with its expected status, standard output and a piece of standard
// error. Every case runs in a home of its own.
//
//   $ icc match --src lab 1 2 3     the command line; '' is an empty word
//   > 1 2 3                         a line of standard output (\0 \t \n \\ escaped)
//   ~ text                          standard output holds text (then no > lines)
//   = 2                             the exit status (0 when absent)
//   ! text                          standard error holds text
//
// Without ~ lines standard output is exactly the > lines: nothing for a
// refusal. Without ! lines standard error is empty on success and says
// something on failure. Each file is one test. ${SRGB}, ${ADOBE}, ${CMYK}, ${GRAY}, ${NAMED},
// ${X11} are installed profiles (a case without them is skipped), ${HOME}
// the case's home, which holds text.icc, a file that is no profile, and the
// small images of writeImages.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "cli/tests/cli_runner.h"
#include "image/image_file.h"

namespace slidebox::testing {
namespace {

struct GoldenCase {
    std::string name;
    std::vector<std::string> args;
    std::string out;
    std::vector<std::string> outParts, errParts;
    int status = 0;
};

std::string unescaped(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            result += text[i];
            continue;
        }
        const char c = text[++i];
        result += c == '0' ? '\0' : c == 't' ? '\t' : c == 'n' ? '\n' : c;
    }
    return result;
}

const std::filesystem::path kGoldenFolder =
    std::filesystem::path(SLIDEBOX_SOURCE_DIR) / "src/cli/tests/golden";

/// Images for the commands that read them: rgb.tif and rgb.png (RGB, 4×3,
/// neutral), lab.tif (16-bit Lab, 4×3), lab_short.tif (4×2), mask.png
/// (8-bit gray, 2×2), and cut.tif, a TIFF whose pixels are cut off.
void writeImages(const std::filesystem::path& home) {
    using image::ColorSpace;
    using image::PixelFormat;
    const auto write = [&](const char* name, std::int32_t width, std::int32_t height,
                           PixelFormat format) {
        auto bitmap = image::Bitmap::allocate(width, height, format);
        ASSERT_TRUE(bitmap);
        for (std::int32_t y = 0; y < height; ++y)
            std::fill_n(bitmap->row(y), bitmap->minRowBytes(), static_cast<std::uint8_t>(100 + y));
        ASSERT_TRUE(image::writeImageFile(home / name, *bitmap));
    };
    write("rgb.tif", 4, 3, PixelFormat::make(ColorSpace::RGB, 8));
    write("rgb.png", 4, 3, PixelFormat::make(ColorSpace::RGB, 8));
    write("lab.tif", 4, 3, PixelFormat::make(ColorSpace::Lab, 16));
    write("lab_short.tif", 4, 2, PixelFormat::make(ColorSpace::Lab, 16));
    write("mask.png", 2, 2, PixelFormat::make(ColorSpace::Gray, 8));
    write("big.tif", 300, 200, PixelFormat::make(ColorSpace::RGB, 8));
    const std::string bytes = readFile(home / "big.tif");
    writeFile(home / "cut.tif", bytes.substr(0, bytes.size() / 2));
    std::filesystem::remove(home / "big.tif");
}

/// Runs one case in a home of its own; false when it needs a profile that
/// isn't installed.
bool runCase(const GoldenCase& c) {
    TempDir home;
    writeFile(home / "text.icc", "not a profile at all");
    writeImages(home.path());
    const std::map<std::string, std::string> variables = {
        {"SRGB", kSRGB},
        {"ADOBE", kAdobe},
        {"CMYK", kCMYK},
        {"GRAY", kGray},
        {"NAMED", kNamed},
        {"X11", "/usr/share/color/icc/colord/x11-colors.icc"},
        {"HOME", home.path().string()}};
    bool installed = true;
    auto expand = [&](std::string text) {
        for (const auto& [name, value] : variables)
            for (std::size_t at; (at = text.find("${" + name + "}")) != std::string::npos;) {
                installed = installed && (name == "HOME" || std::filesystem::exists(value));
                text.replace(at, name.size() + 3, value);
            }
        return text;
    };
    std::vector<std::string> args;
    for (const std::string& word : c.args)
        args.push_back(expand(word));
    if (!installed)
        return false;
    const CliRun run = runCli(args, homeEnv(home));
    EXPECT_EQ(run.status, c.status) << run.err;
    if (c.outParts.empty()) {
        EXPECT_EQ(run.out, c.out);
    }
    for (const std::string& part : c.outParts)
        EXPECT_THAT(run.out, ::testing::HasSubstr(expand(part)));
    for (const std::string& part : c.errParts)
        EXPECT_THAT(run.err, ::testing::HasSubstr(expand(part)));
    if (c.errParts.empty()) {
        EXPECT_EQ(run.err.empty(), c.status == 0) << run.err;
    }
    return true;
}

std::vector<GoldenCase> loadCases(const std::filesystem::path& file) {
    std::vector<GoldenCase> cases;
    std::ifstream in(file);
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        const std::string body = line.size() > 2 ? unescaped(line.substr(2)) : "";
        if (line.rfind("$ ", 0) == 0) {
            cases.push_back({file.filename().string() + ":" + std::to_string(number)});
            std::istringstream words(line.substr(2));
            for (std::string word; words >> word;)
                cases.back().args.push_back(word == "''" ? "" : word);
        } else if (cases.empty() || line.empty() || line[0] == '#') {
            continue;
        } else if (line[0] == '>') {
            cases.back().out += body + "\n";
        } else if (line[0] == '~') {
            cases.back().outParts.push_back(body);
        } else if (line[0] == '!') {
            cases.back().errParts.push_back(body);
        } else if (line[0] == '=') {
            cases.back().status = std::stoi(body);
        }
    }
    return cases;
}

std::vector<std::string> goldenFiles() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(kGoldenFolder))
        names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

// One test a file: a process start per case is cost enough.
class Golden : public ::testing::TestWithParam<std::string> {};

TEST_P(Golden, StatusOutputAndReason) {
    int skipped = 0;
    for (const GoldenCase& c : loadCases(kGoldenFolder / (GetParam() + ".txt"))) {
        SCOPED_TRACE(c.name);
        if (!runCase(c))
            ++skipped;
    }
    if (skipped > 0)
        GTEST_SKIP() << skipped << " cases need profiles that aren't installed: run tools/setup.sh";
}

INSTANTIATE_TEST_SUITE_P(Cases, Golden, ::testing::ValuesIn(goldenFiles()),
                         [](const auto& info) { return info.param; });

} // namespace
} // namespace slidebox::testing
