#pragma once

#include "store/Context.h"

#include <unordered_map>

namespace store {

/// All of a context's objects of one entity, by the values of some of their properties.
class Context::KeyIndex
{
public:
    KeyIndex(const Entity& entity, const std::vector<std::string>& keys);

    const Entity& entity() const { return m_entity; }
    bool hasKeys(const std::vector<std::string>& keys) const { return keys == m_names; }
    bool usesAttribute(int attribute) const { return m_attributes & (1u << attribute); }
    bool usesToOne(int relationship) const { return m_toOnes & (1u << relationship); }

    /// True when the predicate is equality of exactly these keys.
    bool answers(const Predicate& predicate) const;

    void add(Object& object);
    void remove(Object& object);

    /// The objects that may match; hashes can be shared, so each is still to be checked.
    std::vector<Object*> candidates(const Predicate& predicate) const;

private:
    std::size_t hashOf(const Object& object) const;

    const Entity& m_entity;
    std::vector<std::string> m_names;
    struct Part
    {
        int attribute = -1;
        int toOne = -1;
    };
    std::vector<Part> m_parts;
    std::uint32_t m_attributes = 0;
    std::uint32_t m_toOnes = 0;
    std::unordered_multimap<std::size_t, Object*> m_objects;
};

} // namespace store
