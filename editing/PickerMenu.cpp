#include "editing/PickerMenu.h"

#include "editing/PickerMenuAccessible.h"
#include "skin/Appearance.h"
#include "skin/Fonts.h"
#include "skin/Geometrics.h"
#include "skin/ThinScroller.h"

#include <QAccessible>
#include <QApplication>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QScreen>
#include <QScrollBar>
#include <QStyle>
#include <QToolTip>

#include <algorithm>
#include <array>

namespace editing {

namespace {

constexpr int ItemHeight = 24;
constexpr int HeaderIndent = 10;
constexpr int ItemIndent = 26; // leaves room for the check mark
constexpr int RightMargin = 16;
constexpr int VerticalMargin = 4;
constexpr int Border = 1;
constexpr int Widest = 460;
constexpr std::size_t Measured = 100;
constexpr quint64 TypingPause = 1000; // milliseconds
constexpr int DragScrollInterval = 40;

} // namespace

PickerMenu::PickerMenu(Look look, QWidget* parent)
    : QAbstractScrollArea(parent), m_scroller(new skin::ThinScroller(*verticalScrollBar(), *viewport()))
{
    installPickerMenuAccessible();
    setWindowFlags(Qt::Popup);
    setAttribute(Qt::WA_X11NetWmWindowTypePopupMenu);
    setAttribute(Qt::WA_NoMouseReplay); // a press beside it only closes it
    setFocusPolicy(Qt::NoFocus);
    setFrameStyle(QFrame::Box | QFrame::Plain);
    setLineWidth(Border);
    setViewportMargins(0, VerticalMargin, 0, VerticalMargin);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    verticalScrollBar()->setSingleStep(ItemHeight);
    skin::dressed(*this, [this, look] {
        QPalette palette = listPalette(look);
        palette.setColor(QPalette::WindowText, palette.color(QPalette::Mid));
        setPalette(palette);
    });
    setFont(skin::interfaceFont(13));
    viewport()->setMouseTracking(true);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, [this] { m_scroller->place(viewport()->rect()); });
}

void PickerMenu::clear()
{
    m_items.clear();
    m_active = -1;
}

void PickerMenu::setChecked(std::optional<qint64> tag)
{
    m_checked = tag;
    viewport()->update();
}

/// The longest titles alone are measured. Should another be wider, it is elided.
int PickerMenu::widthOfItems() const
{
    std::vector<const Item*> longest;
    longest.reserve(m_items.size());
    for (const Item& item : m_items)
        longest.push_back(&item);
    const auto end = longest.begin() + static_cast<std::ptrdiff_t>(std::min(Measured, longest.size()));
    std::partial_sort(longest.begin(), end, longest.end(),
                      [](const Item* left, const Item* right) { return left->title.size() > right->title.size(); });
    int width = 0;
    for (auto item = longest.begin(); item != end && width < Widest; ++item)
        width = std::max(width,
                         ItemIndent + fontMetrics().horizontalAdvance(skin::displayable((*item)->title)) + RightMargin);
    return std::min(width, Widest);
}

void PickerMenu::popUp(const QWidget& field)
{
    if (m_items.empty())
        return;
    const QRect screen = field.screen()->availableGeometry();
    const QRect place(field.mapToGlobal(QPoint(0, 0)), field.size());
    const int below = screen.bottom() - place.bottom();
    const int above = place.top() - screen.top();
    const int wanted = std::min(count() * ItemHeight + 2 * (VerticalMargin + Border), screen.height() / 2);
    const bool isBelow = wanted <= below || below >= above;
    QRect frame(place.left(), place.bottom() + 1, std::max(place.width(), widthOfItems() + 2 * Border),
                std::min(wanted, isBelow ? below : above));
    if (!isBelow)
        frame.moveBottom(place.top() - 1);
    if (isRightToLeft())
        frame.moveRight(place.right());
    frame.moveLeft(std::max(screen.left(), std::min(frame.left(), screen.right() - frame.width() + 1)));
    setGeometry(frame);

    m_openedAt = QCursor::pos();
    m_aimed = false;
    m_typed.clear();
    m_active = -1;
    show();
    updateScrollBar();
    QAccessibleEvent opened(this, QAccessible::PopupMenuStart);
    QAccessible::updateAccessibility(&opened);
    // Walking through it with the keys starts at the choice, in the middle of what is seen.
    const auto checked =
        std::find_if(m_items.begin(), m_items.end(), [this](const Item& item) { return isChecked(item); });
    verticalScrollBar()->setValue(0);
    if (checked == m_items.end())
        return;
    setActiveItem(static_cast<int>(checked - m_items.begin()));
    verticalScrollBar()->setValue(itemRect(m_active).center().y() - viewport()->height() / 2);
}

void PickerMenu::trigger(int item)
{
    if (item < 0 || item >= count() || !at(item).tag)
        return;
    const qint64 tag = *at(item).tag;
    close();
    emit triggered(tag);
}

QRect PickerMenu::itemRect(int item) const
{
    return {0, item * ItemHeight - verticalScrollBar()->value(), viewport()->width(), ItemHeight};
}

int PickerMenu::itemAt(QPoint point) const
{
    const int item = (point.y() + verticalScrollBar()->value()) / ItemHeight;
    return viewport()->rect().contains(point) && item < count() ? item : -1;
}

void PickerMenu::updateScrollBar()
{
    verticalScrollBar()->setPageStep(viewport()->height());
    verticalScrollBar()->setRange(0, std::max(0, count() * ItemHeight - viewport()->height()));
    m_scroller->place(viewport()->rect());
}

void PickerMenu::setActiveItem(int item)
{
    if (item == m_active)
        return;
    m_active = item;
    viewport()->update();
    if (item < 0)
        return;
    QAccessibleEvent highlighted(this, QAccessible::Focus);
    highlighted.setChild(item);
    QAccessible::updateAccessibility(&highlighted);
}

/// Highlights that item. Headers are passed over, and the first item follows the last.
void PickerMenu::moveTo(int item, int direction)
{
    item = (item + count()) % count();
    for (int passed = 0; passed < count() && !at(item).tag; ++passed)
        item = (item + direction + count()) % count();
    setActiveItem(item);
    scrollTo(item);
}

void PickerMenu::scrollTo(int item)
{
    QRect wanted = itemRect(item);
    if (item > 0 && !at(item - 1).tag)
        wanted.setTop(wanted.top() - ItemHeight); // its header comes with it
    const int beyond = wanted.bottom() + 1 - viewport()->height();
    verticalScrollBar()->setValue(verticalScrollBar()->value() + (beyond > 0 ? beyond : std::min(wanted.top(), 0)));
}

/// The next item that begins with what is being typed. The code before a name may be left out.
void PickerMenu::search(const QKeyEvent& key)
{
    const bool goesOn = !m_typed.isEmpty() && key.timestamp() - m_typedAt < TypingPause;
    m_typed = goesOn ? m_typed + key.text() : key.text();
    m_typedAt = key.timestamp();
    // The same letter again leads on, as does a first one.
    const bool leadsOn = m_typed.count(m_typed.front(), Qt::CaseInsensitive) == m_typed.size();
    const QString wanted = leadsOn ? m_typed.left(1) : m_typed;
    const int first = std::max(m_active, 0) + (leadsOn && m_active >= 0 ? 1 : 0);
    for (int i = 0; i < count(); ++i) {
        const Item& item = at((first + i) % count());
        const qsizetype code = item.title.startsWith(u'[') ? item.title.indexOf(QStringLiteral("] ")) : -1;
        if (item.tag && (item.title.startsWith(wanted, Qt::CaseInsensitive) ||
                         (code > 0 && (item.title.mid(1).startsWith(wanted, Qt::CaseInsensitive) ||
                                       item.title.mid(code + 2).startsWith(wanted, Qt::CaseInsensitive))))) {
            moveTo((first + i) % count(), 1);
            return;
        }
    }
}

bool PickerMenu::event(QEvent* event)
{
    switch (event->type()) {
    case QEvent::ShortcutOverride: // while it is open, all keys are its own
        event->accept();
        return true;
    case QEvent::MouseButtonPress: // on its border, or beside it
        if (!rect().contains(static_cast<QMouseEvent*>(event)->position().toPoint()))
            close();
        return true;
    case QEvent::MouseMove: { // the same; with a button held it scrolls on to what is beyond its ends
        const auto* mouse = static_cast<QMouseEvent*>(event);
        const int y = mouse->position().toPoint().y();
        m_dragDirection = y < 0 ? -1 : y >= height() ? 1 : 0;
        if (m_dragDirection == 0 || !mouse->buttons() || !m_aimed)
            m_dragScroll.stop();
        else if (!m_dragScroll.isActive())
            m_dragScroll.start(DragScrollInterval, this);
        if (m_aimed)
            setActiveItem(-1);
        return true;
    }
    case QEvent::MouseButtonRelease:
        m_dragScroll.stop();
        return true;
    default:
        return QAbstractScrollArea::event(event);
    }
}

bool PickerMenu::viewportEvent(QEvent* event)
{
    if (event->type() == QEvent::Leave && m_aimed)
        setActiveItem(-1);
    if (event->type() != QEvent::ToolTip)
        return QAbstractScrollArea::viewportEvent(event);
    const auto* help = static_cast<QHelpEvent*>(event);
    const int item = itemAt(help->pos());
    const QString title = item >= 0 ? skin::displayable(at(item).title) : QString();
    const bool isCut = fontMetrics().horizontalAdvance(title) > viewport()->width() - ItemIndent - RightMargin;
    QToolTip::showText(help->globalPos(), isCut ? skin::toolTipFor(title) : QString(), viewport(), itemRect(item));
    return true;
}

void PickerMenu::paintEvent(QPaintEvent* event)
{
    QPainter painter(viewport());
    const int top = event->rect().top() + verticalScrollBar()->value();
    for (int item = top / ItemHeight; item < count() && itemRect(item).top() <= event->rect().bottom(); ++item)
        drawItem(painter, item);
}

void PickerMenu::drawItem(QPainter& painter, int item) const
{
    const bool header = !at(item).tag;
    const bool selected = item == m_active;
    const QRect row = itemRect(item);
    if (selected)
        painter.fillRect(row, palette().highlight());
    painter.setPen(palette().color(header ? QPalette::Disabled : QPalette::Active,
                                   selected ? QPalette::HighlightedText : QPalette::Text));
    const QRect box = QStyle::visualRect(layoutDirection(), row,
                                         row.adjusted(header ? HeaderIndent : ItemIndent, 0, -RightMargin / 2, 0));
    skin::drawLine(painter, box, layoutDirection(), skin::displayable(at(item).title));
    if (!isChecked(at(item)))
        return;
    const QPointF origin((isRightToLeft() ? row.right() - 17 : row.left() + 9), row.center().y() + 0.5);
    const std::array<QPointF, 3> mark{origin + QPointF(0, 0.5), origin + QPointF(3.2, 3.7), origin + QPointF(9, -3.8)};
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(painter.pen().color(), 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPolyline(mark.data(), static_cast<int>(mark.size()));
    painter.restore();
}

void PickerMenu::resizeEvent(QResizeEvent*)
{
    updateScrollBar();
}

void PickerMenu::hideEvent(QHideEvent*)
{
    m_dragScroll.stop();
    emit aboutToHide();
    QAccessibleEvent closed(this, QAccessible::PopupMenuEnd);
    QAccessible::updateAccessibility(&closed);
}

void PickerMenu::keyPressEvent(QKeyEvent* event)
{
    const int last = count() - 1;
    const int page = std::max(2, viewport()->height() / ItemHeight - 1);
    const bool typing = !m_typed.isEmpty() && event->timestamp() - m_typedAt < TypingPause;
    switch (event->key()) {
    case Qt::Key_Down:
    case Qt::Key_Tab:
        moveTo(m_active + 1, 1);
        break;
    case Qt::Key_Up:
    case Qt::Key_Backtab:
        moveTo(std::max(m_active, 0) - 1, -1);
        break;
    case Qt::Key_Home:
        moveTo(0, 1);
        break;
    case Qt::Key_End:
        moveTo(last, -1);
        break;
    case Qt::Key_PageDown:
        moveTo(std::min(m_active + page, last), -1);
        break;
    case Qt::Key_PageUp:
        moveTo(std::max(m_active - page, 0), 1);
        break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Select:
        trigger(m_active);
        break;
    case Qt::Key_Escape:
    case Qt::Key_Cancel:
        close();
        break;
    case Qt::Key_Space:
        if (!typing) {
            trigger(m_active);
            break;
        }
        [[fallthrough]];
    default:
        if (!event->text().isEmpty() && event->text().front().isPrint())
            search(*event);
    }
}

void PickerMenu::mousePressEvent(QMouseEvent* event)
{
    m_aimed = true;
    mouseMoveEvent(event);
}

void PickerMenu::mouseMoveEvent(QMouseEvent* event)
{
    m_dragScroll.stop();
    const QPoint moved = event->globalPosition().toPoint() - m_openedAt;
    m_aimed = m_aimed || moved.manhattanLength() >= QApplication::startDragDistance();
    const int item = itemAt(event->position().toPoint());
    if (m_aimed)
        setActiveItem(item >= 0 && at(item).tag ? item : -1);
}

void PickerMenu::mouseReleaseEvent(QMouseEvent* event)
{
    if (m_aimed)
        trigger(itemAt(event->position().toPoint()));
}

void PickerMenu::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != m_dragScroll.timerId())
        return QAbstractScrollArea::timerEvent(event);
    verticalScrollBar()->setValue(verticalScrollBar()->value() + m_dragDirection * ItemHeight);
}

} // namespace editing
