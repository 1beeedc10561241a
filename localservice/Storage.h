#pragma once

#include "Database.h"
#include "FileWatch.h"
#include "Problem.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <SQLiteCpp/VariadicBind.h>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tl/expected.hpp>

namespace localservice {

/// The data file: schema, migrations and transactions. Thread-safe; one job at a time.
///
/// A change is reported done only if it is in a file that can be found again. When the file, its journal or the
/// journal's index has been moved, removed, replaced or overwritten, changes are rejected with the reason. What can be
/// repaired without loss is: a file that is back, and a missing journal or index.
class Storage final
{
public:
    /// Opens or creates the file, readable by its owner only, and updates its schema.
    static tl::expected<std::unique_ptr<Storage>, std::string> open(const std::string& file, FileTrouble trouble = {});

    /// Runs `work(SQLite::Database&)`, which returns a tl::expected<…, Problem>, in one transaction. A problem or an
    /// error of the database rolls all of it back.
    template <typename Work>
    auto change(Work work) -> decltype(work(std::declval<SQLite::Database&>()))
    {
        const std::lock_guard lock(m_mutex);
        try {
            auto transaction = beginChange();
            if (!transaction)
                return tl::unexpected(transaction.error());
            auto result = work(*m_database);
            if (!result)
                return result;
            (*transaction)->commit();
            transaction->reset();
            if (const auto trouble = lookAfterFiles())
                return tl::unexpected(*trouble);
            return result;
        } catch (const SQLite::Exception& error) {
            return tl::unexpected(problemOf(error));
        }
    }

    /// The same for work that only reads: it sees one state of the file.
    template <typename Work>
    auto look(Work work) -> decltype(work(std::declval<SQLite::Database&>()))
    {
        const std::lock_guard lock(m_mutex);
        try {
            if (!m_database)
                return tl::unexpected(m_trouble.value());
            SQLite::Transaction transaction(*m_database, SQLite::TransactionBehavior::DEFERRED);
            auto result = work(*m_database);
            if (result)
                transaction.commit();
            return result;
        } catch (const SQLite::Exception& error) {
            return tl::unexpected(problemOf(error));
        }
    }

    /// Checks the files. Why nothing in them is reliable, if that is so.
    std::optional<Problem> whyUnreadable();
    /// Why changes are rejected, if they are.
    std::optional<Problem> trouble();

private:
    using Opened = std::unique_ptr<SQLite::Database>;
    using Begun = std::unique_ptr<SQLite::Transaction>;

    Storage(const std::string& file, Opened database, FileTrouble trouble);
    static Opened connect(const std::string& file, int flags);

    tl::expected<Begun, Problem> beginChange();
    std::optional<Problem> lookAfterFiles();
    FileWatch::Finding mend(FileWatch::Finding found);
    bool bringIntoFile();
    bool reopen();
    Problem problemOf(const SQLite::Exception& error) const;

    std::mutex m_mutex;
    const std::string m_file;
    const FileTrouble m_telling;
    FileWatch m_watch;
    FileWatch::Finding m_found = FileWatch::Finding::Nothing;
    std::optional<Problem> m_trouble;
    Opened m_database; ///< none when it could not be reopened
};

} // namespace localservice
