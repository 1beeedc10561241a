#pragma once

class QWindow;

/// The few things that Qt does not ask of an X server itself. All do nothing, or say no, on other platforms.
namespace platform::x11 {

/// Whether the program's windows are on an X server.
bool isRunning();

/// Whether somebody composites the screen, so that translucent windows are translucent (EWMH 1.5, `_NET_WM_CM_Sn`). One
/// round trip.
bool isComposited();

/// Keeps a mapped window out of task bars and pagers (EWMH 1.5, `_NET_WM_STATE`).
void skipTaskBar(const QWindow& window);

} // namespace platform::x11
