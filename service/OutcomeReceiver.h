#pragma once

#include "service/QuillonError.h"

#include <QString>

#include <memory>
#include <optional>

namespace store {
struct ChangeSet;
}

namespace service {

/// Receives the outcomes of requests. Every outcome does nothing unless overridden.
///
/// All calls come on the main thread, in the order of events: what a request saved is merged before its success is
/// reported. A receiver may be destroyed at any time; pending calls to it are dropped. Made and destroyed on the main
/// thread.
class OutcomeReceiver
{
public:
    OutcomeReceiver();
    virtual ~OutcomeReceiver();
    OutcomeReceiver(const OutcomeReceiver&) = delete;
    OutcomeReceiver& operator=(const OutcomeReceiver&) = delete;

    // Of every request that the service answered.
    virtual void authenticationSucceeded() {}
    virtual void authenticationFailed() {}
    virtual void gotQuillonCompanyCacheVersion(qint64 /*version*/) {}
    /// The account was looked up; it is stored by now.
    virtual void gotQuillonCompany(const QString& /*subdomain*/) {}
    /// To be merged into the main context.
    // NOLINTNEXTLINE(performance-unnecessary-value-param): receivers may keep it
    virtual void mergeRequired(std::shared_ptr<const store::ChangeSet> /*changes*/) {}
    /// A request has ended and no other is waiting.
    virtual void allRequestsProcessed() {}

    // Of one kind of request. A failure has no error when the service gave no explanation. After a failure that the
    // service answered, the success is reported as well.
    virtual void requestDailyTimesheetDidSucceed() {}
    virtual void requestDailyTimesheetDidFailWithError(const std::optional<Error>& /*error*/) {}
    virtual void requestUserDidSucceed() {}
    virtual void startNewTimerDidSucceed() {}
    virtual void startNewTimerDidFailWithError(const std::optional<Error>& /*error*/) {}
    virtual void toggleTimerDidSucceed() {}
    virtual void toggleTimerDidFailWithError(const std::optional<Error>& /*error*/) {}
    virtual void updateTimerDidSucceed() {}
    virtual void updateTimerDidFailWithError(const std::optional<Error>& /*error*/) {}
    virtual void deleteTimerDidSucceed() {}
    virtual void deleteTimerDidFailWithError(const std::optional<Error>& /*error*/) {}
    virtual void correctIdleTimerDidSucceed() {}
    virtual void correctIdleTimerDidFailWithError(const std::optional<Error>& /*error*/) {}

private:
    friend class ReceiverHandle;
    std::shared_ptr<OutcomeReceiver*> m_handle;
};

/// Names a receiver without keeping it. Copied on any thread, made and opened on the main thread only.
class ReceiverHandle
{
public:
    ReceiverHandle() = default;
    explicit ReceiverHandle(OutcomeReceiver* receiver)
    {
        if (receiver)
            m_handle = receiver->m_handle;
    }

    /// A receiver was named, alive or not. Any thread.
    bool isSet() const { return m_handle != nullptr; }
    /// Null when none was named or it is gone.
    OutcomeReceiver* get() const { return m_handle ? *m_handle : nullptr; }

private:
    std::shared_ptr<OutcomeReceiver*> m_handle;
};

/// The outcome that reports a success; null: there is none.
using SuccessSelector = void (OutcomeReceiver::*)();

/// The outcome that reports a failure; null: there is none.
using FailureSelector = void (OutcomeReceiver::*)(const std::optional<Error>&);

} // namespace service
