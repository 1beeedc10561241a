// The refresh cycle and connectivity.

#include "app/FirstSteps.h"
#include "app/StatusMenu.h"
#include "app/WrenfoldMenulet.h"

#include "editing/NewTimerController.h"
#include "model/Company.h"
#include "model/DataModel.h"
#include "model/DateComparisons.h"
#include "model/DayEntry.h"
#include "model/User.h"
#include "platform/InfoDictionary.h"
#include "platform/Run.h"
#include "platform/StatusItem.h"
#include "service/QuillonApi.h"
#include "settings/QuillonPreferences.h"
#include "skin/QuillonStatusItemView.h"
#include "store/Context.h"

#include <algorithm>

namespace app {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto RefreshInterval = 30s;

QDate today()
{
    const auto now = platform::environment().time().now();
    return QDateTime::fromMSecsSinceEpoch(
               std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count())
        .date();
}

} // namespace

model::Company* WrenfoldMenulet::company() const
{
    return m_company.get();
}

void WrenfoldMenulet::setCompany(model::Company* company)
{
    m_company = company;
    const std::lock_guard lock(m_accountMutex);
    m_account = company ? company->subdomain() : QString();
}

model::User* WrenfoldMenulet::currentUser()
{
    store::Context* context = managedObjectContext();
    return context ? currentUserInContext(*context) : nullptr;
}

model::User* WrenfoldMenulet::currentUserInContext(store::Context& context)
{
    QString account;
    {
        const std::lock_guard lock(m_accountMutex);
        account = m_account;
    }
    if (account.isNull())
        return nullptr;
    const model::Company* company = model::Company::findBySubdomain(account, context);
    const QString email = settings::QuillonPreferences::sharedPreferences().emailInUse();
    return company ? model::User::findByEmail(email, *company, context) : nullptr;
}

void WrenfoldMenulet::initializeQuillonData()
{
    m_api->setDelegate(this);
    if (store::Context* context = managedObjectContext())
        setCompany(&model::Company::findOrCreateCompany(m_userPreferences->credentials().url, *context));
    m_api->requestCompany();
    askUntilAnswered();
}

void WrenfoldMenulet::askUntilAnswered()
{
    // Without it, a service that was away at the start would stay away.
    if (m_updateTimer || m_firstAnswer)
        return;
    m_firstAnswer = platform::environment().time().repeat(RefreshInterval, [this] {
        const settings::Credentials account = m_userPreferences->credentials();
        if (!account.url.isEmpty() && !account.password->isEmpty())
            initializeQuillonData();
    });
}

void WrenfoldMenulet::gotQuillonCompany(const QString& subdomain)
{
    setCompany(model::Company::findBySubdomain(subdomain));
    m_api->setDelegate(this);
    m_api->requestCompanyCacheVersion();
}

void WrenfoldMenulet::gotQuillonCompanyCacheVersion(qint64 version)
{
    m_api->setDelegate(this);
    model::Company* company = m_company.get();
    // A company that never had a version counts as version 0.
    if (company && version == company->cacheVersion().value_or(0)) {
        m_cacheVersionChanged = false;
    } else {
        m_cacheVersionChanged = true;
        if (m_updateTimer) {
            m_api->requestCompany();
            m_api->requestDailyTimesheetForDate(today(), true);
        }
    }
    if (company) {
        company->setCacheVersion(version);
        // An error is left alone: the version is fetched again with the next reply.
        static_cast<void>(managedObjectContext()->save());
    }
    if (!m_updateTimer)
        setupUpdateTimer();
}

void WrenfoldMenulet::setupUpdateTimer()
{
    m_firstAnswer.reset();
    m_updateTimer = platform::environment().time().repeat(RefreshInterval, [this] {
        forgetOtherDays();
        downloadLatest();
    });
    downloadLatest();
}

void WrenfoldMenulet::forgetOtherDays()
{
    // A program that runs for weeks would keep every day that was ever today or looked at.
    const std::pair days(today(), m_timesheetController ? m_timesheetController->currentDate() : QDate());
    if (std::exchange(m_days, days) == days)
        return;
    if (store::Context* context = managedObjectContext())
        context->forgetUnused(model::DayEntry::EntityName);
}

void WrenfoldMenulet::downloadLatest()
{
    const QDate now = today();
    QList<QDate> days;
    if (m_timesheetController)
        days << m_timesheetController->currentDate();
    // That of a timer elsewhere as well: somebody else may stop it.
    for (const model::DayEntry* entry : {currentEntry(), timerElsewhere()}) {
        if (entry)
            days << entry->spentAt().toLocalTime().date();
    }
    days.removeAll(now);
    days << now;
    for (auto day = days.cbegin(); day != days.cend(); ++day) {
        if (std::find(days.cbegin(), day, *day) == day)
            m_api->requestDailyTimesheetForDate(*day, m_cacheVersionChanged);
    }
}

void WrenfoldMenulet::fetchEverything()
{
    // Local data first, so that the replies go to the account that is shown.
    static_cast<void>(managedObjectContext()->save());
    m_api->requestCompany();
    m_api->requestDailyTimesheetForDate(today(), true);
}

void WrenfoldMenulet::requestDailyTimesheetDidSucceed()
{
    if (m_clearingCompanyData && currentUser()) {
        if (m_timesheetController) {
            m_timesheetController->setCompany(company());
            m_timesheetController->entriesDidChange();
        }
        if (m_addTimerController) {
            m_addTimerController->setEntry(model::DayEntry::entryWithDefaults());
            m_addTimerController->setEnabled(true);
        }
        m_clearingCompanyData = false;
    }
    const model::DayEntry* entry = currentEntry();
    m_view->setHours(entry ? entry->hoursMinutes() : u"0:00"_s, entry && entry->isRunning());
    describeStatusItem(entry);
    if (m_inBackground)
        return;
    if (!m_timesheetController)
        showTimesheetWindow(this);
    if (m_userPreferences->timeIsKeptHere())
        m_firstSteps->showOnce();
    // A desktop that asks the person for the keys would do so over them.
    platform::environment().hotKeys().setMayAsk(!m_firstSteps->areShown());
}

void WrenfoldMenulet::mergeRequired(std::shared_ptr<const store::ChangeSet> changes)
{
    for (const store::ObjectId& entry : changes->confirmed)
        m_hoursAsOf[entry] = platform::environment().time().uptime().total;
    if (store::Context* context = managedObjectContext())
        context->mergeChanges(*changes);
    if (model::touchesCatalog(*changes, *managedObjectModel())) {
        if (m_timesheetController)
            m_timesheetController->catalogDidChange();
        if (m_addTimerController)
            m_addTimerController->catalogDidChange();
    }
    updateTotal();
}

booking::State WrenfoldMenulet::accountState() const
{
    if (offline())
        return booking::State::Offline;
    if (loggedOut())
        return booking::State::SignedOut;
    // Until its first day has come with the catalog.
    return m_clearingCompanyData ? booking::State::Starting : booking::State::Ready;
}

void WrenfoldMenulet::setConnection(Connection connection)
{
    m_connection = connection;
    m_view->setOffline(connection.offline);
    m_view->setLoggedOut(connection.loggedOut);
    m_menu->setSignedOut(connection.loggedOut);
    if (m_timesheetController)
        m_timesheetController->setLoggedOut(connection.loggedOut);
}

void WrenfoldMenulet::authenticationFailed()
{
    setConnection({.loggedOut = true, .offline = offline()});
    // The sign-in picture is wider than the placeholder hours that may be shown before.
    m_statusItem->setLength(QuillonStatusItemDefaultWidth);
    describeStatusItem(currentEntry());
}

void WrenfoldMenulet::setIndicatorsToGood()
{
    setConnection({});
}

void WrenfoldMenulet::preferencesChanged()
{
    m_updateTimer.reset();
    m_firstSteps->hide();
    if (!m_userPreferences->timeIsKeptHere())
        m_timeHere.end();
    clearAllData();
    setupUpdateTimer();
    if (m_watchesThisComputer != m_userPreferences->timeIsKeptHere())
        setupReachabilityTarget();
    // Unless the network watch's first call has done it.
    if (!company())
        initializeQuillonData();
    updateKeyEquivalents();
    if (m_timesheetController)
        m_timesheetController->updateKeyEquivalents();
}

void WrenfoldMenulet::clearAllData()
{
    m_clearingCompanyData = true;
    m_hoursAsOf.clear();
    if (m_displayingIdleAlert)
        withdrawIdleQuestion(); // its timer is gone without having been stopped
    if (model::Company* company = m_company.get()) {
        company->clearAllData();
        managedObjectContext()->remove(*company);
        setCompany(nullptr);
    }
    if (m_timesheetController) {
        m_timesheetController->setCompany(nullptr);
        m_timesheetController->catalogDidChange();
    }
    if (m_addTimerController) {
        m_addTimerController->clearSelections();
        m_addTimerController->setEnabled(false);
    }
}

void WrenfoldMenulet::setupReachabilityTarget()
{
    m_watchesThisComputer = m_userPreferences->timeIsKeptHere();
    // Where it cannot be measured the program never shows the offline state.
    m_reachabilityTarget =
        platform::environment().reachability().watch(reachabilityHost(m_watchesThisComputer), [this](bool reachable) {
            if (reachable)
                emit quillonForMacNetworkReachable();
            else
                emit quillonForMacNetworkNotReachable();
        });
}

QString WrenfoldMenulet::reachabilityHost(bool timeIsKeptHere)
{
    // The built-in service and that of a development run are on this machine, whatever the network's state.
    const platform::InfoDictionary& info = platform::environment().info();
    return timeIsKeptHere || info.boolean("QuillonLocalDebug"_L1) ? u"localhost"_s
                                                                  : info.string("QuillonReachabilityHost"_L1);
}

void WrenfoldMenulet::networkUnReachable()
{
    m_statusItem->setLength(QuillonStatusItemDefaultWidth);
    setConnection({.loggedOut = loggedOut(), .offline = true});
    m_menu->offlineIndicator->setVisible(true);
    m_menu->offlineSeparatorItem->setVisible(true);
    enableTimerItems(false);
    describeStatusItem(currentEntry());
}

void WrenfoldMenulet::networkReachable()
{
    if (offline() || loggedOut())
        initializeQuillonData();
    setConnection({.loggedOut = loggedOut(), .offline = false});
    m_menu->offlineIndicator->setVisible(false);
    m_menu->offlineSeparatorItem->setVisible(false);
    enableTimerItems(true);
    describeStatusItem(currentEntry());
}

void WrenfoldMenulet::enableTimerItems(bool enable)
{
    m_menu->toggleCurrentTimerMenuItem->setEnabled(enable);
    m_menu->newTimerMenuItem->setEnabled(enable);
    m_menu->stopElsewhereMenuItem->setEnabled(enable);
    for (QAction* item : m_menu->continueMenuItems)
        item->setEnabled(enable);
}

} // namespace app
