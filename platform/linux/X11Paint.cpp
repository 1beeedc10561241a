#include "X11Paint.h"

#include "X11Cover.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QImage>
#include <QWindow>

#include <xcb/screensaver.h>

#include <algorithm>

namespace platform {

namespace {

/// Whether the server's pixels of that depth are words like ours.
bool hasOurPixels(xcb_connection_t* x, int depth)
{
    const xcb_setup_t* setup = xcb_get_setup(x);
    const bool littleEndian = QSysInfo::ByteOrder == QSysInfo::LittleEndian;
    if (setup->image_byte_order != (littleEndian ? XCB_IMAGE_ORDER_LSB_FIRST : XCB_IMAGE_ORDER_MSB_FIRST))
        return false;
    const xcb_format_t* formats = xcb_setup_pixmap_formats(setup);
    return (depth == 24 || depth == 32) &&
           std::any_of(formats, formats + xcb_setup_pixmap_formats_length(setup),
                       [depth](const auto& format) { return format.depth == depth && format.bits_per_pixel == 32; });
}

class X11Paint final : public DirectPaint, public QAbstractNativeEventFilter
{
public:
    X11Paint(xcb_connection_t* x, xcb_window_t window, std::uint8_t depth, std::uint32_t eventMask,
             std::function<void()> uncovered)
        : m_x(x), m_window(window), m_depth(depth), m_context(xcb_generate_id(x)), m_uncovered(std::move(uncovered)),
          m_cover(x, window, [this] { tellUncovered(); })
    {
        xcb_create_gc(m_x, m_context, m_window, 0, nullptr);
        const std::uint32_t mask = eventMask | XCB_EVENT_MASK_VISIBILITY_CHANGE;
        xcb_change_window_attributes(m_x, m_window, XCB_CW_EVENT_MASK, &mask);
        const xcb_query_extension_reply_t* saver = xcb_get_extension_data(m_x, &xcb_screensaver_id);
        if (saver && saver->present) {
            m_saverEvent = saver->first_event + XCB_SCREENSAVER_NOTIFY;
            xcb_screensaver_select_input(m_x, x11::root(m_x), XCB_SCREENSAVER_EVENT_NOTIFY_MASK);
        }
        qApp->installNativeEventFilter(this);
    }
    ~X11Paint() override
    {
        if (qApp)
            qApp->removeNativeEventFilter(this);
        // The connection goes with the application, which may be before us.
        if (x11::connection() == m_x)
            xcb_free_gc(m_x, m_context);
    }
    Q_DISABLE_COPY_MOVE(X11Paint)

    bool isFor(const QWindow& window) const override { return window.handle() && window.winId() == m_window; }

    void giveWay(QRect) override {} // what the toolkit paints covers it
    bool reaches(QRect) const override { return true; }

    bool put(QPoint corner, const QImage& image) override
    {
        const QImage pixels = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        xcb_put_image(m_x, XCB_IMAGE_FORMAT_Z_PIXMAP, m_window, m_context, static_cast<std::uint16_t>(pixels.width()),
                      static_cast<std::uint16_t>(pixels.height()), static_cast<std::int16_t>(corner.x()),
                      static_cast<std::int16_t>(corner.y()), 0, m_depth,
                      static_cast<std::uint32_t>(pixels.sizeInBytes()), pixels.constBits());
        xcb_flush(m_x);
        return true;
    }

    bool isCovered() const override { return m_isObscured || m_isSaved || m_cover.isHidden(); }

    bool nativeEventFilter(const QByteArray& /*type*/, void* message, qintptr* /*result*/) override
    {
        constexpr int sentBit = 0x80;
        const auto* event = static_cast<const xcb_generic_event_t*>(message);
        const int type = event->response_type & ~sentBit;
        const bool wasCovered = m_isObscured || m_isSaved;
        m_cover.see(*event);
        if (type == XCB_VISIBILITY_NOTIFY) {
            const auto* change = reinterpret_cast<const xcb_visibility_notify_event_t*>(event);
            if (change->window == m_window)
                m_isObscured = change->state == XCB_VISIBILITY_FULLY_OBSCURED;
        } else if (type == m_saverEvent) {
            const auto* change = reinterpret_cast<const xcb_screensaver_notify_event_t*>(event);
            m_isSaved = change->state == XCB_SCREENSAVER_STATE_ON || change->state == XCB_SCREENSAVER_STATE_CYCLE;
        }
        if (wasCovered)
            tellUncovered();
        return false;
    }

private:
    void tellUncovered()
    {
        if (!isCovered())
            m_uncovered();
    }

    xcb_connection_t* const m_x;
    const xcb_window_t m_window;
    const std::uint8_t m_depth;
    const xcb_gcontext_t m_context;
    const std::function<void()> m_uncovered;
    int m_saverEvent = -1;
    mutable X11Cover m_cover; ///< looks when it is asked
    bool m_isObscured = false;
    bool m_isSaved = false;
};

} // namespace

std::unique_ptr<DirectPaint> makeX11Paint(QWindow& window, std::function<void()> uncovered)
{
    xcb_connection_t* x = x11::connection();
    if (!x)
        return nullptr;
    const auto id = static_cast<xcb_window_t>(window.winId());
    const xcb_get_geometry_cookie_t geometryAsked = xcb_get_geometry(x, id);
    const xcb_get_window_attributes_cookie_t attributesAsked = xcb_get_window_attributes(x, id);
    const x11::Reply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(x, geometryAsked, nullptr));
    const x11::Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(x, attributesAsked, nullptr));
    if (!geometry || !attributes || !hasOurPixels(x, geometry->depth))
        return nullptr;
    return std::make_unique<X11Paint>(x, id, geometry->depth, attributes->your_event_mask, std::move(uncovered));
}

} // namespace platform
