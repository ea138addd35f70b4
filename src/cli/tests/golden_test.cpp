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
//   @ out.png stored.png            the home's out.png holds the bytes of home/stored.png
//
// Without ~ lines standard output is exactly the > lines: nothing for a
// refusal. Without ! lines standard error is empty on success and says
// something on failure, and a failure leaves the home as it found it. Each
// file is one test. ${SRGB}, ${ADOBE}, ${CMYK}, ${GRAY}, ${NAMED},
// ${X11}, ${LAB} (a profile whose data are Lab), ${ATTRIBUTED} (with device attributes) are
// installed profiles (a case without them is skipped), ${HOME} the case's home, a copy of the
// folder home/ beside this file: text.icc, a file that is no profile, small images named after
// their content, and cut.tif, a TIFF cut in half.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <sstream>

#include "cli/tests/cli_runner.h"

namespace slidebox::testing {
namespace {

struct GoldenCase {
    std::string name;
    std::vector<std::string> args;
    std::string in, out;
    std::vector<std::string> outParts, outLacks, errParts, files, sameFiles;
    int status = 0;
    double tolerance = 0;
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

/// Whether two outputs agree: line by line and word by word, numbers within
/// the tolerance, all else exactly.
bool sameOutput(const std::string& expected, const std::string& actual, double tolerance) {
    if (tolerance == 0 || expected == actual)
        return expected == actual;
    const auto e = lines(expected), a = lines(actual);
    if (e.size() != a.size())
        return false;
    for (std::size_t i = 0; i < e.size(); ++i) {
        std::istringstream ew(e[i]), aw(a[i]);
        for (std::string x, y; ew >> x;) {
            if (!(aw >> y))
                return false;
            char *endX = nullptr, *endY = nullptr;
            const double nx = std::strtod(x.c_str(), &endX), ny = std::strtod(y.c_str(), &endY);
            if (*endX == '\0' && *endY == '\0' ? !(std::fabs(nx - ny) <= tolerance) : x != y)
                return false;
        }
        if (std::string rest; aw >> rest)
            return false;
    }
    return true;
}

const std::filesystem::path kTests = std::filesystem::path(SLIDEBOX_SOURCE_DIR) / "src/cli/tests";

/// Runs one case in a home of its own; false when it needs a profile that
/// isn't installed.
bool runCase(const GoldenCase& c) {
    TempDir home;
    std::filesystem::copy(kTests / "home", home.path());
    const std::map<std::string, std::string> variables = {
        {"SRGB", kSRGB}, {"ADOBE", kAdobe},           {"CMYK", kCMYK},
        {"GRAY", kGray}, {"NAMED", kNamed},           {"X11", kX11},
        {"LAB", kLab},   {"ATTRIBUTED", kAttributed}, {"HOME", home.path().string()}};
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
    for (const std::string& file : c.files)
        writeFile(home / file, "");
    using Walk = std::filesystem::recursive_directory_iterator;
    const auto entries = [&] { return std::set<std::filesystem::path>(Walk(home.path()), Walk()); };
    const auto before = entries();
    const CliRun run = runCli(args, homeEnv(home), c.in);
    EXPECT_EQ(run.status, c.status) << run.err;
    if (run.status != 0) {
        EXPECT_EQ(entries(), before) << "a refusal leaves nothing behind";
    }
    if (c.outParts.empty()) {
        EXPECT_PRED3(sameOutput, expand(c.out), run.out, c.tolerance);
    }
    for (const std::string& part : c.outParts)
        EXPECT_THAT(run.out, ::testing::HasSubstr(expand(part)));
    for (const std::string& part : c.outLacks)
        EXPECT_THAT(run.out, ::testing::Not(::testing::HasSubstr(part)));
    for (const std::string& part : c.errParts)
        EXPECT_THAT(run.err, ::testing::HasSubstr(expand(part)));
    for (const std::string& names : c.sameFiles) {
        const auto space = names.find(' ');
        EXPECT_EQ(readFile(home / names.substr(0, space)), readFile(home / names.substr(space + 1)))
            << names;
    }
    if (c.errParts.empty()) {
        EXPECT_EQ(run.err.empty(), c.status == 0) << run.err;
    }
    return true;
}

std::vector<GoldenCase> loadCases(const std::vector<std::string>& lines, const std::string& file) {
    // The marks of the lines that add a line of text, and of those that add
    // one more piece to a list.
    const std::map<char, std::string GoldenCase::*> texts = {{'<', &GoldenCase::in},
                                                             {'>', &GoldenCase::out}};
    const std::map<char, std::vector<std::string> GoldenCase::*> pieces = {
        {'~', &GoldenCase::outParts},
        {'^', &GoldenCase::outLacks},
        {'!', &GoldenCase::errParts},
        {'+', &GoldenCase::files},
        {'@', &GoldenCase::sameFiles}};
    std::vector<GoldenCase> cases;
    for (std::size_t number = 0; number < lines.size(); ++number) {
        const std::string& line = lines[number];
        const std::string body = line.size() > 2 ? unescaped(line.substr(2)) : "";
        if (line.rfind("$ ", 0) == 0) {
            cases.push_back({file + ":" + std::to_string(number + 1)});
            std::istringstream words(line.substr(2));
            for (std::string word; words >> word;)
                cases.back().args.push_back(word == "''" ? "" : word);
        } else if (cases.empty() || line.empty() || line[0] == '#') {
            continue;
        } else if (texts.contains(line[0])) {
            cases.back().*texts.at(line[0]) += body + "\n";
        } else if (pieces.contains(line[0])) {
            (cases.back().*pieces.at(line[0])).push_back(body);
        } else if (line[0] == '%') {
            cases.back().tolerance = std::stod(body);
        } else if (line[0] == '=') {
            cases.back().status = std::stoi(body);
        }
    }
    return cases;
}

std::vector<std::string> goldenFiles() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(kTests / "golden"))
        names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

// One test a file: a process start per case is cost enough.
class Golden : public ::testing::TestWithParam<std::string> {};

TEST_P(Golden, StatusOutputAndReason) {
    const std::string file = GetParam() + ".txt";
    int skipped = 0;
    for (const GoldenCase& c : loadCases(lines(readFile(kTests / "golden" / file)), file)) {
        SCOPED_TRACE(c.name);
        skipped += runCase(c) ? 0 : 1;
    }
    if (skipped > 0)
        GTEST_SKIP() << skipped << " cases need profiles that aren't installed: run tools/setup.sh";
}

INSTANTIATE_TEST_SUITE_P(Cases, Golden, ::testing::ValuesIn(goldenFiles()),
                         [](const auto& info) { return info.param; });

} // namespace
} // namespace slidebox::testing
