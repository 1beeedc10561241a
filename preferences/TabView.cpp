#include "preferences/TabView.h"

#include "skin/Image.h"

#include <QApplication>
#include <QEvent>
#include <QPainter>
#include <QProxyStyle>
#include <QScrollArea>
#include <QTabBar>

#include <algorithm>

namespace preferences {

namespace {

constexpr int TabWidth = 92;
constexpr int TabHeight = 62;
constexpr int Margin = 4; ///< around what is highlighted
constexpr int PictureSize = 24;

/// The tabs in the middle, and nothing around the pages.
class TabViewStyle final : public QProxyStyle
{
public:
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* answer) const override
    {
        return hint == SH_TabBar_Alignment ? static_cast<int>(Qt::AlignHCenter)
                                           : QProxyStyle::styleHint(hint, option, widget, answer);
    }
    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override
    {
        return metric == PM_TabBarBaseOverlap ? 0 : QProxyStyle::pixelMetric(metric, option, widget);
    }
    QRect subElementRect(SubElement element, const QStyleOption* option, const QWidget* widget) const override
    {
        return QProxyStyle::subElementRect(element == SE_TabWidgetTabContents ? SE_TabWidgetTabPane : element, option,
                                           widget);
    }
};

class TabRow final : public QTabBar
{
public:
    explicit TabRow(TabView& view) : QTabBar(&view), m_view(view)
    {
        setDrawBase(false);
        setExpanding(false);
        setUsesScrollButtons(false);
        setFocusPolicy(Qt::TabFocus);
        setAttribute(Qt::WA_Hover);
    }

private:
    QSize tabSizeHint(int index) const override
    {
        return {std::max(TabWidth, fontMetrics().horizontalAdvance(tabText(index)) + 28), TabHeight};
    }

    void paintEvent(QPaintEvent* /*event*/) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        for (int i = 0; i < count(); ++i) {
            const QRect tab = tabRect(i);
            const QRectF around = QRectF(tab).adjusted(Margin, Margin + 1, -Margin, -Margin - 1);
            const bool selected = i == currentIndex();
            QColor highlight = palette().windowText().color();
            if (selected || tab.contains(mapFromGlobal(QCursor::pos()))) {
                highlight.setAlphaF(selected ? 0.1F : 0.05F);
                painter.setPen(Qt::NoPen);
                painter.setBrush(highlight);
                painter.drawRoundedRect(around, 7, 7);
            }
            if (selected && hasFocus()) {
                painter.setPen(QPen(palette().highlight().color(), 2));
                painter.setBrush(Qt::NoBrush);
                painter.drawRoundedRect(around.adjusted(1, 1, -1, -1), 6, 6);
            }
            const QColor color = palette().windowText().color();
            const std::string name = m_view.widget(i)->property("picture").toString().toStdString();
            painter.drawPixmap(tab.x() + (tab.width() - PictureSize) / 2, tab.y() + Margin + 7,
                               skin::imageNamed(name).pixmap(devicePixelRatioF(), color));
            painter.setPen(color);
            painter.drawText(around.adjusted(0, 0, 0, -4), Qt::AlignHCenter | Qt::AlignBottom | Qt::TextSingleLine,
                             tabText(i));
        }
    }

    TabView& m_view;
};

/// Is as large as its page where there is room for that.
class Scroller final : public QScrollArea
{
public:
    Scroller(QWidget* page, QWidget* parent) : QScrollArea(parent) // whose window keeps the order of its fields
    {
        setProperty("picture", page->property("picture"));
        setFrameShape(NoFrame);
        setFocusPolicy(Qt::NoFocus);
        setWidgetResizable(true);
        setWidget(page);
        page->setAutoFillBackground(false);
        viewport()->setAutoFillBackground(false);
        // Tab brings along what has the focus; the letters of labels do not.
        connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) {
            if (now && widget()->isAncestorOf(now))
                ensureWidgetVisible(now, 0, Margin);
        });
    }

    void setRoom(QSize room)
    {
        m_room = room;
        updateGeometry();
    }
    QSize sizeHint() const override
    {
        const QSize page = widget()->sizeHint();
        // What scrolls one way needs its bar's room the other way.
        const int bar = style()->pixelMetric(QStyle::PM_ScrollBarExtent);
        return (page + QSize(page.height() > m_room.height() ? bar : 0, page.width() > m_room.width() ? bar : 0))
            .boundedTo(m_room);
    }
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    bool viewportEvent(QEvent* event) override
    {
        if (event->type() == QEvent::LayoutRequest)
            updateGeometry();
        return QScrollArea::viewportEvent(event);
    }

private:
    QSize m_room{QWIDGETSIZE_MAX, QWIDGETSIZE_MAX};
};

} // namespace

TabView::TabView(QWidget* parent) : QTabWidget(parent)
{
    auto* own = new TabViewStyle;
    own->setParent(this);
    setStyle(own);
    setTabBar(new TabRow(*this));
}

void TabView::scrollPages()
{
    for (int i = 0; i < count(); ++i) {
        const QString title = tabText(i);
        QWidget* const page = widget(i);
        removeTab(i);
        insertTab(i, new Scroller(page, this), title);
        page->show();
    }
    setCurrentIndex(0);
}

void TabView::setRoom(QSize room)
{
    for (int i = 0; i < count(); ++i)
        static_cast<Scroller*>(widget(i))->setRoom(room - QSize(0, tabBar()->sizeHint().height()));
    updateGeometry();
}

void TabView::paintEvent(QPaintEvent* /*event*/)
{
    // One line below the tabs, as wide as the window.
    QPainter painter(this);
    QColor line = palette().windowText().color();
    line.setAlphaF(0.18F);
    painter.setPen(QPen(line, 0));
    const double y = tabBar()->geometry().bottom() + 0.5;
    painter.drawLine(QPointF(0, y), QPointF(width(), y));
}

} // namespace preferences
