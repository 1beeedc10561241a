#pragma once

#include "platform/HotKeys.h"
#include "settings/KeyCombo.h"

#include <QObject>

#include <map>
#include <memory>
#include <optional>

namespace settings {

/// Carries out the hot keys' actions: the program's controller.
class HotKeyTarget
{
public:
    virtual ~HotKeyTarget() = default;
    virtual bool loggedOut() const = 0;
    virtual bool offline() const = 0;
    virtual void toggleTimesheetWindow(QObject* sender) = 0;
    virtual void showNewTimerWindow(QObject* sender) = 0;
};

/// A combination and its registration with the desktop.
struct HotKey
{
    KeyCombo combo;
    /// Null: the key of the combination is unknown.
    std::unique_ptr<platform::HotKeys::Registration> hotKeyRef;
};

/// The two key combinations that work while another program is in front: registers them with the desktop and passes
/// presses on. Main thread only.
class HotKeyManager final : public QObject
{
    Q_OBJECT
public:
    enum Action
    {
        ToggleTimesheetWindow = 1,
        ShowNewTimerWindow = 2,
    };

    HotKeyManager() = default;

    /// The one of the current run.
    static HotKeyManager& instance();

    /// Receives the presses. Not owned; null: nobody does.
    void setTarget(HotKeyTarget* target) { m_target = target; }

    /// Starts listening, and registers both combinations. Once, at start-up.
    void setupHotKeys();
    /// Registers both combinations as now in the preferences, and frees the previous ones.
    void registerHotKeysFromPrefs();
    void registerNewHotKey(const KeyCombo& combo, int forAction);

    /// The combination last registered for an action.
    KeyCombo combo(int action) const;
    /// Its status.
    platform::HotKeys::Status status(int action) const;

    /// Whether other programs leave the combination free to register now. Empty: that cannot be determined, or there is
    /// no such key.
    std::optional<bool> couldBeHad(const KeyCombo& combo) const;

    /// While paused no hot key fires, and where the desktop permits it the keys reach the window in front: for a field
    /// that records a combination.
    void setPaused(bool paused);

signals:
    /// The status of an action may have changed, by a registration or by the desktop.
    void statusChanged();

private:
    void HandleHotKeys(int id);

    HotKeyTarget* m_target = nullptr;
    std::map<int, HotKey> m_hotKeyRefs; ///< by action
};

} // namespace settings
