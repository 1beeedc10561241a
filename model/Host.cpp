#include "Host.h"

#include "platform/Run.h"

#include <atomic>

namespace model {

namespace {

struct HostSlot
{
    std::atomic<Host*> host = nullptr;
};

} // namespace

Host* Host::current()
{
    return platform::Run::current().shared<HostSlot>().host;
}

void Host::set(Host* host)
{
    platform::Run::current().shared<HostSlot>().host = host;
}

store::Context* Host::currentContext()
{
    Host* host = current();
    return host ? host->mainContext() : nullptr;
}

} // namespace model
