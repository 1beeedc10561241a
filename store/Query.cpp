#include "store/Query.h"

#include "store/Object.h"

#include <algorithm>

namespace store {

namespace {

const char* sqlOperator(Condition::Operator op)
{
    switch (op) {
    case Condition::Operator::Equal:
        return " = ?";
    case Condition::Operator::NotEqual:
        return " <> ?";
    case Condition::Operator::Less:
        return " < ?";
    case Condition::Operator::LessOrEqual:
        return " <= ?";
    case Condition::Operator::Greater:
        return " > ?";
    case Condition::Operator::GreaterOrEqual:
        return " >= ?";
    }
    return " = ?";
}

} // namespace

SqlQuery::SqlQuery(const Model& model, const Entity& entity, const Predicate& predicate,
                   const std::vector<SortKey>& sortKeys, std::size_t limit)
    : m_model(model), m_entity(entity)
{
    const std::string wanted = conditions(predicate);
    std::string order = " ORDER BY ";
    for (const SortKey& key : sortKeys)
        order += column(key.keyPath) + (key.ascending ? ", " : " DESC, ");
    m_text = "SELECT " + columnList(entity, "t") + " FROM " + quotedName(entity.name) + " t" + m_joins + wanted +
             order + "t.pk";
    if (limit > 0)
        m_text += " LIMIT " + std::to_string(limit);
}

SqlQuery::SqlQuery(const Model& model, const Entity& entity, const Predicate& predicate,
                   const std::vector<std::string>& columns)
    : m_model(model), m_entity(entity)
{
    const std::string wanted = conditions(predicate);
    m_text = "SELECT t.pk";
    for (const std::string& name : columns)
        m_text += ", t." + quotedName(name);
    m_text += " FROM " + quotedName(entity.name) + " t" + m_joins + wanted + " ORDER BY t.pk";
}

std::string SqlQuery::conditions(const Predicate& predicate)
{
    std::string conditions;
    for (const Condition& condition : predicate.conditions()) {
        conditions += conditions.empty() ? " WHERE " : " AND ";
        const std::string left = column(condition.keyPath);
        const Value value = !condition.comparesObject ? condition.value
                            : condition.object        ? Value(condition.object->id().row)
                                                      : Value();
        const bool negative = condition.op == Condition::Operator::NotEqual;
        if (isNull(value)) {
            conditions += left + (negative ? " IS NOT NULL" : " IS NULL");
            continue;
        }
        if (negative)
            conditions += '(' + left + sqlOperator(condition.op) + " OR " + left + " IS NULL)";
        else
            conditions += left + sqlOperator(condition.op);
        m_values.push_back(value);
    }
    m_buffers.resize(m_values.size());
    return conditions;
}

void SqlQuery::bindTo(SQLite::Statement& statement)
{
    for (std::size_t i = 0; i < m_values.size(); ++i)
        bindValue(statement, static_cast<int>(i) + 1, m_values[i], m_buffers[i]);
}

std::string SqlQuery::column(const std::string& keyPath)
{
    const std::size_t dot = keyPath.find('.');
    if (dot == std::string::npos)
        return "t." + quotedName(keyPath);
    const std::string relationship = keyPath.substr(0, dot);
    if (std::find(m_joined.begin(), m_joined.end(), relationship) == m_joined.end()) {
        const int index = m_entity.relationshipIndex(relationship);
        Q_ASSERT(index >= 0 && index < m_entity.toOneCount);
        const int destination = m_entity.relationships[static_cast<std::size_t>(index)].destination;
        const Entity& other = m_model.entities()[static_cast<std::size_t>(destination)];
        const std::string alias = quotedName("j_" + relationship);
        m_joins += " LEFT JOIN " + quotedName(other.name) + ' ' + alias + " ON " + alias + ".pk = t." +
                   quotedName(relationship);
        m_joined.push_back(relationship);
    }
    return quotedName("j_" + relationship) + '.' + quotedName(keyPath.substr(dot + 1));
}

} // namespace store
