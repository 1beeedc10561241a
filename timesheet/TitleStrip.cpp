#include "timesheet/TitleStrip.h"

#include "skin/Colors.h"
#include "skin/Image.h"

#include <QAbstractButton>
#include <QApplication>
#include <QBoxLayout>
#include <QContextMenuEvent>
#include <QLinearGradient>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QWindow>

namespace timesheet {

using namespace Qt::StringLiterals;
using skin::color;
using skin::Role;

namespace {

enum class Symbol
{
    Minimize,
    Maximize,
    Restore,
    Close
};

constexpr int ButtonWidth = 28;
constexpr qreal SymbolSize = 8;
constexpr QSizeF LetteringSize(46, TitleStrip::Height);

QColor symbolColor(bool active)
{
    return color(active ? Role::StripSymbol : Role::CalmStripSymbol);
}

/// One of the strip's three buttons: a symbol of thin lines, highlighted while the pointer is over it.
class StripButton final : public QAbstractButton
{
public:
    StripButton(Symbol symbol, const QString& name, QWidget* parent) : QAbstractButton(parent), m_symbol(symbol)
    {
        // As in any frame: the keys for these belong to the window manager.
        setFocusPolicy(Qt::NoFocus);
        setAttribute(Qt::WA_Hover);
        setName(name);
    }

    void setName(const QString& name)
    {
        setAccessibleName(name);
        setToolTip(name);
    }

    void setSymbol(Symbol symbol)
    {
        m_symbol = symbol;
        update();
    }

private:
    void paintEvent(QPaintEvent*) override
    {
        const bool active = TitleStrip::isProgramActive();
        const bool hovered = underMouse() && isEnabled();
        QPainter painter(this);
        if (hovered || isDown()) {
            const QColor patch = color(m_symbol == Symbol::Close ? Role::CloseHover
                                       : active                  ? Role::StripHover
                                                                 : Role::CalmStripHover);
            painter.fillRect(rect(), isDown() ? patch.darker(125) : patch);
        }
        const bool onRed = m_symbol == Symbol::Close && (hovered || isDown());
        drawSymbol(painter, onRed || (hovered && active) ? color(Role::StripText) : symbolColor(active));
    }

    void drawSymbol(QPainter& painter, const QColor& ink) const
    {
        const QRectF box =
            skin::snapped(painter, {(width() - SymbolSize) / 2, (height() - SymbolSize) / 2, SymbolSize, SymbolSize});
        // Lines of whole device pixels, about a point wide, laid inside the box.
        const qreal pixel = 1 / devicePixelRatioF();
        const qreal line = std::max(1.0, std::round(devicePixelRatioF())) * pixel;
        const auto frame = [&](const QRectF& r) {
            painter.fillRect(QRectF(r.left(), r.top(), r.width(), line), ink);
            painter.fillRect(QRectF(r.left(), r.bottom() - line, r.width(), line), ink);
            painter.fillRect(QRectF(r.left(), r.top() + line, line, r.height() - 2 * line), ink);
            painter.fillRect(QRectF(r.right() - line, r.top() + line, line, r.height() - 2 * line), ink);
        };
        switch (m_symbol) {
        case Symbol::Minimize:
            painter.fillRect(QRectF(box.left(), box.bottom() - 2 * line, box.width(), line), ink);
            break;
        case Symbol::Maximize:
            frame(box);
            break;
        case Symbol::Restore: {
            const qreal step = 2 * line;
            frame(box.adjusted(0, step, -step, 0));
            painter.fillRect(QRectF(box.left() + step, box.top(), box.width() - step, line), ink);
            painter.fillRect(QRectF(box.right() - line, box.top() + line, line, box.height() - step - line), ink);
            break;
        }
        case Symbol::Close:
            painter.setRenderHint(QPainter::Antialiasing);
            painter.setPen(QPen(ink, line * 1.2, Qt::SolidLine, Qt::FlatCap));
            painter.drawLine(box.topLeft(), box.bottomRight());
            painter.drawLine(box.topRight(), box.bottomLeft());
            break;
        }
    }

    Symbol m_symbol;
};

void drawLettering(QPainter& painter, const QRectF& box, bool active)
{
    const skin::Image lettering = skin::imageNamed("black-title-text.png");
    if (active) {
        lettering.draw(painter, box);
        return;
    }
    QPixmap inked = lettering.pixmap(painter.device()->devicePixelRatioF(), color(Role::CalmStripText));
    inked.setDevicePixelRatio(1);
    skin::drawDevicePixmap(painter, box.topLeft(), inked);
}

} // namespace

TitleStrip::TitleStrip(QWidget& window)
    : QWidget(&window), minimizeButton(new StripButton(Symbol::Minimize, tr("Minimize"), this)),
      maximizeButton(new StripButton(Symbol::Maximize, tr("Maximize"), this)),
      closeButton(new StripButton(Symbol::Close, tr("Close"), this)), m_window(window)
{
    minimizeButton->setObjectName(u"minimizeButton"_s);
    maximizeButton->setObjectName(u"maximizeButton"_s);
    closeButton->setObjectName(u"closeButton"_s);
    setFixedHeight(Height);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins({});
    row->setSpacing(0);
    row->addStretch();
    for (QWidget* button : {minimizeButton, maximizeButton, closeButton}) {
        button->setFixedSize(ButtonWidth, Height - 1);
        row->addWidget(button, 0, Qt::AlignTop);
    }
    connect(minimizeButton, &QAbstractButton::clicked, &window, &QWidget::showMinimized);
    connect(maximizeButton, &QAbstractButton::clicked, this, &TitleStrip::toggleMaximized);
    connect(closeButton, &QAbstractButton::clicked, &window, &QWidget::close);
    connect(qApp, &QGuiApplication::applicationStateChanged, this, qOverload<>(&QWidget::update));
    window.installEventFilter(this);
}

bool TitleStrip::isProgramActive()
{
    return QGuiApplication::applicationState() == Qt::ApplicationActive;
}

QLinearGradient TitleStrip::gradient(bool active)
{
    QLinearGradient gradient(0, 0, 0, Height);
    if (active) {
        gradient.setStops({{0.0, color(Role::StripEdge)},
                           {0.01, color(Role::StripTop)},
                           {0.95, color(Role::StripBottom)},
                           {1.0, color(Role::StripLine)}});
    } else {
        gradient.setStops({{0.0, color(Role::CalmStripTop)},
                           {0.95, color(Role::CalmStripBottom)},
                           {0.951, color(Role::CalmStripLine)},
                           {1.0, color(Role::CalmStripLine)}});
    }
    return gradient;
}

QMenu* TitleStrip::makeWindowMenu()
{
    auto* menu = new QMenu(&m_window);
    menu->addAction(tr("Minimize"), &m_window, &QWidget::showMinimized);
    menu->addAction(m_window.isMaximized() ? tr("Restore") : tr("Maximize"), this, &TitleStrip::toggleMaximized);
    menu->addSeparator();
    menu->addAction(tr("Close"), &m_window, &QWidget::close);
    return menu;
}

void TitleStrip::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const bool active = isProgramActive();
    if (m_window.isMaximized()) {
        painter.fillRect(rect(), gradient(active));
    } else {
        // Only the upper corners: the lower ones of this outline lie below the strip.
        QPainterPath outline;
        outline.addRoundedRect(QRectF(rect()).adjusted(0, 0, 0, CornerRadius * 2), CornerRadius, CornerRadius);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillPath(outline, gradient(active));
        if (!active) {
            const qreal half = 0.5 / devicePixelRatioF();
            QPainterPath inner;
            inner.addRoundedRect(QRectF(rect()).adjusted(half, half, -half, CornerRadius * 2), CornerRadius - half,
                                 CornerRadius - half);
            painter.strokePath(inner, QPen(color(Role::Outline), 2 * half));
            painter.setRenderHint(QPainter::Antialiasing, false);
        }
    }
    // Other languages may need more room.
    const QSizeF lettering(std::max(LetteringSize.width(), skin::imageNamed("black-title-text.png").size().width()),
                           LetteringSize.height());
    drawLettering(painter, {QPointF(std::round((width() - lettering.width()) / 2), 0), lettering}, active);
}

void TitleStrip::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        m_pressedAt = event->position().toPoint();
}

void TitleStrip::mouseMoveEvent(QMouseEvent* event)
{
    if (!m_pressedAt ||
        (event->position().toPoint() - *m_pressedAt).manhattanLength() < QApplication::startDragDistance())
        return;
    m_pressedAt.reset();
    // From here on the window manager handles the pointer.
    m_window.windowHandle()->startSystemMove();
}

void TitleStrip::mouseReleaseEvent(QMouseEvent*)
{
    m_pressedAt.reset();
}

void TitleStrip::mouseDoubleClickEvent(QMouseEvent* event)
{
    m_pressedAt.reset();
    if (event->button() == Qt::LeftButton)
        toggleMaximized();
}

void TitleStrip::contextMenuEvent(QContextMenuEvent* event)
{
    QMenu* menu = makeWindowMenu();
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(event->globalPos());
}

bool TitleStrip::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::WindowStateChange)
        updateMaximizeButton();
    return QWidget::eventFilter(watched, event);
}

void TitleStrip::toggleMaximized()
{
    if (m_window.isMaximized())
        m_window.showNormal();
    else
        m_window.showMaximized();
}

void TitleStrip::updateMaximizeButton()
{
    const bool maximized = m_window.isMaximized();
    auto& button = *static_cast<StripButton*>(maximizeButton);
    button.setSymbol(maximized ? Symbol::Restore : Symbol::Maximize);
    button.setName(maximized ? tr("Restore") : tr("Maximize"));
    update();
}

} // namespace timesheet
