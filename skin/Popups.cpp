#include "skin/Popups.h"

#include <QApplication>
#include <QWidget>

namespace skin {

void closePopupsOf(const QWidget& window)
{
    while (QWidget* popup = QApplication::activePopupWidget()) {
        const QWidget* opener = popup;
        while (opener && opener != &window)
            opener = opener->parentWidget();
        if (!opener || !popup->close())
            return;
    }
}

} // namespace skin
