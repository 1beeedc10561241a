#pragma once

#include "store/Connection.h"
#include "store/Predicate.h"

#include <string>
#include <vector>

namespace store {

/// A fetch request as one SELECT with bound values.
///
/// Columns are those of `columnList`. Key paths through a relationship become left joins, so that a missing destination
/// compares as null.
class SqlQuery
{
public:
    /// `predicate` may have fewer conditions than the request: those the store cannot evaluate alone are checked in
    /// memory. `limit` 0: everything.
    SqlQuery(const Model& model, const Entity& entity, const Predicate& predicate, const std::vector<SortKey>& sortKeys,
             std::size_t limit);
    /// The row and these columns only, in row order.
    SqlQuery(const Model& model, const Entity& entity, const Predicate& predicate,
             const std::vector<std::string>& columns);

    const std::string& text() const { return m_text; }
    void bindTo(SQLite::Statement& statement);

private:
    /// Everything after the columns, up to the order.
    std::string conditions(const Predicate& predicate);
    std::string column(const std::string& keyPath);

    const Model& m_model;
    const Entity& m_entity;
    std::string m_text;
    std::string m_joins;
    std::vector<std::string> m_joined;
    std::vector<Value> m_values;
    std::vector<std::string> m_buffers;
};

} // namespace store
