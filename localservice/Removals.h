#pragma once

#include "Person.h"
#include "Problem.h"
#include "Sql.h"

#include <optional>
#include <string>
#include <tl/expected.hpp>
#include <vector>

namespace localservice {

/// Something that was removed and can be brought back.
struct Removal
{
    Id id = 0;
    std::string table; ///< of the record: "entries", "clients", "projects", "tasks"; "imports" for a whole import
    Id record = 0;
    std::string name; ///< for people
    Seconds removed = 0;
    Id person = 0; ///< whose entry it was; 0 where it belonged to the account
};

/// What was removed from one account. Its rows are kept outside the tables that everything else reads, and are put back
/// with the same ids, which are never given to others. Works within the caller's transaction.
class Removals final
{
public:
    static constexpr int DaysKept = 30;

    Removals(SQLite::Database& database, Id account) : m_database(database), m_account(account) {}

    /// Begins a removal, whose `id` is ignored; returns its number. Older ones than `DaysKept` are forgotten.
    Id begin(const Removal& removal);
    /// Moves the rows of a table that satisfy a condition into the removal. Returns how many.
    template <typename... Values>
    int take(Id removal, const std::string& table, const std::string& condition, const Values&... values)
    {
        execute(m_database, copying(removal, table) + condition, values...);
        return execute(m_database, "DELETE FROM " + table + " WHERE " + condition, values...);
    }

    /// What that person may bring back, the latest first: their own entries, and for administrators the account's
    /// records. Of many, the latest hundred.
    std::vector<Removal> all(const Person& person);
    /// The removal of that number, if that person may bring it back.
    std::optional<Removal> find(Id removal, const Person& person);
    /// The removal of a record.
    std::optional<Removal> of(const std::string& table, Id record, const Person& person);

    /// Puts everything back as it was. Refused where a name has been taken meanwhile, or what it belonged to is gone.
    tl::expected<void, Problem> bringBack(const Removal& removal, Seconds now);

private:
    std::string copying(Id removal, const std::string& table);
    std::optional<Problem> whyNot(Id removal);
    void putBack(Id removal, const std::string& table);

    SQLite::Database& m_database;
    Id m_account;
};

} // namespace localservice
