#include "store/Connection.h"
#include "store/Utc.h"

#include <QStringConverter>

#include <sqlite3.h>

namespace store {

namespace {
// For readers and writers of one process that wait for each other: none takes longer than a save.
constexpr int MemoryPatienceMs = 5000;
} // namespace

Connection::Connection(const std::string& file, std::chrono::milliseconds patience,
                       const std::function<void(SQLite::Database&)>& accept)
    : m_database(file, SQLite::OPEN_READWRITE | SQLite::OPEN_NOMUTEX, static_cast<int>(patience.count()))
{
    if (accept)
        accept(m_database);
    m_database.exec("PRAGMA journal_mode=WAL");
    // With a write-ahead log this loses nothing when the program dies; only a crash of the machine may cost the last
    // save, all of which is fetched again from the service.
    m_database.exec("PRAGMA synchronous=NORMAL");
}

std::unique_ptr<Connection> Connection::inMemory(const std::string& name)
{
    // Names that start with a slash are shared by the connections of the process ("memdb.c" of SQLite).
    return std::unique_ptr<Connection>(new Connection(SQLite::Database(
        '/' + name, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE | SQLite::OPEN_NOMUTEX, MemoryPatienceMs, "memdb")));
}

SQLite::Statement& Connection::statement(const std::string& sql)
{
    auto& statement = m_statements[sql];
    if (!statement)
        statement = std::make_unique<SQLite::Statement>(m_database, sql);
    else
        statement->tryReset();
    return *statement;
}

SQLite::Statement& Connection::insertStatement(const Entity& entity)
{
    SQLite::Statement*& known = m_insertStatements[entity.index];
    if (!known) {
        std::string places = "?";
        for (std::size_t i = 0; i < entity.attributes.size() + static_cast<std::size_t>(entity.toOneCount); ++i)
            places += ", ?";
        known = &statement("INSERT INTO " + quotedName(entity.name) + " (" + columnList(entity) + ") VALUES (" +
                           places + ')');
    }
    known->tryReset();
    return *known;
}

SQLite::Statement& Connection::selectStatement(const Entity& entity)
{
    SQLite::Statement*& known = m_selectStatements[entity.index];
    if (!known)
        known = &statement("SELECT " + columnList(entity) + " FROM " + quotedName(entity.name) + " WHERE pk = ?");
    known->tryReset();
    return *known;
}

void Connection::releaseMemory()
{
    m_insertStatements.clear();
    m_selectStatements.clear();
    m_statements.clear();
    sqlite3_db_release_memory(m_database.getHandle());
}

void bindValue(SQLite::Statement& statement, int index, const Value& value, std::string& buffer)
{
    if (const QString* text = std::get_if<QString>(&value)) {
        // Straight into the buffer, which keeps its capacity from row to row.
        QStringEncoder encoder(QStringEncoder::Utf8, QStringEncoder::Flag::Stateless);
        buffer.resize(static_cast<std::size_t>(encoder.requiredSpace(text->size())));
        const char* const end = encoder.appendToBuffer(buffer.data(), *text);
        buffer.resize(static_cast<std::size_t>(end - buffer.data()));
        statement.bindNoCopy(index, buffer);
    } else if (const bool* truth = std::get_if<bool>(&value)) {
        statement.bind(index, *truth ? 1 : 0);
    } else if (const std::int64_t* integer = std::get_if<std::int64_t>(&value)) {
        statement.bind(index, *integer);
    } else if (const double* number = std::get_if<double>(&value)) {
        statement.bind(index, *number);
    } else if (const QDateTime* date = std::get_if<QDateTime>(&value)) {
        statement.bind(index, static_cast<std::int64_t>(date->toMSecsSinceEpoch()));
    } else {
        statement.bind(index);
    }
}

Value readColumn(const SQLite::Statement& statement, int index, AttributeType type)
{
    const SQLite::Column column = const_cast<SQLite::Statement&>(statement).getColumn(index);
    if (column.isNull())
        return {};
    switch (type) {
    case AttributeType::Boolean:
        return column.getInt() != 0;
    case AttributeType::Integer:
        return static_cast<std::int64_t>(column.getInt64());
    case AttributeType::Double:
        return column.getDouble();
    case AttributeType::String: {
        const char* text = column.getText();
        return QString::fromUtf8(text, column.getBytes());
    }
    case AttributeType::Date:
        return QDateTime::fromMSecsSinceEpoch(column.getInt64(), Utc);
    }
    return {};
}

std::string quotedName(const std::string& identifier)
{
    return '"' + identifier + '"';
}

std::string columnList(const Entity& entity, const std::string& alias)
{
    const std::string prefix = alias.empty() ? std::string() : alias + '.';
    std::string list = prefix + "pk";
    for (const Attribute& attribute : entity.attributes)
        list += ", " + prefix + quotedName(attribute.name);
    for (int i = 0; i < entity.toOneCount; ++i)
        list += ", " + prefix + quotedName(entity.relationships[static_cast<std::size_t>(i)].name);
    return list;
}

} // namespace store
