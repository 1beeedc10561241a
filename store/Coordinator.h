#pragma once

#include "store/Context.h"
#include "store/Model.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace store {

/// Makes an entity's objects: the class of the same name.
using ObjectFactory = std::function<std::unique_ptr<Object>()>;

/// Owns the model and the SQLite file that contexts work on. May be shared by contexts of several threads.
class Coordinator
{
public:
    /// `factories` by entity name; an entity without one cannot be instantiated.
    Coordinator(Model model, std::unordered_map<std::string, ObjectFactory> factories);
    ~Coordinator();

    const Model& model() const { return m_model; }

    /// Opens or creates the file (mode 0600, WAL). Tables and columns that the model has and the file has not are
    /// added, and what is in it stays. Once, before contexts are made; without it, or after an error, there is no
    /// store and contexts work in memory.
    tl::expected<void, Error> addStore(const QString& file);
    bool hasStore() const { return m_hasStore; }

    /// Gives up what connections that no context uses have cached: some megabytes after a large save. Any thread.
    void releaseMemory();

private:
    friend class Context;

    std::unique_ptr<Object> instantiate(const Entity& entity) const;
    std::int64_t nextRow(int entity);
    std::unique_ptr<Connection> takeConnection();
    void giveBack(std::unique_ptr<Connection> connection);

    Model m_model;
    std::vector<ObjectFactory> m_factories;
    QString m_file;
    std::atomic<bool> m_hasStore = false;
    std::unique_ptr<std::atomic<std::int64_t>[]> m_lastRow;
    std::mutex m_mutex;
    std::vector<std::unique_ptr<Connection>> m_idle;
};

} // namespace store
