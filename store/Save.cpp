#include "store/Save.h"

#include "store/Coordinator.h"

#include <algorithm>
#include <unordered_set>

#include <sqlite3.h>

namespace store {

tl::expected<void, Error> Context::Save::write()
{
    const auto writing = m_context.m_coordinator->beginWriting(m_connection);
    SQLite::Transaction transaction(m_connection.database(), SQLite::TransactionBehavior::IMMEDIATE);
    // The model lists entities after those they refer to; merged rows are then known in time.
    std::vector<Object*> ordered = m_context.m_changed;
    std::stable_sort(ordered.begin(), ordered.end(), [](const Object* left, const Object* right) {
        return left->m_entity->index < right->m_entity->index;
    });
    if (m_context.m_policy == MergePolicy::PropertyObjectTrump && !destinationsAreStored(ordered))
        return tl::unexpected(Error{QStringLiteral("what new objects belong to was deleted meanwhile")});
    const auto each = [&](Object::State state, void (Save::*write)(Object&)) {
        for (Object* object : ordered) {
            if (m_context.isStopped())
                return false;
            if (object->m_state == state)
                (this->*write)(*object);
        }
        return true;
    };
    // Deletions first: an inserted object may have the key of a deleted one.
    if (!each(Object::State::Deleted, &Save::deleteRow) || !each(Object::State::Inserted, &Save::insertRow) ||
        !each(Object::State::Updated, &Save::updateRow))
        return tl::unexpected(Error{QStringLiteral("stopped")});
    const std::uint64_t number = ++m_context.m_coordinator->m_lastSave;
    transaction.commit();
    m_context.m_lastSave = m_number = number;
    return {};
}

/// New rows that refer to a deleted one would stay in the file for ever: they belong to nothing, yet queries by an id
/// alone would find them.
bool Context::Save::destinationsAreStored(const std::vector<Object*>& changed)
{
    const auto& entities = m_context.m_coordinator->model().entities();
    std::unordered_set<ObjectId, ObjectIdHash> stored;
    for (const Object* object : changed) {
        if (object->m_state != Object::State::Inserted)
            continue;
        for (std::size_t i = 0; i < object->m_toOnes.size(); ++i) {
            const ObjectId id{object->m_entity->relationships[i].destination, object->m_toOnes[i]};
            if (!id || stored.contains(id))
                continue;
            const Object* destination = m_context.registered(id);
            if (!destination || !destination->isInserted()) {
                StatementUse statement(m_connection.statement(
                    "SELECT 1 FROM " + quotedName(entities[static_cast<std::size_t>(id.entity)].name) +
                    " WHERE pk = ?"));
                statement->bind(1, id.row);
                if (!statement->executeStep())
                    return false;
            }
            stored.insert(id);
        }
    }
    return true;
}

void Context::Save::bindAttribute(SQLite::Statement& statement, int index, const Object& object, std::size_t attribute)
{
    if (m_buffers.size() <= static_cast<std::size_t>(index))
        m_buffers.resize(static_cast<std::size_t>(index) + 32);
    bindValue(statement, index, object.m_values[attribute], m_buffers[static_cast<std::size_t>(index)]);
}

void Context::Save::bindToOne(SQLite::Statement& statement, int index, const Object& object, std::size_t relationship)
{
    std::int64_t row = object.m_toOnes[relationship];
    if (row == 0) {
        statement.bind(index);
        return;
    }
    if (!m_takenOver.empty()) {
        const int destination = object.m_entity->relationships[relationship].destination;
        if (const auto taken = m_takenOver.find({destination, row}); taken != m_takenOver.end())
            row = taken->second->m_row;
    }
    statement.bind(index, row);
}

bool Context::Save::tryInsert(const Object& object)
{
    StatementUse statement(m_connection.insertStatement(*object.m_entity));
    int column = 1;
    statement->bind(column++, object.m_row);
    for (std::size_t i = 0; i < object.m_values.size(); ++i)
        bindAttribute(*statement, column++, object, i);
    for (std::size_t i = 0; i < object.m_toOnes.size(); ++i)
        bindToOne(*statement, column++, object, i);
    const int result = statement->tryExecuteStep();
    if (result == SQLITE_DONE)
        return true;
    if (result != SQLITE_CONSTRAINT)
        throw SQLite::Exception(m_connection.database().getHandle(), result);
    return false;
}

int Context::Save::tryUpdate(const Object& object, std::int64_t row, std::uint32_t attributes, std::uint32_t toOnes)
{
    const Entity& entity = *object.m_entity;
    std::string columns;
    for (std::size_t i = 0; i < object.m_values.size(); ++i) {
        if (attributes >> i & 1u)
            columns += (columns.empty() ? "" : ", ") + quotedName(entity.attributes[i].name) + " = ?";
    }
    for (std::size_t i = 0; i < object.m_toOnes.size(); ++i) {
        if (toOnes >> i & 1u)
            columns += (columns.empty() ? "" : ", ") + quotedName(entity.relationships[i].name) + " = ?";
    }
    if (columns.empty())
        return 1;
    StatementUse statement(
        m_connection.statement("UPDATE " + quotedName(entity.name) + " SET " + columns + " WHERE pk = ?"));
    int column = 1;
    for (std::size_t i = 0; i < object.m_values.size(); ++i) {
        if (attributes >> i & 1u)
            bindAttribute(*statement, column++, object, i);
    }
    for (std::size_t i = 0; i < object.m_toOnes.size(); ++i) {
        if (toOnes >> i & 1u)
            bindToOne(*statement, column++, object, i);
    }
    statement->bind(column, row);
    return statement->exec();
}

std::unique_ptr<Object> Context::Save::rowWithSameKey(const Object& object)
{
    const Entity& entity = *object.m_entity;
    for (const auto& key : entity.uniqueKeys) {
        std::string conditions;
        for (const std::string& name : key)
            conditions += (conditions.empty() ? "" : " AND ") + quotedName(name) + " = ?";
        StatementUse statement(m_connection.statement("SELECT " + columnList(entity) + " FROM " +
                                                      quotedName(entity.name) + " WHERE " + conditions));
        int column = 1;
        for (const std::string& name : key) {
            if (const int attribute = entity.attributeIndex(name); attribute >= 0)
                bindAttribute(*statement, column++, object, static_cast<std::size_t>(attribute));
            else
                bindToOne(*statement, column++, object, static_cast<std::size_t>(entity.relationshipIndex(name)));
        }
        if (statement->executeStep())
            return m_context.readRow(entity, statement);
    }
    return nullptr;
}

void Context::Save::insertRow(Object& object)
{
    if (tryInsert(object))
        return;
    // Another context has stored an object with the same key since this one was made. They are one: what was set here
    // goes into the first one's row, and all else is as stored there.
    auto first = rowWithSameKey(object);
    if (!first)
        throw SQLite::Exception("a row was refused");
    tryUpdate(object, first->m_row, object.m_changedAttributes, object.m_changedToOnes);
    m_takenOver[{object.m_entity->index, object.m_row}] = std::move(first);
}

void Context::Save::updateRow(Object& object)
{
    if (tryUpdate(object, object.m_row, object.m_changedAttributes, object.m_changedToOnes) > 0)
        return;
    if (m_context.m_policy == MergePolicy::Overwrite)
        insertRow(object);
    else
        m_lost.push_back(&object);
}

void Context::Save::deleteRow(Object& object)
{
    StatementUse statement(
        m_connection.statement("DELETE FROM " + quotedName(object.m_entity->name) + " WHERE pk = ?"));
    statement->bind(1, object.m_row);
    statement->exec();
}

void Context::Save::takeOverRows()
{
    if (m_takenOver.empty())
        return;
    const auto completeFrom = [](Object& object, const Object& stored) {
        for (std::size_t i = 0; i < object.m_values.size(); ++i) {
            if (!(object.m_changedAttributes >> i & 1u))
                object.m_values[i] = stored.m_values[i];
        }
        for (std::size_t i = 0; i < object.m_toOnes.size(); ++i) {
            if (!(object.m_changedToOnes >> i & 1u))
                object.m_toOnes[i] = stored.m_toOnes[i];
        }
    };
    for (const auto& [key, first] : m_takenOver) {
        const auto [entity, row] = key;
        const auto entry = m_context.m_objects.find({entity, row});
        Object& object = *entry->second;
        completeFrom(object, *first);
        if (Object* known = m_context.registered(first->id())) {
            // Both are in memory: the later one goes, and references to it move to the first.
            completeFrom(*known, object);
            m_context.markChanged(*known, Object::State::Updated);
            known->m_changedAttributes |= object.m_changedAttributes;
            known->m_changedToOnes |= object.m_changedToOnes;
            m_context.drop(object);
            continue;
        }
        auto node = m_context.m_objects.extract(entry);
        node.key().row = first->m_row;
        object.m_row = first->m_row;
        m_context.m_objects.insert(std::move(node));
    }
    for (const auto& [id, object] : m_context.m_objects) {
        for (std::size_t i = 0; i < object->m_toOnes.size(); ++i) {
            const auto taken = m_takenOver.find({object->m_entity->relationships[i].destination, object->m_toOnes[i]});
            if (taken != m_takenOver.end())
                object->m_toOnes[i] = taken->second->m_row;
        }
    }
    m_context.m_collections.clear();
    for (const auto& [key, first] : m_takenOver)
        m_context.touch({key.first, first->m_row});
    for (StandingFetch& standing : m_context.m_standing)
        standing.makeStale();
}

std::shared_ptr<const ChangeSet> Context::Save::finish()
{
    std::vector<ObjectId> takenOver;
    for (const auto& [key, first] : m_takenOver)
        takenOver.push_back(first->id());
    takeOverRows();
    for (Object* lost : m_lost)
        m_context.drop(*lost);

    auto changes = std::make_shared<ChangeSet>();
    changes->number = m_number;
    changes->confirmed = std::exchange(m_context.m_confirmed, {});
    for (ObjectId& id : changes->confirmed) {
        if (const auto taken = m_takenOver.find({id.entity, id.row}); taken != m_takenOver.end())
            id.row = taken->second->m_row;
    }
    changes->inserted.reserve(m_context.m_changed.size());
    for (Object* object : m_context.m_changed) {
        const bool joined = std::find(takenOver.begin(), takenOver.end(), object->id()) != takenOver.end();
        if (object->m_state == Object::State::Deleted)
            changes->deleted.push_back(object->id());
        else if (m_context.m_offeredAgain.contains(object->id()))
            changes->updated.push_back({object->id(), ~0u, ~0u, object->m_values, object->m_toOnes});
        else if (object->m_state == Object::State::Inserted && !joined)
            changes->inserted.push_back(object->id());
        else
            changes->updated.push_back({object->id(), object->m_changedAttributes, object->m_changedToOnes,
                                        object->m_values, object->m_toOnes});
        if (object->m_state != Object::State::Deleted)
            object->m_state = Object::State::Clean;
        object->m_changedAttributes = 0;
        object->m_changedToOnes = 0;
    }
    m_context.m_changed.clear();
    m_context.m_changedCount.assign(m_context.m_changedCount.size(), 0);
    m_context.m_pendingDeletes.clear();
    m_context.m_deleted.clear();
    m_context.m_offeredAgain.clear();
    return changes;
}

} // namespace store
