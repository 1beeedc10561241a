#include "GioLibrary.h"

#include "NetworkMonitorReachability.h"

#include "../LoopbackNames.h"

#include <QAbstractEventDispatcher>

#include <utility>

namespace platform {

namespace {

/// GIO ends a process whose system bus goes away. This one is timing, and needs that bus only here.
void outliveSystemBus(const GioLibrary& gio, GNetworkMonitor* monitor)
{
    // The other monitors do not use that bus, so do not connect to it for them.
    if (QLatin1StringView(gio.type_name(G_TYPE_FROM_INSTANCE(monitor))) != QLatin1StringView("GNetworkMonitorNM"))
        return;
    // The connection that the monitor holds, too.
    if (GDBusConnection* bus = gio.bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr)) {
        gio.dbus_connection_set_exit_on_close(bus, FALSE);
        gio.object_unref(bus);
    }
}

class MonitorWatch final : public Reachability::Watch
{
public:
    MonitorWatch(const GioLibrary& gio, std::function<void(bool)> changed)
        : m_gio(gio), m_monitor(gio.network_monitor_get_default()), m_changed(std::move(changed))
    {
        outliveSystemBus(gio, m_monitor);
        // Not `network-changed`: it repeats equal values with one backend and stays silent with the other.
        for (const char* signal : {"notify::connectivity", "notify::network-available"})
            gio.signal_connect_data(m_monitor, signal, G_CALLBACK(&MonitorWatch::notified), this, nullptr,
                                    G_CONNECT_SWAPPED);
        m_last = reachable();
    }
    ~MonitorWatch() override
    {
        m_gio.signal_handlers_disconnect_matched(m_monitor, G_SIGNAL_MATCH_DATA, 0, 0, nullptr, nullptr, this);
    }
    MonitorWatch(const MonitorWatch&) = delete;
    MonitorWatch& operator=(const MonitorWatch&) = delete;

    void report()
    {
        // A copy: the call may end this watch.
        const auto changed = m_changed;
        changed(m_last);
    }

private:
    bool reachable() const { return m_gio.network_monitor_get_connectivity(m_monitor) == G_NETWORK_CONNECTIVITY_FULL; }

    static void notified(MonitorWatch* self)
    {
        if (const bool now = self->reachable(); now != std::exchange(self->m_last, now))
            self->report();
    }

    const GioLibrary& m_gio;
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
    const GioLibrary* const gio = GioLibrary::load();
    if (!gio)
        return nullptr;
    auto watch = std::make_unique<MonitorWatch>(*gio, std::move(changed));
    watch->report();
    return watch;
}

} // namespace platform
