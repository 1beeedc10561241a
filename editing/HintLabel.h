#pragma once

#include <QLabel>

namespace editing {

/// A line of small text beside a field. When something is wrong there it says so, aloud to screen readers; else it
/// gives quiet advice or is hidden.
class HintLabel final : public QLabel
{
    Q_OBJECT
public:
    HintLabel(const QColor& quiet, const QColor& warning, QWidget* parent = nullptr);

    /// Empty: hides it. What is hidden otherwise stays hidden.
    void advise(const QString& text);
    /// Told again each time, also with the same text.
    void warn(const QString& text);

private:
    void put(const QString& text, const QColor& colour);

    const QColor m_quiet;
    const QColor m_warning;
};

} // namespace editing
