#include "X11Idle.h"

#include "WaylandIdle.h"
#include "X11.h"

#include <xcb/screensaver.h>

namespace platform {

bool X11Idle::available()
{
    if (!x11::isRunning() || WaylandIdle::available())
        return false;
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(x11::connection(), &xcb_screensaver_id);
    return extension && extension->present;
}

void X11Idle::Disconnect::operator()(xcb_connection_t* connection) const
{
    xcb_disconnect(connection);
}

std::optional<std::chrono::milliseconds> X11Idle::idleTime()
{
    if (!m_connection)
        m_connection.reset(xcb_connect(nullptr, nullptr));
    xcb_connection_t* x = m_connection.get();
    const x11::Reply<xcb_screensaver_query_info_reply_t> info(
        xcb_connection_has_error(x)
            ? nullptr
            : xcb_screensaver_query_info_reply(x, xcb_screensaver_query_info(x, x11::root(x)), nullptr));
    return info ? std::optional(std::chrono::milliseconds(info->ms_since_user_input)) : std::nullopt;
}

} // namespace platform
