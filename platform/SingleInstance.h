#pragma once

#include <QLatin1StringView>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>

class QObject;

namespace platform {

/// Where the running program is found on the session bus.
inline constexpr QLatin1StringView BusName("com.wrenfold.quillon");
inline constexpr QLatin1StringView BusPath("/com/wrenfold/quillon");

/// Whether there is a bus to connect to; it need not answer. Without this check libdbus would try to start one.
bool hasSessionBus();

/// What a start hands on so that the running program may raise its window (Startup Notification, XDG Activation).
QVariantMap startupIds();

/// Keeps the program from running twice: a second start asks the first to come forward instead.
///
/// The first owns `com.wrenfold.quillon` on the session bus and answers there as `org.freedesktop.Application` (Desktop
/// Entry Specification, D-Bus activation). Without a bus it holds a lock and a socket in the runtime folder. Main
/// thread only; destroying the object makes way for the next.
class SingleInstance
{
public:
    SingleInstance();
    ~SingleInstance();

    /// Why an action was not carried out: the name of a D-Bus error, and a sentence for people.
    struct Refusal
    {
        QString error;
        QString reason;
    };
    /// To be called once, immediately or later, with the reason for a failure or nothing. Main thread.
    using Done = std::function<void(const std::optional<Refusal>& refused)>;
    /// Carries out one of the program's actions (Desktop Entry Specification, `ActivateAction`).
    using PerformAction = std::function<void(const QString& name, Done done)>;

    /// True: this is the first, and `activated` is called on the main thread whenever another start, the desktop or a
    /// bus client activates the program. False: another one runs and was notified; exit with success. Takes a few
    /// milliseconds, and half a second when the other one hangs. `startedBy`: `startupIds()` from before the
    /// QApplication, which takes them out of the environment.
    bool claim(QVariantMap startedBy, std::function<void()> activated, PerformAction perform);

    /// The object at `BusPath`: what is added to it as QDBusAbstractAdaptor can be called there. Null: the program is
    /// not on a bus.
    QObject* busObject() const;

private:
    class Claim;
    class BusClaim;
    class SocketClaim;
    std::unique_ptr<Claim> m_claim;
};

} // namespace platform
