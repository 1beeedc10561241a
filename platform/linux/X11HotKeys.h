#pragma once

#include "HeldHotKeys.h"

#include <QAbstractNativeEventFilter>

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>

struct xcb_key_press_event_t;

namespace platform {

/// Hot keys on an X server: passive grabs on the root window, by key code, once for every set of lock keys that may be
/// on. Refused grabs are retried whenever a registration changes.
class X11HotKeys final : public HeldHotKeys, public QAbstractNativeEventFilter
{
public:
    static bool available();

    X11HotKeys();

    void setPaused(bool paused) override;
    std::optional<bool> couldBeHad(const HotKey& key) override;
    QString way() const override { return QStringLiteral("from the X server"); }

private:
    /// A key code of the X server and modifier bits.
    using Grab = std::pair<std::uint8_t, std::uint16_t>;

    /// The bits that the server assigns to modifier keys. They depend on its configuration.
    struct Modifiers
    {
        std::uint16_t alt = 0;
        std::uint16_t super = 0;
        std::uint16_t numLock = 0;
        std::uint16_t scrollLock = 0;

        bool operator==(const Modifiers&) const = default;
    };

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;
    void keyPressed(const xcb_key_press_event_t& event);
    void keyReleased(const xcb_key_press_event_t& event);
    void keyboardChanged();

    static Modifiers readModifiers();
    /// Empty: the keyboard has no key for one of the modifiers.
    std::optional<Grab> grabFor(const HotKey& key) const;
    /// The registered key that fires on the grab: the first, where several share a combination.
    const HotKey* keyOn(const Grab& grab) const;
    /// Brings the grabs in line with the registrations.
    void keysChanged() override;
    Status statusOf(int id) const override;
    bool take(const Grab& grab) const;
    void release(const Grab& grab) const;
    template <class Each>
    void forEachLockState(Each each) const;

    std::set<Grab> m_taken;
    Modifiers m_modifiers;
    std::uint8_t m_keyboardEvent = 0; ///< the number of the keyboard extension's events
    bool m_paused = false;

    // The key that is down, and when it last went up, to tell a repeat from a new press.
    std::optional<std::uint8_t> m_down;
    std::optional<std::pair<std::uint8_t, std::uint32_t>> m_up;
};

} // namespace platform
