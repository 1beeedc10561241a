#pragma once

#include "platform/Secret.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>

#include <tl/expected.hpp>

namespace settings {

inline constexpr QLatin1StringView TolvanKeychainUtilsErrorDomain("TolvanKeychainUtilsErrorDomain");

struct KeychainError
{
    enum Code
    {
        ArgumentMissing = -2000,
        ArgumentMissingInDelete = 2000, ///< deleting alone reports it as a positive number
        ServiceAbsent = -25291,
        Locked = -25308,
        NoAnswer = -25312,
        OtherFailure = -25299,
    };
    QLatin1StringView domain = TolvanKeychainUtilsErrorDomain;
    int code = OtherFailure;

    bool operator==(const KeychainError&) const = default;
};

/// One item of the keyring. Its password is empty while the item is locked.
struct KeychainItem
{
    QString userName;
    QString serviceName;
    std::optional<platform::Secret<QByteArray>> password;
};

/// Reads, stores and deletes the password of one (user name, service name) pair in the desktop's keyring. A null string
/// counts as a missing argument. Main thread only.
class TolvanKeychainUtils
{
public:
    template <class T>
    using Result = tl::expected<T, KeychainError>;

    TolvanKeychainUtils() = delete;

    /// Empty when there is no such item. Never prompts. Longer passwords are truncated, see `passwordText`.
    static Result<std::optional<QString>> getPasswordForUsername(const QString& userName, const QString& serviceName);

    /// Adds the item or replaces its password, whatever `updateExisting` says. `Locked` where the user is asked to
    /// unlock the keyring: `later` is called with the outcome once they have answered.
    static Result<void> storeUsername(const QString& userName, const QString& password, const QString& serviceName,
                                      bool updateExisting, std::function<void(Result<void>)> later = {});

    /// Deleting a missing item succeeds.
    static Result<void> deleteItemForUsername(const QString& userName, const QString& serviceName);

    /// Empty when there is no such item; a locked item counts as one.
    static Result<std::optional<KeychainItem>> getKeychainItemReferenceForUsername(const QString& userName,
                                                                                   const QString& serviceName);

    /// A stored password as a string: its first 1023 bytes, without a character that this would split. Null when the
    /// bytes are not UTF-8.
    static QString passwordText(const QByteArray& stored);
};

} // namespace settings
