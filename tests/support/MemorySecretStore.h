#pragma once

#include "platform/SecretStore.h"

#include <QStringList>

#include <map>
#include <utility>
#include <vector>

namespace support {

/// Secrets in memory, with the failures that a real service can show.
class MemorySecretStore final : public platform::SecretStore
{
public:
    using Secret = Result<std::optional<QByteArray>>;

    Secret lookup(const QString& service, const QString& account) override;
    void unlockAndLookup(const QString& service, const QString& account, std::function<void(Secret)> done) override;
    Result<void> store(const QString& service, const QString& account, const QByteArray& secret, Stored later) override;
    Result<void> remove(const QString& service, const QString& account) override;

    /// The person's answer to all prompts that are up: with true the keyring is open from now on.
    void answerPrompts(bool unlock);

    std::map<std::pair<QString, QString>, QByteArray> items;
    /// As long as this is set nothing else happens: `lookup` of an item fails so, and so does `store`. With `Locked`,
    /// `unlockAndLookup` and `store` wait for `answerPrompts`.
    std::optional<Failure> failure;
    /// Every call: "lookup SERVICE ACCOUNT", "unlock …", "store …", "remove …".
    QStringList asked;

private:
    Secret item(const QString& service, const QString& account) const;

    std::vector<std::function<void(bool)>> m_prompts;
};

} // namespace support
