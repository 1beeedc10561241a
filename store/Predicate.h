#pragma once

#include "store/Value.h"

#include <string>
#include <vector>

namespace store {

class Object;

/// One condition: compares what a key path leads to with a value or an object.
///
/// A key path is an attribute, a to-one relationship, or a to-one relationship and an attribute of its destination
/// ("project.idString"). Equal to null matches null, NotEqual to null anything else; NotEqual to another value matches
/// null too; the order operators never match null.
struct Condition
{
    enum class Operator
    {
        Equal,
        NotEqual,
        Less,
        LessOrEqual,
        Greater,
        GreaterOrEqual,
    };
    std::string keyPath;
    Operator op = Operator::Equal;
    Value value;
    /// For a key path that ends in a relationship, in place of `value`; null matches no destination.
    const Object* object = nullptr;
    bool comparesObject = false;
};

/// Requires all of its conditions. An empty predicate matches every object.
///
/// `where("company", company) && where("idString", Condition::Operator::NotEqual, u"newEntry"_s)`
class Predicate
{
public:
    Predicate() = default;
    explicit Predicate(Condition condition) { m_conditions.push_back(std::move(condition)); }

    const std::vector<Condition>& conditions() const { return m_conditions; }

    friend Predicate operator&&(Predicate left, const Predicate& right)
    {
        left.m_conditions.insert(left.m_conditions.end(), right.m_conditions.begin(), right.m_conditions.end());
        return left;
    }

private:
    std::vector<Condition> m_conditions;
};

/// A null QString stands for null.
Predicate where(std::string keyPath, Condition::Operator op, const Value& value);
Predicate where(std::string keyPath, const Value& value);
Predicate where(std::string keyPath, const Object* object);

/// The value the key path leads to from the object; null where there is none.
Value valueAt(const Object& object, const std::string& keyPath);

/// Whether the predicate matches the object as it is in memory.
bool matches(const Object& object, const Predicate& predicate);

struct SortKey
{
    std::string keyPath;
    bool ascending = true; ///< null comes first when ascending; strings compare by code point
    bool operator==(const SortKey&) const = default;
};

/// The order of a fetch; what is equal by the keys comes in the order in which it was made.
bool comesBefore(const Object& one, const Object& other, const std::vector<SortKey>& sortKeys);

/// What to look for. Objects with equal sort keys come in the order in which they were made.
struct FetchRequest
{
    std::string entity;
    Predicate predicate;
    std::vector<SortKey> sortKeys;
};

} // namespace store
