#include "PopUp.h"

#include <QGuiApplication>
#include <QMenu>
#include <QScreen>

#include <algorithm>

namespace platform {

void popUpBeside(QMenu& menu, const QRect& item)
{
    const QScreen* screen = QGuiApplication::screenAt(item.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    QPoint corner(item.left(), item.bottom() + 1);
    if (screen) {
        // An item in a panel is outside the available area: the menu starts where the panel ends.
        const QRect area = screen->availableGeometry();
        const int height = menu.sizeHint().height();
        corner.setY(std::max(corner.y(), area.top()));
        if (corner.y() + height > area.bottom() + 1)
            corner.setY(std::min(item.top(), area.bottom() + 1) - height);
    }
    menu.popup(corner);
}

} // namespace platform
