#include "Database.h"

#include "Catalog.h"
#include "Credentials.h"
#include "DateText.h"
#include "Sql.h"
#include "Storage.h"

#include <algorithm>
#include <charconv>
#include <vector>

namespace localservice {

namespace {

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
    using Kind = Catalog::Kind;
    // These texts are ours, so nothing is rejected.
    Catalog catalog(database, account);
    for (const auto& [name, billable] : tasks)
        catalog.add(Kind::Task, name).value();
    Id firstProject = 0;
    for (const auto& sample : projects) {
        const Id client = catalog.named(Kind::Client, sample.client).value();
        const Id project = catalog.addProject({client, sample.name, sample.code, sample.billable}).value();
        static_cast<void>(catalog.assignPerson(project, owner));
        if (firstProject == 0)
            firstProject = project;
        for (const auto& [name, billable] : tasks) {
            if (std::find(sample.tasks.begin(), sample.tasks.end(), name) != sample.tasks.end())
                static_cast<void>(
                    catalog.offerTask(project, catalog.named(Kind::Task, name).value(), sample.billable && billable));
        }
    }
    // One entry without time, so that there is a timer to start right away.
    const Seconds now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    execute(database,
            "INSERT INTO entries (person_id, project_id, task_id, spent_at, notes, seconds, created_at, updated_at)"
            " VALUES (?, ?, ?, ?, '', 0, ?, ?)",
            owner, firstProject, catalog.named(Kind::Task, tasks.front().first).value(), isoDayText(localDay(now)), now,
            now);
}

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
                insertSampleCatalog(database, sample->account, sample->person);
            }
            return sample;
        })
        .map_error(messageOf);
}

} // namespace localservice
