// The display profiles of this desktop: the profile that the colour manager
// (colord) gives a screen's output, else the one the X server holds in the
// root window's _ICC_PROFILE property, else none.
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QFile>
#include <QGuiApplication>
#include <QScreen>
#ifdef SLIDEBOX_HAVE_DBUS
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusVariant>
#endif
#ifdef SLIDEBOX_HAVE_XCB
#include <xcb/xcb.h>
#endif

#include <cmath>
#include <cstdlib>
#include <mutex>
#include <string_view>
#include <system_error>

#include "color/profile_manager.h"
#include "platform/file_system.h"

namespace slidebox::color {

namespace {

std::mutex& sourcesMutex() {
    static std::mutex mutex;
    return mutex;
}

std::optional<DisplayProfileSources>& currentSources() {
    static std::optional<DisplayProfileSources> sources;
    return sources;
}

DisplayProfileSources sources() {
    std::lock_guard lock(sourcesMutex());
    if (!currentSources())
        currentSources() = DisplayProfileSources::system();
    return *currentSources();
}

#ifdef SLIDEBOX_HAVE_DBUS
constexpr const char* kColord = "org.freedesktop.ColorManager";

QVariant colordProperty(const QDBusConnection& bus, const QString& object, const char* interface,
                        const char* name) {
    QDBusInterface properties(kColord, object, "org.freedesktop.DBus.Properties", bus);
    properties.setTimeout(2000);
    QDBusReply<QDBusVariant> reply =
        properties.call("Get", QString::fromLatin1(interface), QString::fromLatin1(name));
    return reply.isValid() ? reply.value().variant() : QVariant();
}

/// The profile file colord gives the display device of an output: colord
/// names display devices by their XRandR output, which is QScreen::name().
std::optional<std::filesystem::path> colordProfileOfOutput(const std::string& output) {
    // Qt's D-Bus connection needs the application object's event machinery.
    if (!QCoreApplication::instance() || output.empty())
        return std::nullopt;
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected())
        return std::nullopt;
    QDBusInterface manager(kColord, "/org/freedesktop/ColorManager", kColord, bus);
    if (!manager.isValid())
        return std::nullopt;
    manager.setTimeout(2000);
    QDBusReply<QDBusObjectPath> device = manager.call(
        "FindDeviceByProperty", QStringLiteral("XRANDR_name"), QString::fromStdString(output));
    if (!device.isValid())
        return std::nullopt;
    QVariant profiles = colordProperty(bus, device.value().path(),
                                       "org.freedesktop.ColorManager.Device", "Profiles");
    QList<QDBusObjectPath> list;
    if (profiles.canConvert<QDBusArgument>())
        profiles.value<QDBusArgument>() >> list;
    else
        list = profiles.value<QList<QDBusObjectPath>>();
    if (list.isEmpty())
        return std::nullopt;
    // The first profile of a device is its default.
    const QString file =
        colordProperty(bus, list.first().path(), "org.freedesktop.ColorManager.Profile", "Filename")
            .toString();
    if (file.isEmpty())
        return std::nullopt;
    const QByteArray bytes = QFile::encodeName(file);
    return std::filesystem::path(std::string(bytes.constData(), bytes.size()));
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

std::optional<std::vector<std::uint8_t>> readX11ProfileAtom(const char* display, int screen) {
#ifdef SLIDEBOX_HAVE_XCB
    if (screen < 0)
        return std::nullopt;
    int preferred = 0;
    xcb_connection_t* connection = xcb_connect(display, &preferred);
    std::optional<std::vector<std::uint8_t>> bytes;
    const xcb_setup_t* setup =
        xcb_connection_has_error(connection) ? nullptr : xcb_get_setup(connection);
    if (setup) {
        const std::string name =
            screen == 0 ? "_ICC_PROFILE" : "_ICC_PROFILE_" + std::to_string(screen);
        xcb_intern_atom_reply_t* atom = xcb_intern_atom_reply(
            connection,
            xcb_intern_atom(connection, 1, static_cast<std::uint16_t>(name.size()), name.c_str()),
            nullptr);
        const xcb_window_t root = xcb_setup_roots_iterator(setup).data->root;
        if (atom && atom->atom != XCB_ATOM_NONE) {
            // A profile is at most some megabytes; the length is in 32-bit units.
            xcb_get_property_reply_t* property =
                xcb_get_property_reply(connection,
                                       xcb_get_property(connection, 0, root, atom->atom,
                                                        XCB_GET_PROPERTY_TYPE_ANY, 0, 64u << 20),
                                       nullptr);
            if (property && property->format == 8) {
                const auto* data =
                    static_cast<const std::uint8_t*>(xcb_get_property_value(property));
                const int length = xcb_get_property_value_length(property);
                if (length > 0)
                    bytes.emplace(data, data + length);
            }
            std::free(property);
        }
        std::free(atom);
    }
    xcb_disconnect(connection);
    return bytes;
#else
    (void)display;
    (void)screen;
    return std::nullopt;
#endif
}

DisplayProfileSources DisplayProfileSources::system() {
    DisplayProfileSources s;
#ifdef SLIDEBOX_HAVE_DBUS
    s.colord = colordProfileOfOutput;
#endif
    s.x11 = [](int screen) { return readX11ProfileAtom(nullptr, screen); };
    return s;
}

void ProfileManager::setDisplayProfileSources(DisplayProfileSources s) {
    std::lock_guard lock(sourcesMutex());
    currentSources() = std::move(s);
}

std::optional<std::filesystem::path>
ProfileManager::displayProfileOfScreen(const std::string& output, int screen) {
    const DisplayProfileSources s = sources();
    if (s.colord)
        if (auto path = s.colord(output); path && platform::fileExistsAtPath(*path))
            return path;
    auto bytes = s.x11 ? s.x11(screen) : std::nullopt;
    if (!bytes)
        return std::nullopt;
    // The engine opens files: the property's bytes are kept under a name
    // that changes with them, so a path once given stays that profile.
    const QByteArray hash =
        QCryptographicHash::hash(
            QByteArrayView(bytes->data(), static_cast<qsizetype>(bytes->size())),
            QCryptographicHash::Sha256)
            .toHex()
            .left(16);
    const std::filesystem::path folder = places().runtime;
    const std::filesystem::path path =
        folder / ("display-" + std::to_string(screen) + "-" + hash.toStdString() + ".icc");
    if (!platform::makePrivateFolder(folder))
        return std::nullopt;
    if (!platform::fileExistsAtPath(path)) {
        const std::string_view text(reinterpret_cast<const char*>(bytes->data()), bytes->size());
        if (!platform::writeFileAtomically(path, text))
            return std::nullopt;
    }
    return path;
}

std::optional<std::filesystem::path> ProfileManager::pathOfDefaultDisplayUseProfile() {
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return displayProfileOfScreen("", 0);
    const QList<QScreen*> screens = QGuiApplication::screens();
    QScreen* primary = QGuiApplication::primaryScreen();
    const int index = primary ? static_cast<int>(screens.indexOf(primary)) : 0;
    return displayProfileOfScreen(primary ? primary->name().toStdString() : "",
                                  index < 0 ? 0 : index);
}

std::optional<std::size_t> ProfileManager::FindGDeviceWithGlobalPoint(
    float x, float y, const std::vector<ScreenDevice>& screens, std::size_t mainIndex) {
    if (mainIndex >= screens.size())
        return std::nullopt;
    const image::ZOL_Rect& main = screens[mainIndex].rect;
    auto h = pixel16(x);
    auto v = pixel16(static_cast<double>(main.size.height) - y);
    if (!h || !v)
        return std::nullopt;
    for (std::size_t i = 0; i < screens.size(); ++i)
        if (screens[i].active && screens[i].rect.contains(image::ZOL_Point{*h, *v}))
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
        const QRect r = screen->geometry();
        devices.push_back({image::makeRect(r.x(), r.y(), r.width(), r.height()), true});
    }
    auto found = FindGDeviceWithGlobalPoint(x, y, devices, mainIndex);
    if (!found)
        return std::nullopt;
    return displayProfileOfScreen(screens[static_cast<int>(*found)]->name().toStdString(),
                                  static_cast<int>(*found));
}

} // namespace slidebox::color
