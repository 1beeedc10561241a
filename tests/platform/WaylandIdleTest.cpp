#include "platform/linux/WaylandIdle.h"
#include "support/ManualTimeSource.h"
#include "support/WaylandCompositor.h"

#include <QSocketNotifier>
#include <QTemporaryDir>
#include <QTest>

#include <ext-idle-notify-v1-server-header.h>
#include <idle-server-header.h>

using namespace std::chrono_literals;
using platform::WaylandIdle;
using Idle = std::optional<std::chrono::milliseconds>;

namespace {

/// A compositor with seats and nothing else. It lives in the thread of its client.
class Compositor final : public WaylandCompositor
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
    {
        // The better one last.
        if (notices == Notices::Older || notices == Notices::Both)
            offer(org_kde_kwin_idle_interface);
        if (notices == Notices::Ext || notices == Notices::Both)
            offer(ext_idle_notifier_v1_interface);
        QObject::connect(&m_readable, &QSocketNotifier::activated, &m_readable, [this] { serve(0); });
    }

    wl_global* addSeat() { return offer(wl_seat_interface); }
    void removeSeat(wl_global* seat) { wl_global_destroy(seat); }

    void idled(std::size_t seat) { post(seat, EXT_IDLE_NOTIFICATION_V1_IDLED); }
    void resumed(std::size_t seat) { post(seat, EXT_IDLE_NOTIFICATION_V1_RESUMED); }
    bool isOlder(std::size_t seat) const
    {
        return wl_resource_get_class(notifications.at(seat)) == QByteArray("org_kde_kwin_idle_timeout");
    }

    /// In the order in which they were asked for.
    std::vector<wl_resource*> notifications;
    std::vector<uint32_t> timeouts;
    int seatsBound = 0;

private:
    void bound(const wl_interface& interface) override { seatsBound += &interface == &wl_seat_interface; }
    void heard(wl_resource*, const wl_message& request, const wl_argument* arguments, wl_resource* made) override
    {
        if (!made)
            return;
        notifications.push_back(made);
        timeouts.push_back(arguments[QByteArray(request.signature).indexOf('u')].u);
    }
    /// The events of both kinds have the same numbers.
    void post(std::size_t seat, uint32_t event)
    {
        wl_resource_post_event(notifications.at(seat), event);
        flush();
    }

    QSocketNotifier m_readable{wl_event_loop_get_fd(loop()), QSocketNotifier::Read};
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
    void followsTheNotices()
    {
        for (const auto notices : {Compositor::Notices::Ext, Compositor::Notices::Older, Compositor::Notices::Both}) {
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
