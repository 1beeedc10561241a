#pragma once

#include "skin/Image.h"

#include <QPointer>
#include <QWidget>

#include <optional>

namespace skin {

/// A dark panel without a frame: on top of other windows, moved by dragging its background, and able to take the
/// keyboard focus.
///
/// Translucent where the screen is composited; otherwise opaque, clipped to the panel's round corners. This is checked
/// each time it is shown or painted, and when it becomes the active window or the pointer enters. Menus and popups
/// opened in it close when it is hidden.
class HUDBorderlessWindow : public QWidget
{
    Q_OBJECT
public:
    explicit HUDBorderlessWindow(QWidget* parent = nullptr);

    /// The panel's position when the present or last drag began. On the screen.
    QPoint initialLocation() const { return m_initialLocation; }
    void setInitialLocation(QPoint location) { m_initialLocation = location; }

    /// Whether the desktop shows what is behind the panel.
    bool isTranslucent() const { return m_translucent; }

    void setVisible(bool visible) override;

protected:
    bool event(QEvent* event) override;
    void resizeEvent(QResizeEvent* /*event*/) override { applyMask(); }
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void lookForCompositor();
    void applyMask();

    QPoint m_initialLocation;
    /// Where the pointer grabbed the panel, when the window system does not move it for us.
    std::optional<QPoint> m_grabbedAt;
    bool m_translucent = true;
};

/// The background of such a panel: as wide as its pictures, 320 points; the top holds the title.
class HUDBorderlessView : public QWidget
{
    Q_OBJECT
public:
    explicit HUDBorderlessView(QWidget* parent = nullptr);

    static Image topImage() { return imageNamed("hud-background-1.png"); }
    static Image midImage() { return imageNamed("hud-background-2.png"); }
    static Image bottomImage() { return imageNamed("hud-background-3.png"); }

    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace skin
