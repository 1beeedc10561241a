#include "store/Coordinator.h"

#include "store/Connection.h"

#include <QFile>

#include <algorithm>
#include <set>

namespace store {

using namespace Qt::StringLiterals;

namespace {

// Raised when the tables change in a way that adding what is missing cannot express.
constexpr int SchemaVersion = 1;

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

void addMissingColumns(SQLite::Database& database, const Entity& entity)
{
    const std::set<std::string> present = columnsOf(database, entity);
    const auto add = [&](const std::string& name, const std::string& type) {
        if (!present.contains(name))
            database.exec("ALTER TABLE " + quotedName(entity.name) + " ADD COLUMN " + quotedName(name) + ' ' + type);
    };
    for (const Attribute& attribute : entity.attributes)
        add(attribute.name, columnType(attribute.type));
    for (int i = 0; i < entity.toOneCount; ++i)
        add(entity.relationships[static_cast<std::size_t>(i)].name, "INTEGER");
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

void prepareSchema(SQLite::Database& database, const Model& model)
{
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    const int version = database.execAndGet("PRAGMA user_version").getInt();
    if (version > SchemaVersion)
        throw SQLite::Exception("made by a newer version of the program");
    for (const Entity& entity : model.entities()) {
        database.exec("CREATE TABLE IF NOT EXISTS " + quotedName(entity.name) + " (pk INTEGER PRIMARY KEY)");
        addMissingColumns(database, entity);
        addIndexes(database, entity);
    }
    if (version != SchemaVersion)
        database.exec("PRAGMA user_version=" + std::to_string(SchemaVersion));
    transaction.commit();
}

} // namespace

Coordinator::Coordinator(Model model, std::unordered_map<std::string, ObjectFactory> factories)
    : m_model(std::move(model)), m_lastRow(std::make_unique<std::atomic<std::int64_t>[]>(m_model.entities().size()))
{
    for (const Entity& entity : m_model.entities())
        m_factories.push_back(std::move(factories[entity.name]));
}

Coordinator::~Coordinator() = default;

tl::expected<void, Error> Coordinator::addStore(const QString& file)
{
    if (file.isEmpty())
        return tl::unexpected(Error{u"there is no folder for it"_s});

    // SQLite gives its log files the mode of the database, so that mode must be right before the first of them.
    QFile placeholder(file);
    if (!placeholder.exists() &&
        !placeholder.open(QIODevice::NewOnly | QIODevice::WriteOnly, QFileDevice::ReadOwner | QFileDevice::WriteOwner))
        return tl::unexpected(Error{placeholder.errorString()});
    placeholder.close();
    placeholder.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);

    try {
        auto connection = std::make_unique<Connection>(file.toStdString());
        prepareSchema(connection->database(), m_model);
        // Rows are numbered here, never by SQLite; a number stays taken as long as anything points at it.
        for (const Entity& entity : m_model.entities()) {
            const auto atLeast = [this](int index, const SQLite::Column& largest) {
                auto& last = m_lastRow[static_cast<std::size_t>(index)];
                last = std::max<std::int64_t>(last, largest.getInt64());
            };
            SQLite::Statement rows(connection->database(), "SELECT max(pk) FROM " + quotedName(entity.name));
            rows.executeStep();
            atLeast(entity.index, rows.getColumn(0));
            for (int i = 0; i < entity.toOneCount; ++i) {
                const Relationship& relationship = entity.relationships[static_cast<std::size_t>(i)];
                SQLite::Statement targets(connection->database(), "SELECT max(" + quotedName(relationship.name) +
                                                                      ") FROM " + quotedName(entity.name));
                targets.executeStep();
                atLeast(relationship.destination, targets.getColumn(0));
            }
        }
        m_file = file;
        giveBack(std::move(connection));
    } catch (const std::exception& failure) {
        return tl::unexpected(Error{QString::fromUtf8(failure.what())});
    }
    m_hasStore = true;
    return {};
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
    {
        const std::lock_guard lock(m_mutex);
        if (!m_idle.empty()) {
            auto connection = std::move(m_idle.back());
            m_idle.pop_back();
            return connection;
        }
    }
    return std::make_unique<Connection>(m_file.toStdString());
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
    m_idle.push_back(std::move(connection));
}

} // namespace store
