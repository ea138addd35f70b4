// Single colours through colour worlds of real profiles, checked against
// the colour engine's own calculator (transicc, without precalculated
// tables). The calculator is a reference for the tests only.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "color/color_world.h"
#include "color/profile_manager.h"
#include "tests/temp_dir.h"

using namespace slidebox::color;
using slidebox::testing::TempDir;

namespace {

constexpr float kDeltaETol = 0.01f;

const std::filesystem::path kSRGB = "/usr/share/color/icc/colord/sRGB.icc";
const std::filesystem::path kAdobe = "/usr/share/color/icc/colord/AdobeRGB1998.icc";
const std::filesystem::path kCMYK = "/usr/share/color/icc/ghostscript/default_cmyk.icc";
const std::filesystem::path kGray = "/usr/share/color/icc/ghostscript/sgray.icc";

using Values = std::vector<double>;

// Fields of one colour and the same colour on the calculator's scale.
struct Sample {
    std::vector<std::uint16_t> fields;
};

const std::vector<Sample> kRGBSamples = {
    {{65535, 65535, 65535}}, {{0, 0, 0}},
    {{65535, 0, 0}},         {{0, 65535, 0}},
    {{0, 0, 65535}},         {{32768, 32768, 32768}},
    {{12000, 40000, 23000}}, {{60000, 51000, 7000}},
};
const std::vector<Sample> kCMYKSamples = {
    {{0, 0, 0, 0}},
    {{65535, 0, 0, 0}},
    {{0, 65535, 0, 0}},
    {{0, 0, 65535, 0}},
    {{0, 0, 0, 65535}},
    {{20000, 30000, 40000, 10000}},
    {{50000, 5000, 30000, 0}},
};
const std::vector<Sample> kGraySamples = {{{0}}, {{65535}}, {{32768}}, {{5000}}};

bool haveCalculator() {
    return std::system("command -v transicc >/dev/null 2>&1") == 0;
}

// The calculator's scale for a device space: RGB and gray 0..255, CMYK percent.
double scaleOf(OSType space) {
    return space == cmCMYKData ? 100.0 : 255.0;
}

// Runs transicc over some colours; one row of reals per colour.
std::vector<Values> calculator(const std::filesystem::path& in, const std::filesystem::path& out,
                               int intent, const std::vector<Values>& colours) {
    TempDir dir;
    std::ostringstream input;
    input.precision(12);
    for (const Values& c : colours) {
        for (double v : c)
            input << v << ' ';
        input << '\n';
    }
    slidebox::testing::writeFile(dir / "in.txt", input.str());
    const std::string command = "transicc -n -c0 -t" + std::to_string(intent) + " '-i" +
                                in.string() + "' '-o" + out.string() + "' < '" +
                                (dir / "in.txt").string() + "' 2>/dev/null";
    std::vector<Values> rows;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe)
        return rows;
    std::string text;
    char buffer[4096];
    while (std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe))
        text.append(buffer, n);
    pclose(pipe);
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        Values row;
        double v;
        while (words >> v)
            row.push_back(v);
        if (!row.empty())
            rows.push_back(row);
    }
    return rows;
}

Values onScale(const Sample& s, OSType space) {
    Values v;
    for (std::uint16_t w : s.fields)
        v.push_back(w * scaleOf(space) / 65535.0);
    return v;
}

CMColor fieldsOf(const Sample& s) {
    CMColor c{};
    for (std::size_t i = 0; i < s.fields.size(); ++i)
        c.raw[i] = s.fields[i];
    return c;
}

// Colour fields hold their values to the encoding's range; the calculator
// doesn't, so its results are held the same way before they are compared.
void holdToLabFields(Values& lab) {
    lab[0] = std::clamp(lab[0], 0.0, 100.0);
    for (int i = 1; i < 3; ++i)
        lab[i] = std::clamp(lab[i], -128.0, 127.996);
}

void holdToScale(Values& device, OSType space) {
    for (double& v : device)
        v = std::clamp(v, 0.0, scaleOf(space));
}

float deltaE(const Values& one, const Values& two) {
    return ColorWorld::deltaEWithL(float(one[0]), float(one[1]), float(one[2]), float(two[0]),
                                   float(two[1]), float(two[2]));
}

class ColorWorldReference : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!haveCalculator())
            GTEST_SKIP() << "transicc missing: run tools/setup.sh";
        for (const auto& p : {kSRGB, kAdobe, kCMYK, kGray})
            if (!std::filesystem::exists(p))
                GTEST_SKIP() << p << " missing: run tools/setup.sh";
        saved_ = ProfileManager::places();
        ProfileManager::setPlaces(ProfilePlaces::underHome(home_.path()));
        lab_ = ProfileManager::pathOfGenericLabProfil().value();
    }
    void TearDown() override {
        if (saved_)
            ProfileManager::setPlaces(*saved_);
    }

    // A device colour of `space` in Lab, by the calculator, relative colorimetric.
    std::vector<Values> inLab(const std::filesystem::path& profile,
                              const std::vector<Values>& colours) {
        return calculator(profile, lab_, 1, colours);
    }

    // Compares a world from source to the generic Lab profile with the calculator.
    void checkToLab(const std::filesystem::path& source, OSType space,
                    const std::vector<Sample>& samples) {
        std::vector<Values> input;
        for (const Sample& s : samples)
            input.push_back(onScale(s, space));
        for (int intent = 0; intent <= 3; ++intent) {
            auto world = ColorWorld::initColorWorldWithSrcProfil(source, lab_, intent);
            ASSERT_NE(world, nullptr) << source << " intent " << intent;
            auto reference = calculator(source, lab_, intent, input);
            ASSERT_EQ(reference.size(), samples.size());
            for (Values& lab : reference)
                holdToLabFields(lab);
            for (std::size_t i = 0; i < samples.size(); ++i) {
                CMColor c = fieldsOf(samples[i]);
                ASSERT_TRUE(world->matchColor(c));
                float L, a, b;
                ColorWorld::CMLab(c, L, a, b);
                EXPECT_LE(deltaE({L, a, b}, reference[i]), kDeltaETol)
                    << source << " intent " << intent << " sample " << i << ": " << L << ' ' << a
                    << ' ' << b << " against " << reference[i][0] << ' ' << reference[i][1] << ' '
                    << reference[i][2];
            }
        }
    }

    // Compares device results of `ours` with the calculator's, both in Lab
    // through the destination profile.
    void checkDevice(const std::filesystem::path& destination, OSType space,
                     const std::vector<CMColor>& ours, const std::vector<Values>& reference,
                     const std::string& what) {
        ASSERT_EQ(ours.size(), reference.size()) << what;
        std::vector<Values> ourValues;
        const std::size_t channels = space == cmCMYKData ? 4 : space == cmGrayData ? 1 : 3;
        for (const CMColor& c : ours) {
            Values v;
            for (std::size_t k = 0; k < channels; ++k)
                v.push_back(c.raw[k] * scaleOf(space) / 65535.0);
            ourValues.push_back(v);
        }
        const auto ourLab = inLab(destination, ourValues);
        const auto referenceLab = inLab(destination, reference);
        ASSERT_EQ(ourLab.size(), ours.size());
        ASSERT_EQ(referenceLab.size(), ours.size());
        for (std::size_t i = 0; i < ours.size(); ++i)
            EXPECT_LE(deltaE(ourLab[i], referenceLab[i]), kDeltaETol) << what << " sample " << i;
    }

    TempDir home_;
    std::optional<ProfilePlaces> saved_;
    std::filesystem::path lab_;
};

} // namespace

TEST_F(ColorWorldReference, RGBToLabAllIntents) {
    checkToLab(kSRGB, cmRGBData, kRGBSamples);
    checkToLab(kAdobe, cmRGBData, kRGBSamples);
}

TEST_F(ColorWorldReference, CMYKTableToLabAllIntents) {
    checkToLab(kCMYK, cmCMYKData, kCMYKSamples);
}

TEST_F(ColorWorldReference, GrayToLabAllIntents) {
    checkToLab(kGray, cmGrayData, kGraySamples);
}

TEST_F(ColorWorldReference, DeviceToDeviceAllIntents) {
    struct Chain {
        std::filesystem::path source, destination;
        OSType in, out;
        const std::vector<Sample>* samples;
    };
    const Chain chains[] = {
        {kAdobe, kCMYK, cmRGBData, cmCMYKData, &kRGBSamples},
        {kCMYK, kSRGB, cmCMYKData, cmRGBData, &kCMYKSamples},
        {kGray, kSRGB, cmGrayData, cmRGBData, &kGraySamples},
    };
    for (const Chain& chain : chains) {
        std::vector<Values> input;
        for (const Sample& s : *chain.samples)
            input.push_back(onScale(s, chain.in));
        for (int intent = 0; intent <= 3; ++intent) {
            auto world =
                ColorWorld::initColorWorldWithSrcProfil(chain.source, chain.destination, intent);
            ASSERT_NE(world, nullptr);
            std::vector<CMColor> ours;
            for (const Sample& s : *chain.samples) {
                CMColor c = fieldsOf(s);
                ASSERT_TRUE(world->matchColor(c));
                ours.push_back(c);
            }
            auto reference = calculator(chain.source, chain.destination, intent, input);
            for (Values& device : reference)
                holdToScale(device, chain.out);
            checkDevice(chain.destination, chain.out, ours, reference,
                        chain.source.filename().string() + " to " +
                            chain.destination.filename().string() + " intent " +
                            std::to_string(intent));
        }
    }
}

TEST_F(ColorWorldReference, TwoIntentsAgainstTwoSteps) {
    // A version 4 source, whose media white is the connection space's own,
    // so its absolute and relative renderings agree; the destination's
    // intent decides how the paper is met.
    const std::pair<int, int> intents[] = {{0, 3}, {3, 0}, {1, 2}, {2, 1}, {0, 1}};
    std::vector<Values> input;
    for (const Sample& s : kRGBSamples)
        input.push_back(onScale(s, cmRGBData));
    for (auto [in, out] : intents) {
        auto world = ColorWorld::initColorWorldWithSrcProfil(kSRGB, in, out, kCMYK);
        ASSERT_NE(world, nullptr);
        std::vector<CMColor> ours;
        for (const Sample& s : kRGBSamples) {
            CMColor c = fieldsOf(s);
            ASSERT_TRUE(world->matchColor(c));
            ours.push_back(c);
        }
        const auto lab = calculator(kSRGB, lab_, in, input);
        auto reference = calculator(lab_, kCMYK, out, lab);
        for (Values& device : reference)
            holdToScale(device, cmCMYKData);
        checkDevice(kCMYK, cmCMYKData, ours, reference,
                    "intents " + std::to_string(in) + " and " + std::to_string(out));
    }
}
