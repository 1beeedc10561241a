#include "LinuxDesktop.h"

#include "X11.h"

#include <QApplication>
#include <QDesktopServices>
#include <QEvent>
#include <QPointer>
#include <QWidget>

#include <algorithm>

namespace platform {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// Desktops refuse tokens without a word.
constexpr auto Patience = 300ms;

bool isOrdinary(const QWidget& window)
{
    return window.windowType() == Qt::Window || window.windowType() == Qt::Dialog;
}

/// Keeps each window that opens out of the task bar.
class LeftOut final : public QObject
{
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show && watched->isWidgetType()) {
            const auto& widget = static_cast<const QWidget&>(*watched);
            if (widget.isWindow() && isOrdinary(widget) && widget.windowHandle())
                x11::skipTaskBar(*widget.windowHandle());
        }
        return false;
    }
};

} // namespace

bool LinuxDesktop::available()
{
    return qobject_cast<QApplication*>(QCoreApplication::instance());
}

bool LinuxDesktop::open(const QUrl& url)
{
    return url.isValid() && QDesktopServices::openUrl(url);
}

void LinuxDesktop::setShownInTaskBar(bool shown)
{
    m_leftOut.reset();
    if (shown || !canLeaveTaskBar())
        return;
    m_leftOut = std::make_unique<LeftOut>();
    QCoreApplication::instance()->installEventFilter(m_leftOut.get());
}

bool LinuxDesktop::canLeaveTaskBar() const
{
    return x11::isRunning();
}

bool LinuxDesktop::needsTokens()
{
    return QGuiApplication::platformName().startsWith("wayland"_L1);
}

void LinuxDesktop::putInFront(QWidget& window, bool wasOpen)
{
    // Qt takes it from there, or asks for one on behalf of the window in use.
    const bool mayHaveToken = !qEnvironmentVariableIsEmpty("XDG_ACTIVATION_TOKEN") || QGuiApplication::focusWindow();
    window.raise();
    window.activateWindow();
    m_patience.reset();
    if (!m_needsTokens || !wasOpen || window.isActiveWindow())
        return;
    const auto reopen = [this, asked = QPointer(&window)] {
        m_patience.reset();
        if (!asked || !asked->isVisible() || asked->isActiveWindow())
            return;
        asked->hide();
        asked->show();
    };
    if (mayHaveToken)
        m_patience = m_time.repeat(Patience, reopen);
    else
        reopen();
}

void LinuxDesktop::bringForward(QWidget& window)
{
    const bool wasOpen = window.isVisible();
    window.show();
    putInFront(window, wasOpen);
}

void LinuxDesktop::activate(QWidget& window)
{
    const bool wasOpen = window.isVisible();
    window.show();
    QWidgetList open = QApplication::topLevelWidgets();
    open.removeIf([](const QWidget* each) {
        return !isOrdinary(*each) || !each->isVisible() || (each->windowFlags() & Qt::WindowDoesNotAcceptFocus);
    });
    // Qt's list of them has no order. The server may be busy with the window that was just shown: it is asked only
    // where the order matters.
    if (open.size() > 1) {
        const std::vector<std::uint32_t> stack = x11::stack();
        std::ranges::sort(open, {}, [&](const QWidget* each) {
            return std::ranges::find(stack, static_cast<std::uint32_t>(each->internalWinId())) - stack.begin();
        });
    }
    for (QWidget* each : open)
        each->raise();
    // No other one is activated on the way: the window manager may take its time with each request.
    window.raise();
    QWidget* const question = QApplication::activeModalWidget();
    if (question && question != &window)
        putInFront(*question, true);
    else
        putInFront(window, wasOpen);
}

} // namespace platform
