#include "store/Coordinator.h"

#include "store/Connection.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <functional>
#include <set>

#include <sqlite3.h>

namespace store {

using namespace Qt::StringLiterals;

namespace {

// Increased when the tables change in a way that adding columns cannot express.
constexpr int SchemaVersion = 2;

constexpr auto OfOwner = QFileDevice::ReadOwner | QFileDevice::WriteOwner;

std::string columnType(AttributeType type)
{
    switch (type) {
    case AttributeType::Boolean:
    case AttributeType::Integer:
    case AttributeType::Date:
        return "INTEGER";
    case AttributeType::Double:
        return "REAL";
    case AttributeType::String:
        return "TEXT";
    }
    return "TEXT";
}

std::set<std::string> columnsOf(SQLite::Database& database, const Entity& entity)
{
    std::set<std::string> columns;
    SQLite::Statement info(database, "PRAGMA table_info(" + quotedName(entity.name) + ")");
    while (info.executeStep())
        columns.insert(info.getColumn(1).getString());
    return columns;
}

void forColumns(const Entity& entity, const std::function<void(const std::string& name, const std::string& type)>& use)
{
    for (const Attribute& attribute : entity.attributes)
        use(attribute.name, columnType(attribute.type));
    for (int i = 0; i < entity.toOneCount; ++i)
        use(entity.relationships[static_cast<std::size_t>(i)].name, "INTEGER");
}

void addTable(SQLite::Database& database, const Entity& entity)
{
    std::string columns = "pk INTEGER PRIMARY KEY";
    forColumns(entity, [&](const std::string& name, const std::string& type) {
        columns += ", " + quotedName(name) + ' ' + type;
    });
    database.exec("CREATE TABLE IF NOT EXISTS " + quotedName(entity.name) + " (" + columns + ')');
}

void addMissingColumns(SQLite::Database& database, const Entity& entity)
{
    const std::set<std::string> present = columnsOf(database, entity);
    forColumns(entity, [&](const std::string& name, const std::string& type) {
        if (!present.contains(name))
            database.exec("ALTER TABLE " + quotedName(entity.name) + " ADD COLUMN " + quotedName(name) + ' ' + type);
    });
}

void addIndexes(SQLite::Database& database, const Entity& entity)
{
    std::set<std::string> leading;
    for (const auto& key : entity.uniqueKeys) {
        std::string name = "unique_" + entity.name;
        std::string columns;
        for (const std::string& column : key) {
            name += '_' + column;
            columns += (columns.empty() ? "" : ", ") + quotedName(column);
        }
        leading.insert(key.front());
        database.exec("CREATE UNIQUE INDEX IF NOT EXISTS " + quotedName(name) + " ON " + quotedName(entity.name) +
                      " (" + columns + ")");
    }
    // A collection is found by its members' to-one column.
    for (int i = 0; i < entity.toOneCount; ++i) {
        const Relationship& relationship = entity.relationships[static_cast<std::size_t>(i)];
        if (relationship.inverse < 0 || leading.contains(relationship.name))
            continue;
        database.exec("CREATE INDEX IF NOT EXISTS " + quotedName("by_" + entity.name + '_' + relationship.name) +
                      " ON " + quotedName(entity.name) + " (" + quotedName(relationship.name) + ")");
    }
}

/// Throws unless the database is empty or a store of this program. Writes nothing.
void refuseForeign(SQLite::Database& database, const Model& model)
{
    const int version = database.execAndGet("PRAGMA user_version").getInt();
    if (version > SchemaVersion)
        throw SQLite::Exception("it was made by a newer version of the program");
    bool isEmpty = true;
    bool isOurs = false;
    SQLite::Statement names(database, "SELECT name, type FROM sqlite_master");
    while (names.executeStep()) {
        isEmpty = false;
        const Entity* entity = model.entity(names.getColumn(0).getString());
        if (!entity)
            continue;
        isOurs = names.getColumn(1).getString() == "table" && columnsOf(database, *entity).contains("pk");
        if (!isOurs)
            break;
    }
    if (isEmpty ? version != 0 : version < 1 || !isOurs)
        throw SQLite::Exception("it was made by another program");
}

/// Whether the write-ahead log, with saves not yet in the file, stays there when this connection is closed.
void keepLog(SQLite::Database& database, bool keep)
{
    sqlite3_db_config(database.getHandle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, static_cast<int>(keep), nullptr);
}

bool hasLog(const QString& file)
{
    return QFileInfo(file + "-wal"_L1).size() > 0;
}

/// Whether the failure means the file is unusable. A busy one is not.
bool isFinal(int code)
{
    switch (code & 0xff) {
    case SQLITE_ERROR: // its tables are no longer ours
    case SQLITE_PERM:
    case SQLITE_READONLY:
    case SQLITE_IOERR:
    case SQLITE_CORRUPT:
    case SQLITE_FULL:
    case SQLITE_CANTOPEN:
    case SQLITE_NOLFS:
    case SQLITE_NOTADB:
        return true;
    default:
        return false;
    }
}

/// False when some rows could not be read.
bool copyRows(SQLite::Database& from, SQLite::Database& to, const Model& model)
{
    bool all = true;
    SQLite::Transaction transaction(to);
    for (const Entity& entity : model.entities()) {
        try {
            const std::string name = quotedName(entity.name);
            SQLite::Statement rows(from, "SELECT " + columnList(entity, "t") + " FROM " + name + " t");
            std::string places = "?";
            for (int i = 1; i < rows.getColumnCount(); ++i)
                places += ", ?";
            SQLite::Statement insert(to, "INSERT OR IGNORE INTO " + name + " (" + columnList(entity) + ") VALUES (" +
                                             places + ')');
            while (rows.executeStep()) {
                for (int i = 0; i < rows.getColumnCount(); ++i) {
                    const SQLite::Column column = rows.getColumn(i);
                    if (column.isNull())
                        insert.bind(i + 1);
                    else if (column.isInteger())
                        insert.bind(i + 1, static_cast<std::int64_t>(column.getInt64()));
                    else if (column.isFloat())
                        insert.bind(i + 1, column.getDouble());
                    else
                        insert.bind(i + 1, column.getString());
                }
                insert.exec();
                insert.reset();
            }
        } catch (const SQLite::Exception&) {
            all = false; // of this table, from here on
        }
    }
    transaction.commit();
    return all;
}

} // namespace

Coordinator::Coordinator(Model model, std::unordered_map<std::string, ObjectFactory> factories)
    : m_model(std::move(model)), m_lastRow(std::make_unique<std::atomic<std::int64_t>[]>(m_model.entities().size()))
{
    for (const Entity& entity : m_model.entities())
        m_factories.push_back(std::move(factories[entity.name]));
}

Coordinator::~Coordinator() = default;

tl::expected<void, Error> Coordinator::addStore(const QString& file, std::chrono::milliseconds patience)
{
    const auto fail = [this](const QString& why) {
        const std::lock_guard lock(m_mutex);
        m_failure = Error{why};
        return tl::unexpected(*m_failure);
    };
    if (file.isEmpty())
        return fail(u"there is no folder for it"_s);

    QFile placeholder(file);
    if (!placeholder.exists() && !placeholder.open(QIODevice::NewOnly | QIODevice::WriteOnly, OfOwner))
        return fail(placeholder.errorString());
    placeholder.close();

    try {
        const auto accept = [&, hadLog = hasLog(file)](SQLite::Database& database) {
            keepLog(database, hadLog);
            refuseForeign(database, m_model);
            keepLog(database, false);
            // Before anything is written. Never adds a permission.
            for (const auto& name : {file, file + "-wal"_L1, file + "-shm"_L1})
                QFile::setPermissions(name, QFile::permissions(name) & OfOwner);
        };
        auto connection = std::make_unique<Connection>(file.toStdString(), patience, accept);
        prepare(connection->database());
        m_file = file;
        m_patience = patience;
        giveBack(std::move(connection));
    } catch (const std::exception& failure) {
        return fail(QString::fromUtf8(failure.what()));
    }
    return {};
}

tl::expected<void, Error> Coordinator::examine(const QString& file) const
{
    constexpr auto patience = std::chrono::milliseconds(500);
    try {
        // Not a Connection: that would create the log.
        SQLite::Database database(file.toStdString(), SQLite::OPEN_READWRITE | SQLite::OPEN_NOMUTEX,
                                  static_cast<int>(patience.count()));
        keepLog(database, hasLog(file));
        refuseForeign(database, m_model);
        const SQLite::Transaction writing(database, SQLite::TransactionBehavior::IMMEDIATE);
        if (const std::string found = database.execAndGet("PRAGMA quick_check(1)").getString(); found != "ok")
            return tl::unexpected(Error{u"it is damaged: "_s + QString::fromStdString(found).simplified()});
    } catch (const std::exception& failure) {
        return tl::unexpected(Error{QString::fromUtf8(failure.what())});
    }
    return {};
}

/// Creates or completes the tables, and learns which rows are taken. All or nothing.
void Coordinator::prepare(SQLite::Database& database)
{
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    const int version = database.execAndGet("PRAGMA user_version").getInt();
    for (const Entity& entity : m_model.entities()) {
        addTable(database, entity);
        addMissingColumns(database, entity);
        addIndexes(database, entity);
        if (version == 1) // days were moments; all is fetched again
            database.exec("DELETE FROM " + quotedName(entity.name));
    }
    // Rows are numbered here, never by SQLite; a number stays taken as long as anything refers to it.
    const auto takeUpTo = [&](int index, const std::string& column, const Entity& entity) {
        auto& last = m_lastRow[static_cast<std::size_t>(index)];
        const std::int64_t largest =
            database.execAndGet("SELECT max(t." + quotedName(column) + ") FROM " + quotedName(entity.name) + " t")
                .getInt64();
        if (last < largest) // never so in memory, which is prepared while other threads count on
            last = largest;
    };
    for (const Entity& entity : m_model.entities()) {
        takeUpTo(entity.index, "pk", entity);
        for (int i = 0; i < entity.toOneCount; ++i) {
            const Relationship& relationship = entity.relationships[static_cast<std::size_t>(i)];
            takeUpTo(relationship.destination, relationship.name, entity);
        }
    }
    if (version != SchemaVersion)
        database.exec("PRAGMA user_version=" + std::to_string(SchemaVersion));
    transaction.commit();
}

std::optional<Error> Coordinator::failure() const
{
    const std::lock_guard lock(m_mutex);
    return m_failure;
}

std::unique_ptr<Object> Coordinator::instantiate(const Entity& entity) const
{
    const ObjectFactory& factory = m_factories[static_cast<std::size_t>(entity.index)];
    Q_ASSERT_X(factory, "store", "no class was given for the entity");
    return factory();
}

std::int64_t Coordinator::nextRow(int entity)
{
    return ++m_lastRow[static_cast<std::size_t>(entity)];
}

std::unique_ptr<Connection> Coordinator::takeConnection()
{
    if (!m_isInMemory && m_file.isEmpty()) {
        const std::unique_lock writers(m_writers);
        if (!m_isInMemory)
            makeMemory(nullptr);
    }
    {
        const std::lock_guard lock(m_mutex);
        if (!m_idle.empty()) {
            auto connection = std::move(m_idle.back());
            m_idle.pop_back();
            return connection;
        }
    }
    if (!m_isInMemory) {
        try {
            return std::make_unique<Connection>(m_file.toStdString(), m_patience);
        } catch (const SQLite::Exception& failure) {
            if (!leaveFile(nullptr, failure))
                throw;
        }
    }
    const std::lock_guard lock(m_mutex);
    return Connection::inMemory(m_memoryName);
}

bool Coordinator::hasLeft(const Connection& connection) const
{
    return m_isInMemory && !connection.isInMemory();
}

bool Coordinator::leaveFile(Connection* connection, const SQLite::Exception& failure)
{
    if (connection && connection->isInMemory())
        return false;
    {
        const std::unique_lock writers(m_writers);
        if (m_isInMemory)
            return true; // another thread was first
        if (!isFinal(failure.getErrorCode()))
            return false;
        makeMemory(connection);
        const std::lock_guard lock(m_mutex);
        m_failure = Error{QString::fromUtf8(failure.what())};
    }
    if (m_hasLost && m_didLose)
        m_didLose();
    return true;
}

void Coordinator::makeMemory(Connection* salvage)
{
    static std::atomic<int> count = 0;
    const std::string name = "quillon" + std::to_string(++count);
    auto memory = Connection::inMemory(name);
    prepare(memory->database());
    m_hasLost = !m_file.isEmpty() && !(salvage && copyRows(salvage->database(), memory->database(), m_model));
    const std::lock_guard lock(m_mutex);
    m_idle.clear();
    m_memory = std::move(memory);
    m_memoryName = name;
    m_isInMemory = true;
}

std::shared_lock<std::shared_mutex> Coordinator::beginWriting(const Connection& connection)
{
    std::shared_lock lock(m_writers);
    if (hasLeft(connection))
        throw SQLite::Exception("the file was left", SQLITE_READONLY);
    return lock;
}

void Coordinator::releaseMemory()
{
    const std::lock_guard lock(m_mutex);
    for (const auto& connection : m_idle)
        connection->releaseMemory();
}

void Coordinator::giveBack(std::unique_ptr<Connection> connection)
{
    const std::lock_guard lock(m_mutex);
    if (!hasLeft(*connection))
        m_idle.push_back(std::move(connection));
}

} // namespace store
