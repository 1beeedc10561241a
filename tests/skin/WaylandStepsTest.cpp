#include "skin/BlinkTicker.h"
#include "support/TestEnvironment.h"
#include "support/WaylandCompositor.h"

#include <QApplication>
#include <QBitmap>
#include <QMutex>
#include <QPainter>
#include <QTemporaryDir>
#include <QTest>
#include <QWindow>

#include <viewporter-server-header.h>
#include <xdg-shell-server-header.h>

#include <atomic>
#include <map>
#include <set>
#include <thread>

#include <sys/mman.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

constexpr int Patience = 30000;

/// A compositor with one window, that notes what is done to it ("window") and to the surface in it ("inner").
class Compositor final : public WaylandCompositor
{
public:
    Compositor()
    {
        for (const wl_interface* known : {&wl_compositor_interface, &wl_subcompositor_interface, &wl_shm_interface,
                                          &wp_viewporter_interface, &xdg_wm_base_interface})
            offer(*known);
        m_thread = std::thread([this] {
            while (!m_ends) {
                serve(5);
                for (wl_resource* callback : isLooking ? std::exchange(m_asked, {}) : std::set<wl_resource*>()) {
                    wl_callback_send_done(callback, 0);
                    wl_resource_destroy(callback);
                }
            }
        });
    }
    ~Compositor() override
    {
        m_ends = true;
        m_thread.join();
    }

    /// Since the last call; each picture that was shown, with what is clear around it.
    std::pair<QByteArrayList, QList<QImage>> take()
    {
        const QMutexLocker lock(&m_mutex);
        return {std::exchange(m_notes, {}), std::exchange(m_pictures, {})};
    }
    std::atomic<bool> isLooking = true;

private:
    void heard(wl_resource* object, const wl_message& message, const wl_argument* arguments, wl_resource* made) override
    {
        const QByteArray request = QByteArray(wl_resource_get_class(object)) + '.' + message.name;
        const QMutexLocker lock(&m_mutex);
        if (request == "xdg_wm_base.get_xdg_surface")
            m_window = reinterpret_cast<wl_resource*>(arguments[1].o);
        else if (request == "xdg_surface.get_toplevel")
            xdg_surface_send_configure(object, 1);
        else if (request == "wl_subcompositor.get_subsurface")
            m_inner = reinterpret_cast<wl_resource*>(arguments[1].o);
        else if (request == "wl_surface.frame")
            m_asked.insert(made);
        else if (request == "wl_shm.create_pool")
            m_pools[made] = {
                static_cast<uchar*>(mmap(nullptr, arguments[2].i, PROT_READ, MAP_SHARED, arguments[1].h, 0)),
                close(arguments[1].h)};
        else if (request == "wl_shm_pool.create_buffer")
            m_buffers[made] = QImage(m_pools[object].first + arguments[1].i, arguments[2].i, arguments[3].i,
                                     arguments[4].i, QImage::Format_ARGB32_Premultiplied);
        else if (request == "wp_viewport.set_source")
            m_seen = QRect(wl_fixed_to_int(arguments[0].f), wl_fixed_to_int(arguments[1].f),
                           wl_fixed_to_int(arguments[2].f), wl_fixed_to_int(arguments[3].f));
        else if (request == "wl_surface.attach" && arguments[0].o && object == m_window)
            wl_buffer_send_release(reinterpret_cast<wl_resource*>(arguments[0].o)); // Qt waits for it one day
        else if (request == "wl_surface.attach" && object == m_inner)
            m_picture = reinterpret_cast<wl_resource*>(arguments[0].o);
        else if (request == "wl_surface.commit" && object == m_inner && m_picture)
            m_pictures << m_buffers[m_picture].copy(m_seen);
        if (object == m_window || object == m_inner)
            m_notes << (object == m_inner ? "inner." : "window.") + QByteArray(message.name) +
                           (request == "wl_surface.attach" && !arguments[0].o ? " nothing" : "");
        else if (request.startsWith("wl_subsurface"))
            m_notes << request;
    }
    QMutex m_mutex;
    QByteArrayList m_notes;
    QList<QImage> m_pictures;
    wl_resource* m_window = nullptr;
    wl_resource* m_inner = nullptr;
    wl_resource* m_picture = nullptr;
    QRect m_seen;
    std::set<wl_resource*> m_asked; ///< to tell when they have been shown
    std::map<wl_resource*, std::pair<uchar*, int>> m_pools;
    std::map<wl_resource*, QImage> m_buffers;
    std::atomic<bool> m_ends = false;
    std::thread m_thread;
};

class Part final : public QWidget
{
public:
    using QWidget::QWidget;

    skin::Pulse pulse{*this, [this] { return rect(); }};
    int paintings = 0;
    std::optional<double> fixed;

private:
    void paintEvent(QPaintEvent*) override
    {
        pulse.start({.to = 0.5, .duration = 250ms, .timing = skin::Wave::Timing::Linear});
        ++paintings;
        QPainter painter(this);
        painter.setOpacity(fixed.value_or(pulse.opacity()));
        painter.fillRect(rect(), Qt::red);
    }
};

} // namespace

class WaylandStepsTest final : public QObject
{
    Q_OBJECT

    Compositor& compositor;
    const support::TestRun m_run;

public:
    explicit WaylandStepsTest(Compositor& compositor) : compositor(compositor) {}

private slots:
    void init()
    {
        m_window = std::make_unique<QWidget>(nullptr, Qt::FramelessWindowHint);
        m_part = new Part(m_window.get());
        m_part->setGeometry(21, 13, 28, 26);
        m_window->resize(90, 60);
        m_window->show();
        QVERIFY(steps());
    }
    void cleanup() { m_window.reset(); }

    void stepsTouchTheWindowNoMore()
    {
        QVERIFY(steps()); // all of them have been shown once
        const int paintings = m_part->paintings;
        QVERIFY(steps());
        QVERIFY(!m_notes.contains("window.commit") && !m_notes.contains("inner.attach"));
        QCOMPARE(m_part->paintings, paintings);
    }

    /// With a clear edge around it.
    void showsWhatTheToolkitWould()
    {
        const QRectF points = m_part->geometry();
        const double scale = m_part->devicePixelRatio();
        const QRect place = QRectF(points.topLeft() * scale, points.size() * scale).toAlignedRect();
        QList<QImage> wanted;
        for (const double opacity : {1.0, 0.75, 0.5}) {
            m_part->fixed = opacity;
            wanted << m_window->grab().toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied).copy(place);
        }
        m_part->fixed.reset();
        m_part->update();
        QVERIFY(steps());
        QList<QImage> seen;
        for (const QImage& picture : m_pictures) {
            const QRect inner = QRegion(QBitmap::fromImage(picture.createAlphaMask())).boundingRect();
            QVERIFY(picture.rect().adjusted(1, 1, -1, -1).contains(inner));
            QVERIFY(wanted.contains(picture.copy(inner)));
            if (!seen.contains(picture))
                seen << picture;
        }
        QCOMPARE(seen.size(), wanted.size());
    }

    /// Before the window shows what is painted there instead.
    void givesWay()
    {
        QWidget above(m_window.get());
        above.setAutoFillBackground(true);
        above.setGeometry(10, 10, 60, 40);
        above.hide();
        const std::vector<std::function<void()>> changes{[&] { m_part->update(); }, [&] { m_part->move(30, 20); },
                                                         [&] { above.show(); }, [&] { above.hide(); },
                                                         [&] { m_part->hide(); }};
        for (const auto& change : changes) {
            static_cast<void>(compositor.take());
            change();
            QByteArrayList notes = until("window.commit");
            notes.removeIf([](const QByteArray& note) { return note.startsWith("window."); });
            QCOMPARE(notes.mid(notes.lastIndexOf("wl_subsurface.set_sync")),
                     QByteArrayList({"wl_subsurface.set_sync", "wl_subsurface.set_position", "inner.attach nothing",
                                     "inner.commit"}));
            if (m_part->isVisible() && !above.isVisible())
                QVERIFY(steps());
        }
    }

    void restsWhileNobodyCanSeeIt()
    {
        for (const bool isPaintedMeanwhile : {false, true}) {
            compositor.isLooking = false;
            QTRY_VERIFY_WITH_TIMEOUT(!m_part->pulse.isRunning(), Patience);
            if (isPaintedMeanwhile) {
                m_part->repaint(); // for which Qt itself asks whether it is seen
                QTRY_VERIFY_WITH_TIMEOUT(!m_window->windowHandle()->isExposed(), Patience);
                QTRY_VERIFY_WITH_TIMEOUT(!m_part->pulse.isRunning(), Patience);
            }
            compositor.isLooking = true;
            QVERIFY(steps());
        }
    }

    void goesBeforeTheWindow()
    {
        m_window->hide();
        const QByteArrayList notes = until("window.destroy");
        QVERIFY(notes.contains("inner.destroy"));
        QVERIFY(notes.indexOf("wl_subsurface.destroy") < notes.indexOf("inner.destroy"));
        m_window->show();
        QVERIFY(steps());
    }

private:
    /// Whether it is seen to pulsate, and what is noted meanwhile.
    bool steps()
    {
        static_cast<void>(compositor.take());
        m_notes.clear();
        m_pictures.clear();
        return QTest::qWaitFor(
            [this] {
                const auto [notes, pictures] = compositor.take();
                m_notes += notes;
                m_pictures += pictures;
                return m_pictures.size() > 8;
            },
            Patience);
    }
    /// What is noted before that.
    QByteArrayList until(const QByteArray& note)
    {
        QByteArrayList notes;
        if (!QTest::qWaitFor([&] { return (notes += compositor.take().first).contains(note); }, Patience))
            qWarning("not noted: %s", note.constData());
        return notes.mid(0, notes.indexOf(note));
    }

    std::unique_ptr<QWidget> m_window;
    Part* m_part = nullptr;
    QByteArrayList m_notes;
    QList<QImage> m_pictures;
};

int main(int argc, char** argv)
{
    const QTemporaryDir folder;
    qputenv("XDG_RUNTIME_DIR", folder.path().toLocal8Bit());
    qputenv("WAYLAND_DISPLAY", Compositor::Socket);
    qputenv("QT_QPA_PLATFORM", "wayland");
    Compositor compositor;
    const QApplication application(argc, argv);
    WaylandStepsTest test(compositor);
    return QTest::qExec(&test, argc, argv);
}
#include "WaylandStepsTest.moc"
