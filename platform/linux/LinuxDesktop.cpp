#include "LinuxDesktop.h"

#include <QApplication>
#include <QDesktopServices>
#include <QWidget>

namespace platform {

namespace {

void toFront(QWidget& window)
{
    window.raise();
    window.activateWindow();
}

} // namespace

bool LinuxDesktop::available()
{
    return qobject_cast<QApplication*>(QCoreApplication::instance());
}

bool LinuxDesktop::openUrl(const QUrl& url)
{
    return url.isValid() && QDesktopServices::openUrl(url);
}

void LinuxDesktop::setShownInTaskBar(bool) {}

void LinuxDesktop::activate()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget* window : windows) {
        const bool ordinary = window->windowType() == Qt::Window || window->windowType() == Qt::Dialog;
        if (ordinary && window->isVisible() && !(window->windowFlags() & Qt::WindowDoesNotAcceptFocus))
            toFront(*window);
    }
    if (QWidget* modal = QApplication::activeModalWidget())
        toFront(*modal);
}

} // namespace platform
