// slidebox-cli icc header / icc info: golden output for installed profiles
// (their values read from the files' own bytes), and the refusals.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/tests/cli_runner.h"

using ::testing::HasSubstr;
using namespace slidebox::testing;

TEST(CliIcc, HeaderAndInfoOfAnInstalledCMYKProfile) {
    if (!firstMissing({kCMYK}).empty())
        GTEST_SKIP() << "libgs-common isn't installed";
    TempDir home;
    auto r = runAt(home, {"icc", "header"}, {kCMYK});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string zero(4, '\0'); // module and maker are left empty in this file
    EXPECT_EQ(r.out, "Size : 187.484 Ko / CMMType : " + zero +
                         " / version : 0x02100000\n"
                         "class : prtr / dataColorSpace : CMYK / connectionSpace : Lab \n"
                         "CS2signature : acsp / platform : APPL / flags : 0x00000000\n"
                         "deviceManufacturer : " +
                         zero +
                         " / model : 0x00000000\n"
                         "deviceAttributes : 0x00000000 0x00000000\n"
                         "renderingIntent : cmPerceptual\n"
                         "white : X = 0.9642, Y = 1.0000, Z = 0.8249\n");
    EXPECT_TRUE(r.err.empty());

    TempDir infoHome; // a home of its own, to see where info makes the generic Lab profile
    r = runAt(infoHome, {"icc", "info"}, {kCMYK});
    ASSERT_EQ(r.status, 0) << r.err;
    // 16-bit tables of 9 points towards Lab, 8-bit tables of 33 points back.
    EXPECT_EQ(r.out, "name: Artifex CMYK SWOP Profile\n"
                     "class: prtr\n"
                     "data colour space: CMYK\n"
                     "connection space: Lab \n"
                     "channels: 4\n"
                     "preferred intent: 0\n"
                     "valid: yes\n"
                     "device to PCS grid points 0: 9\n"
                     "PCS to device grid points 0: 33\n"
                     "device to PCS grid points 1: 9\n"
                     "PCS to device grid points 1: 33\n"
                     "device to PCS grid points 2: 9\n"
                     "PCS to device grid points 2: 33\n"
                     "device to PCS grid points 3: 9\n"
                     "PCS to device grid points 3: 33\n");
    // The generic Lab profile was made in the test's home, not elsewhere.
    EXPECT_TRUE(std::filesystem::exists(infoHome / "share/slidebox/icc/Generic Lab Profile.icc"));
}

TEST(CliIcc, NamedColourProfileIsInspectedButNotValid) {
    const std::string named = "/usr/share/color/icc/colord/x11-colors.icc";
    if (!firstMissing({named}).empty())
        GTEST_SKIP() << "colord-data isn't installed";
    TempDir home;
    auto r = runAt(home, {"icc", "info"}, {named});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(r.out, HasSubstr("class: nmcl\n"));
    EXPECT_THAT(r.out, HasSubstr("valid: no\n"));
    EXPECT_THAT(r.out, HasSubstr("device to PCS grid points 0: none\n"));
}

TEST(CliIcc, RefusalsAndWrongUsage) {
    TempDir home;
    writeFile(home / "text.icc", "this is no profile");
    for (const std::string sub : {"header", "info"}) {
        auto missing = runAt(home, {"icc", sub}, {(home / "missing.icc").string()});
        EXPECT_EQ(missing.status, 1) << sub;
        EXPECT_TRUE(missing.out.empty());
        EXPECT_THAT(missing.err, HasSubstr("is not a usable ICC profile"));
        EXPECT_EQ(runAt(home, {"icc", sub}, {(home / "text.icc").string()}).status, 1) << sub;
        EXPECT_EQ(runAt(home, {"icc", sub}, {}).status, 2) << sub;
        EXPECT_EQ(runAt(home, {"icc", sub}, {"a.icc", "b.icc"}).status, 2) << sub;
    }
    auto none = runAt(home, {"icc"}, {});
    EXPECT_EQ(none.status, 2);
    EXPECT_THAT(none.err, HasSubstr("no subcommand"));
    auto unknown = runAt(home, {"icc", "frob"}, {});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_THAT(unknown.err, HasSubstr("unknown subcommand 'frob'"));
}
