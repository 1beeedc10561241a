#pragma once

#include "store/Connection.h"
#include "store/Context.h"

#include <map>

namespace store {

/// One save of a context: writes its changes in a transaction, then updates the context to match.
class Context::Save
{
public:
    Save(Context& context, Connection& connection) : m_context(context), m_connection(connection) {}

    /// All or nothing. Changes only the store. Throws when the store fails.
    tl::expected<void, Error> write();

    /// After a successful `write`, or when there was nothing to write: the context's objects are clean, and the result
    /// says what others need to know.
    std::shared_ptr<const ChangeSet> finish();

private:
    bool destinationsAreStored(const std::vector<Object*>& changed);
    void insertRow(Object& object);
    void updateRow(Object& object);
    void deleteRow(Object& object);
    bool tryInsert(const Object& object);
    int tryUpdate(const Object& object, std::int64_t row, std::uint32_t attributes, std::uint32_t toOnes);
    std::unique_ptr<Object> rowWithSameKey(const Object& object);
    void bindAttribute(SQLite::Statement& statement, int index, const Object& object, std::size_t attribute);
    void bindToOne(SQLite::Statement& statement, int index, const Object& object, std::size_t relationship);
    void takeOverRows();

    Context& m_context;
    Connection& m_connection;
    std::uint64_t m_number = 0;
    std::vector<std::string> m_buffers;
    /// By (entity, new row): the row of the object that was first, as it is with what was set here.
    std::map<std::pair<int, std::int64_t>, std::unique_ptr<Object>> m_takenOver;
    std::vector<Object*> m_lost; ///< deleted in the store meanwhile
};

} // namespace store
