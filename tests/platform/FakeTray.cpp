// fake_tray WIDTH HEIGHT [X Y]
//
// A panel's notification area and nothing else: docks one window and gives it so many pixels, 0 for as many as it asks
// for. Says what it does on standard output; ends, and is gone, when it is told to.

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

xcb_connection_t* x = nullptr;

xcb_atom_t atom(const std::string& name)
{
    auto* reply =
        xcb_intern_atom_reply(x, xcb_intern_atom(x, 0, static_cast<std::uint16_t>(name.size()), name.c_str()), nullptr);
    const xcb_atom_t found = reply->atom;
    std::free(reply);
    return found;
}

void send(xcb_window_t to, std::uint32_t mask, xcb_window_t about, xcb_atom_t type, std::uint32_t a, std::uint32_t b,
          std::uint32_t c)
{
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = about;
    event.type = type;
    event.data.data32[0] = XCB_CURRENT_TIME;
    event.data.data32[1] = a;
    event.data.data32[2] = b;
    event.data.data32[3] = c;
    xcb_send_event(x, 0, to, mask, reinterpret_cast<const char*>(&event));
}

/// The least size in WM_NORMAL_HINTS.
void leastSize(xcb_window_t window, std::uint32_t& width, std::uint32_t& height)
{
    auto* reply = xcb_get_property_reply(
        x, xcb_get_property(x, 0, window, XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, 0, 18), nullptr);
    if (reply && xcb_get_property_value_length(reply) >= 7 * 4) {
        const auto* hints = static_cast<const std::uint32_t*>(xcb_get_property_value(reply));
        width = hints[5];
        height = hints[6];
    }
    std::free(reply);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3)
        return 2;
    const auto wantedWidth = static_cast<std::uint32_t>(std::atoi(argv[1]));
    const auto wantedHeight = static_cast<std::uint32_t>(std::atoi(argv[2]));
    x = xcb_connect(nullptr, nullptr);
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(x)).data;

    // The panel takes no part in window management, as one that reserves its own place.
    const xcb_window_t panel = xcb_generate_id(x);
    const std::uint32_t panelValues[] = {0xc0c4c8, 1, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY};
    xcb_create_window(
        x, XCB_COPY_FROM_PARENT, panel, screen->root, static_cast<std::int16_t>(argc > 3 ? std::atoi(argv[3]) : 300),
        static_cast<std::int16_t>(argc > 4 ? std::atoi(argv[4]) : 0), 400, 60, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
        screen->root_visual, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, panelValues);
    xcb_map_window(x, panel);

    const xcb_window_t owner = xcb_generate_id(x);
    xcb_create_window(x, 0, owner, screen->root, -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0,
                      nullptr);
    const xcb_atom_t selection = atom("_NET_SYSTEM_TRAY_S0");
    const xcb_atom_t opcode = atom("_NET_SYSTEM_TRAY_OPCODE");
    const xcb_atom_t xembed = atom("_XEMBED");
    xcb_set_selection_owner(x, owner, selection, XCB_CURRENT_TIME);
    send(screen->root, XCB_EVENT_MASK_STRUCTURE_NOTIFY, screen->root, atom("MANAGER"), selection, owner, 0);
    xcb_flush(x);
    std::printf("tray\n");
    std::fflush(stdout);

    xcb_window_t docked = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    const auto grant = [&] {
        std::uint32_t newWidth = wantedWidth;
        std::uint32_t newHeight = wantedHeight;
        std::uint32_t leastWidth = 0;
        std::uint32_t leastHeight = 0;
        leastSize(docked, leastWidth, leastHeight);
        if (!newWidth)
            newWidth = std::max(leastWidth, 1U);
        if (!newHeight)
            newHeight = std::max(leastHeight, 1U);
        if (newWidth == width && newHeight == height)
            return;
        width = newWidth;
        height = newHeight;
        const std::uint32_t size[] = {width, height};
        xcb_configure_window(x, docked, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, size);
        std::printf("granted %u %u\n", width, height);
    };
    while (xcb_generic_event_t* event = xcb_wait_for_event(x)) {
        switch (event->response_type & 0x7f) {
        case XCB_CLIENT_MESSAGE: {
            const auto* message = reinterpret_cast<const xcb_client_message_event_t*>(event);
            if (message->type != opcode || message->data.data32[1] != 0)
                break;
            docked = message->data.data32[2];
            width = 0;
            height = 0;
            // Whatever happens to the panel, it takes no other program's window with it.
            xcb_change_save_set(x, XCB_SET_MODE_INSERT, docked);
            const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
            xcb_change_window_attributes(x, docked, XCB_CW_EVENT_MASK, &mask);
            xcb_reparent_window(x, docked, panel, 20, 4);
            grant();
            xcb_map_window(x, docked);
            send(docked, XCB_EVENT_MASK_NO_EVENT, docked, xembed, 0, 0, panel);
            std::printf("docked\n");
            break;
        }
        case XCB_PROPERTY_NOTIFY: {
            const auto* changed = reinterpret_cast<const xcb_property_notify_event_t*>(event);
            if (docked && changed->window == docked && changed->atom == XCB_ATOM_WM_NORMAL_HINTS)
                grant();
            break;
        }
        case XCB_DESTROY_NOTIFY:
            if (reinterpret_cast<const xcb_destroy_notify_event_t*>(event)->window == docked && docked) {
                docked = 0;
                std::printf("left\n");
            }
            break;
        default:
            break;
        }
        std::fflush(stdout);
        xcb_flush(x);
        std::free(event);
    }
    return 0;
}
