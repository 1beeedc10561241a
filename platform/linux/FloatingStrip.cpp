#include "FloatingStrip.h"

#include "../Compositing.h"
#include "../Paths.h"
#include "DesktopName.h"
#include "PopUp.h"
#include "X11.h"

#include <QApplication>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QSettings>
#include <QWindow>

#include <algorithm>
#include <cmath>

namespace platform {

using namespace Qt::StringLiterals;

namespace {

constexpr int Margin = 2;      // above and below the view
constexpr int GripWidth = 10;  // left of the view
constexpr int RightMargin = 3; // the least that keeps the view's corners inside the round ones
constexpr double Radius = 7;

// A maximised window has its buttons in the corner.
constexpr int RightInset = 110;
constexpr int TopInset = 2;

constexpr qint64 SettlingMs = 3000;

constexpr auto GeometryKey = "Strip/geometry"_L1;

QSettings stateFile()
{
    return QSettings(configFolder() + "/State.conf"_L1, QSettings::IniFormat);
}

QScreen* screenFor(const QRect& rect)
{
    QScreen* screen = QGuiApplication::screenAt(rect.center());
    return screen ? screen : QGuiApplication::primaryScreen();
}

/// `rect`, moved as little as puts it on a screen. The place of a panel counts: people may lay the strip on theirs.
QRect onScreen(QRect rect)
{
    const QScreen* screen = screenFor(rect);
    if (!screen)
        return rect;
    const QRect area = screen->geometry();
    rect.moveLeft(std::clamp(rect.left(), area.left(), std::max(area.left(), area.right() + 1 - rect.width())));
    rect.moveTop(std::clamp(rect.top(), area.top(), std::max(area.top(), area.bottom() + 1 - rect.height())));
    return rect;
}

/// On Wayland the compositor places windows, and does not report where.
bool isPlacedByUs()
{
    return !QGuiApplication::platformName().startsWith("wayland"_L1);
}

bool growsToTheLeft(const QRect& rect)
{
    const QScreen* screen = screenFor(rect);
    return screen && rect.center().x() > screen->geometry().center().x();
}

/// Changes the width; the side nearer to an edge of the screen stays.
QRect resized(QRect rect, int width)
{
    if (growsToTheLeft(rect))
        rect.setLeft(rect.right() + 1 - width);
    else
        rect.setWidth(width);
    return rect;
}

} // namespace

FloatingStrip::FloatingStrip(const ItemContent& content)
    : ViewCarrier(*content.view, Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus)
{
    setAttribute(Qt::WA_TranslucentBackground);
    setFocusPolicy(Qt::NoFocus);

    m_save.setSingleShot(true);
    m_save.setInterval(500);
    connect(&m_save, &QTimer::timeout, this, &FloatingStrip::savePlace);

    const QRect saved = stateFile().value(GeometryKey).toRect();
    if (saved.isValid())
        m_wanted = saved;

    for (QScreen* screen : QGuiApplication::screens())
        followScreen(screen);
    connect(qApp, &QGuiApplication::screenAdded, this, &FloatingStrip::followScreen);
    connect(qApp, &QGuiApplication::screenRemoved, this, &FloatingStrip::putInPlace, Qt::QueuedConnection);
    connect(qApp, &QGuiApplication::primaryScreenChanged, this, &FloatingStrip::putInPlace);

    setContent(content);
    m_view->show();
    putInPlace();
    show();
}

FloatingStrip::~FloatingStrip()
{
    if (m_grabbed && m_save.isActive())
        savePlace();
}

void FloatingStrip::setLength(double points)
{
    const int viewWidth = static_cast<int>(std::ceil(points));
    const QSize size(GripWidth + viewWidth + RightMargin, Thickness + 2 * Margin);
    m_view->setGeometry(GripWidth, Margin, viewWidth, Thickness);
    if (size == this->size())
        return;
    setFixedSize(size);
    if (m_wanted)
        m_wanted = resized(*m_wanted, size.width());
    putInPlace();
}

QRect FloatingStrip::defaultPlace() const
{
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen)
        return geometry();
    const QRect area = screen->availableGeometry();
    return QRect(QPoint(area.right() + 1 - RightInset - width(), area.top() + TopInset), size());
}

void FloatingStrip::putInPlace()
{
    if (!isPlacedByUs())
        return;
    const QRect wanted = m_wanted ? resized(*m_wanted, width()) : defaultPlace();
    m_placed = onScreen(QRect(wanted.topLeft(), size())).topLeft();
    // Also when it stands there already: a window that was never moved is placed by the window manager.
    move(*m_placed);
}

void FloatingStrip::followScreen(QScreen* screen)
{
    connect(screen, &QScreen::geometryChanged, this, &FloatingStrip::putInPlace);
    connect(screen, &QScreen::availableGeometryChanged, this, &FloatingStrip::putInPlace);
    putInPlace();
}

void FloatingStrip::setVisible(bool visible)
{
    if (!visible) {
        QWidget::setVisible(false);
        return;
    }
    lookForCompositor();
    // At first before it is mapped: of a mapped one each is a change that comes back, about which the toolkit asks the
    // server. Of one that has been hidden the window manager may be about to remove what it knew.
    const bool isFirst = !m_shown.isValid();
    winId();
    if (isFirst)
        x11::skipTaskBar(*windowHandle());
    // Windows that are shown disabled get no cursor. For the arrow, which the screen has anyway, the toolkit would look
    // through the desktop's themes now.
    const bool disabled = testAttribute(Qt::WA_Disabled);
    setAttribute(Qt::WA_Disabled);
    QWidget::setVisible(true);
    setAttribute(Qt::WA_Disabled, disabled);
    if (!isFirst)
        x11::skipTaskBar(*windowHandle());
    m_shown.start();
}

StatusItem::Place FloatingStrip::place() const
{
    if (!isPlacedByUs() || !isVisible() || !m_view)
        return {true, std::nullopt, drawback()};
    return {
        true,
        QRect(QPoint(m_view->mapToGlobal(QPoint(0, 0)).x(), frameGeometry().top()), QSize(m_view->width(), height())),
        {}};
}

QString FloatingStrip::drawback()
{
    if (isPlacedByUs())
        return {};
    return isDesktop("GNOME"_L1)
               ? QCoreApplication::translate("FloatingStrip", "Other windows can cover it. The GNOME extension "
                                                              "AppIndicator shows your hours in the top bar.")
               : QCoreApplication::translate("FloatingStrip",
                                             "Other windows can cover it. A bar with a tray shows your "
                                             "hours at all times.");
}

void FloatingStrip::popUpMenu(QMenu& menu)
{
    QRect item = frameGeometry();
    if (m_view)
        item.setLeft(m_view->mapToGlobal(QPoint(0, 0)).x());
    // Wayland opens a menu without a parent at whichever window had the last input.
    menu.winId();
    menu.windowHandle()->setTransientParent(windowHandle());
    popUpBeside(menu, item);
}

void FloatingStrip::present()
{
    show();
    raise();
}

QString FloatingStrip::describe() const
{
    return u"floating strip, %1 × %2 points"_s.arg(width()).arg(height());
}

void FloatingStrip::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    painter.setClipRegion(event->region());
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(rect(), Qt::transparent);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.setRenderHint(QPainter::Antialiasing);

    // Lines of one device pixel, in the middle of it.
    const double line = 1 / devicePixelRatioF();
    const QRectF outer = QRectF(rect()).adjusted(line / 2, line / 2, -line / 2, -line / 2);
    const int alpha = m_composited ? 240 : 255;
    QLinearGradient body(outer.topLeft(), outer.bottomLeft());
    body.setColorAt(0, QColor(0x5a, 0x5e, 0x65, alpha));
    body.setColorAt(0.5, QColor(0x47, 0x4b, 0x51, alpha));
    body.setColorAt(1, QColor(0x3a, 0x3d, 0x43, alpha));
    // The steps of a mask show whatever is behind the round corners: paint more of the same there.
    if (!m_composited)
        painter.fillRect(rect(), body);
    painter.setBrush(body);
    // Dark around it for light backgrounds, a light edge within for dark ones.
    painter.setPen(QPen(QColor(0x14, 0x15, 0x18, m_composited ? 200 : 255), line));
    painter.drawRoundedRect(outer, Radius, Radius);
    QLinearGradient rim(outer.topLeft(), outer.bottomLeft());
    rim.setColorAt(0, QColor(255, 255, 255, 90));
    rim.setColorAt(1, QColor(255, 255, 255, 22));
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(rim, line));
    painter.drawRoundedRect(outer.adjusted(line, line, -line, -line), Radius - line, Radius - line);

    // The grip: three pairs of pits, each lit from below.
    painter.setPen(Qt::NoPen);
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 2; ++column) {
            const QPointF centre(5.5 + 3 * column, height() / 2.0 + (row - 1) * 4);
            painter.setBrush(QColor(255, 255, 255, 46));
            painter.drawEllipse(centre + QPointF(0, 0.5), 1, 1);
            painter.setBrush(QColor(0x18, 0x1a, 0x1d, 210));
            painter.drawEllipse(centre, 0.9, 0.9);
        }
    }

    // Everything is redrawn when a compositor comes or goes, only the view when just its face changes.
    if (event->region().contains(QPoint(1, height() / 2)))
        QMetaObject::invokeMethod(this, &FloatingStrip::lookForCompositor, Qt::QueuedConnection);
}

void FloatingStrip::resizeEvent(QResizeEvent*)
{
    applyMask();
}

void FloatingStrip::moveEvent(QMoveEvent* event)
{
    if (!isVisible() || !m_placed || event->pos() == *m_placed)
        return;
    // While it comes up, window managers try positions for it and report those of windows not yet framed. The person
    // chose none of them.
    if (!m_grabbed && m_shown.elapsed() < SettlingMs)
        return;
    m_placed = event->pos();
    m_wanted = QRect(event->pos(), size());
    m_save.start();
}

void FloatingStrip::enterEvent(QEnterEvent*)
{
    // Not before: the toolkit looks through the desktop's cursor themes for it, and asks the server about them.
    setCursor(Qt::OpenHandCursor);
    if (m_view)
        m_view->setCursor(Qt::ArrowCursor);
    lookForCompositor();
}

void FloatingStrip::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::RightButton && m_view) {
        // The menu is meant, wherever on the item the click falls.
        for (const auto type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
            QMouseEvent inView(type, QPointF(0, 0), m_view->mapToGlobal(QPointF(0, 0)), Qt::RightButton,
                               type == QEvent::MouseButtonPress ? Qt::RightButton : Qt::NoButton, event->modifiers());
            QCoreApplication::sendEvent(m_view, &inView);
        }
        return;
    }
    if (event->button() != Qt::LeftButton)
        return;
    m_grabbed = true;
    if (!windowHandle() || !windowHandle()->startSystemMove())
        m_dragFrom = event->position().toPoint();
}

void FloatingStrip::mouseMoveEvent(QMouseEvent* event)
{
    if (m_dragFrom)
        move(event->globalPosition().toPoint() - *m_dragFrom);
}

void FloatingStrip::mouseReleaseEvent(QMouseEvent*)
{
    m_dragFrom.reset();
}

void FloatingStrip::lookForCompositor()
{
    const bool composited = isScreenComposited();
    if (composited == std::exchange(m_composited, composited))
        return;
    applyMask();
    update();
}

void FloatingStrip::applyMask()
{
    if (m_composited) {
        clearMask();
        return;
    }
    maskRounded(*this, rect(), Radius);
}

void FloatingStrip::savePlace()
{
    m_save.stop();
    if (!m_wanted)
        return;
    QSettings file = stateFile();
    file.setValue(GeometryKey, *m_wanted);
}

} // namespace platform
