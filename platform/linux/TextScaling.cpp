#include "../TextScaling.h"

#include <QByteArray>

#include <algorithm>
#include <cstdio>

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

/// By the desktop's own program, which answers in three milliseconds: the library that it knows this from would stay in
/// this one for good. 1 where nothing says otherwise.
double factorOfGnome()
{
    FILE* const answer = popen("exec gsettings get org.gnome.desktop.interface text-scaling-factor 2>/dev/null", "re");
    if (!answer)
        return 1;
    char words[32] = "";
    bool isNumber = std::fgets(words, sizeof words, answer) != nullptr;
    pclose(answer);
    const double factor = isNumber ? QByteArray(words).trimmed().toDouble(&isNumber) : 1;
    return isNumber ? std::clamp(factor, Least, Greatest) : 1;
}

} // namespace

TextScaling::TextScaling()
{
    if (!willRunOnWayland() || qEnvironmentVariableIsSet(FontDpi) || qEnvironmentVariableIsSet("QT_WAYLAND_FORCE_DPI"))
        return;
    m_handed = qputenv(FontDpi, QByteArray::number(qRound(PlainDpi * factorOfGnome())));
}

TextScaling::~TextScaling()
{
    if (m_handed)
        qunsetenv(FontDpi);
}

} // namespace platform
