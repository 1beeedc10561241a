#include "store/Model.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

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

Value jsonValue(const QJsonValue& value)
{
    if (value.isBool())
        return value.toBool();
    if (value.isDouble())
        return value.toDouble();
    if (value.isString())
        return value.toString();
    return {};
}

// Bits of a 32-bit mask mark what changed.
constexpr std::size_t MaxProperties = 32;

} // namespace

int Entity::attributeIndex(std::string_view attribute) const
{
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        if (attributes[i].name == attribute)
            return static_cast<int>(i);
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
    if (descriptions.isEmpty())
        return std::nullopt;

    Model model;
    for (const QJsonValue& value : descriptions) {
        const QJsonObject description = value.toObject();
        Entity entity;
        entity.name = description.value("name"_L1).toString().toStdString();
        entity.index = static_cast<int>(model.m_entities.size());
        const QJsonObject attributes = description.value("attributes"_L1).toObject();
        for (auto it = attributes.begin(); it != attributes.end(); ++it) {
            const auto type = attributeType(it.value().toString());
            if (!type)
                return std::nullopt;
            entity.attributes.push_back({it.key().toStdString(), *type});
        }
        for (const auto& [kind, toMany] : {std::pair("toOne"_L1, false), std::pair("toMany"_L1, true)}) {
            const QJsonObject relationships = description.value(kind).toObject();
            for (auto it = relationships.begin(); it != relationships.end(); ++it) {
                Relationship relationship;
                relationship.name = it.key().toStdString();
                relationship.toMany = toMany;
                relationship.inverseName = it.value()["inverse"_L1].toString().toStdString();
                if (it.value()["deleteRule"_L1].toString() == "cascade"_L1)
                    relationship.deleteRule = DeleteRule::Cascade;
                entity.relationships.push_back(std::move(relationship));
            }
            if (!toMany)
                entity.toOneCount = static_cast<int>(entity.relationships.size());
        }
        const QJsonObject fetched = description.value("fetched"_L1).toObject();
        for (auto it = fetched.begin(); it != fetched.end(); ++it) {
            entity.fetchedProperties.push_back(
                {it.key().toStdString(), entity.relationshipIndex(it.value()["of"_L1].toString().toStdString()),
                 it.value()["attribute"_L1].toString().toStdString(), jsonValue(it.value()["equals"_L1])});
        }
        for (const QJsonValue& key : description.value("unique"_L1).toArray()) {
            std::vector<std::string> names;
            for (const QJsonValue& name : key.toArray())
                names.push_back(name.toString().toStdString());
            entity.uniqueKeys.push_back(std::move(names));
        }
        if (entity.name.empty() || entity.attributes.size() > MaxProperties ||
            entity.relationships.size() > MaxProperties)
            return std::nullopt;
        model.m_entities.push_back(std::move(entity));
    }

    // Destinations and inverses are told by name and may stand in any order.
    for (const QJsonValue& value : descriptions) {
        const QJsonObject description = value.toObject();
        Entity& entity = model.m_entities[static_cast<std::size_t>(
            model.entity(description["name"_L1].toString().toStdString())->index)];
        for (Relationship& relationship : entity.relationships) {
            const QJsonObject kind = description.value(relationship.toMany ? "toMany"_L1 : "toOne"_L1).toObject();
            const QString name = kind[QString::fromStdString(relationship.name)]["to"_L1].toString();
            const Entity* destination = model.entity(name.toStdString());
            if (!destination)
                return std::nullopt;
            relationship.destination = destination->index;
            relationship.inverse = destination->relationshipIndex(relationship.inverseName);
            if (relationship.toMany && relationship.inverse < 0)
                return std::nullopt;
        }
        for (const FetchedProperty& property : entity.fetchedProperties) {
            if (property.relationship < entity.toOneCount)
                return std::nullopt;
        }
    }
    return model;
}

} // namespace store
