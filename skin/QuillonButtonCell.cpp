#include "skin/QuillonButtonCell.h"

#include "skin/Colors.h"
#include "skin/Fonts.h"
#include "skin/Geometrics.h"
#include "skin/Parts.h"

#include <QFontMetricsF>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QToolTip>

#include <cmath>
#include <string>

using namespace Qt::StringLiterals;

namespace skin {
namespace {

constexpr qreal CornerRadius = 5;
constexpr int TitleMargin = 14;
constexpr int LeastMargin = 6;
constexpr int LeastWidth = 76;

} // namespace

QuillonButtonCell::QuillonButtonCell(const QString& title, QWidget* parent, Purpose purpose)
    : QPushButton(title, parent), m_isCancelButton(purpose == Cancel), m_ring(*this, CornerRadius)
{
    setFont(interfaceFont(12, QFont::Bold));
    setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Fixed);
    setAttribute(Qt::WA_Hover);
    // Return presses it, in any window.
    setAutoDefault(true);
}

QColor QuillonButtonCell::textColor() const
{
    return color(isDown() || isSubmitButton() ? Role::SubmitText : Role::CancelText);
}

std::string_view QuillonButtonCell::imagePrefix() const
{
    if (isDown())
        return "btn-tw-active-";
    return isCancelButton() ? "btn-tw-cancel-" : "btn-tw-submit-";
}

Image QuillonButtonCell::part(std::string_view which) const
{
    return imageNamed(std::string(imagePrefix()).append(which).append(".png"));
}

void QuillonButtonCell::drawBezelWithFrame(QPainter& painter, const QRectF& frame) const
{
    drawThreePartImage(painter, frame, leftImage(), midImage(), rightImage());
    if (isEnabled() && underMouse() && !isDown()) {
        painter.save();
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(color(shouldShadowText() ? Role::SubmitHover : Role::CancelHover));
        painter.drawRoundedRect(frame.adjusted(1, 1, -1, -2), CornerRadius - 1, CornerRadius - 1);
        painter.restore();
    }
}

QString QuillonButtonCell::shownTitle(const QString& title, const QRectF& frame) const
{
    return QFontMetricsF(font()).elidedText(title, Qt::ElideRight, frame.width() - 2 * LeastMargin);
}

void QuillonButtonCell::drawTitle(QPainter& painter, const QString& title, const QRectF& frame) const
{
    const QFontMetricsF metrics(font());
    const QString shown = shownTitle(title, frame);
    // The lowest point of the picture is its shadow.
    const QRectF box = snapped(painter, frame.adjusted(0, 0, 0, -1));
    const QPointF baseline(box.center().x() - metrics.horizontalAdvance(shown) / 2,
                           box.center().y() + (metrics.ascent() - metrics.descent()) / 2);
    painter.setFont(font());
    if (shouldShadowText()) {
        painter.setPen(color(isEnabled() ? Role::TitleShadow : Role::FaintTitleShadow));
        painter.drawText(baseline - QPointF(0, 1), shown);
    }
    painter.setPen(textColor());
    painter.drawText(baseline, shown);
}

QSize QuillonButtonCell::sizeHint() const
{
    const qreal title = QFontMetricsF(font()).horizontalAdvance(text());
    const auto width = static_cast<int>(std::ceil(title)) + 2 * TitleMargin;
    return {std::max(LeastWidth, width), static_cast<int>(leftImage().size().height())};
}

void QuillonButtonCell::keyPressEvent(QKeyEvent* event)
{
    // However long it is held down, Return is one press.
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (!isReturn || !event->isAutoRepeat())
        QPushButton::keyPressEvent(event);
}

bool QuillonButtonCell::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip && toolTip().isEmpty() && shownTitle(text(), rect()) != text()) {
        QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), toolTipFor(text()), this);
        return true;
    }
    return QPushButton::event(event);
}

void QuillonButtonCell::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const bool faint = !isEnabled() && !showsDisabledByImage();
    painter.setOpacity(faint ? 0.5 : 1);
    drawBezelWithFrame(painter, rect());
    painter.setOpacity(faint ? 0.75 : 1);
    drawTitle(painter, text(), rect());
}

QColor QuillonHUDButtonCell::textColor() const
{
    return color(isEnabled() ? Role::HudButtonText : Role::HudButtonFaintText);
}

std::string_view QuillonHUDButtonCell::imagePrefix() const
{
    if (!isEnabled())
        return "btn-hud-cancel-";
    if (isDown())
        return "btn-hud-active-";
    return isCancelButton() ? "btn-hud-cancel-" : "btn-hud-submit-";
}

} // namespace skin
