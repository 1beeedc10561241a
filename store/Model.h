#pragma once

#include "store/Value.h"

#include <QByteArray>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace store {

struct Attribute
{
    std::string name;
    AttributeType type = AttributeType::String;
};

enum class DeleteRule
{
    Nullify, ///< what referred to the deleted object refers to nothing
    Cascade, ///< what this relationship leads to is deleted too
};

struct Relationship
{
    std::string name;
    int destination = -1; ///< index of the entity it leads to
    bool toMany = false;  ///< a to-many relationship is never stored itself, only its to-one inverse
    int inverse = -1;     ///< index in the destination's relationships, -1: none
    DeleteRule deleteRule = DeleteRule::Nullify;
};

/// A query that belongs to an object and is never stored: the members of one of its to-many relationships with a given
/// value of one attribute.
struct FetchedProperty
{
    std::string name;
    int relationship = -1; ///< index of the to-many relationship
    std::string attribute; ///< of the destination
    bool equals = false;
};

class Entity
{
public:
    /// Bits of a 32-bit mask mark what changed.
    static constexpr std::size_t MaxProperties = 32;

    std::string name;
    int index = -1;
    std::vector<Attribute> attributes;       ///< see addAttribute
    std::vector<Relationship> relationships; ///< the to-one ones first
    int toOneCount = 0;
    std::vector<FetchedProperty> fetchedProperties;
    std::vector<std::vector<std::string>> uniqueKeys; ///< attribute and to-one names; rows with a null never clash

    /// False: there are too many.
    bool addAttribute(Attribute attribute);
    /// -1: none. Every value is asked for by name: thousands of times in a merge.
    int attributeIndex(std::string_view attribute) const;
    int relationshipIndex(std::string_view relationship) const; ///< -1: none

private:
    /// The attributes' indices plus one, each at its name's hash or in the next free slot.
    std::array<std::uint8_t, 2 * MaxProperties> m_slots{};
};

/// The description of all entities, read from the model resource.
class Model
{
public:
    /// Empty unless `json` is a complete description.
    static std::optional<Model> fromJson(const QByteArray& json);

    const std::vector<Entity>& entities() const { return m_entities; }
    const Entity* entity(std::string_view name) const; ///< null: none

private:
    std::vector<Entity> m_entities;
};

} // namespace store
