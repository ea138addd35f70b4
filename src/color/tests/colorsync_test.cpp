// The colour engine adapter: the path limit, the raw header and elements,
// the description, colour worlds and the boundary between the colour
// record's fields and the engine's values.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>

#include "color/colorsync.h"
#include "color/profile_manager.h"
#include "color/tests/present.h"
#include "color/tests/profile_fixtures.h"
#include "tests/known_value.h"

using namespace slidebox::color;
using namespace slidebox::testing;
using slidebox::platform::ErrorCode;

namespace {

constexpr double kLabTolerance = 0.2;   // Lab units, between profiles of the same space
constexpr double kFieldTolerance = 1.0; // one 16-bit field step

// The generic profile of a space, as the build made it.
CMProfileRef openGeneric(OSType space) {
    return present(CMOpenProfile(ProfileManager::pathOfGenericProfilForSpace(space).value()));
}

/// L, a and b of a Lab record.
std::vector<double> labOf(const CMColor& c) {
    return {c.lab.L * 100.0 / 65535.0, c.lab.a * 255.996 / 65535.0 - 128.0,
            c.lab.b * 255.996 / 65535.0 - 128.0};
}

} // namespace

TEST(ColorSyncBoundary, EveryFieldSurvivesTheTripAndOutOfRangeValuesAreHeld) {
    // Each field value of each scale goes to the engine's value and back unchanged.
    for (OSType space : {cmLabData, cmXYZData, cmRGBData, cmCMYKData, cmGrayData}) {
        unsigned channels = channelsOfColorSpace(space);
        for (std::uint32_t w = 0; w <= 65535; ++w) {
            CMColor in{};
            for (unsigned i = 0; i < channels; ++i)
                in.raw[i] = static_cast<std::uint16_t>((w + 9973 * i) % 65536);
            auto out = colorFromEngineValues(engineValuesFromColor(in, space), space).value();
            for (unsigned i = 0; i < channels; ++i)
                ASSERT_EQ(out.raw[i], in.raw[i]) << "space " << std::hex << space << " field " << w;
        }
    }

    // The scales themselves meet known values in the worlds below and in
    // the CLI's golden lines; values beyond a field's ends are held to it.
    auto held = colorFromEngineValues(std::vector<double>{120.0, 300.0, -300.0}, cmLabData).value();
    EXPECT_EQ((std::array{held.lab.L, held.lab.a, held.lab.b}),
              (std::array<std::uint16_t, 3>{65535, 65535, 0}));
    EXPECT_FALSE(colorFromEngineValues(std::vector<double>{1.0}, cmRGBData));
    // Spaces with channels but no colour record, and one with neither.
    for (OSType space : {fourCC("sRGB"), fourCC("9CLR"), fourCC("2CLR")})
        EXPECT_TRUE(engineValuesFromColor(held, space).empty()) << std::hex << space;
}

TEST(ColorSyncProfiles, OpenedFromPathsUpToTheLimitAndFromMemoryAlike) {
    TempDir dir;
    auto bytes = present(genericProfileBytes(cmLabData));
    const auto atLimit = writeDeepFile(
        dir.path(), kMaxProfilePathBytes,
        std::string_view(reinterpret_cast<const char*>(bytes->data()), bytes->size()));
    EXPECT_NE(CMOpenProfile(atLimit), nullptr);
    EXPECT_EQ(CMOpenProfileChecked(atLimit.native() + "x").status().code(), ErrorCode::BadArgument);

    auto inMemory = present(CMOpenProfileFromBytes(*bytes));
    EXPECT_EQ(CMGetProfileHeader(*inMemory.value())->dataColorSpace, cmLabData);
    EXPECT_TRUE(CMGetProfileLocation(*inMemory.value()).empty());
    EXPECT_EQ(CMOpenProfileFromBytes(std::span(*bytes).first(bytes->size() - 1)).status().code(),
              ErrorCode::Truncated);
}

TEST(ColorSyncProfiles, HeaderIsTheFilesInHostOrderAndElementsAreReadSizeFirstThenWhole) {
    TempDir dir;
    Bytes bytes = stored("rgb-tables-v2.icc");
    setWord(bytes, 40, fourCC("APPL")); // platform: the engine has no getter for it
    setWord(bytes, 56, 0x01020304);     // attributes, high word
    setWord(bytes, 60, 0x05060708);     // attributes, low word
    setWord(bytes, 68, 0x0000F6D6);     // illuminant X
    auto path = writeProfile(dir, "rgb.icc", bytes);
    auto profile = present(CMOpenProfile(path));
    const CM2Header h = CMGetProfileHeader(*profile).value();
    EXPECT_EQ((std::vector<std::uint64_t>{h.size, h.profileClass, h.dataColorSpace,
                                          h.profileConnectionSpace, h.CS2profileSignature,
                                          h.platform, h.deviceAttributes[0], h.deviceAttributes[1],
                                          std::uint64_t(h.white.X)}),
              (std::vector<std::uint64_t>{bytes.size(), cmDisplayClass, cmRGBData, cmLabData,
                                          fourCC("acsp"), fourCC("APPL"), 0x01020304u, 0x05060708u,
                                          0xF6D6}));
    EXPECT_EQ(CMGetProfileLocation(*profile), path);
    // The record written back is the file's header.
    auto back = bytesFromHeader(h);
    EXPECT_TRUE(std::equal(back.begin(), back.end(), bytes.begin()));

    // An element: its size first, then the whole of it.
    auto entry = present(tagEntry(bytes, fourCC("A2B0")));

    std::uint32_t size = 0;
    ASSERT_EQ(CMGetProfileElement(*profile, fourCC("A2B0"), size, nullptr), noErr);
    EXPECT_EQ(size, entry->second);
    std::vector<std::uint8_t> element(size);
    ASSERT_EQ(CMGetProfileElement(*profile, fourCC("A2B0"), size, element.data()), noErr);
    EXPECT_TRUE(std::equal(element.begin(), element.end(), bytes.begin() + entry->first));
    EXPECT_EQ(word(element, 0), fourCC("mft2"));

    for (auto [given, error] : {std::pair{size - 1, cmProfileError}, {0u, paramErr}})
        EXPECT_EQ(CMGetProfileElement(*profile, fourCC("A2B0"), given, element.data()), error);
    EXPECT_EQ(CMGetProfileElement(*profile, fourCC("gamt"), size, nullptr), cmElementTagNotFound);
}

TEST(ColorSyncWorlds, RGBAndGrayThroughLabGiveThePublishedValues) {
    auto lab = openGeneric(cmLabData);
    const struct {
        OSType space;
        std::array<std::uint16_t, 3> in;
        std::vector<double> lab; // L, a, b within kLabTolerance
    } rows[] = {
        // sRGB under D50 (Bradford): white, red, black.
        {cmRGBData, {65535, 65535, 65535}, {100.0, 0.0, 0.0}},
        {cmRGBData, {65535, 0, 0}, {54.29, 80.80, 69.89}},
        {cmRGBData, {0, 0, 0}, {0.0}}, // L alone
        // Gamma 2.2: Y = 0.5^2.2 = 0.2176, L* = 116 * Y^(1/3) - 16 = 53.89.
        {cmGrayData, {65535}, {100.0, 0.0, 0.0}},
        {cmGrayData, {32768}, {53.89, 0.0, 0.0}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.in[0]);
        auto device = openGeneric(row.space);
        ProfileSetEntry chain[] = {{device.get(), 1, TransformTag::DeviceToPCS},
                                   {lab.get(), 1, TransformTag::PCSToDevice}};
        auto world = present(NCWConcatColorWorld(chain));
        EXPECT_EQ(std::pair(CWInputSpace(*world), CWOutputSpace(*world)),
                  std::pair(row.space, cmLabData));
        CMColor c{};
        std::copy(row.in.begin(), row.in.end(), c.raw);
        ASSERT_TRUE(CWMatchColors(*world, std::span(&c, 1)));
        std::vector<double> got = labOf(c);
        got.resize(row.lab.size());
        EXPECT_TRUE(knownValues(row.lab, kLabTolerance, got));
        if (row.space != cmRGBData || row.in != std::array<std::uint16_t, 3>{65535, 0, 0})
            continue;
        // And back: Lab -> sRGB gives the red again.
        ProfileSetEntry back[] = {{lab.get(), 1, TransformTag::DeviceToPCS},
                                  {device.get(), 1, TransformTag::PCSToDevice}};
        auto reverse = present(NCWConcatColorWorld(back));
        ASSERT_TRUE(CWMatchColors(*reverse, std::span(&c, 1)));
        EXPECT_KNOWN3(65535, 0, 0, 40 * kFieldTolerance, c.rgb.red, c.rgb.green, c.rgb.blue);
    }
}

TEST(ColorSyncWorlds, ChainsThatCantBeBuiltAreRefused) {
    auto srgb = openGeneric(cmRGBData), lab = openGeneric(cmLabData);
    using T = TransformTag;
    const ProfileSetEntry in{srgb.get(), 0, T::DeviceToPCS}, out{srgb.get(), 0, T::PCSToDevice},
        labIn{lab.get(), 0, T::DeviceToPCS};
    const std::vector<std::vector<ProfileSetEntry>> refused = {
        {},
        {out},                             // the first profile used backwards
        {in, in},                          // device to PCS twice
        {{srgb.get(), 4, T::DeviceToPCS}}, // intent outside 0..3
        {{nullptr, 0, T::DeviceToPCS}},    // no profile
        {in, labIn, labIn, out},           // four entries
    };
    for (const auto& chain : refused)
        EXPECT_FALSE(NCWConcatColorWorld(chain)) << chain.size() << " entries";
    // Three entries, two intents meeting in Lab, stand.
    ProfileSetEntry three[] = {in, {lab.get(), 3, T::DeviceToPCS}, {srgb.get(), 3, T::PCSToDevice}};
    auto world = present(NCWConcatColorWorld(three));
    CMColor grey{};
    grey.rgb = {30000, 30000, 30000};
    ASSERT_TRUE(CWMatchColors(*world, std::span(&grey, 1)));
    EXPECT_NEAR(grey.rgb.green, 30000, 40 * kFieldTolerance);
}

// Installed printer profiles into the generic Lab profile, against the
// engine's own calculator (data/printer_lab.txt). A version 2 profile gets no
// black-point compensation into a version 2 Lab (full ink of default_cmyk.icc
// at L* 11.77, not 0, which the CLI's golden lines hold); a version 4 one gets
// it for perceptual by the ICC's rule; asked for, the black point is met.
TEST(ColorSyncWorlds, PrinterProfilesIntoLabAgreeWithTheEnginesCalculator) {
    // One 16-bit field of the record, and the calculator's printed 4 decimals.
    constexpr double kL = 100.0 / 65535 + 5e-5;
    constexpr double kAB = 255.996 / 65535 + 5e-5;
    auto labProfile = openGeneric(cmLabData);
    std::ifstream rows(SLIDEBOX_COLOR_TEST_DATA "/printer_lab.txt");
    std::string line;
    int checked = 0;
    while (std::getline(rows, line)) {
        std::istringstream row(line);
        std::string name;
        std::int32_t intent = 0, bpc = 0;
        CMColor c{};
        double L = 0, a = 0, b = 0;
        if (line.empty() || line[0] == '#' ||
            !(row >> name >> intent >> bpc >> c.raw[0] >> c.raw[1] >> c.raw[2] >> c.raw[3] >> L >>
              a >> b))
            continue;
        ++checked;
        auto path = installedProfile(name);
        if (!path)
            continue; // its package isn't installed
        SCOPED_TRACE(line);
        auto printer = present(CMOpenProfile(*path));
        ProfileSetEntry chain[] = {{printer.get(), intent, TransformTag::DeviceToPCS},
                                   {labProfile.get(), intent, TransformTag::PCSToDevice}};
        auto world = present(NCWConcatColorWorld(chain, {.blackPointCompensation = bpc != 0}));
        ASSERT_TRUE(CWMatchColors(*world, std::span(&c, 1)));
        const auto lab = labOf(c);
        EXPECT_KNOWN(L, kL, lab[0]);
        EXPECT_TRUE(knownValues({a, b}, kAB, {lab[1], lab[2]}));
    }
    EXPECT_EQ(checked, 8);
}

// Without optimisation a bitmap is matched exactly as single colours are,
// which is what lets a bitmap match agree with a match of its colours.
TEST(ColorSyncBitmaps, UnoptimisedMatchGivesTheFieldsOfSingleColours) {
    auto srgb = openGeneric(cmRGBData), gray = openGeneric(cmGrayData);
    ProfileSetEntry chain[] = {{srgb.get(), 0, TransformTag::DeviceToPCS},
                               {gray.get(), 0, TransformTag::PCSToDevice}};
    auto world = present(NCWConcatColorWorld(chain));
    auto bitmaps = present(NCWNewBitmapWorld(*world, chain, {.optimize = false}));
    constexpr std::uint32_t kWidth = 97, kHeight = 3;
    std::vector<std::uint16_t> rgb(kWidth * kHeight * 3), out(kWidth * kHeight);
    for (std::size_t i = 0; i < rgb.size(); ++i)
        rgb[i] = static_cast<std::uint16_t>(i * 7919 % 65536);
    CMBitmap src{reinterpret_cast<char*>(rgb.data()), kWidth, kHeight, kWidth * 6, 48,
                 cmRGB24Space | cm16BitSamples};
    CMBitmap dst{reinterpret_cast<char*>(out.data()), kWidth, kHeight, kWidth * 2, 16,
                 cmGray8Space | cm16BitSamples};
    ASSERT_EQ(CWMatchBitmap(*bitmaps, src, dst), noErr);
    std::vector<CMColor> colors(kWidth * kHeight);
    for (std::size_t i = 0; i < colors.size(); ++i)
        colors[i].rgb = {rgb[3 * i], rgb[3 * i + 1], rgb[3 * i + 2]};
    ASSERT_TRUE(CWMatchColors(*world, colors));
    for (std::size_t i = 0; i < colors.size(); ++i)
        ASSERT_EQ(colors[i].gray.gray, out[i]) << "pixel " << i;
}
