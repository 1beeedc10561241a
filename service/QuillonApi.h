#pragma once

#include "service/OutcomeReceiver.h"

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
#include <thread>
#include <vector>

namespace model {
class Company;
class DayEntry;
} // namespace model

namespace platform {
class Run;
class TimeSource;
} // namespace platform

namespace settings {
class QuillonPreferences;
}

namespace service {

class QuillonNetworkOperation;

/// The one object through which the program talks to the service.
///
/// A request method queues one operation and returns at once. Operations run one at a time, in the order queued, on a
/// worker thread; at most 36 start in any 15 seconds. Outcomes are calls on the delegate, or the receiver named, on the
/// main thread. Every request tells `authenticationSucceeded` or `authenticationFailed` when it was answered, and most
/// `gotQuillonCompanyCacheVersion`. Main thread only, unless a method says otherwise.
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

    /// The account in the main context, made when it is not there. Null without a main context.
    model::Company* company();

    /// For who sent a request and must know how that very one ended, by whatever outcome or none. Called once, before
    /// the outcomes of its kind and with no success after a failure; never when the facade stops. What it needs may be
    /// gone by then.
    using Ended = std::function<void(bool succeeded)>;

    settings::QuillonPreferences& userCredentials() const { return m_userCredentials; }

    /// The account. Outcome: gotQuillonCompany.
    void requestCompany();
    /// Outcome: gotQuillonCompanyCacheVersion, once, if the service answers with well-formed XML.
    void requestCompanyCacheVersion();
    /// The day sheet of `date`: in full, with the catalog, when `andRefresh`, else slim.
    /// Outcomes: requestDailyTimesheetDidSucceed, requestDailyTimesheetDidFailWithError.
    void requestDailyTimesheetForDate(QDate date, bool andRefresh = false);
    /// Outcome: requestUserDidSucceed.
    void requestUser(const QString& userId);
    /// Outcomes, here and below: the method's name with DidSucceed and DidFailWithError.
    void startNewTimer(model::DayEntry& entry, Ended ended = {});
    void startNewTimer(model::DayEntry& entry, OutcomeReceiver* andNotify);
    /// Starts or stops the entry's timer, then requests the slim sheet of its day: other entries may have been stopped.
    void toggleTimer(const model::DayEntry& entry, Ended ended = {});
    void updateTimer(model::DayEntry& entry, Ended ended = {});
    void deleteTimer(const model::DayEntry& entry);
    /// Takes the idle time (seconds) off the entry, which stops, here at once and then on the service, unless the entry
    /// was changed there after `andUpdatedAt`.
    void correctIdleTimer(model::DayEntry& entry, double withIdleTime, const QDateTime& andUpdatedAt);
    /// Tries the saved credentials, whichever are in use. Outcomes: authenticationSucceeded or authenticationFailed, of
    /// the receiver given.
    void authenticateNewCredentialsAndNotify(OutcomeReceiver* delegate);

    /// Queues an operation that is set up. The password is looked up before the first one runs, but not within this
    /// call.
    void addOperation(std::unique_ptr<QuillonNetworkOperation> operation);
    /// Those that have not completed.
    int operationCount() const { return m_operationCount; }

    /// Ends the operation under way within a moment and drops the others; no outcome is told. What is requested later
    /// is dropped too. Before what operations work on goes away.
    void stop();

    // What operations need.

    /// To be held for the following three, and while an operation sleeps as long as they say. Any thread.
    std::mutex& requestHistoryMutex() { return m_requestHistoryMutex; }
    void trimRequestHistory();
    /// Time until the next request may start, if not at once.
    std::optional<std::chrono::milliseconds> currentThrottleWait();
    void newRequestStarted();

    /// An operation has ended. Outcome: allRequestsProcessed, when it was the last.
    void requestCompleted();
    /// Has the changes merged on the main thread: by the delegate or, without one, by the program's host. Any thread.
    void mergeChanges(std::shared_ptr<const store::ChangeSet> changes);
    /// Any thread.
    platform::TimeSource& time() const { return m_time; }
    platform::Run& run() const { return m_run; }
    const QByteArray& userAgent() const { return m_userAgent; }

private:
    void add(std::unique_ptr<QuillonNetworkOperation> operation, OutcomeReceiver* delegate);
    void startNewTimer(model::DayEntry& entry, OutcomeReceiver* andNotify, Ended ended);
    void release();
    void work(const std::stop_token& stop);

    platform::Run& m_run;
    platform::TimeSource& m_time;
    settings::QuillonPreferences& m_userCredentials;
    const QByteArray m_userAgent;
    ReceiverHandle m_delegate;
    store::Ref<model::Company> m_company;
    int m_operationCount = 0;
    bool m_stopped = false;
    std::vector<std::unique_ptr<QuillonNetworkOperation>> m_held; ///< wait for the password

    std::mutex m_requestHistoryMutex;
    std::deque<std::chrono::system_clock::time_point> m_requestHistory; ///< starts, the oldest first

    std::mutex m_queueMutex; ///< guards the queue
    std::condition_variable_any m_queued;
    std::deque<std::unique_ptr<QuillonNetworkOperation>> m_queue;
    std::jthread m_worker; ///< last: ends before what it uses
};

} // namespace service
