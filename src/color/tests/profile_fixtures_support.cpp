#include "color/tests/profile_fixtures.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace slidebox::testing {

using namespace slidebox::color;

ScopedProfilePlaces::ScopedProfilePlaces() : previous_(ProfileManager::places()) {
    ProfileManager::setPlaces(ProfilePlaces::underHome(home_.path()));
}

ScopedProfilePlaces::~ScopedProfilePlaces() {
    ProfileManager::setPlaces(previous_);
}

std::filesystem::path storedPath(const std::string& name) {
    return std::filesystem::path(SLIDEBOX_COLOR_TEST_DATA) / "profiles" / name;
}

Bytes stored(const std::string& name) {
    std::ifstream in(storedPath(name), std::ios::binary);
    Bytes bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    EXPECT_FALSE(bytes.empty()) << "no stored profile " << name;
    return bytes;
}

std::filesystem::path writeProfile(const TempDir& dir, const std::string& name,
                                   const Bytes& bytes) {
    std::filesystem::path path = dir / name;
    writeFile(path, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    return path;
}

std::optional<std::filesystem::path> installedProfile(const std::string& relative) {
    const auto path = std::filesystem::path("/usr/share/color/icc") / relative;
    return std::filesystem::exists(path) ? std::optional(path) : std::nullopt;
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
    for (std::size_t at = 132; at < 132 + 12 * std::size_t{word(b, 128)}; at += 12)
        if (word(b, at) == tag)
            return std::make_pair(word(b, at + 4), word(b, at + 8));
    return std::nullopt;
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
    // The element goes at the end of the file, the tag points there and the
    // declared size grows with it.
    Bytes bytes = profile;
    bytes.resize((bytes.size() + 3) / 4 * 4, 0);
    const auto offset = static_cast<std::uint32_t>(bytes.size());
    bytes.insert(bytes.end(), {'d', 'e', 's', 'c', 0, 0, 0, 0});
    bytes.insert(bytes.end(), afterReserved.begin(), afterReserved.end());
    for (std::size_t at = 132; at < 132 + 12 * std::size_t{word(bytes, 128)}; at += 12)
        if (word(bytes, at) == fourCC("desc")) {
            setWord(bytes, at + 4, offset);
            setWord(bytes, at + 8, static_cast<std::uint32_t>(bytes.size()) - offset);
        }
    setWord(bytes, 0, static_cast<std::uint32_t>(bytes.size()));
    return bytes;
}

Bytes catalogueProfile(OSType profileClass, OSType space, std::optional<std::string> description,
                       OSType pcs) {
    Bytes bytes = stored(description ? "matrix-rgb-v2.icc" : "matrix-rgb-v2-no-desc.icc");
    if (description) {
        // A text description: the ASCII count and text with its NUL, then
        // empty Unicode and ScriptCode parts.
        Bytes element(4, 0);
        setWord(element, 0, static_cast<std::uint32_t>(description->size() + 1));
        element.insert(element.end(), description->begin(), description->end());
        element.resize(element.size() + 1 + 8 + 3 + 67, 0);
        bytes = withRawDescription(bytes, element);
    }
    if (bytes.size() < kProfileHeaderSize)
        return bytes;
    setWord(bytes, 12, profileClass);
    setWord(bytes, 16, space);
    setWord(bytes, 20, pcs);
    return bytes;
}

} // namespace slidebox::testing
