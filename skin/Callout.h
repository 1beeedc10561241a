#pragma once

#include <QRect>
#include <QWidget>

namespace skin {

class HintCard;
struct Hint;

/// A hint in a small window that points at something on the screen. It stays above other windows and does not take the
/// focus when it appears; once focused, Escape closes it.
///
/// Translucent around its outline where the screen is composited, otherwise clipped to it.
class Callout final : public QWidget
{
    Q_OBJECT
public:
    Callout();

    void setHint(const Hint& hint);
    /// Shows it below `target`, a rectangle on the screen in points, or above if there is no room.
    void pointAt(const QRect& target);

signals:
    void escaped();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QPainterPath outline() const;

    HintCard* m_card;
    QRect m_target;
    QPoint m_tip; ///< in the window
    bool m_tipAbove = true;
    bool m_composited = true;
};

} // namespace skin
