#include "store/Predicate.h"

#include "store/Object.h"

#include <algorithm>

namespace store {

namespace {

bool holds(Condition::Operator op, const Value& left, const Value& right)
{
    const std::optional<int> order = compare(left, right);
    switch (op) {
    case Condition::Operator::Equal:
        return isNull(right) ? isNull(left) : order == 0;
    case Condition::Operator::NotEqual:
        return isNull(right) ? !isNull(left) : order != 0;
    case Condition::Operator::Less:
        return order && *order < 0;
    case Condition::Operator::LessOrEqual:
        return order && *order <= 0;
    case Condition::Operator::Greater:
        return order && *order > 0;
    case Condition::Operator::GreaterOrEqual:
        return order && *order >= 0;
    }
    return false;
}

} // namespace

Predicate where(std::string keyPath, Condition::Operator op, const Value& value)
{
    const QString* text = std::get_if<QString>(&value);
    return Predicate({std::move(keyPath), op, text && text->isNull() ? Value() : value});
}

Predicate where(std::string keyPath, const Value& value)
{
    return where(std::move(keyPath), Condition::Operator::Equal, value);
}

Predicate where(std::string keyPath, const Object* object)
{
    return Predicate({std::move(keyPath), Condition::Operator::Equal, {}, object, true});
}

Value valueAt(const Object& object, const std::string& keyPath)
{
    const std::size_t dot = keyPath.find('.');
    if (dot == std::string::npos)
        return object.value(keyPath);
    const Object* destination = object.toOne(std::string_view(keyPath).substr(0, dot));
    return destination ? destination->value(std::string_view(keyPath).substr(dot + 1)) : Value();
}

bool comesBefore(const Object& one, const Object& other, const std::vector<SortKey>& sortKeys)
{
    for (const SortKey& key : sortKeys) {
        const int result = order(valueAt(one, key.keyPath), valueAt(other, key.keyPath));
        if (result != 0)
            return key.ascending ? result < 0 : result > 0;
    }
    return one.id().row < other.id().row;
}

bool matches(const Object& object, const Predicate& predicate)
{
    const auto& conditions = predicate.conditions();
    return std::all_of(conditions.begin(), conditions.end(), [&object](const Condition& condition) {
        if (condition.comparesObject) {
            const ObjectId leadsTo = object.toOneId(condition.keyPath);
            const ObjectId wanted = condition.object ? condition.object->id() : ObjectId{};
            return (leadsTo.row == wanted.row) == (condition.op == Condition::Operator::Equal);
        }
        return holds(condition.op, valueAt(object, condition.keyPath), condition.value);
    });
}

} // namespace store
