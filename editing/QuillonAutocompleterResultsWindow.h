#pragma once

#include <QPoint>
#include <QWidget>

namespace editing {

/// The window of a drop-down: without a frame, above the window it belongs to, and never with the keyboard focus.
class QuillonAutocompleterResultsWindow final : public QWidget
{
    Q_OBJECT
public:
    explicit QuillonAutocompleterResultsWindow(QWidget& above);

    bool canBecomeKeyWindow() const { return false; }
    QPoint initialLocation() const { return m_initialLocation; }
    void setInitialLocation(QPoint location) { m_initialLocation = location; }

private:
    QPoint m_initialLocation;
};

} // namespace editing
