#pragma once

#include <QDateTime>
#include <QString>

#include <cstdint>
#include <optional>
#include <variant>

namespace store {

/// What an attribute holds: nothing, a Boolean, an integer, a floating-point number, a string or a moment. Moments are
/// kept to the millisecond, in UTC.
using Value = std::variant<std::monostate, bool, std::int64_t, double, QString, QDateTime>;

inline bool isNull(const Value& value)
{
    return value.index() == 0;
}

/// The types of value that an attribute can have.
enum class AttributeType
{
    Boolean,
    Integer,
    Double,
    String,
    Date,
};

/// The value converted to the attribute's type; null when impossible.
Value normalized(Value value, AttributeType type);

/// Negative, zero or positive; empty when either is null or their types have no common order.
std::optional<int> compare(const Value& left, const Value& right);

/// For sorting: null before everything.
int order(const Value& left, const Value& right);

/// Which row of which entity an object stands for. Rows are numbered when an object is inserted, not when it is saved,
/// so an id never changes (but see Object::id).
struct ObjectId
{
    int entity = -1;
    std::int64_t row = 0;

    explicit operator bool() const { return row != 0; }
    bool operator==(const ObjectId&) const = default;
};

struct ObjectIdHash
{
    std::size_t operator()(const ObjectId& id) const noexcept
    {
        return std::hash<std::int64_t>{}(id.row * 16 + id.entity);
    }
};

} // namespace store
