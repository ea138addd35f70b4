// Grading profiles: the four short forms and their -1.0 cases, the grids
// and divisors checked against the plain algorithm (one engine match a
// colour), and the throttle's slices and pauses on a fake clock.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <span>
#include <vector>

#include "color/color_world.h"
#include "color/tests/profile_fixtures.h"

namespace slidebox::color {
namespace {

using testing::make;
using testing::ScopedProfilePlaces;
using testing::TempDir;
using testing::writeProfile;

constexpr float kHuge = 1e30f;        // a tolerance no difference reaches
constexpr double kQuotientTol = 1e-4; // the divisors' quotients, as the edge cases give them

// Stands in for the system clock: a slice's work takes `work` seconds of
// this clock, counted from the moment sleepUntil returns.
class FakeClock final : public ThrottleClock {
  public:
    double now() override {
        ++nowCalls;
        return time;
    }
    void sleepUntil(double when) override {
        pauses.push_back(when > time ? when - time : 0.0);
        if (when > time)
            time = when;
        if (onSlice)
            onSlice(static_cast<int>(pauses.size()));
        time += work;
    }
    double time = 1000.0;
    double work = 0.5;
    int nowCalls = 0;
    std::vector<double> pauses; // one a slice
    std::function<void(int slice)> onSlice;
};

class ProfileQuality : public ::testing::Test {
  protected:
    void TearDown() override {
        ColorWorld::setThrottleClock(nullptr);
        ColorWorld::setSpeedCalculation(100.0f);
    }
    std::filesystem::path profile(const std::string& name, const ProfileRecipe& recipe) {
        return writeProfile(dir_, name, make(recipe));
    }
    std::filesystem::path generic(OSType space, const std::string& name) {
        auto bytes = genericProfileBytes(space);
        EXPECT_TRUE(bytes);
        return writeProfile(dir_, name, bytes.value_or(testing::Bytes{}));
    }
    static ProfileRecipe cmykRecipe() {
        ProfileRecipe recipe;
        recipe.colorSpace = cmCMYKData;
        recipe.deviceClass = fourCC("prtr");
        for (OSType tag : {fourCC("A2B0"), fourCC("A2B1"), fourCC("B2A0"), fourCC("B2A1")})
            recipe.tables.push_back({tag, ProfileTableRecipe::Kind::Lut16, 9});
        return recipe;
    }

    ScopedProfilePlaces places_;
    TempDir dir_;
};

// The two worlds of a test, as the plain algorithm builds them.
struct Worlds {
    CMWorldRef toLab, fromLab;
    OSType space = 0, pcs = 0;
};

Worlds worldsOf(const std::filesystem::path& path, std::int32_t intent) {
    Worlds w;
    CMProfileRef profile = ProfileManager::profileRefForPath(path);
    CMProfileRef lab = ProfileManager::profileRefForPath(*ProfileManager::pathOfGenericLabProfil());
    ColorWorld a, b;
    EXPECT_FALSE(a.initColorWorld(w.toLab, profile.get(), intent, intent, lab.get()));
    EXPECT_FALSE(b.initColorWorld(w.fromLab, lab.get(), intent, intent, profile.get()));
    w.space = CMGetProfileHeader(*profile)->dataColorSpace;
    w.pcs = CMGetProfileHeader(*profile)->profileConnectionSpace;
    return w;
}

void matchOne(const CMWorld& world, CMColor& color) {
    CWMatchColors(world, std::span(&color, 1));
}

float difference(CMColor c1, CMColor c2, OSType pcs) {
    if (pcs == cmXYZData) {
        CMColor l1, l2;
        ColorWorld::CMXYZ(c1, l1);
        ColorWorld::CMXYZ(c2, l2);
        c1 = l1;
        c2 = l2;
    }
    return ColorWorld::deltaEWithC1(c1, c2);
}

// The bijectivity test written out plainly: nested loops over the 11
// levels 0, 6553 .. 65530, three engine matches a point, a running sum.
float plainQuality(const Worlds& w, int channels, float& maxi) {
    float sum = 0.0f;
    maxi = 0.0f;
    const int levels4 = channels == 4 ? 11 : 1;
    for (int i = 0; i < 11; ++i)
        for (int j = 0; j < 11; ++j)
            for (int k = 0; k < 11; ++k)
                for (int l = 0; l < levels4; ++l) {
                    CMColor c1{};
                    c1.raw[0] = static_cast<std::uint16_t>(i * 6553);
                    c1.raw[1] = static_cast<std::uint16_t>(j * 6553);
                    c1.raw[2] = static_cast<std::uint16_t>(k * 6553);
                    c1.raw[3] = static_cast<std::uint16_t>(l * 6553);
                    matchOne(*w.toLab, c1);
                    CMColor c2 = c1;
                    matchOne(*w.fromLab, c2);
                    matchOne(*w.toLab, c2);
                    const float d = difference(c1, c2, w.pcs);
                    maxi = std::max(maxi, d);
                    sum += d;
                }
    return sum / static_cast<float>(11 * 11 * 11 * levels4);
}

// The gamut test written out plainly over the 51 levels 0, 1310 .. 65500.
float plainGamut(const Worlds& w, float tolerance) {
    int outside = 0;
    for (int i = 0; i < 51; ++i)
        for (int j = 0; j < 51; ++j)
            for (int k = 0; k < 51; ++k) {
                CMColor c1{};
                c1.raw[0] = static_cast<std::uint16_t>(i * 1310);
                c1.raw[1] = static_cast<std::uint16_t>(j * 1310);
                c1.raw[2] = static_cast<std::uint16_t>(k * 1310);
                CMColor c2 = c1;
                matchOne(*w.fromLab, c2);
                matchOne(*w.toLab, c2);
                if (difference(c1, c2, w.pcs) > tolerance)
                    ++outside;
            }
    const double divisor = w.pcs == cmXYZData ? 0.7760000228881836 : 0.6489999890327454;
    const float inside = static_cast<float>(132651 - outside) / 132651.0f;
    return static_cast<float>(inside * 100.0 / divisor);
}

TEST_F(ProfileQuality, SpeedSettingIsHeldToTenToHundred) {
    for (auto [set, held] : {std::pair{5.0f, 10.0f}, {150.0f, 100.0f}, {42.5f, 42.5f}}) {
        ColorWorld::setSpeedCalculation(set);
        EXPECT_EQ(ColorWorld::speedCalculation(), held) << set;
    }
}

TEST_F(ProfileQuality, NoAnswerForProfilesThatCantBeTested) {
    const auto missing = dir_ / "missing.icc";
    float reference = 7.0f;
    EXPECT_EQ(ColorWorld::bijectivityAverageDeltaEForAbsoluteMode(missing, &reference), -1.0f);
    EXPECT_EQ(ColorWorld::bijectivityAverageDeltaEForPerceptualMode(missing, &reference), -1.0f);
    EXPECT_EQ(reference, 7.0f) << "a test that can't start leaves the reference alone";
    EXPECT_EQ(ColorWorld::inAbsoluteGamutPercentage(missing, 2.0f), -1.0f);
    EXPECT_EQ(ColorWorld::inPerceptualGamutPercentage(missing, 2.0f), -1.0f);

    // A gray profile has worlds but no device grid: the reference is reset.
    const auto gray = generic(cmGrayData, "gray.icc");
    EXPECT_EQ(ColorWorld::bijectivityAverageDeltaEForAbsoluteMode(gray, &reference), -1.0f);
    EXPECT_EQ(reference, 0.0f);

    // Without its Lab-to-device table the way back can't be built.
    ProfileRecipe oneWay = testing::tableRGBRecipe();
    oneWay.tables = {{fourCC("A2B0"), ProfileTableRecipe::Kind::Lut16, 9}};
    const auto oneWayPath = profile("one-way.icc", oneWay);
    reference = 7.0f;
    EXPECT_EQ(ColorWorld::bijectivityAverageDeltaEForPerceptualMode(oneWayPath, &reference), -1.0f);
    EXPECT_EQ(reference, 7.0f);
    EXPECT_EQ(ColorWorld::inPerceptualGamutPercentage(oneWayPath, 2.0f), -1.0f);
}

TEST_F(ProfileQuality, GamutDividesByTheConnectionSpacesConstant) {
    // Nothing outside: the share is 100 divided by K, 0.649 for Lab and
    // 0.776 for XYZ, and is not held to 100.
    const auto lab = *ProfileManager::pathOfGenericLabProfil();
    EXPECT_NEAR(ColorWorld::inAbsoluteGamutPercentage(lab, kHuge), 154.08, kQuotientTol * 154.08);
    const auto srgb = generic(cmRGBData, "srgb.icc"); // matrix and curves: XYZ connection space
    EXPECT_NEAR(ColorWorld::inAbsoluteGamutPercentage(srgb, kHuge), 128.87, kQuotientTol * 128.87);
    // The Lab identity brings every grid point back to its own fields, so
    // even a tolerance of 0 keeps them all inside: a difference equal to
    // the tolerance is inside.
    EXPECT_EQ(ColorWorld::inPerceptualGamutPercentage(lab, 0.0f),
              static_cast<float>(100.0 / 0.6489999890327454));
}

TEST_F(ProfileQuality, BijectivityEqualsThePlainAlgorithm) {
    // The numbers must be those of one engine match a colour, in the
    // grid's order, summed in single precision: compared exactly. A profile
    // of the colour-space class is graded too: its class is never its data
    // colour space.
    ProfileRecipe spac = testing::tableRGBRecipe();
    spac.deviceClass = fourCC("spac");
    for (const auto& rgb :
         {profile("rgb.icc", testing::tableRGBRecipe()), profile("spac.icc", spac)}) {
        for (bool absolute : {false, true}) {
            SCOPED_TRACE(rgb.filename().string() + (absolute ? " absolute" : " perceptual"));
            float plainMax = 0.0f, maxi = -1.0f;
            const float plain = plainQuality(worldsOf(rgb, absolute ? 3 : 0), 3, plainMax);
            const float graded =
                absolute ? ColorWorld::bijectivityAverageDeltaEForAbsoluteMode(rgb, &maxi)
                         : ColorWorld::bijectivityAverageDeltaEForPerceptualMode(rgb, &maxi);
            EXPECT_EQ(graded, plain);
            EXPECT_EQ(maxi, plainMax);
            EXPECT_GT(graded, 0.0f) << "a table profile of grid 9 doesn't return exactly";
        }
    }
    const auto cmyk = profile("cmyk.icc", cmykRecipe());
    float plainMax = 0.0f, maxi = -1.0f;
    const float plain = plainQuality(worldsOf(cmyk, 0), 4, plainMax);
    EXPECT_EQ(ColorWorld::bijectivityAverageDeltaEForPerceptualMode(cmyk, &maxi), plain);
    EXPECT_EQ(maxi, plainMax);
    // The absent reference is allowed.
    EXPECT_EQ(ColorWorld::testProfile(cmyk, true, false, 0.0f, nullptr), plain);
}

TEST_F(ProfileQuality, GamutEqualsThePlainAlgorithm) {
    // An XYZ connection space: both colours read through CMXYZ:toCMLab:.
    const auto srgb = generic(cmRGBData, "srgb.icc");
    const float plain = plainGamut(worldsOf(srgb, 0), 2.0f);
    EXPECT_EQ(ColorWorld::inPerceptualGamutPercentage(srgb, 2.0f), plain);
    EXPECT_GT(plain, 0.0f);
    EXPECT_LT(plain, 100.0f);
}

TEST_F(ProfileQuality, ThrottlePausesBetweenSlices) {
    FakeClock clock;
    ColorWorld::setThrottleClock(&clock);
    const auto rgb = profile("rgb.icc", testing::tableRGBRecipe());
    constexpr double kPauseTol = 1e-9;
    float maxi;

    // At full speed no clock is read.
    ColorWorld::bijectivityAverageDeltaEForPerceptualMode(rgb, &maxi);
    EXPECT_EQ(clock.nowCalls, 0);
    EXPECT_TRUE(clock.pauses.empty());

    // 50 percent: each slice rests as long as it worked. 11 slices of the
    // device grid; the first starts at once.
    ColorWorld::setSpeedCalculation(50.0f);
    const float throttled = ColorWorld::bijectivityAverageDeltaEForPerceptualMode(rgb, &maxi);
    ASSERT_EQ(clock.pauses.size(), 11u);
    EXPECT_NEAR(clock.pauses[0], 0.0, kPauseTol);
    for (std::size_t s = 1; s < clock.pauses.size(); ++s)
        EXPECT_NEAR(clock.pauses[s], clock.work, kPauseTol) << "slice " << s;
    ColorWorld::setSpeedCalculation(100.0f);
    EXPECT_EQ(ColorWorld::bijectivityAverageDeltaEForPerceptualMode(rgb, &maxi), throttled)
        << "the throttle changes the time, not the numbers";

    // 99.9 percent still throttles; the gamut test has 51 slices. Its
    // setting drops to 10 after the fifth slice: from then on each slice
    // rests nine times as long as it worked.
    clock.pauses.clear();
    ColorWorld::setSpeedCalculation(99.9f);
    clock.onSlice = [](int slice) {
        if (slice == 5)
            ColorWorld::setSpeedCalculation(10.0f);
    };
    ColorWorld::inPerceptualGamutPercentage(rgb, 2.0f);
    ASSERT_EQ(clock.pauses.size(), 51u);
    for (std::size_t s = 1; s < 5; ++s)
        EXPECT_NEAR(clock.pauses[s], clock.work * (100.0 / 99.9f - 1.0), kPauseTol) << s;
    for (std::size_t s = 5; s < 51; ++s)
        EXPECT_NEAR(clock.pauses[s], clock.work * 9.0, kPauseTol) << s;
}

TEST_F(ProfileQuality, ColorRunsMatchLikeOneColourACall) {
    // Runs of colours, alone or over threads, give the fields of one
    // engine call a colour: a CMYK world both ways, many colours, sizes
    // around the run length.
    const Worlds w = worldsOf(profile("cmyk.icc", cmykRecipe()), 0);
    std::uint32_t seed = 12345;
    auto next = [&seed] {
        seed = seed * 1664525u + 1013904223u;
        return static_cast<std::uint16_t>(seed >> 16);
    };
    for (const CMWorld* world : {w.toLab.get(), w.fromLab.get()}) {
        for (std::size_t count :
             {std::size_t{0}, std::size_t{1}, std::size_t{513}, std::size_t{5000}}) {
            std::vector<CMColor> colors(count);
            for (CMColor& c : colors)
                for (auto& field : c.raw)
                    field = next();
            std::vector<CMColor> one = colors;
            for (CMColor& c : one)
                ASSERT_TRUE(CWMatchColors(*world, std::span(&c, 1)));
            for (unsigned threads : {1u, 2u, 3u}) {
                std::vector<CMColor> runs = colors;
                ASSERT_TRUE(CWMatchColorRuns(*world, runs, threads));
                for (std::size_t n = 0; n < count; ++n)
                    ASSERT_EQ(std::memcmp(&runs[n], &one[n], sizeof(CMColor)), 0)
                        << "colour " << n << ", " << threads << " threads";
            }
        }
    }
}

} // namespace
} // namespace slidebox::color
