#include "MemorySecretStore.h"

#include "platform/Run.h"

namespace support {

using namespace Qt::StringLiterals;

MemorySecretStore::Secret MemorySecretStore::lookup(const QString& service, const QString& account)
{
    asked << u"lookup %1 %2"_s.arg(service, account);
    if (failure && (*failure != Failure::Locked || items.contains({service, account})))
        return tl::unexpected(*failure);
    return item(service, account);
}

void MemorySecretStore::unlockAndLookup(const QString& service, const QString& account,
                                        std::function<void(Secret)> done)
{
    asked << u"unlock %1 %2"_s.arg(service, account);
    const auto answer = [this, service, account, done](bool) {
        const Secret secret = failure ? tl::unexpected(*failure) : item(service, account);
        platform::Run::current().postToMain([done, secret] { done(secret); });
    };
    if (failure == Failure::Locked)
        m_prompts.push_back(answer);
    else
        answer(true);
}

MemorySecretStore::Result<void> MemorySecretStore::store(const QString& service, const QString& account,
                                                         const QByteArray& secret, Stored later)
{
    asked << u"store %1 %2"_s.arg(service, account);
    if (!failure) {
        items[{service, account}] = secret;
        return {};
    }
    if (*failure != Failure::Locked)
        return tl::unexpected(*failure);
    m_prompts.push_back([=, this](bool unlocked) {
        if (unlocked)
            items[{service, account}] = secret;
        const Result<void> stored = unlocked ? Result<void>() : tl::unexpected(Failure::Locked);
        platform::Run::current().postToMain([later, stored] { later(stored); });
    });
    return tl::unexpected(Failure::Locked);
}

MemorySecretStore::Result<void> MemorySecretStore::remove(const QString& service, const QString& account)
{
    asked << u"remove %1 %2"_s.arg(service, account);
    if (failure)
        return tl::unexpected(*failure);
    items.erase({service, account});
    return {};
}

MemorySecretStore::Secret MemorySecretStore::item(const QString& service, const QString& account) const
{
    const auto found = items.find({service, account});
    return found != items.end() ? std::optional(found->second) : std::nullopt;
}

void MemorySecretStore::answerPrompts(bool unlock)
{
    if (unlock)
        failure.reset();
    for (const auto& prompt : std::exchange(m_prompts, {}))
        prompt(unlock);
}

} // namespace support
