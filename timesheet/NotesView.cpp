#include "timesheet/NotesView.h"

#include <QPaintEvent>
#include <QPainter>

namespace timesheet {

NotesView::NotesView(const QFont& font, QWidget* parent) : QWidget(parent)
{
    setFont(font);
}

void NotesView::setText(const QString& text)
{
    if (text == m_text)
        return;
    m_text = text;
    m_lines.reset();
    update();
}

void NotesView::setTextColor(const QColor& color)
{
    if (color == m_color)
        return;
    m_color = color;
    update();
}

void NotesView::paintEvent(QPaintEvent* event)
{
    if (!m_lines || m_width != width()) {
        m_width = width();
        m_lines.emplace(m_text, font(), m_width);
    }
    QPainter painter(this);
    painter.setPen(m_color);
    m_lines->draw(painter, {0, 0}, event->rect());
}

} // namespace timesheet
