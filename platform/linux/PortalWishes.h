#pragma once

#include "../DesktopWishes.h"

#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QHash>
#include <QObject>
#include <QVariant>

namespace platform {

/// Reads the desktop's settings through its portal (org.freedesktop.portal.Settings).
class PortalWishes final : public QObject, public WishWatch
{
    Q_OBJECT
public:
    explicit PortalWishes(std::function<void(const DesktopWishes&)> changed);

    static bool available();

private slots:
    void settingDidChange(const QDBusMessage& message);

private:
    void readAll();
    void tell();
    QVariant setting(QLatin1StringView name) const { return m_settings.value(name); }

    std::function<void(const DesktopWishes&)> m_changed;
    QDBusServiceWatcher m_portal;
    QHash<QString, QVariant> m_settings; ///< by "namespace key"
    int m_readings = 0;                  ///< an answer to an earlier one counts no more
    std::optional<DesktopWishes> m_told;
};

} // namespace platform
