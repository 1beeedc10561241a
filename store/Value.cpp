#include "store/Value.h"

#include <cmath>

namespace store {

namespace {

// The order of SQLite's binary collation on UTF-8, which is that of code points; comparing UTF-16 units would put
// characters beyond the basic plane before some within it.
int compareTexts(const QString& left, const QString& right)
{
    const qsizetype length = std::min(left.size(), right.size());
    for (qsizetype i = 0; i < length; ++i) {
        const QChar a = left.at(i);
        const QChar b = right.at(i);
        if (a == b)
            continue;
        if (a.isSurrogate() != b.isSurrogate())
            return a.isSurrogate() ? 1 : -1;
        return a < b ? -1 : 1;
    }
    return left.size() < right.size() ? -1 : left.size() > right.size() ? 1 : 0;
}

template <class T>
int threeWay(const T& left, const T& right)
{
    return left < right ? -1 : right < left ? 1 : 0;
}

std::optional<double> asNumber(const Value& value)
{
    if (const bool* truth = std::get_if<bool>(&value))
        return *truth ? 1.0 : 0.0;
    if (const std::int64_t* integer = std::get_if<std::int64_t>(&value))
        return static_cast<double>(*integer);
    if (const double* number = std::get_if<double>(&value))
        return *number;
    return std::nullopt;
}

} // namespace

Value normalized(Value value, AttributeType type)
{
    switch (type) {
    case AttributeType::String:
        if (const QString* text = std::get_if<QString>(&value); text && text->isNull())
            return {};
        return std::holds_alternative<QString>(value) ? std::move(value) : Value();
    case AttributeType::Date:
        if (const QDateTime* date = std::get_if<QDateTime>(&value); date && date->isValid())
            return date->timeSpec() == Qt::UTC ? std::move(value) : Value(date->toUTC());
        return {};
    case AttributeType::Boolean:
        if (std::holds_alternative<bool>(value))
            return value;
        if (const auto number = asNumber(value))
            return *number != 0;
        return {};
    case AttributeType::Integer:
        if (std::holds_alternative<std::int64_t>(value))
            return value;
        if (const auto number = asNumber(value); number && std::abs(*number) < 9e18)
            return static_cast<std::int64_t>(*number);
        return {};
    case AttributeType::Double:
        if (const auto number = asNumber(value); number && !std::isnan(*number))
            return *number;
        return {};
    }
    return {};
}

std::optional<int> compare(const Value& left, const Value& right)
{
    if (isNull(left) || isNull(right))
        return std::nullopt;
    if (const QString* a = std::get_if<QString>(&left)) {
        const QString* b = std::get_if<QString>(&right);
        return b ? std::optional(compareTexts(*a, *b)) : std::nullopt;
    }
    if (const QDateTime* a = std::get_if<QDateTime>(&left)) {
        const QDateTime* b = std::get_if<QDateTime>(&right);
        return b ? std::optional(threeWay(a->toMSecsSinceEpoch(), b->toMSecsSinceEpoch())) : std::nullopt;
    }
    const std::int64_t* a = std::get_if<std::int64_t>(&left);
    const std::int64_t* b = std::get_if<std::int64_t>(&right);
    if (a && b)
        return threeWay(*a, *b);
    const auto x = asNumber(left);
    const auto y = asNumber(right);
    return x && y ? std::optional(threeWay(*x, *y)) : std::nullopt;
}

int order(const Value& left, const Value& right)
{
    if (isNull(left) || isNull(right))
        return threeWay(!isNull(left), !isNull(right));
    return compare(left, right).value_or(0);
}

} // namespace store
