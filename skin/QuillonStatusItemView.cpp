#include "skin/QuillonStatusItemView.h"

#include "skin/AccessibleRole.h"
#include "skin/Colors.h"
#include "skin/SpokenHours.h"
#include "skin/StatusItemAccessible.h"
#include "skin/StatusItemOwner.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>

#include <cmath>

using namespace Qt::StringLiterals;

namespace skin {
namespace {

constexpr double EdgeMargin = 6;
/// The button with the left cap.
constexpr double ButtonAndCap = 19;

} // namespace

QuillonStatusItemView::QuillonStatusItemView(const QRectF& frame, StatusItemOwner& menulet)
    : m_menulet(menulet), m_hoursString(u"-:--"_s),
      m_blink(*this, [this] { return makeRectForBlinker().toAlignedRect(); })
{
    installAccessible<QuillonStatusItemView, StatusItemAccessible>();
    setObjectName(u"statusItemView"_s);
    setGeometry(QRect(frame.topLeft().toPoint(), QSize(qCeil(frame.width()), qCeil(frame.height()))));
    setFocusPolicy(Qt::TabFocus);
    setMouseTracking(true);
    updateSpokenText();
}

void QuillonStatusItemView::setHours(const QString& hours, bool andRunning)
{
    if (hours == m_hoursString && andRunning == m_isRunning)
        return;
    m_isRunning = andRunning;
    m_hoursString = hours;
    redisplay();
}

void QuillonStatusItemView::setOffline(bool offline)
{
    if (std::exchange(m_offline, offline) != offline)
        redisplay();
}

void QuillonStatusItemView::setLoggedOut(bool loggedOut)
{
    if (std::exchange(m_loggedOut, loggedOut) != loggedOut)
        redisplay();
}

void QuillonStatusItemView::setClicked(bool clicked)
{
    if (std::exchange(m_clicked, clicked) != clicked)
        redisplay();
}

void QuillonStatusItemView::setBlinkWhenRunning(bool blink)
{
    if (std::exchange(m_blinkWhenRunning, blink) != blink)
        redisplay();
}

void QuillonStatusItemView::redisplay()
{
    m_face = QPixmap();
    updateSpokenText();
    update();
}

// Geometry

double QuillonStatusItemView::computeWidthForHours(const QString& hours)
{
    return stringSize(hours).width() + ButtonAndCap + 2 * EdgeMargin + 4;
}

const TextAttributes& QuillonStatusItemView::hoursAttributes()
{
    static const TextAttributes attributes{interfaceFont(11), color(Role::FaceText)};
    return attributes;
}

QPointF QuillonStatusItemView::drawPointForString() const
{
    const QSizeF text = stringSize(m_hoursString);
    const auto area = static_cast<float>(width() - 2 * EdgeMargin - ButtonAndCap);
    const auto x = static_cast<float>(width() - (area + EdgeMargin) + (area - text.width()) / 2);
    return {x, height() / 2.0 - text.height() / 2};
}

QRectF QuillonStatusItemView::makeRectForBlinker() const
{
    const QPointF text = drawPointForString();
    const double untilColon = stringSize(m_hoursString.section(u':', 0, 0)).width();
    constexpr QSizeF patch{3, 9};
    // Two points above the lower edge of the text.
    const double bottom = text.y() + stringSize(m_hoursString).height() - 2;
    return {QPointF(text.x() + untilColon, bottom - patch.height()), patch};
}

QRectF QuillonStatusItemView::buttonRect() const
{
    const QSizeF size = startStopButton().size();
    return {QPointF(EdgeMargin, height() / 2.0 - size.height() / 2), size};
}

bool QuillonStatusItemView::inButton(QPointF point) const
{
    // The far edges belong to the neighbours, as with pixels.
    const QRectF button = buttonRect();
    return point.x() >= button.left() && point.x() < button.right() && point.y() >= button.top() &&
           point.y() < button.bottom();
}

// Drawing

void QuillonStatusItemView::paintEvent(QPaintEvent*)
{
    addAnimationIfNeeded();

    QPainter painter(this);
    const double scale = painter.deviceTransform().m11();
    if (m_face.isNull() || scale != m_faceScale) {
        m_face = QPixmap(qCeil(width() * scale), qCeil(height() * scale));
        m_faceScale = scale;
        m_face.fill(Qt::transparent);
        QPainter facePainter(&m_face);
        facePainter.scale(scale, scale);
        drawFace(facePainter);
    }
    drawDevicePixmap(painter, QPointF(0, 0), m_face);

    if (m_blink.isRunning()) {
        painter.setOpacity(m_blink.opacity());
        painter.fillRect(snapped(painter, makeRectForBlinker()), color(Role::FaceField));
    }
}

void QuillonStatusItemView::drawFace(QPainter& painter) const
{
    if (m_clicked)
        painter.fillRect(rect(), palette().highlight());
    if (m_offline) {
        drawOffline(painter);
    } else if (!m_loggedOut) {
        drawBackground(painter);
        drawHours(painter);
    } else {
        drawLoggedOut(painter);
    }
    if (m_focusShown)
        drawFocus(painter);
}

void QuillonStatusItemView::drawOffline(QPainter& painter) const
{
    drawPill(painter, imageNamed("m-offline.png"), tr("Offline"));
}

void QuillonStatusItemView::drawLoggedOut(QPainter& painter) const
{
    drawPill(painter, imageNamed("m-sign-in.png"), tr("Sign in"));
}

void QuillonStatusItemView::drawPill(QPainter& painter, const Image& image, const QString& label) const
{
    const QPointF corner(EdgeMargin, height() / 2.0 - image.size().height() / 2);
    image.drawAtPoint(painter, corner);

    // The label gets what the symbol on the left leaves; a wider font is drawn smaller rather than cut.
    constexpr double symbolWidth = 17;
    constexpr double rightInset = 3;
    const double room = image.size().width() - symbolWidth - rightInset;
    TextAttributes attributes = hoursAttributes();
    const double wanted = attributes.sizeOf(label).width();
    if (wanted > room)
        attributes.font.setPixelSize(qMax(8, qFloor(11 * room / wanted)));
    const QSizeF size = attributes.sizeOf(label);
    attributes.draw(painter, {corner.x() + symbolWidth + (room - size.width()) / 2, (height() - size.height()) / 2},
                    label);
}

void QuillonStatusItemView::drawBackground(QPainter& painter) const
{
    const QRectF button = buttonRect();
    const double y = button.top();
    startStopButton().drawAtPoint(painter, button.topLeft());
    if (m_buttonLook != ButtonLook::Plain)
        imageNamed(m_buttonLook == ButtonLook::Pressed ? "m-h-pressed.png" : "m-h-hover.png").draw(painter, button);

    const Image leftCap = leftCapTextBackground();
    const Image rightCap = rightCapTextBackground();
    const Image mid = midTextBackground();
    const double leftX = button.right();
    const double rightX = width() - rightCap.size().width() - EdgeMargin;
    leftCap.drawAtPoint(painter, {leftX, y});
    rightCap.drawAtPoint(painter, {rightX, y});
    // Last, over the inner half of the left cap and into the right one: so no gap can show between them.
    mid.draw(painter, {leftX + leftCap.size().width() / 2 + 1, y, rightX - leftX - 2, mid.size().height()});
}

void QuillonStatusItemView::drawHours(QPainter& painter) const
{
    hoursAttributes().draw(painter, drawPointForString(), m_hoursString);
}

void QuillonStatusItemView::drawFocus(QPainter& painter) const
{
    const QRectF pill = snapped(painter, buttonRect().adjusted(-2, -2, width() - 2 * EdgeMargin - 15 + 2, 2));
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(palette().color(QPalette::Highlight), 1.5));
    painter.drawRoundedRect(pill.adjusted(0.75, 0.75, -0.75, -0.75), 5.5, 5.5);
}

void QuillonStatusItemView::addAnimationIfNeeded()
{
    if (m_blinkWhenRunning && m_isRunning && !m_offline && !m_loggedOut)
        m_blink.start(Wave{});
    else
        m_blink.stop();
}

// Mouse and keys

void QuillonStatusItemView::pressButton()
{
    m_menulet.toggleCurrentTimer(this);
}

void QuillonStatusItemView::pressFace()
{
    m_clicked = true;
    redisplay();
    // The controller finds the highlight off and decides what it becomes.
    m_clicked = false;
    m_menulet.toggleStatusItemMenu();
}

void QuillonStatusItemView::mouseDown(const QMouseEvent& event)
{
    if (inButton(event.position())) {
        setButtonLook(ButtonLook::Pressed);
        pressButton();
    } else {
        pressFace();
    }
}

void QuillonStatusItemView::mouseUp(const QMouseEvent& event)
{
    setButtonLook(inButton(event.position()) ? ButtonLook::Hovered : ButtonLook::Plain);
    if (!(event.modifiers() & Qt::AltModifier))
        setClicked(false);
}

void QuillonStatusItemView::rightMouseDown()
{
    setClicked(!m_clicked);
    m_menulet.toggleStatusItemMenu();
}

void QuillonStatusItemView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        mouseDown(*event);
    else if (event->button() == Qt::RightButton)
        rightMouseDown();
    else
        QWidget::mousePressEvent(event);
}

void QuillonStatusItemView::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        mouseUp(*event);
    else if (event->button() == Qt::RightButton)
        rightMouseUp();
    else
        QWidget::mouseReleaseEvent(event);
}

void QuillonStatusItemView::mouseMoveEvent(QMouseEvent* event)
{
    if (!(event->buttons() & Qt::LeftButton))
        setButtonLook(inButton(event->position()) ? ButtonLook::Hovered : ButtonLook::Plain);
}

void QuillonStatusItemView::leaveEvent(QEvent* event)
{
    setButtonLook(ButtonLook::Plain);
    QWidget::leaveEvent(event);
}

void QuillonStatusItemView::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Space:
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // A held key is one press.
        if (!event->isAutoRepeat())
            pressButton();
        break;
    case Qt::Key_Down:
    case Qt::Key_Menu:
        if (!event->isAutoRepeat())
            pressFace();
        break;
    default:
        QWidget::keyPressEvent(event);
    }
}

void QuillonStatusItemView::contextMenuEvent(QContextMenuEvent* event)
{
    // The press that causes it has already opened the menu.
    event->accept();
}

void QuillonStatusItemView::focusInEvent(QFocusEvent* event)
{
    // A ring after keyboard navigation; a bar that merely became active shows none.
    const Qt::FocusReason reason = event->reason();
    showFocus(reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason || reason == Qt::ShortcutFocusReason);
}

void QuillonStatusItemView::showFocus(bool shown)
{
    if (std::exchange(m_focusShown, shown) != shown)
        redisplay();
}

void QuillonStatusItemView::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::PaletteChange)
        redisplay();
    QWidget::changeEvent(event);
}

void QuillonStatusItemView::setButtonLook(ButtonLook look)
{
    if (std::exchange(m_buttonLook, look) != look && !m_offline && !m_loggedOut)
        redisplay();
}

// Accessibility

QString QuillonStatusItemView::spokenText() const
{
    if (m_offline)
        return tr("Offline");
    if (m_loggedOut)
        return tr("Sign in");
    if (m_hoursString == "-:--"_L1)
        return tr("No hours yet");
    QStringList said{spokenHours(m_hoursString), m_isRunning ? tr("running") : tr("stopped")};
    if (!m_about.isEmpty())
        said << m_about;
    return said.join(", "_L1);
}

void QuillonStatusItemView::setAbout(const QString& about)
{
    m_about = about;
    updateSpokenText();
}

void QuillonStatusItemView::updateSpokenText()
{
    // Setting a name announces it.
    if (const QString text = spokenText(); text != accessibleName())
        setAccessibleName(text);
}

void QuillonStatusItemView::setStatusMenu(QMenu* menu)
{
    m_statusMenu = menu;
}

QMenu* QuillonStatusItemView::statusMenu() const
{
    return m_statusMenu;
}

} // namespace skin
