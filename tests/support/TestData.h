#pragma once

#include "localservice/Credentials.h"
#include "localservice/Database.h"
#include "localservice/Sql.h"
#include "localservice/Storage.h"

#include <map>

namespace support {

/// Fills the data file of a built-in service, past the rules that its pages keep. Each call is one transaction.
class TestData
{
public:
    using Id = localservice::Id;
    using Added = tl::expected<Id, localservice::Problem>;
    using Done = tl::expected<int, localservice::Problem>;

    struct Account
    {
        std::string subdomain;
        std::string name = {}; ///< the subdomain when empty
        bool timestampTimers = false;
        std::string timezone = "UTC";
    };
    struct Person
    {
        Id account = 0;
        std::string email;
        std::string password;
        std::string firstName = {};
        std::string lastName = {};
        bool admin = false;
        double rate = 0;
    };
    struct Project
    {
        Id client = 0;
        std::string name;
        std::string code = {};
        bool billable = true;
        double rate = 0;
    };

    explicit TestData(localservice::Database& database) : m_database(database) {}

    localservice::Storage& storage() { return m_database.storage(); }

    Added addAccount(const Account& account)
    {
        return add("INSERT INTO accounts (subdomain, name, timezone, timestamp_timers) VALUES (?, ?, ?, ?)",
                   account.subdomain, account.name.empty() ? account.subdomain : account.name, account.timezone,
                   int{account.timestampTimers});
    }
    Added addPerson(const Person& person)
    {
        // A hash takes longer than all else that a test does with it.
        static std::map<std::string, std::string> hashes;
        std::string& hash = hashes[person.password];
        if (hash.empty())
            hash = localservice::hashOfPassword(person.password).value();
        return add("INSERT INTO people (account_id, email, first_name, last_name, admin, rate, password_hash)"
                   " VALUES (?, ?, ?, ?, ?, ?, ?)",
                   person.account, person.email, person.firstName, person.lastName, int{person.admin}, person.rate,
                   hash);
    }
    Added addClient(Id account, const std::string& name)
    {
        return add("INSERT INTO clients (account_id, name, active) VALUES (?, ?, 1)", account, name);
    }
    Added addProject(const Project& project)
    {
        return add("INSERT INTO projects (account_id, client_id, name, code, billable, bill_by, rate, active)"
                   " SELECT account_id, id, ?2, ?3, ?4, 'Tasks', ?5, 1 FROM clients WHERE id = ?1",
                   project.client, project.name, project.code, int{project.billable}, project.rate);
    }
    Added addTask(Id account, const std::string& name, double rate = 0)
    {
        return add("INSERT INTO tasks (account_id, name, rate) VALUES (?, ?, ?)", account, name, rate);
    }
    Added offerTask(Id project, Id task, bool billable, double rate = 0)
    {
        return add("INSERT INTO task_assignments (account_id, project_id, task_id, billable, rate)"
                   " SELECT account_id, id, ?2, ?3, ?4 FROM projects WHERE id = ?1",
                   project, task, int{billable}, rate);
    }
    Added assignPerson(Id project, Id person, double rate = 0)
    {
        return add("INSERT INTO user_assignments (account_id, project_id, person_id, rate)"
                   " SELECT account_id, id, ?2, ?3 FROM projects WHERE id = ?1",
                   project, person, rate);
    }

    localservice::Result<void> setPassword(const std::string& subdomain, const std::string& email,
                                           const std::string& password)
    {
        return m_database.setPassword(subdomain, email, password);
    }
    Done setProjectActive(Id project, bool active)
    {
        return change("UPDATE projects SET active = ? WHERE id = ?", int{active}, project);
    }
    Done withdrawTask(Id project, Id task)
    {
        return change("DELETE FROM task_assignments WHERE project_id = ? AND task_id = ?", project, task);
    }
    Done renameProject(Id project, const std::string& name)
    {
        return change("UPDATE projects SET name = ? WHERE id = ?", name, project);
    }
    /// An empty reason unlocks.
    Done lockEntry(Id entry, const std::string& reason)
    {
        return change("UPDATE entries SET locked_reason = NULLIF(?, '') WHERE id = ?", reason, entry);
    }
    Done setBilled(Id entry, bool billed)
    {
        return change("UPDATE entries SET billed = ? WHERE id = ?", int{billed}, entry);
    }

private:
    template <typename... Values>
    Added add(const char* sql, const Values&... values)
    {
        return storage().change(
            [&](SQLite::Database& file) -> Added { return localservice::insert(file, sql, values...); });
    }
    /// Of one row, at least.
    template <typename... Values>
    Done change(const char* sql, const Values&... values)
    {
        return storage().change([&](SQLite::Database& file) -> Done {
            const int changed = localservice::execute(file, sql, values...);
            return changed > 0 ? Done(changed) : tl::unexpected(localservice::Problem{404, "Missing", "No such row."});
        });
    }

    localservice::Database& m_database;
};

} // namespace support
