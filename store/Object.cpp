#include "store/Object.h"

#include "store/Context.h"

#include <algorithm>

namespace store {

namespace {

std::size_t checked(int index)
{
    Q_ASSERT_X(index >= 0, "store", "the entity has no such property");
    return static_cast<std::size_t>(index);
}

std::size_t attributeOf(const Entity& entity, std::string_view name)
{
    return checked(entity.attributeIndex(name));
}

std::size_t toOneOf(const Entity& entity, std::string_view name)
{
    const std::size_t index = checked(entity.relationshipIndex(name));
    Q_ASSERT(!entity.relationships[index].toMany);
    return index;
}

std::size_t toManyOf(const Entity& entity, std::string_view name)
{
    const std::size_t index = checked(entity.relationshipIndex(name));
    Q_ASSERT(entity.relationships[index].toMany);
    return index;
}

} // namespace

Object::~Object()
{
    if (m_handle)
        *m_handle = nullptr;
}

std::shared_ptr<Object*> Object::handle() const
{
    if (!m_handle)
        m_handle = std::make_shared<Object*>(m_state == State::Deleted ? nullptr : const_cast<Object*>(this));
    return m_handle;
}

const Value& Object::value(std::string_view attribute) const
{
    return m_values[attributeOf(*m_entity, attribute)];
}

void Object::setValue(std::string_view attribute, Value value)
{
    const std::size_t index = attributeOf(*m_entity, attribute);
    m_context->setAttribute(*this, static_cast<int>(index),
                            normalized(std::move(value), m_entity->attributes[index].type));
}

QString Object::string(std::string_view attribute) const
{
    const QString* text = std::get_if<QString>(&value(attribute));
    return text ? *text : QString();
}

bool Object::boolean(std::string_view attribute) const
{
    const bool* truth = std::get_if<bool>(&value(attribute));
    return truth && *truth;
}

double Object::number(std::string_view attribute) const
{
    const Value& stored = value(attribute);
    if (const double* number = std::get_if<double>(&stored))
        return *number;
    const std::int64_t* integer = std::get_if<std::int64_t>(&stored);
    return integer ? static_cast<double>(*integer) : 0.0;
}

std::int64_t Object::integer(std::string_view attribute) const
{
    const std::int64_t* integer = std::get_if<std::int64_t>(&value(attribute));
    return integer ? *integer : 0;
}

QDateTime Object::date(std::string_view attribute) const
{
    const QDateTime* date = std::get_if<QDateTime>(&value(attribute));
    return date ? *date : QDateTime();
}

Object* Object::toOne(std::string_view relationship) const
{
    return m_context->find(toOneId(relationship));
}

ObjectId Object::toOneId(std::string_view relationship) const
{
    const std::size_t index = toOneOf(*m_entity, relationship);
    const std::int64_t row = m_toOnes[index];
    return row ? ObjectId{m_entity->relationships[index].destination, row} : ObjectId{};
}

void Object::setToOne(std::string_view relationship, Object* destination)
{
    const std::size_t index = toOneOf(*m_entity, relationship);
    Q_ASSERT(!destination || destination->m_context == m_context);
    Q_ASSERT(!destination || destination->m_entity->index == m_entity->relationships[index].destination);
    m_context->setToOneRow(*this, static_cast<int>(index), destination ? destination->m_row : 0);
}

std::vector<Object*> Object::toMany(std::string_view relationship) const
{
    return m_context->collection(*this, static_cast<int>(toManyOf(*m_entity, relationship)));
}

std::vector<Object*> Object::fetched(std::string_view fetchedProperty) const
{
    const auto& all = m_entity->fetchedProperties;
    const auto property = std::find_if(
        all.begin(), all.end(), [&](const FetchedProperty& candidate) { return candidate.name == fetchedProperty; });
    Q_ASSERT(property != all.end());
    std::vector<Object*> members = m_context->collection(*this, property->relationship);
    std::erase_if(members, [&](const Object* member) {
        return compare(member->value(property->attribute), property->equals) != 0;
    });
    return members;
}

} // namespace store
