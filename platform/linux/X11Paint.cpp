#include "X11Paint.h"

#include "Xcb.h"

#include <QImage>
#include <QWindow>

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

class X11Paint final : public DirectPaint
{
public:
    X11Paint(xcb_connection_t* x, xcb_window_t window, std::uint8_t depth)
        : m_x(x), m_window(window), m_depth(depth), m_context(xcb_generate_id(x))
    {
        xcb_create_gc(m_x, m_context, m_window, 0, nullptr);
    }
    ~X11Paint() override
    {
        // The connection goes with the application, which may be before us.
        if (x11::connection() == m_x)
            xcb_free_gc(m_x, m_context);
    }
    Q_DISABLE_COPY_MOVE(X11Paint)

    bool isFor(const QWindow& window) const override { return window.handle() && window.winId() == m_window; }

    void put(QPoint corner, const QImage& image) override
    {
        const QImage pixels = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        xcb_put_image(m_x, XCB_IMAGE_FORMAT_Z_PIXMAP, m_window, m_context, static_cast<std::uint16_t>(pixels.width()),
                      static_cast<std::uint16_t>(pixels.height()), static_cast<std::int16_t>(corner.x()),
                      static_cast<std::int16_t>(corner.y()), 0, m_depth,
                      static_cast<std::uint32_t>(pixels.sizeInBytes()), pixels.constBits());
        xcb_flush(m_x);
    }

private:
    xcb_connection_t* const m_x;
    const xcb_window_t m_window;
    const std::uint8_t m_depth;
    const xcb_gcontext_t m_context;
};

} // namespace

std::unique_ptr<DirectPaint> makeX11Paint(QWindow& window)
{
    xcb_connection_t* x = x11::connection();
    if (!x)
        return nullptr;
    const auto id = static_cast<xcb_window_t>(window.winId());
    const x11::Reply<xcb_get_geometry_reply_t> reply(xcb_get_geometry_reply(x, xcb_get_geometry(x, id), nullptr));
    if (!reply || !hasOurPixels(x, reply->depth))
        return nullptr;
    return std::make_unique<X11Paint>(x, id, reply->depth);
}

} // namespace platform
