#include "skin/LinkButton.h"

#include "skin/Colors.h"
#include "skin/Fonts.h"

#include "platform/Desktop.h"
#include "platform/Run.h"

#include <QFontMetricsF>
#include <QPainter>

#include <cmath>

namespace skin {

LinkButton::LinkButton(const QString& title, QWidget* parent) : FlatButton(3, parent)
{
    setText(title);
    setFont(interfaceFont(12));
    resetCursorRects();
    connect(this, &QAbstractButton::clicked, this, &LinkButton::goToWebsite);
}

void LinkButton::setLink(const QUrl& link)
{
    m_link = link;
    setToolTip(link.toDisplayString());
    setEnabled(link.isValid());
}

void LinkButton::goToWebsite()
{
    if (m_link.isValid())
        platform::Run::current().environment().desktop().openUrl(m_link);
}

QSize LinkButton::sizeHint() const
{
    const QFontMetricsF metrics(font());
    return {static_cast<int>(std::ceil(metrics.horizontalAdvance(text()))) + 4,
            static_cast<int>(std::ceil(metrics.height())) + 4};
}

void LinkButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const bool onDark = palette().color(QPalette::Window).lightness() < 128;
    QColor ink = color(onDark ? Role::LinkOnDark : Role::LinkOnLight);
    if (!isEnabled())
        ink = palette().color(QPalette::Disabled, QPalette::WindowText);
    else if (isDown())
        ink = onDark ? ink.lighter(120) : ink.darker(140);
    QFont shown = font();
    shown.setUnderline(isEnabled() && underMouse());
    painter.setFont(shown);
    painter.setPen(ink);
    painter.drawText(rect(), Qt::AlignCenter | Qt::TextSingleLine, text());
}

} // namespace skin
