#pragma once

#include "skin/Fonts.h"

#include <QLinearGradient>
#include <QPaintEvent>
#include <QPainter>
#include <QPushButton>

namespace bench {

/// Points: a row of the timesheet without notes, or with one to four lines of them.
inline double heightOfListRow(int row)
{
    const int lines = row % 5;
    return lines == 0 ? 65 : 67 + 14 * lines;
}

/// A row as the timesheet has it: a gradient, four texts, lines of notes and a button. `Base` is QWidget or a cell of
/// the program's list, so that both sides of a comparison draw the same.
template <class Base>
class ListRow final : public Base
{
public:
    template <class... Arguments>
    explicit ListRow(const Arguments&... arguments) : Base(arguments...)
    {
        this->setAttribute(Qt::WA_OpaquePaintEvent);
        m_button.setFixedSize(24, 24);
        m_button.move(12, 20);
        m_button.setFlat(true);
        m_button.setFocusPolicy(Qt::NoFocus);
    }

    void showRow(int row)
    {
        m_row = row;
        m_button.setToolTip(QStringLiteral("Start %1").arg(row));
        this->update();
    }

protected:
    void paintEvent(QPaintEvent* event) override
    {
        static const QFont strong = skin::interfaceFont(14, QFont::Bold);
        static const QFont usual = skin::interfaceFont(12);
        static const QFont small = skin::interfaceFont(11);
        const int width = this->width();
        const int height = this->height();
        QPainter painter(this);
        QLinearGradient gradient(0, height, 0, 0);
        gradient.setColorAt(0, QColor(0xf4, 0xf4, 0xf4));
        gradient.setColorAt(1, QColor(0xfa, 0xfa, 0xfa));
        painter.fillRect(event->rect(), gradient);
        painter.fillRect(0, height - 1, width, 1, QColor(0xcc, 0xcc, 0xcc));
        // Often only an edge of a row is redrawn: setting texts outside it would be most of the work.
        const auto draw = [&](int x, int baseline, int length, const QFont& font, QRgb color, const auto& text) {
            if (!event->rect().intersects(QRect(x, baseline - 16, length, 22)))
                return;
            painter.setFont(font);
            painter.setPen(QColor(color));
            painter.drawText(x, baseline, text());
        };
        draw(48, 18, 300, usual, 0x666666, [] { return QStringLiteral("The client of this row"); });
        draw(48, 38, 300, strong, 0x212121, [this] { return QStringLiteral("Project of row %1").arg(m_row); });
        draw(width - 60, 38, 40, strong, 0x212121,
             [this] { return QStringLiteral("%1:%2").arg(m_row % 24).arg(m_row % 60, 2, 10, QLatin1Char('0')); });
        draw(48, 56, 300, usual, 0x666666, [] { return QStringLiteral("Design and construction"); });
        for (int line = 0; line < m_row % 5; ++line)
            draw(48, 74 + 14 * line, 360, small, 0x666666,
                 [line] { return QStringLiteral("What was done, in line %1 of the notes").arg(line); });
    }

private:
    int m_row = 0;
    QPushButton m_button{this};
};

} // namespace bench
