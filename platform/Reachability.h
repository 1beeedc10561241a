#pragma once

#include <QString>

#include <functional>
#include <memory>

namespace platform {

/// Whether the network leads to a host. Main thread only.
class Reachability
{
public:
    /// Goes on for as long as this exists, and no call comes afterwards. May be destroyed within a call.
    class Watch
    {
    public:
        virtual ~Watch() = default;
    };

    virtual ~Reachability() = default;

    /// Starts to watch; `changed` is called on the main thread whenever the answer differs from the last one, first
    /// at once, before this returns, with the present state. Null, and no call, when it cannot be measured. A loopback
    /// name always counts as reachable.
    [[nodiscard]] virtual std::unique_ptr<Watch> watch(const QString& host,
                                                       std::function<void(bool reachable)> changed) = 0;
};

} // namespace platform
