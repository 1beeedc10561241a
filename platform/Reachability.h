#pragma once

#include <QString>

#include <functional>
#include <memory>

namespace platform {

/// Whether the network reaches a host. Main thread only.
class Reachability
{
public:
    /// The watch lasts as long as this exists; no call comes afterwards. May be destroyed within a call.
    class Watch
    {
    public:
        virtual ~Watch() = default;
    };

    virtual ~Reachability() = default;

    /// Starts to watch; `changed` is called on the main thread whenever the answer changes, and once before this
    /// returns, with the present state. Null, and no call, when it cannot be measured. A loopback name always counts as
    /// reachable.
    [[nodiscard]] virtual std::unique_ptr<Watch> watch(const QString& host,
                                                       std::function<void(bool reachable)> changed) = 0;
};

} // namespace platform
