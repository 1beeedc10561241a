#pragma once

#include "platform/linux/Xcb.h"

#include <QPoint>
#include <QSize>
#include <QSocketNotifier>
#include <QTest>

#include <optional>

/// A panel's notification area and nothing else: docks one window and gives it so many pixels, 0 for as many as it asks
/// for. A client of the X server for itself: what it docked is put out when it ends.
class FakeTray
{
public:
    explicit FakeTray(QSize wanted = {0, 0}, QPoint place = {300, 0}) : m_wanted(wanted)
    {
        namespace x11 = platform::x11;
        // No two have windows of the same numbers: what the server says of one may be heard when the next is there.
        static int before = 0;
        for (int taken = before++ * 4; taken > 0; --taken)
            xcb_generate_id(m_x);
        m_panel = xcb_generate_id(m_x);
        const xcb_window_t root = x11::root(m_x);
        const auto [manager, selection, opcode, xembed] =
            x11::atoms<4>(m_x, {"MANAGER", "_NET_SYSTEM_TRAY_S0", "_NET_SYSTEM_TRAY_OPCODE", "_XEMBED"});
        m_selection = selection;
        m_opcode = opcode;
        m_xembed = xembed;
        // The panel takes no part in window management, as one that reserves its own place.
        const std::uint32_t values[] = {0xc0c4c8, 1, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY};
        xcb_create_window(m_x, XCB_COPY_FROM_PARENT, m_panel, root, static_cast<std::int16_t>(place.x()),
                          static_cast<std::int16_t>(place.y()), 400, 60, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK,
                          values);
        xcb_map_window(m_x, m_panel);
        const xcb_window_t owner = xcb_generate_id(m_x);
        xcb_create_window(m_x, 0, owner, root, -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0,
                          nullptr);
        xcb_set_selection_owner(m_x, owner, selection, XCB_CURRENT_TIME);
        x11::sendMessage(m_x, root, XCB_EVENT_MASK_STRUCTURE_NOTIFY, root, manager,
                         {XCB_CURRENT_TIME, selection, owner, 0, 0});
        m_owner = owner;
        waitUntilOwner(true);
        m_readable.emplace(xcb_get_file_descriptor(m_x), QSocketNotifier::Read);
        QObject::connect(&*m_readable, &QSocketNotifier::activated, &*m_readable, [this] { serve(); });
    }
    ~FakeTray() { end(); }
    Q_DISABLE_COPY_MOVE(FakeTray)

    void end()
    {
        if (!m_readable)
            return;
        m_readable.reset();
        xcb_disconnect(m_x);
        waitUntilOwner(false);
    }

    /// While busy it serves nobody.
    void setBusy(bool busy) { m_readable->setEnabled(!busy); }
    bool hasDocked() const { return m_docked != XCB_WINDOW_NONE; }
    QSize granted() const { return m_granted; }

private:
    void waitUntilOwner(bool owns) const
    {
        if (owns)
            xcb_flush(m_x);
        xcb_connection_t* x = platform::x11::connection();
        const auto isOwner = [&] {
            const platform::x11::Reply<xcb_get_selection_owner_reply_t> reply(
                xcb_get_selection_owner_reply(x, xcb_get_selection_owner(x, m_selection), nullptr));
            return reply && reply->owner == m_owner;
        };
        while (isOwner() != owns)
            QTest::qSleep(1);
    }

    void serve()
    {
        while (const platform::x11::Reply<xcb_generic_event_t> event{xcb_poll_for_event(m_x)}) {
            const auto* message = reinterpret_cast<const xcb_client_message_event_t*>(event.get());
            switch (event->response_type & 0x7f) {
            case XCB_CLIENT_MESSAGE:
                if (message->type == m_opcode && message->data.data32[1] == 0)
                    dock(message->data.data32[2]);
                break;
            case XCB_PROPERTY_NOTIFY:
                if (reinterpret_cast<const xcb_property_notify_event_t*>(message)->atom == XCB_ATOM_WM_NORMAL_HINTS)
                    grant();
                break;
            case XCB_CONFIGURE_NOTIFY: {
                const auto* sized = reinterpret_cast<const xcb_configure_notify_event_t*>(message);
                if (sized->window == m_docked && QSize(sized->width, sized->height) != m_granted)
                    enforce();
                break;
            }
            case XCB_DESTROY_NOTIFY:
                if (reinterpret_cast<const xcb_destroy_notify_event_t*>(message)->window == m_docked)
                    m_docked = XCB_WINDOW_NONE;
                break;
            default:
                break;
            }
        }
        xcb_flush(m_x);
    }

    void dock(xcb_window_t window)
    {
        m_docked = window;
        m_granted = {};
        // Whatever happens to the panel, it takes no other program's window with it.
        xcb_change_save_set(m_x, XCB_SET_MODE_INSERT, window);
        const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_change_window_attributes(m_x, window, XCB_CW_EVENT_MASK, &mask);
        xcb_reparent_window(m_x, window, m_panel, 20, 4);
        grant();
        xcb_map_window(m_x, window);
        platform::x11::sendMessage(m_x, window, XCB_EVENT_MASK_NO_EVENT, window, m_xembed,
                                   {XCB_CURRENT_TIME, 0, 0, m_panel, 0});
    }

    void grant()
    {
        // The least size in WM_NORMAL_HINTS.
        const platform::x11::Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
            m_x, xcb_get_property(m_x, 0, m_docked, XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, 0, 18), nullptr));
        QSize size = m_wanted;
        if (reply && xcb_get_property_value_length(reply.get()) >= 7 * 4 && size.isEmpty()) {
            const auto* hints = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
            size = QSize(static_cast<int>(hints[5]), static_cast<int>(hints[6]));
        }
        size = size.expandedTo({1, 1});
        if (std::exchange(m_granted, size) != size)
            enforce();
    }

    void enforce()
    {
        const std::uint32_t sides[] = {static_cast<std::uint32_t>(m_granted.width()),
                                       static_cast<std::uint32_t>(m_granted.height())};
        xcb_configure_window(m_x, m_docked, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, sides);
    }

    xcb_connection_t* const m_x = xcb_connect(nullptr, nullptr);
    xcb_window_t m_panel = XCB_WINDOW_NONE;
    const QSize m_wanted;
    xcb_window_t m_owner = XCB_WINDOW_NONE;
    xcb_atom_t m_selection = 0;
    xcb_atom_t m_opcode = 0;
    xcb_atom_t m_xembed = 0;
    xcb_window_t m_docked = XCB_WINDOW_NONE;
    QSize m_granted;
    std::optional<QSocketNotifier> m_readable;
};
