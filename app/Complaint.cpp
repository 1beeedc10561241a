#include "app/Complaint.h"

#include "app/Text.h"

#include <QList>

#include <csignal>
#include <cstdio>
#include <utility>
#include <vector>

#include <unistd.h>

namespace app {

using namespace Qt::StringLiterals;

namespace {

// A display over a slow line takes seconds.
constexpr unsigned SilenceSeconds = 30;

void (*s_failed)() = nullptr;
QtMessageHandler s_before = nullptr;
std::vector<std::pair<QtMsgType, QString>> s_said;

void note(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text)
{
    if (type == QtFatalMsg)
        s_failed();
    s_said.emplace_back(type, text);
}

} // namespace

QString printable(const QString& text)
{
    QString shown;
    for (const uint character : text.toUcs4()) {
        const QChar::Category category = QChar::category(character);
        if (QChar::isPrint(character) && category != QChar::Separator_Line && category != QChar::Separator_Paragraph)
            shown += QChar::fromUcs4(character);
        else
            shown += u"\\u{%1}"_s.arg(character, 0, 16);
    }
    return shown;
}

void complain(const QString& what)
{
    std::fputs(u"quillon: %1\n"_s.arg(printable(what)).toLocal8Bit().constData(), stderr);
}

QString noDisplay()
{
    return tr("no display can be opened: look at DISPLAY, WAYLAND_DISPLAY and QT_QPA_PLATFORM");
}

bool hasDisplay()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

DisplayGuard::DisplayGuard(void (*failed)())
{
    s_failed = failed;
    s_before = qInstallMessageHandler(note);
    // The main thread waits for the display, and nothing else runs yet that could watch over it.
    std::signal(SIGALRM, [](int) { s_failed(); });
    alarm(SilenceSeconds);
}

DisplayGuard::~DisplayGuard()
{
    alarm(0);
    std::signal(SIGALRM, SIG_DFL);
    qInstallMessageHandler(s_before);
    for (const auto& [type, text] : std::exchange(s_said, {}))
        qt_message_output(type, {}, text);
}

} // namespace app
