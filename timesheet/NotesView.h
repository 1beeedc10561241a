#pragma once

#include "skin/Geometrics.h"

#include <QColor>
#include <QWidget>

#include <optional>

namespace timesheet {

/// The notes of a row: all of their lines, over the widget's whole width.
class NotesView final : public QWidget
{
    Q_OBJECT
public:
    explicit NotesView(const QFont& font, QWidget* parent = nullptr);

    void setText(const QString& text);
    const QString& text() const { return m_text; }
    void setTextColor(const QColor& color);
    QColor textColor() const { return m_color; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_text;
    QColor m_color;
    int m_width = 0; ///< the width for line breaks
    std::optional<skin::TextLines> m_lines;
};

} // namespace timesheet
