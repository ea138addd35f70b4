// Where profiles lie on this desktop: the generic profiles are resources
// made at build time and installed beside the program's others; the installed
// ones are in the desktop's colour folders; the display's profile is the one
// the colour manager publishes, else sRGB.
#include "color/profile_manager.h"

#include <QCoreApplication>
#include <QFile>
#include <QGuiApplication>
#include <QScreen>
#ifdef SLIDEBOX_HAVE_DBUS
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusVariant>
#endif

#include <cmath>
#include <cstdlib>
#include <mutex>
#include <string_view>
#include <system_error>

#include "color/generic_profile_names.h"
#include "platform/file_system.h"
#include "platform/script_runner.h"

namespace slidebox::color {

namespace {

std::mutex& placesMutex() {
    static std::mutex mutex;
    return mutex;
}

std::optional<ProfilePlaces>& currentPlaces() {
    static std::optional<ProfilePlaces> places;
    return places;
}

std::filesystem::path environmentPath(const char* name) {
    const char* value = std::getenv(name);
    // The XDG rules ignore relative paths in these variables.
    if (!value || value[0] != '/')
        return {};
    return value;
}

const char* genericFileName(OSType space) {
    for (const GenericProfileName& generic : kGenericProfileNames)
        if (generic.space == space)
            return generic.fileName;
    return nullptr;
}

#ifdef SLIDEBOX_HAVE_DBUS
QVariant colordProperty(const QDBusConnection& bus, const QString& object, const char* interface,
                        const char* name) {
    QDBusInterface properties("org.freedesktop.ColorManager", object,
                              "org.freedesktop.DBus.Properties", bus);
    properties.setTimeout(2000);
    QDBusReply<QDBusVariant> reply =
        properties.call("Get", QString::fromLatin1(interface), QString::fromLatin1(name));
    return reply.isValid() ? reply.value().variant() : QVariant();
}

/// The profile file that colord publishes for the first display that has one.
std::optional<std::filesystem::path> colordDisplayProfile() {
    // Qt's D-Bus connection needs the application object's event machinery.
    if (!QCoreApplication::instance())
        return std::nullopt;
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected())
        return std::nullopt;
    QDBusInterface manager("org.freedesktop.ColorManager", "/org/freedesktop/ColorManager",
                           "org.freedesktop.ColorManager", bus);
    if (!manager.isValid())
        return std::nullopt;
    manager.setTimeout(2000);
    QDBusReply<QList<QDBusObjectPath>> devices =
        manager.call("GetDevicesByKind", QStringLiteral("display"));
    if (!devices.isValid())
        return std::nullopt;
    for (const QDBusObjectPath& device : devices.value()) {
        QVariant profiles =
            colordProperty(bus, device.path(), "org.freedesktop.ColorManager.Device", "Profiles");
        QList<QDBusObjectPath> list;
        if (profiles.canConvert<QDBusArgument>())
            profiles.value<QDBusArgument>() >> list;
        else
            list = profiles.value<QList<QDBusObjectPath>>();
        if (list.isEmpty())
            continue;
        QString file = colordProperty(bus, list.first().path(),
                                      "org.freedesktop.ColorManager.Profile", "Filename")
                           .toString();
        QByteArray bytes = QFile::encodeName(file);
        std::filesystem::path path(std::string(bytes.constData(), bytes.size()));
        if (!file.isEmpty() && platform::fileExistsAtPath(path))
            return path;
    }
    return std::nullopt;
}
#endif

/// A whole pixel from a coordinate, narrowed to 16 bits as the device
/// rectangles are; nothing for a value that isn't a number or is beyond
/// any screen.
std::optional<int> pixel16(double value) {
    double t = std::trunc(value);
    if (!std::isfinite(t) || std::fabs(t) > 9.0e15)
        return std::nullopt;
    return static_cast<std::int16_t>(static_cast<std::int64_t>(t) & 0xFFFF);
}

} // namespace

ProfilePlaces ProfilePlaces::underHome(const std::filesystem::path& home) {
    ProfilePlaces p;
    p.home = home;
    p.dataHome = home / ".local/share";
    p.profileFolders = {"/usr/share/color/icc", "/usr/local/share/color/icc",
                        home / ".local/share/icc", home / ".color/icc"};
    return p;
}

ProfilePlaces ProfilePlaces::fromEnvironment() {
    ProfilePlaces p = underHome(platform::homeDirectory());
    if (auto dataHome = environmentPath("XDG_DATA_HOME"); !dataHome.empty()) {
        p.dataHome = dataHome;
        p.profileFolders[2] = dataHome / "icc";
    }
    return p;
}

ProfilePlaces ProfileManager::places() {
    std::lock_guard lock(placesMutex());
    if (!currentPlaces())
        currentPlaces() = ProfilePlaces::fromEnvironment();
    return *currentPlaces();
}

void ProfileManager::setPlaces(ProfilePlaces places) {
    std::lock_guard lock(placesMutex());
    currentPlaces() = std::move(places);
}

CMProfileRef ProfileManager::profileRefForPath(const std::filesystem::path& path) {
    return CMOpenProfile(path);
}

std::optional<std::filesystem::path> ProfileManager::pathForProfileRef(CMProfileRef profile) {
    if (!profile)
        return std::nullopt;
    std::filesystem::path path = CMGetProfileLocation(*profile);
    profile.reset();
    return path;
}

std::optional<std::filesystem::path> ProfileManager::pathOfGenericProfilForSpace(OSType space) {
    const char* name = genericFileName(space);
    if (!name)
        return std::nullopt;
    // Made at build time among the resources; nothing is written to have it.
    std::filesystem::path path = platform::resourceDirectory() / kGenericProfileFolder / name;
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        return std::nullopt;
    return path;
}

std::optional<std::filesystem::path> ProfileManager::pathOfGenericLabProfil() {
    return pathOfGenericProfilForSpace(cmLabData);
}

std::optional<std::filesystem::path> ProfileManager::pathOfGenericXYZProfil() {
    return pathOfGenericProfilForSpace(cmXYZData);
}

std::optional<std::filesystem::path> ProfileManager::pathOfGenericGrayProfil() {
    return pathOfGenericProfilForSpace(cmGrayData);
}

std::optional<std::filesystem::path> ProfileManager::pathOfDefaultDisplayUseProfile() {
#ifdef SLIDEBOX_HAVE_DBUS
    if (auto published = colordDisplayProfile())
        return published;
#endif
    return pathOfGenericProfilForSpace(cmRGBData);
}

std::optional<std::filesystem::path> ProfileManager::pathOfColorSyncUserFolder() {
    std::filesystem::path folder = places().home / ".local/share/icc";
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error || !platform::isDirectory(folder))
        return std::nullopt;
    return folder;
}

std::optional<std::size_t> ProfileManager::FindGDeviceWithGlobalPoint(
    float x, float y, const std::vector<ScreenDevice>& screens, std::size_t mainIndex) {
    if (mainIndex >= screens.size())
        return std::nullopt;
    const QRect& main = screens[mainIndex].rect;
    auto h = pixel16(x);
    auto v = pixel16(static_cast<double>(main.height()) - y);
    if (!h || !v)
        return std::nullopt;
    for (std::size_t i = 0; i < screens.size(); ++i)
        if (screens[i].active && screens[i].rect.contains(*h, *v))
            return i;
    return std::nullopt;
}

std::optional<std::filesystem::path> ProfileManager::pathOfScreenProfileWithGlobalPoint(float x,
                                                                                        float y) {
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return std::nullopt;
    const QList<QScreen*> screens = QGuiApplication::screens();
    std::vector<ScreenDevice> devices;
    std::size_t mainIndex = 0;
    for (QScreen* screen : screens) {
        if (screen == QGuiApplication::primaryScreen())
            mainIndex = devices.size();
        devices.push_back({screen->geometry(), true});
    }
    if (!FindGDeviceWithGlobalPoint(x, y, devices, mainIndex))
        return std::nullopt;
    // The colour manager keys its display profiles by output, which Qt
    // doesn't name; every screen so answers with the display profile.
    return pathOfDefaultDisplayUseProfile();
}

} // namespace slidebox::color
