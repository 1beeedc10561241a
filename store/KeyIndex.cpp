#include "store/KeyIndex.h"

#include "store/Values.h"

#include <algorithm>

namespace store {

namespace {

void mix(std::size_t& seed, std::size_t value)
{
    seed ^= value + 0x9e3779b97f4a7c15ull + (seed << 6) + (seed >> 2);
}

} // namespace

Context::KeyIndex::KeyIndex(const Entity& entity, const std::vector<std::string>& keys)
    : m_entity(entity), m_names(keys)
{
    for (const std::string& key : keys) {
        Part part;
        part.attribute = entity.attributeIndex(key);
        if (part.attribute >= 0) {
            m_attributes |= 1u << part.attribute;
        } else {
            part.toOne = entity.relationshipIndex(key);
            Q_ASSERT(part.toOne >= 0 && part.toOne < entity.toOneCount);
            m_toOnes |= 1u << part.toOne;
        }
        m_parts.push_back(part);
    }
}

bool Context::KeyIndex::answers(const Predicate& predicate) const
{
    const auto& conditions = predicate.conditions();
    return conditions.size() == m_names.size() &&
           std::all_of(m_names.begin(), m_names.end(), [&](const std::string& name) {
               return std::any_of(conditions.begin(), conditions.end(), [&](const Condition& condition) {
                   return condition.op == Condition::Operator::Equal && condition.keyPath == name;
               });
           });
}

std::size_t Context::KeyIndex::hashOf(const Object& object) const
{
    std::size_t seed = 0;
    for (const Part& part : m_parts) {
        mix(seed, part.attribute >= 0
                      ? hash(object.m_values[static_cast<std::size_t>(part.attribute)])
                      : std::hash<std::int64_t>{}(object.m_toOnes[static_cast<std::size_t>(part.toOne)]));
    }
    return seed;
}

void Context::KeyIndex::add(Object& object)
{
    m_objects.emplace(hashOf(object), &object);
}

void Context::KeyIndex::remove(Object& object)
{
    const auto [first, last] = m_objects.equal_range(hashOf(object));
    const auto found = std::find_if(first, last, [&](const auto& entry) { return entry.second == &object; });
    if (found != last)
        m_objects.erase(found);
}

std::vector<Object*> Context::KeyIndex::candidates(const Predicate& predicate) const
{
    std::size_t seed = 0;
    for (std::size_t i = 0; i < m_parts.size(); ++i) {
        const auto& conditions = predicate.conditions();
        const auto condition = std::find_if(conditions.begin(), conditions.end(), [&](const Condition& candidate) {
            return candidate.keyPath == m_names[i];
        });
        const Part& part = m_parts[i];
        if (part.attribute >= 0) {
            const AttributeType type = m_entity.attributes[static_cast<std::size_t>(part.attribute)].type;
            mix(seed, hash(normalized(condition->value, type)));
        } else {
            mix(seed, std::hash<std::int64_t>{}(condition->object ? condition->object->id().row : 0));
        }
    }
    std::vector<Object*> found;
    const auto [first, last] = m_objects.equal_range(seed);
    for (auto it = first; it != last; ++it)
        found.push_back(it->second);
    return found;
}

} // namespace store
