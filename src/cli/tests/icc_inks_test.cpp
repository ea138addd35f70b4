// slidebox-cli icc inks: which lines stand for which profile and intent,
// the edge values of the measures, and that every line is what "icc match"
// gives for the same test colours through the same worlds.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "cli/tests/cli_runner.h"
#include "color/tests/catalogue_fixtures.h"

using ::testing::HasSubstr;
using namespace slidebox::testing;

namespace {

std::vector<std::string> keys(const std::string& text) {
    std::vector<std::string> result;
    for (const std::string& line : lines(text))
        result.push_back(line.substr(0, line.find(':')));
    return result;
}

std::vector<float> floats(const std::string& text) {
    std::istringstream in(text);
    std::vector<float> values;
    for (float v; in >> v;)
        values.push_back(v);
    return values;
}

const std::vector<std::string> kAllKeys = {
    "dot-gain",    "total-ink-max", "black-max",    "start-of-black", "lightest",
    "full-ink",    "lightest-lch",  "full-ink-lch", "black-ink-lch",  "cmy-ink-lch",
    "black-point", "primaries-lch", "max-chroma"};
// Without worlds: the ink defaults, no characteristic points.
const std::vector<std::string> kDefaultKeys = {"dot-gain", "total-ink-max", "black-max",
                                               "start-of-black"};

class CliIccInks : public ::testing::Test {
  protected:
    void SetUp() override {
        if (auto missing = firstMissing({kSRGB, kCMYK, kGray, kNamed}); !missing.empty())
            GTEST_SKIP() << missing << " missing: run tools/setup.sh";
    }
    CliRun run(const std::vector<std::string>& args) { return runAt(home_, {}, args); }
    CliRun inks(const std::string& profile, const std::string& intent) {
        return run({"icc", "inks", profile, "--intent", intent});
    }
    std::string printer(const std::string& name, const slidebox::color::ProfileRecipe& recipe) {
        return writeProfile(home_, name, make(recipe)).string();
    }
    TempDir home_;
};

} // namespace

TEST_F(CliIccInks, RGBHasOnlyItsGainAndWithoutWorldsTheDefaults) {
    auto r = inks(kSRGB, "0");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "dot-gain: 0 0 0 0\n");
    const std::string defaults =
        "dot-gain: 0 0 0 0\ntotal-ink-max: 400\nblack-max: 100\nstart-of-black: 100\n";
    for (const char* intent : {"-1", "4"}) {
        r = inks(kSRGB, intent);
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.out, defaults) << intent;
    }
    // The intent defaults to 0.
    r = run({"icc", "inks", kSRGB});
    EXPECT_EQ(r.out, "dot-gain: 0 0 0 0\n");
}

TEST_F(CliIccInks, LinesOfAPrinterAndOfAGrayProfile) {
    auto r = inks(kCMYK, "1");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(keys(r.out), kAllKeys);
    auto f = fields(r.out);
    EXPECT_EQ(floats(f["dot-gain"]).size(), 4u);
    EXPECT_EQ(floats(f["primaries-lch"]).size(), 18u);

    r = inks(kGray, "0");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(keys(r.out),
              (std::vector<std::string>{"dot-gain", "lightest", "full-ink", "lightest-lch",
                                        "full-ink-lch", "black-ink-lch", "cmy-ink-lch",
                                        "black-point", "primaries-lch", "max-chroma"}));
    f = fields(r.out);
    auto gain = floats(f["dot-gain"].substr(0, f["dot-gain"].rfind(' ')));
    EXPECT_EQ(gain, (std::vector<float>{0, 0, 0})); // gray: only black is measured
    EXPECT_EQ(f["cmy-ink-lch"], "0 0 0");
    EXPECT_EQ(f["black-ink-lch"], "0 0 0");
    EXPECT_EQ(f["primaries-lch"], "0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0");
    EXPECT_EQ(f["max-chroma"], "0");

    r = inks(kGray, "-1");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(keys(r.out), kDefaultKeys);
}

TEST_F(CliIccInks, EdgeValuesOfTheMeasures) {
    auto r = inks(printer("noblack.icc", printerRecipe(separationWithoutBlack)), "1");
    ASSERT_EQ(r.status, 0) << r.err;
    auto f = fields(r.out);
    EXPECT_EQ(f["start-of-black"], "9.0486002"); // L 5930, never tested
    EXPECT_EQ(f["total-ink-max"], "300");
    EXPECT_EQ(f["black-max"], "0");

    r = inks(printer("under.icc", printerRecipe(separationJustUnder300)), "1");
    f = fields(r.out);
    EXPECT_EQ(f["total-ink-max"], "299");
    EXPECT_EQ(f["black-max"], "74");

    r = inks(printer("onwhite.icc", printerRecipe(separationBlackOnWhite)), "1");
    EXPECT_EQ(fields(r.out)["start-of-black"], "100");

    // A printer without a way back: no inspector with worlds, defaults without.
    auto oneWay = printerRecipe();
    std::erase_if(oneWay.tables, [](const auto& t) { return (t.tag >> 24) == 'B'; });
    const std::string path = printer("oneway.icc", oneWay);
    r = inks(path, "0");
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.err, HasSubstr("oneway.icc"));
    r = inks(path, "-1");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(keys(r.out), kDefaultKeys);
    EXPECT_NE(fields(r.out)["dot-gain"], "0 0 0 0"); // measured through its own world
}

TEST_F(CliIccInks, EveryLineIsWhatMatchGivesForTheSameColours) {
    // One "icc match" a direction and intent, all test colours in it: each
    // colour gives two lines, its fields and its reals.
    auto matchAll = [&](const std::string& src, const std::string& dst, int intent,
                        const std::vector<std::vector<std::string>>& colours) {
        std::vector<std::string> args = {"icc",   "match", "--src",    src,
                                         "--dst", dst,     "--intent", std::to_string(intent)};
        for (std::size_t i = 0; i < colours.size(); ++i) {
            if (i > 0)
                args.push_back(",");
            args.insert(args.end(), colours[i].begin(), colours[i].end());
        }
        CliRun r = run(args);
        EXPECT_EQ(r.status, 0) << r.err;
        auto out = lines(r.out);
        EXPECT_EQ(out.size(), 2 * colours.size());
        out.resize(2 * colours.size());
        return out;
    };
    const std::vector<std::vector<std::string>> deviceColours = {
        {"0", "0", "0", "0"},     {"65535", "65535", "65535", "65535"},
        {"0", "0", "0", "65535"}, {"65535", "65535", "65535", "0"},
        {"0", "65535", "0", "0"}, {"65535", "65535", "0", "0"}};
    // The neutral black, then the 91 test colours of the start of black.
    std::vector<std::vector<std::string>> labColours = {{"0", "32767", "32767"}};
    for (int i = 0; i < 91; ++i)
        labColours.push_back({std::to_string(65535 - 655 * i), "32767", "32767"});

    for (int intent = 0; intent <= 3; ++intent) {
        SCOPED_TRACE(intent);
        auto r = inks(kCMYK, std::to_string(intent));
        ASSERT_EQ(r.status, 0) << r.err;
        auto f = fields(r.out);

        const auto toLab = matchAll(kCMYK, "lab", intent, deviceColours);
        EXPECT_EQ(f["lightest"], toLab[1]);
        EXPECT_EQ(f["full-ink"], toLab[3]);
        // Lightness of the Lch lines is the L of the matched colour.
        auto lOf = [&](std::size_t colour) { return floats(toLab[2 * colour + 1]).at(0); };
        EXPECT_EQ(floats(f["black-ink-lch"]).at(0), lOf(2));
        EXPECT_EQ(floats(f["cmy-ink-lch"]).at(0), lOf(3));
        const auto primaries = floats(f["primaries-lch"]);
        ASSERT_EQ(primaries.size(), 18u);
        EXPECT_EQ(primaries.at(0), lOf(4));  // magenta
        EXPECT_EQ(primaries.at(15), lOf(5)); // blue

        const auto toDevice = matchAll("lab", kCMYK, intent, labColours);
        // Ink limits: the neutral black sent to the device.
        auto ink = floats(toDevice[1]);
        ASSERT_EQ(ink.size(), 4u);
        const float sum = ink[0] + ink[1] + ink[2] + ink[3];
        EXPECT_EQ(f["total-ink-max"], std::to_string(static_cast<int>(sum)));
        EXPECT_EQ(f["black-max"], std::to_string(static_cast<int>(ink[3])));

        // Black point: there and back.
        std::vector<std::string> deviceFields;
        std::istringstream in(toDevice[0]);
        for (std::string w; in >> w;)
            deviceFields.push_back(w);
        EXPECT_EQ(f["black-point"], matchAll(kCMYK, "lab", intent, {deviceFields})[1]);

        // Start of black: the first of the 91 test colours with k of 0.5 % or more.
        int L = 5930;
        for (int i = 0; i < 91; ++i)
            if (floats(toDevice[2 * (i + 1) + 1]).at(3) >= 0.5f) {
                L = 65535 - 655 * i;
                break;
            }
        char expected[32];
        std::snprintf(expected, sizeof expected, "%.9g",
                      static_cast<double>(static_cast<float>(L * 100.0 / 65535.0)));
        EXPECT_EQ(f["start-of-black"], expected);
    }
}

TEST_F(CliIccInks, DotGainHasItsOwnWorldWhateverTheIntent) {
    const std::string gain = fields(inks(kCMYK, "-1").out)["dot-gain"];
    for (const char* intent : {"0", "1", "2", "3"})
        EXPECT_EQ(fields(inks(kCMYK, intent).out)["dot-gain"], gain) << intent;
    for (float g : floats(gain))
        EXPECT_TRUE(std::isfinite(g)) << gain;
}

TEST_F(CliIccInks, NoInspectorIsAFailureAndBadArgumentsAreWrongUsage) {
    EXPECT_EQ(inks(kNamed, "0").status, 1);
    EXPECT_EQ(inks("/nonexistent/profile.icc", "-1").status, 1);
    TempDir dir;
    writeFile(dir / "text.icc", "not a profile at all");
    EXPECT_EQ(inks((dir / "text.icc").string(), "0").status, 1);
    EXPECT_EQ(run({"icc", "inks"}).status, 2);
    EXPECT_EQ(run({"icc", "inks", kSRGB, "--intent"}).status, 2);
    EXPECT_EQ(run({"icc", "inks", kSRGB, "--intent", "one"}).status, 2);
    EXPECT_EQ(run({"icc", "inks", kSRGB, kCMYK}).status, 2);
    EXPECT_EQ(run({"icc", "inks", kSRGB, "--bogus"}).status, 2);
}
