#pragma once

// GLib before any header of Qt: its keywords would break this one.
#include <gio/gio.h>

namespace platform {

/// The functions of GIO and of its companions that are used, without their prefix.
// clang-format off
#define QUILLON_GIO_FUNCTIONS(each)                                                                                    \
    each(bus_get_sync) each(cancellable_cancel) each(cancellable_new) each(dbus_connection_set_exit_on_close)          \
    each(main_context_iteration) each(main_context_new) each(main_context_pop_thread_default)                          \
    each(main_context_push_thread_default) each(main_context_unref) each(network_monitor_get_connectivity)             \
    each(network_monitor_get_default) each(object_unref) each(proxy_resolver_get_default)                              \
    each(proxy_resolver_lookup_async) each(proxy_resolver_lookup_finish)                 \
    each(signal_connect_data) each(signal_handlers_disconnect_matched) each(source_attach)                             \
    each(source_set_callback) each(source_unref) each(strfreev) each(timeout_source_new) each(type_name)
// clang-format on

/// Loaded on first use rather than with the program: it watches the network and knows the desktop's proxies, which
/// nobody asks for while the service is on this computer.
struct GioLibrary
{
    /// Loads the library if necessary. Null: it is not installed. Any thread.
    static const GioLibrary* load();

// NOLINTNEXTLINE(bugprone-macro-parentheses): a name that is declared stands alone
#define QUILLON_GIO_MEMBER(name) decltype(&g_##name) name = nullptr;
    QUILLON_GIO_FUNCTIONS(QUILLON_GIO_MEMBER)
#undef QUILLON_GIO_MEMBER
};

} // namespace platform
