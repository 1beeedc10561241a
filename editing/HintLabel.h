#pragma once

#include "editing/TextFields.h"

#include <QLabel>

namespace editing {

/// A line of small text beside a field. When something is wrong there it says so, aloud to screen readers; otherwise it
/// gives quiet advice or is hidden.
class HintLabel final : public QLabel
{
    Q_OBJECT
public:
    explicit HintLabel(Look look, QWidget* parent = nullptr);

    /// Empty: hides it. A label hidden for another reason stays hidden.
    void advise(const QString& text);
    /// Announced again each time, even with the same text.
    void warn(const QString& text);

private:
    void dress();
    void put(const QString& text, bool warns);

    const Look m_look;
    bool m_warns = false;
};

} // namespace editing
