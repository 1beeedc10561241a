#pragma once

#include <QByteArray>

#include <deque>

#include <wayland-server.h>

/// A compositor at a real socket that makes whatever objects its client asks for, all of version 1, and shows nothing.
class WaylandCompositor
{
public:
    static constexpr const char* Socket = "compositor-of-the-test";

    WaylandCompositor() { wl_display_add_socket(m_display, Socket); }
    virtual ~WaylandCompositor()
    {
        wl_display_destroy_clients(m_display);
        wl_display_destroy(m_display);
    }
    WaylandCompositor(const WaylandCompositor&) = delete;
    WaylandCompositor& operator=(const WaylandCompositor&) = delete;

    wl_global* offer(const wl_interface& interface)
    {
        m_offers.emplace_back(this, &interface);
        return wl_global_create(m_display, &interface, 1, &m_offers.back(), bind);
    }
    void flush() { wl_display_flush_clients(m_display); }

protected:
    virtual void bound(const wl_interface&) {}
    /// Any request, with the object that it asked for, if it did.
    virtual void heard(wl_resource* object, const wl_message& request, const wl_argument* arguments,
                       wl_resource* made) = 0;

    void serve(int milliseconds)
    {
        wl_event_loop_dispatch(loop(), milliseconds);
        flush();
    }
    wl_event_loop* loop() { return wl_display_get_event_loop(m_display); }

private:
    using Offer = std::pair<WaylandCompositor*, const wl_interface*>;

    static void bind(wl_client* client, void* data, uint32_t, uint32_t id)
    {
        const auto& [self, interface] = *static_cast<Offer*>(data);
        self->add(client, *interface, id);
        self->bound(*interface);
    }

    wl_resource* add(wl_client* client, const wl_interface& interface, uint32_t id)
    {
        wl_resource* made = wl_resource_create(client, &interface, 1, id);
        wl_resource_set_dispatcher(made, dispatch, nullptr, this, nullptr);
        return made;
    }

    static int dispatch(const void*, void* target, uint32_t, const wl_message* message, wl_argument* arguments)
    {
        auto* object = static_cast<wl_resource*>(target);
        auto& self = *static_cast<WaylandCompositor*>(wl_resource_get_user_data(object));
        wl_resource* made = nullptr;
        for (int n = 0; message->signature[n]; ++n) {
            if (message->signature[n] == 'n')
                made = self.add(wl_resource_get_client(object), *message->types[n], arguments[n].n);
        }
        self.heard(object, *message, arguments, made);
        if (const QByteArray request(message->name); request == "destroy" || request == "release")
            wl_resource_destroy(object);
        return 0;
    }

    wl_display* const m_display = wl_display_create();
    std::deque<Offer> m_offers; // each stays where it is
};
