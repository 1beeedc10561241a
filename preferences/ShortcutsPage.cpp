#include "preferences/ShortcutsPage.h"

#include "preferences/SRRecorderControl.h"
#include "settings/HotKeyManager.h"
#include "settings/KeyCodes.h"
#include "settings/QuillonPreferences.h"
#include "ui_Preferences.h"

namespace preferences {

using platform::HotKeys;
using settings::HotKeyManager;

namespace {

QString statusText(const HotKeys::Status& status)
{
    using State = HotKeys::State;
    switch (status.state) {
    case State::Pending:
        return ShortcutsPage::tr("Waiting for permission from the desktop…");
    case State::Refused:
        return ShortcutsPage::tr("Not available: another program may be using it.");
    case State::Denied:
        return ShortcutsPage::tr("Not granted: see the desktop's shortcut settings.");
    case State::Unavailable:
        return ShortcutsPage::tr("This desktop does not support global shortcuts.");
    case State::Registered:
        return status.trigger;
    case State::None:
        break;
    }
    return {};
}

} // namespace

ShortcutsPage::ShortcutsPage(const Ui::Preferences& ui)
    : m_hotKeys(HotKeyManager::instance()), m_rows{Row{ui.toggleTimesheetShortcutControl,
                                                       ui.toggleTimesheetShortcutStatus,
                                                       HotKeyManager::ToggleTimesheetWindow},
                                                   Row{ui.newTimerShortcutControl, ui.newTimerShortcutStatus,
                                                       HotKeyManager::ShowNewTimerWindow}}
{
    connect(&m_hotKeys, &HotKeyManager::statusChanged, this, &ShortcutsPage::showStatus);
    for (const Row& row : m_rows) {
        connect(row.recorder, &SRRecorderControl::refused, row.status, &QLabel::setText);
        connect(row.recorder, &SRRecorderControl::keyComboChanged, this, &ShortcutsPage::showStatus);
        connect(row.recorder, &SRRecorderControl::recordingChanged, this, [this, status = row.status](bool recording) {
            // The shortcuts in use can be typed as well, and must not be carried out then.
            m_hotKeys.setPaused(recording);
            status->setText(tr("Press Delete to clear it, Escape to keep it."));
            showStatus();
        });
    }
}

void ShortcutsPage::fill(const settings::QuillonPreferences& preferences)
{
    m_rows[0].recorder->setKeyCombo(preferences.timesheetWindowHotKeyCombo());
    m_rows[1].recorder->setKeyCombo(preferences.newTimerWindowHotKeyCombo());
    showStatus();
}

void ShortcutsPage::store(settings::QuillonPreferences& preferences) const
{
    preferences.setTimesheetWindowHotKeyCombo(m_rows[0].recorder->keyCombo());
    preferences.setNewTimerWindowHotKeyCombo(m_rows[1].recorder->keyCombo());
}

void ShortcutsPage::showStatus()
{
    // While one is being recorded, the state of the other is unknown.
    if (m_rows[0].recorder->isRecording() || m_rows[1].recorder->isRecording())
        return;
    const QKeySequence keys = settings::keySequence(m_rows[0].recorder->keyCombo());
    const bool same = !keys.isEmpty() && keys == settings::keySequence(m_rows[1].recorder->keyCombo());
    for (const Row& row : m_rows) {
        const QString text = same ? tr("Both shortcuts are the same.") : statusOf(row);
        row.status->setText(row.status->fontMetrics().elidedText(text, Qt::ElideRight, row.status->maximumWidth()));
        row.status->setToolTip(text);
    }
}

QString ShortcutsPage::statusOf(const Row& row) const
{
    using State = HotKeys::State;
    const settings::KeyCombo shown = row.recorder->keyCombo();
    const HotKeys::Status status = m_hotKeys.status(row.action);
    if (shown == m_hotKeys.combo(row.action) || status.state == State::Unavailable)
        return statusText(status);
    // Not ours yet: it is not registered with the desktop before Done.
    return m_hotKeys.couldBeHad(shown) == false ? statusText({State::Refused, {}})
                                                : tr("Takes effect when you press Done.");
}

} // namespace preferences
