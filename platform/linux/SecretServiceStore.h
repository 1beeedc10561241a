#pragma once

#include "../Secret.h"
#include "../SecretStore.h"
#include "KeyringProcess.h"

#include <chrono>
#include <list>
#include <memory>
#include <vector>

namespace platform {

/// The desktop's keyring through libsecret, by processes of their own: a keyring that hangs or prompts blocks neither
/// the main thread nor a quit, and the libraries are loaded only while they are needed.
class SecretServiceStore final : public SecretStore
{
public:
    /// The helper's file, beside the program.
    static QString helper();

    /// `patience` is the timeout for a keyring that does not answer.
    explicit SecretServiceStore(std::chrono::milliseconds patience = std::chrono::seconds(2),
                                const QString& helper = SecretServiceStore::helper());
    ~SecretServiceStore() override;

    Result<std::optional<QByteArray>> lookup(const QString& service, const QString& account) override;
    void expectLookup(const QString& service, const QString& account) override;
    Result<bool> hasDefaultKeyring() override;
    void unlockAndLookup(const QString& service, const QString& account,
                         std::function<void(Result<std::optional<QByteArray>>)> done) override;
    Result<void> store(const QString& service, const QString& account, const QByteArray& secret, Stored later) override;
    Result<void> remove(const QString& service, const QString& account) override;

private:
    struct Expected;

    /// An item that waits until the person has unlocked the keyring.
    struct Waiting
    {
        QString service;
        QString account;
        Secret<QByteArray> secret;
        std::vector<Stored> told;
    };

    const std::chrono::milliseconds m_patience;
    KeyringProcess m_reads;
    KeyringProcess m_writes;
    KeyringProcess m_prompts;
    std::unique_ptr<Expected> m_expected; ///< a look-up that was begun for somebody who will ask for it
    std::list<Waiting> m_toStore;
};

} // namespace platform
