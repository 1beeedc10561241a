#include "editing/PickerMenu.h"

#include "skin/Fonts.h"
#include "skin/Geometrics.h"

#include <QPainter>
#include <QProxyStyle>
#include <QStyleOptionMenuItem>

#include <algorithm>
#include <array>

namespace editing {

namespace {

constexpr int ItemHeight = 24;
constexpr int HeaderIndent = 10;
constexpr int ItemIndent = 26; // leaves room for the check mark
constexpr int RightMargin = 16;
constexpr int Widest = 460;

/// Draws the items and measures them the same on every desktop.
class MenuStyle final : public QProxyStyle
{
public:
    explicit MenuStyle(QObject* parent) : QProxyStyle(QStringLiteral("Fusion")) { setParent(parent); }

    QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                           const QWidget* widget) const override
    {
        const auto* item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
        if (type != CT_MenuItem || !item)
            return QProxyStyle::sizeFromContents(type, option, size, widget);
        const int text = QFontMetrics(item->font).size(Qt::TextSingleLine | Qt::TextShowMnemonic, item->text).width();
        return {std::min(ItemIndent + text + RightMargin, Widest), ItemHeight};
    }

    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override
    {
        const auto* item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
        if (element != CE_MenuItem || !item) {
            QProxyStyle::drawControl(element, option, painter, widget);
            return;
        }
        const bool header = !(item->state & State_Enabled);
        const bool selected = !header && item->state & State_Selected;
        painter->save();
        if (selected)
            painter->fillRect(item->rect, item->palette.highlight());
        painter->setPen(item->palette.color(header ? QPalette::Disabled : QPalette::Active,
                                            selected ? QPalette::HighlightedText : QPalette::Text));
        painter->setFont(item->font);
        const QRect box = item->rect.adjusted(header ? HeaderIndent : ItemIndent, 0, -RightMargin / 2, 0);
        const QString title =
            QFontMetrics(item->font).elidedText(item->text, Qt::ElideMiddle, box.width(), Qt::TextShowMnemonic);
        painter->drawText(box, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine | Qt::TextHideMnemonic, title);
        if (item->checked) {
            const QPointF origin(item->rect.left() + 9, item->rect.center().y() + 0.5);
            const std::array<QPointF, 3> mark{origin + QPointF(0, 0.5), origin + QPointF(3.2, 3.7),
                                              origin + QPointF(9, -3.8)};
            painter->setRenderHint(QPainter::Antialiasing);
            painter->setPen(QPen(painter->pen().color(), 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            painter->drawPolyline(mark.data(), static_cast<int>(mark.size()));
        }
        painter->restore();
    }

    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override
    {
        if (element == PE_PanelMenu)
            painter->fillRect(option->rect, option->palette.window());
        else if (element == PE_FrameMenu) {
            painter->setPen(QPen(option->palette.color(QPalette::Mid), 0));
            painter->drawRect(option->rect.adjusted(0, 0, -1, -1));
        } else
            QProxyStyle::drawPrimitive(element, option, painter, widget);
    }

    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override
    {
        switch (metric) {
        case PM_MenuPanelWidth:
            return 1;
        case PM_MenuVMargin:
            return 4;
        case PM_MenuHMargin:
            return 0;
        default:
            return QProxyStyle::pixelMetric(metric, option, widget);
        }
    }

    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* returned) const override
    {
        // A menu of thousands scrolls rather than filling the screen with columns.
        return hint == SH_Menu_Scrollable ? 1 : QProxyStyle::styleHint(hint, option, widget, returned);
    }
};

QString escaped(const QString& title)
{
    return skin::displayable(title).replace(u'&', QStringLiteral("&&"));
}

} // namespace

PickerMenu::PickerMenu(Look look, QWidget* parent) : QMenu(parent)
{
    setStyle(new MenuStyle(this));
    setFont(skin::interfaceFont(13));
    setToolTipsVisible(true);
    setAttribute(Qt::WA_NoMouseReplay); // a press beside it only closes it
    setPalette(listPalette(look));
}

void PickerMenu::addHeader(const QString& title)
{
    addAction(escaped(title))->setEnabled(false);
}

QAction* PickerMenu::addItem(const QString& title, qint64 tag)
{
    QAction* item = addAction(escaped(title));
    item->setCheckable(true);
    item->setData(tag);
    const int room = Widest - ItemIndent - RightMargin;
    item->setToolTip(fontMetrics().horizontalAdvance(title) > room ? skin::toolTipFor(title) : QString());
    return item;
}

} // namespace editing
