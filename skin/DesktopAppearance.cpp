#include "skin/DesktopAppearance.h"

#include "skin/Colors.h"

#include <QApplication>
#include <QEvent>
#include <QPainter>
#include <QProxyStyle>
#include <QScopedValueRollback>
#include <QStyleOption>
#include <QToolTip>

#include <algorithm>
#include <cmath>

namespace skin {

using namespace Qt::StringLiterals;

namespace {

/// https://www.w3.org/TR/WCAG22/#dfn-relative-luminance
double luminance(const QColor& color)
{
    const auto part = [](double value) {
        return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * part(color.redF()) + 0.7152 * part(color.greenF()) + 0.0722 * part(color.blueF());
}

bool isDark(const QPalette& palette)
{
    return luminance(palette.color(QPalette::Window)) < luminance(palette.color(QPalette::WindowText));
}

/// Whether it is a palette of high contrast: little else than black and white.
bool isClear(const QPalette& palette)
{
    constexpr double least = 19;
    for (const auto& [ground, text] :
         {std::pair{QPalette::Window, QPalette::WindowText}, std::pair{QPalette::Base, QPalette::Text},
          std::pair{QPalette::Button, QPalette::ButtonText}}) {
        const double one = luminance(palette.color(ground)) + 0.05;
        const double other = luminance(palette.color(text)) + 0.05;
        if (std::max(one, other) / std::min(one, other) < least)
            return false;
    }
    return true;
}

/// Draws the edges of fields, boxes and menus, which Fusion makes darker than the window: on dark ones they cannot be
/// seen.
class EdgeStyle final : public QProxyStyle
{
public:
    EdgeStyle() : QProxyStyle(u"fusion"_s) {}

    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override
    {
        const int width = QProxyStyle::pixelMetric(metric, option, widget);
        return metric == PM_MenuPanelWidth ? std::max(1, width) : width; // room for the edge
    }

    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override
    {
        QProxyStyle::drawPrimitive(element, option, painter, widget);
        const bool isBox = element == PE_IndicatorCheckBox || element == PE_IndicatorRadioButton;
        const auto* frame = qstyleoption_cast<const QStyleOptionFrame*>(option);
        const bool focused = option->state & State_HasFocus;
        const bool isField = element == PE_PanelLineEdit && frame && frame->lineWidth > 0 && !focused;
        const bool isButton = element == PE_PanelButtonCommand && appearance().scheme == Scheme::ClearDark;
        const bool isMenu = element == PE_FrameMenu;
        if (!isDark(option->palette) || !(isBox || isField || isButton || isMenu))
            return;
        const double radius = element == PE_IndicatorRadioButton ? option->rect.height() / 2.0
                              : isBox                            ? 1
                              : isMenu                           ? 0
                                                                 : 2;
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setPen(color(focused ? Role::Focus : isMenu ? Role::MenuEdge : Role::FieldEdgeTop));
        painter->setBrush(Qt::NoBrush);
        painter->drawRoundedRect(QRectF(option->rect).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
        painter->restore();
    }
};

/// For ordinary windows, in the present look.
QPalette ordinaryPalette()
{
    QPalette palette(color(Role::WindowText), color(Role::Button), color(Role::Bright), color(Role::Dim),
                     color(Role::Mid), color(Role::WindowText), color(Role::HighlightText), color(Role::Base),
                     color(Role::Window));
    palette.setColor(QPalette::AlternateBase, color(Role::AlternateBase));
    palette.setColor(QPalette::Midlight, color(Role::Button));
    palette.setColor(QPalette::Shadow, color(Role::Shadow));
    palette.setColor(QPalette::Highlight, color(Role::Highlight));
    palette.setColor(QPalette::HighlightedText, color(Role::HighlightText));
    const bool dark = isDark(palette);
    palette.setColor(QPalette::Link, color(dark ? Role::LinkOnDark : Role::LinkOnLight));
    palette.setColor(QPalette::LinkVisited, color(dark ? Role::LinkOnDark : Role::LinkOnLight));
    palette.setColor(QPalette::PlaceholderText, color(Role::FieldPrompt));
    palette.setColor(QPalette::ToolTipBase, color(Role::ToolTip));
    palette.setColor(QPalette::ToolTipText, color(Role::WindowText));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, color(Role::DisabledText));
    return palette;
}

} // namespace

DesktopAppearance::DesktopAppearance() : m_toolTips(QToolTip::palette())
{
    if (QApplication::style()->name().compare("fusion"_L1, Qt::CaseInsensitive) == 0)
        QApplication::setStyle(new EdgeStyle);
    qApp->installEventFilter(this);
    update();
    m_watch = platform::watchDesktopWishes([this](const platform::DesktopWishes& wishes) { follow(wishes); });
}

DesktopAppearance::~DesktopAppearance()
{
    m_isUpdating = true;
    if (m_hasOwnPalette)
        QApplication::setPalette(QPalette());
}

void DesktopAppearance::follow(const platform::DesktopWishes& wishes)
{
    m_wishes = wishes;
    update();
}

bool DesktopAppearance::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == qApp && event->type() == QEvent::ApplicationPaletteChange && !m_isUpdating)
        update();
    return false;
}

void DesktopAppearance::update()
{
    const QScopedValueRollback updating(m_isUpdating, true);
    // The desktop's own, as it is now.
    if (m_hasOwnPalette)
        QApplication::setPalette(QPalette());
    const QPalette desktops = QApplication::palette();
    const bool dark = m_wishes.dark.value_or(isDark(desktops));
    const bool clear = m_wishes.highContrast.value_or(false) || isClear(desktops);
    setAppearance({.scheme = clear  ? dark ? Scheme::ClearDark : Scheme::ClearLight
                             : dark ? Scheme::Dark
                                    : Scheme::Light,
                   .still = m_wishes.reducedMotion.value_or(false)});
    m_hasOwnPalette = dark != isDark(desktops) || clear != isClear(desktops);
    if (m_hasOwnPalette)
        QApplication::setPalette(ordinaryPalette());
    QToolTip::setPalette(m_hasOwnPalette ? ordinaryPalette() : m_toolTips);
}

} // namespace skin
