#pragma once

#include "../Reachability.h"

#include <memory>

namespace platform {

/// GIO's network monitor (NetworkManager where it runs, the kernel's routes elsewhere): a host counts as reachable
/// while there is full connectivity. One watch at a time; a new one replaces it.
class NetworkMonitorReachability final : public Reachability
{
public:
    NetworkMonitorReachability();
    ~NetworkMonitorReachability() override;

    /// The monitor speaks through GLib's main loop, which Qt may have been told not to use.
    static bool available();

    bool watch(const QString& host, std::function<void(bool)> changed) override;

private:
    class Watch;
    std::unique_ptr<Watch> m_watch;
};

} // namespace platform
