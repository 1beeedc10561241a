#include "FaceWatch.h"

#include "Report.h"

#include <cstdlib>
#include <memory>
#include <set>
#include <stdexcept>

#include <poll.h>

namespace bench {

namespace {

struct Free
{
    void operator()(void* reply) const { std::free(reply); }
};
template <class T>
std::unique_ptr<T, Free> owned(T* reply)
{
    return std::unique_ptr<T, Free>(reply);
}

// Smaller ones are the toolkit's helpers, which are never shown.
constexpr int SmallestFace = 16;

// A window without a picture shows one colour, or what was below it: a plain background.
constexpr std::size_t FewestColours = 5;

} // namespace

FaceWatch::FaceWatch() : m_connection(xcb_connect(nullptr, nullptr))
{
    if (xcb_connection_has_error(m_connection) != 0)
        throw std::runtime_error("no X server");
    m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    const xcb_query_extension_reply_t* damage = xcb_get_extension_data(m_connection, &xcb_damage_id);
    if (!damage || !damage->present)
        throw std::runtime_error("the X server has no damage extension");
    m_damageEvent = damage->first_event;
    owned(xcb_damage_query_version_reply(m_connection, xcb_damage_query_version(m_connection, 1, 1), nullptr));
    const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(m_connection, m_root, XCB_CW_EVENT_MASK, &mask);
    xcb_flush(m_connection);
}

FaceWatch::~FaceWatch()
{
    xcb_disconnect(m_connection);
}

void FaceWatch::expectNewProgram()
{
    // Answered after all events of before.
    owned(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    while (nextEvent(0)) {
    }
    m_windows.clear();
    m_face = XCB_WINDOW_NONE;
}

void FaceWatch::watchWindow(xcb_window_t window, int width, int height)
{
    if (width < SmallestFace || height < SmallestFace || m_windows.contains(window))
        return;
    const xcb_damage_damage_t damage = xcb_generate_id(m_connection);
    xcb_damage_create(m_connection, damage, window, XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
    xcb_flush(m_connection);
    m_windows[window] = damage;
}

std::optional<int> FaceWatch::nextEvent(double until)
{
    for (;;) {
        if (const auto event = owned(xcb_poll_for_event(m_connection))) {
            const int type = event->response_type & 0x7f;
            if (type == XCB_CREATE_NOTIFY) {
                const auto* made = reinterpret_cast<const xcb_create_notify_event_t*>(event.get());
                watchWindow(made->window, made->width, made->height);
            } else if (type == XCB_CONFIGURE_NOTIFY) {
                // Some toolkits make their windows small, and give them their size before they show them.
                const auto* sized = reinterpret_cast<const xcb_configure_notify_event_t*>(event.get());
                watchWindow(sized->window, sized->width, sized->height);
            } else if (type == m_damageEvent) {
                const auto* changed = reinterpret_cast<const xcb_damage_notify_event_t*>(event.get());
                m_drawn = changed->drawable;
                m_drawnAt = changed->timestamp;
            }
            return type;
        }
        if (xcb_connection_has_error(m_connection) != 0)
            throw std::runtime_error("the X server is gone");
        const double left = until - now();
        if (left <= 0)
            return std::nullopt;
        pollfd readable{xcb_get_file_descriptor(m_connection), POLLIN, 0};
        poll(&readable, 1, static_cast<int>(left * 1000) + 1);
    }
}

bool FaceWatch::showsPicture(xcb_window_t window, int leastWidth, Part part) const
{
    const auto geometry = owned(xcb_get_geometry_reply(m_connection, xcb_get_geometry(m_connection, window), nullptr));
    if (!geometry || geometry->width < leastWidth)
        return false;
    const int share = part == Part::Middle ? 2 : 1;
    const auto width = static_cast<uint16_t>(geometry->width / share);
    const auto height = static_cast<uint16_t>(geometry->height / share);
    const auto image = owned(
        xcb_get_image_reply(m_connection,
                            xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, window,
                                          static_cast<int16_t>((geometry->width - width) / 2),
                                          static_cast<int16_t>((geometry->height - height) / 2), width, height, ~0u),
                            nullptr));
    if (!image)
        return false;
    const auto* pixels = reinterpret_cast<const uint32_t*>(xcb_get_image_data(image.get()));
    const auto count = static_cast<std::size_t>(xcb_get_image_data_length(image.get())) / sizeof(uint32_t);
    std::set<uint32_t> colours;
    for (std::size_t i = 0; i < count && colours.size() < FewestColours; ++i)
        colours.insert(pixels[i]);
    return colours.size() >= FewestColours;
}

bool FaceWatch::awaitFace(double patience, int width, Part part)
{
    const double until = now() + patience;
    while (const auto type = nextEvent(until)) {
        if (*type == m_damageEvent && m_windows.contains(m_drawn) && showsPicture(m_drawn, width, part)) {
            m_face = m_drawn;
            return true;
        }
    }
    return false;
}

int FaceWatch::countRepaints(double seconds)
{
    const double until = now() + seconds;
    int repaints = 0;
    std::optional<xcb_timestamp_t> last;
    while (const auto type = nextEvent(until)) {
        // One repaint may draw several rectangles in a row.
        if (*type == m_damageEvent && m_drawn == m_face && (!last || m_drawnAt - *last > 2)) {
            ++repaints;
            last = m_drawnAt;
        }
    }
    return repaints;
}

} // namespace bench
