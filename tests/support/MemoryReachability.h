#pragma once

#include "platform/Reachability.h"

#include <utility>

namespace support {

/// A network that comes and goes when told.
class MemoryReachability final : public platform::Reachability
{
public:
    std::unique_ptr<Watch> watch(const QString& watched, std::function<void(bool)> changed) override
    {
        host = watched;
        if (!measurable)
            return nullptr;
        auto watch = std::make_unique<Listener>();
        m_changed = watch->changed = std::make_shared<std::function<void(bool)>>(std::move(changed));
        (*watch->changed)(m_reachable);
        return watch;
    }

    /// Tells who watches, the last that began, when this is news.
    void setReachable(bool reachable)
    {
        if (const auto changed = m_changed.lock(); std::exchange(m_reachable, reachable) != reachable && changed)
            (*changed)(reachable);
    }

    QString host;
    bool measurable = true;

private:
    struct Listener final : Watch
    {
        std::shared_ptr<std::function<void(bool)>> changed;
    };

    std::weak_ptr<std::function<void(bool)>> m_changed;
    bool m_reachable = true;
};

} // namespace support
