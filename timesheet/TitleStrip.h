#pragma once

#include <QPoint>
#include <QWidget>

#include <optional>

class QAbstractButton;
class QLinearGradient;
class QMenu;

namespace timesheet {

/// The title of a window without the desktop's frame: a strip along its upper edge, dark while the program is active
/// and muted while it is not, which moves, minimizes, maximizes and closes the window.
///
/// Object names of the buttons are the members' names.
class TitleStrip final : public QWidget
{
    Q_OBJECT
public:
    /// Points.
    static constexpr int Height = 23;
    static constexpr qreal CornerRadius = 3;

    /// For `window`, whose child it becomes.
    explicit TitleStrip(QWidget& window);

    QAbstractButton* minimizeButton;
    QAbstractButton* maximizeButton; ///< restores a maximized window
    QAbstractButton* closeButton;

    /// From the upper edge to the lower.
    static QLinearGradient gradient(bool active);
    static bool isProgramActive();

    /// What a window's menu offers. Owned by the caller.
    QMenu* makeWindowMenu();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void toggleMaximized();
    void updateMaximizeButton();

    QWidget& m_window;
    std::optional<QPoint> m_pressedAt; ///< of a press that may become a move
};

} // namespace timesheet
