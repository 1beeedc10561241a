#pragma once

#include "Xcb.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <functional>
#include <optional>

namespace platform {

/// Whether a window is hidden by another one, where a compositing manager runs: then the server draws each window
/// somewhere of its own, and reports none as covered. Looks at what the window manager says about stacking, desktops
/// and states (EWMH 1.5), at places, and at what is opaque. Only a window that hides it alone counts, not several
/// together.
///
/// Asks the server, in three to six round trips: of a window that was not hidden with `isHidden`, if the order of
/// windows has changed, or now and then, since one may have grown; of a hidden one a moment after a change. Main thread
/// only.
class X11Cover final : public QObject
{
public:
    /// `shown` is called when the window is hidden no longer.
    X11Cover(xcb_connection_t* x, xcb_window_t window, std::function<void()> shown);
    ~X11Cover() override;
    Q_DISABLE_COPY_MOVE(X11Cover)

    bool isHidden();

    /// To be called with every event of the connection.
    void see(const xcb_generic_event_t& event);

private:
    struct Question;
    using Values = std::vector<std::uint32_t>;

    void look();
    std::optional<xcb_window_t> findCover();
    /// Those that lie above the window, as far as the window manager knows them both.
    std::vector<xcb_window_t> windowsAbove() const;
    Question ask(xcb_window_t window) const;
    bool hides(Question& question, const QRect& place, std::uint32_t desktop) const;
    xcb_get_property_cookie_t askProperty(xcb_window_t window, xcb_atom_t name) const;
    Values values(xcb_get_property_cookie_t asked) const;
    void hearOf(xcb_window_t cover);

    xcb_connection_t* const m_x;
    const xcb_window_t m_window;
    const std::function<void()> m_shown;
    enum Name
    {
        Stacking,
        Active,
        CurrentDesktop,
        Desktop,
        State,
        Hidden,
        OpaqueRegion,
        Opacity,
        NameCount
    };
    const std::array<xcb_atom_t, NameCount> m_names;
    bool m_hasChanged = true;
    bool m_isComposited = false;
    QElapsedTimer m_sinceLook;
    QTimer m_soon;
    /// The window that hides it.
    std::optional<xcb_window_t> m_cover;
    /// What this connection hears of that one anyway: it may be a window of ours.
    std::uint32_t m_coverEvents = 0;
};

} // namespace platform
