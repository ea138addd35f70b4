// Grading profiles: the short forms and their -1.0 cases, the grading checked
// against the plain algorithm (one engine match a colour), the gamut's
// divisors, and the throttle's slices and pauses on a fake clock.
#include <gtest/gtest.h>

#include <functional>
#include <span>
#include <vector>

#include "color/color_world.h"
#include "color/tests/present.h"
#include "color/tests/profile_fixtures.h"

namespace slidebox::color {
namespace {

using testing::present;
using testing::storedPath;

// A slice's work takes `work` seconds of this clock, counted from the
// moment sleepUntil returns.
struct FakeClock final : ThrottleClock {
    double now() override { return ++nowCalls, time; }
    void sleepUntil(double when) override {
        pauses.push_back(std::max(when - time, 0.0));
        time = std::max(when, time);
        if (onSlice)
            onSlice(static_cast<int>(pauses.size()));
        time += work;
    }
    double time = 1000.0, work = 0.5;
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
    testing::ScopedProfilePlaces places_;
    const testing::TempDir& dir_ = places_.home();
};

// The two worlds between a profile and Lab, as the plain algorithm builds them.
std::pair<CMWorldRef, CMWorldRef> worldsOf(const std::filesystem::path& path, std::int32_t intent) {
    CMProfileRef profile = ProfileManager::profileRefForPath(path);
    CMProfileRef lab = ProfileManager::profileRefForPath(*ProfileManager::pathOfGenericLabProfil());
    CMWorldRef toLab, fromLab;
    ColorWorld a, b;
    EXPECT_FALSE(a.initColorWorld(toLab, profile.get(), intent, intent, lab.get()));
    EXPECT_FALSE(b.initColorWorld(fromLab, lab.get(), intent, intent, profile.get()));
    return {std::move(toLab), std::move(fromLab)};
}

// The grading written out plainly, one engine match a colour and a running
// sum in single precision. Bijectivity: device values 0, 6553 .. 65530 on
// each channel taken to Lab, back and to Lab again. Gamut: Lab fields 0,
// 1310 .. 65500 taken to the device and back. An XYZ connection space reads
// both colours through CMXYZ first.
struct Plain {
    float sum = 0.0f, maxi = 0.0f;
    int outside = 0, count = 1;
};
Plain plainGrading(const std::filesystem::path& path, std::int32_t intent, int channels, bool gamut,
                   float tolerance = 0.0f) {
    auto [toLab, fromLab] = worldsOf(path, intent);
    const bool xyz =
        CMGetProfileHeader(*ProfileManager::profileRefForPath(path))->profileConnectionSpace ==
        cmXYZData;
    auto match = [](const CMWorldRef& w, CMColor& c) { CWMatchColors(*w, std::span(&c, 1)); };
    const int levels = gamut ? 51 : 11, step = gamut ? 1310 : 6553;
    Plain p;
    for (int ch = 0; ch < channels; ++ch)
        p.count *= levels;
    for (int n = 0; n < p.count; ++n) {
        CMColor c1{};
        for (int ch = 0, rest = n; ch < channels; ++ch, rest /= levels)
            c1.raw[channels - 1 - ch] = static_cast<std::uint16_t>(rest % levels * step);
        if (!gamut)
            match(toLab, c1);
        CMColor c2 = c1;
        match(fromLab, c2);
        match(toLab, c2);
        for (CMColor* c : {&c1, &c2}) {
            CMColor lab = *c;
            if (xyz)
                ColorWorld::CMXYZ(*c, lab);
            *c = lab;
        }
        const float d = ColorWorld::deltaEWithC1(c1, c2);
        p.maxi = std::max(p.maxi, d);
        p.sum += d;
        p.outside += d > tolerance;
    }
    return p;
}

TEST_F(ProfileQuality, NoAnswerForProfilesThatCantBeTestedAndGamutDivisors) {
    // Missing; gray (worlds but no device grid: the reference is reset);
    // without its Lab-to-device table (no way back: the reference is kept).
    auto gray = present(genericProfileBytes(cmGrayData));
    const struct {
        std::filesystem::path path;
        float reference;
        bool gamut; // the gamut test needs no device grid
    } rows[] = {{dir_ / "missing.icc", 7.0f, false},
                {testing::writeProfile(dir_, "gray.icc", *gray), 0.0f, true},
                {storedPath("rgb-a2b0-only.icc"), 7.0f, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        float reference = 7.0f;
        EXPECT_EQ(ColorWorld::bijectivityAverageDeltaEForAbsoluteMode(row.path, &reference), -1.0f);
        EXPECT_EQ(reference, row.reference);
        EXPECT_EQ(ColorWorld::bijectivityAverageDeltaEForPerceptualMode(row.path, &reference),
                  -1.0f);
        EXPECT_EQ(ColorWorld::inPerceptualGamutPercentage(row.path, 2.0f) == -1.0f, !row.gamut);
    }
    EXPECT_EQ(ColorWorld::inAbsoluteGamutPercentage(dir_ / "missing.icc", 2.0f), -1.0f);

    // The gamut share is divided by the connection space's constant.
    // Nothing outside: the share is 100 divided by K, 0.649 for Lab and
    // 0.776 for XYZ (matrix and curves), and is not held to 100.
    const auto lab = *ProfileManager::pathOfGenericLabProfil();
    constexpr float kHuge = 1e30f;
    EXPECT_NEAR(ColorWorld::inAbsoluteGamutPercentage(lab, kHuge), 154.08, 1e-4 * 154.08);
    const auto srgb = storedPath("matrix-rgb-v2.icc");
    EXPECT_NEAR(ColorWorld::inAbsoluteGamutPercentage(srgb, kHuge), 128.87, 1e-4 * 128.87);
    // The Lab identity brings every grid point back to its own fields: a
    // difference equal to the tolerance (0) is inside.
    EXPECT_EQ(ColorWorld::inPerceptualGamutPercentage(lab, 0.0f),
              static_cast<float>(100.0 / 0.6489999890327454));
    // Some of the grid outside: the share equals the plain algorithm's.
    const Plain plain = plainGrading(srgb, 0, 3, true, 2.0f);
    const float inside = static_cast<float>(plain.count - plain.outside) / 132651.0f;
    EXPECT_EQ(ColorWorld::inPerceptualGamutPercentage(srgb, 2.0f),
              static_cast<float>(inside * 100.0 / 0.7760000228881836));
    EXPECT_GT(plain.outside, 0);
}

TEST_F(ProfileQuality, BijectivityEqualsThePlainAlgorithm) {
    // Compared exactly: one engine match a colour, in the grid's order. A
    // colour-space class profile is graded too (its class is never its data
    // colour space), and CMYK runs over four channels.
    testing::Bytes spac = testing::stored("rgb-tables-v2.icc");
    testing::setWord(spac, 12, fourCC("spac"));
    const auto cmyk = storedPath("cmyk-printer.icc");
    for (const auto& [path, channels] :
         {std::pair{storedPath("rgb-tables-v2.icc"), 3},
          std::pair{testing::writeProfile(dir_, "spac.icc", spac), 3}, std::pair{cmyk, 4}}) {
        for (bool absolute : {false, true}) {
            SCOPED_TRACE(path.filename().string() + (absolute ? " absolute" : " perceptual"));
            float maxi = -1.0f;
            const Plain p = plainGrading(path, absolute ? 3 : 0, channels, false);
            const float plain = p.sum / static_cast<float>(p.count);
            EXPECT_EQ(absolute ? ColorWorld::bijectivityAverageDeltaEForAbsoluteMode(path, &maxi)
                               : ColorWorld::bijectivityAverageDeltaEForPerceptualMode(path, &maxi),
                      plain);
            EXPECT_EQ(maxi, p.maxi);
            EXPECT_GT(plain, 0.0f) << "a table profile of grid 9 doesn't return exactly";
        }
    }
    // The absent reference is allowed.
    EXPECT_EQ(ColorWorld::testProfile(cmyk, true, false, 0.0f, nullptr),
              plainGrading(cmyk, 0, 4, false).sum / 14641.0f);
}

TEST_F(ProfileQuality, ThrottlePausesBetweenSlices) {
    // The setting is held to 10..100.
    for (auto [set, held] : {std::pair{5.0f, 10.0f}, {150.0f, 100.0f}, {42.5f, 42.5f}}) {
        ColorWorld::setSpeedCalculation(set);
        EXPECT_EQ(ColorWorld::speedCalculation(), held) << set;
    }
    ColorWorld::setSpeedCalculation(100.0f);
    FakeClock clock;
    ColorWorld::setThrottleClock(&clock);
    const auto rgb = storedPath("rgb-tables-v2.icc");
    constexpr double kPauseTol = 1e-9;
    float maxi;
    // At full speed no clock is read.
    ColorWorld::bijectivityAverageDeltaEForPerceptualMode(rgb, &maxi);
    EXPECT_EQ(clock.nowCalls, 0);
    EXPECT_TRUE(clock.pauses.empty());

    // 50 percent: 11 slices of the device grid, each resting as long as it
    // worked; the first starts at once. The numbers don't change.
    ColorWorld::setSpeedCalculation(50.0f);
    const float throttled = ColorWorld::bijectivityAverageDeltaEForPerceptualMode(rgb, &maxi);
    ASSERT_EQ(clock.pauses.size(), 11u);
    EXPECT_NEAR(clock.pauses[0], 0.0, kPauseTol);
    for (std::size_t s = 1; s < clock.pauses.size(); ++s)
        EXPECT_NEAR(clock.pauses[s], clock.work, kPauseTol) << "slice " << s;
    ColorWorld::setSpeedCalculation(100.0f);
    EXPECT_EQ(ColorWorld::bijectivityAverageDeltaEForPerceptualMode(rgb, &maxi), throttled);

    // 99.9 percent still throttles; the gamut test has 51 slices. The
    // setting drops to 10 after the fifth: from then on each slice rests
    // nine times as long as it worked.
    clock.pauses.clear();
    ColorWorld::setSpeedCalculation(99.9f);
    clock.onSlice = [](int slice) {
        if (slice == 5)
            ColorWorld::setSpeedCalculation(10.0f);
    };
    ColorWorld::inPerceptualGamutPercentage(rgb, 2.0f);
    ASSERT_EQ(clock.pauses.size(), 51u);
    for (std::size_t s = 1; s < 51; ++s)
        EXPECT_NEAR(clock.pauses[s], clock.work * (s < 5 ? 100.0 / 99.9f - 1.0 : 9.0), kPauseTol)
            << s;
}

} // namespace
} // namespace slidebox::color
