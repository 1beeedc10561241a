#pragma once

#include "HeldHotKeys.h"

#include <QDBusConnection>
#include <QObject>
#include <QVariantMap>

#include <map>
#include <set>

class QDBusMessage;

namespace platform {

/// Hot keys granted by the desktop: the portal `org.freedesktop.portal.GlobalShortcuts` (XDG Desktop Portal, versions 1
/// and 2). The desktop decides which keys fire and may ask the person.
///
/// A session is made with all keys at each start, after each change and when the portal comes back. Only what the
/// desktop does not list there is bound, as that may ask the person. Nothing blocks.
class PortalHotKeys final : public QObject, public HeldHotKeys
{
    Q_OBJECT
public:
    /// In a Wayland session, where a program sees no keys pressed in another one.
    static bool available();

    PortalHotKeys();
    ~PortalHotKeys() override;

    /// The desktop keeps the keys: they reach no window.
    void setPaused(bool paused) override;
    void setMayAsk(bool may) override;
    QString way() const override { return QStringLiteral("from the desktop's portal"); }

    /// `keys` in the desktop's notation: "CTRL+ALT+m" (Shortcuts, XDG specifications). Empty when they have no name
    /// there.
    static QString trigger(QKeyCombination keys);

private slots:
    void responded(const QDBusMessage& message);
    void activated(const QDBusMessage& message);
    void shortcutsChanged(const QDBusMessage& message);
    void sessionClosed(const QDBusMessage& message);

private:
    /// As the portal has it: the name, and what there is to say about it.
    using Shortcut = std::pair<QString, QVariantMap>;

    enum class Phase
    {
        Idle,     ///< nothing is requested
        Creating, ///< a session was asked for
        Listing,  ///< the keys that it has already were
        Listed,   ///< the others are not, until the person may be asked
        Binding,  ///< the others were
        Bound,    ///< the desktop has answered
        Failed,   ///< there is no such portal, or not now
    };

    void keysChanged() override;
    Status statusOf(int id) const override;
    void bindAgain();
    void begin();
    void createSession();
    void listShortcuts();
    void takeListed(const QVariant& listed);
    void bindMissing();
    QList<Shortcut> shortcuts() const;
    void settle(Phase phase);
    bool isAnswered() const { return m_phase == Phase::Bound || m_phase == Phase::Listed; }
    void portalLost();
    void portalCame();

    /// Calls the portal, which answers later through a request object; an error ends the attempt.
    void request(const QString& method, const QVariantList& arguments, QVariantMap options);
    void take(const QVariant& shortcuts);

    QDBusConnection m_bus;
    std::map<int, HotKey> m_asked;
    /// What fires, by name: of those the desktop granted.
    std::map<QString, QString> m_granted;
    /// Of those asked for, what the desktop has not listed.
    QList<Shortcut> m_missing;
    Phase m_phase = Phase::Idle;
    QString m_request; ///< the path at which the next answer comes
    QString m_session; ///< the path of the session; empty: none
    int m_tokens = 0;
    bool m_updatePosted = false;
    bool m_paused = false;
    bool m_mayAsk = true;
};

} // namespace platform
