#include "XEmbedDock.h"

#include "PopUp.h"
#include "Xcb.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QMenu>
#include <QPaintEvent>
#include <QPainter>
#include <QScreen>

#include <algorithm>
#include <cmath>
#include <optional>

namespace platform {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// Points. With less the hours are clipped; a panel that gives more in height means to scale an icon.
constexpr QSize Least(66, 20);
constexpr int Highest = 40;
constexpr auto Trial = 1500ms;

// XEmbed 0.5
constexpr std::uint32_t XEmbedVersion = 0;
constexpr std::uint32_t XEmbedMapped = 1;
constexpr std::uint32_t RequestDock = 0;

/// A place on the screen in the program's points, from the server's pixels. A screen's corner is the same in both.
QPoint inPoints(QPoint pixels)
{
    for (const QScreen* screen : QGuiApplication::screens()) {
        const QPoint corner = screen->geometry().topLeft();
        const double scale = screen->devicePixelRatio();
        if (QRect(corner, screen->geometry().size() * scale).contains(pixels))
            return corner + QPointF(QPointF(pixels - corner) / scale).toPoint();
    }
    return pixels;
}

/// Whether the notification area's windows can be translucent.
bool isTranslucent(xcb_connection_t* x, xcb_window_t tray)
{
    const auto [property] = x11::atoms<1>(x, {"_NET_SYSTEM_TRAY_VISUAL"});
    const x11::Reply<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(x, xcb_get_property(x, 0, tray, property, XCB_ATOM_VISUALID, 0, 1), nullptr));
    if (!reply || xcb_get_property_value_length(reply.get()) < 4)
        return false;
    const auto wanted = *static_cast<const xcb_visualid_t*>(xcb_get_property_value(reply.get()));
    for (auto screen = xcb_setup_roots_iterator(xcb_get_setup(x)); screen.rem; xcb_screen_next(&screen)) {
        for (auto depth = xcb_screen_allowed_depths_iterator(screen.data); depth.rem; xcb_depth_next(&depth)) {
            const auto* visuals = xcb_depth_visuals(depth.data);
            const auto* end = visuals + xcb_depth_visuals_length(depth.data);
            if (std::any_of(visuals, end, [&](const auto& visual) { return visual.visual_id == wanted; }))
                return depth.data->depth == 32;
        }
    }
    return false;
}

} // namespace

XEmbedDock::XEmbedDock(TimeSource& time, std::uint32_t tray, const ItemContent& content, std::function<void()> refused)
    : ViewCarrier(*content.view, Qt::X11BypassWindowManagerHint), m_time(time), m_tray(tray),
      m_refused(std::move(refused))
{
    setAttribute(Qt::WA_TranslucentBackground, isTranslucent(x11::connection(), m_tray));
    qApp->installNativeEventFilter(this);
    setContent(content);
    m_view->show();
    dock();
}

XEmbedDock::~XEmbedDock()
{
    qApp->removeNativeEventFilter(this);
}

void XEmbedDock::setLength(double points)
{
    m_length = points;
    // Panels go by the minimum size.
    const QSize size(static_cast<int>(std::ceil(points)), Thickness);
    if (size != minimumSize()) {
        setMinimumSize(size);
        resize(size.width(), std::max(height(), Thickness));
    }
    layOutView();
}

void XEmbedDock::dock()
{
    xcb_connection_t* x = x11::connection();
    m_id = static_cast<xcb_window_t>(winId());
    const auto [info, request] = x11::atoms<2>(x, {"_XEMBED_INFO", "_NET_SYSTEM_TRAY_OPCODE"});
    const std::array state{XEmbedVersion, XEmbedMapped};
    xcb_change_property(x, XCB_PROP_MODE_REPLACE, m_id, info, info, 32, state.size(), state.data());
    x11::sendMessage(x, m_tray, XCB_EVENT_MASK_NO_EVENT, m_tray, request, {XCB_CURRENT_TIME, RequestDock, m_id});
    xcb_flush(x);
    judgeLater();
}

bool XEmbedDock::nativeEventFilter(const QByteArray& /*type*/, void* message, qintptr* /*result*/)
{
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    constexpr int sentBit = 0x80;
    if ((event->response_type & ~sentBit) != XCB_REPARENT_NOTIFY)
        return false;
    const auto* moved = reinterpret_cast<const xcb_reparent_notify_event_t*>(event);
    if (moved->window != m_id || moved->event != m_id)
        return false;
    const bool docked = moved->parent != x11::root(x11::connection());
    if (std::exchange(m_docked, docked) != docked)
        QMetaObject::invokeMethod(this, &XEmbedDock::dockedOrPutOut, Qt::QueuedConnection);
    return false;
}

void XEmbedDock::dockedOrPutOut()
{
    setVisible(m_docked && m_view);
    m_patience = 0;
    judgeLater();
}

void XEmbedDock::layOutView()
{
    if (!m_view)
        return;
    const int width = std::min(static_cast<int>(std::ceil(m_length)), this->width());
    m_view->setGeometry((this->width() - width) / 2, 0, width, height());
}

void XEmbedDock::resizeEvent(QResizeEvent*)
{
    layOutView();
    if (m_docked)
        judgeLater();
}

void XEmbedDock::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    const bool clear = testAttribute(Qt::WA_TranslucentBackground);
    painter.fillRect(event->rect(), clear ? QColor(Qt::transparent) : palette().color(QPalette::Window));
}

void XEmbedDock::judgeLater()
{
    m_trial = m_time.repeat(Trial, [this] {
        m_trial.reset();
        if (fits())
            return;
        // At login a panel may be busy for some time.
        if (!m_docked && m_patience-- > 0) {
            judgeLater();
            return;
        }
        hide();
        m_refused();
    });
}

bool XEmbedDock::fits() const
{
    const QSize size = granted();
    return m_docked && size.width() >= Least.width() && size.height() >= Least.height() && size.height() <= Highest;
}

QSize XEmbedDock::granted() const
{
    xcb_connection_t* x = x11::connection();
    const x11::Reply<xcb_get_geometry_reply_t> reply(xcb_get_geometry_reply(x, xcb_get_geometry(x, m_id), nullptr));
    return reply ? (QSizeF(reply->width, reply->height) / devicePixelRatioF()).toSize() : QSize();
}

QRect XEmbedDock::area() const
{
    xcb_connection_t* x = x11::connection();
    const x11::Reply<xcb_translate_coordinates_reply_t> reply(
        xcb_translate_coordinates_reply(x, xcb_translate_coordinates(x, m_id, x11::root(x), 0, 0), nullptr));
    return reply ? QRect(inPoints({reply->dst_x, reply->dst_y}), granted()) : geometry();
}

StatusItem::Place XEmbedDock::place() const
{
    return {true, isVisible() ? std::optional(area()) : std::nullopt};
}

void XEmbedDock::popUpMenu(QMenu& menu)
{
    popUpBeside(menu, area());
}

QString XEmbedDock::describe() const
{
    const QSize size = granted();
    return u"docked in the panel, which grants %1 × %2 points"_s.arg(size.width()).arg(size.height());
}

} // namespace platform
