#include "platform/linux/WaylandFrames.h"

#include <QTemporaryDir>
#include <QTest>

#include <xdg-decoration-unstable-v1-server-header.h>
#include <xdg-shell-server-header.h>

#include <atomic>
#include <thread>

#include <wayland-server.h>

namespace {

/// A compositor that decides about frames and never shows a window. Its client waits for it, so it has a thread.
class Compositor
{
public:
    enum class Frames
    {
        Silent, ///< it does not speak of them
        Theirs,
        Ours,
    };

    explicit Compositor(Frames frames) : m_frames(frames), m_display(wl_display_create())
    {
        wl_display_add_socket(m_display, Socket);
        for (const wl_interface* interface :
             {&wl_compositor_interface, &xdg_wm_base_interface, &zxdg_decoration_manager_v1_interface}) {
            if (interface == &zxdg_decoration_manager_v1_interface && frames == Frames::Silent)
                continue;
            m_globals.emplace_back(this, interface);
        }
        for (Global& global : m_globals)
            wl_global_create(m_display, global.second, 1, &global, bind);
        m_thread = std::thread([this] {
            while (!m_ends) {
                wl_display_flush_clients(m_display);
                wl_event_loop_dispatch(wl_display_get_event_loop(m_display), 10);
            }
        });
    }
    ~Compositor()
    {
        m_ends = true;
        m_thread.join();
        wl_display_destroy_clients(m_display);
        wl_display_destroy(m_display);
    }
    Compositor(const Compositor&) = delete;
    Compositor& operator=(const Compositor&) = delete;

    std::atomic<int> asked = 0;
    static constexpr const char* Socket = "compositor-of-the-test";

private:
    using Global = std::pair<Compositor*, const wl_interface*>;

    static void bind(wl_client* client, void* data, uint32_t, uint32_t id)
    {
        const auto& [self, interface] = *static_cast<Global*>(data);
        self->add(client, *interface, id);
    }

    void add(wl_client* client, const wl_interface& interface, uint32_t id)
    {
        wl_resource_set_dispatcher(wl_resource_create(client, &interface, 1, id), dispatch, nullptr, this, nullptr);
    }

    /// Makes every object that is wanted, and has an opinion on one request.
    static int dispatch(const void*, void* target, uint32_t, const wl_message* message, wl_argument* arguments)
    {
        auto* resource = static_cast<wl_resource*>(target);
        auto& self = *static_cast<Compositor*>(wl_resource_get_user_data(resource));
        const QByteArray request(message->name);
        if (request == "destroy")
            wl_resource_destroy(resource);
        if (request == "set_mode") {
            ++self.asked;
            const bool ours =
                self.m_frames == Frames::Ours && arguments[0].u == ZXDG_TOPLEVEL_DECORATION_V1_MODE_CLIENT_SIDE;
            zxdg_toplevel_decoration_v1_send_configure(resource, ours ? ZXDG_TOPLEVEL_DECORATION_V1_MODE_CLIENT_SIDE
                                                                      : ZXDG_TOPLEVEL_DECORATION_V1_MODE_SERVER_SIDE);
        }
        for (int n = 0; message->signature[n]; ++n) {
            if (message->signature[n] == 'n')
                self.add(wl_resource_get_client(resource), *message->types[n], arguments[n].n);
        }
        return 0;
    }

    const Frames m_frames;
    wl_display* m_display;
    std::vector<Global> m_globals;
    std::atomic<bool> m_ends = false;
    std::thread m_thread;
};

} // namespace

class WaylandFramesTest final : public QObject
{
    Q_OBJECT

private slots:
    void whoseFrames()
    {
        using Frames = Compositor::Frames;
        const QTemporaryDir folder;
        qputenv("XDG_RUNTIME_DIR", folder.path().toLocal8Bit());
        qputenv("WAYLAND_DISPLAY", Compositor::Socket);
        QVERIFY(!platform::compositorInsistsOnFrames());
        for (const auto& [frames, insists] :
             {std::pair(Frames::Silent, false), {Frames::Theirs, true}, {Frames::Ours, false}}) {
            const Compositor compositor(frames);
            QCOMPARE(platform::compositorInsistsOnFrames(), insists);
            QCOMPARE(compositor.asked, frames == Frames::Silent ? 0 : 1);
        }
    }
};

QTEST_GUILESS_MAIN(WaylandFramesTest)
#include "WaylandFramesTest.moc"
