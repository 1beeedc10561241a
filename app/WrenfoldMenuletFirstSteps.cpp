// Time kept on this computer, and what is shown to a person who is new.

#include "app/Complaint.h"
#include "app/WrenfoldMenulet.h"

#include "platform/HotKeys.h"
#include "platform/Run.h"
#include "platform/TimeSource.h"
#include "settings/HotKeyManager.h"
#include "settings/KeyCodes.h"
#include "settings/Keys.h"
#include "settings/QuillonPreferences.h"
#include "settings/UserDefaults.h"
#include "skin/Callout.h"
#include "skin/HintCard.h"

namespace app {

using namespace std::chrono_literals;

using platform::environment;

namespace {

// How often the item is looked for while the first steps are shown.
constexpr auto Look = 1s;

/// The keys for a new timer, null when there are none or another program has them.
QString newTimerKeys()
{
    using State = platform::HotKeys::State;
    const auto status = settings::HotKeyManager::instance().status(settings::HotKeyManager::ShowNewTimerWindow);
    if (status.state == State::Unavailable || status.state == State::Refused || status.state == State::None)
        return {};
    if (!status.trigger.isEmpty())
        return status.trigger;
    const auto combo = settings::QuillonPreferences::sharedPreferences().newTimerWindowHotKeyCombo();
    return settings::keySequence(combo).toString(QKeySequence::NativeText);
}

void remember(QLatin1StringView key, bool value)
{
    auto& defaults = settings::UserDefaults::standardUserDefaults();
    defaults.setBool(key, value);
    // Where it cannot be written it holds for this run.
    static_cast<void>(defaults.synchronize());
}

} // namespace

bool WrenfoldMenulet::remembersToKeepTimeHere() const
{
    return canKeepTimeHere() &&
           settings::UserDefaults::standardUserDefaults().boolForKey(settings::QuillonKeepTimeHereKey);
}

void WrenfoldMenulet::startOwnService(std::function<void(const QString&)> done)
{
    settings::QuillonPreferences::sharedPreferences().keepTimeHere({});
    m_ownService.start(std::move(done));
}

void WrenfoldMenulet::keepTimeHere(std::function<void(bool)> done)
{
    m_ownService.start([this, done = std::move(done)](const QString& failure) {
        if (!failure.isEmpty()) {
            tellOwnServiceFailed(failure);
            done(false);
            return;
        }
        remember(settings::QuillonKeepTimeHereKey, true);
        done(true);
        // It opens by itself when the first day is there, and never again.
        if (m_timesheetController)
            showTimesheetWindow(this);
    });
}

void WrenfoldMenulet::keepTimeElsewhere()
{
    m_userPreferences->keepTimeElsewhere();
    remember(settings::QuillonKeepTimeHereKey, false);
}

QString WrenfoldMenulet::ownServiceFailedTitle()
{
    return tr("The Built-in Service Could Not Be Started");
}

void WrenfoldMenulet::tellOwnServiceFailed(const QString& failure)
{
    environment().alerts().show({ownServiceFailedTitle(), failure, {tr("OK")}});
}

void WrenfoldMenulet::tellFileTrouble(const QString& sentence)
{
    if (sentence.isEmpty())
        return;
    complain(sentence);
    environment().alerts().show(
        {.title = tr("Your Time Cannot Be Saved"), .text = sentence, .buttons = {tr("OK")}, .unasked = true});
}

void WrenfoldMenulet::showFirstSteps(QObject* /*sender*/)
{
    remember(settings::QuillonFirstStepsDoneKey, false);
    hideFirstSteps();
    m_firstStepsPlace = {};
    m_firstStepsTimer = environment().time().repeat(Look, [this] { placeFirstSteps(); });
    if (!m_callout) {
        m_callout = std::make_unique<skin::Callout>();
        connect(m_callout.get(), &skin::Callout::escaped, this, &WrenfoldMenulet::finishFirstSteps);
    }
}

void WrenfoldMenulet::placeFirstSteps()
{
    const platform::StatusItem::Place place = m_statusItem->place();
    // Panels take their time to find a place for it, and a person to put it elsewhere.
    if (std::exchange(m_firstStepsPlace, place) != place)
        return;
    const bool shownBeside = m_callout->isVisible();
    if (place.onScreen) {
        if (!shownBeside) {
            if (m_timesheetController)
                m_timesheetController->setHint(std::nullopt);
            m_callout->setHint(firstSteps(place.showsView, true));
        }
        m_callout->pointAt(*place.onScreen);
    } else if (m_timesheetController && (shownBeside || !m_firstStepsInTimesheet)) {
        m_callout->hide();
        m_timesheetController->setHint(firstSteps(place.showsView, false));
    }
    m_firstStepsInTimesheet = !place.onScreen && m_timesheetController;
}

skin::Hint WrenfoldMenulet::firstSteps(bool showsView, bool isBeside)
{
    skin::Hint hint;
    if (isBeside)
        hint.title = tr("Your hours are here");
    else
        hint.title = showsView ? tr("Your hours are in the small window") : tr("Your hours are in the desktop's bar");
    if (showsView)
        hint.lines << tr("The button starts and stops the timer.") << tr("A click beside it opens the menu.");
    else
        hint.lines << tr("A click opens the menu.") << tr("A middle click starts and stops the timer.");
    if (const QString keys = newTimerKeys(); !keys.isEmpty())
        hint.lines << tr("%1 starts a new timer from anywhere.").arg(keys);
    if (m_userPreferences->timeIsKeptHere()) {
        hint.aside = tr("Your time is kept on this computer.");
        hint.link = tr("Sign In to an Account…");
    }
    hint.onLink = [this] { showPreferencePanel(m_callout.get()); };
    hint.onButton = [this] { finishFirstSteps(); };
    return hint;
}

void WrenfoldMenulet::finishFirstSteps()
{
    remember(settings::QuillonFirstStepsDoneKey, true);
    hideFirstSteps();
}

void WrenfoldMenulet::hideFirstSteps()
{
    m_firstStepsTimer.reset();
    if (m_callout)
        m_callout->hide();
    if (m_timesheetController && std::exchange(m_firstStepsInTimesheet, false))
        m_timesheetController->setHint(std::nullopt);
}

} // namespace app
