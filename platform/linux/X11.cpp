#include "Xcb.h"

#include <QGuiApplication>
#include <QWindow>

namespace platform::x11 {

int screenNumber()
{
    char* host = nullptr;
    int display = 0;
    int screen = 0;
    if (xcb_parse_display(nullptr, &host, &display, &screen))
        std::free(host);
    return screen;
}

xcb_connection_t* connection()
{
    const auto* native = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return native ? native->connection() : nullptr;
}

std::uint32_t root(xcb_connection_t* x)
{
    auto screen = xcb_setup_roots_iterator(xcb_get_setup(x));
    for (int number = screenNumber(); number > 0 && screen.rem > 1; --number)
        xcb_screen_next(&screen);
    return screen.rem > 0 ? screen.data->root : xcb_window_t{XCB_WINDOW_NONE};
}

bool isRunning()
{
    return connection();
}

bool isComposited()
{
    xcb_connection_t* x = connection();
    if (!x)
        return false;
    static const auto manager = atoms<1>(x, {"_NET_WM_CM_S" + QByteArray::number(screenNumber())})[0];
    const Reply<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(x, xcb_get_selection_owner(x, manager), nullptr));
    return reply && reply->owner != XCB_WINDOW_NONE;
}

void skipTaskBar(const QWindow& window)
{
    xcb_connection_t* x = connection();
    if (!x)
        return;
    // The last is for desktops that tell a switcher from a task bar.
    const auto [state, taskBar, pager, switcher] =
        atoms<4>(x, {"_NET_WM_STATE", "_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER",
                     "_KDE_NET_WM_STATE_SKIP_SWITCHER"});
    const std::array skipped{taskBar, pager, switcher};
    const auto id = static_cast<xcb_window_t>(window.winId());
    // A window that is not mapped says so itself; of one that is, the window manager keeps the state.
    if (!window.isVisible()) {
        xcb_change_property(x, XCB_PROP_MODE_APPEND, id, state, XCB_ATOM_ATOM, 32, skipped.size(), skipped.data());
        return;
    }
    for (const xcb_atom_t atom : skipped) {
        constexpr uint32_t kAdd = 1;
        constexpr uint32_t kFromApplication = 1;
        sendMessage(x, root(x), XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT, id, state,
                    {kAdd, atom, 0, kFromApplication});
    }
    xcb_flush(x);
}

TrueActivation::TrueActivation()
{
    xcb_connection_t* x = connection();
    if (!x)
        return;
    m_request = atoms<1>(x, {"_NET_ACTIVE_WINDOW"})[0];
    qApp->installNativeEventFilter(this);
}

bool TrueActivation::nativeEventFilter(const QByteArray& /*type*/, void* message, qintptr* /*result*/)
{
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    constexpr int kSentBit = 0x80;
    return (event->response_type & ~kSentBit) == XCB_CLIENT_MESSAGE &&
           reinterpret_cast<const xcb_client_message_event_t*>(event)->type == m_request;
}

} // namespace platform::x11
