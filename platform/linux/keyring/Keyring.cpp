// The search with options is not yet declared stable.
#define SECRET_API_SUBJECT_TO_CHANGE
#include "Keyring.h"

#include <cstring>
#include <memory>

#include <libsecret/secret.h>

namespace platform::keyring {

namespace {

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

Outcome outcomeOf(const GError& error)
{
    if (error.domain == SECRET_ERROR)
        return error.code == SECRET_ERROR_IS_LOCKED ? Outcome::Locked : Outcome::Failed;
    if (error.domain == G_DBUS_ERROR) {
        switch (error.code) {
        case G_DBUS_ERROR_NO_REPLY:
        case G_DBUS_ERROR_TIMEOUT:
        case G_DBUS_ERROR_TIMED_OUT:
            return Outcome::TimedOut;
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
            return Outcome::NoService;
        default:
            return Outcome::Failed;
        }
    }
    // There is no bus.
    if (error.domain == G_IO_ERROR)
        return error.code == G_IO_ERROR_TIMED_OUT ? Outcome::TimedOut : Outcome::NoService;
    return Outcome::Failed;
}

Answer found(SecretValue& value)
{
    gsize length = 0;
    const gchar* data = secret_value_get(&value, &length);
    return {Outcome::Done, Bytes(data, length)};
}

/// Without a prompt.
Answer find(const Request& request)
{
    GError* raised = nullptr;
    const List items(secret_password_search_sync(&Schema, SECRET_SEARCH_LOAD_SECRETS, nullptr, &raised, "service",
                                                 request.service.c_str(), "account", request.account.c_str(), nullptr));
    if (const Error error(raised); error)
        return {outcomeOf(*error), {}};
    if (!items)
        return {Outcome::Nothing, {}};
    if (SECRET_IS_ITEM(items->data) && secret_item_get_locked(SECRET_ITEM(items->data)))
        return {Outcome::Locked, {}};
    const Value value(secret_retrievable_retrieve_secret_sync(SECRET_RETRIEVABLE(items->data), nullptr, &raised));
    if (const Error error(raised); error)
        return {outcomeOf(*error), {}};
    return value ? found(*value) : Answer{Outcome::Locked, {}};
}

Answer findUnlocked(const Request& request)
{
    GError* raised = nullptr;
    const Value value(secret_password_lookup_binary_sync(&Schema, nullptr, &raised, "service", request.service.c_str(),
                                                         "account", request.account.c_str(), nullptr));
    if (const Error error(raised); error)
        return {outcomeOf(*error), {}};
    // Either there is no such item, or the person would not unlock it.
    return value ? found(*value) : find(request);
}

/// Where new items go. Null: there is none, or an error was raised.
Object<SecretCollection> defaultKeyring(GError** raised)
{
    const Object<SecretService> service(secret_service_get_sync(SECRET_SERVICE_NONE, nullptr, raised));
    return Object<SecretCollection>(service ? secret_collection_for_alias_sync(service.get(), SECRET_COLLECTION_DEFAULT,
                                                                               SECRET_COLLECTION_NONE, nullptr, raised)
                                            : nullptr);
}

Outcome hasDefault()
{
    GError* raised = nullptr;
    const auto keyring = defaultKeyring(&raised);
    if (const Error error(raised); error)
        return outcomeOf(*error);
    return keyring ? Outcome::Done : Outcome::Nothing;
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

Outcome store(const Request& request)
{
    const Value value(
        secret_value_new(request.secret.data(), static_cast<gssize>(request.secret.size()), "text/plain"));
    const std::string label = "Quillon: " + request.account;
    GError* raised = nullptr;
    secret_password_store_binary_sync(&Schema, SECRET_COLLECTION_DEFAULT, label.c_str(), value.get(), nullptr, &raised,
                                      "service", request.service.c_str(), "account", request.account.c_str(), nullptr);
    const Error error(raised);
    return error ? outcomeOf(*error) : Outcome::Done;
}

Outcome remove(const Request& request)
{
    GError* raised = nullptr;
    secret_password_clear_sync(&Schema, nullptr, &raised, "service", request.service.c_str(), "account",
                               request.account.c_str(), nullptr);
    const Error error(raised);
    return error ? outcomeOf(*error) : Outcome::Done;
}

} // namespace

Bytes::~Bytes()
{
    // What a short string was moved from keeps its characters.
    explicit_bzero(data(), capacity());
}

Answer perform(const Request& request)
{
    switch (request.wish) {
    case Wish::Find:
        return find(request);
    case Wish::FindUnlocked:
        return findUnlocked(request);
    case Wish::HasDefault:
        return {hasDefault(), {}};
    case Wish::StoreIfOpen:
        return {isOpen() ? store(request) : Outcome::Nothing, {}};
    case Wish::Store:
        return {store(request), {}};
    case Wish::Remove:
        return {remove(request), {}};
    }
    return {Outcome::Failed, {}};
}

} // namespace platform::keyring
