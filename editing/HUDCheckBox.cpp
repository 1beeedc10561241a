#include "editing/HUDCheckBox.h"

#include "skin/Image.h"

#include <QEvent>
#include <QPainter>
#include <QStyleOption>

namespace editing {

namespace {

constexpr int BoxSize = 16;
constexpr int Gap = 6;

} // namespace

HUDCheckBox::HUDCheckBox(const QString& title, QWidget* parent) : QCheckBox(title, parent), m_ring(*this, 4)
{
    setAttribute(Qt::WA_Hover);
}

QSize HUDCheckBox::sizeHint() const
{
    return {BoxSize + Gap + fontMetrics().size(Qt::TextShowMnemonic, text()).width() + 2, BoxSize};
}

bool HUDCheckBox::event(QEvent* event)
{
    if (event->type() != QEvent::Shortcut)
        return QCheckBox::event(event);
    // Unlike other buttons, which seem pressed for a moment first: what is typed then would go elsewhere.
    if (isChecked())
        emit askedAgain();
    else
        click();
    return true;
}

void HUDCheckBox::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setOpacity(isEnabled() ? 1 : 0.4);
    const skin::Image box = skin::imageNamed(isChecked() ? "hud-checkbox-on.png" : "hud-checkbox.png");
    box.drawAtPoint(painter, QPointF(0, (height() - BoxSize) / 2.0));
    const QColor title = palette().color(QPalette::WindowText);
    painter.setPen(underMouse() || isDown() ? title.lighter(125) : title);
    QStyleOption option;
    option.initFrom(this);
    const bool underlined = style()->styleHint(QStyle::SH_UnderlineShortcut, &option, this);
    painter.drawText(rect().adjusted(BoxSize + Gap, 0, 0, 0),
                     Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine |
                         (underlined ? Qt::TextShowMnemonic : Qt::TextHideMnemonic),
                     text());
}

} // namespace editing
