#include "color/tests/profile_fixtures.h"

#include <gtest/gtest.h>

namespace slidebox::testing {

using namespace slidebox::color;

ScopedProfilePlaces::ScopedProfilePlaces() : previous_(ProfileManager::places()) {
    ProfilePlaces places = ProfilePlaces::underHome(home_.path());
    ProfileManager::setPlaces(places);
}

ScopedProfilePlaces::~ScopedProfilePlaces() {
    ProfileManager::setPlaces(previous_);
}

ProfileRecipe tableRGBRecipe() {
    ProfileRecipe recipe;
    recipe.colorSpace = cmRGBData;
    recipe.deviceClass = cmDisplayClass;
    recipe.description = "Test RGB tables";
    recipe.technology = fourCC("CRT ");
    for (OSType tag : {fourCC("A2B0"), fourCC("A2B1"), fourCC("A2B2"), fourCC("B2A0"),
                       fourCC("B2A1"), fourCC("B2A2")})
        recipe.tables.push_back({tag, ProfileTableRecipe::Kind::Lut16, 9});
    return recipe;
}

Bytes make(const ProfileRecipe& recipe) {
    auto bytes = makeProfile(recipe);
    EXPECT_TRUE(bytes.has_value()) << "the engine refused a test profile";
    return bytes.value_or(Bytes{});
}

std::filesystem::path writeProfile(const TempDir& dir, const std::string& name,
                                   const Bytes& bytes) {
    std::filesystem::path path = dir / name;
    writeFile(path, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    return path;
}

std::optional<std::filesystem::path> installedProfile(const std::string& relative) {
    std::filesystem::path path = std::filesystem::path("/usr/share/color/icc") / relative;
    if (!std::filesystem::exists(path))
        return std::nullopt;
    return path;
}

std::uint32_t word(const Bytes& b, std::size_t o) {
    return (std::uint32_t{b.at(o)} << 24) | (std::uint32_t{b.at(o + 1)} << 16) |
           (std::uint32_t{b.at(o + 2)} << 8) | std::uint32_t{b.at(o + 3)};
}

void setWord(Bytes& b, std::size_t o, std::uint32_t v) {
    for (int i = 0; i < 4; ++i)
        b.at(o + i) = static_cast<std::uint8_t>(v >> (24 - 8 * i));
}

std::optional<std::pair<std::uint32_t, std::uint32_t>> tagEntry(const Bytes& b, OSType tag) {
    std::uint32_t count = word(b, 128);
    for (std::uint32_t i = 0; i < count; ++i) {
        std::size_t entry = 132 + 12 * std::size_t{i};
        if (word(b, entry) == tag)
            return std::make_pair(word(b, entry + 4), word(b, entry + 8));
    }
    return std::nullopt;
}

} // namespace slidebox::testing
