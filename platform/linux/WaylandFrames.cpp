#include "WaylandFrames.h"

#include "WaylandOwned.h"

#include <xdg-decoration-unstable-v1-client-header.h>
#include <xdg-shell-client-header.h>

#include <cstring>

#include <wayland-client.h>

namespace platform {

namespace {

/// KWin answers only after the turn of its loop in which it was asked.
constexpr int MostRoundTrips = 5;

template <class T, auto function>
using Owned = WaylandOwned<T, function>;

struct Globals
{
    Owned<wl_compositor, wl_compositor_destroy> compositor;
    Owned<xdg_wm_base, xdg_wm_base_destroy> shell;
    Owned<zxdg_decoration_manager_v1, zxdg_decoration_manager_v1_destroy> decorations;

    static void appeared(void* data, wl_registry* registry, uint32_t name, const char* interface, uint32_t)
    {
        auto& self = *static_cast<Globals*>(data);
        const auto take = [&]<class Global>(Global& global, const wl_interface& known) {
            if (!global && std::strcmp(interface, known.name) == 0)
                global.reset(static_cast<typename Global::pointer>(wl_registry_bind(registry, name, &known, 1)));
        };
        take(self.compositor, wl_compositor_interface);
        take(self.shell, xdg_wm_base_interface);
        take(self.decorations, zxdg_decoration_manager_v1_interface);
    }
};

} // namespace

bool compositorInsistsOnFrames()
{
    const Owned<wl_display, wl_display_disconnect> display(wl_display_connect(nullptr));
    if (!display)
        return false;
    const Owned<wl_registry, wl_registry_destroy> registry(wl_display_get_registry(display.get()));
    Globals globals;
    static constexpr wl_registry_listener appearances{&Globals::appeared, [](void*, wl_registry*, uint32_t) {}};
    wl_registry_add_listener(registry.get(), &appearances, &globals);
    wl_display_roundtrip(display.get());
    if (!globals.compositor || !globals.shell || !globals.decorations)
        return false;

    // The last of these goes first, as the protocol wants it.
    const Owned<wl_surface, wl_surface_destroy> surface(wl_compositor_create_surface(globals.compositor.get()));
    const Owned<xdg_surface, xdg_surface_destroy> window(
        xdg_wm_base_get_xdg_surface(globals.shell.get(), surface.get()));
    const Owned<xdg_toplevel, xdg_toplevel_destroy> toplevel(xdg_surface_get_toplevel(window.get()));
    const Owned<zxdg_toplevel_decoration_v1, zxdg_toplevel_decoration_v1_destroy> decoration(
        zxdg_decoration_manager_v1_get_toplevel_decoration(globals.decorations.get(), toplevel.get()));
    uint32_t mode = 0;
    static constexpr zxdg_toplevel_decoration_v1_listener answer{
        [](void* data, zxdg_toplevel_decoration_v1*, uint32_t given) { *static_cast<uint32_t*>(data) = given; }};
    zxdg_toplevel_decoration_v1_add_listener(decoration.get(), &answer, &mode);
    zxdg_toplevel_decoration_v1_set_mode(decoration.get(), ZXDG_TOPLEVEL_DECORATION_V1_MODE_CLIENT_SIDE);
    wl_surface_commit(surface.get());
    for (int n = 0; mode == 0 && n < MostRoundTrips; ++n) {
        if (wl_display_roundtrip(display.get()) < 0)
            break;
    }
    return mode == ZXDG_TOPLEVEL_DECORATION_V1_MODE_SERVER_SIDE;
}

} // namespace platform
