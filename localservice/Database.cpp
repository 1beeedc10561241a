#include "Database.h"

#include "Catalog.h"
#include "Credentials.h"
#include "DateText.h"
#include "Sql.h"
#include "Storage.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <vector>

namespace localservice {

namespace {

using Outcome = tl::expected<Id, Problem>;

/// Runs a change of exactly one row.
template <typename... Values>
Outcome update(SQLite::Database& database, const std::string& sql, const Values&... values)
{
    if (execute(database, sql, values...) == 1)
        return 1;
    return tl::unexpected(Problem{404, "NotFound", "There is no such record."});
}

Result<Id> withText(Outcome outcome)
{
    return std::move(outcome).map_error([](const Problem& problem) { return problem.message; });
}

template <typename T>
Result<void> done(const tl::expected<T, Problem>& outcome)
{
    if (!outcome)
        return tl::unexpected(outcome.error().message);
    return {};
}

/// The catalog that the record belongs to. There is none of account 0, so one of an unknown record changes nothing.
Catalog catalogOf(SQLite::Database& database, const std::string& table, Id id)
{
    return {database, number(database, "SELECT account_id FROM " + table + " WHERE id = ?", id),
            Catalog::Doubles::Allowed};
}

Id insertAccount(SQLite::Database& database, const NewAccount& account)
{
    return insert(database, "INSERT INTO accounts (subdomain, name, timezone, timestamp_timers) VALUES (?, ?, ?, ?)",
                  account.subdomain, account.name.empty() ? account.subdomain : account.name,
                  account.timezone.empty() ? localZoneName() : account.timezone, int{account.timestampTimers});
}

Id insertPerson(SQLite::Database& database, const NewPerson& person, const std::string& hash)
{
    return insert(database,
                  "INSERT INTO people (account_id, email, first_name, last_name, admin, rate, password_hash)"
                  " VALUES (?, ?, ?, ?, ?, ?, ?)",
                  person.account, person.email, person.firstName, person.lastName, int{person.admin}, person.rate,
                  hash);
}

struct SampleProject
{
    const char* client;
    const char* code;
    const char* name;
    bool billable;
    std::vector<std::string> tasks;
};

void insertSampleCatalog(SQLite::Database& database, Id account, Id owner)
{
    const std::vector<std::pair<std::string, bool>> tasks{{"Design", true},    {"Development", true},
                                                          {"Meetings", true},  {"Writing", true},
                                                          {"Learning", false}, {"Administration", false}};
    const std::vector<SampleProject> projects{
        {"Juniper Bakery", "JB-01", "Online Shop", true, {"Design", "Development", "Meetings", "Administration"}},
        {"Juniper Bakery", "JB-02", "Seasonal Menu Cards", true, {"Design", "Writing", "Meetings"}},
        {"Harbour & Sons", "HARB", "Boat Rental Booking", true, {"Design", "Development", "Meetings", "Learning"}},
        {"My Own Work", "", "Bookkeeping", false, {"Administration"}},
        {"My Own Work", "", "Training", false, {"Learning", "Meetings"}},
    };
    // These texts are ours, so nothing is refused.
    Catalog catalog(database, account);
    std::map<std::string, Id> clientIds;
    std::map<std::string, Id> taskIds;
    for (const auto& [name, billable] : tasks)
        taskIds[name] = catalog.addTask(name).value();
    Id firstProject = 0;
    for (const auto& sample : projects) {
        if (!clientIds.contains(sample.client))
            clientIds[sample.client] = catalog.addClient(sample.client).value();
        const Id project =
            catalog.addProject({clientIds[sample.client], sample.name, sample.code, sample.billable}).value();
        catalog.assignPerson(project, owner).value();
        if (firstProject == 0)
            firstProject = project;
        for (const auto& [name, billable] : tasks) {
            if (std::find(sample.tasks.begin(), sample.tasks.end(), name) != sample.tasks.end())
                catalog.offerTask(project, taskIds[name], sample.billable && billable).value();
        }
    }
    // One entry without time, so that there is a timer to start at once.
    const Seconds now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    SQLite::Statement entry(database, "INSERT INTO entries (person_id, project_id, task_id, spent_at, notes, seconds,"
                                      " created_at, updated_at) VALUES (?, ?, ?, ?, '', 0, ?, ?)");
    SQLite::bind(entry, owner, firstProject, taskIds[tasks.front().first], isoDayText(localDay(now)), now, now);
    entry.exec();
}

constexpr const char* noHash = "The password could not be hashed.";

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

Result<Id> Database::addAccount(const NewAccount& account)
{
    return withText(m_storage->change([&](auto& database) -> Outcome { return insertAccount(database, account); }));
}

Result<Id> Database::addPerson(const NewPerson& person)
{
    const auto hash = hashOfPassword(person.password);
    if (!hash)
        return tl::unexpected(noHash);
    return withText(
        m_storage->change([&](auto& database) -> Outcome { return insertPerson(database, person, *hash); }));
}

Result<Id> Database::addClient(Id account, const std::string& name, bool active)
{
    return withText(m_storage->change(
        [&](auto& database) { return Catalog(database, account, Catalog::Doubles::Allowed).addClient(name, active); }));
}

Result<Id> Database::addProject(const NewProject& project)
{
    return withText(m_storage->change(
        [&](auto& database) { return catalogOf(database, "clients", project.client).addProject(project); }));
}

Result<Id> Database::addTask(Id account, const std::string& name, double rate)
{
    return withText(m_storage->change(
        [&](auto& database) { return Catalog(database, account, Catalog::Doubles::Allowed).addTask(name, rate); }));
}

Result<Id> Database::offerTask(Id project, Id task, bool billable, double rate)
{
    return withText(m_storage->change([&](auto& database) {
        return catalogOf(database, "projects", project).offerTask(project, task, billable, rate);
    }));
}

Result<Id> Database::assignPerson(Id project, Id person, double rate)
{
    return withText(m_storage->change(
        [&](auto& database) { return catalogOf(database, "projects", project).assignPerson(project, person, rate); }));
}

Result<void> Database::setPassword(const std::string& subdomain, const std::string& email, const std::string& password)
{
    const auto hash = hashOfPassword(password);
    if (!hash)
        return tl::unexpected(noHash);
    return done(m_storage->change([&](auto& database) {
        SQLite::Statement end(database,
                              "DELETE FROM sessions WHERE person_id IN (SELECT p.id FROM people p"
                              " JOIN accounts a ON a.id = p.account_id WHERE p.email = ? AND a.subdomain = ?)");
        SQLite::bind(end, email, subdomain);
        end.exec();
        return update(database,
                      "UPDATE people SET password_hash = ? WHERE email = ?"
                      " AND account_id = (SELECT id FROM accounts WHERE subdomain = ?)",
                      *hash, email, subdomain);
    }));
}

Result<void> Database::setProjectActive(Id project, bool active)
{
    return done(m_storage->change(
        [&](auto& database) { return catalogOf(database, "projects", project).setProjectActive(project, active); }));
}

Result<void> Database::withdrawTask(Id project, Id task)
{
    return done(m_storage->change(
        [&](auto& database) { return catalogOf(database, "projects", project).withdrawTask(project, task); }));
}

Result<void> Database::renameProject(Id project, const std::string& name)
{
    return done(m_storage->change([&](auto& database) {
        return catalogOf(database, "projects", project).changeProject(project, {.name = name});
    }));
}

Result<void> Database::lockEntry(Id entry, const std::optional<std::string>& reason)
{
    return done(m_storage->change([&](auto& database) {
        if (!reason)
            return update(database, "UPDATE entries SET locked_reason = NULL WHERE id = ?", entry);
        return update(database, "UPDATE entries SET locked_reason = ? WHERE id = ?", *reason, entry);
    }));
}

Result<void> Database::setBilled(Id entry, bool billed)
{
    return done(m_storage->change([&](auto& database) {
        return update(database, "UPDATE entries SET billed = ? WHERE id = ?", int{billed}, entry);
    }));
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
    const auto text = [](const Problem& problem) { return problem.message; };
    auto found = m_storage->look(find);
    if (!found || found->account != 0)
        return std::move(found).map_error(text);

    const auto password = first == FirstPassword::Made ? randomPassword() : std::nullopt;
    const auto hash = password ? hashOfPassword(*password) : std::nullopt;
    if (!hash && first == FirstPassword::Made)
        return tl::unexpected(noHash);
    return m_storage
        ->change([&](SQLite::Database& database) -> Found {
            // Another process may have been here between the look and this transaction.
            auto sample = find(database);
            if (sample && sample->account == 0) {
                sample->account = insertAccount(database, {subdomain, "Sample Account"});
                sample->email = email;
                sample->person = insertPerson(database, {sample->account, email, {}, "Sample", "Person", true, 0},
                                              hash.value_or(""));
                sample->password = password;
                sample->hasPassword = password.has_value();
                insertSampleCatalog(database, sample->account, sample->person);
            }
            return sample;
        })
        .map_error(text);
}

} // namespace localservice
