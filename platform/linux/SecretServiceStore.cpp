// GLib first: Qt's keywords would break its headers. The search with options is not yet declared stable.
#define SECRET_API_SUBJECT_TO_CHANGE
#include <libsecret/secret.h>

#include "SecretServiceStore.h"

#include "../Run.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace platform {

namespace {

using Found = SecretStore::Result<std::optional<QByteArray>>;
using Done = SecretStore::Result<void>;
using Failure = SecretStore::Failure;

// By its attributes alone: a search by the schema's name does not see items while they are locked.
const SecretSchema Schema = {"com.wrenfold.quillon",
                             SECRET_SCHEMA_DONT_MATCH_NAME,
                             {{"service", SECRET_SCHEMA_ATTRIBUTE_STRING},
                              {"account", SECRET_SCHEMA_ATTRIBUTE_STRING},
                              {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                             0,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr};

struct Key
{
    QByteArray service;
    QByteArray account;
    bool operator==(const Key&) const = default;
};

template <auto function>
struct FreeBy
{
    void operator()(auto* thing) const { function(thing); }
};
using Error = std::unique_ptr<GError, FreeBy<g_error_free>>;
using Value = std::unique_ptr<SecretValue, FreeBy<secret_value_unref>>;
template <class T>
using Object = std::unique_ptr<T, FreeBy<g_object_unref>>;

struct ListFree
{
    void operator()(GList* list) const { g_list_free_full(list, g_object_unref); }
};
using List = std::unique_ptr<GList, ListFree>;

Failure failureOf(const GError& error)
{
    if (error.domain == SECRET_ERROR)
        return error.code == SECRET_ERROR_IS_LOCKED ? Failure::Locked : Failure::Other;
    if (error.domain == G_DBUS_ERROR) {
        switch (error.code) {
        case G_DBUS_ERROR_NO_REPLY:
        case G_DBUS_ERROR_TIMEOUT:
        case G_DBUS_ERROR_TIMED_OUT:
            return Failure::TimedOut;
        case G_DBUS_ERROR_SERVICE_UNKNOWN:
        case G_DBUS_ERROR_NAME_HAS_NO_OWNER:
        case G_DBUS_ERROR_NO_SERVER:
        case G_DBUS_ERROR_DISCONNECTED:
        case G_DBUS_ERROR_SPAWN_EXEC_FAILED:
        case G_DBUS_ERROR_SPAWN_FORK_FAILED:
        case G_DBUS_ERROR_SPAWN_CHILD_EXITED:
        case G_DBUS_ERROR_SPAWN_CHILD_SIGNALED:
        case G_DBUS_ERROR_SPAWN_FAILED:
        case G_DBUS_ERROR_SPAWN_SERVICE_NOT_FOUND:
            return Failure::NoService;
        default:
            return Failure::Other;
        }
    }
    // There is no bus.
    if (error.domain == G_IO_ERROR)
        return error.code == G_IO_ERROR_TIMED_OUT ? Failure::TimedOut : Failure::NoService;
    return Failure::Other;
}

QByteArray bytes(SecretValue& value)
{
    gsize length = 0;
    const gchar* data = secret_value_get(&value, &length);
    return QByteArray(data, static_cast<qsizetype>(length));
}

/// Without a prompt.
Found search(const Key& key)
{
    GError* raised = nullptr;
    const List found(secret_password_search_sync(&Schema, SECRET_SEARCH_LOAD_SECRETS, nullptr, &raised, "service",
                                                 key.service.constData(), "account", key.account.constData(), nullptr));
    if (const Error error(raised); error)
        return tl::unexpected(failureOf(*error));
    if (!found)
        return std::nullopt;
    if (SECRET_IS_ITEM(found->data) && secret_item_get_locked(SECRET_ITEM(found->data)))
        return tl::unexpected(Failure::Locked);
    const Value value(secret_retrievable_retrieve_secret_sync(SECRET_RETRIEVABLE(found->data), nullptr, &raised));
    if (const Error error(raised); error)
        return tl::unexpected(failureOf(*error));
    if (!value)
        return tl::unexpected(Failure::Locked);
    return bytes(*value);
}

/// With a prompt if need be, for as long as the person takes.
Found unlockAndSearch(const Key& key)
{
    GError* raised = nullptr;
    const Value value(secret_password_lookup_binary_sync(&Schema, nullptr, &raised, "service", key.service.constData(),
                                                         "account", key.account.constData(), nullptr));
    if (const Error error(raised); error)
        return tl::unexpected(failureOf(*error));
    if (value)
        return bytes(*value);
    // Either there is no such item, or the person would not unlock it.
    return search(key);
}

/// Where new items go. Null: there is none, or an error was raised.
Object<SecretCollection> defaultKeyring(GError** raised)
{
    const Object<SecretService> service(secret_service_get_sync(SECRET_SERVICE_NONE, nullptr, raised));
    return Object<SecretCollection>(service ? secret_collection_for_alias_sync(service.get(), SECRET_COLLECTION_DEFAULT,
                                                                               SECRET_COLLECTION_NONE, nullptr, raised)
                                            : nullptr);
}

/// Whether something can be stored without prompting for a password.
bool isOpen()
{
    GError* raised = nullptr;
    const auto keyring = defaultKeyring(&raised);
    // Storing meets the same error, and reports it.
    if (const Error error(raised); error)
        return true;
    return keyring && !secret_collection_get_locked(keyring.get());
}

Done write(const Key& key, const Secret<QByteArray>& secret)
{
    const Value value(secret_value_new(secret->constData(), static_cast<gssize>(secret->size()), "text/plain"));
    const QByteArray label = "Quillon: " + key.account;
    GError* raised = nullptr;
    secret_password_store_binary_sync(&Schema, SECRET_COLLECTION_DEFAULT, label.constData(), value.get(), nullptr,
                                      &raised, "service", key.service.constData(), "account", key.account.constData(),
                                      nullptr);
    if (const Error error(raised); error)
        return tl::unexpected(failureOf(*error));
    return {};
}

Done clear(const Key& key)
{
    GError* raised = nullptr;
    secret_password_clear_sync(&Schema, nullptr, &raised, "service", key.service.constData(), "account",
                               key.account.constData(), nullptr);
    if (const Error error(raised); error)
        return tl::unexpected(failureOf(*error));
    return {};
}

} // namespace

/// Jobs that run one after another on a thread that lives while there are any.
class SecretServiceStore::Lane : public std::enable_shared_from_this<Lane>
{
public:
    void start(std::function<void()> job)
    {
        const std::lock_guard lock(m_mutex);
        m_jobs.push_back(std::move(job));
        if (std::exchange(m_running, true))
            return;
        // Detached: it may hang for good, and nothing may wait for it.
        std::thread([self = shared_from_this()] { self->run(); }).detach();
    }

    template <class T>
    struct Answer
    {
        explicit Answer(bool behindAbandoned) : isBehindAbandoned(behindAbandoned) {}
        const bool isBehindAbandoned; ///< one that waits for a job that nobody waits for any more
        std::mutex mutex;
        std::condition_variable came;
        std::optional<Result<T>> value;
    };

    template <class T>
    std::shared_ptr<Answer<T>> begin(std::function<Result<T>()> job)
    {
        const auto answer = std::make_shared<Answer<T>>(isHeldUp());
        start([answer, job = std::move(job)] {
            auto value = job();
            const std::lock_guard lock(answer->mutex);
            answer->value = std::move(value);
            answer->came.notify_all();
        });
        return answer;
    }

    template <class T>
    Result<T> await(Answer<T>& answer, std::chrono::milliseconds patience)
    {
        std::unique_lock lock(answer.mutex);
        // One long wait for a hanging keyring is enough; later calls find out whether it has recovered.
        if (!answer.isBehindAbandoned && answer.came.wait_for(lock, patience, [&] { return answer.value.has_value(); }))
            return *std::move(answer.value);
        holdUp();
        return tl::unexpected(Failure::TimedOut);
    }

    /// Starts `job` and waits a while for its result.
    template <class T>
    Result<T> ask(std::chrono::milliseconds patience, std::function<Result<T>()> job)
    {
        return await(*begin(std::move(job)), patience);
    }

    /// Whether an abandoned job is still running.
    bool isHeldUp() const
    {
        const std::lock_guard lock(m_mutex);
        return m_running && m_heldUp;
    }

private:
    void holdUp()
    {
        const std::lock_guard lock(m_mutex);
        m_heldUp = m_running;
    }

    void run()
    {
        std::unique_lock lock(m_mutex);
        while (!m_jobs.empty()) {
            const auto job = std::move(m_jobs.front());
            m_jobs.pop_front();
            lock.unlock();
            job();
            lock.lock();
        }
        m_running = false;
        m_heldUp = false;
    }

    mutable std::mutex m_mutex;
    std::deque<std::function<void()>> m_jobs;
    bool m_running = false;
    bool m_heldUp = false;
};

/// The way back from helper threads, closed when the store goes.
struct SecretServiceStore::WayBack
{
    std::mutex mutex;
    SecretServiceStore* store = nullptr;
};

struct SecretServiceStore::Expected
{
    Key key;
    std::shared_ptr<Lane::Answer<std::optional<QByteArray>>> answer;
};

SecretServiceStore::SecretServiceStore(std::chrono::milliseconds patience)
    : m_patience(patience), m_reads(std::make_shared<Lane>()), m_writes(std::make_shared<Lane>()),
      m_prompts(std::make_shared<Lane>()), m_wayBack(std::make_shared<WayBack>())
{
    m_wayBack->store = this;
}

SecretServiceStore::~SecretServiceStore()
{
    const std::lock_guard lock(m_wayBack->mutex);
    m_wayBack->store = nullptr;
}

SecretServiceStore::Result<std::optional<QByteArray>> SecretServiceStore::lookup(const QString& service,
                                                                                 const QString& account)
{
    if (m_reads->isHeldUp())
        return tl::unexpected(Failure::TimedOut);
    const Key key{service.toUtf8(), account.toUtf8()};
    if (const auto expected = std::exchange(m_expected, {}); expected && expected->key == key)
        return m_reads->await(*expected->answer, m_patience);
    return m_reads->ask<std::optional<QByteArray>>(m_patience, [key] { return search(key); });
}

void SecretServiceStore::expectLookup(const QString& service, const QString& account)
{
    const Key key{service.toUtf8(), account.toUtf8()};
    auto answer = m_reads->begin<std::optional<QByteArray>>([key] { return search(key); });
    m_expected.reset(new Expected{key, std::move(answer)});
}

SecretServiceStore::Result<bool> SecretServiceStore::hasDefaultKeyring()
{
    return m_reads->ask<bool>(m_patience, []() -> Result<bool> {
        GError* raised = nullptr;
        const auto keyring = defaultKeyring(&raised);
        if (const Error error(raised); error)
            return tl::unexpected(failureOf(*error));
        return keyring != nullptr;
    });
}

template <class T>
void SecretServiceStore::askPerson(std::function<Result<T>()> job, std::function<void(Result<T>)> done)
{
    const int number = m_asked++;
    const auto found = std::make_shared<std::optional<Result<T>>>();
    // Stays here, so that what it holds is only ever touched on the main thread.
    m_waiting.emplace(number, [found, done = std::move(done)] { done(**found); });
    m_prompts->start([job = std::move(job), found, number, wayBack = m_wayBack] {
        *found = job();
        const std::lock_guard lock(wayBack->mutex);
        if (!wayBack->store)
            return;
        Run::current().postToMain([wayBack, number] {
            if (SecretServiceStore* store = wayBack->store)
                store->answer(number);
        });
    });
}

void SecretServiceStore::answer(int number)
{
    if (const auto waiting = m_waiting.extract(number))
        waiting.mapped()();
}

void SecretServiceStore::unlockAndLookup(const QString& service, const QString& account,
                                         std::function<void(Result<std::optional<QByteArray>>)> done)
{
    const Key key{service.toUtf8(), account.toUtf8()};
    askPerson<std::optional<QByteArray>>([key] { return unlockAndSearch(key); }, std::move(done));
}

SecretServiceStore::Result<void> SecretServiceStore::store(const QString& service, const QString& account,
                                                           const QByteArray& bytes, Stored later)
{
    m_expected.reset();
    const Secret<QByteArray> secret = bytes;
    const Key key{service.toUtf8(), account.toUtf8()};
    const auto stored = m_writes->ask<bool>(m_patience, [key, secret]() -> Result<bool> {
        if (!isOpen())
            return false;
        return write(key, secret).map([] { return true; });
    });
    if (!stored)
        return tl::unexpected(stored.error());
    if (*stored)
        return {};

    // Saving twice prompts once.
    const auto same = std::ranges::find_if(m_toStore, [&](const Waiting& other) {
        return other.service == service && other.account == account && other.secret == secret;
    });
    if (same != m_toStore.end()) {
        same->told.push_back(std::move(later));
        return tl::unexpected(Failure::Locked);
    }
    const auto waiting = m_toStore.insert(m_toStore.end(), {service, account, secret, {std::move(later)}});
    askPerson<void>([key, secret] { return write(key, secret); },
                    [this, waiting](const Done& done) {
                        const std::vector<Stored> told = std::move(waiting->told);
                        m_toStore.erase(waiting);
                        for (const Stored& tell : told)
                            tell(done);
                    });
    return tl::unexpected(Failure::Locked);
}

SecretServiceStore::Result<void> SecretServiceStore::remove(const QString& service, const QString& account)
{
    m_expected.reset();
    const Key key{service.toUtf8(), account.toUtf8()};
    return m_writes->ask<void>(m_patience, [key] { return clear(key); });
}

} // namespace platform
