#include "app/FirstSteps.h"

#include "app/WrenfoldMenulet.h"
#include "platform/HotKeys.h"
#include "platform/Run.h"
#include "settings/HotKeyManager.h"
#include "settings/KeyCodes.h"
#include "settings/Keys.h"
#include "settings/QuillonPreferences.h"
#include "settings/UserDefaults.h"
#include "skin/Callout.h"
#include "skin/HintCard.h"
#include "timesheet/TimesheetController.h"

namespace app {

using namespace std::chrono_literals;

using platform::environment;

namespace {

// How often the item's position is checked while the first steps are shown.
constexpr auto Look = 1s;
// Each look wakes the program twice: once it has stayed where it is for a while, it seldom moves.
constexpr auto LaterLook = 5s;
constexpr int LooksUntilLater = 10;

/// The keys for a new timer, null when there are none that work.
QString newTimerKeys()
{
    using State = platform::HotKeys::State;
    const auto status = settings::HotKeyManager::instance().status(settings::HotKeyManager::ShowNewTimerWindow);
    if (status.state != State::Registered && status.state != State::Pending)
        return {};
    if (!status.trigger.isEmpty())
        return status.trigger;
    const auto combo = settings::QuillonPreferences::sharedPreferences().newTimerWindowHotKeyCombo();
    return settings::keySequence(combo).toString(QKeySequence::NativeText);
}

void rememberDone(bool done)
{
    settings::UserDefaults::standardUserDefaults().setBool(settings::QuillonFirstStepsDoneKey, done);
    // Where it cannot be written it holds for this run.
    static_cast<void>(settings::UserDefaults::standardUserDefaults().synchronize());
}

} // namespace

FirstSteps::FirstSteps(WrenfoldMenulet& menulet) : m_menulet(menulet) {}

FirstSteps::~FirstSteps() = default;

void FirstSteps::show()
{
    rememberDone(false);
    hide();
    m_place = {};
    lookEvery(Look);
    if (!m_callout) {
        m_callout = std::make_unique<skin::Callout>();
        connect(m_callout.get(), &skin::Callout::escaped, this, &FirstSteps::finish);
    }
}

void FirstSteps::lookEvery(std::chrono::milliseconds interval)
{
    m_looks = 0;
    m_timer = environment().time().repeat(interval, [this] { place(); });
}

void FirstSteps::showOnce()
{
    if (!m_timer && !settings::UserDefaults::standardUserDefaults().boolForKey(settings::QuillonFirstStepsDoneKey))
        show();
}

void FirstSteps::place()
{
    const platform::StatusItem::Place place = environment().statusItem().place();
    // A panel takes a while to place it, and a person to move it.
    if (std::exchange(m_place, place) != place) {
        lookEvery(Look);
        return;
    }
    if (++m_looks == LooksUntilLater)
        lookEvery(LaterLook);
    timesheet::TimesheetController* const timesheet = m_menulet.timesheetController();
    const bool shownBeside = m_callout->isVisible();
    if (place.onScreen) {
        if (!shownBeside) {
            if (timesheet)
                timesheet->setHint(std::nullopt);
            m_callout->setHint(hint(place));
        }
        m_callout->pointAt(*place.onScreen);
    } else if (timesheet && (shownBeside || !m_inTimesheet)) {
        m_callout->hide();
        timesheet->setHint(hint(place));
    }
    m_inTimesheet = !place.onScreen && timesheet;
}

skin::Hint FirstSteps::hint(const platform::StatusItem::Place& place)
{
    skin::Hint hint;
    if (place.onScreen)
        hint.title = tr("Your hours are here");
    else
        hint.title =
            place.showsView ? tr("Your hours are in the small window") : tr("Your hours are in the desktop's bar");
    if (place.showsView)
        hint.lines << tr("The button starts and stops the timer.") << tr("A click beside it opens the menu.");
    else
        hint.lines << tr("A click opens the menu.") << tr("A middle click starts and stops the timer.");
    if (!place.drawback.isEmpty())
        hint.lines << place.drawback;
    if (const QString keys = newTimerKeys(); !keys.isEmpty())
        hint.lines << tr("%1 starts a new timer from anywhere.").arg(keys);
    if (settings::QuillonPreferences::sharedPreferences().timeIsKeptHere()) {
        hint.aside = tr("Your time is kept on this computer.");
        hint.link = tr("Sign In to an Account…");
    }
    hint.onLink = [this] { m_menulet.showPreferencePanel(m_callout.get()); };
    hint.onButton = [this] { finish(); };
    return hint;
}

void FirstSteps::finish()
{
    rememberDone(true);
    environment().hotKeys().setMayAsk(true);
    hide();
}

void FirstSteps::hide()
{
    m_timer.reset();
    if (m_callout)
        m_callout->hide();
    if (std::exchange(m_inTimesheet, false))
        m_menulet.timesheetController()->setHint(std::nullopt);
}

} // namespace app
