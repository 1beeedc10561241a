// GLib first: Qt's keywords would break its headers.
#include <gio/gio.h>

#include "NetworkMonitorReachability.h"

#include "../LoopbackNames.h"

#include <QAbstractEventDispatcher>

#include <utility>

namespace platform {

namespace {

/// GIO ends a process whose system bus goes away. This one is timing, and needs that bus only here.
void outliveSystemBus(GNetworkMonitor* monitor)
{
    // The other monitors do not use that bus, so do not connect to it for them.
    if (QLatin1StringView(G_OBJECT_TYPE_NAME(monitor)) != QLatin1StringView("GNetworkMonitorNM"))
        return;
    // The connection that the monitor holds, too.
    if (GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr)) {
        g_dbus_connection_set_exit_on_close(bus, FALSE);
        g_object_unref(bus);
    }
}

class MonitorWatch final : public Reachability::Watch
{
public:
    explicit MonitorWatch(std::function<void(bool)> changed)
        : m_monitor(g_network_monitor_get_default()), m_changed(std::move(changed))
    {
        outliveSystemBus(m_monitor);
        // Not `network-changed`: it repeats equal values with one backend and stays silent with the other.
        for (const char* signal : {"notify::connectivity", "notify::network-available"})
            g_signal_connect_swapped(m_monitor, signal, G_CALLBACK(&MonitorWatch::notified), this);
        m_last = reachable();
    }
    ~MonitorWatch() override { g_signal_handlers_disconnect_by_data(m_monitor, this); }
    MonitorWatch(const MonitorWatch&) = delete;
    MonitorWatch& operator=(const MonitorWatch&) = delete;

    void report()
    {
        // A copy: the call may end this watch.
        const auto changed = m_changed;
        changed(m_last);
    }

private:
    bool reachable() const { return g_network_monitor_get_connectivity(m_monitor) == G_NETWORK_CONNECTIVITY_FULL; }

    static void notified(MonitorWatch* self)
    {
        if (const bool now = self->reachable(); now != std::exchange(self->m_last, now))
            self->report();
    }

    GNetworkMonitor* m_monitor;
    std::function<void(bool)> m_changed;
    bool m_last = false;
};

} // namespace

bool NetworkMonitorReachability::available()
{
    const QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance();
    return dispatcher && dispatcher->inherits("QEventDispatcherGlib");
}

std::unique_ptr<Reachability::Watch> NetworkMonitorReachability::watch(const QString& host,
                                                                       std::function<void(bool)> changed)
{
    if (isLoopbackName(host)) {
        changed(true);
        return std::make_unique<Watch>();
    }
    auto watch = std::make_unique<MonitorWatch>(std::move(changed));
    watch->report();
    return watch;
}

} // namespace platform
