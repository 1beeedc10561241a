#include "platform/linux/WaylandFrames.h"
#include "support/WaylandCompositor.h"

#include <QTemporaryDir>
#include <QTest>

#include <xdg-decoration-unstable-v1-server-header.h>
#include <xdg-shell-server-header.h>

#include <atomic>
#include <thread>

namespace {

/// A compositor that decides about frames. Its client waits for it, so it has a thread.
class Compositor final : public WaylandCompositor
{
public:
    enum class Frames
    {
        Silent, ///< it does not speak of them
        Theirs,
        Ours,
    };

    explicit Compositor(Frames frames) : m_frames(frames)
    {
        offer(wl_compositor_interface);
        offer(xdg_wm_base_interface);
        if (frames != Frames::Silent)
            offer(zxdg_decoration_manager_v1_interface);
        m_thread = std::thread([this] {
            while (!m_ends)
                serve(10);
        });
    }
    ~Compositor() override
    {
        m_ends = true;
        m_thread.join();
    }

    std::atomic<int> asked = 0;

private:
    void heard(wl_resource* object, const wl_message& request, const wl_argument* arguments, wl_resource*) override
    {
        if (QByteArray(request.name) != "set_mode")
            return;
        ++asked;
        const bool ours = m_frames == Frames::Ours && arguments[0].u == ZXDG_TOPLEVEL_DECORATION_V1_MODE_CLIENT_SIDE;
        zxdg_toplevel_decoration_v1_send_configure(object, ours ? ZXDG_TOPLEVEL_DECORATION_V1_MODE_CLIENT_SIDE
                                                                : ZXDG_TOPLEVEL_DECORATION_V1_MODE_SERVER_SIDE);
    }

    const Frames m_frames;
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
