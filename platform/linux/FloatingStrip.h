#pragma once

#include "ViewCarrier.h"

#include <QContextMenuEvent>
#include <QElapsedTimer>
#include <QTimer>

#include <optional>

class QScreen;

namespace platform {

/// The status item as a small window, for desktops whose bar has no place for it.
///
/// On X11 it floats above all other windows. It is dragged by its grip and stays where it was put, also in later runs
/// (`Strip/geometry` in `Quillon/State.conf` in the person's configuration folder). On Wayland the compositor places
/// it, and it is an ordinary window, which others cover.
class FloatingStrip final : public ViewCarrier
{
public:
    /// `content` has a view.
    explicit FloatingStrip(const ItemContent& content);
    ~FloatingStrip() override;

    /// As in StatusItem::Place, for a strip on this desktop.
    static QString drawback();

    StatusItem::Place place() const override;
    void popUpMenu(QMenu& menu) override;
    void present() override;
    QString describe() const override;

    void setVisible(bool visible) override;

protected:
    void setLength(double points) override;

    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override { event->accept(); }

private:
    QRect defaultPlace() const;
    void putInPlace();
    void followScreen(QScreen* screen);
    void lookForCompositor();
    void applyMask();
    void savePlace();

    /// Where the person put it; it may have to stand elsewhere while a screen is away.
    std::optional<QRect> m_wanted;
    std::optional<QPoint> m_placed;
    std::optional<QPoint> m_dragFrom;
    bool m_grabbed = false; ///< by the person, at least once
    QElapsedTimer m_shown;
    bool m_composited = true;
    QTimer m_save;
};

} // namespace platform
