#pragma once

#include "platform/Reachability.h"

#include <utility>

namespace support {

/// A network that comes and goes when told.
class MemoryReachability final : public platform::Reachability
{
public:
    bool watch(const QString& watched, std::function<void(bool)> changed) override
    {
        host = watched;
        if (!measurable)
            return false;
        m_changed = std::move(changed);
        m_changed(m_reachable);
        return true;
    }

    /// Tells the watcher when this is news.
    void setReachable(bool reachable)
    {
        if (std::exchange(m_reachable, reachable) != reachable && m_changed)
            m_changed(reachable);
    }

    QString host;
    bool measurable = true;

private:
    std::function<void(bool)> m_changed;
    bool m_reachable = true;
};

} // namespace support
