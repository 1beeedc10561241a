#pragma once

#include "platform/SingleInstance.h"

#include <memory>

namespace app {

class StatusAdaptor;
class WrenfoldMenulet;

/// The program on the session bus: what the status item says, as properties with change signals, and the actions of
/// its menu. Described in docs/bus.md.
///
/// Costs nothing while nothing changes and nobody calls. Main thread only.
class SessionBus
{
public:
    using Done = platform::SingleInstance::Done;

    /// `menulet` has its menu and outlives this. `object` stands on the bus; null: there is none.
    SessionBus(WrenfoldMenulet& menulet, QObject* object);
    ~SessionBus();

    /// Does what the item of the status menu with that name does, where the menu would let a person choose it. `done`
    /// hears of it at once; of a toggle that was sent, when the service has answered.
    void perform(const QString& action, const Done& done) const;

private:
    WrenfoldMenulet& m_menulet;
    std::unique_ptr<StatusAdaptor> m_adaptor;
};

} // namespace app
