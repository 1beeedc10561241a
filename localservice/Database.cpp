#include "Database.h"

#include "Credentials.h"
#include "DateText.h"
#include "Samples.h"
#include "Sql.h"
#include "Storage.h"

#include <charconv>

namespace localservice {

namespace {

std::string messageOf(const Problem& problem)
{
    return problem.message;
}

constexpr const char* NoHash = "The password could not be hashed.";

} // namespace

Id idIn(std::string_view text)
{
    Id number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size() && number > 0 ? number : 0;
}

Database::Database(std::unique_ptr<Storage> storage) : m_storage(std::move(storage)) {}

Database::~Database() = default;

Result<std::unique_ptr<Database>> Database::open(const std::string& file, FileTrouble trouble)
{
    auto storage = Storage::open(file, std::move(trouble));
    if (!storage)
        return tl::unexpected(storage.error());
    return std::unique_ptr<Database>(new Database(std::move(*storage)));
}

Result<void> Database::setPassword(const std::string& subdomain, const std::string& email, const std::string& password)
{
    const auto hash = hashOfPassword(password);
    if (!hash)
        return tl::unexpected(NoHash);
    return m_storage
        ->change([&](auto& database) -> tl::expected<void, Problem> {
            execute(database,
                    "DELETE FROM sessions WHERE person_id IN (SELECT p.id FROM people p"
                    " JOIN accounts a ON a.id = p.account_id WHERE p.email = ? AND a.subdomain = ?)",
                    email, subdomain);
            if (execute(database,
                        "UPDATE people SET password_hash = ? WHERE email = ?"
                        " AND account_id = (SELECT id FROM accounts WHERE subdomain = ?)",
                        *hash, email, subdomain) == 0)
                return tl::unexpected(Problem{404, "NotFound", "There is no such person."});
            return {};
        })
        .map_error(messageOf);
}

Result<SampleAccount> Database::ensureSampleAccount(const std::string& email, const std::string& subdomain,
                                                    FirstPassword first)
{
    using Found = tl::expected<SampleAccount, Problem>;
    const auto find = [&](SQLite::Database& database) -> Found {
        SQLite::Statement query(database,
                                "SELECT a.id, p.id, p.email, p.password_hash <> '' FROM accounts a JOIN people p"
                                " ON p.account_id = a.id WHERE a.subdomain = ? ORDER BY p.id LIMIT 1");
        SQLite::bind(query, subdomain);
        if (!query.executeStep())
            return SampleAccount{};
        return SampleAccount{query.getColumn(0).getInt64(), query.getColumn(1).getInt64(),
                             query.getColumn(2).getString(), std::nullopt, query.getColumn(3).getInt() != 0};
    };
    auto found = m_storage->look(find);
    if (!found || found->account != 0)
        return std::move(found).map_error(messageOf);

    const auto password = first == FirstPassword::Made ? randomPassword() : std::nullopt;
    const auto hash = password ? hashOfPassword(*password) : std::nullopt;
    if (!hash && first == FirstPassword::Made)
        return tl::unexpected(NoHash);
    return m_storage
        ->change([&](SQLite::Database& database) -> Found {
            // Another process may have been here between the check and this transaction.
            auto sample = find(database);
            if (sample && sample->account == 0) {
                sample->account = insert(database,
                                         "INSERT INTO accounts (subdomain, name, timezone, timestamp_timers)"
                                         " VALUES (?, 'Sample Account', ?, 0)",
                                         subdomain, localZoneName());
                sample->email = email;
                sample->person = insert(database,
                                        "INSERT INTO people (account_id, email, first_name, last_name, admin, rate,"
                                        " password_hash) VALUES (?, ?, 'Sample', 'Person', 1, 0, ?)",
                                        sample->account, email, hash.value_or(""));
                sample->password = password;
                sample->hasPassword = password.has_value();
                addSamples(database, sample->account, sample->person);
            }
            return sample;
        })
        .map_error(messageOf);
}

} // namespace localservice
