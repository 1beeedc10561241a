#include "TolvanKeychainUtils.h"

#include "Keys.h"

#include "platform/InfoDictionary.h"
#include "platform/Run.h"
#include "platform/SecretStore.h"

#include <QStringDecoder>

#include <algorithm>

namespace settings {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LongestPassword = 1023;

platform::SecretStore& keyring()
{
    return platform::Run::current().environment().secretStore();
}

KeychainError error(KeychainError::Code code)
{
    return {TolvanKeychainUtilsErrorDomain, code};
}

KeychainError error(platform::SecretStore::Failure failure)
{
    switch (failure) {
    case platform::SecretStore::Failure::NoService:
    case platform::SecretStore::Failure::NotInstalled: // as good as none: the password is kept for this run
        return error(KeychainError::ServiceAbsent);
    case platform::SecretStore::Failure::Locked:
        return error(KeychainError::Locked);
    case platform::SecretStore::Failure::TimedOut:
        return error(KeychainError::NoAnswer);
    case platform::SecretStore::Failure::Other:
        break;
    }
    return error(KeychainError::OtherFailure);
}

} // namespace

QString SCServiceName()
{
    return platform::Run::current().environment().info().string("CFBundleIdentifier"_L1);
}

TolvanKeychainUtils::Result<std::optional<KeychainItem>>
TolvanKeychainUtils::getKeychainItemReferenceForUsername(const QString& userName, const QString& serviceName)
{
    if (userName.isNull() || serviceName.isNull())
        return tl::unexpected(error(KeychainError::ArgumentMissing));
    auto found = keyring().lookup(serviceName, userName);
    if (!found && found.error() == platform::SecretStore::Failure::Locked)
        return KeychainItem{userName, serviceName, std::nullopt};
    if (!found)
        return tl::unexpected(error(found.error()));
    if (!*found)
        return std::nullopt;
    return KeychainItem{userName, serviceName, *std::move(*found)};
}

TolvanKeychainUtils::Result<std::optional<QString>>
TolvanKeychainUtils::getPasswordForUsername(const QString& userName, const QString& serviceName)
{
    const auto item = getKeychainItemReferenceForUsername(userName, serviceName);
    if (!item)
        return tl::unexpected(item.error());
    if (!*item)
        return std::nullopt;
    if (!(*item)->password)
        return tl::unexpected(error(KeychainError::Locked));
    const QString text = passwordText(**(*item)->password);
    return text.isNull() ? std::nullopt : std::optional(text);
}

TolvanKeychainUtils::Result<void> TolvanKeychainUtils::storeUsername(const QString& userName, const QString& password,
                                                                     const QString& serviceName,
                                                                     bool /*updateExisting*/,
                                                                     std::function<void(Result<void>)> later)
{
    if (userName.isNull() || password.isNull() || serviceName.isNull())
        return tl::unexpected(error(KeychainError::ArgumentMissing));
    if (const auto item = getKeychainItemReferenceForUsername(userName, serviceName); !item)
        return tl::unexpected(item.error());
    const auto told = [later = std::move(later)](const platform::SecretStore::Result<void>& stored) {
        if (later)
            later(stored.map_error([](auto failure) { return error(failure); }));
    };
    const platform::Secret<QByteArray> bytes = password.toUtf8();
    return keyring().store(serviceName, userName, *bytes, told).map_error([](auto failure) { return error(failure); });
}

TolvanKeychainUtils::Result<void> TolvanKeychainUtils::deleteItemForUsername(const QString& userName,
                                                                             const QString& serviceName)
{
    if (userName.isNull() || serviceName.isNull())
        return tl::unexpected(error(KeychainError::ArgumentMissingInDelete));
    const auto item = getKeychainItemReferenceForUsername(userName, serviceName);
    if (!item)
        return tl::unexpected(item.error());
    if (!*item)
        return {};
    const auto removed = keyring().remove(serviceName, userName);
    if (!removed)
        return tl::unexpected(error(removed.error()));
    return {};
}

QString TolvanKeychainUtils::passwordText(const QByteArray& stored)
{
    QStringDecoder decoder(QStringDecoder::Utf8);
    // It leaves out a character that is cut.
    const QString text = decoder(QByteArrayView(stored).first(std::min(stored.size(), LongestPassword)));
    if (decoder.hasError())
        return {};
    return text.isNull() ? u""_s : text;
}

} // namespace settings
