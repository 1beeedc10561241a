#pragma once

#include "platform/DirectPaint.h"

#include <QImage>
#include <QRect>

#include <map>

class QWidget;

namespace skin {

/// The steps of a part of a widget that pulsates, as the screen shows them: with what lies below and above. Each is
/// painted once and then put into the window past the toolkit, whose own repaint wakes this process three times more.
/// Main thread only.
class PreparedSteps
{
    Q_DISABLE_COPY_MOVE(PreparedSteps)
public:
    /// `widget` is not owned and must outlive this.
    explicit PreparedSteps(QWidget& widget) : m_widget(widget) {}

    /// Shows `area`, in points of the widget, as the widget paints it now, which `opacity` stands for. False: not from
    /// here, because the desktop has no way or something hides a part of it.
    bool show(const QRect& area, double opacity);

    /// Whether nobody can see the widget's window, as far as the desktop says. The widget is repainted when that ends.
    bool isCovered() const { return m_paint && m_paint->isCovered(); }

    /// To be called when the widget paints: it, or what is seen through it, has changed. False: it paints for this.
    bool painted();

    /// To be called when the window is about to be painted: what is shown gives way where the widget has moved, or
    /// something came to lie over it.
    void windowIsPainted();

    /// What is shown goes as the window is painted next.
    void giveWay();

private:
    QWidget* nativeWindow() const;
    bool isInSight(const QRect& area) const;
    bool prepareWindow(QWidget& window);
    QImage paint(QWidget& window, const QRect& area) const;

    QWidget& m_widget;
    std::unique_ptr<platform::DirectPaint> m_paint;
    QRect m_area;  ///< of what is shown, in points of the widget
    QRect m_place; ///< of all steps, in device pixels of the window
    double m_scale = 0;
    std::map<double, QImage> m_steps; ///< by opacity
    bool m_isPainting = false;
    bool m_isShown = false;
};

} // namespace skin
