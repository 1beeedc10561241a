#include "store/Context.h"

#include "store/Connection.h"
#include "store/Coordinator.h"
#include "store/Query.h"
#include "store/Save.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace store {

namespace {

/// Two days and what is derived from them.
constexpr std::size_t MostStanding = 6;

} // namespace

Context::Context(std::shared_ptr<Coordinator> coordinator, MergePolicy policy)
    : m_coordinator(std::move(coordinator)), m_policy(policy), m_changedCount(m_coordinator->model().entities().size()),
      m_revisions(m_changedCount.size())
{
}

Context::~Context()
{
    // Destructors of objects must not find half a context.
    m_collections.clear();
    m_changed.clear();
    m_deleted.clear();
    m_objects.clear();
    if (m_connection)
        m_coordinator->giveBack(std::move(m_connection));
}

void Context::forgetUnused(std::string_view entityName)
{
    const int entity = entityNamed(entityName).index;
    const auto& entities = m_coordinator->model().entities();
    std::erase_if(m_standing, [entity](const StandingFetch& standing) { return standing.entity() == entity; });
    std::erase_if(m_collections, [&](const auto& entry) {
        const Entity& owner = entities[static_cast<std::size_t>(entry.first.owner.entity)];
        return owner.relationships[static_cast<std::size_t>(entry.first.relationship)].destination == entity;
    });
    std::vector<Object*> unused;
    for (const auto& [id, object] : m_objects) {
        if (id.entity == entity && object->m_state == Object::State::Clean && object->m_handle.use_count() <= 1)
            unused.push_back(object.get());
    }
    for (Object* object : unused)
        detach(*object).reset();
}

void Context::releaseMemory()
{
    if (m_connection)
        m_connection->releaseMemory();
}

Connection& Context::connection()
{
    if (m_connection && m_coordinator->hasLeft(*m_connection))
        m_left = std::move(m_connection);
    if (!m_connection) {
        m_connection = m_coordinator->takeConnection();
        if (m_left && m_coordinator->m_hasLost)
            offerAgain(*m_connection);
    }
    return *m_connection;
}

/// What is known here and was lost with the file is stored again by the next save.
void Context::offerAgain(Connection& store)
{
    for (const auto& [id, object] : m_objects) {
        if (object->isInserted())
            continue;
        StatementUse statement(store.selectStatement(*object->m_entity));
        statement->bind(1, id.row);
        if (statement->executeStep())
            continue;
        m_offeredAgain.insert(id);
        markChanged(*object, Object::State::Inserted);
    }
}

/// Runs the work on the store, and repeats it where the file failed and was abandoned. Throws other failures.
template <class Work>
auto Context::onStore(const Work& work)
{
    for (;;) {
        Connection& store = connection();
        try {
            return work(store);
        } catch (const SQLite::Exception& failure) {
            if (!m_coordinator->leaveFile(&store, failure))
                throw;
        }
    }
}

Object& Context::adopt(std::unique_ptr<Object> object, const Entity& entity, std::int64_t row)
{
    Object& adopted = *object;
    adopted.m_entity = &entity;
    adopted.m_context = this;
    adopted.m_row = row;
    m_objects.emplace(ObjectId{entity.index, row}, std::move(object));
    return adopted;
}

Object* Context::registered(ObjectId id) const
{
    const auto found = m_objects.find(id);
    return found == m_objects.end() ? nullptr : found->second.get();
}

const Entity& Context::entityNamed(std::string_view name) const
{
    const Entity* entity = m_coordinator->model().entity(name);
    Q_ASSERT_X(entity, "store", "the model has no such entity");
    return *entity;
}

Object& Context::insert(std::string_view entityName)
{
    const Entity& entity = entityNamed(entityName);
    Object& object = adopt(m_coordinator->instantiate(entity), entity, m_coordinator->nextRow(entity.index));
    object.m_values.resize(entity.attributes.size());
    object.m_toOnes.resize(static_cast<std::size_t>(entity.toOneCount));
    markChanged(object, Object::State::Inserted);
    return object;
}

void Context::markChanged(Object& object, Object::State state)
{
    touch(object.id());
    if (object.m_state == Object::State::Clean) {
        m_changed.push_back(&object);
        ++m_changedCount[static_cast<std::size_t>(object.m_entity->index)];
    }
    if (object.m_state != Object::State::Inserted)
        object.m_state = state;
}

void Context::touch(ObjectId id)
{
    ++m_revisions[static_cast<std::size_t>(id.entity)];
    for (StandingFetch& standing : m_standing)
        standing.touch(id);
}

void Context::forgetChange(Object& object)
{
    if (std::erase(m_changed, &object) > 0)
        --m_changedCount[static_cast<std::size_t>(object.m_entity->index)];
}

/// For one that is gone from the store.
void Context::drop(Object& object)
{
    forgetChange(object);
    detach(object).reset();
}

void Context::setAttribute(Object& object, int attribute, Value value)
{
    Value& stored = object.m_values[static_cast<std::size_t>(attribute)];
    if (object.isDeleted() || order(stored, value) == 0)
        return;
    stored = std::move(value);
    object.m_changedAttributes |= 1u << attribute;
    markChanged(object, Object::State::Updated);
}

void Context::setToOneRow(Object& object, int relationship, std::int64_t row)
{
    std::int64_t& stored = object.m_toOnes[static_cast<std::size_t>(relationship)];
    if (object.isDeleted() || stored == row)
        return;
    moveInCollections(object, relationship, stored, row);
    stored = row;
    object.m_changedToOnes |= 1u << relationship;
    markChanged(object, Object::State::Updated);
}

void Context::moveInCollections(Object& object, int relationship, std::int64_t from, std::int64_t to)
{
    const Relationship& own = object.m_entity->relationships[static_cast<std::size_t>(relationship)];
    if (own.inverse < 0 || m_collections.empty())
        return;
    if (const auto old = m_collections.find({{own.destination, from}, own.inverse}); old != m_collections.end())
        std::erase(old->second, &object);
    if (const auto next = m_collections.find({{own.destination, to}, own.inverse}); next != m_collections.end())
        next->second.push_back(&object);
}

std::vector<Object*> Context::collection(const Object& owner, int relationship)
{
    const CollectionKey key{owner.id(), relationship};
    if (const auto known = m_collections.find(key); known != m_collections.end())
        return known->second;
    const Relationship& own = owner.m_entity->relationships[static_cast<std::size_t>(relationship)];
    const Entity& members = m_coordinator->model().entities()[static_cast<std::size_t>(own.destination)];
    // Fetched before it is noted: a fetch may fill other collections.
    const std::uint64_t before = m_revisions[static_cast<std::size_t>(members.index)];
    std::vector<Object*> found =
        fetch({members.name, where(members.relationships[static_cast<std::size_t>(own.inverse)].name, &owner), {}});
    if (m_revisions[static_cast<std::size_t>(members.index)] == before) // else it failed
        m_collections.insert_or_assign(key, found);
    return found;
}

std::unique_ptr<Object> Context::detach(Object& object)
{
    touch(object.id());
    for (StandingFetch& standing : m_standing)
        standing.forget(object);
    std::erase_if(m_standing, [&object](const StandingFetch& standing) {
        return std::ranges::any_of(standing.request().predicate.conditions(),
                                   [&object](const Condition& condition) { return condition.object == &object; });
    });
    for (int i = 0; i < object.m_entity->toOneCount; ++i)
        moveInCollections(object, i, object.m_toOnes[static_cast<std::size_t>(i)], 0);
    for (std::size_t i = static_cast<std::size_t>(object.m_entity->toOneCount);
         i < object.m_entity->relationships.size() && !m_collections.empty(); ++i)
        m_collections.erase({object.id(), static_cast<int>(i)});
    object.m_state = Object::State::Deleted;
    if (object.m_handle)
        *object.m_handle = nullptr;
    return std::move(m_objects.extract(object.id()).mapped());
}

void Context::remove(Object& object)
{
    if (object.isDeleted())
        return;
    const Entity& entity = object.entity();
    for (std::size_t i = static_cast<std::size_t>(entity.toOneCount); i < entity.relationships.size(); ++i) {
        const Relationship& relationship = entity.relationships[i];
        for (Object* member : collection(object, static_cast<int>(i))) {
            if (relationship.deleteRule == DeleteRule::Cascade)
                remove(*member);
            else
                setToOneRow(*member, relationship.inverse, 0);
        }
    }
    if (object.isInserted()) {
        forgetChange(object);
    } else {
        markChanged(object, Object::State::Deleted);
        m_pendingDeletes.insert(object.id());
    }
    m_deleted.push_back(detach(object));
}

std::uint64_t Context::revision(std::initializer_list<std::string_view> entities) const
{
    std::uint64_t revision = 0;
    for (const std::string_view name : entities)
        revision += m_revisions[static_cast<std::size_t>(entityNamed(name).index)];
    return revision;
}

bool Context::hasChangesOf(int entity) const
{
    return m_changedCount[static_cast<std::size_t>(entity)] > 0;
}

bool Context::dependsOnChangedDestination(const Entity& entity, const std::string& keyPath) const
{
    const std::size_t dot = keyPath.find('.');
    if (dot == std::string::npos)
        return false;
    const int relationship = entity.relationshipIndex(std::string_view(keyPath).substr(0, dot));
    return hasChangesOf(entity.relationships[static_cast<std::size_t>(relationship)].destination);
}

Object* Context::takeRow(const Entity& entity, StatementUse& statement)
{
    const std::int64_t row = statement->getColumn(0).getInt64();
    if (Object* known = registered({entity.index, row}))
        return known;
    if (m_pendingDeletes.contains({entity.index, row}))
        return nullptr;
    return &adopt(readRow(entity, statement), entity, row);
}

/// An object of no context yet.
std::unique_ptr<Object> Context::readRow(const Entity& entity, StatementUse& statement)
{
    auto object = m_coordinator->instantiate(entity);
    object->m_entity = &entity;
    object->m_row = statement->getColumn(0).getInt64();
    object->m_values.reserve(entity.attributes.size());
    int column = 1;
    for (const Attribute& attribute : entity.attributes)
        object->m_values.push_back(readColumn(*statement, column++, attribute.type));
    object->m_toOnes.reserve(static_cast<std::size_t>(entity.toOneCount));
    for (int i = 0; i < entity.toOneCount; ++i)
        object->m_toOnes.push_back(statement->getColumn(column++).getInt64());
    return object;
}

std::vector<Object*> Context::fetch(const FetchRequest& request)
{
    return fetchUpTo(0, request);
}

Object* Context::fetchFirst(std::string_view entity, const Predicate& predicate)
{
    const std::vector<Object*> found = fetchUpTo(1, {std::string(entity), predicate, {}});
    return found.empty() ? nullptr : found.front();
}

std::vector<Object*> Context::fetchUpTo(std::size_t limit, const FetchRequest& request)
{
    try {
        return onStore([&](Connection& store) { return fetchFrom(&store, limit, request); });
    } catch (const std::exception&) {
        // A query that fails is answered from memory, as if the store were empty; the next one tries again, and nobody
        // shall keep this answer.
        ++m_revisions[static_cast<std::size_t>(entityNamed(request.entity).index)];
        return fetchFrom(nullptr, limit, request);
    }
}

std::vector<Object*> Context::fetchStanding(const FetchRequest& request)
{
    auto found = std::ranges::find_if(m_standing, [&](const StandingFetch& each) { return each.isFor(request); });
    if (found == m_standing.end())
        found = m_standing.emplace(found, request, entityNamed(request.entity).index);
    std::rotate(m_standing.begin(), found, found + 1);
    if (m_standing.size() > MostStanding)
        m_standing.pop_back();
    StandingFetch& standing = m_standing.front();

    if (!standing.isStale()) {
        for (const ObjectId& id : standing.takeTouched()) {
            if (Object* object = find(id))
                standing.add(*object);
            else if (!m_pendingDeletes.contains(id))
                standing.makeStale(); // deleted elsewhere or not readable just now: the query tells
        }
    }
    if (standing.isStale()) {
        try {
            standing.take(onStore([&](Connection& store) { return fetchFrom(&store, 0, request); }));
        } catch (const std::exception&) {
            ++m_revisions[static_cast<std::size_t>(entityNamed(request.entity).index)]; // as in `fetchUpTo`
            return fetchFrom(nullptr, 0, request);
        }
    }
    return standing.found();
}

std::vector<Object*> Context::fetchFrom(Connection* store, std::size_t limit, const FetchRequest& request)
{
    const Entity& entity = entityNamed(request.entity);
    // The store does not know unsaved changes. Whatever they may affect is evaluated in memory instead.
    const bool changed = hasChangesOf(entity.index);
    bool inStore = true;
    Predicate stored;
    for (const Condition& condition : request.predicate.conditions()) {
        if (dependsOnChangedDestination(entity, condition.keyPath))
            inStore = false;
        else
            stored = std::move(stored) && Predicate(condition);
    }
    const bool sorted =
        !changed && std::none_of(request.sortKeys.begin(), request.sortKeys.end(),
                                 [&](const auto& key) { return dependsOnChangedDestination(entity, key.keyPath); });

    std::vector<Object*> found;
    if (store) {
        SqlQuery query(m_coordinator->model(), entity, stored, request.sortKeys, sorted && inStore ? limit : 0);
        StatementUse statement(store->statement(query.text()));
        query.bindTo(*statement);
        while (statement->executeStep()) {
            if (Object* object = takeRow(entity, statement))
                found.push_back(object);
        }
    }
    if (changed) {
        const std::unordered_set<const Object*> seen(found.begin(), found.end());
        std::copy_if(m_changed.begin(), m_changed.end(), std::back_inserter(found), [&](const Object* object) {
            return object->m_entity == &entity && !object->isDeleted() && !seen.contains(object);
        });
    }
    std::erase_if(found, [&](const Object* object) { return !matches(*object, request.predicate); });
    if (!sorted && found.size() > 1) {
        std::stable_sort(found.begin(), found.end(), [&](const Object* left, const Object* right) {
            return comesBefore(*left, *right, request.sortKeys);
        });
    }
    if (limit > 0 && found.size() > limit)
        found.resize(limit);
    return found;
}

void Context::scan(std::string_view entityName, const Predicate& predicate, const std::vector<std::string>& attributes,
                   const std::vector<std::string>& toOnes, const std::function<void(const Glimpse&)>& show)
{
    const Entity& entity = entityNamed(entityName);
    std::vector<std::size_t> attributeIndexes;
    attributeIndexes.reserve(attributes.size());
    std::vector<std::size_t> toOneIndexes;
    toOneIndexes.reserve(toOnes.size());
    for (const std::string& name : attributes)
        attributeIndexes.push_back(static_cast<std::size_t>(entity.attributeIndex(name)));
    for (const std::string& name : toOnes)
        toOneIndexes.push_back(static_cast<std::size_t>(entity.relationshipIndex(name)));
    std::vector<Value> values(attributes.size());
    std::vector<std::int64_t> rows(toOnes.size());
    std::int64_t shown = 0; // they come in order, and none is shown again when the file is abandoned on the way
    const auto showOnce = [&](ObjectId id) {
        if (id.row > std::exchange(shown, std::max(shown, id.row)))
            show({id, values, rows});
    };
    const auto showObject = [&](const Object& object) {
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] = object.m_values[attributeIndexes[i]];
        for (std::size_t i = 0; i < rows.size(); ++i)
            rows[i] = object.m_toOnes[toOneIndexes[i]];
        showOnce(object.id());
    };

    const auto scanStore = [&](Connection& store) {
        // An object changed here, or leading to a changed one, may have stopped matching, or started to.
        const auto& conditions = predicate.conditions();
        const bool changed = hasChangesOf(entity.index) ||
                             std::any_of(conditions.begin(), conditions.end(), [&](const Condition& condition) {
                                 return dependsOnChangedDestination(entity, condition.keyPath);
                             });
        if (changed) {
            for (const Object* object : fetchFrom(&store, 0, {entity.name, predicate, {}}))
                showObject(*object);
            return;
        }
        std::vector<std::string> columns = attributes;
        columns.insert(columns.end(), toOnes.begin(), toOnes.end());
        SqlQuery query(m_coordinator->model(), entity, predicate, columns);
        StatementUse statement(store.statement(query.text()));
        query.bindTo(*statement);
        while (statement->executeStep()) {
            const ObjectId id{entity.index, statement->getColumn(0).getInt64()};
            if (const Object* known = registered(id)) {
                showObject(*known);
                continue;
            }
            int column = 1;
            for (std::size_t i = 0; i < values.size(); ++i)
                values[i] = readColumn(*statement, column++, entity.attributes[attributeIndexes[i]].type);
            for (std::int64_t& row : rows)
                row = statement->getColumn(column++).getInt64();
            showOnce(id);
        }
    };
    try {
        onStore(scanStore);
    } catch (const std::exception&) {
        for (const Object* object : fetchFrom(nullptr, 0, {entity.name, predicate, {}}))
            showObject(*object); // as in `fetch`
    }
}

Object* Context::find(ObjectId id)
{
    if (!id)
        return nullptr;
    if (Object* known = registered(id))
        return known;
    const Entity& entity = m_coordinator->model().entities()[static_cast<std::size_t>(id.entity)];
    try {
        return onStore([&](Connection& store) -> Object* {
            StatementUse statement(store.selectStatement(entity));
            statement->bind(1, id.row);
            return statement->executeStep() ? takeRow(entity, statement) : nullptr;
        });
    } catch (const std::exception&) {
        ++m_revisions[static_cast<std::size_t>(id.entity)]; // as in `fetchUpTo`
        return nullptr;
    }
}

/// The object as the store has it, of no context; null when it has none.
tl::expected<std::unique_ptr<Object>, Error> Context::stored(ObjectId id)
{
    const Entity& entity = m_coordinator->model().entities()[static_cast<std::size_t>(id.entity)];
    try {
        return onStore([&](Connection& store) -> std::unique_ptr<Object> {
            StatementUse statement(store.selectStatement(entity));
            statement->bind(1, id.row);
            return statement->executeStep() ? readRow(entity, statement) : nullptr;
        });
    } catch (const std::exception& failure) {
        return tl::unexpected(Error{QString::fromUtf8(failure.what())});
    }
}

tl::expected<void, Error> Context::save()
{
    std::shared_ptr<const ChangeSet> changes;
    try {
        auto written = onStore([&](Connection& store) -> tl::expected<void, Error> {
            Save save(*this, store);
            if (!m_changed.empty()) {
                if (auto result = save.write(); !result)
                    return result;
            }
            changes = save.finish();
            return {};
        });
        if (!written)
            return written;
    } catch (const std::exception& failure) {
        return tl::unexpected(Error{QString::fromUtf8(failure.what())});
    }
    if (m_didSave)
        m_didSave(changes);
    return {};
}

void Context::mergeChanges(const ChangeSet& changes)
{
    const auto& entities = m_coordinator->model().entities();
    // Then what both saved is as it was saved here, and the change set does not say which that is.
    const bool isOutdated = changes.number < m_lastSave;

    // Collections that gained or lost members unknown here are fetched again on next use.
    std::unordered_set<int> grown;
    for (const ObjectId& id : changes.inserted) {
        touch(id);
        grown.insert(id.entity);
    }

    for (const ChangeSet::Change& change : changes.updated) {
        touch(change.id);
        Object* object = registered(change.id);
        if (!object) {
            if (change.changedToOnes)
                grown.insert(change.id.entity);
            continue;
        }
        const Entity& entity = *object->m_entity;
        const auto now = isOutdated ? stored(change.id).value_or(nullptr) : nullptr;
        const auto& values = now ? now->m_values : change.values;
        const auto& toOnes = now ? now->m_toOnes : change.toOnes;
        for (std::size_t i = 0; i < entity.attributes.size(); ++i) {
            if ((change.changedAttributes & ~object->m_changedAttributes) >> i & 1u)
                object->m_values[i] = values[i];
        }
        for (int i = 0; i < entity.toOneCount; ++i) {
            if (!((change.changedToOnes & ~object->m_changedToOnes) >> i & 1u))
                continue;
            std::int64_t& row = object->m_toOnes[static_cast<std::size_t>(i)];
            moveInCollections(*object, i, row, toOnes[static_cast<std::size_t>(i)]);
            row = toOnes[static_cast<std::size_t>(i)];
        }
    }

    for (const ObjectId& id : changes.deleted) {
        if (Object* object = registered(id); object && !(isOutdated && stored(id).value_or(nullptr)))
            drop(*object);
    }
    std::erase_if(m_collections, [&](const auto& entry) {
        const Entity& owner = entities[static_cast<std::size_t>(entry.first.owner.entity)];
        return grown.contains(owner.relationships[static_cast<std::size_t>(entry.first.relationship)].destination);
    });
}

} // namespace store
