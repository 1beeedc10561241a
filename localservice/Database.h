#pragma once

#include "DateText.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tl/expected.hpp>

namespace localservice {

using Id = std::int64_t;

/// A record's number from a string: decimal digits only. 0 for anything else.
Id idIn(std::string_view text);

/// A result, or a sentence about what went wrong.
template <typename T>
using Result = tl::expected<T, std::string>;

/// The account that `ensureSampleAccount` made or found.
struct SampleAccount
{
    Id account = 0;
    Id person = 0;
    std::string email; ///< the owner's, used to sign in to the account
    /// The password given to the person, once, when the account was made; only its hash is stored.
    std::optional<std::string> password;
    bool hasPassword = false; ///< otherwise the owner cannot sign in with a password
};

/// Whether the owner of a new account gets a password, or none until they choose one on the pages.
enum class FirstPassword
{
    Made,
    None,
};

class Storage;

/// Reported when the data file is moved, replaced or damaged while in use.
struct FileTrouble
{
    /// A sentence for people about what happened and what to do; empty when all is well again. Called on the thread
    /// that found out, which waits for it to return.
    std::function<void(const std::string& sentence)> tell = {};
    std::string stop = "stop the service"; ///< how the user quits the program that has the file open
};

/// The data file of the service, and how its accounts begin. Each call is one transaction, on disk when it returns.
/// Thread-safe, and safe beside a service that uses the same file.
class Database final
{
public:
    /// Opens the file, creating it and its folder if necessary, readable by the owner only.
    static Result<std::unique_ptr<Database>> open(const std::string& file, FileTrouble trouble = {});
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    /// Also ends that person's sessions.
    Result<void> setPassword(const std::string& subdomain, const std::string& email, const std::string& password);
    /// The account of that subdomain and its owner, the first person in it. If there is none, makes it with `email` as
    /// owner and a small sample catalog.
    Result<SampleAccount> ensureSampleAccount(const std::string& email, const std::string& subdomain = "local",
                                              FirstPassword first = FirstPassword::Made);

    Storage& storage() { return *m_storage; }

private:
    explicit Database(std::unique_ptr<Storage> storage);

    std::unique_ptr<Storage> m_storage;
};

} // namespace localservice
