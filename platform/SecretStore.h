#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>

#include <tl/expected.hpp>

namespace platform {

/// Passwords of (service, account) pairs, kept by the desktop (freedesktop Secret Service API 0.2). Main thread only.
class SecretStore
{
public:
    enum class Failure
    {
        NoService,    ///< no secret service on the session bus
        Locked,       ///< an item is there, or the collection is, and it is locked
        TimedOut,     ///< no answer in time; the service may be hanging
        NotInstalled, ///< the part of this program that talks to the service is not there
        Other,
    };
    template <class T>
    using Result = tl::expected<T, Failure>;

    virtual ~SecretStore() = default;

    /// Never prompts, and returns within two seconds. Empty when there is no such item.
    virtual Result<std::optional<QByteArray>> lookup(const QString& service, const QString& account) = 0;

    /// The item will be looked up soon: what that takes may begin now. Returns immediately.
    virtual void expectLookup(const QString& /*service*/, const QString& /*account*/) {}

    /// Whether there is a keyring for new items. Where there is none, storing one asks the person to make it. Never
    /// prompts, and returns within two seconds.
    virtual Result<bool> hasDefaultKeyring() { return true; }

    /// Asks the person to unlock the keyring if needed; calls back on the main thread, once, however long that takes,
    /// unless the store is destroyed before.
    virtual void unlockAndLookup(const QString& service, const QString& account,
                                 std::function<void(Result<std::optional<QByteArray>>)> done) = 0;

    /// What became of an item that could not be stored immediately.
    using Stored = std::function<void(Result<void>)>;

    /// Adds or overwrites. Returns within two seconds; immediately, as `Locked`, where the person must be asked first:
    /// then the item is stored once they have answered, and `later` is called on the main thread, once, however long
    /// that takes, unless the store is destroyed before.
    virtual Result<void> store(const QString& service, const QString& account, const QByteArray& secret,
                               Stored later) = 0;

    /// Removing a missing item succeeds.
    virtual Result<void> remove(const QString& service, const QString& account) = 0;
};

} // namespace platform
