// GLib first: Qt's keywords would break its headers.
#include <gio/gio.h>

#include "../TextScaling.h"

#include <QByteArray>

#include <algorithm>

namespace platform {

namespace {

constexpr const char* FontDpi = "QT_FONT_DPI";
constexpr double PlainDpi = 96;
constexpr double Least = 1;    // Qt makes nothing smaller
constexpr double Greatest = 3; // nor does GNOME go further

/// Qt has not decided yet, and decides like this.
bool willRunOnWayland()
{
    const QByteArray platform = qgetenv("QT_QPA_PLATFORM");
    return platform.isEmpty() ? qgetenv("XDG_SESSION_TYPE") == "wayland" || qEnvironmentVariableIsSet("WAYLAND_DISPLAY")
                              : platform.startsWith("wayland");
}

double factorOfGnome()
{
    GSettingsSchemaSource* const source = g_settings_schema_source_get_default();
    GSettingsSchema* const schema =
        source ? g_settings_schema_source_lookup(source, "org.gnome.desktop.interface", TRUE) : nullptr;
    if (!schema)
        return 1;
    double factor = 1;
    constexpr const char* key = "text-scaling-factor";
    if (g_settings_schema_has_key(schema, key)) {
        GSettings* const settings = g_settings_new_full(schema, nullptr, nullptr);
        factor = g_settings_get_double(settings, key);
        g_object_unref(settings);
    }
    g_settings_schema_unref(schema);
    return std::clamp(factor, Least, Greatest);
}

} // namespace

TextScaling::TextScaling()
{
    if (!willRunOnWayland() || qEnvironmentVariableIsSet(FontDpi) || qEnvironmentVariableIsSet("QT_WAYLAND_FORCE_DPI"))
        return;
    // GLib reads settings with the help of threads, which read the environment: nothing moves in it from then on.
    m_handed = qputenv(FontDpi, QByteArray::number(PlainDpi));
    qputenv(FontDpi, QByteArray::number(qRound(PlainDpi * factorOfGnome())));
}

TextScaling::~TextScaling()
{
    if (m_handed)
        qunsetenv(FontDpi);
}

} // namespace platform
