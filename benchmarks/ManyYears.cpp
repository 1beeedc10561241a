#include "ManyYears.h"

#include "../tests/support/TestData.h"
#include "Home.h"

#include <iostream>

namespace bench {

namespace {

// ?1 is the account. The first person is there already; every number below runs on from record to record.
constexpr const char* Records[] = {
    "INSERT INTO people (account_id, email, first_name, last_name, admin, rate, password_hash)"
    " WITH RECURSIVE n(i) AS (SELECT 2 UNION ALL SELECT i + 1 FROM n WHERE i < 50)"
    " SELECT ?1, 'person' || i || '@example.com', 'Person', 'Number ' || i, 0, 0, '' FROM n",
    "INSERT INTO clients (id, account_id, name, active)"
    " WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 50)"
    " SELECT i, ?1, 'Client & Sons ' || i, 1 FROM n",
    "INSERT INTO tasks (id, account_id, name, rate)"
    " WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 40)"
    " SELECT i, ?1, 'Kind of work ' || i, 90 FROM n",
    "INSERT INTO projects (id, account_id, client_id, name, code, billable, bill_by, rate, active)"
    " WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 300)"
    " SELECT i, ?1, i % 50 + 1, 'Project number ' || i, 'P-' || i, 1, 'Tasks', 0, 1 FROM n",
    "INSERT INTO user_assignments (account_id, project_id, person_id, rate)"
    " SELECT ?1, p.id, o.id, 0 FROM projects p JOIN people o ON o.account_id = p.account_id WHERE p.account_id = ?1",
    "INSERT INTO task_assignments (account_id, project_id, task_id, billable, rate)"
    " SELECT ?1, p.id, t.id, t.id % 2, 0 FROM projects p JOIN tasks t ON t.account_id = p.account_id"
    " WHERE p.account_id = ?1 AND (t.id + p.id) % 40 < 20",
    "INSERT INTO entries (person_id, project_id, task_id, spent_at, notes, seconds, created_at, updated_at)"
    " WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 199999)"
    " SELECT (SELECT MIN(id) FROM people WHERE account_id = ?1) + i % 50, i * 7 % 300 + 1, i * 11 % 40 + 1,"
    " date('now', '-' || ((199999 - i) / 55) || ' days'), 'What was done, in a few words, for the ' || i || 'th time',"
    " 60 * (5 + i % 235), 1400000000 + i * 60, 1400000000 + i * 60 FROM n",
    "UPDATE entries SET timer_started = CAST(strftime('%s', 'now') AS INTEGER) - 1800"
    " WHERE ?1 AND id = (SELECT MAX(id) FROM entries)",
};

} // namespace

bool fillWithManyYears(localservice::Database& database)
{
    using Filled = tl::expected<void, localservice::Problem>;
    support::TestData data(database);
    const auto filled = data.addAccount({.subdomain = AccountName, .name = "Large"}).and_then([&](auto account) {
        return data.addPerson({account, Email, Password, "Ann", "Lee", true}).and_then([&](auto) {
            return database.storage().change([&](SQLite::Database& file) -> Filled {
                for (const char* records : Records)
                    localservice::execute(file, records, account);
                return {};
            });
        });
    });
    if (!filled)
        std::cerr << filled.error().message << '\n';
    return filled.has_value();
}

} // namespace bench
