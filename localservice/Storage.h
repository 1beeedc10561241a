#pragma once

#include "Problem.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <SQLiteCpp/VariadicBind.h>
#include <memory>
#include <mutex>
#include <string>
#include <tl/expected.hpp>

namespace localservice {

/// The data file: schema, migrations and transactions. Thread-safe; one piece of work at a time.
class Storage final
{
public:
    /// Opens or makes the file, readable by its owner only, and brings its schema up to date.
    static tl::expected<std::unique_ptr<Storage>, std::string> open(const std::string& file);

    /// Runs `work(SQLite::Database&)`, which answers a tl::expected<…, Problem>, in one transaction. A problem or an
    /// error of the database undoes all of it.
    template <typename Work>
    auto change(Work work)
    {
        return run(SQLite::TransactionBehavior::IMMEDIATE, std::move(work));
    }

    /// The same for work that only reads: it sees one state of the file.
    template <typename Work>
    auto look(Work work)
    {
        return run(SQLite::TransactionBehavior::DEFERRED, std::move(work));
    }

private:
    explicit Storage(const std::string& file);

    template <typename Work>
    auto run(SQLite::TransactionBehavior behavior, Work work) -> decltype(work(std::declval<SQLite::Database&>()))
    {
        const std::lock_guard lock(m_mutex);
        try {
            SQLite::Transaction transaction(m_database, behavior);
            auto result = work(m_database);
            if (result)
                transaction.commit();
            return result;
        } catch (const SQLite::Exception& error) {
            return tl::unexpected(Problem{500, "Storage", std::string("The data file: ") + error.what() + "."});
        }
    }

    std::mutex m_mutex;
    SQLite::Database m_database;
};

} // namespace localservice
