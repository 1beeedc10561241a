#include "FloatingStrip.h"

#include "../Compositing.h"
#include "../Paths.h"
#include "PopUp.h"
#include "X11.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QScreen>
#include <QSettings>
#include <QTimer>
#include <QWidget>
#include <QWindow>

#include <algorithm>
#include <cmath>
#include <optional>

namespace platform {

using namespace Qt::StringLiterals;

namespace {

constexpr int kThickness = 22;
constexpr int kMargin = 2;      // above and below the view
constexpr int kGripWidth = 10;  // left of the view
constexpr int kRightMargin = 3; // the least that keeps the view's corners inside the round ones
constexpr double kRadius = 7;

// A maximised window has its buttons in the corner.
constexpr int kRightInset = 110;
constexpr int kTopInset = 2;

constexpr qint64 kSettlingMs = 3000;

constexpr auto kGeometryKey = "Strip/geometry"_L1;

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

bool growsToTheLeft(const QRect& rect)
{
    const QScreen* screen = screenFor(rect);
    return screen && rect.center().x() > screen->geometry().center().x();
}

/// Of another width; the side that is nearer to an edge of the screen stays.
QRect resized(QRect rect, int width)
{
    if (growsToTheLeft(rect))
        rect.setLeft(rect.right() + 1 - width);
    else
        rect.setWidth(width);
    return rect;
}

} // namespace

class FloatingStrip::Window final : public QWidget
{
public:
    Window();
    ~Window() override;

    void setView(QWidget* view);
    void setLength(double points);
    double length() const { return m_length; }
    void popUp(QMenu& menu);
    /// Of the view. Empty where the compositor places the window, and tells nobody.
    std::optional<QRect> viewPlace() const;
    void setVisible(bool visible) override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override { event->accept(); }

private:
    bool isPlacedByUs() const { return !QGuiApplication::platformName().startsWith("wayland"_L1); }
    QRect defaultPlace() const;
    void place();
    void followScreen(QScreen* screen);
    void lookForCompositor();
    void applyMask();
    void savePlace();

    QPointer<QWidget> m_view;
    double m_length = 0;
    /// Where the person put it; it may have to stand elsewhere while a screen is away.
    std::optional<QRect> m_wanted;
    std::optional<QPoint> m_placed;
    std::optional<QPoint> m_dragFrom;
    bool m_grabbed = false; ///< by the person, at least once
    QElapsedTimer m_shown;
    bool m_composited = true;
    QTimer m_save;
};

FloatingStrip::Window::Window()
{
    setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus);
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    // It is never the active window, and tool tips are for those only.
    setAttribute(Qt::WA_AlwaysShowToolTips);
    setFocusPolicy(Qt::NoFocus);
    setWindowTitle(u"Quillon"_s);
    setCursor(Qt::OpenHandCursor);

    m_save.setSingleShot(true);
    m_save.setInterval(500);
    connect(&m_save, &QTimer::timeout, this, &Window::savePlace);

    const QRect saved = stateFile().value(kGeometryKey).toRect();
    if (saved.isValid())
        m_wanted = saved;

    for (QScreen* screen : QGuiApplication::screens())
        followScreen(screen);
    connect(qApp, &QGuiApplication::screenAdded, this, &Window::followScreen);
    connect(qApp, &QGuiApplication::screenRemoved, this, &Window::place, Qt::QueuedConnection);
    connect(qApp, &QGuiApplication::primaryScreenChanged, this, &Window::place);
}

FloatingStrip::Window::~Window()
{
    if (m_grabbed && m_save.isActive())
        savePlace();
    // It is not ours to delete.
    if (m_view)
        m_view->setParent(nullptr);
}

void FloatingStrip::Window::setView(QWidget* view)
{
    if (m_view) {
        m_view->setParent(nullptr);
        m_view->unsetCursor();
    }
    m_view = view;
    if (!view) {
        hide();
        return;
    }
    view->setParent(this);
    view->setCursor(Qt::ArrowCursor);
    setLength(m_length > 0 ? m_length : view->width());
    view->show();
    if (isPlacedByUs())
        place();
    show();
}

void FloatingStrip::Window::setLength(double points)
{
    m_length = points;
    if (!m_view)
        return;
    const int viewWidth = static_cast<int>(std::ceil(points));
    const QSize size(kGripWidth + viewWidth + kRightMargin, kThickness + 2 * kMargin);
    m_view->setGeometry(kGripWidth, kMargin, viewWidth, kThickness);
    if (size == this->size())
        return;
    setFixedSize(size);
    if (m_wanted)
        m_wanted = resized(*m_wanted, size.width());
    if (isPlacedByUs())
        place();
}

QRect FloatingStrip::Window::defaultPlace() const
{
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen)
        return geometry();
    const QRect area = screen->availableGeometry();
    return QRect(QPoint(area.right() + 1 - kRightInset - width(), area.top() + kTopInset), size());
}

void FloatingStrip::Window::place()
{
    if (!isPlacedByUs())
        return;
    const QRect wanted = m_wanted ? resized(*m_wanted, width()) : defaultPlace();
    m_placed = onScreen(QRect(wanted.topLeft(), size())).topLeft();
    // Also when it stands there already: a window that was never moved is placed by the window manager.
    move(*m_placed);
}

void FloatingStrip::Window::followScreen(QScreen* screen)
{
    connect(screen, &QScreen::geometryChanged, this, &Window::place);
    connect(screen, &QScreen::availableGeometryChanged, this, &Window::place);
    place();
}

void FloatingStrip::Window::setVisible(bool visible)
{
    if (visible)
        lookForCompositor();
    QWidget::setVisible(visible);
    if (visible)
        m_shown.start();
    // After it is mapped: the window manager takes this as a request about a window that it knows.
    if (visible && windowHandle())
        x11::skipTaskBar(*windowHandle());
}

void FloatingStrip::Window::popUp(QMenu& menu)
{
    QRect item = frameGeometry();
    if (m_view)
        item.setLeft(m_view->mapToGlobal(QPoint(0, 0)).x());
    popUpBeside(menu, item);
}

std::optional<QRect> FloatingStrip::Window::viewPlace() const
{
    if (!isPlacedByUs() || !isVisible() || !m_view)
        return std::nullopt;
    return QRect(QPoint(m_view->mapToGlobal(QPoint(0, 0)).x(), frameGeometry().top()),
                 QSize(m_view->width(), height()));
}

void FloatingStrip::Window::paintEvent(QPaintEvent* event)
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
    // The steps of a mask show whatever is behind the round corners: let it be more of the same.
    if (!m_composited)
        painter.fillRect(rect(), body);
    painter.setBrush(body);
    // Dark around it for light backgrounds, a light edge within for dark ones.
    painter.setPen(QPen(QColor(0x14, 0x15, 0x18, m_composited ? 200 : 255), line));
    painter.drawRoundedRect(outer, kRadius, kRadius);
    QLinearGradient rim(outer.topLeft(), outer.bottomLeft());
    rim.setColorAt(0, QColor(255, 255, 255, 90));
    rim.setColorAt(1, QColor(255, 255, 255, 22));
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(rim, line));
    painter.drawRoundedRect(outer.adjusted(line, line, -line, -line), kRadius - line, kRadius - line);

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

    // All of it is drawn anew when a compositor comes or goes, the view alone when only its face changes.
    if (event->region().contains(QPoint(1, height() / 2)))
        QMetaObject::invokeMethod(this, &Window::lookForCompositor, Qt::QueuedConnection);
}

void FloatingStrip::Window::resizeEvent(QResizeEvent*)
{
    applyMask();
}

void FloatingStrip::Window::moveEvent(QMoveEvent* event)
{
    if (!isVisible() || !m_placed || event->pos() == *m_placed)
        return;
    // While it comes up, window managers try places for it and report positions of windows not yet framed. Those are
    // nobody's wish.
    if (!m_grabbed && m_shown.elapsed() < kSettlingMs)
        return;
    m_placed = event->pos();
    m_wanted = QRect(event->pos(), size());
    m_save.start();
}

void FloatingStrip::Window::enterEvent(QEnterEvent*)
{
    lookForCompositor();
}

void FloatingStrip::Window::mousePressEvent(QMouseEvent* event)
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

void FloatingStrip::Window::mouseMoveEvent(QMouseEvent* event)
{
    if (m_dragFrom)
        move(event->globalPosition().toPoint() - *m_dragFrom);
}

void FloatingStrip::Window::mouseReleaseEvent(QMouseEvent*)
{
    m_dragFrom.reset();
}

void FloatingStrip::Window::lookForCompositor()
{
    const bool composited = isScreenComposited();
    if (composited == std::exchange(m_composited, composited))
        return;
    applyMask();
    update();
}

void FloatingStrip::Window::applyMask()
{
    if (m_composited) {
        clearMask();
        return;
    }
    maskRounded(*this, rect(), kRadius);
}

void FloatingStrip::Window::savePlace()
{
    m_save.stop();
    if (!m_wanted)
        return;
    QSettings file = stateFile();
    file.setValue(kGeometryKey, *m_wanted);
}

FloatingStrip::FloatingStrip() : m_window(std::make_unique<Window>()) {}

FloatingStrip::~FloatingStrip() = default;

bool FloatingStrip::available()
{
    return qobject_cast<QApplication*>(QCoreApplication::instance()) && QGuiApplication::primaryScreen();
}

double FloatingStrip::thickness() const
{
    return kThickness;
}

void FloatingStrip::setView(QWidget* view)
{
    m_window->setView(view);
}

void FloatingStrip::setLength(double points)
{
    m_window->setLength(points);
}

double FloatingStrip::length() const
{
    return m_window->length();
}

void FloatingStrip::setEnabled(bool enabled)
{
    m_window->setEnabled(enabled);
}

void FloatingStrip::setToolTip(const QString& text)
{
    m_window->setToolTip(text);
}

void FloatingStrip::setDescription(const Description& description)
{
    m_window->setAccessibleName(description.spoken);
    m_window->setAccessibleDescription(description.hours);
}

StatusItem::Place FloatingStrip::place() const
{
    return {true, m_window->viewPlace()};
}

void FloatingStrip::popUpMenu(QMenu& menu)
{
    m_window->popUp(menu);
}

void FloatingStrip::present()
{
    m_window->show();
    m_window->raise();
}

QString FloatingStrip::describe() const
{
    return u"floating strip, %1 × %2 points"_s.arg(m_window->width()).arg(m_window->height());
}

} // namespace platform
