#include "WaylandIdle.h"

#include <QSocketNotifier>

#include <ext-idle-notify-v1-client-header.h>
#include <idle-client-header.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

#include <poll.h>
#include <wayland-client.h>

namespace platform {

namespace {

// Any shorter, and the compositor would wake this program whenever the person stops to think.
constexpr TimeSource::Duration Notice{5000};
constexpr auto Wait = static_cast<uint32_t>(Notice.count());

} // namespace

/// Everything that lives as long as the compositor does.
class WaylandIdle::Connection
{
public:
    /// Null: there is no compositor.
    static std::unique_ptr<Connection> make(const TimeSource& time)
    {
        wl_display* display = wl_display_connect(nullptr);
        return display ? std::unique_ptr<Connection>(new Connection(time, display)) : nullptr;
    }

    ~Connection()
    {
        m_readable.setEnabled(false);
        m_seats.clear();
        if (m_notifier)
            ext_idle_notifier_v1_destroy(m_notifier);
        if (m_olderNotifier)
            org_kde_kwin_idle_destroy(m_olderNotifier);
        if (m_allKnown)
            wl_callback_destroy(m_allKnown);
        wl_registry_destroy(m_registry);
        wl_display_disconnect(m_display);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Reads the compositor's events. False once it is gone.
    bool hear()
    {
        while (wl_display_prepare_read(m_display) != 0) {
            if (wl_display_dispatch_pending(m_display) < 0)
                return false;
        }
        pollfd readable{wl_display_get_fd(m_display), POLLIN, 0};
        if (poll(&readable, 1, 0) > 0)
            static_cast<void>(wl_display_read_events(m_display)); // a failure shows below
        else
            wl_display_cancel_read(m_display);
        const bool there = wl_display_dispatch_pending(m_display) >= 0;
        // Handling the events may have queued requests.
        wl_display_flush(m_display);
        return there;
    }

    /// Of the seat used last.
    std::optional<TimeSource::Duration> idleTime() const
    {
        std::optional<TimeSource::Duration> shortest;
        for (const auto& seat : m_seats) {
            if (!seat->isWatched())
                continue;
            const auto now = m_time.uptime().total;
            const auto idle = now - seat->lastInput.value_or(now);
            shortest = std::min(shortest.value_or(idle), idle);
        }
        return shortest;
    }

private:
    struct Seat
    {
        const TimeSource& time;
        uint32_t name;
        wl_seat* seat;
        // One of these two.
        ext_idle_notification_v1* notification = nullptr;
        org_kde_kwin_idle_timeout* olderNotification = nullptr;
        std::optional<TimeSource::Duration> lastInput; ///< uptime; none: there is input

        Seat(const TimeSource& time, uint32_t name, wl_seat* seat) : time(time), name(name), seat(seat) {}
        ~Seat()
        {
            if (notification)
                ext_idle_notification_v1_destroy(notification);
            if (olderNotification)
                org_kde_kwin_idle_timeout_release(olderNotification);
            wl_seat_destroy(seat);
        }
        Seat(const Seat&) = delete;
        Seat& operator=(const Seat&) = delete;

        bool isWatched() const { return notification || olderNotification; }
        template <class Notification>
        static void idled(void* data, Notification*)
        {
            auto& seat = *static_cast<Seat*>(data);
            seat.lastInput = seat.time.uptime().total - Notice;
        }
        template <class Notification>
        static void resumed(void* data, Notification*)
        {
            static_cast<Seat*>(data)->lastInput.reset();
        }
    };

    Connection(const TimeSource& time, wl_display* display)
        : m_time(time), m_display(display), m_registry(wl_display_get_registry(display)),
          m_allKnown(wl_display_sync(display)), m_readable(wl_display_get_fd(display), QSocketNotifier::Read)
    {
        static constexpr wl_registry_listener listener{&Connection::appeared, &Connection::vanished};
        wl_registry_add_listener(m_registry, &listener, this);
        // Answered after all that there is now has appeared: of two ways to ask, the better one may come last.
        static constexpr wl_callback_listener done{[](void* data, wl_callback* callback, uint32_t) {
            wl_callback_destroy(callback);
            auto& self = *static_cast<Connection*>(data);
            self.m_allKnown = nullptr;
            self.askForNotices();
        }};
        wl_callback_add_listener(m_allKnown, &done, this);
        wl_display_flush(display);
        QObject::connect(&m_readable, &QSocketNotifier::activated, &m_readable, [this] {
            if (!hear())
                m_readable.setEnabled(false);
        });
    }

    static void appeared(void* data, wl_registry* registry, uint32_t name, const char* interface, uint32_t version)
    {
        auto& self = *static_cast<Connection*>(data);
        const auto is = [interface](const wl_interface& known) { return std::strcmp(interface, known.name) == 0; };
        const auto bind = [=](const wl_interface& known) {
            return wl_registry_bind(registry, name, &known, std::min(version, static_cast<uint32_t>(known.version)));
        };
        if (is(wl_seat_interface)) {
            auto* seat = static_cast<wl_seat*>(wl_registry_bind(registry, name, &wl_seat_interface, 1));
            self.m_seats.push_back(std::make_unique<Seat>(self.m_time, name, seat));
        } else if (!self.m_notifier && is(ext_idle_notifier_v1_interface)) {
            self.m_notifier = static_cast<ext_idle_notifier_v1*>(bind(ext_idle_notifier_v1_interface));
        } else if (!self.m_olderNotifier && is(org_kde_kwin_idle_interface)) {
            self.m_olderNotifier = static_cast<org_kde_kwin_idle*>(bind(org_kde_kwin_idle_interface));
        } else {
            return;
        }
        self.askForNotices();
    }

    static void vanished(void* data, wl_registry*, uint32_t name)
    {
        auto& self = *static_cast<Connection*>(data);
        std::erase_if(self.m_seats, [name](const auto& seat) { return seat->name == name; });
    }

    void askForNotices()
    {
        static constexpr ext_idle_notification_v1_listener listener{&Seat::idled, &Seat::resumed};
        static constexpr org_kde_kwin_idle_timeout_listener olderListener{&Seat::idled, &Seat::resumed};
        if (m_allKnown)
            return;
        for (const auto& seat : m_seats) {
            if (seat->isWatched())
                continue;
            if (m_notifier) {
                seat->notification = notice(*seat);
                ext_idle_notification_v1_add_listener(seat->notification, &listener, seat.get());
            } else if (m_olderNotifier) {
                seat->olderNotification = org_kde_kwin_idle_get_idle_timeout(m_olderNotifier, seat->seat, Wait);
                org_kde_kwin_idle_timeout_add_listener(seat->olderNotification, &olderListener, seat.get());
            }
        }
    }

    ext_idle_notification_v1* notice(const Seat& seat) const
    {
#ifdef EXT_IDLE_NOTIFIER_V1_GET_INPUT_IDLE_NOTIFICATION_SINCE_VERSION // from wayland-protocols 1.38 on
        if (ext_idle_notifier_v1_get_version(m_notifier) >=
            EXT_IDLE_NOTIFIER_V1_GET_INPUT_IDLE_NOTIFICATION_SINCE_VERSION)
            return ext_idle_notifier_v1_get_input_idle_notification(m_notifier, Wait, seat.seat);
#endif
        return ext_idle_notifier_v1_get_idle_notification(m_notifier, Wait, seat.seat);
    }

    const TimeSource& m_time;
    wl_display* m_display;
    wl_registry* m_registry;
    wl_callback* m_allKnown; ///< null: what there is has been reported
    ext_idle_notifier_v1* m_notifier = nullptr;
    org_kde_kwin_idle* m_olderNotifier = nullptr;
    std::vector<std::unique_ptr<Seat>> m_seats;
    QSocketNotifier m_readable;
};

WaylandIdle::WaylandIdle(const TimeSource& time) : m_time(time) {}
WaylandIdle::~WaylandIdle() = default;

bool WaylandIdle::available()
{
    return !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

std::optional<std::chrono::milliseconds> WaylandIdle::idleTime()
{
    if (!m_connection)
        m_connection = Connection::make(m_time);
    if (m_connection && !m_connection->hear())
        m_connection.reset();
    return m_connection ? m_connection->idleTime() : std::nullopt;
}

} // namespace platform
