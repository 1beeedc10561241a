#pragma once

#include <functional>
#include <memory>

namespace platform {

/// Keeps a second start of the program from running beside the first: it asks the first to come forward instead.
///
/// The first owns `com.wrenfold.quillon` on the session bus and answers there as `org.freedesktop.Application` (Desktop
/// Entry Specification, D-Bus activation). Without a bus it holds a lock and a socket in the runtime folder. Main
/// thread only; destroying the object makes way for the next.
class SingleInstance
{
public:
    SingleInstance();
    ~SingleInstance();

    /// True: this is the first, and `activated` is called on the main thread whenever another start, the desktop or a
    /// person at the bus asks for the program. False: another one runs and was told; leave with success. Takes a few
    /// milliseconds, and half a second when the other one hangs.
    bool claim(std::function<void()> activated);

private:
    class Claim;
    class BusClaim;
    class SocketClaim;
    std::unique_ptr<Claim> m_claim;
};

} // namespace platform
