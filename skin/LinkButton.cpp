#include "skin/LinkButton.h"

#include "skin/Fonts.h"

#include "platform/Desktop.h"
#include "platform/Run.h"

#include <QFocusEvent>
#include <QFontMetricsF>
#include <QKeyEvent>
#include <QPainter>

#include <cmath>

namespace skin {

LinkButton::LinkButton(const QString& title, QWidget* parent) : QAbstractButton(parent), m_ring(*this, 3)
{
    setText(title);
    setFont(interfaceFont(12));
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setAttribute(Qt::WA_Hover);
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
    platform::Run::current().environment().desktop().openUrl(m_link);
}

void LinkButton::resetCursorRects()
{
    setCursor(Qt::PointingHandCursor);
}

QSize LinkButton::sizeHint() const
{
    const QFontMetricsF metrics(font());
    return {static_cast<int>(std::ceil(metrics.horizontalAdvance(text()))) + 4,
            static_cast<int>(std::ceil(metrics.height())) + 4};
}

bool LinkButton::event(QEvent* event)
{
    if (event->type() == QEvent::HoverEnter || event->type() == QEvent::HoverLeave)
        update();
    return QAbstractButton::event(event);
}

void LinkButton::keyPressEvent(QKeyEvent* event)
{
    // Links are followed with Return, buttons pressed with the space bar. It is both.
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        click();
    else
        QAbstractButton::keyPressEvent(event);
}

void LinkButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const bool onDark = palette().color(QPalette::Window).lightness() < 128;
    QColor color = onDark ? QColor(0x7f, 0xb8, 0xf2) : QColor(0x1f, 0x66, 0xb0);
    if (!isEnabled())
        color = palette().color(QPalette::Disabled, QPalette::WindowText);
    else if (isDown())
        color = onDark ? color.lighter(120) : color.darker(140);
    QFont shown = font();
    shown.setUnderline(isEnabled() && underMouse());
    painter.setFont(shown);
    painter.setPen(color);
    painter.drawText(rect(), Qt::AlignCenter | Qt::TextSingleLine, text());
}

void LinkButton::focusInEvent(QFocusEvent* event)
{
    QAbstractButton::focusInEvent(event);
    m_ring.setShown(showsFocus(event->reason()));
}

void LinkButton::focusOutEvent(QFocusEvent* event)
{
    QAbstractButton::focusOutEvent(event);
    m_ring.setShown(false);
}

} // namespace skin
