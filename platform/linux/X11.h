#pragma once

#include <QByteArray>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

class QWindow;
struct xcb_connection_t;

/// X server requests that Qt does not offer. All do nothing, or return "no", on other platforms.
namespace platform::x11 {

struct Free
{
    void operator()(void* reply) const { std::free(reply); }
};
/// What xcb allocated for an answer.
template <class T>
using Reply = std::unique_ptr<T, Free>;

/// Whether the program's windows are on an X server.
bool isRunning();

/// Qt's own connection to the X server. Null: the program's windows are elsewhere.
xcb_connection_t* connection();

/// The number of the program's screen, as used in the names of selections.
int screenNumber();

/// The root window of the program's screen.
std::uint32_t root(xcb_connection_t* connection);

/// Whether a compositing manager runs, so that windows can be translucent (EWMH 1.5, `_NET_WM_CM_Sn`). One round trip.
bool isComposited();

/// Keeps a window out of task bars, pagers and switchers (EWMH 1.5, `_NET_WM_STATE`) until it is hidden. It is already
/// shown, or about to be.
void skipTaskBar(const QWindow& window);

/// All managed windows, the lowest first (EWMH 1.5, `_NET_CLIENT_LIST_STACKING`). Empty: the window manager does not
/// report them. One round trip.
std::vector<std::uint32_t> stack();

/// Tells the desktop that what was started with that id is now visible (Startup Notification 0.1), which ends the busy
/// pointer.
void endStartup(const QByteArray& id);

} // namespace platform::x11
