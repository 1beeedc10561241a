#include "QuillonApi.h"

#include "CurlLibrary.h"
#include "QuillonCacheVersionNetworkOperation.h"
#include "QuillonCompanyNetworkOperation.h"
#include "QuillonStopIdleTimerOperation.h"

#include "model/Company.h"
#include "model/DateFormatting.h"
#include "model/DayEntry.h"
#include "model/Host.h"
#include "model/User.h"
#include "platform/InfoDictionary.h"
#include "platform/Memory.h"
#include "platform/PostTogether.h"
#include "platform/Run.h"
#include "platform/TimeSource.h"
#include "settings/QuillonPreferences.h"
#include "store/Context.h"
#include "store/Coordinator.h"

#include <algorithm>
#include <utility>

namespace service {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// Bytes of a reply with a catalog in it; that of a day is a tenth of it.
constexpr qsizetype LargeReply = qsizetype{256} * 1024;

/// The C library holds its locks while it gives memory back: the main thread, which takes the catalog over and shows
/// it at that moment, would wait ten milliseconds and more.
constexpr auto CalmBeforeTrim = 500ms;

/// Importing a catalog temporarily takes twenty times the reply's size, in so many pieces that the C library would keep
/// it all for this thread, which never needs it again.
void giveMemoryBack()
{
    if (model::Host* host = model::Host::current()) {
        if (const auto coordinator = host->coordinator())
            coordinator->releaseMemory();
    }
    // Its strings lie between what the import made and dropped, one in each page.
    model::DateFormatting::instance().releaseMemory();
    platform::giveMemoryBack();
}

FailureSelector toldTo(QuillonApi::Failure whom, FailureSelector delegates)
{
    return whom == QuillonApi::Failure::TellDelegate ? delegates : nullptr;
}

} // namespace

QuillonApi::QuillonApi()
    : m_run(platform::Run::current()), m_userCredentials(settings::QuillonPreferences::sharedPreferences()),
      m_throttle(m_run.environment().time()),
      m_services{.run = m_run,
                 .time = m_run.environment().time(),
                 .throttle = m_throttle,
                 .http = m_http,
                 .stop = m_stop.get_token(),
                 .userAgent = "QuillonX " + m_run.environment().info().string("CFBundleVersion"_L1).toUtf8(),
                 .mergeChanges = [this](auto changes) { mergeChanges(std::move(changes)); },
                 .requestCompleted = [this] { requestCompleted(); }}
{
}

QuillonApi::~QuillonApi()
{
    stop();
}

QuillonApi& QuillonApi::sharedApi()
{
    return platform::Run::current().shared<QuillonApi>();
}

model::Company* QuillonApi::company()
{
    if (!m_company)
        m_company = model::Company::findOrCreateCompany(m_userCredentials.credentials().url);
    return m_company.get();
}

void QuillonApi::prepare()
{
    startWorker();
}

void QuillonApi::requestCompany()
{
    add(std::make_unique<QuillonCompanyNetworkOperation>(u"/account/who_am_i"_s, &model::Company::parseXml,
                                                         m_userCredentials, m_services),
        delegate());
}

void QuillonApi::requestCompanyCacheVersion()
{
    add(std::make_unique<QuillonCacheVersionNetworkOperation>(u"/daily?slim=1"_s, nullptr, m_userCredentials,
                                                              m_services),
        delegate());
}

void QuillonApi::requestDailyTimesheetForDate(QDate date, bool andRefresh, Ended ended)
{
    const QString path =
        u"/daily/%1/%2%3"_s.arg(date.dayOfYear()).arg(date.year()).arg(andRefresh ? u""_s : u"?slim=1"_s);
    add(dayOperation(path), delegate(), &OutcomeReceiver::requestDailyTimesheetDidSucceed,
        &OutcomeReceiver::requestDailyTimesheetDidFailWithError, std::move(ended));
}

void QuillonApi::requestUser(const QString& userId)
{
    add(std::make_unique<QuillonNetworkOperation>("/people/"_L1 + userId, &model::User::parseXml, m_userCredentials,
                                                  m_services),
        delegate(), &OutcomeReceiver::requestUserDidSucceed);
}

void QuillonApi::startNewTimer(model::DayEntry& entry, Ended ended, Failure failure)
{
    startNewTimer(entry, delegate(), toldTo(failure, &OutcomeReceiver::startNewTimerDidFailWithError),
                  std::move(ended));
}

void QuillonApi::startNewTimer(model::DayEntry& entry, OutcomeReceiver* andNotify)
{
    startNewTimer(entry, andNotify, &OutcomeReceiver::startNewTimerDidFailWithError, {});
}

void QuillonApi::startNewTimer(model::DayEntry& entry, OutcomeReceiver* andNotify, FailureSelector failed, Ended ended)
{
    add(dayOperation(u"/daily/add"_s, entry.toXml()), andNotify, &OutcomeReceiver::startNewTimerDidSucceed, failed,
        std::move(ended));
}

void QuillonApi::toggleTimer(const model::DayEntry& entry, Ended ended, Failure failure)
{
    auto operation = dayOperation("/daily/timer/"_L1 + entry.idString());
    operation->setChangesSomething(true);
    add(std::move(operation), delegate(), &OutcomeReceiver::toggleTimerDidSucceed,
        toldTo(failure, &OutcomeReceiver::toggleTimerDidFailWithError), std::move(ended));
    requestDailyTimesheetForDate(entry.spentAt().toLocalTime().date());
}

void QuillonApi::updateTimer(model::DayEntry& entry, Ended ended, Failure failure)
{
    add(dayOperation("/daily/update/"_L1 + entry.idString(), entry.toXml()), delegate(),
        &OutcomeReceiver::updateTimerDidSucceed, toldTo(failure, &OutcomeReceiver::updateTimerDidFailWithError),
        std::move(ended));
}

void QuillonApi::deleteTimer(const model::DayEntry& entry)
{
    auto operation = dayOperation("/daily/delete/"_L1 + entry.idString());
    operation->setHttpMethod("DELETE"); // has no body, so it goes out as the GET that this address expects
    operation->setChangesSomething(true);
    add(std::move(operation), delegate(), &OutcomeReceiver::deleteTimerDidSucceed,
        &OutcomeReceiver::deleteTimerDidFailWithError);
}

void QuillonApi::correctIdleTimer(model::DayEntry& entry, double withIdleTime, const QDateTime& andUpdatedAt)
{
    entry.setHours(std::max(entry.hours().value_or(0) - withIdleTime / 60 / 60, 0.0));
    entry.setTimerStarted({});
    // At once: saved later, it would replace what the service has answered by then.
    model::QuillonObject::saveWithErrorReporting(entry.context());
    add(std::make_unique<QuillonStopIdleTimerOperation>(entry, andUpdatedAt, m_userCredentials, m_services), delegate(),
        &OutcomeReceiver::correctIdleTimerDidSucceed, &OutcomeReceiver::correctIdleTimerDidFailWithError);
}

void QuillonApi::authenticateNewCredentialsAndNotify(OutcomeReceiver* delegate, Ended ended)
{
    auto operation = std::make_unique<QuillonNetworkOperation>(u"/account/who_am_i"_s, &model::Company::parseXml,
                                                               m_userCredentials, m_services);
    operation->setTriesSavedAccount(true);
    add(std::move(operation), delegate, {}, {}, std::move(ended));
}

std::unique_ptr<QuillonNetworkOperation> QuillonApi::dayOperation(const QString& path,
                                                                  const std::optional<QByteArray>& postData) const
{
    return std::make_unique<QuillonNetworkOperation>(path, postData, &model::DayEntry::parseXml, m_userCredentials,
                                                     m_services);
}

void QuillonApi::add(std::unique_ptr<QuillonNetworkOperation> operation, OutcomeReceiver* receiver,
                     SuccessSelector succeeded, FailureSelector failed, Ended ended)
{
    operation->setNotificationDelegate(receiver);
    operation->setNotificationSelector(succeeded);
    operation->setErrorNotificationSelector(failed);
    operation->setEnded(std::move(ended));
    addOperation(std::move(operation));
}

void QuillonApi::addOperation(std::unique_ptr<QuillonNetworkOperation> operation)
{
    if (m_stop.stop_requested())
        return;
    ++m_operationCount;
    m_held.push_back(std::move(operation));
    if (m_userCredentials.isPasswordLoaded())
        release();
    else if (m_held.size() == 1)
        m_run.postToMain([this] { release(); });
}

void QuillonApi::release()
{
    if (m_stop.stop_requested())
        return;
    // The keyring answers on this thread only, and not always at once.
    if (!m_userCredentials.isPasswordLoaded())
        m_userCredentials.password();
    {
        const std::lock_guard lock(m_queueMutex);
        for (auto& operation : m_held) {
            operation->bindToAccount();
            m_queue.push_back(std::move(operation));
        }
    }
    m_held.clear();
    m_queued.notify_one();
    startWorker();
}

void QuillonApi::startWorker()
{
    if (!m_worker.joinable() && !m_stop.stop_requested())
        m_worker = std::jthread([this] { work(m_services.stop); });
}

void QuillonApi::work(const std::stop_token& stop)
{
    {
        const std::jthread loading([] { CurlLibrary::load(); }); // where it is missing, each request says so
        if (model::Host* host = model::Host::current())
            host->coordinator();
    }
    const auto isCalled = [this, &stop] { return !m_queue.empty() || stop.stop_requested(); };
    for (bool tookMuch = false;;) {
        std::unique_ptr<QuillonNetworkOperation> operation;
        {
            std::unique_lock lock(m_queueMutex);
            const auto isCalm = [&] { return !m_queued.wait_for(lock, CalmBeforeTrim, isCalled); };
            if (tookMuch && isCalm()) {
                m_run.postToMain([] {
                    if (store::Context* shown = model::Host::currentContext())
                        shown->releaseMemory();
                });
                if (isCalm()) {
                    tookMuch = false;
                    lock.unlock();
                    giveMemoryBack();
                    lock.lock();
                }
            }
            m_queued.wait(lock, isCalled);
            if (stop.stop_requested())
                return;
            operation = std::move(m_queue.front());
            m_queue.pop_front();
        }
        {
            const platform::PostTogether reports;
            operation->start();
        }
        tookMuch = tookMuch || operation->largestReply() > LargeReply;
    }
}

void QuillonApi::stop()
{
    m_stop.request_stop();
    {
        const std::lock_guard lock(m_queueMutex); // so that the worker is not just about to wait
    }
    m_queued.notify_one();
    m_held.clear();
    if (m_worker.joinable())
        m_worker.join();
    m_queue.clear();
    m_operationCount = 0;
}

void QuillonApi::requestCompleted()
{
    if (m_stop.stop_requested())
        return;
    if (m_operationCount > 0)
        --m_operationCount;
    if (m_operationCount > 0)
        return;
    if (OutcomeReceiver* receiver = delegate())
        receiver->allRequestsProcessed();
}

void QuillonApi::mergeChanges(std::shared_ptr<const store::ChangeSet> changes)
{
    m_run.postToMain([this, changes = std::move(changes)] {
        OutcomeReceiver* receiver = delegate();
        if (!receiver)
            receiver = dynamic_cast<OutcomeReceiver*>(model::Host::current());
        if (receiver)
            receiver->mergeRequired(changes);
    });
}

} // namespace service
