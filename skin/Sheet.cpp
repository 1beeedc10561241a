#include "skin/Sheet.h"

#include "skin/AccessibleRole.h"
#include "skin/Colors.h"

#include <QAbstractButton>
#include <QAccessibleWidget>
#include <QAction>
#include <QKeyEvent>
#include <QLayout>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QShortcut>

#include <algorithm>
#include <cmath>
#include <utility>

namespace skin {

namespace {

constexpr int SlideMilliseconds = 180;
constexpr int SideMargin = 16; ///< left free at each side of the body
constexpr int Shadow = 10;
constexpr int Radius = 8;

/// The sheet's look without the shade. Its top edge is the window's, so only the bottom has corners.
class Body final : public QWidget
{
public:
    explicit Body(QWidget& sheet) : QWidget(&sheet) { setAutoFillBackground(false); }

    static QPainterPath outline(const QRectF& rect)
    {
        QPainterPath path;
        path.moveTo(rect.topLeft());
        path.lineTo(rect.left(), rect.bottom() - Radius);
        path.quadTo(rect.bottomLeft(), rect.bottomLeft() + QPointF(Radius, 0));
        path.lineTo(rect.right() - Radius, rect.bottom());
        path.quadTo(rect.bottomRight(), rect.bottomRight() - QPointF(0, Radius));
        path.lineTo(rect.topRight());
        return path;
    }

private:
    void paintEvent(QPaintEvent* /*event*/) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillPath(outline(rect()), color(Role::SheetEdge));
        painter.fillPath(outline(QRectF(rect()).adjusted(1, 0, -1, -1)), color(Role::SheetRim));
        const double line = 1 / devicePixelRatioF();
        painter.fillPath(outline(QRectF(rect()).adjusted(1 + line, 0, -1 - line, -1 - line)), palette().window());
    }
};

class SheetAccessible final : public QAccessibleWidget
{
public:
    explicit SheetAccessible(Sheet& sheet) : QAccessibleWidget(&sheet, QAccessible::Dialog) {}

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.modal = true;
        return state;
    }
};

void tellAssistiveTechnology(Sheet& sheet, QAccessible::Event what)
{
    QAccessibleEvent event(&sheet, what);
    QAccessible::updateAccessibility(&event);
}

/// Only push buttons have a look for it.
void showDefault(QAbstractButton* button, bool isDefault)
{
    if (auto* push = qobject_cast<QPushButton*>(button))
        push->setDefault(isDefault);
}

/// Disables what is enabled and notes it.
template <class Thing>
void block(const QList<Thing*>& things, QList<QPointer<Thing>>& blocked)
{
    for (Thing* thing : things) {
        if (thing->isEnabled()) {
            thing->setEnabled(false);
            blocked.append(thing);
        }
    }
}

template <class Thing>
void unblock(QList<QPointer<Thing>>& blocked)
{
    for (const QPointer<Thing>& thing : std::exchange(blocked, {})) {
        if (thing)
            thing->setEnabled(true);
    }
}

} // namespace

Sheet::Sheet(QWidget& window) : QWidget(&window), m_window(window), m_body(new Body(*this))
{
    installAccessible<Sheet, SheetAccessible>();
    hide();
    m_body->installEventFilter(this);
    m_slide.setDuration(SlideMilliseconds);
    m_slide.setStartValue(0.0);
    m_slide.setEndValue(1.0);
    m_slide.setEasingCurve(QEasingCurve::OutCubic);
    connect(&m_slide, &QVariantAnimation::valueChanged, this, &Sheet::moveBody);
    connect(&m_slide, &QVariantAnimation::finished, this, [this] { setVisible(m_open); });
}

Sheet* Sheet::openIn(const QWidget& window)
{
    // Those above come later among the children.
    const QList<Sheet*> sheets = window.findChildren<Sheet*>(Qt::FindDirectChildrenOnly);
    const auto top = std::find_if(sheets.rbegin(), sheets.rend(), [](const Sheet* sheet) { return sheet->m_open; });
    return top != sheets.rend() ? *top : nullptr;
}

void Sheet::open(QWidget* focus)
{
    if (m_open)
        return;
    m_open = true;
    setAttribute(Qt::WA_TransparentForMouseEvents, false);
    m_focusBefore = m_window.focusWidget();
    // Before the focus moves: in a dialog the button that has it counts as the default one.
    for (QPushButton* button : m_window.findChildren<QPushButton*>()) {
        if (button->isDefault()) {
            button->setDefault(false);
            m_defaultBefore = button;
        }
    }
    m_minimumHeightBefore = m_window.minimumHeight();
    m_heightBefore = m_window.height();
    m_window.installEventFilter(this);
    raise();
    place();
    m_heightGiven = m_window.height();
    show();
    QWidget* const first = focus ? focus : nextFocus(this, true);
    (first ? first : this)->setFocus(Qt::OtherFocusReason);
    block();
    showDefault(m_defaultButton, true);
    slide(true);
    tellAssistiveTechnology(*this, QAccessible::DialogStart);
}

void Sheet::close()
{
    if (!m_open)
        return;
    m_open = false;
    m_window.removeEventFilter(this);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    if (Sheet* upper = above()) {
        // What this one has blocked is released when the last one goes.
        upper->m_blocked += std::exchange(m_blocked, {});
        upper->m_blockedActions += std::exchange(m_blockedActions, {});
        upper->m_blockedShortcuts += std::exchange(m_blockedShortcuts, {});
        upper->m_focusBefore = m_focusBefore;
        upper->m_defaultBefore = m_defaultBefore;
        upper->m_minimumHeightBefore = m_minimumHeightBefore;
        upper->m_heightBefore = m_heightBefore;
    } else {
        showDefault(m_defaultButton, false);
        showDefault(m_defaultBefore, true);
        unblock();
    }
    slide(false);
    tellAssistiveTechnology(*this, QAccessible::DialogEnd);
    emit closed();
}

Sheet* Sheet::above() const
{
    Sheet* const top = openIn(m_window);
    const QObjectList& children = m_window.children();
    return top && children.indexOf(top) > children.indexOf(this) ? top : nullptr;
}

void Sheet::block()
{
    QList<QWidget*> parts;
    for (QWidget* part : m_window.findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
        const auto* sheet = qobject_cast<Sheet*>(part);
        if (!part->isWindow() && !m_usable.contains(part) && (!sheet || (sheet->m_open && sheet != this)))
            parts.append(part);
    }
    skin::block(parts, m_blocked);
    skin::block(m_window.actions(), m_blockedActions);
    skin::block(m_window.findChildren<QShortcut*>(Qt::FindDirectChildrenOnly), m_blockedShortcuts);
}

void Sheet::unblock()
{
    skin::unblock(m_blocked);
    skin::unblock(m_blockedActions);
    skin::unblock(m_blockedShortcuts);
    m_window.setMinimumHeight(m_minimumHeightBefore);
    if (m_heightBefore < m_heightGiven && m_window.height() == m_heightGiven)
        m_window.resize(m_window.width(), m_heightBefore);
    if (m_focusBefore)
        m_focusBefore->setFocus(Qt::OtherFocusReason);
}

void Sheet::slide(bool out)
{
    m_slide.setDirection(out ? QAbstractAnimation::Forward : QAbstractAnimation::Backward);
    if (movingTime(*this, SlideMilliseconds) > 0) {
        if (m_slide.state() != QAbstractAnimation::Running)
            m_slide.start();
        return;
    }
    m_slide.stop();
    m_slide.setCurrentTime(out ? m_slide.duration() : 0);
    moveBody();
    setVisible(out);
}

QSize Sheet::bodySize(int width) const
{
    const QLayout* const layout = m_body->layout();
    if (!layout)
        return {};
    const QSize wanted = layout->totalSizeHint();
    const int given = std::min(wanted.width(), std::max(layout->totalMinimumSize().width(), width - 2 * SideMargin));
    return {given, layout->hasHeightForWidth() ? layout->totalHeightForWidth(given) : wanted.height()};
}

int Sheet::topEdge() const
{
    return m_topEdge ? m_topEdge->mapTo(&m_window, QPoint(0, m_topEdge->height())).y() : 0;
}

void Sheet::place()
{
    const int top = topEdge();
    const QSize size = bodySize(m_window.width());
    m_window.setMinimumHeight(std::max(m_minimumHeightBefore, top + size.height() + Shadow));
    setGeometry(0, top, m_window.width(), m_window.height() - top);
    m_body->resize(size);
    moveBody();
}

void Sheet::moveBody()
{
    const double out = m_slide.currentValue().toDouble();
    m_body->move((width() - m_body->width()) / 2, -static_cast<int>(std::lround((1 - out) * m_body->height())));
    update();
}

QWidget* Sheet::nextFocus(QWidget* from, bool forward) const
{
    for (QWidget* widget = from;;) {
        widget = forward ? widget->nextInFocusChain() : widget->previousInFocusChain();
        if (widget == from)
            return nullptr;
        if (isAncestorOf(widget) && widget->isVisibleTo(this) && widget->isEnabled() && !widget->focusProxy() &&
            (widget->focusPolicy() & Qt::TabFocus))
            return widget;
    }
}

bool Sheet::focusNextPrevChild(bool next)
{
    QWidget* const focus = m_window.focusWidget();
    QWidget* const wanted = nextFocus(focus && isAncestorOf(focus) ? focus : this, next);
    if (wanted)
        wanted->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    return true;
}

void Sheet::keyPressEvent(QKeyEvent* event)
{
    // Anything arriving here was not used by a control of the sheet. It goes no further.
    if (event->key() == Qt::Key_Escape) {
        cancel();
    } else if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        auto* button = qobject_cast<QPushButton*>(m_window.focusWidget());
        QAbstractButton* const pressed = button && isAncestorOf(button) ? button : m_defaultButton.data();
        if (pressed && pressed->isEnabled() && !event->isAutoRepeat())
            pressed->animateClick();
    }
}

bool Sheet::event(QEvent* event)
{
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::Wheel:
    case QEvent::ContextMenu:
        // Nothing below a sheet may react to the mouse.
        event->accept();
        return true;
    default:
        return QWidget::event(event);
    }
}

bool Sheet::eventFilter(QObject* watched, QEvent* event)
{
    if (m_open && ((watched == &m_window && event->type() == QEvent::Resize) ||
                   (watched == m_body && event->type() == QEvent::LayoutRequest)))
        place();
    return false;
}

void Sheet::paintEvent(QPaintEvent* /*event*/)
{
    const double out = m_slide.currentValue().toDouble();
    QPainter painter(this);
    QColor shade = color(Role::SheetShade);
    shade.setAlphaF(static_cast<float>(out) * shade.alphaF());
    painter.fillRect(rect(), shade);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setClipRect(rect());
    // A soft shadow, from many outlines that each darken a little.
    const QRectF body(m_body->geometry());
    for (int i = Shadow; i > 0; --i)
        painter.fillPath(Body::outline(body.adjusted(-i, 0, i, i)), color(Role::SoftShadow));
}

} // namespace skin
