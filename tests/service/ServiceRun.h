#pragma once

#include "support/RecordingReceiver.h"
#include "support/ScriptedPeer.h"
#include "support/TestEnvironment.h"

#include "model/Host.h"
#include "service/QuillonApi.h"
#include "store/Context.h"

#include <QStringList>

#include <string>

namespace model {
class DayEntry;
}

namespace support {

/// A fresh program that is signed in to the account "acme" of a scripted peer: own time, settings, store and facade,
/// outcomes noted.
class ServiceRun final : public model::Host
{
    // Before everything that reads them.
    TestRun m_run;

public:
    ServiceRun();
    ~ServiceRun() override;

    store::Context* mainContext() override { return &context; }
    model::User* currentUser() override { return currentUserInContext(context); }
    model::User* currentUserInContext(store::Context& context) override;
    std::shared_ptr<store::Coordinator> coordinator() override { return m_coordinator; }

    /// Waits for the end of all requests; everything has been told then. False when that takes too long.
    bool finish();

    std::string bodyOfRequest(std::size_t index) const { return peer.requests().at(index).body; }
    std::string headerOfRequest(std::size_t index, const std::string& name) const
    {
        return peer.requests().at(index).header(name);
    }

    /// An entry of the account in the main context.
    model::DayEntry& entry(const QString& idString);

    TestEnvironment& environment;
    ManualTimeSource& time;
    ScriptedPeer peer;

private:
    std::shared_ptr<store::Coordinator> m_coordinator;

public:
    store::Context context;
    RecordingReceiver outcomes;
    service::QuillonApi& api;
};

} // namespace support
