// A profile's description comes out as UTF-8, whatever script it is in.
#include <gtest/gtest.h>

#include <vector>

#include "color/engine/lcms.h"

using namespace slidebox::color;

TEST(EngineProfiles, DescriptionsInAnyScriptComeOutAsUtf8) {
    const struct {
        const wchar_t* stored;
        const char* read;
    } rows[] = {{L"Profil \u00e9", "Profil \xc3\xa9"}, {L"\u8272 sRGB", "\xe8\x89\xb2 sRGB"}};
    for (const auto& row : rows) {
        cmsHPROFILE made = cmsCreate_sRGBProfile();
        cmsMLU* text = cmsMLUalloc(nullptr, 1);
        ASSERT_TRUE(cmsMLUsetWide(text, "en", "US", row.stored));
        ASSERT_TRUE(cmsWriteTag(made, cmsSigProfileDescriptionTag, text));
        cmsMLUfree(text);
        auto bytes = engine::saveProfile(made);
        cmsCloseProfile(made);
        ASSERT_TRUE(bytes);
        auto profile = CMOpenProfileFromBytes(*bytes);
        ASSERT_TRUE(profile);
        EXPECT_EQ(CMCopyProfileDescriptionString(**profile), row.read) << row.read;
    }
}
