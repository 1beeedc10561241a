#pragma once

#include "platform/LoginItems.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace support {

/// A list of login items in memory.
class MemoryLoginItems final : public platform::LoginItems
{
public:
    bool insert(const QString& program, const QStringList& /*arguments*/) override
    {
        const std::lock_guard lock(m_mutex);
        if (opens && !m_programs.contains(program))
            m_programs << program;
        return opens;
    }
    std::optional<std::vector<Item>> snapshot() const override
    {
        const std::lock_guard lock(m_mutex);
        if (!opens)
            return std::nullopt;
        std::vector<Item> items;
        for (const QString& program : m_programs)
            items.push_back({program});
        return items;
    }
    std::optional<QString> resolve(const Item& item) const override
    {
        const std::lock_guard lock(m_mutex);
        return m_programs.contains(item.name) ? std::optional(item.name) : std::nullopt;
    }
    bool remove(const Item& item) override
    {
        const std::lock_guard lock(m_mutex);
        return m_programs.removeOne(item.name);
    }

    /// The executables that are listed, in the order in which they came.
    QStringList programs() const
    {
        const std::lock_guard lock(m_mutex);
        return m_programs;
    }

    /// Whether the list can be opened. Set it before anybody uses the list.
    bool opens = true;

private:
    mutable std::mutex m_mutex;
    QStringList m_programs;
};

} // namespace support
