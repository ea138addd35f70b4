#include "color/profile_inspector.h"

#include <QUuid>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

#include "color/profile_manager.h"

namespace slidebox::color {

namespace {

/// A fresh path from the template "/tmp/ZOL_ProfileInspector_%@", with a
/// string unique across processes and machines.
std::filesystem::path temporaryProfilePath() {
    return "/tmp/ZOL_ProfileInspector_" +
           QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper().toStdString();
}

/// Writes the bytes to a new file (never through an existing one or a
/// link that someone else put there). False when any byte didn't land.
bool writeNewFile(const std::filesystem::path& path, std::span<const std::uint8_t> data) {
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0)
        return false;
    std::size_t done = 0;
    while (done < data.size()) {
        ssize_t n = ::write(fd, data.data() + done, data.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        done += static_cast<std::size_t>(n);
    }
    return ::close(fd) == 0 && done == data.size();
}

void removeFile(const std::filesystem::path& path) {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
}

} // namespace

ProfileInspector::~ProfileInspector() {
    DeviceToPCS_.reset();
    PCSToDevice_.reset();
    if (eraseTempFile_)
        removeFile(profilePath_);
}

std::unique_ptr<ProfileInspector>
ProfileInspector::profileInspectorWithProfilePath(const std::filesystem::path& path,
                                                  std::int32_t rendering) {
    if (path.empty())
        return nullptr;
    return initWithPath(path, rendering);
}

std::unique_ptr<ProfileInspector>
ProfileInspector::profileInspectorWithProfileData(std::span<const std::uint8_t> data,
                                                  std::int32_t rendering) {
    if (data.empty())
        return nullptr;
    std::filesystem::path path = temporaryProfilePath();
    if (!writeNewFile(path, data)) {
        removeFile(path);
        return nullptr;
    }
    auto inspector = initWithPath(path, rendering);
    if (!inspector) {
        removeFile(path);
        return nullptr;
    }
    // Set only now, so that a failed opening above leaves the removal to us.
    inspector->eraseTempFile_ = true;
    return inspector;
}

std::unique_ptr<ProfileInspector>
ProfileInspector::initWithPath(const std::filesystem::path& path) {
    std::unique_ptr<ProfileInspector> probe(new ProfileInspector);
    probe->setProfilePath(path);
    if (!probe->getProfileInfos())
        return nullptr;
    return initWithPath(path, probe->preferedRenderingIntent());
}

std::unique_ptr<ProfileInspector> ProfileInspector::initWithPath(const std::filesystem::path& path,
                                                                 std::int32_t rendering) {
    auto inspector = inspect(path, rendering);
    return inspector ? std::move(inspector.value()) : nullptr;
}

platform::Result<std::unique_ptr<ProfileInspector>>
ProfileInspector::inspect(const std::filesystem::path& path, std::int32_t rendering) {
    using platform::ErrorCode;
    using platform::Status;
    std::unique_ptr<ProfileInspector> inspector(new ProfileInspector);
    inspector->setProfilePath(path);
    {
        auto profile = ProfileManager::openProfile(path);
        if (!profile)
            return profile.status();
        if (auto header = CMGetProfileHeader(*profile.value()))
            inspector->profileHeader_ = *header;
    } // closed here: nothing stays open between operations
    inspector->rendering_ = rendering;
    // Taken as unsigned, -1 is above 3 too: no colour worlds.
    if (static_cast<std::uint32_t>(rendering) > 3)
        return inspector;
    // A named-colour profile has no transform: refused before any world is
    // tried, so that nothing is logged for what is known already.
    if (inspector->profileClass() == cmNamedColorClass)
        return Status::failure(ErrorCode::Unsupported,
                               "a named-colour profile makes no colour world with the generic Lab "
                               "profile");
    auto lab = ProfileManager::pathOfGenericLabProfil();
    if (!lab)
        return Status::failure(ErrorCode::CannotOpen, "the generic Lab profile can't be had");
    inspector->DeviceToPCS_ = ColorWorld::initColorWorldWithSrcProfil(path, *lab, rendering);
    inspector->PCSToDevice_ = ColorWorld::initColorWorldWithSrcProfil(*lab, path, rendering);
    // An input profile needs only the one direction.
    if (inspector->DeviceToPCS_ &&
        (inspector->profileClass() == cmInputClass || inspector->PCSToDevice_))
        return inspector;
    const OSType cls = inspector->profileClass();
    if (cls == cmLinkClass || cls == cmAbstractClass)
        return Status::failure(ErrorCode::Unsupported,
                               std::string(cls == cmLinkClass ? "a device-link" : "an abstract") +
                                   " profile makes no colour world with the generic Lab profile");
    return Status::failure(ErrorCode::Unsupported, "no colour world through the generic Lab "
                                                   "profile with intent " +
                                                       std::to_string(rendering));
}

bool ProfileInspector::goodPathProfileData(const std::filesystem::path& path) {
    auto probe = profileInspectorWithProfilePath(path, -1);
    if (!probe)
        return false;
    std::int32_t intent = probe->preferedRenderingIntent();
    OSType cls = probe->profileClass();
    probe.reset();
    if (cls == cmInputClass)
        return profileInspectorWithProfilePath(path, intent) != nullptr;
    for (std::int32_t tried : {0, 1, 2})
        if (!profileInspectorWithProfilePath(path, tried))
            return false;
    return true;
}

bool ProfileInspector::goodProfileData(std::span<const std::uint8_t> data) {
    std::filesystem::path path = temporaryProfilePath();
    bool good = !data.empty() && writeNewFile(path, data) && goodPathProfileData(path);
    removeFile(path); // also after a failed write; its own failure doesn't matter
    return good;
}

bool ProfileInspector::profileWithPath(const std::filesystem::path& path,
                                       const std::filesystem::path& otherPath) {
    auto a = profileInspectorWithProfilePath(path, -1);
    auto b = profileInspectorWithProfilePath(otherPath, -1);
    if (!a || !b)
        return false;
    return a->profileName() == b->profileName() && a->dateTimeAsString() == b->dateTimeAsString() &&
           a->dataColorSpace() == b->dataColorSpace() && a->profileClass() == b->profileClass() &&
           a->profileConnectionSpace() == b->profileConnectionSpace();
}

void ProfileInspector::setProfilePath(const std::filesystem::path& path) {
    profilePath_ = path;
}

bool ProfileInspector::getProfileInfos() {
    CMProfileRef profile = ProfileManager::profileRefForPath(profilePath_);
    if (!profile)
        return false;
    if (auto header = CMGetProfileHeader(*profile))
        profileHeader_ = *header;
    return true;
}

std::string ProfileInspector::profileName() const {
    std::string name = "_unknown_";
    if (CMProfileRef profile = ProfileManager::profileRefForPath(profilePath_))
        if (auto description = CMCopyProfileDescriptionString(*profile))
            name = *description;
    return name;
}

std::string ProfileInspector::dateTimeAsString() const {
    const CMDateTime& d = profileHeader_.dateTime;
    char text[64];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u +0000", unsigned{d.year},
                  unsigned{d.month}, unsigned{d.dayOfTheMonth}, unsigned{d.hours},
                  unsigned{d.minutes}, unsigned{d.seconds});
    return text;
}

unsigned ProfileInspector::nbComponents() const {
    return channelsOfColorSpace(profileHeader_.dataColorSpace);
}

std::int32_t ProfileInspector::preferedRenderingIntent() const {
    auto intent = static_cast<std::int32_t>(profileHeader_.renderingIntent);
    if (intent < 0)
        return 0;
    if (intent >= 4)
        return 3;
    return intent;
}

} // namespace slidebox::color
