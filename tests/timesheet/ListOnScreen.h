#pragma once

#include "timesheet/RLListView.h"
#include "timesheet/RLListViewCell.h"
#include "timesheet/RLListViewDelegate.h"

#include <QBoxLayout>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QTest>

#include <functional>

/// A row that fills itself with one colour and has a button.
class Row final : public timesheet::RLListViewCell
{
public:
    /// `note` gets "menu ROW".
    Row(const QString& identifier, std::function<void(const QString&)> note)
        : RLListViewCell(identifier), m_note(std::move(note))
    {
        setAttribute(Qt::WA_OpaquePaintEvent);
    }

    void layoutSubviews() override { ++layouts; }
    void prepareForReuse() override
    {
        RLListViewCell::prepareForReuse();
        ++reuses;
    }
    QString accessibleText() const override { return QStringLiteral("Row %1").arg(row()); }

    static QColor color(int row, bool selected)
    {
        return selected ? QColor(Qt::yellow) : row % 2 == 0 ? QColor(0xff, 0xff, 0xff) : QColor(0xee, 0xee, 0xee);
    }

    QPushButton button{QStringLiteral("Start"), this};
    int layouts = 0;
    int reuses = 0;

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.fillRect(rect(), color(row(), isSelected()));
        painter.drawText(110, 18, accessibleText());
    }
    void resizeEvent(QResizeEvent*) override { button.setGeometry(40, 2, 60, 20); }
    void contextMenuEvent(QContextMenuEvent*) override { m_note(QStringLiteral("menu %1").arg(row())); }

private:
    std::function<void(const QString&)> m_note;
};

/// A window with a list of 300 by 200 points between two fields. Writes down what the list asks and tells.
class ListOnScreen final : public timesheet::RLListViewDelegate
{
public:
    explicit ListOnScreen(std::vector<double> heights, QSize size = QSize(300, 200)) : m_heights(std::move(heights))
    {
        auto* box = new QVBoxLayout(&window);
        box->setContentsMargins(0, 0, 0, 0);
        box->setSpacing(0);
        for (QWidget* widget :
             {static_cast<QWidget*>(&before), static_cast<QWidget*>(&list), static_cast<QWidget*>(&after)}) {
            box->addWidget(widget);
        }
        list.setFixedSize(size);
        list.setDelegate(this);
        window.show();
        window.activateWindow();
        static_cast<void>(QTest::qWaitForWindowActive(&window));
        load(m_heights);
    }
    static ListOnScreen evenRows(int count, double height = 50)
    {
        return ListOnScreen(std::vector<double>(std::size_t(count), height));
    }
    ~ListOnScreen() { list.setDelegate(nullptr); }
    Q_DISABLE_COPY_MOVE(ListOnScreen)

    void load(std::vector<double> heights)
    {
        m_heights = std::move(heights);
        list.reloadData();
        forget();
    }
    void forget()
    {
        calls.clear();
        asked.clear();
        made = 0;
        heightsAsked = 0;
    }
    void setHeight(int row, double height) { m_heights[std::size_t(row)] = height; }

    Row& cell(int row) { return *static_cast<Row*>(list.visibleCellForRow(row)); }
    QList<int> visibleRows() const
    {
        QList<int> rows;
        for (const auto* cell : list.visibleCells())
            rows << cell->row();
        return rows;
    }
    QList<int> selection() const { return {list.selectedRows().begin(), list.selectedRows().end()}; }
    /// What is on the screen where the list is.
    QImage seen()
    {
        QCoreApplication::processEvents();
        const QRect at = list.geometry();
        return window.screen()->grabWindow(window.winId(), at.x(), at.y(), at.width(), at.height()).toImage();
    }
    QWidget& viewport() { return *list.viewport(); }

    int numberOfRowsInListView(timesheet::RLListView&) override { return int(m_heights.size()); }
    double heightOfRow(timesheet::RLListView&, int row) override
    {
        ++heightsAsked;
        return m_heights[std::size_t(row)];
    }
    timesheet::RLListViewCell& cellForRow(timesheet::RLListView& listView, int row) override
    {
        asked << row;
        const QString identifier = QStringLiteral("Row");
        if (auto* cell = listView.dequeueCellWithReusableIdentifier(identifier))
            return *cell;
        ++made;
        return *new Row(identifier, [this](const QString& what) { calls << what; });
    }
    void selectionDidChange(timesheet::RLListView&) override { calls << QStringLiteral("selection"); }
    void rowDoubleClicked(timesheet::RLListView&, int row) override { calls << QStringLiteral("open %1").arg(row); }
    void keyDown(timesheet::RLListView&, QKeyEvent& event) override { calls << QStringLiteral("key ") + event.text(); }

    /// "selection", "open ROW", "key TEXT", "menu ROW", in their order.
    QStringList calls;
    /// Rows that a cell was asked for.
    QList<int> asked;
    int made = 0;
    int heightsAsked = 0;

    QWidget window;
    QLineEdit before;
    timesheet::RLListView list;
    QLineEdit after;

private:
    std::vector<double> m_heights;
};
