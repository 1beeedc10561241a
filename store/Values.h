#pragma once

#include "store/Model.h"

#include <optional>

namespace store {

/// The value in the attribute's own form; null when it has none there.
Value normalized(Value value, AttributeType type);

/// Negative, zero or positive; empty when either is null or they are of kinds that have no common order.
std::optional<int> compare(const Value& left, const Value& right);

/// For sorting: null before everything.
int order(const Value& left, const Value& right);

std::size_t hash(const Value& value);

} // namespace store
