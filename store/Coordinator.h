#pragma once

#include "store/Context.h"
#include "store/Model.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <vector>

namespace SQLite {
class Database;
class Exception;
} // namespace SQLite

namespace store {

/// Makes an entity's objects: the class of the same name.
using ObjectFactory = std::function<std::unique_ptr<Object>()>;

/// Owns the model and the SQLite file that contexts work on. Contexts of several threads may share it.
///
/// Without a usable file contexts work on a store in memory, which all of them share and which ends with the
/// coordinator. A file that fails while in use is replaced by one, with everything still readable.
class Coordinator
{
public:
    /// `factories` by entity name; an entity without one cannot be instantiated.
    Coordinator(Model model, std::unordered_map<std::string, ObjectFactory> factories);
    ~Coordinator();

    const Model& model() const { return m_model; }

    /// Opens or creates the file (mode 0600, WAL). Tables and columns that the model has and the file lacks are added;
    /// its content stays. Waits for a file that another program keeps busy. Once, before contexts are made. After an
    /// error the file is unchanged: damaged, of another program, of a newer version, or not writable.
    tl::expected<void, Error> addStore(const QString& file,
                                       std::chrono::milliseconds patience = std::chrono::seconds(5));

    /// Whether `addStore` would open that file, which must exist, and all of it can be read. Changes nothing.
    tl::expected<void, Error> examine(const QString& file) const;

    /// Why contexts work in memory; nothing while they work on the file. Any thread.
    std::optional<Error> failure() const;

    /// Called when the file failed while in use and some of it may be lost: what no context has in memory must be
    /// imported again. On the thread that met the failure, within its call. Set before contexts are made.
    void setDidLose(std::function<void()> didLose) { m_didLose = std::move(didLose); }

    /// Frees what connections that no context uses have cached: some megabytes after a large save. Any thread.
    void releaseMemory();

private:
    friend class Context;

    std::unique_ptr<Object> instantiate(const Entity& entity) const;
    std::int64_t nextRow(int entity);
    void prepare(SQLite::Database& database);
    std::unique_ptr<Connection> takeConnection();
    void giveBack(std::unique_ptr<Connection> connection);

    /// Whether the connection is to the file although contexts work in memory by now.
    bool hasLeft(const Connection& connection) const;
    /// True when what failed on this connection must be repeated on another: contexts work in memory by now.
    bool leaveFile(Connection* connection, const SQLite::Exception& failure);
    void makeMemory(Connection* salvage);
    /// Held while a save is written, so that none goes to a file being abandoned. Throws when it has been.
    std::shared_lock<std::shared_mutex> beginWriting(const Connection& connection);

    Model m_model;
    std::vector<ObjectFactory> m_factories;
    QString m_file; ///< empty: none was usable
    std::chrono::milliseconds m_patience{};
    std::unique_ptr<std::atomic<std::int64_t>[]> m_lastRow;
    std::atomic<std::uint64_t> m_lastSave = 0;
    std::function<void()> m_didLose;

    std::shared_mutex m_writers;
    std::atomic<bool> m_isInMemory = false;
    std::atomic<bool> m_hasLost = false;
    mutable std::mutex m_mutex; ///< guards what follows
    std::vector<std::unique_ptr<Connection>> m_idle;
    std::unique_ptr<Connection> m_memory; ///< keeps it
    std::string m_memoryName;
    std::optional<Error> m_failure;
};

} // namespace store
