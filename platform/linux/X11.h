#pragma once

#include <QByteArray>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

class QWindow;
struct xcb_connection_t;

/// The few things that Qt does not ask of an X server itself. All do nothing, or say no, on other platforms.
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

/// The number of the program's screen, as it stands in the names of selections.
int screenNumber();

/// The root window of the program's screen.
std::uint32_t root(xcb_connection_t* connection);

/// Whether somebody composites the screen, so that translucent windows are translucent (EWMH 1.5, `_NET_WM_CM_Sn`). One
/// round trip.
bool isComposited();

/// Keeps a window out of task bars, pagers and switchers (EWMH 1.5, `_NET_WM_STATE`) until it is hidden. It is shown
/// already, or about to be.
void skipTaskBar(const QWindow& window);

/// All managed windows, the lowest first (EWMH 1.5, `_NET_CLIENT_LIST_STACKING`). Empty: the window manager tells
/// nothing. One round trip.
std::vector<std::uint32_t> stack();

/// Tells the desktop that what was started under that id shows itself now (Startup Notification 0.1): it shows a busy
/// pointer until then.
void endStartup(const QByteArray& id);

} // namespace platform::x11
