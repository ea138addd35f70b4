// The command-line cases kept as data in golden/*.txt: each is a command
// line with its expected status, standard output and a piece of standard
// error. Every case runs in a home of its own.
//
//   $ icc match --src lab 1 2 3     the command line; '' is an empty word
//   < 50 0 0                        a line of standard input
//   > 1 2 3                         a line of standard output (\0 \t \n \\ escaped)
//   % 0.01                          numbers in > lines agree within 0.01
//   ~ text                          standard output holds text (then no > lines)
//   ^ text                          standard output lacks text
//   = 2                             the exit status (0 when absent)
//   ! text                          standard error holds text
//   + a/b.jpg                       an empty file made in the home first
//
// Without ~ lines standard output is exactly the > lines: nothing for a
// refusal. Without ! lines standard error is empty on success and says
// something on failure, and a failure leaves the home as it found it. Each
// file is one test. ${SRGB}, ${ADOBE}, ${CMYK}, ${GRAY}, ${NAMED},
// ${X11} are installed profiles (a case without them is skipped), ${HOME}
// the case's home, which holds text.icc, a file that is no profile, and the
// small images of writeImages.
//
// SLIDEBOX_GOLDEN_REWRITE=1 in the environment writes each case's actual
// standard output and status back into its file: review the diff.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include "cli/tests/cli_runner.h"
#include "image/image_file.h"

namespace slidebox::testing {
namespace {

struct GoldenCase {
    std::string name;
    std::vector<std::string> args;
    std::string in, out;
    std::vector<std::string> outParts, outLacks, errParts, files;
    int status = 0;
    double tolerance = 0;
    std::size_t firstLine = 0; ///< index of its $ line in the file
};

std::string unescaped(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            result += text[i];
            continue;
        }
        const char c = text[++i];
        if (c == 'x' && i + 2 < text.size()) // \xHH, a byte
            result += static_cast<char>(std::stoi(text.substr((i += 2) - 1, 2), nullptr, 16));
        else
            result += c == '0' ? '\0' : c == 't' ? '\t' : c == 'n' ? '\n' : c;
    }
    return result;
}

std::string escaped(const std::string& text) {
    std::string result;
    for (char c : text)
        result += c == '\0' ? "\\0" : c == '\t' ? "\\t" : c == '\\' ? "\\\\" : std::string(1, c);
    return result;
}

/// Whether two outputs agree: line by line and word by word, numbers within
/// the tolerance, all else exactly.
bool sameOutput(const std::string& expected, const std::string& actual, double tolerance) {
    if (tolerance == 0 || expected == actual)
        return expected == actual;
    std::istringstream e(expected), a(actual);
    std::string el, al;
    while (std::getline(e, el)) {
        if (!std::getline(a, al))
            return false;
        std::istringstream ew(el), aw(al);
        std::string x, y;
        while (ew >> x) {
            if (!(aw >> y))
                return false;
            char* endX = nullptr;
            char* endY = nullptr;
            const double nx = std::strtod(x.c_str(), &endX), ny = std::strtod(y.c_str(), &endY);
            const bool numbers = *endX == '\0' && *endY == '\0' && !x.empty() && !y.empty();
            if (numbers ? !(std::fabs(nx - ny) <= tolerance) : x != y)
                return false;
        }
        if (aw >> y)
            return false;
    }
    return !std::getline(a, al);
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

/// Runs one case in a home of its own; nothing when it needs a profile that
/// isn't installed.
std::optional<CliRun> runCase(const GoldenCase& c) {
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
        return std::nullopt;
    for (const std::string& file : c.files) {
        std::filesystem::create_directories((home / file).parent_path());
        writeFile(home / file, "");
    }
    const auto entries = [&] {
        std::set<std::filesystem::path> names;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path()))
            names.insert(entry.path());
        return names;
    };
    const auto before = entries();
    CliRun run = runCli(args, homeEnv(home), c.in);
    EXPECT_EQ(run.status, c.status) << run.err;
    if (run.status != 0) {
        EXPECT_EQ(entries(), before) << "a refusal leaves nothing behind";
    }
    if (c.outParts.empty()) {
        EXPECT_TRUE(sameOutput(expand(c.out), run.out, c.tolerance))
            << "expected:\n"
            << c.out << "actual:\n"
            << run.out << "tolerance " << c.tolerance;
    }
    for (const std::string& part : c.outParts)
        EXPECT_THAT(run.out, ::testing::HasSubstr(expand(part)));
    for (const std::string& part : c.outLacks)
        EXPECT_THAT(run.out, ::testing::Not(::testing::HasSubstr(part)));
    for (const std::string& part : c.errParts)
        EXPECT_THAT(run.err, ::testing::HasSubstr(expand(part)));
    if (c.errParts.empty()) {
        EXPECT_EQ(run.err.empty(), c.status == 0) << run.err;
    }
    // The home's own path never stands in stored output.
    for (std::size_t at; (at = run.out.find(home.path().string())) != std::string::npos;)
        run.out.replace(at, home.path().string().size(), "${HOME}");
    return run;
}

std::vector<GoldenCase> loadCases(const std::vector<std::string>& lines, const std::string& file) {
    std::vector<GoldenCase> cases;
    for (std::size_t number = 0; number < lines.size(); ++number) {
        const std::string& line = lines[number];
        const std::string body = line.size() > 2 ? unescaped(line.substr(2)) : "";
        if (line.rfind("$ ", 0) == 0) {
            cases.push_back({file + ":" + std::to_string(number + 1)});
            cases.back().firstLine = number;
            std::istringstream words(line.substr(2));
            for (std::string word; words >> word;)
                cases.back().args.push_back(word == "''" ? "" : word);
        } else if (cases.empty() || line.empty() || line[0] == '#') {
            continue;
        } else if (line[0] == '<') {
            cases.back().in += body + "\n";
        } else if (line[0] == '>') {
            cases.back().out += body + "\n";
        } else if (line[0] == '%') {
            cases.back().tolerance = std::stod(body);
        } else if (line[0] == '~') {
            cases.back().outParts.push_back(body);
        } else if (line[0] == '^') {
            cases.back().outLacks.push_back(body);
        } else if (line[0] == '+') {
            cases.back().files.push_back(body);
        } else if (line[0] == '!') {
            cases.back().errParts.push_back(body);
        } else if (line[0] == '=') {
            cases.back().status = std::stoi(body);
        }
    }
    return cases;
}

/// The file again with each case's > and = lines replaced by what it gave,
/// placed after its $, < and % lines.
std::string rewritten(const std::vector<std::string>& lines, const std::vector<GoldenCase>& cases,
                      const std::vector<std::optional<CliRun>>& runs) {
    std::string text;
    std::optional<std::size_t> current; // the case whose lines these are
    bool pending = false;               // its output is still to be written
    const auto insert = [&] {
        const GoldenCase& c = cases[*current];
        if (runs[*current]->status != 0)
            text += "= " + std::to_string(runs[*current]->status) + "\n";
        if (c.outParts.empty()) {
            std::istringstream out(runs[*current]->out);
            for (std::string o; std::getline(out, o);)
                text += "> " + escaped(o) + "\n";
        }
        pending = false;
    };
    for (const std::string& line : lines) {
        const char kind = line.empty() ? ' ' : line[0];
        const bool ran = current && runs[*current].has_value();
        if (ran && (kind == '=' || (kind == '>' && cases[*current].outParts.empty())))
            continue;
        if (pending && kind != '<' && kind != '%')
            insert();
        text += line + "\n";
        if (line.rfind("$ ", 0) == 0) {
            current = current ? *current + 1 : 0;
            pending = runs[*current].has_value();
        }
    }
    if (pending)
        insert();
    return text;
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
    const std::filesystem::path file = kGoldenFolder / (GetParam() + ".txt");
    std::vector<std::string> lines;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    const std::vector<GoldenCase> cases = loadCases(lines, file.filename().string());
    std::vector<std::optional<CliRun>> runs;
    int skipped = 0;
    for (const GoldenCase& c : cases) {
        SCOPED_TRACE(c.name);
        runs.push_back(runCase(c));
        skipped += runs.back() ? 0 : 1;
    }
    if (const char* rewrite = std::getenv("SLIDEBOX_GOLDEN_REWRITE"); rewrite && *rewrite == '1')
        std::ofstream(file) << rewritten(lines, cases, runs);
    if (skipped > 0)
        GTEST_SKIP() << skipped << " cases need profiles that aren't installed: run tools/setup.sh";
}

INSTANTIATE_TEST_SUITE_P(Cases, Golden, ::testing::ValuesIn(goldenFiles()),
                         [](const auto& info) { return info.param; });

} // namespace
} // namespace slidebox::testing
