// What happens when the person leaves while a timer runs.

#include "app/WrenfoldMenulet.h"

#include "model/Company.h"
#include "model/DateComparisons.h"
#include "model/DayEntry.h"
#include "model/HoursMinutes.h"
#include "platform/InfoDictionary.h"
#include "platform/Run.h"
#include "service/QuillonApi.h"
#include "service/QuillonError.h"
#include "skin/HintCard.h"

#include <cmath>

namespace app {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

using platform::environment;

namespace {

constexpr double SecondsInMinute = 60;
constexpr int MinutesInHour = 60;
constexpr int ContinueButton = 0;
constexpr int RemoveButton = 1;

// Two refreshes have failed to arrive: the machine slept, or the service is out of reach.
constexpr auto HoursAreStaleAfter = 60s;

QString hoursMinutes(int minutes)
{
    return model::stringInHoursMinutesFormat(static_cast<float>(minutes) / static_cast<float>(MinutesInHour));
}

} // namespace

void WrenfoldMenulet::setupIdleTimer()
{
    m_displayingIdleAlert = false;
    const double minutes = std::trunc(environment().info().number("QuillonIdleMinutes"_L1));
    m_idleTimer = std::make_unique<IdleTimer>(minutes * SecondsInMinute);
    m_idleTimer->setDelegate(this);
}

void WrenfoldMenulet::resetIdleTimer()
{
    forgetRunningTimer();
    m_idleTime = 0;
    m_idleTimer->resetIdleTime();
}

void WrenfoldMenulet::saveCurrentRunningTimerForPossibleIdle()
{
    // An open question keeps its timer, even when that vanishes: the question was about no other one.
    if (m_displayingIdleAlert)
        return;
    model::DayEntry* running = company() ? company()->mostRecentRunningDayEntryFromToday() : nullptr;
    m_runningTimerWhenIdleStarted = running;
    m_runningTimerNoted = running;
    m_runningTimerSavedAt = model::now();
}

void WrenfoldMenulet::clearCurrentRunningTimerForPossibleIdle()
{
    if (!m_displayingIdleAlert)
        forgetRunningTimer();
}

void WrenfoldMenulet::forgetRunningTimer()
{
    m_runningTimerWhenIdleStarted = nullptr;
    m_runningTimerNoted = false;
    m_runningTimerSavedAt = {};
}

model::DayEntry* WrenfoldMenulet::runningTimerWhenIdleStarted() const
{
    return m_runningTimerWhenIdleStarted.get();
}

void WrenfoldMenulet::applicationWasIdle(double seconds)
{
    if (!runningTimerWhenIdleStarted())
        saveCurrentRunningTimerForPossibleIdle();
    const double whole = std::trunc(seconds);
    if (m_idleTime > whole)
        return;
    m_idleTime = whole;
    updateIdleSheetLabels(m_idleTime);
    if (!m_runningTimerNoted)
        return;
    if (m_displayingIdleAlert) {
        const model::DayEntry* entry = runningTimerWhenIdleStarted();
        if (!entry || !entry->isRunning())
            withdrawIdleQuestion();
        return;
    }
    m_displayingIdleAlert = true;
    m_idleAlertId = environment().alerts().show(m_idleAlert, [this](int button) { idleAlertEnded(button); });
}

void WrenfoldMenulet::idleAlertEnded(int button)
{
    using platform::AlertPresenter;
    m_idleQuestionIsInTimesheet = button == AlertPresenter::Dismissed || button == AlertPresenter::Opened;
    updateQuestionInTimesheet();
    if (button == AlertPresenter::Opened)
        showTimesheetWindow(this);
    else if (button == RemoveButton)
        revertRunningTimerSinceIdle(this);
    else if (button == ContinueButton)
        idleEpisodeIsOver();
}

void WrenfoldMenulet::updateQuestionInTimesheet()
{
    if (!m_timesheetController)
        return;
    std::optional<skin::Hint> question;
    if (m_idleQuestionIsInTimesheet) {
        question = {.title = m_idleAlert.title,
                    .lines = {m_idleAlert.text},
                    .button = m_idleAlert.buttons[ContinueButton],
                    .onButton = [this] { idleAlertEnded(ContinueButton); },
                    .otherButton = m_idleAlert.buttons[RemoveButton],
                    .onOtherButton = [this] { idleAlertEnded(RemoveButton); }};
    } else if (const model::DayEntry* entry = timerElsewhere();
               entry && model::localDay(entry->spentAt()) != m_timesheetController->currentDate()) {
        question = {.title = timerElsewhereText(),
                    .lines = {aboutEntry(*entry)},
                    .button = tr("Show"),
                    .onButton = [this] { showTimerElsewhere(this); },
                    .otherButton = tr("Stop"),
                    .onOtherButton = [this] { stopTimerElsewhere(this); }};
    }
    m_timesheetController->setQuestion(question);
}

void WrenfoldMenulet::withdrawIdleQuestion()
{
    environment().alerts().dismiss(m_idleAlertId);
    m_idleQuestionIsInTimesheet = false;
    updateQuestionInTimesheet();
    idleEpisodeIsOver();
}

void WrenfoldMenulet::withdrawIdleQuestionOfStoppedTimer()
{
    // The other windows work while it is open. A question whose entry is gone stays until the next report, and
    // answering it says so.
    const model::DayEntry* entry = runningTimerWhenIdleStarted();
    if (m_displayingIdleAlert && entry && !entry->isRunning())
        withdrawIdleQuestion();
}

void WrenfoldMenulet::updateIdleSheetLabels(double seconds)
{
    const int minutes = static_cast<int>(seconds / SecondsInMinute);
    m_idleAlert.title = idleAlertMessage(minutes);
    m_idleAlert.text = tr("Would you like to stop your timer and remove the minutes, or continue timing?");
    m_idleAlert.buttons = {tr("Continue Timing"), idleAlertButtonText(minutes)};
    m_idleAlert.escapeButton = ContinueButton;
    m_idleAlert.unasked = true;
    if (m_displayingIdleAlert)
        environment().alerts().update(m_idleAlertId, m_idleAlert);
    updateQuestionInTimesheet();
}

QString WrenfoldMenulet::idleAlertMessage(int minutes)
{
    return minutes < MinutesInHour ? tr("You've been idle for %1 minutes with a timer running.").arg(minutes)
                                   : tr("You've been idle for %1 with a timer running.").arg(hoursMinutes(minutes));
}

QString WrenfoldMenulet::idleAlertButtonText(int minutes)
{
    return minutes < MinutesInHour ? tr("Remove %1 Idle Minutes").arg(minutes)
                                   : tr("Remove %1 of Idle Time").arg(hoursMinutes(minutes));
}

void WrenfoldMenulet::revertRunningTimerSinceIdle(QObject* /*sender*/)
{
    model::DayEntry* entry = runningTimerWhenIdleStarted();
    if (!m_runningTimerNoted && company())
        entry = company()->mostRecentRunningDayEntryFromToday();
    if (!entry) {
        environment().alerts().show(
            {tr("Running Timer Stopped Elsewhere"),
             tr("This timer has been stopped since you became idle.  We will not attempt to update it, since you have "
                "more recently edited it outside of Quillon for Mac."),
             {tr("OK")}},
            [this](int) { idleEpisodeIsOver(); });
        return;
    }
    bringHoursUpToDate(*entry);
    m_api->correctIdleTimer(*entry, m_idleTime,
                            m_runningTimerSavedAt.isValid() ? m_runningTimerSavedAt : entry->updatedAt());
    idleEpisodeIsOver();
}

void WrenfoldMenulet::bringHoursUpToDate(model::DayEntry& entry) const
{
    // Without this, work between the last refresh and the absence would be deducted as well. The age of hours from an
    // earlier run is unknown.
    const auto told = m_hoursAsOf.find(entry.id());
    if (told == m_hoursAsOf.end())
        return;
    const auto age = environment().time().uptime().total - told->second;
    if (entry.isRunning() && age > HoursAreStaleAfter)
        entry.setHours(entry.hours().value_or(0) + std::chrono::duration<double, std::ratio<3600>>(age).count());
}

void WrenfoldMenulet::idleEpisodeIsOver()
{
    m_displayingIdleAlert = false;
    resetIdleTimer();
}

void WrenfoldMenulet::correctIdleTimerDidFailWithError(const std::optional<service::Error>& error)
{
    const QString reason = error ? error->localizedDescription : tr("The service did not say why.");
    showAlert(tr("Could Not Remove Idle Time"),
              error && error->domain == service::QuillonErrorDomain
                  ? reason
                  : tr("Your idle time could not be removed due to an error: %1").arg(reason));
}

} // namespace app
