#pragma once

#include <QWidget>

#include <optional>

class QScrollBar;

namespace skin {

/// The scroller of a list: a thin thumb over the right edge of the rows, faint until hovered. It shows and changes the
/// value of a hidden scroll bar, in shades of the base colour of its palette.
///
/// It must not make scrolling expensive. So it is a sibling of the rows, as a widget over all of them would keep
/// scrolling from moving pixels; it is no larger than its visible part; and it is opaque, so that the rows below it are
/// not redrawn whenever it moves.
class ThinScroller final : public QWidget
{
    Q_OBJECT
public:
    /// `bar` must outlive the scroller.
    ThinScroller(QScrollBar& bar, QWidget& parent);

    /// Moves the thumb to the value, along the right edge of `track` in the parent's coordinates; hides it when there
    /// is nothing to scroll.
    void place(const QRect& track);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    bool isNear() const { return m_grip || m_hovered; }
    void place();

    QScrollBar& m_bar;
    bool m_hovered = false;
    QRect m_track;
    /// During a drag: where the pointer grabbed the thumb, in points from its top.
    std::optional<double> m_grip;
};

} // namespace skin
