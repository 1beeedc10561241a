#include "editing/HintLabel.h"

#include "skin/AccessibleRole.h"
#include "skin/Fonts.h"

namespace editing {

namespace {

constexpr int FontPoints = 11;

} // namespace

HintLabel::HintLabel(Look look, QWidget* parent) : QLabel(parent), m_look(look)
{
    // Screen readers speak a notification when it appears, whatever has the focus.
    skin::installAccessibleRole<HintLabel, QAccessible::Notification>();
    setTextFormat(Qt::PlainText);
    setFont(skin::interfaceFont(FontPoints));
    hide();
}

void HintLabel::advise(const QString& text)
{
    put(text, m_look == Look::Dark ? QColor(0xa2, 0xa6, 0xab) : QColor(0x44, 0x44, 0x44));
    if (text.isEmpty())
        hide();
}

void HintLabel::warn(const QString& text)
{
    const bool wasEmpty = this->text().isEmpty();
    put(text, m_look == Look::Dark ? QColor(0xff, 0x9d, 0x96) : QColor(0xb0, 0x2f, 0x2a));
    if (wasEmpty)
        show(); // which is announced
    else if (isVisible()) {
        QAccessibleEvent shown(this, QAccessible::ObjectShow);
        QAccessible::updateAccessibility(&shown);
    }
}

void HintLabel::put(const QString& text, const QColor& color)
{
    QPalette palette;
    palette.setColor(QPalette::WindowText, color);
    setPalette(palette);
    setText(text);
    setAccessibleName(text); // this is announced as well
}

} // namespace editing
