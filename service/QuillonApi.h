#pragma once

#include "service/QuillonNetworkOperation.h"
#include "service/RequestThrottle.h"

#include "store/Object.h"

#include <QByteArray>
#include <QDate>
#include <QDateTime>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <vector>

namespace model {
class Company;
class DayEntry;
} // namespace model

namespace service {

/// The one object through which the program talks to the service.
///
/// A request method queues one operation and returns at once. Operations run one at a time, in the order queued, on a
/// worker thread; at most 36 start in any 15 seconds. Outcomes are calls on the delegate, or the receiver named, on the
/// main thread. Every request reports `authenticationSucceeded` or `authenticationFailed` when it was answered, and
/// most `gotQuillonCompanyCacheVersion`. Main thread only, unless a method says otherwise.
class QuillonApi final
{
public:
    QuillonApi();
    ~QuillonApi();
    QuillonApi(const QuillonApi&) = delete;
    QuillonApi& operator=(const QuillonApi&) = delete;

    /// The one of the current run.
    static QuillonApi& sharedApi();

    /// Receiver of every outcome that names no other. Not owned; may be destroyed at any time.
    void setDelegate(OutcomeReceiver* delegate) { m_delegate = ReceiverHandle(delegate); }
    OutcomeReceiver* delegate() const { return m_delegate.get(); }

    /// The account in the main context, created when missing. Null without a main context.
    model::Company* company();

    /// For a caller that must know how this very request ended, whatever its outcome, if any. Called once, before the
    /// outcomes of its kind and without success after a failure; never when the facade stops. Must not rely on objects
    /// that may be gone by then.
    using Ended = std::function<void(const Result&)>;

    /// Who hears of a failure besides `Ended`.
    enum class Failure
    {
        TellDelegate, ///< which shows an alert
        TellCaller,   ///< nobody
    };

    settings::QuillonPreferences& userCredentials() const { return m_userCredentials; }

    /// There will be a request soon: the HTTP library and the store are made ready on other threads.
    void prepare();
    /// The account. Outcome: gotQuillonCompany.
    void requestCompany();
    /// Outcome: gotQuillonCompanyCacheVersion, once, if the service answers with well-formed XML.
    void requestCompanyCacheVersion();
    /// The day sheet of `date`: in full, with the catalog, when `andRefresh`, else slim.
    /// Outcomes: requestDailyTimesheetDidSucceed, requestDailyTimesheetDidFailWithError.
    void requestDailyTimesheetForDate(QDate date, bool andRefresh = false, Ended ended = {});
    /// Outcome: requestUserDidSucceed.
    void requestUser(const QString& userId);
    /// Outcomes, here and below: the method's name with DidSucceed and DidFailWithError.
    void startNewTimer(model::DayEntry& entry, Ended ended = {}, Failure failure = Failure::TellDelegate);
    void startNewTimer(model::DayEntry& entry, OutcomeReceiver* andNotify);
    /// Starts or stops the entry's timer, then requests the slim sheet of its day: other entries may have been stopped.
    void toggleTimer(const model::DayEntry& entry, Ended ended = {}, Failure failure = Failure::TellDelegate);
    void updateTimer(model::DayEntry& entry, Ended ended = {}, Failure failure = Failure::TellDelegate);
    void deleteTimer(const model::DayEntry& entry);
    /// Takes the idle time (seconds) off the entry and stops it, locally at once and then on the service, unless the
    /// entry was changed there after `andUpdatedAt`.
    void correctIdleTimer(model::DayEntry& entry, double withIdleTime, const QDateTime& andUpdatedAt);
    /// Tries the saved credentials, whichever are in use. Outcomes: authenticationSucceeded or authenticationFailed, on
    /// the given receiver.
    void authenticateNewCredentialsAndNotify(OutcomeReceiver* delegate, Ended ended = {});

    /// Queues an operation that is set up. The password is looked up before the first one runs, but not within this
    /// call.
    void addOperation(std::unique_ptr<QuillonNetworkOperation> operation);
    /// Those that have not completed.
    int operationCount() const { return m_operationCount; }

    /// Ends the operation under way within a moment and drops the others; no outcome is reported. Later requests are
    /// dropped too. Call it before what operations work on is destroyed.
    void stop();

    // The throttle of all requests. Any thread.
    void trimRequestHistory() { m_throttle.trimRequestHistory(); }
    std::optional<std::chrono::milliseconds> currentThrottleWait() { return m_throttle.currentThrottleWait(); }
    void newRequestStarted() { m_throttle.newRequestStarted(); }
    /// How long the request whose turn it is still waits for the throttle; zero: none waits. Never blocks.
    std::chrono::milliseconds throttleWaitInProgress() const { return m_throttle.waitInProgress(); }

    /// What operations of this facade are made with.
    const OperationServices& services() const { return m_services; }

    /// An operation has ended. Outcome: allRequestsProcessed, when it was the last.
    void requestCompleted();
    /// Has the changes merged on the main thread: by the delegate or, without one, by the program's host. Any thread.
    void mergeChanges(std::shared_ptr<const store::ChangeSet> changes);

private:
    /// Makes an operation for one day entry, or several, at that path.
    std::unique_ptr<QuillonNetworkOperation> dayOperation(const QString& path,
                                                          const std::optional<QByteArray>& postData = {}) const;
    void add(std::unique_ptr<QuillonNetworkOperation> operation, OutcomeReceiver* receiver,
             SuccessSelector succeeded = nullptr, FailureSelector failed = nullptr, Ended ended = {});
    void startNewTimer(model::DayEntry& entry, OutcomeReceiver* andNotify, FailureSelector failed, Ended ended);
    void release();
    void startWorker();
    void work(const std::stop_token& stop);

    platform::Run& m_run;
    settings::QuillonPreferences& m_userCredentials;
    RequestThrottle m_throttle;
    HttpClient m_http; ///< of the worker thread
    std::stop_source m_stop;
    const OperationServices m_services;
    ReceiverHandle m_delegate;
    store::Ref<model::Company> m_company;
    int m_operationCount = 0;
    std::vector<std::unique_ptr<QuillonNetworkOperation>> m_held; ///< wait for the password

    std::mutex m_queueMutex; ///< guards the queue
    /// Of work, or of a stop. `condition_variable_any` holds a lock as it wakes the worker, which sleeps again for it.
    std::condition_variable m_queued;
    std::deque<std::unique_ptr<QuillonNetworkOperation>> m_queue;
    std::jthread m_worker; ///< last: ends before what it uses
};

} // namespace service
