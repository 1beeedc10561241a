#pragma once

#include <cstdint>

/// From now on GNOME's settings name this proxy on loopback for all addresses; 0: none. For this process alone: its
/// environment must name GNOME as the desktop, and memory as where settings are kept.
void setDesktopProxy(std::uint16_t port);

/// Likewise a script that does. It is run by a service on the session bus.
void setDesktopProxyScript();
