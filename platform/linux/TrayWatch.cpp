#include "TrayWatch.h"

#include "Xcb.h"

#include <QCoreApplication>

namespace platform::x11 {

namespace {

/// Selects events of the window itself, in addition to those already selected.
void listenTo(xcb_connection_t* x, xcb_window_t window)
{
    const Reply<xcb_get_window_attributes_reply_t> known(
        xcb_get_window_attributes_reply(x, xcb_get_window_attributes(x, window), nullptr));
    if (!known)
        return;
    const std::uint32_t mask = known->your_event_mask | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(x, window, XCB_CW_EVENT_MASK, &mask);
}

} // namespace

TrayWatch::TrayWatch(std::function<void()> changed) : m_changed(std::move(changed))
{
    xcb_connection_t* x = connection();
    if (!x)
        return;
    const auto [manager, selection] =
        atoms<2>(x, {"MANAGER", "_NET_SYSTEM_TRAY_S" + QByteArray::number(screenNumber())});
    m_manager = manager;
    m_selection = selection;
    m_root = root(x);
    listenTo(x, m_root);
    look();
    qApp->installNativeEventFilter(this);
}

void TrayWatch::look()
{
    xcb_connection_t* x = connection();
    const auto ask = [&] {
        const Reply<xcb_get_selection_owner_reply_t> reply(
            xcb_get_selection_owner_reply(x, xcb_get_selection_owner(x, m_selection), nullptr));
        return reply ? reply->owner : xcb_window_t{XCB_WINDOW_NONE};
    };
    m_owner = ask();
    if (m_owner == XCB_WINDOW_NONE)
        return;
    listenTo(x, m_owner);
    // It may have gone before its events were selected.
    m_owner = ask();
}

bool TrayWatch::nativeEventFilter(const QByteArray& /*type*/, void* message, qintptr* /*result*/)
{
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    constexpr int sentBit = 0x80;
    bool another = false;
    switch (event->response_type & ~sentBit) {
    case XCB_CLIENT_MESSAGE: {
        const auto* announced = reinterpret_cast<const xcb_client_message_event_t*>(event);
        const std::uint32_t* data = announced->data.data32; // time, selection, owner
        another = announced->type == m_manager && data[1] == m_selection && data[2] != m_owner;
        break;
    }
    case XCB_DESTROY_NOTIFY:
        // The next panel's windows may have the same ids.
        another = m_owner && reinterpret_cast<const xcb_destroy_notify_event_t*>(event)->window == m_owner;
        break;
    default:
        break;
    }
    if (another) {
        // What follows does not belong in an event filter.
        QMetaObject::invokeMethod(
            &m_context,
            [this] {
                look();
                m_changed();
            },
            Qt::QueuedConnection);
    }
    return false;
}

} // namespace platform::x11
