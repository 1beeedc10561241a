#pragma once

#include "../Reachability.h"

namespace platform {

/// GIO's network monitor (NetworkManager where it runs, the kernel's routes elsewhere): a host counts as reachable
/// while there is full connectivity.
class NetworkMonitorReachability final : public Reachability
{
public:
    /// The monitor needs GLib's main loop, which Qt may be configured not to use.
    static bool available();

    std::unique_ptr<Watch> watch(const QString& host, std::function<void(bool)> changed) override;
};

} // namespace platform
