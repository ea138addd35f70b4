// The operations of ProfileInspector that read the profile's tables and
// build its description structure; each opens the profile and closes it.
#include "color/profile_inspector.h"
#include "color/profile_manager.h"
#include "color/profile_tag_tables.h"

namespace slidebox::color {

namespace {
void put32(std::vector<std::uint8_t>& bytes, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}
} // namespace

std::int32_t ProfileInspector::DeviceToPCSNbGridPoints() const {
    CMProfileRef profile = ProfileManager::profileRefForPath(profilePath_);
    if (!profile)
        return 0;
    TabInfos infos;
    GetProfileDatas(*profile, rendering_, profileHeader_, &infos, nullptr);
    return static_cast<std::int16_t>(infos.gridPoints);
}

std::int32_t ProfileInspector::PCSToDeviceNbGridPoints() const {
    if (!PCSToDevice_)
        return 0;
    CMProfileRef profile = ProfileManager::profileRefForPath(profilePath_);
    if (!profile)
        return 0;
    TabInfos infos;
    GetProfileDatas(*profile, rendering_, profileHeader_, nullptr, &infos);
    return static_cast<std::int16_t>(infos.gridPoints);
}

bool ProfileInspector::availableRenderingIntent(std::int32_t intent) const {
    CMProfileRef profile = ProfileManager::profileRefForPath(profilePath_);
    return profile && TestProfileDatasForIntent(*profile, intent);
}

std::optional<std::vector<std::uint8_t>> ProfileInspector::profileDescriptionStructureData() const {
    CMProfileRef profile = ProfileManager::profileRefForPath(profilePath_);
    if (!profile)
        return std::nullopt;
    std::vector<std::uint8_t> bytes;
    bytes.reserve(44);
    put32(bytes, profileHeader_.deviceManufacturer);
    put32(bytes, profileHeader_.deviceModel);
    put32(bytes, profileHeader_.deviceAttributes[0]);
    put32(bytes, profileHeader_.deviceAttributes[1]);
    // The technology signature stands at offset 8 of the 'tech' element.
    std::optional<ElementBlock> tech;
    if (GetElement(*profile, kTechnologyTag, &tech, nullptr) == 0 && tech && tech->size() >= 12)
        bytes.insert(bytes.end(), tech->begin() + 8, tech->begin() + 12);
    else
        put32(bytes, 0);
    // Two empty localized-text entries of 12 bytes each.
    for (int entry = 0; entry < 2; ++entry) {
        put32(bytes, kMultiLocalizedUnicodeType);
        put32(bytes, 0);
        put32(bytes, 0);
    }
    return bytes;
}

} // namespace slidebox::color
