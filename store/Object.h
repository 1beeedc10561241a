#pragma once

#include "store/Model.h"
#include "store/Value.h"

#include <memory>
#include <vector>

namespace store {

class Context;

/// One object of a context: a row of the store with the unsaved changes made to it here.
///
/// Owned by its context, which has at most one instance per row; never kept beyond the call that got it (see Ref).
/// Used on its context's thread only.
class Object
{
public:
    virtual ~Object();
    Q_DISABLE_COPY_MOVE(Object)

    const Entity& entity() const { return *m_entity; }
    Context& context() const { return *m_context; }

    /// Constant for the object's life, unless a save finds that another context stored the same unique key first: then
    /// the object takes over that row's id.
    ObjectId id() const { return {m_entity->index, m_row}; }

    bool isInserted() const { return m_state == State::Inserted; }
    bool isDeleted() const { return m_state == State::Deleted; }

    /// The attribute's value. The name must be one of the entity's.
    const Value& value(std::string_view attribute) const;
    /// Marks the object changed when the value differs. Equal numbers of different types do not differ. A null QString
    /// and an invalid QDateTime store null.
    void setValue(std::string_view attribute, Value value);

    // The value as one type; that type's empty value when it is null or of another type.
    QString string(std::string_view attribute) const; ///< a null QString when null
    bool boolean(std::string_view attribute) const;
    double number(std::string_view attribute) const;
    std::int64_t integer(std::string_view attribute) const;
    QDateTime date(std::string_view attribute) const; ///< an invalid one when null

    /// The destination of a to-one relationship, loaded when needed; null: none.
    Object* toOne(std::string_view relationship) const;
    /// Maintains the inverse: the collections of the old and the new destination are updated at once.
    void setToOne(std::string_view relationship, Object* destination);
    /// The id alone, without loading the destination.
    ObjectId toOneId(std::string_view relationship) const;

    /// The members of a to-many relationship, in no guaranteed order, as a snapshot.
    std::vector<Object*> toMany(std::string_view relationship) const;

    /// The members that a fetched property of the entity selects now.
    std::vector<Object*> fetched(std::string_view fetchedProperty) const;

protected:
    Object() = default;

private:
    friend class Context;
    template <class T>
    friend class Ref;

    enum class State : unsigned char
    {
        Clean,
        Inserted,
        Updated,
        Deleted,
    };
    std::shared_ptr<Object*> handle() const;

    const Entity* m_entity = nullptr;
    Context* m_context = nullptr;
    std::int64_t m_row = 0;
    State m_state = State::Clean;
    std::uint32_t m_changedAttributes = 0; ///< a bit per attribute
    std::uint32_t m_changedToOnes = 0;
    std::vector<Value> m_values;        ///< in the entity's order
    std::vector<std::int64_t> m_toOnes; ///< destination rows, in the entity's order; 0: none
    mutable std::shared_ptr<Object*> m_handle;
};

/// Holds an object across events: empty once the object is deleted or merged away, or its context is gone.
template <class T>
class Ref
{
public:
    Ref() = default;
    Ref(T* object) // NOLINT: a Ref is meant to be assigned from a pointer
    {
        if (object)
            m_handle = object->handle();
    }
    T* get() const { return m_handle ? static_cast<T*>(*m_handle) : nullptr; }
    explicit operator bool() const { return get() != nullptr; }

private:
    std::shared_ptr<Object*> m_handle;
};

} // namespace store
