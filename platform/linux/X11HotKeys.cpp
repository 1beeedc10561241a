#include "X11HotKeys.h"

#include "X11.h"

#include "../Run.h"

#include <QCoreApplication>

#include <xcb/xcb.h>

#include <algorithm>
#include <span>

namespace platform {

namespace {

// The X server counts keys from eight up (X Window System Protocol, "Keyboards"), the kernel from zero.
constexpr int FirstKeyCode = 8;

// X11/keysymdef.h
constexpr xcb_keysym_t NumLock = 0xff7f;
constexpr xcb_keysym_t ScrollLock = 0xff14;
constexpr std::array<xcb_keysym_t, 2> Alt{0xffe9, 0xffea};
constexpr std::array<xcb_keysym_t, 2> Super{0xffeb, 0xffec};

constexpr auto Extension = std::string_view("XKEYBOARD");
// XKB protocol, section 16: the events that report a changed keyboard.
constexpr std::uint8_t NewKeyboard = 0;
constexpr std::uint8_t MapChanged = 1;

} // namespace

bool X11HotKeys::available()
{
    return x11::connection();
}

X11HotKeys::X11HotKeys()
{
    xcb_connection_t* x = x11::connection();
    const auto asked = xcb_query_extension(x, Extension.size(), Extension.data());
    m_modifiers = readModifiers();
    const x11::Reply<xcb_query_extension_reply_t> extension(xcb_query_extension_reply(x, asked, nullptr));
    if (extension && extension->present)
        m_keyboardEvent = extension->first_event;
    QCoreApplication::instance()->installNativeEventFilter(this);
}

void X11HotKeys::setPaused(bool paused)
{
    m_paused = paused;
    keysChanged();
}

std::optional<bool> X11HotKeys::couldBeHad(const HotKey& key)
{
    const auto grab = grabFor(key);
    if (!grab)
        return false;
    if (m_taken.contains(*grab))
        return true;
    // Only trying a passive grab shows whether it is free. The server is grabbed meanwhile, so that no other program is
    // refused because of it.
    xcb_connection_t* x = x11::connection();
    xcb_grab_server(x);
    const bool granted = take(*grab);
    if (granted)
        release(*grab);
    xcb_ungrab_server(x);
    xcb_flush(x);
    return granted;
}

X11HotKeys::Modifiers X11HotKeys::readModifiers()
{
    xcb_connection_t* x = x11::connection();
    const xcb_setup_t* setup = xcb_get_setup(x);
    const auto mapAsked = xcb_get_modifier_mapping(x);
    const auto symbolsAsked = xcb_get_keyboard_mapping(
        x, setup->min_keycode, static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1));
    const x11::Reply<xcb_get_modifier_mapping_reply_t> map(xcb_get_modifier_mapping_reply(x, mapAsked, nullptr));
    const x11::Reply<xcb_get_keyboard_mapping_reply_t> symbols(
        xcb_get_keyboard_mapping_reply(x, symbolsAsked, nullptr));
    if (!map || !symbols)
        return {};

    const std::size_t perModifier = map->keycodes_per_modifier;
    const std::size_t perKey = symbols->keysyms_per_keycode;
    const std::span codes(xcb_get_modifier_mapping_keycodes(map.get()), 8 * perModifier);
    const std::span all(xcb_get_keyboard_mapping_keysyms(symbols.get()),
                        static_cast<std::size_t>(xcb_get_keyboard_mapping_keysyms_length(symbols.get())));
    /// The first of Mod1 to Mod5 set by a key with one of the symbols.
    const auto bitOf = [&](std::span<const xcb_keysym_t> wanted) -> std::uint16_t {
        for (std::size_t modifier = 3; modifier < 8; ++modifier) {
            for (const xcb_keycode_t code : codes.subspan(modifier * perModifier, perModifier)) {
                if (code < setup->min_keycode)
                    continue;
                const auto ofKey = all.subspan((code - setup->min_keycode) * perKey, perKey);
                if (std::ranges::find_first_of(ofKey, wanted) != ofKey.end())
                    return static_cast<std::uint16_t>(1U << modifier);
            }
        }
        return 0;
    };
    return {bitOf(Alt), bitOf(Super), bitOf({&NumLock, 1}), bitOf({&ScrollLock, 1})};
}

std::optional<X11HotKeys::Grab> X11HotKeys::grabFor(const HotKey& key) const
{
    const std::pair<Qt::KeyboardModifier, std::uint16_t> known[] = {{Qt::ShiftModifier, XCB_MOD_MASK_SHIFT},
                                                                    {Qt::ControlModifier, XCB_MOD_MASK_CONTROL},
                                                                    {Qt::AltModifier, m_modifiers.alt},
                                                                    {Qt::MetaModifier, m_modifiers.super}};
    Grab grab{static_cast<std::uint8_t>(key.evdevKey + FirstKeyCode), 0};
    for (const auto& [modifier, bit] : known) {
        if (!key.keys.keyboardModifiers().testFlag(modifier))
            continue;
        if (!bit)
            return std::nullopt; // without it this would be another combination
        grab.second |= bit;
    }
    return grab;
}

const HotKeys::HotKey* X11HotKeys::keyOn(const Grab& grab) const
{
    const auto found = std::ranges::find_if(m_keys, [&](const auto& entry) { return grabFor(entry.second) == grab; });
    return found != m_keys.end() ? &found->second : nullptr;
}

HotKeys::Status X11HotKeys::statusOf(int id) const
{
    const auto grab = grabFor(m_keys.at(id));
    const bool fires = grab && m_taken.contains(*grab) && keyOn(*grab)->id == id;
    return {fires ? State::Registered : State::Refused, {}};
}

void X11HotKeys::keysChanged()
{
    std::set<Grab> wanted;
    if (!m_paused) {
        for (const auto& [id, key] : m_keys) {
            if (const auto grab = grabFor(key))
                wanted.insert(*grab);
        }
    }
    std::erase_if(m_taken, [&](const Grab& grab) {
        if (wanted.contains(grab))
            return false;
        release(grab);
        return true;
    });
    for (const Grab& grab : wanted) {
        if (!m_taken.contains(grab) && take(grab))
            m_taken.insert(grab);
    }
    xcb_flush(x11::connection());
}

template <class Each>
void X11HotKeys::forEachLockState(Each each) const
{
    std::set<unsigned> states;
    for (const unsigned caps : {0U, unsigned{XCB_MOD_MASK_LOCK}}) {
        for (const unsigned num : {0U, unsigned{m_modifiers.numLock}}) {
            for (const unsigned scroll : {0U, unsigned{m_modifiers.scrollLock}})
                states.insert(caps | num | scroll);
        }
    }
    for (const unsigned state : states)
        each(static_cast<std::uint16_t>(state));
}

bool X11HotKeys::take(const Grab& grab) const
{
    xcb_connection_t* x = x11::connection();
    std::vector<xcb_void_cookie_t> asked;
    forEachLockState([&](std::uint16_t locks) {
        asked.push_back(xcb_grab_key_checked(x, 0, x11::root(x), grab.second | locks, grab.first, XCB_GRAB_MODE_ASYNC,
                                             XCB_GRAB_MODE_ASYNC));
    });
    bool granted = true;
    for (const xcb_void_cookie_t cookie : asked) {
        if (const x11::Reply<xcb_generic_error_t> error{xcb_request_check(x, cookie)})
            granted = false;
    }
    // All or nothing: half a hot key would come and go with a lock key.
    if (!granted)
        release(grab);
    return granted;
}

void X11HotKeys::release(const Grab& grab) const
{
    xcb_connection_t* x = x11::connection();
    forEachLockState([&](std::uint16_t locks) { xcb_ungrab_key(x, grab.first, x11::root(x), grab.second | locks); });
}

bool X11HotKeys::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*)
{
    if (eventType != "xcb_generic_event_t")
        return false;
    constexpr std::uint8_t sentByAClient = 0x80;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    switch (event->response_type & ~sentByAClient) {
    case XCB_KEY_PRESS:
        keyPressed(*static_cast<const xcb_key_press_event_t*>(message));
        break;
    case XCB_KEY_RELEASE:
        keyReleased(*static_cast<const xcb_key_release_event_t*>(message));
        break;
    case XCB_MAPPING_NOTIFY:
        keyboardChanged();
        break;
    default:
        if (m_keyboardEvent && event->response_type == m_keyboardEvent &&
            (event->pad0 == NewKeyboard || event->pad0 == MapChanged))
            keyboardChanged();
    }
    // Qt still handles all of them: a press gives it the time without which a window would not be raised.
    return false;
}

void X11HotKeys::keyPressed(const xcb_key_press_event_t& event)
{
    if (event.event != event.root)
        return;
    const auto meant =
        static_cast<std::uint16_t>(XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | m_modifiers.alt | m_modifiers.super);
    const HotKey* key = keyOn({event.detail, static_cast<std::uint16_t>(event.state & meant)});
    // A repeating key goes down again without having gone up, or in the instant it did.
    const bool repeats = m_down == event.detail || m_up == std::pair(event.detail, event.time);
    m_down = event.detail;
    if (key && !repeats && !m_paused)
        Run::current().postToMain([this, id = key->id] { m_pressed(id); });
}

void X11HotKeys::keyReleased(const xcb_key_press_event_t& event)
{
    if (event.event != event.root)
        return;
    m_up = {event.detail, event.time};
    m_down.reset();
}

void X11HotKeys::keyboardChanged()
{
    const Modifiers now = readModifiers();
    if (now == m_modifiers)
        return;
    for (const Grab& grab : m_taken)
        release(grab);
    m_taken.clear();
    m_modifiers = now;
    keysChanged();
    Run::current().postToMain([this] { m_statusChanged(); });
}

} // namespace platform
