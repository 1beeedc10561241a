#pragma once

#include "store/Object.h"
#include "store/StandingFetch.h"

#include <QString>

#include <functional>
#include <initializer_list>
#include <memory>
#include <span>
#include <stop_token>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <tl/expected.hpp>

namespace store {

class Connection;
class Coordinator;
class StatementUse;

/// Why a save or a store failed, for debugging; the program itself runs on.
struct Error
{
    QString text;
};

/// What one save changed. Immutable once made, so it may cross threads; it holds ids and values only.
struct ChangeSet
{
    struct Change
    {
        ObjectId id;
        std::uint32_t changedAttributes = 0; ///< a bit per attribute of the entity
        std::uint32_t changedToOnes = 0;     ///< a bit per to-one relationship
        std::vector<Value> values;           ///< all of the object's values after the save
        std::vector<std::int64_t> toOnes;    ///< all of the object's to-one rows after the save
    };
    std::vector<ObjectId> inserted; ///< ids only: no other context can know an older state of them
    std::vector<Change> updated;
    std::vector<ObjectId> deleted;
    std::uint64_t number = 0;        ///< the larger one is of the later save
    std::vector<ObjectId> confirmed; ///< found to be current (see Context::confirm), changed or not

    /// Whether the store stayed as it was.
    bool isEmpty() const { return inserted.empty() && updated.empty() && deleted.empty(); }
};

/// What happens to an object changed here that has changed in the store since it was read. Under either policy,
/// properties changed here win over the store's, and the others keep what is stored by then.
enum class MergePolicy
{
    Overwrite,           ///< one that was deleted in the store is stored again, as it is here
    PropertyObjectTrump, ///< one that was deleted in the store stays deleted
};

/// A unit of work on the store: objects are fetched, changed and inserted here and saved together.
///
/// Each thread that works on the store has a context of its own. A context, its objects and all calls belong to the
/// thread that uses it; only change sets go to others.
class Context
{
public:
    Context(std::shared_ptr<Coordinator> coordinator, MergePolicy policy);
    ~Context();
    Q_DISABLE_COPY_MOVE(Context)

    Coordinator& coordinator() const { return *m_coordinator; }

    /// A new object of the entity, which must exist in the model.
    Object& insert(std::string_view entity);
    /// Deletes at the next save. Applies the delete rules at once; the object leaves every collection and query now.
    void remove(Object& object);

    /// The objects that match, unsaved changes of this context taken into account.
    std::vector<Object*> fetch(const FetchRequest& request);
    /// The same for what is asked again and again: the answer is kept, and follows what changes and is merged here.
    /// What others store is part of it once it has been merged. Conditions and order by own properties only.
    std::vector<Object*> fetchStanding(const FetchRequest& request);
    /// The one made first; null: none.
    Object* fetchFirst(std::string_view entity, const Predicate& predicate);
    /// The object with that id, loaded when needed; null when there is none.
    Object* find(ObjectId id);

    /// One object in a scan: some of its values, in the order requested. Valid within the call.
    struct Glimpse
    {
        ObjectId id;
        std::span<const Value> attributes;
        std::span<const std::int64_t> toOnes; ///< rows, 0: none
    };
    /// Shows the objects that match, in row order, without making objects of those not in memory: for imports that
    /// compare thousands and change few.
    void scan(std::string_view entity, const Predicate& predicate, const std::vector<std::string>& attributes,
              const std::vector<std::string>& toOnes, const std::function<void(const Glimpse&)>& show);

    bool hasChanges() const { return !m_changed.empty(); }
    /// Changes whenever an object of one of these entities is changed, inserted, deleted or merged here: anything
    /// derived from such objects holds while it stays the same.
    std::uint64_t revision(std::initializer_list<std::string_view> entities) const;

    /// Notes that what is known of the object is current, for the next save to report: an import that finds nothing
    /// changed changes nothing.
    void confirm(const Object& object) { m_confirmed.push_back(object.id()); }

    /// Once this is requested `save` writes nothing. Long imports poll `isStopped`, and end.
    void setStop(std::stop_token stop) { m_stop = std::move(stop); }
    bool isStopped() const { return m_stop.stop_requested(); }

    /// Writes all changes in one transaction, then calls `didSave`. On an error nothing is written and the changes
    /// stay. Without changes nothing is written.
    tl::expected<void, Error> save();

    /// Called after each successful save, on the context's thread; with an empty change set when nothing had changed.
    void setDidSave(std::function<void(std::shared_ptr<const ChangeSet>)> didSave) { m_didSave = std::move(didSave); }

    /// Merges what another context saved: properties unchanged here, new members of collections, and deletions. Deleted
    /// objects are destroyed within the call. What has been saved here since that save stays.
    void mergeChanges(const ChangeSet& changes);

    /// Frees the objects of the entity that nothing needs to be kept for: no `Ref`, no unsaved change. They are read
    /// again when they are asked for, and so are the standing fetches of the entity. Not while a call uses any of them.
    void forgetUnused(std::string_view entity);
    /// Frees what its connection has cached, as `Coordinator::releaseMemory` does for those that no context uses.
    void releaseMemory();

private:
    friend class Object;
    class Save;

    const Entity& entityNamed(std::string_view name) const;
    Object* registered(ObjectId id) const;
    Object& adopt(std::unique_ptr<Object> object, const Entity& entity, std::int64_t row);
    void markChanged(Object& object, Object::State state);
    void touch(ObjectId id);
    void setAttribute(Object& object, int attribute, Value value);
    void setToOneRow(Object& object, int relationship, std::int64_t row);
    std::vector<Object*> collection(const Object& owner, int relationship);
    void moveInCollections(Object& object, int relationship, std::int64_t from, std::int64_t to);
    void forgetChange(Object& object);
    std::unique_ptr<Object> detach(Object& object);
    void drop(Object& object);
    bool hasChangesOf(int entity) const;
    bool dependsOnChangedDestination(const Entity& entity, const std::string& keyPath) const;
    std::vector<Object*> fetchUpTo(std::size_t limit, const FetchRequest& request);
    std::vector<Object*> fetchFrom(Connection* store, std::size_t limit, const FetchRequest& request);
    Object* takeRow(const Entity& entity, StatementUse& statement);
    std::unique_ptr<Object> readRow(const Entity& entity, StatementUse& statement);
    tl::expected<std::unique_ptr<Object>, Error> stored(ObjectId id);
    Connection& connection();
    void offerAgain(Connection& store);
    template <class Work>
    auto onStore(const Work& work);

    struct CollectionKey
    {
        ObjectId owner;
        int relationship;
        bool operator==(const CollectionKey&) const = default;
    };
    struct CollectionKeyHash
    {
        std::size_t operator()(const CollectionKey& key) const noexcept
        {
            return ObjectIdHash{}(key.owner) * 31 + static_cast<std::size_t>(key.relationship);
        }
    };

    std::shared_ptr<Coordinator> m_coordinator;
    MergePolicy m_policy;
    std::stop_token m_stop;
    std::unique_ptr<Connection> m_connection;
    std::unique_ptr<Connection> m_left; ///< to a file that failed; its statements may still be in use
    std::unordered_map<ObjectId, std::unique_ptr<Object>, ObjectIdHash> m_objects;
    std::vector<Object*> m_changed;                 ///< in the order of their first change
    std::vector<int> m_changedCount;                ///< of them, by entity
    std::vector<std::uint64_t> m_revisions;         ///< by entity
    std::vector<StandingFetch> m_standing;          ///< the one asked last first
    std::vector<std::unique_ptr<Object>> m_deleted; ///< detached, kept until they are gone from the store too
    std::unordered_set<ObjectId, ObjectIdHash> m_pendingDeletes;
    std::vector<ObjectId> m_confirmed;                         ///< since the last save
    std::uint64_t m_lastSave = 0;                              ///< that wrote something
    std::unordered_set<ObjectId, ObjectIdHash> m_offeredAgain; ///< inserted ones that other contexts may know
    std::unordered_map<CollectionKey, std::vector<Object*>, CollectionKeyHash> m_collections;
    std::function<void(std::shared_ptr<const ChangeSet>)> m_didSave;
};

} // namespace store
