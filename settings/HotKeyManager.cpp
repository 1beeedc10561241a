#include "HotKeyManager.h"

#include "KeyCodes.h"
#include "QuillonPreferences.h"

#include "platform/Run.h"

namespace settings {

using namespace Qt::StringLiterals;

namespace {

platform::HotKeys& hotKeys()
{
    return platform::Run::current().environment().hotKeys();
}

/// The combination with the details a desktop needs.
platform::HotKeys::HotKey described(int action, int evdevKey, const KeyCombo& combo)
{
    const bool timesheet = action == HotKeyManager::ToggleTimesheetWindow;
    return {action, timesheet ? u"timesheet"_s : u"new-timer"_s,
            timesheet ? HotKeyManager::tr("Show or hide the timesheet") : HotKeyManager::tr("Start a new timer"),
            evdevKey, keySequence(combo)[0]};
}

} // namespace

HotKeyManager& HotKeyManager::instance()
{
    return platform::Run::current().shared<HotKeyManager>();
}

void HotKeyManager::setupHotKeys()
{
    hotKeys().setHandlers([this](int id) { HandleHotKeys(id); }, [this] { emit statusChanged(); });
    registerHotKeysFromPrefs();
}

void HotKeyManager::registerHotKeysFromPrefs()
{
    const QuillonPreferences& preferences = QuillonPreferences::sharedPreferences();
    registerNewHotKey(preferences.timesheetWindowHotKeyCombo(), ToggleTimesheetWindow);
    registerNewHotKey(preferences.newTimerWindowHotKeyCombo(), ShowNewTimerWindow);
}

void HotKeyManager::registerNewHotKey(const KeyCombo& combo, int forAction)
{
    // The old one first: it may be the same key.
    m_hotKeyRefs.erase(forAction);
    const auto evdevKey = evdevCode(combo.code);
    m_hotKeyRefs[forAction] = {combo,
                               evdevKey ? hotKeys().registerHotKey(described(forAction, *evdevKey, combo)) : nullptr};
    emit statusChanged();
}

KeyCombo HotKeyManager::combo(int action) const
{
    const auto found = m_hotKeyRefs.find(action);
    return found == m_hotKeyRefs.end() ? KeyCombo() : found->second.combo;
}

platform::HotKeys::Status HotKeyManager::status(int action) const
{
    const auto found = m_hotKeyRefs.find(action);
    if (found == m_hotKeyRefs.end() || !found->second.hotKeyRef)
        return {};
    return found->second.hotKeyRef->status();
}

std::optional<bool> HotKeyManager::couldBeHad(const KeyCombo& combo) const
{
    const auto evdevKey = evdevCode(combo.code);
    return evdevKey ? hotKeys().couldBeHad(described({}, *evdevKey, combo)) : std::nullopt;
}

void HotKeyManager::setPaused(bool paused)
{
    hotKeys().setPaused(paused);
}

void HotKeyManager::HandleHotKeys(int id)
{
    if (!m_target || m_target->loggedOut())
        return;
    if (id == ShowNewTimerWindow && !m_target->offline())
        m_target->showNewTimerWindow(nullptr);
    else if (id == ToggleTimesheetWindow)
        m_target->toggleTimesheetWindow(nullptr);
}

} // namespace settings
