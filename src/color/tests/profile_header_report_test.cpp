// The header report: its seven lines and the number formats.
#include <gtest/gtest.h>

#include "color/profile_header_report.h"

using namespace slidebox::color;

namespace {
CM2Header sampleHeader() {
    return {.size = 3144,
            .CMMType = fourCC("lcms"),
            .profileVersion = 0x02100000,
            .profileClass = fourCC("mntr"),
            .dataColorSpace = fourCC("RGB "),
            .profileConnectionSpace = fourCC("XYZ "),
            .CS2profileSignature = fourCC("acsp"),
            .platform = fourCC("APPL"),
            .flags = 0x00010002,
            .deviceManufacturer = fourCC("IEC "),
            .deviceModel = 0x73524742,
            .deviceAttributes = {0x00000001, 0x80000000},
            .renderingIntent = 1,
            .white = {0xF6D6, 0x10000, 0xD32D}};
}
} // namespace

TEST(ProfileHeaderReport, SevenLinesInOrder) {
    EXPECT_EQ(headerInfos(sampleHeader()),
              "Size : 3.144 Ko / CMMType : lcms / version : 0x02100000\n"
              "class : mntr / dataColorSpace : RGB  / connectionSpace : XYZ \n"
              "CS2signature : acsp / platform : APPL / flags : 0x00010002\n"
              "deviceManufacturer : IEC  / model : 0x73524742\n"
              "deviceAttributes : 0x00000001 0x80000000\n"
              "renderingIntent : cmRelativeColorimetric\n"
              "white : X = 0.9642, Y = 1.0000, Z = 0.8249");
}

TEST(ProfileHeaderReport, SizeInThousandsOnlyAbove1000) {
    CM2Header h = sampleHeader();
    // Single precision first: 4294967295 becomes 4294967296 before the division.
    for (auto [size, start] : {std::pair{1000u, "Size : 1000 / "},
                               {1001u, "Size : 1.001 Ko / "},
                               {0u, "Size : 0 / "},
                               {0xFFFFFFFFu, "Size : 4294967.296 Ko / "}}) {
        h.size = size;
        EXPECT_EQ(headerInfos(h).rfind(start, 0), 0u) << size;
    }
}

TEST(ProfileHeaderReport, ZeroBytesStayInTheTextAndIntentsAreNamed) {
    CM2Header h = sampleHeader();
    h.platform = 0;
    std::string report = headerInfos(h);
    EXPECT_NE(report.find(std::string("platform : \0\0\0\0 / flags", 22)), std::string::npos);
    EXPECT_EQ(signatureText(0), std::string(4, '\0'));
    EXPECT_EQ(signatureText(fourCC("scnr")), "scnr");

    const char* names[] = {"cmPerceptual", "cmRelativeColorimetric", "cmSaturation",
                           "cmAbsoluteColorimetric"};
    for (std::uint32_t i = 0; i < 4; ++i) {
        h.renderingIntent = i;
        EXPECT_NE(headerInfos(h).find(std::string("renderingIntent : ") + names[i] + "\n"),
                  std::string::npos);
    }
}

TEST(ProfileHeaderReport, WhiteInSinglePrecisionAndNegativeValues) {
    CM2Header h = sampleHeader();
    h.white = {-0x8000, 0x7FFFFFFF, 1};
    std::string report = headerInfos(h);
    EXPECT_NE(report.find("white : X = -0.5000, Y = 32768.0000, Z = 0.0000"), std::string::npos);
}
