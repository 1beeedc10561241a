#pragma once

#include "store/Model.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

namespace store {

/// One open SQLite database with its prepared statements. Used by one thread at a time. Throws SQLite::Exception.
class Connection
{
public:
    /// Opens a file, which must exist. Waits for a busy one. `accept` examines the content before anything is written,
    /// and throws when the file must not be touched.
    Connection(const std::string& file, std::chrono::milliseconds patience,
               const std::function<void(SQLite::Database&)>& accept = {});
    /// Opens the database of that name in memory. It lives as long as one connection to it.
    static std::unique_ptr<Connection> inMemory(const std::string& name);

    bool isInMemory() const { return m_isInMemory; }
    SQLite::Database& database() { return m_database; }

    /// The prepared statement, reset and without bindings. A statement has only one user at a time.
    SQLite::Statement& statement(const std::string& sql);

    /// Frees cached pages that are not in use, up to 2 MB, and all statements: only while nobody uses any. They are
    /// read and prepared again when needed.
    void releaseMemory();

    // The statements used for every single row: of a whole object in the order of `columnList`, and of the object of a
    // row. Found without building their SQL.
    SQLite::Statement& insertStatement(const Entity& entity);
    SQLite::Statement& selectStatement(const Entity& entity);

private:
    explicit Connection(SQLite::Database database) : m_database(std::move(database)), m_isInMemory(true) {}

    SQLite::Database m_database;
    bool m_isInMemory = false;
    std::unordered_map<std::string, std::unique_ptr<SQLite::Statement>> m_statements;
    std::unordered_map<int, SQLite::Statement*> m_insertStatements;
    std::unordered_map<int, SQLite::Statement*> m_selectStatements;
};

/// Resets the statement at the end, so that it keeps neither a read lock nor a row.
class StatementUse
{
public:
    explicit StatementUse(SQLite::Statement& statement) : m_statement(statement) {}
    ~StatementUse() { m_statement.tryReset(); }
    Q_DISABLE_COPY_MOVE(StatementUse)
    SQLite::Statement* operator->() { return &m_statement; }
    SQLite::Statement& operator*() { return m_statement; }

private:
    SQLite::Statement& m_statement;
};

/// Binds a value without copying its string: `buffer` must live until the statement has run.
void bindValue(SQLite::Statement& statement, int index, const Value& value, std::string& buffer);

/// The column in the attribute's form.
Value readColumn(const SQLite::Statement& statement, int index, AttributeType type);

std::string quotedName(const std::string& identifier);

/// `"pk", "a", …`: the row, the attributes and the to-one rows, in the entity's order, of the table with alias `alias`.
std::string columnList(const Entity& entity, const std::string& alias = {});

} // namespace store
