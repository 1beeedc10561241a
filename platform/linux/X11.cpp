#include "X11.h"

#include <QByteArray>
#include <QGuiApplication>
#include <QWindow>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace platform::x11 {

namespace {

template <class T>
struct Free
{
    void operator()(T* reply) const { std::free(reply); }
};
template <class T>
using Reply = std::unique_ptr<T, Free<T>>;

xcb_connection_t* connection()
{
    const auto* native = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return native ? native->connection() : nullptr;
}

xcb_atom_t atom(xcb_connection_t* x, const QByteArray& name)
{
    const auto cookie = xcb_intern_atom(x, 0, static_cast<uint16_t>(name.size()), name.constData());
    const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(x, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

int screenNumber()
{
    char* host = nullptr;
    int display = 0;
    int screen = 0;
    if (xcb_parse_display(nullptr, &host, &display, &screen))
        std::free(host);
    return screen;
}

xcb_window_t root(xcb_connection_t* x, xcb_window_t window)
{
    const Reply<xcb_query_tree_reply_t> reply(xcb_query_tree_reply(x, xcb_query_tree(x, window), nullptr));
    return reply ? reply->root : xcb_window_t{XCB_WINDOW_NONE};
}

} // namespace

bool isRunning()
{
    return connection();
}

bool isComposited()
{
    xcb_connection_t* x = connection();
    if (!x)
        return false;
    static const xcb_atom_t manager = atom(x, "_NET_WM_CM_S" + QByteArray::number(screenNumber()));
    const Reply<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(x, xcb_get_selection_owner(x, manager), nullptr));
    return reply && reply->owner != XCB_WINDOW_NONE;
}

void skipTaskBar(const QWindow& window)
{
    xcb_connection_t* x = connection();
    if (!x)
        return;
    constexpr uint32_t kAdd = 1;
    constexpr uint32_t kFromApplication = 1;
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = static_cast<xcb_window_t>(window.winId());
    event.type = atom(x, "_NET_WM_STATE");
    event.data.data32[0] = kAdd;
    event.data.data32[1] = atom(x, "_NET_WM_STATE_SKIP_TASKBAR");
    event.data.data32[2] = atom(x, "_NET_WM_STATE_SKIP_PAGER");
    event.data.data32[3] = kFromApplication;
    xcb_send_event(x, 0, root(x, event.window),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&event));
    xcb_flush(x);
}

} // namespace platform::x11
