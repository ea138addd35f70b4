// The catalogue of profiles: built once, from the installed profiles or from
// one folder, into parallel arrays with separator rows between the groups.
#include <array>
#include <utility>

#include "color/profile_manager.h"

namespace slidebox::color {

namespace {

// The kinds of use and the spaces, in the order of their bits, which is
// also the order of listing.
constexpr std::array<OSType, 7> kKindsOfUse = {cmColorSpaceClass, cmInputClass, cmDisplayClass,
                                               cmOutputClass,     cmLinkClass,  cmAbstractClass,
                                               cmNamedColorClass};
constexpr std::array<OSType, 6> kColorSpaces = {cmLabData,  cmXYZData,  cmRGBData,
                                                cmCMYKData, cmGrayData, cmCMYData};

constexpr std::uint32_t kDefaultUse = 0x1F;
constexpr std::uint32_t kDefaultSpace = 0x3F;

template <std::size_t N> std::uint32_t bitOf(const std::array<OSType, N>& table, OSType signature) {
    for (std::size_t i = 0; i < N; ++i)
        if (table[i] == signature)
            return std::uint32_t{1} << i;
    return 0;
}

} // namespace

std::uint32_t kindOfUseBit(OSType profileClass) {
    return bitOf(kKindsOfUse, profileClass);
}

std::uint32_t colorSpaceBit(OSType space) {
    return bitOf(kColorSpaces, space);
}

std::int32_t ProfilIterateProc(const CMProfileIterateData& data, ProfileIterateRecord& record) {
    const CM2Header& header = data.header;
    if (header.profileClass != record.kindOfUse)
        return 0;
    // Every profile of the iteration is a file, so the location test holds.
    if (record.colorSpace != 0 && record.colorSpace != header.dataColorSpace)
        return 0;
    if (record.pcs != 0 && record.pcs != header.profileConnectionSpace)
        return 0;
    if (header.dataColorSpace == cmXYZData && header.profileClass == cmColorSpaceClass)
        return 0;
    const std::string& path = data.location.native();
    if (path.empty() || path.size() > kFullPathCapacity)
        return 0;
    record.manager->addProfilName(data.name, data.location.filename().native(), data.location,
                                  header.dataColorSpace, header.profileConnectionSpace, data,
                                  header.profileClass);
    return 0;
}

ProfileManager::~ProfileManager() = default;

std::unique_ptr<ProfileManager> ProfileManager::init() {
    return initWithUse(kDefaultUse, kDefaultSpace, true);
}

std::unique_ptr<ProfileManager> ProfileManager::initWithUse(std::uint32_t use,
                                                            std::uint32_t space) {
    return initWithUse(use, space, false);
}

std::unique_ptr<ProfileManager> ProfileManager::initWithUse(std::uint32_t use, std::uint32_t space,
                                                            bool fullDatas) {
    return initWithUse(use, space, fullDatas, std::nullopt);
}

std::unique_ptr<ProfileManager>
ProfileManager::initWithUse(std::uint32_t use, std::uint32_t space, bool fullDatas,
                            const std::optional<std::filesystem::path>& extraDirectory,
                            bool withFileName) {
    std::unique_ptr<ProfileManager> manager(new ProfileManager);
    manager->allocArraysWithFullDatas(fullDatas);
    manager->curentColorSpace_ = space;
    if (extraDirectory)
        manager->addProfilesFromDirectory(extraDirectory, withFileName);
    else
        manager->listProfilesWithUse(use);
    if (!manager->goodArrays())
        return nullptr;
    return manager;
}

void ProfileManager::allocArraysWithFullDatas(bool fullDatas) {
    profilesNameArray_.clear();
    profilesFileNameArray_.clear();
    profilesPathArray_.clear();
    profilesColorSpaceArray_.clear();
    profilesKindOfUseArray_.clear();
    profilesPCSArray_.clear();
    profilesCMProfileIterateDataArray_.reset();
    if (fullDatas)
        profilesCMProfileIterateDataArray_.emplace();
}

void ProfileManager::listProfilesWithUse(std::uint32_t use) {
    // One pass of the engine over the folders; the groups below filter it
    // in memory, so that each file is read once however many groups there are.
    const std::vector<CMProfileIterateData> installed =
        iterateProfileFolders(places().profileFolders);
    for (std::size_t kind = 0; kind < kKindsOfUse.size(); ++kind) {
        if (use & (std::uint32_t{1} << kind)) {
            for (std::size_t space = 0; space < kColorSpaces.size(); ++space) {
                if (curentColorSpace_ & (std::uint32_t{1} << space)) {
                    // Connection space 0: any. The pass can't fail once the
                    // folders are read, and the procedure always answers 0,
                    // so no kind ends its spaces early.
                    ProfileIterateRecord record{kKindsOfUse[kind], kColorSpaces[space], 0, this};
                    for (const CMProfileIterateData& data : installed)
                        ProfilIterateProc(data, record);
                }
                addASeparatorIfNeeded();
            }
        }
        addASeparatorIfNeeded();
    }
    removeLastSeparator();
}

void ProfileManager::addProfilesFromDirectory(const std::optional<std::filesystem::path>& directory,
                                              bool withFileName) {
    if (directory) {
        addASeparator_ = true;
        addASeparatorIfNeeded(); // before the folder's first profile, even at row 0
        walkProfileFolder(*directory, [&](const std::string& relative, const std::string&) {
            std::filesystem::path full = joinPath(*directory, relative);
            CMProfileRef profile = profileRefForPath(full);
            if (!profile)
                return;
            auto header = CMGetProfileHeader(*profile);
            if (!header || !sameColorSpaceThan(header->dataColorSpace))
                return;
            CMProfileIterateData data;
            data.header = *header;
            auto description = catalogueDescription(*profile);
            if (!description)
                return;
            std::string name = withFileName ? *description + "  (" + relative + ")" : *description;
            addProfilName(std::move(name), relative, std::move(full), header->dataColorSpace,
                          header->profileConnectionSpace, data, header->profileClass);
        });
    }
    removeLastSeparator();
}

void ProfileManager::addProfilName(std::string name, std::string fileName,
                                   std::filesystem::path path, OSType colorSpace, OSType pcs,
                                   const CMProfileIterateData& data, OSType kindOfUse) {
    profilesNameArray_.push_back(std::move(name));
    profilesFileNameArray_.push_back(std::move(fileName));
    profilesPathArray_.push_back(std::move(path));
    profilesColorSpaceArray_.push_back(colorSpace);
    profilesKindOfUseArray_.push_back(kindOfUse);
    profilesPCSArray_.push_back(pcs);
    if (profilesCMProfileIterateDataArray_)
        profilesCMProfileIterateDataArray_->push_back(data);
    addASeparator_ = true;
}

void ProfileManager::addASeparatorIfNeeded() {
    if (!addASeparator_)
        return;
    addASeparator_ = false;
    profilesNameArray_.emplace_back();
    profilesFileNameArray_.emplace_back();
    profilesPathArray_.emplace_back();
    profilesColorSpaceArray_.push_back(0);
    profilesKindOfUseArray_.push_back(0);
    profilesPCSArray_.push_back(0);
    if (profilesCMProfileIterateDataArray_)
        profilesCMProfileIterateDataArray_->emplace_back();
}

void ProfileManager::removeLastSeparator() {
    if (profilesFileNameArray_.empty() || !profilesFileNameArray_.back().empty())
        return;
    profilesNameArray_.pop_back();
    profilesFileNameArray_.pop_back();
    profilesPathArray_.pop_back();
    profilesColorSpaceArray_.pop_back();
    profilesKindOfUseArray_.pop_back();
    profilesPCSArray_.pop_back();
    if (profilesCMProfileIterateDataArray_ && !profilesCMProfileIterateDataArray_->empty())
        profilesCMProfileIterateDataArray_->pop_back();
}

bool ProfileManager::goodArrays() const {
    return !profilesNameArray_.empty();
}

bool ProfileManager::sameColorSpaceThan(OSType space) const {
    return (colorSpaceBit(space) & curentColorSpace_) != 0;
}

} // namespace slidebox::color
