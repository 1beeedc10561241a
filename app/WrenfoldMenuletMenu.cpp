// The status menu, its actions, and how timer commands end.

#include "app/FirstSteps.h"
#include "app/Relaunch.h"
#include "app/StatusMenu.h"
#include "app/WrenfoldMenulet.h"

#include "editing/NewTimerController.h"
#include "model/Company.h"
#include "model/DateComparisons.h"
#include "model/DayEntry.h"
#include "model/HoursClock.h"
#include "model/Project.h"
#include "model/Task.h"
#include "platform/Alerts.h"
#include "platform/Desktop.h"
#include "platform/InfoDictionary.h"
#include "platform/Paths.h"
#include "platform/Run.h"
#include "platform/StatusItem.h"
#include "platform/UpdateFeed.h"
#include "preferences/PreferenceController.h"
#include "service/QuillonApi.h"
#include "service/QuillonError.h"
#include "settings/KeyCodes.h"
#include "settings/QuillonPreferences.h"
#include "skin/AboutController.h"
#include "skin/QuillonStatusItemView.h"

#include <QCoreApplication>

namespace app {

using namespace Qt::StringLiterals;

using platform::environment;

namespace {

// Hours of three digits have texts this long, and do not fit the default width.
constexpr qsizetype WideHoursLength = 6;

/// A name in a menu: as wide as the other items, and cut where names differ least.
QString shortened(const QString& name)
{
    constexpr qsizetype most = 28;
    const QString plain = name.simplified();
    return plain.size() <= most ? plain : plain.left(most * 2 / 3) + u'…' + plain.right(most / 3);
}

} // namespace

model::DayEntry* WrenfoldMenulet::currentEntry() const
{
    const model::Company* account = company();
    return account ? account->mostRecentDayEntry() : nullptr;
}

model::DayEntry* WrenfoldMenulet::timerElsewhere() const
{
    const model::DayEntry* shown = currentEntry();
    if (!company() || (shown && shown->isRunning()))
        return nullptr;
    return company()->runningDayEntry();
}

QString WrenfoldMenulet::timerElsewhereText() const
{
    const model::DayEntry* entry = loggedOut() ? nullptr : timerElsewhere();
    return entry ? tr("A timer is running on %1")
                       .arg(timesheet::TimesheetController::dateLabel(model::localDay(entry->spentAt())))
                 : QString();
}

void WrenfoldMenulet::updateTotal()
{
    setIndicatorsToGood();
    const model::DayEntry* entry = currentEntry();
    updateStatusItemForCurrentEntry(entry);
    updateMenuItemsForCurrentEntry(entry);
    withdrawIdleQuestionOfStoppedTimer();
    updateQuestionInTimesheet();
    if (m_timesheetController)
        m_timesheetController->entriesDidChange();
}

void WrenfoldMenulet::updateStatusItemForCurrentEntry(const model::DayEntry* entry)
{
    watchHours(entry);
    const QString hours = entry ? entry->hoursMinutes() : u"0:00"_s;
    m_view->setHours(hours, entry && entry->isRunning());
    m_view->setBlinkWhenRunning(m_userPreferences->blinkColon());
    m_statusItem->setLength(hours.size() < WideHoursLength ? static_cast<double>(QuillonStatusItemDefaultWidth)
                                                           : skin::QuillonStatusItemView::computeWidthForHours(hours));
    describeStatusItem(entry);
}

void WrenfoldMenulet::watchHours(const model::DayEntry* entry)
{
    std::vector<double> growing;
    if (entry && entry->isRunning())
        growing.push_back(entry->totalHours());
    model::HoursClock::instance().watch(*this, growing);
}

void WrenfoldMenulet::hoursDidChange()
{
    // Otherwise it shows something else until the next reply comes.
    if (!offline() && !loggedOut())
        updateStatusItemForCurrentEntry(currentEntry());
}

QString WrenfoldMenulet::aboutEntry(const model::DayEntry& entry)
{
    QStringList about;
    if (const model::Project* project = entry.project())
        about << project->displayName();
    if (const model::Task* task = entry.task())
        about << task->name();
    return about.join(", "_L1);
}

void WrenfoldMenulet::describeStatusItem(const model::DayEntry* entry)
{
    const QString about = entry ? aboutEntry(*entry) : QString();
    m_view->setAbout(about);
    QString spoken = m_view->spokenText();
    if (const QString elsewhere = timerElsewhereText(); !elsewhere.isEmpty())
        spoken += u". "_s + elsewhere;
    m_statusItem->setDescription({m_view->hoursString(), spoken, m_view->isRunning(), offline(), loggedOut(), about});
    emit statusChanged();
}

void WrenfoldMenulet::updateMenuItemsForCurrentEntry(const model::DayEntry* entry)
{
    hideCurrentTimerMenuItems(true);
    if (entry) {
        const model::Project* project = entry->project();
        const model::Task* task = entry->task();
        m_menu->currentProjectMenuItem->setText(tr("Project: %1").arg(project ? project->displayName() : QString()));
        m_menu->currentTaskMenuItem->setText(tr("Task: %1").arg(task ? task->name() : QString()));
    }
    m_menu->toggleCurrentTimerMenuItem->setText(entry && entry->isRunning() ? tr("Stop Current Timer")
                                                                            : tr("Start Current Timer"));
    std::vector<std::pair<QString, QString>> recent;
    for (const booking::Booked& each : m_bookings.recentNow(m_menu->continueMenuItems.size())) {
        // An ampersand would underline what follows it.
        const QString about = tr("%1 · %2").arg(shortened(each.project), shortened(each.task)).replace(u'&', u"&&"_s);
        // The first by a key: back to what was done before.
        recent.emplace_back(each.id, (recent.empty() ? tr("&Continue %1") : tr("Continue %1")).arg(about));
    }
    m_menu->setRecent(recent);
    m_menu->setElsewhere(timerElsewhereText());
    if (m_menu->indexOfItem(m_menu->toggleCurrentTimerMenuItem) != 0) {
        m_menu->removeAction(m_menu->toggleCurrentTimerMenuItem);
        m_menu->insertItemAtIndex(m_menu->toggleCurrentTimerMenuItem, 0);
    }
}

void WrenfoldMenulet::hideCurrentTimerMenuItems(bool hide)
{
    QAction* const project = m_menu->currentProjectMenuItem;
    QAction* const task = m_menu->currentTaskMenuItem;
    if (hide) {
        m_menu->removeAction(project);
        m_menu->removeAction(task);
        return;
    }
    if (m_menu->indexOfItem(project) < 0)
        m_menu->insertItemAtIndex(project, 1);
    if (m_menu->indexOfItem(task) < 0)
        m_menu->insertItemAtIndex(task, 2);
}

void WrenfoldMenulet::updateKeyEquivalents()
{
    const auto update = [](QAction* item, const settings::KeyCombo& combo) {
        if (combo.code != settings::KeyCombo::NoKey)
            item->setShortcut(settings::keySequence(combo));
    };
    update(m_menu->newTimerMenuItem, m_userPreferences->newTimerWindowHotKeyCombo());
    update(m_menu->timesheetMenuItem, m_userPreferences->timesheetWindowHotKeyCombo());
}

void WrenfoldMenulet::toggleStatusItemMenu()
{
    if (!m_menu)
        return; // pressed before start-up had finished
    if (m_showingMenu) {
        m_menu->hide(); // menuDidClose follows
        return;
    }
    if (loggedOut()) {
        showPreferencePanel(this);
        m_view->setClicked(false);
        return;
    }
    m_view->setClicked(true);
    m_showingMenu = true;
    m_statusItem->popUpMenu(*m_menu);
}

void WrenfoldMenulet::menuDidClose()
{
    m_showingMenu = false;
    m_view->setClicked(false);
}

void WrenfoldMenulet::showAboutWindow(QObject* /*sender*/)
{
    if (!m_aboutController)
        m_aboutController = std::make_unique<skin::AboutController>();
    m_aboutController->show();
}

void WrenfoldMenulet::showPreferencePanel(QObject* /*sender*/)
{
    if (!m_preferenceController)
        m_preferenceController = std::make_unique<preferences::PreferenceController>(*this, m_timeHere);
    m_preferenceController->show();
}

void WrenfoldMenulet::prepareTimesheet()
{
    if (m_timesheetController || m_inBackground || loggedOut())
        return;
    if (!m_preparedTimesheet) {
        m_preparedTimesheet = std::make_unique<timesheet::TimesheetController>(*this);
        m_preparedTimesheet->windowHack();
    } else if (!m_preparedTimesheet->prepareMore()) {
        return;
    }
    // Behind all that waits: a reply that comes meanwhile has the next request made.
    QMetaObject::invokeMethod(this, &WrenfoldMenulet::prepareTimesheet, Qt::QueuedConnection);
}

timesheet::TimesheetController& WrenfoldMenulet::timesheet()
{
    using timesheet::TimesheetController;
    if (!m_timesheetController) {
        m_timesheetController = std::exchange(m_preparedTimesheet, {});
        // It shows the day on which it was made.
        if (!m_timesheetController || m_timesheetController->currentDate() != model::localDay(model::now())) {
            m_timesheetController = std::make_unique<TimesheetController>(*this);
            m_timesheetController->windowHack();
        }
        TimesheetController* const made = m_timesheetController.get();
        made->setLoggedOut(loggedOut());
        updateQuestionInTimesheet();
        connect(this, &WrenfoldMenulet::quillonForMacNetworkNotReachable, made, &TimesheetController::wentOffline);
        connect(this, &WrenfoldMenulet::quillonForMacNetworkReachable, made, &TimesheetController::wentOnline);
    }
    m_timesheetController->setCompany(company());
    return *m_timesheetController;
}

void WrenfoldMenulet::toggleTimesheetWindow(QObject* /*sender*/)
{
    timesheet().toggle();
    m_timesheetController->setOffline(offline());
}

void WrenfoldMenulet::showTimesheetWindow(QObject* /*sender*/)
{
    timesheet().show();
    m_timesheetController->setOffline(offline());
}

void WrenfoldMenulet::showNewTimerWindow(QObject* /*sender*/)
{
    if (!m_addTimerController)
        m_addTimerController = std::make_unique<editing::NewTimerController>();
    m_addTimerController->show();
}

void WrenfoldMenulet::showHelp(QObject* /*sender*/)
{
    const platform::InfoDictionary& info = environment().info();
    const QString given = info.string("QuillonHelpURL"_L1);
    const QString manual = given.isEmpty() ? platform::manualPage() : QString();
    environment().desktop().openUrl(!given.isEmpty()    ? QUrl(given)
                                    : !manual.isEmpty() ? QUrl::fromLocalFile(manual)
                                                        : QUrl(info.string("QuillonLearnMoreURL"_L1)));
}

void WrenfoldMenulet::showFirstSteps(QObject* /*sender*/)
{
    m_firstSteps->show();
}

void WrenfoldMenulet::openPage(const QString& path)
{
    environment().desktop().openUrl(QUrl(m_userPreferences->fullUrl() + path));
}

void WrenfoldMenulet::openQuillonInBrowser(QObject* /*sender*/)
{
    openPage(u"/daily"_s);
}

void WrenfoldMenulet::manageProjects(QObject* /*sender*/)
{
    openPage(u"/projects"_s);
}

void WrenfoldMenulet::manageTasks(QObject* /*sender*/)
{
    openPage(u"/tasks"_s);
}

void WrenfoldMenulet::toggleCurrentTimer(QObject* sender)
{
    toggleCurrentTimer(sender, {});
}

void WrenfoldMenulet::toggleCurrentTimer(QObject* /*sender*/, std::function<void(bool)> ended)
{
    if (const model::DayEntry* entry = currentEntry())
        m_api->toggleTimer(*entry, std::move(ended));
    else if (loggedOut())
        showPreferencePanel(this); // the button is below the words that ask to sign in
    else
        showNewTimerWindow(this);
}

void WrenfoldMenulet::continueBooking(const QString& entryId)
{
    m_bookings.resumeEntry(entryId, [this](const booking::Expected<booking::Booked>& booked) {
        if (!booked)
            showAlert(tr("Timer Failed"), booked.error().reason);
    });
}

void WrenfoldMenulet::showTimerElsewhere(QObject* /*sender*/)
{
    const model::DayEntry* entry = timerElsewhere();
    const QDate day = entry ? model::localDay(entry->spentAt()) : QDate();
    showTimesheetWindow(this);
    if (day.isValid())
        m_timesheetController->goToDate(day);
}

void WrenfoldMenulet::stopTimerElsewhere(QObject* /*sender*/)
{
    const model::DayEntry* entry = timerElsewhere();
    if (!entry)
        return;
    m_bookings.stop(
        [this](const booking::Expected<booking::Booked>& booked) {
            // One that somebody else has stopped meanwhile is no longer said to run.
            if (!booked && booked.error().error != "NotRunning"_L1)
                showAlert(tr("Timer Failed"), booked.error().reason);
        },
        entry->idString());
}

void WrenfoldMenulet::checkForUpdates(QObject* /*sender*/)
{
    environment().updateFeed().check();
}

void WrenfoldMenulet::quitQuilonForMac(QObject* /*sender*/)
{
    // QApplication::quit() would ask the windows, and one of them may refuse.
    QCoreApplication::exit(0);
}

void WrenfoldMenulet::relaunch(QObject* sender)
{
    app::relaunch(sender);
}

QStringList WrenfoldMenulet::startArguments() const
{
    return app::startArguments();
}

void WrenfoldMenulet::showAlert(const QString& title, const QString& text)
{
    environment().alerts().show({title, text, {tr("OK")}});
}

void WrenfoldMenulet::startNewTimerDidFailWithError(const std::optional<service::Error>& error)
{
    const QString reason = error ? error->localizedDescription : QString();
    showAlert(
        tr("Timer Failed"),
        tr("The timer could not be added. %1")
            .arg(!reason.isEmpty() ? reason : tr("Please make sure you have an internet connection and try again.")));
}

void WrenfoldMenulet::deleteTimerDidSucceed()
{
    downloadLatest();
}

void WrenfoldMenulet::deleteTimerDidFailWithError(const std::optional<service::Error>& /*error*/)
{
    showAlert(tr("Delete Timer Failed"), tr("The timer could not be deleted. Please make sure you have an internet "
                                            "connection and try again."));
}

void WrenfoldMenulet::toggleTimerDidFailWithError(const std::optional<service::Error>& /*error*/)
{
    showAlert(tr("Toggle Timer Failed"), tr("The timer could not be toggled at this time. Please make sure you have an "
                                            "internet connection and try again."));
}

void WrenfoldMenulet::updateTimerDidSucceed()
{
    if (m_timesheetController && m_timesheetController->currentDate().isValid())
        m_api->requestDailyTimesheetForDate(m_timesheetController->currentDate());
}

void WrenfoldMenulet::updateTimerDidFailWithError(const std::optional<service::Error>& /*error*/)
{
    showAlert(tr("Update Timer Failed"), tr("The timer could not be updated. Please make sure you have an internet "
                                            "connection and try again."));
}

} // namespace app
