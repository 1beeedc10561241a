#include "timesheet/StripWindow.h"

#include "platform/Compositing.h"
#include "skin/AccessibleRole.h"
#include "skin/Colors.h"
#include "skin/Popups.h"
#include "timesheet/TitleStrip.h"

#include <QBoxLayout>
#include <QMouseEvent>
#include <QPainter>
#include <QWindow>

namespace timesheet {

using namespace Qt::StringLiterals;

namespace {

constexpr int EdgeWidth = 5;
constexpr int CornerLength = 14;

Qt::CursorShape cursorFor(Qt::Edges edges)
{
    if (!(edges & (Qt::TopEdge | Qt::BottomEdge)))
        return Qt::SizeHorCursor;
    if (!(edges & (Qt::LeftEdge | Qt::RightEdge)))
        return Qt::SizeVerCursor;
    const bool falling = edges == (Qt::LeftEdge | Qt::TopEdge) || edges == (Qt::RightEdge | Qt::BottomEdge);
    return falling ? Qt::SizeFDiagCursor : Qt::SizeBDiagCursor;
}

} // namespace

/// A side of the window: resizes it, near its ends at the corner, and draws its part of the hairline around it.
class StripWindow::Edge final : public QWidget
{
public:
    Edge(Qt::Edge side, StripWindow& window) : QWidget(&window), m_side(side) { setMouseTracking(true); }

    void place(QSize window)
    {
        switch (m_side) {
        case Qt::LeftEdge:
            setGeometry(0, 0, EdgeWidth, window.height());
            break;
        case Qt::RightEdge:
            setGeometry(window.width() - EdgeWidth, 0, EdgeWidth, window.height());
            break;
        case Qt::TopEdge:
            setGeometry(EdgeWidth, 0, window.width() - 2 * EdgeWidth, EdgeWidth);
            break;
        case Qt::BottomEdge:
            setGeometry(EdgeWidth, window.height() - EdgeWidth, window.width() - 2 * EdgeWidth, EdgeWidth);
            break;
        }
    }

protected:
    void mouseMoveEvent(QMouseEvent* event) override { setCursor(cursorFor(edgesAt(event->position().toPoint()))); }

    void mousePressEvent(QMouseEvent* event) override
    {
        if (event->button() == Qt::LeftButton)
            window()->windowHandle()->startSystemResize(edgesAt(event->position().toPoint()));
    }

    void paintEvent(QPaintEvent*) override
    {
        // Below the strip, which draws its own.
        QPainter painter(this);
        const qreal pixel = 1 / devicePixelRatioF();
        const auto line = [&](QRectF rect) {
            painter.fillRect(rect & QRectF(this->rect()), skin::color(skin::Role::Outline));
        };
        const QRectF below(mapFromParent(QPoint(0, TitleStrip::Height)), QSizeF(window()->size()));
        if (m_side != Qt::TopEdge)
            line(QRectF(below.left(), window()->height() - pixel - y(), below.width(), pixel));
        if (m_side == Qt::LeftEdge)
            line(QRectF(0, below.top(), pixel, height() - pixel - below.top()));
        if (m_side == Qt::RightEdge)
            line(QRectF(width() - pixel, below.top(), pixel, height() - pixel - below.top()));
    }

private:
    Qt::Edges edgesAt(QPoint place) const
    {
        const QPoint at = mapTo(window(), place);
        Qt::Edges edges = m_side;
        if (m_side == Qt::LeftEdge || m_side == Qt::RightEdge) {
            edges.setFlag(Qt::TopEdge, at.y() < CornerLength);
            edges.setFlag(Qt::BottomEdge, at.y() >= window()->height() - CornerLength);
        } else {
            edges.setFlag(Qt::LeftEdge, at.x() < CornerLength);
            edges.setFlag(Qt::RightEdge, at.x() >= window()->width() - CornerLength);
        }
        return edges;
    }

    Qt::Edge m_side;
};

StripWindow::StripWindow(QWidget* parent)
    : QWidget(parent, Qt::Window), m_strip(new TitleStrip(*this)),
      m_contentView(new QWidget(this)), m_edges{new Edge(Qt::LeftEdge, *this), new Edge(Qt::TopEdge, *this),
                                                new Edge(Qt::RightEdge, *this), new Edge(Qt::BottomEdge, *this)}
{
    // Otherwise assistive technology takes a window that is not a QMainWindow for a box.
    skin::installAccessibleRole<StripWindow, QAccessible::Window>();
    m_contentView->setObjectName(u"contentView"_s);
    m_strip->hide();
    auto* rows = new QVBoxLayout(this);
    rows->setContentsMargins({});
    rows->setSpacing(0);
    rows->addWidget(m_strip);
    rows->addWidget(m_contentView, 1);
}

QWidgetList StripWindow::frameParts() const
{
    QWidgetList parts(m_edges.begin(), m_edges.end());
    parts.append(m_strip);
    return parts;
}

void StripWindow::setOwnFrame(bool own)
{
    m_ownFrame = own;
    setWindowFlag(Qt::FramelessWindowHint, own);
    setAttribute(Qt::WA_TranslucentBackground, own);
    m_strip->setVisible(own);
    placeEdges();
}

void StripWindow::showEvent(QShowEvent*)
{
    m_composited = platform::isScreenComposited();
    updateMask();
}

void StripWindow::hideEvent(QHideEvent*)
{
    skin::closePopupsOf(*this);
}

void StripWindow::resizeEvent(QResizeEvent*)
{
    placeEdges();
    updateMask();
}

void StripWindow::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::WindowStateChange) {
        placeEdges();
        updateMask();
    }
    QWidget::changeEvent(event);
}

void StripWindow::placeEdges()
{
    for (Edge* edge : m_edges) {
        edge->place(size());
        edge->setVisible(m_ownFrame && !isMaximized());
    }
}

void StripWindow::updateMask()
{
    if (!m_ownFrame || isMaximized() || m_composited) {
        clearMask();
        return;
    }
    // Only the upper corners: the lower ones of this outline lie below the window.
    platform::maskRounded(*this, QRectF(rect()).adjusted(0, 0, 0, TitleStrip::CornerRadius), TitleStrip::CornerRadius);
}

} // namespace timesheet
