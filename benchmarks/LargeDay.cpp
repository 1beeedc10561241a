#include "LargeDay.h"

#include "../tests/support/TestData.h"
#include "Home.h"

#include <chrono>
#include <iostream>
#include <set>

namespace bench {

namespace {

// A company has one list of kinds of work, from which its projects choose.
constexpr int TaskCount = 40;
constexpr int ClientCount = 50;

int insert(SQLite::Statement& statement)
{
    statement.exec();
    statement.reset();
    return 1;
}

void fill(SQLite::Database& database, std::int64_t account, std::int64_t person, bool running)
{
    SQLite::Statement client(database, "INSERT INTO clients (id, account_id, name, active) VALUES (?, ?, ?, 1)");
    for (int i = 1; i <= ClientCount; ++i) {
        SQLite::bind(client, i, account, "Client & Sons " + std::to_string(i));
        insert(client);
    }
    SQLite::Statement task(database, "INSERT INTO tasks (id, account_id, name, rate) VALUES (?, ?, ?, 90)");
    for (int i = 1; i <= TaskCount; ++i) {
        SQLite::bind(task, i, account, "Kind of work " + std::to_string(i));
        insert(task);
    }
    SQLite::Statement project(database,
                              "INSERT INTO projects (id, account_id, client_id, name, code, billable, bill_by, rate,"
                              " active) VALUES (?, ?, ?, ?, ?, 1, 'Tasks', 0, 1)");
    SQLite::Statement mine(
        database, "INSERT INTO user_assignments (account_id, project_id, person_id, rate) VALUES (?, ?, ?, 0)");
    SQLite::Statement offered(
        database,
        "INSERT INTO task_assignments (account_id, project_id, task_id, billable, rate) VALUES (?, ?, ?, ?, 0)");
    for (int i = 1; i <= ProjectCount; ++i) {
        SQLite::bind(project, i, account, i % ClientCount + 1, "Project number " + std::to_string(i),
                     "P-" + std::to_string(i));
        insert(project);
        SQLite::bind(mine, account, i, person);
        insert(mine);
        for (int k = 0; k < TasksOfProject; ++k) {
            SQLite::bind(offered, account, i, (i + k) % TaskCount + 1, k % 2);
            insert(offered);
        }
    }

    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char day[16];
    std::strftime(day, sizeof day, "%F", &local);
    SQLite::Statement entry(database, "INSERT INTO entries (person_id, project_id, task_id, spent_at, notes, seconds,"
                                      " timer_started, created_at, updated_at) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
    for (int i = 1; i <= EntryCount; ++i) {
        const auto written = static_cast<std::int64_t>(now) - 60 * (EntryCount - i + 1);
        SQLite::bind(entry, person, i, (i + i % TasksOfProject) % TaskCount + 1, std::string(day),
                     "What was done, in a few words, for the " + std::to_string(i) + "th time", 60 * i);
        if (running && i == EntryCount)
            entry.bind(7, written);
        else
            entry.bind(7);
        entry.bind(8, written);
        entry.bind(9, written);
        insert(entry);
    }
}

} // namespace

bool fillWithLargeDay(localservice::Database& database, bool running)
{
    using Filled = tl::expected<void, localservice::Problem>;
    support::TestData data(database);
    const auto filled = data.addAccount({.subdomain = AccountName, .name = "Large"}).and_then([&](auto account) {
        return data.addPerson({.account = account, .email = Email, .password = Password, .admin = true})
            .and_then([&](auto person) {
                return database.storage().change([&](SQLite::Database& file) -> Filled {
                    fill(file, account, person, running);
                    return {};
                });
            });
    });
    if (!filled)
        std::cerr << filled.error().message << '\n';
    return filled.has_value();
}

} // namespace bench
