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
    // Without windows it may also be a QCoreApplication.
    const auto* application = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    const auto* native = application ? application->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
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
    // The last is for desktops that distinguish a switcher from a task bar.
    const auto [state, taskBar, pager, switcher] =
        atoms<4>(x, {"_NET_WM_STATE", "_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER",
                     "_KDE_NET_WM_STATE_SKIP_SWITCHER"});
    const std::array skipped{taskBar, pager, switcher};
    const auto id = static_cast<xcb_window_t>(window.winId());
    // An unmapped window sets this itself; for a mapped one the window manager keeps the state.
    if (!window.isVisible()) {
        xcb_change_property(x, XCB_PROP_MODE_APPEND, id, state, XCB_ATOM_ATOM, 32, skipped.size(), skipped.data());
        return;
    }
    for (const xcb_atom_t atom : skipped) {
        constexpr uint32_t add = 1;
        constexpr uint32_t fromApplication = 1;
        sendMessage(x, root(x), XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT, id, state,
                    {add, atom, 0, fromApplication});
    }
    xcb_flush(x);
}

std::vector<std::uint32_t> stack()
{
    xcb_connection_t* x = connection();
    if (!x)
        return {};
    static const auto list = atoms<1>(x, {"_NET_CLIENT_LIST_STACKING"})[0];
    constexpr std::uint32_t most = 4096;
    const Reply<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(x, xcb_get_property(x, 0, root(x), list, XCB_ATOM_WINDOW, 0, most), nullptr));
    if (!reply || reply->format != 32)
        return {};
    const auto* windows = static_cast<const xcb_window_t*>(xcb_get_property_value(reply.get()));
    return {windows, windows + xcb_get_property_value_length(reply.get()) / sizeof *windows};
}

void endStartup(const QByteArray& id)
{
    xcb_connection_t* x = connection();
    if (!x || id.isEmpty())
        return;
    QByteArray value = id;
    value.replace('\\', "\\\\").replace('"', "\\\"");
    QByteArray text = "remove: ID=\"" + value + '"';
    xcb_client_message_event_t event{};
    constexpr qsizetype part = sizeof event.data.data8;
    // It ends with a zero byte; the last part is padded with them.
    text.append(part - text.size() % part, '\0');
    const auto [begin, more] = atoms<2>(x, {"_NET_STARTUP_INFO_BEGIN", "_NET_STARTUP_INFO"});
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 8;
    event.window = xcb_generate_id(x); // distinguishes these parts from those of others
    event.type = begin;
    xcb_create_window(x, 0, event.window, root(x), -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT,
                      0, nullptr);
    for (qsizetype at = 0; at < text.size(); at += part) {
        std::copy_n(text.constData() + at, part, event.data.data8);
        xcb_send_event(x, 0, root(x), XCB_EVENT_MASK_PROPERTY_CHANGE, reinterpret_cast<const char*>(&event));
        event.type = more;
    }
    xcb_destroy_window(x, event.window);
    xcb_flush(x);
}

} // namespace platform::x11
