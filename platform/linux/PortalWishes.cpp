#include "PortalWishes.h"

#include "DBus.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QDBusVariant>

#include <utility>

namespace platform {

using namespace Qt::StringLiterals;

namespace {

constexpr QLatin1StringView Service("org.freedesktop.portal.Desktop");
constexpr QLatin1StringView Path("/org/freedesktop/portal/desktop");
constexpr QLatin1StringView Interface("org.freedesktop.portal.Settings");

// https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.Settings.html; the others are what GNOME
// and KDE keep beside it, and older portals only those.
constexpr QLatin1StringView ColorScheme("org.freedesktop.appearance color-scheme");
constexpr QLatin1StringView Contrast("org.freedesktop.appearance contrast");
constexpr QLatin1StringView ReducedMotion("org.freedesktop.appearance reduced-motion");
constexpr QLatin1StringView GnomeContrast("org.gnome.desktop.a11y.interface high-contrast");
constexpr QLatin1StringView GnomeAnimations("org.gnome.desktop.interface enable-animations");
constexpr QLatin1StringView KdeAnimations("org.kde.kdeglobals.KDE AnimationDurationFactor");

/// A value, which some portals wrap once more.
QVariant unwrapped(QVariant value)
{
    while (value.metaType() == QMetaType::fromType<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

} // namespace

PortalWishes::PortalWishes(std::function<void(const DesktopWishes&)> changed)
    : m_changed(std::move(changed)),
      m_portal(Service, QDBusConnection::sessionBus(), QDBusServiceWatcher::WatchForRegistration)
{
    // Where this fails the settings are those of the start.
    static_cast<void>(QDBusConnection::sessionBus().connect(Service, Path, Interface, u"SettingChanged"_s, this,
                                                            SLOT(settingDidChange(QDBusMessage))));
    // One that comes back may be another desktop's.
    connect(&m_portal, &QDBusServiceWatcher::serviceRegistered, this, &PortalWishes::readAll);
    readAll();
}

bool PortalWishes::available()
{
    return QDBusConnection::sessionBus().isConnected();
}

void PortalWishes::readAll()
{
    m_settings.clear();
    auto call = QDBusMessage::createMethodCall(Service, Path, Interface, u"ReadAll"_s);
    call << QStringList{u"org.freedesktop.appearance"_s, u"org.gnome.desktop.a11y.interface"_s,
                        u"org.gnome.desktop.interface"_s, u"org.kde.kdeglobals.KDE"_s};
    const QDBusPendingCall asked = QDBusConnection::sessionBus().asyncCall(call);
    whenAnswered(asked, this, [this, reading = ++m_readings](const QDBusPendingCall& answer) {
        const QDBusMessage reply = answer.reply();
        if (reading != m_readings || answer.isError() || reply.signature() != "a{sa{sv}}"_L1)
            return; // no portal, or one without settings
        const auto spaces = qdbus_cast<QMap<QString, QVariantMap>>(reply.arguments().constFirst());
        for (auto space = spaces.begin(); space != spaces.end(); ++space) {
            for (auto entry = space->begin(); entry != space->end(); ++entry) {
                // What has changed since the question may have been handled before its answer.
                const QString name = space.key() + u' ' + entry.key();
                if (!m_settings.contains(name))
                    m_settings.insert(name, unwrapped(entry.value()));
            }
        }
        tell();
    });
}

void PortalWishes::settingDidChange(const QDBusMessage& message)
{
    if (message.signature() != "ssv"_L1)
        return;
    const QVariantList arguments = message.arguments();
    m_settings.insert(arguments.at(0).toString() + u' ' + arguments.at(1).toString(), unwrapped(arguments.at(2)));
    tell();
}

void PortalWishes::tell()
{
    DesktopWishes wishes;
    // 0 is no preference.
    if (const uint scheme = setting(ColorScheme).toUInt(); scheme == 1 || scheme == 2)
        wishes.dark = scheme == 1;
    for (const QVariant& contrast : {setting(Contrast), setting(GnomeContrast)}) {
        if (contrast.isValid())
            wishes.highContrast = wishes.highContrast.value_or(false) || contrast.toUInt() == 1;
    }
    const QVariant animations = setting(GnomeAnimations);
    const QVariant factor = setting(KdeAnimations);
    if (animations.isValid() || factor.isValid() || setting(ReducedMotion).isValid()) {
        bool isNumber = false;
        wishes.reducedMotion = setting(ReducedMotion).toUInt() == 1 || (animations.isValid() && !animations.toBool()) ||
                               (factor.toDouble(&isNumber) == 0 && isNumber);
    }
    if (std::exchange(m_told, wishes) != wishes)
        m_changed(wishes);
}

} // namespace platform
