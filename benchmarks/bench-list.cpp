// bench-list
//
// Measures the list of the timesheet beside a bare scroll area with equal rows: until the change is on the screen.
#include "BareList.h"
#include "ListRow.h"
#include "Report.h"

#include "timesheet/RLListView.h"
#include "timesheet/RLListViewCell.h"
#include "timesheet/RLListViewDelegate.h"

#include <QApplication>
#include <QKeyEvent>
#include <QScrollBar>
#include <QWheelEvent>
#include <QWindow>

#include <cstdio>
#include <memory>

namespace bench {
namespace {

constexpr QSize ViewSize(470, 600);

class OurList final : public timesheet::RLListView, public timesheet::RLListViewDelegate
{
public:
    explicit OurList(QWidget* parent) : RLListView(parent) { setDelegate(this); }
    ~OurList() override { setDelegate(nullptr); }

    void load(int rows)
    {
        m_rows = rows;
        reloadData();
    }

private:
    using Row = ListRow<timesheet::RLListViewCell>;

    int numberOfRowsInListView(RLListView&) override { return m_rows; }
    double heightOfRow(RLListView&, int row) override { return heightOfListRow(row); }
    timesheet::RLListViewCell& cellForRow(RLListView&, int row) override
    {
        static const QString identifier = QStringLiteral("Row");
        auto* cell = static_cast<Row*>(dequeueCellWithReusableIdentifier(identifier));
        if (!cell)
            cell = new Row(identifier);
        cell->showRow(row);
        return *cell;
    }

    int m_rows = 0;
};

/// A window with a list of one kind.
template <class List>
class Side
{
public:
    explicit Side(QPoint at)
    {
        m_window.setGeometry(QRect(at, ViewSize));
        m_window.show();
        while (!m_window.windowHandle()->isExposed())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        draw();
    }

    /// Milliseconds of the processor until `action` is on the screen.
    template <class Action>
    double cost(Action action)
    {
        draw();
        const double before = processorTime();
        action();
        draw();
        return (processorTime() - before) * 1000;
    }

    double open(int rows)
    {
        m_list.reset();
        return cost([&] {
            m_list = std::make_unique<List>(&m_window);
            m_list->resize(ViewSize);
            m_list->show();
            m_list->load(rows);
        });
    }
    double reload(int rows)
    {
        moveTo(0.5);
        return cost([&] { m_list->load(rows); });
    }
    double wheelStep()
    {
        moveTo(0.5);
        const QPointF at(200, 300);
        QWheelEvent event(at, m_list->viewport()->mapToGlobal(at), QPoint(), QPoint(0, -120), Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        return cost([&] { QCoreApplication::sendEvent(m_list->viewport(), &event); });
    }
    double page()
    {
        moveTo(0.3);
        return cost([&] { bar().setValue(bar().value() + ViewSize.height()); });
    }
    double end()
    {
        moveTo(0);
        return cost([&] { bar().setValue(bar().maximum()); });
    }

    List& list() { return *m_list; }
    QImage picture() { return m_window.grab().toImage(); }

private:
    QScrollBar& bar() { return *m_list->verticalScrollBar(); }
    void moveTo(double part) { bar().setValue(int(bar().maximum() * part)); }
    static void draw()
    {
        for (int round = 0; round < 3; ++round)
            QCoreApplication::processEvents();
    }

    QWidget m_window;
    std::unique_ptr<List> m_list;
};

void measureList(int rows, int turns)
{
    Side<OurList> ours(QPoint(20, 40));
    Side<BareList> bare(QPoint(520, 40));
    const auto compare = [&](const char* what, auto ourWork, auto bareWork) {
        const Pairs measured = pairs(turns, ourWork, bareWork);
        report(text("list of %d rows: %s, of bare", rows, what), measured.ratio(), "x", {1.5, 1.0},
               measured.detail("ms"));
    };
    compare(
        "open", [&] { return ours.open(rows); }, [&] { return bare.open(rows); });
    compare(
        "wheel step", [&] { return ours.wheelStep(); }, [&] { return bare.wheelStep(); });
    compare(
        "page", [&] { return ours.page(); }, [&] { return bare.page(); });
    compare(
        "end", [&] { return ours.end(); }, [&] { return bare.end(); });
    compare(
        "reload", [&] { return ours.reload(rows); }, [&] { return bare.reload(rows); });
}

} // namespace
} // namespace bench

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    for (const int rows : {10, 1000, 100'000})
        bench::measureList(rows, 60);
    return 0;
}
