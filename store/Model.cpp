#include "store/Model.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <utility>

namespace store {

using namespace Qt::StringLiterals;

namespace {

std::optional<AttributeType> attributeType(const QString& name)
{
    if (name == "Boolean"_L1)
        return AttributeType::Boolean;
    if (name == "Integer"_L1)
        return AttributeType::Integer;
    if (name == "Double"_L1)
        return AttributeType::Double;
    if (name == "String"_L1)
        return AttributeType::String;
    if (name == "Date"_L1)
        return AttributeType::Date;
    return std::nullopt;
}

/// Spreads names of a few dozen attributes. Not empty ones.
std::size_t hash(std::string_view name)
{
    constexpr std::size_t odd = 7, other = 11;
    return name.size() + odd * static_cast<unsigned char>(name.front()) +
           other * static_cast<unsigned char>(name.back());
}

std::vector<std::string> strings(const QJsonArray& texts)
{
    std::vector<std::string> strings;
    for (const QJsonValue text : texts)
        strings.push_back(text.toString().toStdString());
    return strings;
}

/// All but the destinations of its relationships, which may be entities further on.
std::optional<Entity> readEntity(const QJsonObject& description, int index)
{
    Entity entity;
    entity.name = description["name"_L1].toString().toStdString();
    entity.index = index;
    const QJsonObject attributes = description["attributes"_L1].toObject();
    for (auto it = attributes.begin(); it != attributes.end(); ++it) {
        const auto type = attributeType(it.value().toString());
        if (!type || !entity.addAttribute({it.key().toStdString(), *type}))
            return std::nullopt;
    }
    for (const auto& [kind, toMany] : {std::pair("toOne"_L1, false), std::pair("toMany"_L1, true)}) {
        const QJsonObject relationships = description[kind].toObject();
        for (auto it = relationships.begin(); it != relationships.end(); ++it) {
            Relationship relationship;
            relationship.name = it.key().toStdString();
            relationship.toMany = toMany;
            if (it.value()["deleteRule"_L1].toString() == "cascade"_L1)
                relationship.deleteRule = DeleteRule::Cascade;
            entity.relationships.push_back(std::move(relationship));
        }
        if (!toMany)
            entity.toOneCount = static_cast<int>(entity.relationships.size());
    }
    const QJsonObject fetched = description["fetched"_L1].toObject();
    for (auto it = fetched.begin(); it != fetched.end(); ++it) {
        const int of = entity.relationshipIndex(it.value()["of"_L1].toString().toStdString());
        if (of < entity.toOneCount)
            return std::nullopt;
        entity.fetchedProperties.push_back({it.key().toStdString(), of,
                                            it.value()["attribute"_L1].toString().toStdString(),
                                            it.value()["equals"_L1].toBool()});
    }
    for (const QJsonValue key : description["unique"_L1].toArray())
        entity.uniqueKeys.push_back(strings(key.toArray()));
    if (entity.name.empty() || entity.relationships.size() > Entity::MaxProperties)
        return std::nullopt;
    return entity;
}

/// The relationship's destination; false when there is none.
bool connect(Relationship& relationship, const QJsonObject& description, const Model& model)
{
    const Entity* destination = model.entity(description["to"_L1].toString().toStdString());
    if (!destination)
        return false;
    relationship.destination = destination->index;
    relationship.inverse = destination->relationshipIndex(description["inverse"_L1].toString().toStdString());
    return !relationship.toMany || relationship.inverse >= 0;
}

} // namespace

bool Entity::addAttribute(Attribute attribute)
{
    if (attribute.name.empty() || attributes.size() == MaxProperties)
        return false;
    std::size_t slot = hash(attribute.name) % m_slots.size();
    while (m_slots[slot] != 0)
        slot = (slot + 1) % m_slots.size();
    attributes.push_back(std::move(attribute));
    m_slots[slot] = static_cast<std::uint8_t>(attributes.size());
    return true;
}

int Entity::attributeIndex(std::string_view attribute) const
{
    if (attribute.empty())
        return -1;
    // Half of the slots are free.
    for (std::size_t slot = hash(attribute) % m_slots.size(); m_slots[slot] != 0; slot = (slot + 1) % m_slots.size()) {
        const int index = m_slots[slot] - 1;
        if (attributes[static_cast<std::size_t>(index)].name == attribute)
            return index;
    }
    return -1;
}

int Entity::relationshipIndex(std::string_view relationship) const
{
    for (std::size_t i = 0; i < relationships.size(); ++i) {
        if (relationships[i].name == relationship)
            return static_cast<int>(i);
    }
    return -1;
}

const Entity* Model::entity(std::string_view name) const
{
    const auto found = std::find_if(m_entities.begin(), m_entities.end(),
                                    [&](const Entity& candidate) { return candidate.name == name; });
    return found == m_entities.end() ? nullptr : &*found;
}

std::optional<Model> Model::fromJson(const QByteArray& json)
{
    const QJsonArray descriptions = QJsonDocument::fromJson(json).object().value("entities"_L1).toArray();
    Model model;
    for (const QJsonValue description : descriptions) {
        std::optional<Entity> entity = readEntity(description.toObject(), static_cast<int>(model.m_entities.size()));
        if (!entity)
            return std::nullopt;
        model.m_entities.push_back(std::move(*entity));
    }
    for (Entity& entity : model.m_entities) {
        for (Relationship& relationship : entity.relationships) {
            const QJsonObject kind =
                descriptions[entity.index][relationship.toMany ? "toMany"_L1 : "toOne"_L1].toObject();
            if (!connect(relationship, kind[QString::fromStdString(relationship.name)].toObject(), model))
                return std::nullopt;
        }
    }
    return model.m_entities.empty() ? std::nullopt : std::optional(std::move(model));
}

} // namespace store
