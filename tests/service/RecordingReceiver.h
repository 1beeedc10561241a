#pragma once

#include "service/OutcomeReceiver.h"

#include <QStringList>

#include <functional>

namespace store {
class Context;
}

namespace support {

/// Notes every outcome by its name and what came with it: "gotQuillonCompanyCacheVersion 7",
/// "toggleTimerDidFailWithError QuillonForMac 500 Not now.".
class RecordingReceiver final : public service::OutcomeReceiver
{
public:
    /// Merges are made in this context, too; null: they are only noted.
    explicit RecordingReceiver(store::Context* mainContext = nullptr) : m_mainContext(mainContext) {}

    /// All but `mergeRequired` and `allRequestsProcessed`, which many requests bring along.
    QStringList calls() const;
    QStringList everyCall() const { return m_calls; }
    void forgetCalls() { m_calls.clear(); }

    using Failure = std::optional<service::Error>;

    /// Called within each outcome.
    std::function<void(const QString& call)> whenCalled;

    void authenticationSucceeded() override { note("authenticationSucceeded"); }
    void authenticationFailed() override { note("authenticationFailed"); }
    void gotQuillonCompanyCacheVersion(qint64 version) override;
    void gotQuillonCompany(const QString& subdomain) override;
    void mergeRequired(std::shared_ptr<const store::ChangeSet> changes) override;
    void allRequestsProcessed() override { note("allRequestsProcessed"); }
    void requestDailyTimesheetDidSucceed() override { note("requestDailyTimesheetDidSucceed"); }
    void requestDailyTimesheetDidFailWithError(const Failure& why) override
    {
        note("requestDailyTimesheetDidFailWithError", why);
    }
    void requestUserDidSucceed() override { note("requestUserDidSucceed"); }
    void startNewTimerDidSucceed() override { note("startNewTimerDidSucceed"); }
    void startNewTimerDidFailWithError(const Failure& why) override { note("startNewTimerDidFailWithError", why); }
    void toggleTimerDidSucceed() override { note("toggleTimerDidSucceed"); }
    void toggleTimerDidFailWithError(const Failure& why) override { note("toggleTimerDidFailWithError", why); }
    void updateTimerDidSucceed() override { note("updateTimerDidSucceed"); }
    void updateTimerDidFailWithError(const Failure& why) override { note("updateTimerDidFailWithError", why); }
    void deleteTimerDidSucceed() override { note("deleteTimerDidSucceed"); }
    void deleteTimerDidFailWithError(const Failure& why) override { note("deleteTimerDidFailWithError", why); }
    void correctIdleTimerDidSucceed() override { note("correctIdleTimerDidSucceed"); }
    void correctIdleTimerDidFailWithError(const Failure& why) override
    {
        note("correctIdleTimerDidFailWithError", why);
    }

private:
    void note(const char* name);
    void note(const char* name, const Failure& why);
    void noteCall(const QString& call);

    store::Context* m_mainContext;
    QStringList m_calls;
};

} // namespace support
