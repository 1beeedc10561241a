#include "skin/Callout.h"

#include "skin/Colors.h"
#include "skin/HintCard.h"

#include "platform/Compositing.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>

#include <algorithm>

namespace skin {

using namespace Qt::StringLiterals;

namespace {

// In points.
constexpr int Shadow = 12; // around the outline
constexpr int TipHeight = 9;
constexpr int TipHalfWidth = 10;
constexpr double CornerRadius = 9;
constexpr int Gap = 3;  // to what it points at
constexpr int Edge = 8; // to the sides of the screen

} // namespace

Callout::Callout()
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint), m_card(new HintCard(this))
{
    setObjectName(u"callout"_s);
    setWindowTitle(tr("First Steps"));
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
}

void Callout::setHint(const Hint& hint)
{
    m_card->setHint(hint);
    m_target = {};
}

void Callout::pointAt(const QRect& target)
{
    const bool composited = platform::isScreenComposited();
    if (isVisible() && target == m_target && composited == m_composited)
        return;
    m_target = target;
    m_composited = composited;
    const QScreen* screen = QGuiApplication::screenAt(target.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QRect area = screen ? screen->availableGeometry() : QRect();

    const QSize card = m_card->sizeHint();
    const QSize whole(card.width() + 2 * Shadow, card.height() + TipHeight + 2 * Shadow);
    m_tipAbove = target.bottom() + Gap + TipHeight + card.height() <= area.bottom();
    const int top = m_tipAbove ? target.bottom() + 1 + Gap - Shadow : target.top() - Gap + Shadow - whole.height();
    const int least = area.left() + Edge - Shadow;
    const int most = area.right() + 1 - Edge + Shadow - whole.width();
    const int left = std::clamp(target.center().x() - whole.width() / 2, least, std::max(least, most));
    const int tip =
        std::clamp(target.center().x() - left, Shadow + 2 * TipHalfWidth, whole.width() - Shadow - 2 * TipHalfWidth);
    m_tip = {tip, m_tipAbove ? Shadow : whole.height() - Shadow};
    m_card->setGeometry(QRect(QPoint(Shadow, Shadow + (m_tipAbove ? TipHeight : 0)), card));
    setFixedSize(whole);
    move(left, top);
    if (m_composited)
        clearMask();
    else
        setMask(QRegion(outline().toFillPolygon().toPolygon()));
    update();
    show();
}

QPainterPath Callout::outline() const
{
    QPainterPath body;
    body.addRoundedRect(m_card->geometry(), CornerRadius, CornerRadius);
    const QPointF tip = m_tip;
    const double base = m_tipAbove ? tip.y() + TipHeight : tip.y() - TipHeight;
    // Overlaps the body a little, so that the two merge.
    const double inside = m_tipAbove ? base + 1 : base - 1;
    QPainterPath arrow;
    arrow.addPolygon(QPolygonF({tip,
                                {tip.x() + TipHalfWidth, base},
                                {tip.x() + TipHalfWidth, inside},
                                {tip.x() - TipHalfWidth, inside},
                                {tip.x() - TipHalfWidth, base},
                                tip}));
    return body.united(arrow);
}

void Callout::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape)
        emit escaped();
    else
        QWidget::keyPressEvent(event);
}

void Callout::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(rect(), m_composited ? QColor(Qt::transparent) : color(Role::HintGround));
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPainterPath path = outline();
    if (m_composited) {
        // Soft: each ring a little fainter, and all a little lower than the callout.
        painter.save();
        painter.translate(0, 2);
        for (int ring = Shadow - 2; ring > 0; --ring) {
            painter.setPen(QPen(color(Role::SoftShadow), 2 * ring, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            painter.drawPath(path);
        }
        painter.restore();
    }
    painter.setBrush(color(Role::HintGround));
    painter.setPen(QPen(color(Role::CalloutEdge), 1 / devicePixelRatioF()));
    painter.drawPath(path);
}

} // namespace skin
