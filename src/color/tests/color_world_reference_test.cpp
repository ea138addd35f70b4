// Single colours through colour worlds of real profiles, checked against
// the colour engine's own calculator (transicc, without precalculated
// tables). The calculator is a reference for the tests only.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "color/color_world.h"
#include "color/profile_manager.h"
#include "color/tests/world_fixtures.h"
#include "platform/script_runner.h"
#include "tests/child_process.h"

using namespace slidebox::color;
using namespace slidebox::testing;

namespace {

constexpr float kDeltaETol = 0.01f;

using Values = std::vector<double>;
using Samples = std::vector<std::vector<std::uint16_t>>; // the fields of some colours

const Samples kRGBSamples = {{65535, 65535, 65535}, {0, 0, 0},           {65535, 0, 0},
                             {0, 65535, 0},         {0, 0, 65535},       {32768, 32768, 32768},
                             {12000, 40000, 23000}, {60000, 51000, 7000}};
const Samples kCMYKSamples = {{0, 0, 0, 0},           {65535, 0, 0, 0},
                              {0, 65535, 0, 0},       {0, 0, 65535, 0},
                              {0, 0, 0, 65535},       {20000, 30000, 40000, 10000},
                              {50000, 5000, 30000, 0}};
const Samples kGraySamples = {{0}, {65535}, {32768}, {5000}};

// The calculator's scale for a device space: RGB and gray 0..255, CMYK percent.
double scaleOf(OSType space) {
    return space == cmCMYKData ? 100.0 : 255.0;
}

// Runs transicc over some colours; one row of reals per colour.
std::vector<Values> calculator(const std::filesystem::path& in, const std::filesystem::path& out,
                               int intent, const std::vector<Values>& colours) {
    std::ostringstream input;
    input.precision(12);
    for (const Values& c : colours) {
        for (double v : c)
            input << v << ' ';
        input << '\n';
    }
    const auto run = runChild(
        "transicc",
        {"-n", "-c0", "-t" + std::to_string(intent), "-i" + in.string(), "-o" + out.string()}, {},
        input.str());
    std::vector<Values> rows;
    std::istringstream lines(run.out);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        Values row;
        for (double v; words >> v;)
            row.push_back(v);
        if (!row.empty())
            rows.push_back(row);
    }
    return rows;
}

// Device values on the calculator's scale: of sample fields, or of matched colours.
std::vector<Values> onScale(const Samples& samples, OSType space) {
    std::vector<Values> out;
    for (const auto& s : samples) {
        Values v;
        for (std::uint16_t w : s)
            v.push_back(w * scaleOf(space) / 65535.0);
        out.push_back(v);
    }
    return out;
}

// Every sample through a world, as colour records.
std::vector<CMColor> matched(ColorWorld& world, const Samples& samples) {
    std::vector<CMColor> out;
    for (const auto& s : samples) {
        CMColor c{};
        std::copy(s.begin(), s.end(), c.raw);
        EXPECT_TRUE(world.matchColor(c));
        out.push_back(c);
    }
    return out;
}

// Colour fields hold their values to the encoding's range; the calculator
// doesn't, so its results are held the same way before they are compared.
void holdToLabFields(std::vector<Values>& rows) {
    for (Values& lab : rows) {
        lab[0] = std::clamp(lab[0], 0.0, 100.0);
        for (int i = 1; i < 3; ++i)
            lab[i] = std::clamp(lab[i], -128.0, 127.996);
    }
}

void holdToScale(std::vector<Values>& rows, OSType space) {
    for (Values& device : rows)
        for (double& v : device)
            v = std::clamp(v, 0.0, scaleOf(space));
}

float deltaE(const Values& one, const Values& two) {
    return ColorWorld::deltaEWithL(float(one[0]), float(one[1]), float(one[2]), float(two[0]),
                                   float(two[1]), float(two[2]));
}

class ColorWorldReference : public InstalledProfilesTest {
  protected:
    void SetUp() override {
        if (!slidebox::platform::findInPath("transicc"))
            GTEST_SKIP() << "transicc missing: run tools/setup.sh";
        InstalledProfilesTest::SetUp();
        if (!IsSkipped())
            lab_ = genericLab();
    }

    // Compares device results of `ours` with the calculator's, both in Lab
    // (relative colorimetric) through the destination profile.
    void checkDevice(const std::filesystem::path& destination, OSType space,
                     const std::vector<CMColor>& ours, std::vector<Values> reference,
                     const std::string& what) {
        holdToScale(reference, space);
        ASSERT_EQ(ours.size(), reference.size()) << what;
        const int channels = space == cmCMYKData ? 4 : space == cmGrayData ? 1 : 3;
        Samples ourFields;
        for (const CMColor& c : ours)
            ourFields.emplace_back(c.raw, c.raw + channels);
        const auto ourLab = calculator(destination, lab_, 1, onScale(ourFields, space));
        const auto referenceLab = calculator(destination, lab_, 1, reference);
        ASSERT_EQ(ourLab.size(), ours.size());
        ASSERT_EQ(referenceLab.size(), ours.size());
        for (std::size_t i = 0; i < ours.size(); ++i)
            EXPECT_LE(deltaE(ourLab[i], referenceLab[i]), kDeltaETol) << what << " sample " << i;
    }

    std::filesystem::path lab_;
};

} // namespace

TEST_F(ColorWorldReference, DeviceToLabAllIntents) {
    const std::tuple<std::filesystem::path, OSType, const Samples*> sources[] = {
        {kSRGB, cmRGBData, &kRGBSamples},
        {kAdobe, cmRGBData, &kRGBSamples},
        {kCMYK, cmCMYKData, &kCMYKSamples},
        {kGray, cmGrayData, &kGraySamples}};
    for (const auto& [source, space, samples] : sources) {
        for (int intent = 0; intent <= 3; ++intent) {
            SCOPED_TRACE(source.string() + " intent " + std::to_string(intent));
            auto world = ColorWorld::initColorWorldWithSrcProfil(source, lab_, intent);
            ASSERT_NE(world, nullptr);
            auto reference = calculator(source, lab_, intent, onScale(*samples, space));
            ASSERT_EQ(reference.size(), samples->size());
            holdToLabFields(reference);
            const auto ours = matched(*world, *samples);
            for (std::size_t i = 0; i < ours.size(); ++i) {
                float L, a, b;
                ColorWorld::CMLab(ours[i], L, a, b);
                EXPECT_LE(deltaE({L, a, b}, reference[i]), kDeltaETol)
                    << "sample " << i << ": " << L << ' ' << a << ' ' << b << " against "
                    << reference[i][0] << ' ' << reference[i][1] << ' ' << reference[i][2];
            }
        }
    }
}

TEST_F(ColorWorldReference, DeviceToDeviceAllIntents) {
    const std::tuple<std::filesystem::path, std::filesystem::path, OSType, OSType, const Samples*>
        chains[] = {{kAdobe, kCMYK, cmRGBData, cmCMYKData, &kRGBSamples},
                    {kCMYK, kSRGB, cmCMYKData, cmRGBData, &kCMYKSamples},
                    {kGray, kSRGB, cmGrayData, cmRGBData, &kGraySamples}};
    for (const auto& [source, destination, in, out, samples] : chains) {
        for (int intent = 0; intent <= 3; ++intent) {
            auto world = ColorWorld::initColorWorldWithSrcProfil(source, destination, intent);
            ASSERT_NE(world, nullptr);
            checkDevice(destination, out, matched(*world, *samples),
                        calculator(source, destination, intent, onScale(*samples, in)),
                        source.filename().string() + " to " + destination.filename().string() +
                            " intent " + std::to_string(intent));
        }
    }
}

TEST_F(ColorWorldReference, TwoIntentsAgainstTwoSteps) {
    // A version 4 source, whose media white is the connection space's own,
    // so its absolute and relative renderings agree; the destination's
    // intent decides how the paper is met.
    const std::pair<int, int> intents[] = {{0, 3}, {3, 0}, {1, 2}, {2, 1}, {0, 1}};
    for (auto [in, out] : intents) {
        auto world = ColorWorld::initColorWorldWithSrcProfil(kSRGB, in, out, kCMYK);
        ASSERT_NE(world, nullptr);
        const auto lab = calculator(kSRGB, lab_, in, onScale(kRGBSamples, cmRGBData));
        checkDevice(kCMYK, cmCMYKData, matched(*world, kRGBSamples),
                    calculator(lab_, kCMYK, out, lab),
                    "intents " + std::to_string(in) + " and " + std::to_string(out));
    }
}
