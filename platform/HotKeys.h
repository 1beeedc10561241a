#pragma once

#include <QKeyCombination>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace platform {

/// Key combinations that reach the program while another one is in front. Main thread only.
///
/// A combination means physical keys: a change of keyboard layout moves nothing. A registered one fires once per press,
/// however long it is held and whatever lock keys are on, and reaches no other program.
class HotKeys
{
public:
    struct HotKey
    {
        int id = 0;           ///< comes back with each press; at most one registration at a time
        QString name;         ///< by which the desktop remembers it from start to start: "new-timer"
        QString description;  ///< what it does, for people
        int evdevKey = 0;     ///< the physical key, in the numbers of linux/input-event-codes.h
        QKeyCombination keys; ///< the same on a US keyboard, with the modifiers

        bool operator==(const HotKey&) const = default;
    };

    enum class State
    {
        None,        ///< no key was requested
        Pending,     ///< the desktop has not answered yet; it may be asking the person
        Registered,  ///< fires
        Refused,     ///< taken by another program
        Denied,      ///< the desktop, which decides, has not granted it
        Unavailable, ///< nothing here can do it
    };
    struct Status
    {
        State state = State::None;
        /// What fires, in the desktop's own words, where the desktop chose for itself: "Press Ctrl+Alt+M". Empty: what
        /// was requested.
        QString trigger;

        bool operator==(const Status&) const = default;
    };

    /// One registered hot key; destroying it frees the key. Outlived by the HotKeys that made it.
    class Registration
    {
    public:
        virtual ~Registration() = default;
        virtual Status status() const = 0;
    };

    virtual ~HotKeys() = default;

    /// Called with the id of each hot key pressed, and when any registration's status changes. Both are called from the
    /// event loop, never from within a call of this class.
    virtual void setHandlers(std::function<void(int id)> pressed, std::function<void()> statusChanged) = 0;

    /// Never null: an unavailable key has a status that says so, and never fires.
    [[nodiscard]] virtual std::unique_ptr<Registration> registerHotKey(const HotKey& key) = 0;

    /// While paused nothing fires, and where the desktop permits it the keys reach the window in front: for a field
    /// that records a combination.
    virtual void setPaused(bool paused) = 0;

    /// Whether this is a good moment to ask the person, where the desktop asks before it grants keys. True at first.
    /// Keys that need no question do not wait for it.
    virtual void setMayAsk(bool /*may*/) {}

    /// Whether other programs leave the key free to register now. Does not register it. Empty: cannot be determined
    /// here.
    virtual std::optional<bool> couldBeHad(const HotKey& /*key*/) { return std::nullopt; }

    /// How presses get here, in readable form: "from the X server". Empty: not at all.
    virtual QString way() const { return {}; }
};

} // namespace platform
