#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace platform
{

/// Whether the network leads to a host. Main thread only.
class Reachability
{
public:
    virtual ~Reachability() = default;

    /// Starts to watch; `changed` is called on the main thread whenever the answer differs from the last one, first
    /// at once with the present state. False, and no call, when it cannot be measured. A loopback name always counts
    /// as reachable.
    virtual bool watch(const QString& host, std::function<void(bool reachable)> changed) = 0;
};

} // namespace platform
