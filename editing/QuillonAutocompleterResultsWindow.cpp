#include "editing/QuillonAutocompleterResultsWindow.h"

#include "skin/Appearance.h"
#include "skin/Fonts.h"
#include "skin/Geometrics.h"
#include "skin/ThinScroller.h"

#include <QListView>
#include <QPainter>
#include <QScrollBar>
#include <QStyledItemDelegate>

namespace editing {

using namespace Qt::StringLiterals;

namespace {

class RowDelegate final : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const override
    {
        return {0, QuillonAutocompleterResultsWindow::RowHeight};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        const bool selected = option.state & QStyle::State_Selected;
        const bool enabled = index.flags() & Qt::ItemIsSelectable;
        const bool label = index.data(QuillonAutocompleterResultsWindow::LabelRole).toBool();
        const QPalette& palette = option.palette;
        if (selected)
            painter->fillRect(option.rect, palette.highlight());
        else if (enabled && option.state & QStyle::State_MouseOver)
            painter->fillRect(option.rect, palette.midlight());
        painter->setFont(option.font);
        painter->setPen(palette.color(label && !selected ? QPalette::Disabled : QPalette::Active,
                                      selected ? QPalette::HighlightedText : QPalette::Text));
        constexpr int margin = QuillonAutocompleterResultsWindow::TextMargin;
        const QRect box = option.rect.adjusted(margin, 0, -margin, 0);
        const QString text = index.data().toString();
        const int indent =
            label ? 0 : option.fontMetrics.horizontalAdvance(text.first(text.size() - text.trimmed().size()));
        skin::drawLine(*painter, QStyle::visualRect(option.direction, box, box.adjusted(indent, 0, 0, 0)),
                       option.direction, text.trimmed());
    }
};

class ResultsList final : public QListView
{
public:
    explicit ResultsList(QWidget* parent) : QListView(parent)
    {
        setObjectName(u"resultsTableView"_s);
        setAccessibleName(QuillonAutocompleterResultsWindow::tr("Suggestions"));
        setFrameShape(QFrame::NoFrame);
        setFocusPolicy(Qt::NoFocus);
        setUniformItemSizes(true);
        setEditTriggers(NoEditTriggers);
        setSelectionMode(SingleSelection);
        setVerticalScrollMode(ScrollPerPixel);
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setMouseTracking(true);
        verticalScrollBar()->setSingleStep(QuillonAutocompleterResultsWindow::RowHeight);
        setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setFont(skin::interfaceFont(13));
        setItemDelegate(new RowDelegate(this));
        // Scrolling moves the scroller along with the rows.
        connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &ResultsList::placeScroller);
        connect(verticalScrollBar(), &QScrollBar::rangeChanged, this, &ResultsList::placeScroller);
    }

protected:
    void resizeEvent(QResizeEvent* event) override
    {
        QListView::resizeEvent(event);
        placeScroller();
    }

private:
    void placeScroller() { m_scroller->place(viewport()->rect()); }

    skin::ThinScroller* m_scroller = new skin::ThinScroller(*verticalScrollBar(), *viewport());
};

/// A hairline around the list, except at the field's edge. It takes no room from the rows.
class Border final : public QWidget
{
public:
    explicit Border(QWidget* around) : QWidget(around) { setAttribute(Qt::WA_TransparentForMouseEvents); }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setPen(QPen(palette().color(QPalette::Mid), 0));
        painter.drawLine(rect().topLeft(), rect().bottomLeft());
        painter.drawLine(rect().bottomLeft(), rect().bottomRight());
        painter.drawLine(rect().topRight(), rect().bottomRight());
    }
};

} // namespace

// A tool tip is the one kind of window that every desktop puts where requested, without the focus.
QuillonAutocompleterResultsWindow::QuillonAutocompleterResultsWindow(QWidget& above, Look look)
    : QWidget(&above, Qt::ToolTip | Qt::FramelessWindowHint), m_resultsTableView(new ResultsList(this)),
      m_border(new Border(this))
{
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::NoFocus);
    skin::dressed(*this, [this, look] {
        setPalette(listPalette(look));
        m_resultsTableView->setPalette(palette());
    });
}

void QuillonAutocompleterResultsWindow::resizeEvent(QResizeEvent*)
{
    m_resultsTableView->setGeometry(rect());
    m_border->setGeometry(rect());
}

} // namespace editing
