#include "LinuxDesktop.h"

#include "X11.h"

#include <QApplication>
#include <QDesktopServices>
#include <QEvent>
#include <QWidget>

namespace platform {

namespace {

void toFront(QWidget& window)
{
    window.raise();
    window.activateWindow();
}

bool isOrdinary(const QWidget& window)
{
    return window.windowType() == Qt::Window || window.windowType() == Qt::Dialog;
}

/// Leaves each window that opens out of the task bar.
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
    if (shown || !x11::isRunning())
        return;
    m_leftOut = std::make_unique<LeftOut>();
    QCoreApplication::instance()->installEventFilter(m_leftOut.get());
}

void LinuxDesktop::activate()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget* window : windows) {
        if (isOrdinary(*window) && window->isVisible() && !(window->windowFlags() & Qt::WindowDoesNotAcceptFocus))
            toFront(*window);
    }
    if (QWidget* modal = QApplication::activeModalWidget())
        toFront(*modal);
}

} // namespace platform
