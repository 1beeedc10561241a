#pragma once

#include "Database.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <SQLiteCpp/VariadicBind.h>
#include <string>

namespace localservice {

/// Runs a statement; returns how many rows it changed.
template <typename... Values>
int execute(SQLite::Database& database, const std::string& sql, const Values&... values)
{
    SQLite::Statement statement(database, sql);
    if constexpr (sizeof...(values) > 0)
        SQLite::bind(statement, values...);
    return statement.exec();
}

/// Adds a row; returns its id.
template <typename... Values>
Id insert(SQLite::Database& database, const std::string& sql, const Values&... values)
{
    execute(database, sql, values...);
    return database.getLastInsertRowid();
}

/// The number in the first column of the first row, 0 when there is no row.
template <typename... Values>
Id number(SQLite::Database& database, const std::string& sql, const Values&... values)
{
    SQLite::Statement query(database, sql);
    SQLite::bind(query, values...);
    return query.executeStep() ? query.getColumn(0).getInt64() : 0;
}

} // namespace localservice
