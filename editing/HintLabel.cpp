#include "editing/HintLabel.h"

#include "skin/AccessibleRole.h"
#include "skin/Colors.h"
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
    skin::dressed(*this, [this] { dress(); });
    hide();
}

void HintLabel::advise(const QString& text)
{
    put(text, false);
    if (text.isEmpty())
        hide();
}

void HintLabel::warn(const QString& text)
{
    const bool wasEmpty = this->text().isEmpty();
    put(text, true);
    if (wasEmpty)
        show(); // which is announced
    else if (isVisible()) {
        QAccessibleEvent shown(this, QAccessible::ObjectShow);
        QAccessible::updateAccessibility(&shown);
    }
}

void HintLabel::dress()
{
    using skin::Role;
    const bool onHud = m_look == Look::Dark;
    QPalette palette;
    palette.setColor(QPalette::WindowText, skin::color(m_warns ? onHud ? Role::HudWarning : Role::Warning
                                                       : onHud ? Role::HudAdvice
                                                               : Role::Advice));
    setPalette(palette);
}

void HintLabel::put(const QString& text, bool warns)
{
    m_warns = warns;
    dress();
    setText(text);
    setAccessibleName(text); // this is announced as well
}

} // namespace editing
