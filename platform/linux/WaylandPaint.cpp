#include "WaylandPaint.h"

#include "WaylandOwned.h"

#include <QGuiApplication>
#include <QImage>
#include <QPointer>
#include <QWindow>
#include <qpa/qplatformnativeinterface.h>
#include <qpa/qplatformwindow.h>

#include <viewporter-client-header.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <optional>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>

namespace platform {

namespace {

template <class T, auto function>
using Owned = WaylandOwned<T, function>;

/// As many as a pulse has. A buffer grows by what is drawn into it: pages that nobody touched take no memory.
constexpr int MostPictures = 17;

/// With every so many pictures the compositor is asked to say when it has shown one. It does not while nobody can see
/// it: after a few more nothing moves until it does.
constexpr int PicturesBetweenQuestions = 16;
constexpr int PicturesUntilCovered = 8;

wl_display* connection()
{
    if (!QGuiApplication::platformName().startsWith(QLatin1String("wayland")) || !qApp)
        return nullptr;
    QPlatformNativeInterface* native = QGuiApplication::platformNativeInterface();
    return native ? static_cast<wl_display*>(native->nativeResourceForIntegration("wl_display")) : nullptr;
}

/// What the compositor offers. They go with the connection, without being destroyed.
struct Globals
{
    wl_display* display = nullptr;
    wl_compositor* compositor = nullptr;
    wl_subcompositor* subcompositor = nullptr;
    wl_shm* memory = nullptr;
    wp_viewporter* viewporter = nullptr;
    bool isOfWlroots = false;
    bool hasGraphicsProcessor = false;
    uint32_t compositorVersion = 0;

    static void appeared(void* data, wl_registry* registry, uint32_t name, const char* interface, uint32_t version)
    {
        auto& self = *static_cast<Globals*>(data);
        const auto take = [&]<class Global>(Global*& global, const wl_interface& known, uint32_t most) {
            if (!global && std::strcmp(interface, known.name) == 0)
                global = static_cast<Global*>(wl_registry_bind(registry, name, &known, std::min(version, most)));
        };
        take(self.compositor, wl_compositor_interface, 4);
        take(self.subcompositor, wl_subcompositor_interface, 1);
        take(self.memory, wl_shm_interface, 1);
        take(self.viewporter, wp_viewporter_interface, 1);
        const auto is = [interface](const char* known) { return std::strcmp(interface, known) == 0; };
        if (is(wl_compositor_interface.name))
            self.compositorVersion = version;
        self.isOfWlroots = self.isOfWlroots || is("zwlr_screencopy_manager_v1");
        self.hasGraphicsProcessor = self.hasGraphicsProcessor || is("zwp_linux_dmabuf_v1");
    }

    /// One round trip for each connection.
    static const Globals& of(wl_display* display)
    {
        static Globals known;
        if (known.display == display)
            return known;
        known = {.display = display};
        // Heard by this thread alone, until all of them are there.
        const Owned<wl_event_queue, wl_event_queue_destroy> queue(wl_display_create_queue(display));
        const Owned<void, wl_proxy_wrapper_destroy> wrapper(wl_proxy_create_wrapper(display));
        wl_proxy_set_queue(static_cast<wl_proxy*>(wrapper.get()), queue.get());
        const Owned<wl_registry, wl_registry_destroy> registry(
            wl_display_get_registry(static_cast<wl_display*>(wrapper.get())));
        static constexpr wl_registry_listener appearances{&Globals::appeared, [](void*, wl_registry*, uint32_t) {}};
        wl_registry_add_listener(registry.get(), &appearances, &known);
        wl_display_roundtrip_queue(display, queue.get());
        for (void* global : {static_cast<void*>(known.compositor), static_cast<void*>(known.subcompositor),
                             static_cast<void*>(known.memory), static_cast<void*>(known.viewporter)}) {
            if (global)
                wl_proxy_set_queue(static_cast<wl_proxy*>(global), nullptr);
        }
        return known;
    }
    /// Before 0.17, wlroots without a graphics processor draws the beginning of a buffer, whatever its viewport shows.
    bool areUseful() const
    {
        constexpr uint32_t fixed = 6;
        return compositor && subcompositor && memory && viewporter &&
               (!isOfWlroots || hasGraphicsProcessor || compositorVersion >= fixed);
    }
};

/// Pictures of one size, one below the other in a buffer.
class Sheet
{
public:
    /// `cell` in device pixels. Null: no memory.
    static std::unique_ptr<Sheet> make(wl_shm& memory, QSize cell)
    {
        auto sheet = std::unique_ptr<Sheet>(new Sheet(cell));
        const int file = memfd_create("quillon-pictures", MFD_CLOEXEC | MFD_ALLOW_SEALING);
        if (file < 0)
            return nullptr;
        // Compositors map the file, and must not find it shorter one day.
        if (ftruncate(file, static_cast<off_t>(sheet->size())) == 0 && fcntl(file, F_ADD_SEALS, F_SEAL_SHRINK) == 0) {
            void* mapped = mmap(nullptr, sheet->size(), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
            if (mapped != MAP_FAILED)
                sheet->m_pixels = static_cast<uchar*>(mapped);
        }
        if (sheet->m_pixels) {
            const Owned<wl_shm_pool, wl_shm_pool_destroy> pool(
                wl_shm_create_pool(&memory, file, static_cast<int32_t>(sheet->size())));
            sheet->m_buffer.reset(wl_shm_pool_create_buffer(pool.get(), 0, cell.width(), cell.height() * MostPictures,
                                                            static_cast<int32_t>(sheet->lineLength()),
                                                            WL_SHM_FORMAT_ARGB8888));
        }
        close(file);
        return sheet->m_buffer ? std::move(sheet) : nullptr;
    }
    ~Sheet()
    {
        if (m_pixels)
            munmap(m_pixels, size());
    }
    Q_DISABLE_COPY_MOVE(Sheet)

    QSize cell() const { return m_cell; }
    wl_buffer* buffer() const { return m_buffer.get(); }
    void forgetConnection() { static_cast<void>(m_buffer.release()); }

    /// Into the cell `n`, clear around it.
    void draw(int n, QPoint corner, const QImage& image)
    {
        uchar* first = m_pixels + lineLength() * m_cell.height() * n;
        std::memset(first, 0, lineLength() * m_cell.height());
        for (int y = 0; y < image.height(); ++y) {
            std::memcpy(first + (corner.y() + y) * lineLength() + corner.x() * sizeof(QRgb), image.constScanLine(y),
                        image.width() * sizeof(QRgb));
        }
    }

private:
    explicit Sheet(QSize cell) : m_cell(cell) {}
    std::size_t lineLength() const { return m_cell.width() * sizeof(QRgb); }
    std::size_t size() const { return lineLength() * m_cell.height() * MostPictures; }

    const QSize m_cell;
    uchar* m_pixels = nullptr;
    Owned<wl_buffer, wl_buffer_destroy> m_buffer;
};

/// Of that length of a surface, in its own points, every multiple is a whole number of its pixels; and, where the
/// compositor shrinks surfaces to quarters of a size, of the screen's. None: that would be too long.
std::optional<int> gridOf(double scale)
{
    constexpr int quarters = 4;
    constexpr int most = 24;
    for (int points = quarters; points <= most; points += quarters) {
        const double pixels = points * scale;
        if (std::abs(pixels - std::round(pixels)) < 1e-6)
            return points;
    }
    return std::nullopt;
}

class WaylandPaint final : public QObject, public DirectPaint
{
public:
    WaylandPaint(const Globals& globals, QWindow& window, wl_surface& parent, int grid, std::function<void()> uncovered)
        : m_globals(globals), m_window(&window), m_scale(window.handle()->devicePixelRatio()), m_grid(grid),
          m_surface(wl_compositor_create_surface(globals.compositor)),
          m_viewport(wp_viewporter_get_viewport(globals.viewporter, m_surface.get())),
          m_subsurface(wl_subcompositor_get_subsurface(globals.subcompositor, m_surface.get(), &parent)),
          m_uncovered(std::move(uncovered))
    {
        const Owned<wl_region, wl_region_destroy> nothing(wl_compositor_create_region(globals.compositor));
        wl_surface_set_input_region(m_surface.get(), nothing.get());
        // Before Qt's surface goes, which it does with each hiding.
        connect(&window, &QWindow::visibleChanged, this, [this] { end(); });
    }
    ~WaylandPaint() override { end(); }
    Q_DISABLE_COPY_MOVE(WaylandPaint)

    bool isFor(const QWindow& window) const override
    {
        return m_subsurface && m_window == &window && window.handle() && window.handle()->devicePixelRatio() == m_scale;
    }

    bool reaches(QRect place) const override { return m_subsurface && place == m_place && !m_isTranslucent; }

    void giveWay(QRect place) override
    {
        if (!m_subsurface || (m_isTranslucent && place == m_place))
            return;
        m_isTranslucent = false;
        m_frame.reset();
        m_pictures = 0;
        m_cells.clear();
        m_isShown = false;
        m_place = place;
        // A clear pixel at least around the picture: a compositor that shrinks it takes its edges from what is beside.
        const auto down = [&](int pixel) { return static_cast<int>(std::floor(pixel / m_scale / m_grid)) * m_grid; };
        const auto up = [&](int pixel) { return static_cast<int>(std::ceil(pixel / m_scale / m_grid)) * m_grid; };
        m_points = QRect(QPoint(down(place.left() - 1), down(place.top() - 1)),
                         QPoint(up(place.right() + 2) - 1, up(place.bottom() + 2) - 1));
        // All of it takes effect with what Qt is about to show.
        wl_subsurface_set_sync(m_subsurface.get());
        wl_subsurface_set_position(m_subsurface.get(), m_points.x(), m_points.y());
        wl_surface_attach(m_surface.get(), nullptr, 0, 0);
        wl_surface_commit(m_surface.get());
    }

    bool put(QPoint corner, const QImage& image) override
    {
        if (!reaches(QRect(corner, image.size())) || !prepareSheet())
            return false;
        auto cell = m_cells.find(image.cacheKey());
        const bool isNew = cell == m_cells.end();
        if (isNew) {
            m_isTranslucent = !isOpaque(image);
            if (m_isTranslucent || m_cells.size() == MostPictures)
                return false;
            cell = m_cells.emplace(image.cacheKey(), static_cast<int>(m_cells.size())).first;
            m_sheet->draw(cell->second, corner - pixelCorner(), image);
        }
        if (!m_isShown)
            wl_subsurface_set_desync(m_subsurface.get());
        if (isNew || !m_isShown)
            wl_surface_attach(m_surface.get(), m_sheet->buffer(), 0, 0);
        m_isShown = true;
        const QSize size = m_sheet->cell();
        wp_viewport_set_source(m_viewport.get(), 0, wl_fixed_from_int(cell->second * size.height()),
                               wl_fixed_from_int(size.width()), wl_fixed_from_int(size.height()));
        wp_viewport_set_destination(m_viewport.get(), m_points.width(), m_points.height());
        wl_surface_damage(m_surface.get(), 0, 0, m_points.width(), m_points.height());
        ask();
        wl_surface_commit(m_surface.get());
        wl_display_flush(m_globals.display);
        return true;
    }

    bool isCovered() const override { return m_frame && m_pictures >= PicturesUntilCovered; }

private:
    static bool isOpaque(const QImage& image)
    {
        for (int y = 0; y < image.height(); ++y) {
            const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
            if (!std::all_of(line, line + image.width(), [](QRgb pixel) { return qAlpha(pixel) == 255; }))
                return false;
        }
        return true;
    }

    QPoint pixelCorner() const
    {
        return QPoint(static_cast<int>(std::lround(m_points.x() * m_scale)),
                      static_cast<int>(std::lround(m_points.y() * m_scale)));
    }

    bool prepareSheet()
    {
        const QSize cell(static_cast<int>(std::lround(m_points.width() * m_scale)),
                         static_cast<int>(std::lround(m_points.height() * m_scale)));
        if (!m_sheet || m_sheet->cell() != cell)
            m_sheet = Sheet::make(*m_globals.memory, cell);
        return m_sheet != nullptr;
    }

    void ask()
    {
        ++m_pictures;
        if (m_frame || m_pictures < PicturesBetweenQuestions)
            return;
        m_pictures = 0;
        m_frame.reset(wl_surface_frame(m_surface.get()));
        static constexpr wl_callback_listener answer{[](void* data, wl_callback*, uint32_t) {
            auto& self = *static_cast<WaylandPaint*>(data);
            const bool wasCovered = self.isCovered();
            self.m_frame.reset();
            self.m_pictures = 0;
            if (wasCovered)
                self.m_uncovered();
        }};
        wl_callback_add_listener(m_frame.get(), &answer, this);
    }

    void end()
    {
        if (connection() == m_globals.display) {
            m_frame.reset();
            m_subsurface.reset();
            m_viewport.reset();
            m_surface.reset();
        } else {
            // They went with the application.
            static_cast<void>(m_frame.release());
            static_cast<void>(m_subsurface.release());
            static_cast<void>(m_viewport.release());
            static_cast<void>(m_surface.release());
            if (m_sheet)
                m_sheet->forgetConnection();
        }
        m_sheet.reset();
    }

    const Globals& m_globals;
    const QPointer<QWindow> m_window;
    const double m_scale; ///< pixels of the window's surface for each of its points
    const int m_grid;     ///< on which the subsurface lies, in those points
    Owned<wl_surface, wl_surface_destroy> m_surface;
    Owned<wp_viewport, wp_viewport_destroy> m_viewport;
    Owned<wl_subsurface, wl_subsurface_destroy> m_subsurface; ///< null: the window's surface has gone
    Owned<wl_callback, wl_callback_destroy> m_frame;          ///< asked, and not answered
    std::unique_ptr<Sheet> m_sheet;
    QRect m_place;                 ///< of the pictures, in device pixels of the window
    QRect m_points;                ///< of the subsurface, in points of the window's surface
    std::map<qint64, int> m_cells; ///< of the sheet, by the key of the picture that is in it
    int m_pictures = 0;            ///< since the last question or answer
    bool m_isShown = false;
    bool m_isTranslucent = false; ///< what the window shows there: a picture would be laid over what is painted
    const std::function<void()> m_uncovered;
};

} // namespace

std::unique_ptr<DirectPaint> makeWaylandPaint(QWindow& window, std::function<void()> uncovered)
{
    wl_display* display = connection();
    if (!display || !window.handle() || !window.handle()->frameMargins().isNull())
        return nullptr;
    const Globals& globals = Globals::of(display);
    auto* surface = static_cast<wl_surface*>(
        QGuiApplication::platformNativeInterface()->nativeResourceForWindow("surface", &window));
    const std::optional<int> grid = gridOf(window.handle()->devicePixelRatio());
    if (!surface || !globals.areUseful() || !grid)
        return nullptr;
    return std::make_unique<WaylandPaint>(globals, window, *surface, *grid, std::move(uncovered));
}

} // namespace platform
