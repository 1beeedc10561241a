#pragma once

namespace platform {

/// Whether the compositor draws the frame of each window, whatever the window wishes, as tiling ones do
/// (wayland-protocols, unstable/xdg-decoration). Asks with a window that is never shown, over a connection of its own:
/// a few round trips. False where there is no compositor.
bool compositorInsistsOnFrames();

} // namespace platform
