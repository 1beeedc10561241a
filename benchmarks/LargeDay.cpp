#include "LargeDay.h"

#include "../tests/support/TestData.h"
#include "Home.h"

#include <chrono>
#include <iostream>
#include <set>

namespace bench {

namespace {

int insert(SQLite::Statement& statement)
{
    statement.exec();
    statement.reset();
    return 1;
}

void fill(SQLite::Database& database, std::int64_t account, std::int64_t person, const Amount& amount, bool running)
{
    SQLite::Statement client(database, "INSERT INTO clients (id, account_id, name, active) VALUES (?, ?, ?, 1)");
    for (int i = 1; i <= amount.clients; ++i) {
        SQLite::bind(client, i, account, "Client & Sons " + std::to_string(i));
        insert(client);
    }
    SQLite::Statement task(database, "INSERT INTO tasks (id, account_id, name, rate) VALUES (?, ?, ?, 90)");
    for (int i = 1; i <= amount.tasks; ++i) {
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
    for (int i = 1; i <= amount.projects; ++i) {
        SQLite::bind(project, i, account, i % amount.clients + 1, "Project number " + std::to_string(i),
                     "P-" + std::to_string(i));
        insert(project);
        SQLite::bind(mine, account, i, person);
        insert(mine);
        for (int k = 0; k < amount.tasksOfProject; ++k) {
            SQLite::bind(offered, account, i, (i + k) % amount.tasks + 1, k % 2);
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
    for (int i = 1; i <= amount.entries; ++i) {
        const auto written = static_cast<std::int64_t>(now) - 60 * (amount.entries - i + 1);
        SQLite::bind(entry, person, i, (i + i % amount.tasksOfProject) % amount.tasks + 1, std::string(day),
                     "What was done, in a few words, for the " + std::to_string(i) + "th time", 60 * i);
        if (running && i == amount.entries)
            entry.bind(7, written);
        else
            entry.bind(7);
        entry.bind(8, written);
        entry.bind(9, written);
        insert(entry);
    }
}

} // namespace

bool fillWithDay(localservice::Database& database, const Amount& amount, bool running)
{
    using Filled = tl::expected<void, localservice::Problem>;
    support::TestData data(database);
    const auto filled = data.addAccount({.subdomain = AccountName, .name = "Large"}).and_then([&](auto account) {
        return data.addPerson({.account = account, .email = Email, .password = Password, .admin = true})
            .and_then([&](auto person) {
                return database.storage().change([&](SQLite::Database& file) -> Filled {
                    fill(file, account, person, amount, running);
                    return {};
                });
            });
    });
    if (!filled)
        std::cerr << filled.error().message << '\n';
    return filled.has_value();
}

} // namespace bench
