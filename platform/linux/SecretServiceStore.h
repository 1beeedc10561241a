#pragma once

#include "../Secret.h"
#include "../SecretStore.h"

#include <chrono>
#include <list>
#include <map>
#include <memory>
#include <vector>

namespace platform {

/// The desktop's keyring through libsecret.
///
/// Every call runs on a helper thread, so that a keyring that hangs or prompts blocks neither the main thread nor a
/// quit. A call that has begun is never cancelled: the keyring daemon does not survive that while it prompts.
class SecretServiceStore final : public SecretStore
{
public:
    /// `patience` is the timeout for a keyring that does not answer.
    explicit SecretServiceStore(std::chrono::milliseconds patience = std::chrono::seconds(2));
    ~SecretServiceStore() override;

    Result<std::optional<QByteArray>> lookup(const QString& service, const QString& account) override;
    void expectLookup(const QString& service, const QString& account) override;
    Result<bool> hasDefaultKeyring() override;
    void unlockAndLookup(const QString& service, const QString& account,
                         std::function<void(Result<std::optional<QByteArray>>)> done) override;
    Result<void> store(const QString& service, const QString& account, const QByteArray& secret, Stored later) override;
    Result<void> remove(const QString& service, const QString& account) override;

private:
    class Lane;
    struct WayBack;
    struct Expected;

    /// An item that waits until the person has unlocked the keyring.
    struct Waiting
    {
        QString service;
        QString account;
        Secret<QByteArray> secret;
        std::vector<Stored> told;
    };

    /// Runs `job`, which may prompt, and then `done` on the main thread with its result.
    template <class T>
    void askPerson(std::function<Result<T>()> job, std::function<void(Result<T>)> done);
    void answer(int number);

    const std::chrono::milliseconds m_patience;
    // One after another in each lane. Shared with its thread, which may be abandoned.
    std::shared_ptr<Lane> m_reads;
    std::shared_ptr<Lane> m_writes;
    std::shared_ptr<Lane> m_prompts;
    std::shared_ptr<WayBack> m_wayBack;
    std::unique_ptr<Expected> m_expected; ///< a look-up that was begun for somebody who will ask for it
    std::map<int, std::function<void()>> m_waiting;
    std::list<Waiting> m_toStore;
    int m_asked = 0;
};

} // namespace platform
