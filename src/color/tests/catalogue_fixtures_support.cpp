#include "color/tests/catalogue_fixtures.h"

#include <gtest/gtest.h>

namespace slidebox::testing {

using namespace slidebox::color;

Bytes catalogueProfile(OSType profileClass, OSType space, std::optional<std::string> description,
                       double version, OSType pcs) {
    ProfileRecipe recipe;
    recipe.colorSpace = cmRGBData;
    recipe.deviceClass = cmDisplayClass;
    recipe.matrixShaper = true;
    recipe.version = version;
    recipe.description = std::move(description);
    Bytes bytes = make(recipe);
    if (bytes.size() < kProfileHeaderSize)
        return bytes;
    setWord(bytes, 12, profileClass);
    setWord(bytes, 16, space);
    setWord(bytes, 20, pcs);
    return bytes;
}

void setDate(Bytes& bytes, const CMDateTime& d) {
    const std::uint16_t fields[6] = {d.year,  d.month,   d.dayOfTheMonth,
                                     d.hours, d.minutes, d.seconds};
    for (int i = 0; i < 6; ++i) {
        bytes.at(24 + 2 * i) = static_cast<std::uint8_t>(fields[i] >> 8);
        bytes.at(25 + 2 * i) = static_cast<std::uint8_t>(fields[i] & 0xFF);
    }
}

Bytes withRawDescription(const Bytes& profile, const std::vector<std::uint8_t>& afterReserved) {
    // Append the element at the end of the file and point the tag there;
    // the declared size grows with it.
    Bytes bytes = profile;
    auto entry = tagEntry(bytes, fourCC("desc"));
    EXPECT_TRUE(entry.has_value()) << "the profile has no desc to replace";
    if (!entry)
        return bytes;
    while (bytes.size() % 4 != 0)
        bytes.push_back(0);
    const auto offset = static_cast<std::uint32_t>(bytes.size());
    for (int c : {int{'d'}, int{'e'}, int{'s'}, int{'c'}, 0, 0, 0, 0})
        bytes.push_back(static_cast<std::uint8_t>(c));
    bytes.insert(bytes.end(), afterReserved.begin(), afterReserved.end());
    const std::uint32_t count = word(bytes, 128);
    for (std::uint32_t i = 0; i < count; ++i) {
        std::size_t at = 132 + 12 * std::size_t{i};
        if (word(bytes, at) == fourCC("desc")) {
            setWord(bytes, at + 4, offset);
            setWord(bytes, at + 8, static_cast<std::uint32_t>(bytes.size()) - offset);
        }
    }
    setWord(bytes, 0, static_cast<std::uint32_t>(bytes.size()));
    return bytes;
}

ProfileRecipe
printerRecipe(std::function<std::array<double, 4>(double, double, double)> separation) {
    ProfileRecipe recipe;
    recipe.colorSpace = cmCMYKData;
    recipe.deviceClass = cmOutputClass;
    recipe.description = "Test printer";
    for (OSType tag : {fourCC("A2B0"), fourCC("A2B1"), fourCC("A2B2"), fourCC("B2A0"),
                       fourCC("B2A1"), fourCC("B2A2")})
        recipe.tables.push_back({tag, ProfileTableRecipe::Kind::Lut16, 9});
    recipe.separation = std::move(separation);
    return recipe;
}

std::array<double, 4> separationWithoutBlack(double L, double, double) {
    const double ink = 1.0 - L / 100.0;
    return {ink, ink, ink, 0.0};
}

std::array<double, 4> separationBlackOnWhite(double L, double, double) {
    const double ink = 1.0 - L / 100.0;
    return {0.0, 0.0, 0.0, 0.01 + 0.99 * ink};
}

std::array<double, 4> separationJustUnder300(double L, double, double) {
    const double ink = (1.0 - L / 100.0) * (49151.0 / 65535.0);
    return {ink, ink, ink, ink};
}

} // namespace slidebox::testing
