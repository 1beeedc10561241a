#include "SecretServiceStore.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <utility>

namespace platform {

using namespace Qt::StringLiterals;
using keyring::Outcome;
using keyring::Wish;

namespace {

using Found = SecretStore::Result<std::optional<QByteArray>>;
using Done = SecretStore::Result<void>;
using Failure = SecretStore::Failure;

KeyringProcess::Parts item(const QString& service, const QString& account, const QByteArray& secret = {})
{
    return {service.toUtf8(), account.toUtf8(), secret};
}

Failure failureOf(Outcome outcome)
{
    switch (outcome) {
    case Outcome::NoService:
        return Failure::NoService;
    case Outcome::Locked:
        return Failure::Locked;
    case Outcome::TimedOut:
        return Failure::TimedOut;
    case Outcome::NotInstalled:
        return Failure::NotInstalled;
    case Outcome::Done:
    case Outcome::Nothing:
    case Outcome::Failed:
        break;
    }
    return Failure::Other;
}

/// Of a look-up that has ended one way or the other.
Found foundBy(Outcome outcome, KeyringProcess::Exchange& exchange)
{
    if (outcome == Outcome::Done)
        return std::exchange(exchange.found, {});
    if (outcome == Outcome::Nothing)
        return std::nullopt;
    return tl::unexpected(failureOf(outcome));
}

Done doneBy(Outcome outcome)
{
    return outcome == Outcome::Done ? Done() : tl::unexpected(failureOf(outcome));
}

} // namespace

struct SecretServiceStore::Expected
{
    QString service;
    QString account;
    std::shared_ptr<KeyringProcess::Exchange> exchange;
};

QString SecretServiceStore::helper()
{
    // The toolkit knows this folder too, but not before there is an application. Read as a plain string: an upgrade may
    // have replaced our file, and the folder is the same.
    return QFileInfo(QFile::symLinkTarget(u"/proc/self/exe"_s)).path() + "/quillon-keyring"_L1;
}

SecretServiceStore::SecretServiceStore(std::chrono::milliseconds patience, const QString& helper)
    : m_patience(patience), m_reads(helper), m_writes(helper), m_prompts(helper)
{
}

SecretServiceStore::~SecretServiceStore() = default;

SecretServiceStore::Result<std::optional<QByteArray>> SecretServiceStore::lookup(const QString& service,
                                                                                 const QString& account)
{
    if (m_reads.isHeldUp())
        return tl::unexpected(Failure::TimedOut);
    const auto expected = std::exchange(m_expected, {});
    const auto exchange = expected && expected->service == service && expected->account == account
                              ? expected->exchange
                              : m_reads.begin(Wish::Find, item(service, account));
    return foundBy(m_reads.await(*exchange, m_patience), *exchange);
}

void SecretServiceStore::expectLookup(const QString& service, const QString& account)
{
    m_expected.reset(new Expected{service, account, m_reads.begin(Wish::Find, item(service, account))});
}

SecretServiceStore::Result<bool> SecretServiceStore::hasDefaultKeyring()
{
    const Outcome outcome = m_reads.await(*m_reads.begin(Wish::HasDefault, {}), m_patience);
    if (outcome == Outcome::Done || outcome == Outcome::Nothing)
        return outcome == Outcome::Done;
    return tl::unexpected(failureOf(outcome));
}

void SecretServiceStore::unlockAndLookup(const QString& service, const QString& account,
                                         std::function<void(Result<std::optional<QByteArray>>)> done)
{
    m_prompts.begin(
        Wish::FindUnlocked, item(service, account),
        [done = std::move(done)](KeyringProcess::Exchange& exchange) { done(foundBy(*exchange.outcome, exchange)); });
}

SecretServiceStore::Result<void> SecretServiceStore::store(const QString& service, const QString& account,
                                                           const QByteArray& bytes, Stored later)
{
    m_expected.reset();
    const auto stored = m_writes.begin(Wish::StoreIfOpen, item(service, account, bytes));
    if (const Outcome outcome = m_writes.await(*stored, m_patience); outcome != Outcome::Nothing)
        return doneBy(outcome);

    // Saving twice prompts once.
    const Secret<QByteArray> secret = bytes;
    const auto same = std::ranges::find_if(m_toStore, [&](const Waiting& other) {
        return other.service == service && other.account == account && other.secret == secret;
    });
    if (same != m_toStore.end()) {
        same->told.push_back(std::move(later));
        return tl::unexpected(Failure::Locked);
    }
    const auto waiting = m_toStore.insert(m_toStore.end(), {service, account, secret, {std::move(later)}});
    m_prompts.begin(Wish::Store, item(service, account, bytes), [this, waiting](const KeyringProcess::Exchange& ended) {
        const std::vector<Stored> told = std::move(waiting->told);
        m_toStore.erase(waiting);
        for (const Stored& tell : told)
            tell(doneBy(*ended.outcome));
    });
    return tl::unexpected(Failure::Locked);
}

SecretServiceStore::Result<void> SecretServiceStore::remove(const QString& service, const QString& account)
{
    m_expected.reset();
    return doneBy(m_writes.await(*m_writes.begin(Wish::Remove, item(service, account)), m_patience));
}

} // namespace platform
