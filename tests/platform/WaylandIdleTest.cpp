#include "platform/linux/WaylandIdle.h"
#include "support/ManualTimeSource.h"

#include <QSocketNotifier>
#include <QTemporaryDir>
#include <QTest>

#include <ext-idle-notify-v1-server-header.h>
#include <idle-server-header.h>

#include <wayland-server.h>

using namespace std::chrono_literals;
using platform::WaylandIdle;
using Idle = std::optional<std::chrono::milliseconds>;

namespace {

/// A compositor with seats and nothing else, at a real socket. It lives in the thread of its client.
class Compositor
{
public:
    enum class Notices
    {
        None,
        Ext,
        Older,
        Both,
    };

    explicit Compositor(Notices notices = Notices::Ext)
        : m_display(wl_display_create()), m_loop(wl_display_get_event_loop(m_display))
    {
        wl_display_add_socket(m_display, Socket);
        // The better one last.
        if (notices == Notices::Older || notices == Notices::Both)
            wl_global_create(m_display, &org_kde_kwin_idle_interface, 1, this, &Compositor::bindOlderNotifier);
        if (notices == Notices::Ext || notices == Notices::Both)
            wl_global_create(m_display, &ext_idle_notifier_v1_interface, 1, this, &Compositor::bindNotifier);
        m_readable.emplace(wl_event_loop_get_fd(m_loop), QSocketNotifier::Read);
        QObject::connect(&*m_readable, &QSocketNotifier::activated, &*m_readable, [this] { serve(); });
    }
    ~Compositor()
    {
        m_readable.reset();
        wl_display_destroy_clients(m_display);
        wl_display_destroy(m_display);
    }
    Compositor(const Compositor&) = delete;
    Compositor& operator=(const Compositor&) = delete;

    wl_global* addSeat() { return wl_global_create(m_display, &wl_seat_interface, 1, this, &Compositor::bindSeat); }
    void removeSeat(wl_global* seat) { wl_global_destroy(seat); }

    void idled(std::size_t seat)
    {
        // The first event of both kinds.
        wl_resource_post_event(notifications.at(seat), EXT_IDLE_NOTIFICATION_V1_IDLED);
        wl_display_flush_clients(m_display);
    }
    void resumed(std::size_t seat)
    {
        wl_resource_post_event(notifications.at(seat), EXT_IDLE_NOTIFICATION_V1_RESUMED);
        wl_display_flush_clients(m_display);
    }
    bool isOlder(std::size_t seat) const
    {
        return wl_resource_get_class(notifications.at(seat)) == QByteArray("org_kde_kwin_idle_timeout");
    }
    void flush() { wl_display_flush_clients(m_display); }

    /// In the order in which they were asked for.
    std::vector<wl_resource*> notifications;
    std::vector<uint32_t> timeouts;
    int seatsBound = 0;

    static constexpr const char* Socket = "compositor-of-the-test";

private:
    void serve()
    {
        wl_event_loop_dispatch(m_loop, 0);
        wl_display_flush_clients(m_display);
    }

    static void bindSeat(wl_client* client, void* data, uint32_t version, uint32_t id)
    {
        ++static_cast<Compositor*>(data)->seatsBound;
        wl_resource_create(client, &wl_seat_interface, static_cast<int>(version), id);
    }

    static void bindNotifier(wl_client* client, void* data, uint32_t version, uint32_t id)
    {
        static constexpr struct ext_idle_notifier_v1_interface methods
        {
            [](wl_client*, wl_resource* resource) { wl_resource_destroy(resource); },
                [](wl_client* client, wl_resource* resource, uint32_t id, uint32_t timeout, wl_resource*) {
                    static constexpr struct ext_idle_notification_v1_interface methods
                    {
                        [](wl_client*, wl_resource* notification) { wl_resource_destroy(notification); }
                    };
                    notify(client, resource, id, timeout, ext_idle_notification_v1_interface, &methods);
                }
        };
        wl_resource* notifier =
            wl_resource_create(client, &ext_idle_notifier_v1_interface, static_cast<int>(version), id);
        wl_resource_set_implementation(notifier, &methods, data, nullptr);
    }

    static void bindOlderNotifier(wl_client* client, void* data, uint32_t version, uint32_t id)
    {
        static constexpr struct org_kde_kwin_idle_interface methods
        {
            [](wl_client* client, wl_resource* resource, uint32_t id, wl_resource*, uint32_t timeout) {
                static constexpr struct org_kde_kwin_idle_timeout_interface methods
                {
                    [](wl_client*, wl_resource* notification) { wl_resource_destroy(notification); },
                        [](wl_client*, wl_resource*) {}
                };
                notify(client, resource, id, timeout, org_kde_kwin_idle_timeout_interface, &methods);
            }
        };
        wl_resource* notifier = wl_resource_create(client, &org_kde_kwin_idle_interface, static_cast<int>(version), id);
        wl_resource_set_implementation(notifier, &methods, data, nullptr);
    }

    static void notify(wl_client* client, wl_resource* notifier, uint32_t id, uint32_t timeout,
                       const wl_interface& interface, const void* methods)
    {
        auto& self = *static_cast<Compositor*>(wl_resource_get_user_data(notifier));
        wl_resource* made = wl_resource_create(client, &interface, 1, id);
        wl_resource_set_implementation(made, methods, &self, nullptr);
        self.notifications.push_back(made);
        self.timeouts.push_back(timeout);
    }

    wl_display* m_display;
    wl_event_loop* m_loop;
    std::optional<QSocketNotifier> m_readable;
};

} // namespace

class WaylandIdleTest final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qputenv("XDG_RUNTIME_DIR", m_folder.path().toLocal8Bit());
        qputenv("WAYLAND_DISPLAY", Compositor::Socket);
    }
    void followsTheNotices_data()
    {
        QTest::addColumn<Compositor::Notices>("notices");
        QTest::newRow("as most compositors") << Compositor::Notices::Ext;
        QTest::newRow("as older ones") << Compositor::Notices::Older;
        QTest::newRow("both") << Compositor::Notices::Both;
    }
    void followsTheNotices()
    {
        QFETCH(Compositor::Notices, notices);
        QVERIFY(WaylandIdle::available());
        Compositor compositor(notices);
        compositor.addSeat();
        WaylandIdle idle(m_time);
        QTRY_COMPARE(idle.idleTime(), Idle(0s));
        QTRY_COMPARE(compositor.timeouts, std::vector<uint32_t>{5000});
        QCOMPARE(compositor.isOlder(0), notices == Compositor::Notices::Older);
        compositor.idled(0);
        QTRY_COMPARE(idle.idleTime(), Idle(5s));
        m_time.advance(20min);
        m_time.suspend(1h);
        QCOMPARE(idle.idleTime(), Idle(1h + 20min + 5s));
        compositor.resumed(0);
        QTRY_COMPARE(idle.idleTime(), Idle(0s));

        // A notice is heard when it comes, not when somebody asks.
        compositor.idled(0);
        QCoreApplication::processEvents();
        m_time.advance(1min);
        QCOMPARE(idle.idleTime(), Idle(1min + 5s));
    }

    void severalSeats()
    {
        Compositor compositor;
        compositor.addSeat();
        WaylandIdle idle(m_time);
        QTRY_COMPARE(idle.idleTime(), Idle(0s));
        QTRY_COMPARE(compositor.notifications.size(), std::size_t(1));
        compositor.idled(0);
        QTRY_COMPARE(idle.idleTime(), Idle(5s));

        wl_global* second = compositor.addSeat();
        compositor.flush();
        QTRY_COMPARE(compositor.notifications.size(), std::size_t(2));
        QTRY_COMPARE(idle.idleTime(), Idle(0s));
        m_time.advance(1min);
        compositor.idled(1);
        QTRY_COMPARE(idle.idleTime(), Idle(5s));
        compositor.removeSeat(second);
        compositor.flush();
        QTRY_COMPARE(idle.idleTime(), Idle(1min + 5s));
    }

    void compositorsThatCannotTell()
    {
        Compositor compositor(Compositor::Notices::None);
        compositor.addSeat();
        WaylandIdle idle(m_time);
        QTRY_VERIFY(!idle.idleTime() && compositor.seatsBound == 1);
        QVERIFY(!idle.idleTime());
    }

    void compositorStartedAnew()
    {
        WaylandIdle idle(m_time);
        QVERIFY(!idle.idleTime());
        for (int start = 0; start < 2; ++start) {
            Compositor compositor;
            compositor.addSeat();
            QTRY_COMPARE(idle.idleTime(), Idle(0s));
            QTRY_COMPARE(compositor.notifications.size(), std::size_t(1));
            compositor.idled(0);
            QTRY_COMPARE(idle.idleTime(), Idle(5s));
        }
        QTRY_VERIFY(!idle.idleTime());
    }

private:
    QTemporaryDir m_folder;
    support::ManualTimeSource m_time;
};

QTEST_GUILESS_MAIN(WaylandIdleTest)
#include "WaylandIdleTest.moc"
