// GLib first: Qt's keywords would break its headers.
#include <gio/gio.h>

#include "DesktopProxy.h"

#include <initializer_list>

void setDesktopProxy(std::uint16_t port)
{
    GSettings* const settings = g_settings_new("org.gnome.system.proxy");
    for (const char* scheme : {"http", "https"}) {
        GSettings* const proxy = g_settings_get_child(settings, scheme);
        g_settings_set_string(proxy, "host", "127.0.0.1");
        g_settings_set_int(proxy, "port", port);
        g_object_unref(proxy);
    }
    g_settings_set_string(settings, "mode", port ? "manual" : "none");
    g_object_unref(settings);
}

void setDesktopProxyScript()
{
    GSettings* const settings = g_settings_new("org.gnome.system.proxy");
    g_settings_set_string(settings, "autoconfig-url", "http://office.example/proxy.pac");
    g_settings_set_string(settings, "mode", "auto");
    g_object_unref(settings);
}
