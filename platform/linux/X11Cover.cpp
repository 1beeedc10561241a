#include "X11Cover.h"

#include <QRect>

#include <algorithm>
#include <utility>

namespace platform {

using namespace std::chrono_literals;

namespace {

constexpr auto Settling = 100ms; // a change comes as several events
constexpr std::chrono::milliseconds LookAgain = 10s;
constexpr std::size_t MostWindows = 64;
constexpr std::uint32_t AllDesktops = 0xffffffff;
constexpr std::uint32_t Opaque = 0xffffffff;
constexpr int DepthWithAlpha = 32;

QRect rectOf(const xcb_get_geometry_reply_t& geometry, const xcb_translate_coordinates_reply_t& corner)
{
    return {corner.dst_x, corner.dst_y, geometry.width, geometry.height};
}

} // namespace

/// All that is asked about a window, on its way. Replies that nobody reads would stay with the connection.
struct X11Cover::Question
{
    xcb_get_window_attributes_cookie_t attributes;
    xcb_get_geometry_cookie_t geometry;
    xcb_translate_coordinates_cookie_t corner;
    xcb_get_property_cookie_t state, desktop, opaqueRegion, opacity;
};

X11Cover::X11Cover(xcb_connection_t* x, xcb_window_t window, std::function<void()> shown)
    : m_x(x), m_window(window), m_shown(std::move(shown)),
      m_names(x11::atoms<NameCount>(x, {"_NET_CLIENT_LIST_STACKING", "_NET_ACTIVE_WINDOW", "_NET_CURRENT_DESKTOP",
                                        "_NET_WM_DESKTOP", "_NET_WM_STATE", "_NET_WM_STATE_HIDDEN",
                                        "_NET_WM_OPAQUE_REGION", "_NET_WM_WINDOW_OPACITY"}))
{
    m_soon.setSingleShot(true);
    m_soon.setInterval(Settling);
    connect(&m_soon, &QTimer::timeout, this, [this] {
        m_isComposited = x11::isComposited();
        look();
        if (!m_cover)
            m_shown();
    });
}

X11Cover::~X11Cover()
{
    // The connection goes with the application, which may be before us.
    if (x11::connection() == m_x)
        hearOf(XCB_WINDOW_NONE);
}

bool X11Cover::isHidden()
{
    if (std::exchange(m_hasChanged, false)) {
        m_isComposited = x11::isComposited();
        look();
    } else if (m_isComposited && !m_cover && m_sinceLook.hasExpired(LookAgain.count())) {
        look();
    }
    return m_cover.has_value();
}

void X11Cover::see(const xcb_generic_event_t& event)
{
    const auto changes = [&]() -> bool {
        switch (event.response_type & 0x7f) { // without the bit of those that were sent
        case XCB_PROPERTY_NOTIFY: {
            const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
            return change.window == x11::root(m_x) &&
                   std::find(m_names.begin(), m_names.begin() + Desktop, change.atom) != m_names.begin() + Desktop;
        }
        case XCB_CONFIGURE_NOTIFY:
            return m_cover == reinterpret_cast<const xcb_configure_notify_event_t&>(event).window;
        case XCB_UNMAP_NOTIFY:
            return m_cover == reinterpret_cast<const xcb_unmap_notify_event_t&>(event).window;
        case XCB_DESTROY_NOTIFY:
            return m_cover == reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window;
        default:
            return false;
        }
    };
    if (!changes())
        return;
    if (m_cover)
        m_soon.start();
    else
        m_hasChanged = true;
}

void X11Cover::look()
{
    m_sinceLook.start();
    const std::optional<xcb_window_t> cover = m_isComposited ? findCover() : std::nullopt;
    if (cover == m_cover)
        return;
    hearOf(cover.value_or(XCB_WINDOW_NONE));
    m_cover = cover;
}

std::optional<xcb_window_t> X11Cover::findCover()
{
    const std::vector<xcb_window_t> above = windowsAbove();
    if (above.empty())
        return {};
    const auto desktopAsked = askProperty(x11::root(m_x), m_names[CurrentDesktop]);
    const auto geometryAsked = xcb_get_geometry(m_x, m_window);
    const auto cornerAsked = xcb_translate_coordinates(m_x, m_window, x11::root(m_x), 0, 0);
    std::vector<Question> questions;
    questions.reserve(above.size());
    for (const xcb_window_t window : above)
        questions.push_back(ask(window));

    const Values desktop = values(desktopAsked);
    const x11::Reply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(m_x, geometryAsked, nullptr));
    const x11::Reply<xcb_translate_coordinates_reply_t> corner(
        xcb_translate_coordinates_reply(m_x, cornerAsked, nullptr));
    const QRect place = geometry && corner ? rectOf(*geometry, *corner) : QRect();
    std::optional<xcb_window_t> cover;
    for (std::size_t i = 0; i < above.size(); ++i) {
        if (hides(questions[i], place, desktop.empty() ? 0 : desktop.front()))
            cover = above[i];
    }
    return cover;
}

std::vector<xcb_window_t> X11Cover::windowsAbove() const
{
    const std::vector<std::uint32_t> stack = x11::stack();
    // The window manager knows the window itself, or, of one in a panel, the panel.
    auto self = stack.end();
    for (xcb_window_t window = m_window; window != XCB_WINDOW_NONE && self == stack.end();) {
        self = std::ranges::find(stack, window);
        const x11::Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(m_x, xcb_query_tree(m_x, window), nullptr));
        window = tree ? tree->parent : xcb_window_t{XCB_WINDOW_NONE};
    }
    if (self == stack.end())
        return {};
    const auto first = stack.end() - self - 1 > std::ptrdiff_t(MostWindows) ? stack.end() - MostWindows : self + 1;
    return {first, stack.end()};
}

X11Cover::Question X11Cover::ask(xcb_window_t window) const
{
    return {xcb_get_window_attributes(m_x, window),
            xcb_get_geometry(m_x, window),
            xcb_translate_coordinates(m_x, window, x11::root(m_x), 0, 0),
            askProperty(window, m_names[State]),
            askProperty(window, m_names[Desktop]),
            askProperty(window, m_names[OpaqueRegion]),
            askProperty(window, m_names[Opacity])};
}

bool X11Cover::hides(Question& question, const QRect& place, std::uint32_t desktop) const
{
    const x11::Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(m_x, question.attributes, nullptr));
    const x11::Reply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(m_x, question.geometry, nullptr));
    const x11::Reply<xcb_translate_coordinates_reply_t> corner(
        xcb_translate_coordinates_reply(m_x, question.corner, nullptr));
    const Values state = values(question.state);
    const Values itsDesktop = values(question.desktop);
    const Values opaqueRegion = values(question.opaqueRegion);
    const Values opacity = values(question.opacity);
    if (!attributes || !geometry || !corner || place.isEmpty() || attributes->map_state != XCB_MAP_STATE_VIEWABLE ||
        std::ranges::find(state, m_names[Hidden]) != state.end() || (!opacity.empty() && opacity.front() != Opaque) ||
        (!itsDesktop.empty() && itsDesktop.front() != AllDesktops && itsDesktop.front() != desktop))
        return false;
    const QRect whole = rectOf(*geometry, *corner);
    if (geometry->depth != DepthWithAlpha)
        return whole.contains(place);
    for (std::size_t i = 0; i + 3 < opaqueRegion.size(); i += 4) {
        const QRect part(int(opaqueRegion[i]), int(opaqueRegion[i + 1]), int(opaqueRegion[i + 2]),
                         int(opaqueRegion[i + 3]));
        if (part.translated(whole.topLeft()).contains(place))
            return true;
    }
    return false;
}

xcb_get_property_cookie_t X11Cover::askProperty(xcb_window_t window, xcb_atom_t name) const
{
    constexpr std::uint32_t most = 64;
    return xcb_get_property(m_x, 0, window, name, XCB_GET_PROPERTY_TYPE_ANY, 0, most);
}

X11Cover::Values X11Cover::values(xcb_get_property_cookie_t asked) const
{
    const x11::Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(m_x, asked, nullptr));
    if (!reply || reply->format != 32)
        return {};
    const auto* first = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    return {first, first + xcb_get_property_value_length(reply.get()) / sizeof *first};
}

void X11Cover::hearOf(xcb_window_t cover)
{
    // The windows of others go when they like: what fails here is no error.
    const auto select = [this](xcb_window_t window, std::uint32_t events) {
        xcb_discard_reply(m_x, xcb_change_window_attributes_checked(m_x, window, XCB_CW_EVENT_MASK, &events).sequence);
    };
    if (m_cover)
        select(*m_cover, m_coverEvents);
    if (cover != XCB_WINDOW_NONE) {
        const x11::Reply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(m_x, xcb_get_window_attributes(m_x, cover), nullptr));
        m_coverEvents = attributes ? attributes->your_event_mask : 0;
        select(cover, m_coverEvents | XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    }
    xcb_flush(m_x);
}

} // namespace platform
