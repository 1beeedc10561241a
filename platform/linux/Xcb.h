#pragma once

#include "X11.h"

#include <QByteArray>

#include <xcb/xcb.h>

#include <array>

/// Shared by our X11 adapters and in need of the server's own types.
namespace platform::x11 {

/// All names in one round trip.
template <std::size_t count>
std::array<xcb_atom_t, count> atoms(xcb_connection_t* x, const std::array<QByteArray, count>& names)
{
    std::array<xcb_intern_atom_cookie_t, count> cookies;
    std::array<xcb_atom_t, count> found;
    for (std::size_t i = 0; i < count; ++i)
        cookies[i] = xcb_intern_atom(x, 0, static_cast<uint16_t>(names[i].size()), names[i].constData());
    for (std::size_t i = 0; i < count; ++i) {
        const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(x, cookies[i], nullptr));
        found[i] = reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    }
    return found;
}

using MessageData = std::array<std::uint32_t, 5>;

/// Sends `receiver` a client message about `window`.
inline void sendMessage(xcb_connection_t* x, xcb_window_t receiver, std::uint32_t eventMask, xcb_window_t window,
                        xcb_atom_t type, const MessageData& data)
{
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = type;
    std::copy(data.begin(), data.end(), event.data.data32);
    xcb_send_event(x, 0, receiver, eventMask, reinterpret_cast<const char*>(&event));
}

} // namespace platform::x11
