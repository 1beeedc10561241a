#include "ListOnScreen.h"

#include "skin/Colors.h"
#include "skin/ThinScroller.h"
#include "support/InRow.h"
#include "support/TestMain.h"
#include "timesheet/RLListDocumentView.h"

#include <QAccessible>
#include <QScrollBar>
#include <QSignalSpy>
#include <QWheelEvent>

#include <algorithm>
#include <random>

using namespace timesheet;
using namespace Qt::StringLiterals;
using Heights = std::vector<double>;
using Rows = QList<int>;

namespace {

constexpr auto On = Qt::LeftButton;

void wheelBy(ListOnScreen& screen, QPoint angle)
{
    const QPointF at(150, 100);
    QWheelEvent event(at, screen.viewport().mapToGlobal(at), {}, angle, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase,
                      false);
    QCoreApplication::sendEvent(&screen.viewport(), &event);
}

/// The rows in sight, found as one would by hand.
RLListView::RowRange scan(const RLListView& list)
{
    RLListView::RowRange range;
    for (int row = 0; row < list.numberOfRows(); ++row) {
        const bool inSight = list.rectOfRow(row).intersects(list.visibleRect());
        if (inSight && range.count++ == 0)
            range.first = row;
        if (!inSight && range.count > 0)
            break;
    }
    return range;
}

QString framesAgainstRows(ListOnScreen& screen)
{
    const auto visible = scan(screen.list);
    Rows expected;
    for (int row = visible.first; row < visible.end(); ++row)
        expected << row;
    if (screen.visibleRows() != expected)
        return u"rows"_s;
    for (const int row : expected) {
        const QRectF rect = screen.list.rectOfRow(row).translated(0, -screen.list.scrollOffset());
        const QRect frame = screen.cell(row).geometry();
        if (screen.cell(row).isHidden() || qAbs(frame.top() - rect.top()) > 0.5 ||
            qAbs(frame.top() + frame.height() - rect.bottom()) > 0.5 || frame.width() != 300)
            return u"row %1"_s.arg(row);
    }
    return {};
}

} // namespace

class RLListViewTest : public QObject
{
    Q_OBJECT

private slots:
    void layout()
    {
        for (const auto& [name, heights, spacing, lastOffset, documentHeight, scrolls, visible] :
             {std::tuple{"none", Heights{}, 0.0, 0.0, 198.0, false, Rows{}},
              std::tuple{"fewer than fit", Heights{65, 81}, 0.0, 65.0, 198.0, false, Rows{0, 1}},
              std::tuple{"higher", Heights{65, 81, 95, 65}, 0.0, 241.0, 306.0, true, Rows{0, 1, 2}},
              std::tuple{"space below each", Heights{65, 81, 95}, 10.5, 167.0, 272.5, true, Rows{0, 1, 2}},
              std::tuple{"less than nothing", Heights{50, -20, 60}, 0.0, 50.0, 198.0, false, Rows{0}}}) {
            const support::InRow inRow(name);
            ListOnScreen screen({});
            screen.list.setCellSpacing(spacing);
            screen.load(heights);
            const int last = int(heights.size()) - 1;
            QCOMPARE(screen.list.rectOfRow(last).top(), lastOffset);
            QCOMPARE(screen.list.documentHeight(), documentHeight);
            QCOMPARE(screen.list.isScrollerVisible(), scrolls);
            QCOMPARE(screen.visibleRows(), visible);
            QCOMPARE(screen.list.rectOfRow(last).width(), heights.empty() ? 0.0 : 300.0);
            VERIFY_EACH(screen.list.rectOfRow(last + 1).isEmpty(), screen.list.rectOfRow(-1).isEmpty());

            screen.list.setDelegate(nullptr);
            QCOMPARE(screen.list.numberOfRows(), 0);
            VERIFY_EACH(screen.list.visibleCells().empty(), screen.list.rectOfRow(0).isEmpty());
        }
    }

    void scrollingReusesCells()
    {
        auto screen = ListOnScreen::evenRows(100);
        QCOMPARE(screen.visibleRows(), Rows({0, 1, 2, 3}));
        Row* first = &screen.cell(0);
        screen.list.setScrollOffset(50);
        QCOMPARE(screen.visibleRows(), Rows({1, 2, 3, 4}));
        QCOMPARE(screen.asked, Rows({4}));
        QCOMPARE(screen.made, 0);
        QCOMPARE(&screen.cell(4), first);
        QCOMPARE(first->reuses, 1);

        screen.forget();
        screen.list.setScrollOffset(0);
        QCOMPARE(screen.asked, Rows({0}));
        QCOMPARE(screen.made, 0);
        QCOMPARE(&screen.cell(0), first);

        // Between two rows one more is in sight; once made it waits out of sight.
        screen.list.setScrollOffset(25);
        QCOMPARE(screen.made, 1);
        Row& waiting = screen.cell(4);
        screen.list.setScrollOffset(0);
        QVERIFY(waiting.isHidden());

        // From the nearest row upwards, and all of them after a leap.
        screen.list.setScrollOffset(1000);
        screen.forget();
        screen.list.setScrollOffset(900);
        QCOMPARE(screen.asked, Rows({19, 18}));
        screen.forget();
        screen.list.setScrollOffset(4000);
        QCOMPARE(screen.asked, Rows({80, 81, 82, 83}));
        QCOMPARE(screen.made, 0);
        QCOMPARE(screen.visibleRows(), Rows({80, 81, 82, 83}));
    }

    void cellsLieWhereTheirRowsAre()
    {
        std::mt19937 chance(3);
        Heights heights;
        for (int row = 0; row < 200; ++row)
            heights.push_back(20 + double(chance() % 1000) / 8);
        heights[50] = 700;
        ListOnScreen screen(heights);
        screen.list.setCellSpacing(1.25);
        QCOMPARE(framesAgainstRows(screen), QString());
        for (int step = 0; step < 500; ++step) {
            const int way = int(chance() % (step % 10 == 0 ? 8000 : 300)) - (step % 10 == 0 ? 4000 : 150);
            screen.list.setScrollOffset(screen.list.scrollOffset() + way);
            QCOMPARE(framesAgainstRows(screen), QString());
        }
        // What is seen is what is there, also where scrolling moved pixels instead of drawing.
        QCOMPARE(screen.seen(), screen.list.grab().toImage().convertToFormat(QImage::Format_RGB32));
    }

    void queue()
    {
        auto screen = ListOnScreen::evenRows(4);
        const auto deaf = [](const QString&) {};
        auto* one = new Row(u"One"_s, deaf);
        auto* other = new Row(u"Other"_s, deaf);
        auto* oneMore = new Row(u"One"_s, deaf);
        for (Row* cell : {one, other, oneMore}) {
            cell->setDropHighlight(RLDropHighlight::OnRow);
            screen.list.enqueueCell(*cell);
            cell->setParent(&screen.viewport());
        }
        QCOMPARE(screen.list.dequeueCellWithReusableIdentifier(u"None"_s), nullptr);
        QCOMPARE(screen.list.dequeueCellWithReusableIdentifier(u"One"_s), one);
        QCOMPARE(one->dropHighlight(), RLDropHighlight::None);
        QCOMPARE(screen.list.dequeueCellWithReusableIdentifier(u"One"_s), oneMore);
        QCOMPARE(screen.list.dequeueCellWithReusableIdentifier(u"One"_s), nullptr);
        QCOMPARE(other->reuses, 0);

        Row& visible = screen.cell(1);
        screen.list.enqueueCell(visible);
        QVERIFY(visible.isHidden());
        QCOMPARE(screen.visibleRows(), Rows({0, 2, 3}));
        QCOMPARE(RLListViewCell().reusableIdentifier(), u"RLListViewCell"_s);
    }

    void cellsThatAreDestroyed()
    {
        auto screen = ListOnScreen::evenRows(10);
        screen.list.setScrollOffset(25);
        screen.list.setScrollOffset(0);
        const auto cells = screen.viewport().findChildren<timesheet::RLListViewCell*>();
        QCOMPARE(cells.size(), 5);
        delete *std::ranges::find_if(cells, &QWidget::isHidden);
        delete &screen.cell(2);
        QCOMPARE(screen.visibleRows(), Rows({0, 1, 3}));
        screen.list.reloadData();
        QCOMPARE(screen.visibleRows(), Rows({0, 1, 2, 3}));
    }

    void clicks()
    {
        constexpr int plain = Qt::NoModifier, command = Qt::ControlModifier, shift = Qt::ShiftModifier, outside = -1;
        struct Case
        {
            const char* name;
            bool several, none;
            Rows before;
            int modifiers, row;
            Rows selected;
            bool told = true;
        };
        for (const Case& click : {Case{"first click", false, true, {}, plain, 1, {1}},
                                  {"command deselects", false, true, {1}, command, 1, {}},
                                  {"shift deselects", false, true, {1}, shift, 1, {}},
                                  {"never empty", false, false, {1}, command, 1, {1}},
                                  {"command on another", false, true, {1}, command, 2, {2}},
                                  {"several: command adds", true, false, {0}, command, 2, {0, 2}},
                                  {"several: command removes", true, false, {0, 2}, command, 2, {0}},
                                  {"several: the only one stays", true, false, {2}, command, 2, {2}, false},
                                  {"several: plain on one of them", true, true, {1, 2}, plain, 2, {2}},
                                  {"pressed from outside", false, true, {1}, outside, 1, {}}}) {
            const support::InRow inRow(click.name);
            auto screen = ListOnScreen::evenRows(4);
            screen.list.setAllowsMultipleSelection(click.several);
            screen.list.setAllowsEmptySelection(click.none);
            screen.list.setSelectedRows({click.before.begin(), click.before.end()});
            screen.forget();
            if (click.modifiers == outside)
                screen.cell(click.row).press();
            else
                QTest::mousePress(&screen.cell(click.row), On, Qt::KeyboardModifiers(click.modifiers), {200, 30});
            QCOMPARE(screen.selection(), click.selected);
            QCOMPARE(screen.calls.contains(u"selection"_s), click.told);
            QVERIFY(screen.list.hasFocus());
            // What is selected is drawn so, and nothing else.
            const QImage image = screen.seen();
            for (int i = 0; i < 4; ++i)
                QCOMPARE(image.pixelColor(200, i * 50 + 40), Row::color(i, screen.selection().contains(i)));
        }
    }

    void clicksBesideTheCells()
    {
        for (const auto& [name, rows, none, offset, y, selected] :
             {std::tuple{"none allowed", 2, true, 0, 180, -1}, std::tuple{"below the rows", 2, false, 0, 180, 1},
              std::tuple{"between the rows", 3, false, 0, 55, 0},
              // The place in the list counts, not that in the document.
              std::tuple{"scrolled", 20, false, 300, 55, 0}}) {
            const support::InRow inRow(name);
            auto screen = ListOnScreen::evenRows(rows);
            screen.list.setCellSpacing(10);
            screen.list.setAllowsEmptySelection(none);
            screen.list.setSelectedRow(rows - 1);
            screen.list.setScrollOffset(offset);
            screen.forget();
            QTest::mousePress(&screen.viewport(), Qt::RightButton, {}, QPoint(100, y));
            QVERIFY(screen.calls.isEmpty());
            QTest::mousePress(&screen.viewport(), On, {}, QPoint(100, y));
            QCOMPARE(screen.list.selectedRow(), selected == 2 ? 0 : selected);
            QCOMPARE(screen.calls.isEmpty(), selected == 2);
        }
    }

    void doubleClick()
    {
        auto screen = ListOnScreen::evenRows(4);
        QTest::mouseClick(&screen.cell(2), On, {}, QPoint(200, 30));
        QTest::mouseClick(&screen.cell(1), On, {}, QPoint(200, 30));
        QTest::mouseDClick(&screen.cell(1), On, {}, QPoint(200, 30));
        QCOMPARE(screen.calls.mid(1), QStringList({u"selection"_s, u"open 1"_s, u"selection"_s}));
        QCOMPARE(screen.list.selectedRow(), 1);
        screen.forget();
        QTest::mouseDClick(&screen.cell(1), Qt::RightButton, {}, QPoint(200, 30));
        QTest::mousePress(&screen.cell(3), Qt::RightButton, {}, QPoint(200, 30));
        QVERIFY(screen.calls.isEmpty());
    }

    void selectionCommands()
    {
        auto screen = ListOnScreen::evenRows(4);
        RLListView& list = screen.list;
        const QSignalSpy spy(&list, &RLListView::selectionDidChange);
        list.selectAll();
        QCOMPARE(QList<bool>({list.validateSelectAll(), list.validateDeselectAll()}), QList<bool>({false, false}));
        QCOMPARE(spy.count(), 0);
        // Rules about several and none are those of the mouse.
        list.selectRowIndexes({1, 3, 4, -1});
        list.selectRowIndexes({2}, true);
        QCOMPARE(screen.selection(), Rows({1, 2, 3}));
        QCOMPARE(list.selectedRow(), -1);
        list.setSelectedRows(list.selectedRows());
        QCOMPARE(screen.selection(), Rows({1, 2, 3}));
        list.deselectRowIndexes({1, 3});
        QCOMPARE(list.selectedRow(), 2);
        QCOMPARE(spy.count(), 4);
        QCOMPARE(screen.calls.count(u"selection"_s), 4);

        list.setAllowsMultipleSelection(true);
        QCOMPARE(QList<bool>({list.validateSelectAll(), list.validateDeselectAll()}), QList<bool>({true, true}));
        QTest::keyClick(&list, Qt::Key_A, Qt::ControlModifier);
        QCOMPARE(screen.selection(), Rows({0, 1, 2, 3}));
        QVERIFY(!list.validateSelectAll());
        list.setAllowsEmptySelection(false);
        QVERIFY(!list.validateDeselectAll());
        list.setAllowsEmptySelection(true);
        list.deselectRows();
        QCOMPARE(QList<bool>({screen.selection().isEmpty(), list.validateDeselectAll()}), QList<bool>({true, false}));
        list.setSelectedRow(1);
        list.deselectAll();
        QVERIFY(screen.selection().isEmpty());
    }

    void keys()
    {
        // Twenty rows of 50 points in a view of 200: offsets go up to 800.
        for (const auto& [name, key, before, offset, selected, newOffset] :
             {std::tuple("up", Qt::Key_Up, Rows{3}, 0, Rows{2}, 0),
              {"up without a selection", Qt::Key_Up, {}, 100, {}, 100},
              {"up out of sight", Qt::Key_Up, {4}, 200, {3}, 150},
              {"down", Qt::Key_Down, {1}, 0, {2}, 0},
              {"down from the last of several", Qt::Key_Down, {0, 1}, 0, {2}, 0},
              {"down below what is seen goes to the end", Qt::Key_Down, {3}, 0, {4}, 800},
              {"down without a selection", Qt::Key_Down, {}, 120, {3}, 120},
              {"page down", Qt::Key_PageDown, {1}, 0, {5}, 200},
              {"page up", Qt::Key_PageUp, {10}, 450, {6}, 250},
              {"home", Qt::Key_Home, {10}, 450, {0}, 0},
              {"end", Qt::Key_End, {}, 0, {19}, 800}}) {
            const support::InRow inRow(name);
            auto screen = ListOnScreen::evenRows(20);
            screen.list.setFocus();
            screen.list.setSelectedRows({before.begin(), before.end()});
            screen.list.setScrollOffset(offset);
            QTest::keyClick(&screen.list, key, Qt::AltModifier); // another's
            QCOMPARE(screen.selection(), before);
            QTest::keyClick(&screen.list, key);
            QCOMPARE(screen.selection(), selected);
            QCOMPARE(screen.list.scrollOffset(), newOffset);
        }
    }

    void forwardedKeys()
    {
        auto screen = ListOnScreen::evenRows(4);
        screen.list.setSelectedRow(1);
        screen.forget();
        screen.list.setKeysToForward({u"e"_s, u"s"_s});
        QTest::keyClicks(&screen.list, u"ezEs"_s);
        QTest::keyClick(&screen.list, Qt::Key_E, Qt::AltModifier);
        QTest::keyClick(&screen.list, Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(screen.calls, QStringList({u"key e"_s, u"key s"_s}));
        screen.forget();
        QTest::keyClick(&screen.list, Qt::Key_Return);
        screen.list.deselectAll();
        QTest::keyClick(&screen.list, Qt::Key_Return);
        QCOMPARE(screen.calls, QStringList({u"open 1"_s, u"selection"_s}));
    }

    void scrollsToRows()
    {
        for (const auto& [name, offset, row, toVisible, toRow] :
             {std::tuple{"all in sight", 100, 3, 100, 150}, std::tuple{"above", 400, 3, 150, 150},
              std::tuple{"cut at the top", 160, 3, 150, 150}, std::tuple{"cut at the bottom", 160, 7, 800, 800},
              std::tuple{"below: to the end", 0, 6, 800, 800}, std::tuple{"not there", 100, 20, 100, 100},
              std::tuple{"none", 100, -1, 100, 100}}) {
            const support::InRow inRow(name);
            auto screen = ListOnScreen::evenRows(20);
            screen.list.setScrollOffset(offset);
            screen.list.scrollRowToVisible(row);
            QCOMPARE(screen.list.scrollOffset(), toVisible);
            screen.list.setScrollOffset(offset);
            screen.list.scrollToRow(row);
            QCOMPARE(screen.list.scrollOffset(), toRow);
            QCOMPARE(framesAgainstRows(screen), QString());
        }
    }

    void reload()
    {
        auto screen = ListOnScreen::evenRows(20);
        screen.list.setSelectedRow(7);
        screen.list.setScrollOffset(333);
        const auto cells = screen.list.visibleCells();
        screen.forget();
        screen.list.reloadData();
        QCOMPARE(screen.list.scrollOffset(), 333);
        QCOMPARE(screen.list.visibleCells(), cells);
        QCOMPARE(screen.made, 0);
        QCOMPARE(screen.asked, Rows({6, 7, 8, 9, 10}));
        QCOMPARE(QList<bool>({screen.calls.isEmpty(), screen.selection().isEmpty()}), QList<bool>({true, true}));
        QCOMPARE(screen.seen().pixelColor(200, 65), Row::color(7, false));

        // Each row keeps its cell also while others wait for reuse.
        screen.list.setScrollOffset(300);
        const auto fewer = screen.list.visibleCells();
        screen.list.reloadData();
        QCOMPARE(screen.list.visibleCells(), fewer);

        screen.load(Heights(8, 50));
        QCOMPARE(screen.list.scrollOffset(), 200);
        QCOMPARE(framesAgainstRows(screen), QString());
        screen.load({});
        QCOMPARE(screen.list.scrollOffset(), 0);
        QVERIFY(screen.visibleRows().isEmpty());
        for (const auto* cell : screen.viewport().findChildren<timesheet::RLListViewCell*>())
            QVERIFY(cell->isHidden());
        screen.load(Heights(20, 50));
        QCOMPARE(framesAgainstRows(screen), QString());
    }

    void reloadWhileAButtonHasTheFocus()
    {
        auto screen = ListOnScreen::evenRows(20);
        screen.list.setScrollOffset(100);
        QPushButton& button = screen.cell(4).button;
        button.setFocus();
        screen.list.reloadData();
        QVERIFY(button.hasFocus());
        QCOMPARE(&screen.cell(4).button, &button);

        // Its row is gone; the next press of Space must not be one on another row.
        screen.list.setScrollOffset(300);
        QVERIFY(screen.list.hasFocus());
        screen.cell(7).button.setFocus();
        screen.load(Heights(2, 50));
        QVERIFY(screen.list.hasFocus());
    }

    void reloadRow()
    {
        auto screen = ListOnScreen::evenRows(20);
        screen.list.setSelectedRow(1);
        const int layouts = screen.cell(0).layouts;
        screen.setHeight(1, 20);
        QCOMPARE(screen.list.rectOfRow(1).height(), 50.0);
        screen.list.reloadRowAtIndex(1);
        QCOMPARE(screen.list.rectOfRow(1).height(), 20.0);
        QCOMPARE(screen.list.documentHeight(), 970.0);
        QCOMPARE(screen.visibleRows(), Rows({0, 1, 2, 3, 4}));
        QCOMPARE(framesAgainstRows(screen), QString());
        QCOMPARE(screen.cell(0).layouts, layouts + 1);
        QCOMPARE(screen.list.selectedRow(), 1);
    }

    void resize()
    {
        auto screen = ListOnScreen::evenRows(20);
        screen.list.setScrollOffset(333);
        screen.list.setSelectedRow(8);
        screen.forget();
        screen.list.setFixedSize(300, 310);
        QTRY_COMPARE(screen.list.visibleRect(), QRectF(0, 333, 300, 310));
        QCOMPARE(framesAgainstRows(screen), QString());
        QCOMPARE(screen.heightsAsked, 0);

        screen.list.setFixedSize(300, 900);
        QTRY_COMPARE(screen.list.visibleRect(), QRectF(0, 100, 300, 900));
        QCOMPARE(framesAgainstRows(screen), QString());

        screen.forget();
        screen.list.setFixedSize(420, 200);
        QTRY_COMPARE(screen.cell(3).width(), 420);
        QCOMPARE(screen.heightsAsked, 20);
        QCOMPARE(screen.made, 0);
        QCOMPARE(screen.visibleRows(), Rows({2, 3, 4, 5}));
        QCOMPARE(screen.list.selectedRow(), 8);
    }

    void liveResize()
    {
        auto screen = ListOnScreen::evenRows(20);
        screen.list.setUsesLiveResize(false);
        screen.list.viewWillStartLiveResize();
        screen.list.setFixedSize(420, 310);
        QTRY_COMPARE(screen.list.viewport()->size(), QSize(420, 310));
        QCOMPARE(screen.visibleRows(), Rows({0, 1, 2, 3, 4, 5, 6}));
        QCOMPARE(screen.cell(6).width(), 300);
        QCOMPARE(screen.heightsAsked, 0);
        screen.list.viewDidEndLiveResize();
        QCOMPARE(screen.cell(6).width(), 420);
        QCOMPARE(screen.heightsAsked, 20);

        screen.list.setUsesLiveResize(true);
        screen.list.viewWillStartLiveResize();
        screen.list.setFixedSize(350, 310);
        QTRY_COMPARE(screen.cell(6).width(), 350);
    }

    void wheel()
    {
        const int notch = 20 * QApplication::wheelScrollLines();
        for (const auto& [name, angle, times, offset] :
             {std::tuple{"a notch", QPoint(0, -120), 1, 400 + notch},
              std::tuple{"small parts of a notch", QPoint(0, -1), 120, 400 + notch},
              std::tuple{"sideways", QPoint(-120, 0), 1, 400},
              std::tuple{"beyond the end", QPoint(0, -120000), 1, 800}}) {
            const support::InRow inRow(name);
            auto screen = ListOnScreen::evenRows(20);
            screen.list.setScrollOffset(400);
            for (int i = 0; i < times; ++i)
                wheelBy(screen, angle);
            QCOMPARE(screen.list.scrollOffset(), offset);
            QCOMPARE(framesAgainstRows(screen), QString());
        }
    }

    void scroller()
    {
        auto screen = ListOnScreen::evenRows(20);
        auto* thumb = screen.list.findChild<skin::ThinScroller*>();
        QVERIFY(thumb->isVisible());
        QCOMPARE(screen.cell(0).width(), 300);
        QVERIFY(thumb->width() <= 10);
        QCOMPARE(thumb->geometry().right(), 297);
        const int top = thumb->y();
        screen.list.setScrollOffset(800);
        const int way = thumb->y() - top;
        QCOMPARE(thumb->geometry().bottom(), 197);

        // It keeps to the pointer, and the rows follow.
        QTest::mousePress(thumb, On, {}, QPoint(6, 10));
        const QPointF to(6, 10 - way / 2.0);
        QMouseEvent move(QEvent::MouseMove, to, thumb->mapToGlobal(to), Qt::NoButton, On, Qt::NoModifier);
        QCoreApplication::sendEvent(thumb, &move);
        VERIFY_EACH(qAbs(screen.list.scrollOffset() - 400) <= 3, qAbs(thumb->y() - top - way / 2) <= 1);
        QTest::mouseRelease(thumb, On, {}, QPoint(6, 10));
        const int offset = screen.list.scrollOffset();
        QCoreApplication::sendEvent(thumb, &move);
        QCOMPARE(screen.list.scrollOffset(), offset);
        QVERIFY(screen.calls.isEmpty());

        screen.load(Heights(4, 50));
        QVERIFY(thumb->isHidden());
        screen.load(Heights(100000, 50));
        VERIFY_EACH(thumb->isVisible(), thumb->height() >= 24);
    }

    void dropHighlights()
    {
        auto screen = ListOnScreen::evenRows(2);
        const QColor color = screen.list.palette().color(QPalette::Highlight);
        // Row 1 of 50 points begins at 50.
        const auto marked = [&](int y) { return screen.seen().pixelColor(150, y) == color; };
        screen.cell(1).setDropHighlight(RLDropHighlight::OnRow);
        VERIFY_EACH(marked(50), marked(99), !marked(49), !marked(75));
        screen.cell(1).setDropHighlight(RLDropHighlight::Below);
        QCOMPARE(QList<bool>({marked(99), marked(50)}), QList<bool>({true, false}));
        screen.cell(1).setDropHighlight(RLDropHighlight::Above);
        QCOMPARE(QList<bool>({marked(50), marked(99)}), QList<bool>({true, false}));
        screen.cell(1).setDropHighlight(RLDropHighlight::None);
        QCOMPARE(QList<bool>({marked(50), marked(99)}), QList<bool>({false, false}));
        screen.list.documentView().setDropHighlight(RLDropHighlight::Below);
        QCOMPARE(QList<bool>({marked(100), marked(99)}), QList<bool>({true, false}));
        screen.list.documentView().setDropHighlight(RLDropHighlight::Above);
        QVERIFY(!marked(99));
        // The frame around the list is seen over the rows as well.
        const QColor edge = screen.seen().pixelColor(0, 30);
        QVERIFY(edge.blue() - edge.red() > 20);
    }

    void focus()
    {
        auto screen = ListOnScreen::evenRows(20);
        screen.before.setFocus();
        QTest::keyClick(&screen.before, Qt::Key_Tab);
        QVERIFY(screen.list.hasFocus());
        QTest::keyClick(&screen.list, Qt::Key_Tab);
        QVERIFY(screen.after.hasFocus());
        QTest::keyClick(&screen.after, Qt::Key_Tab);
        QVERIFY(screen.before.hasFocus());
        QTest::keyClick(&screen.before, Qt::Key_Backtab);
        QTest::keyClick(&screen.after, Qt::Key_Backtab);
        QVERIFY(screen.list.hasFocus());

        screen.cell(1).button.setFocus();
        QTest::keyClick(&screen.cell(1).button, Qt::Key_Tab);
        QVERIFY(screen.after.hasFocus());
        screen.cell(1).button.setFocus();
        QTest::keyClick(&screen.cell(1).button, Qt::Key_Backtab);
        QVERIFY(screen.list.hasFocus());
    }

    void focusMark()
    {
        auto screen = ListOnScreen::evenRows(2);
        const QColor mark = skin::color(skin::Role::Focus);
        const auto markedAt = [&](int y) { return screen.seen().pixelColor(1, y) == mark; };
        screen.before.setFocus();
        QVERIFY(!markedAt(25));
        QTest::keyClick(&screen.before, Qt::Key_Tab);
        QCOMPARE(QList<bool>({markedAt(25), markedAt(75), markedAt(150)}), QList<bool>({true, true, true}));
        QTest::keyClick(&screen.list, Qt::Key_End);
        QCOMPARE(QList<bool>({markedAt(25), markedAt(75), markedAt(150)}), QList<bool>({false, true, false}));
        QTest::mouseClick(&screen.after, On);
        screen.after.setFocus();
        QVERIFY(!markedAt(75));
        screen.list.setFocus(Qt::MouseFocusReason);
        QVERIFY(!markedAt(75));
        screen.after.setFocus();
        QTest::keyClick(&screen.after, Qt::Key_Backtab);
        QVERIFY(markedAt(75));
        QTest::keyClick(&screen.list, Qt::Key_Up);
        QCOMPARE(QList<bool>({markedAt(25), markedAt(75)}), QList<bool>({true, false}));
    }

    void contextMenuByKey()
    {
        auto screen = ListOnScreen::evenRows(20);
        const auto menuKey = [&] {
            QContextMenuEvent event(QContextMenuEvent::Keyboard, QPoint(5, 5), QPoint(5, 5));
            QCoreApplication::sendEvent(&screen.list, &event);
        };
        menuKey();
        QVERIFY(screen.calls.isEmpty());
        screen.list.setSelectedRow(1);
        screen.list.setScrollOffset(500);
        screen.forget();
        menuKey();
        QTest::keyClick(&screen.list, Qt::Key_F10, Qt::ShiftModifier);
        QCOMPARE(screen.calls, QStringList({u"menu 1"_s, u"menu 1"_s}));
        QCOMPARE(screen.list.scrollOffset(), 50);
        ListOnScreen tall({50, 400, 50});
        tall.list.setSelectedRow(1);
        QTest::keyClick(&tall.list, Qt::Key_F10, Qt::ShiftModifier);
        QCOMPARE(tall.list.scrollOffset(), 50);
    }

    void assistiveTechnology()
    {
        auto screen = ListOnScreen::evenRows(20);
        screen.list.setAccessibleName(u"Entries"_s);
        screen.list.setScrollOffset(100);
        QAccessibleInterface* list = QAccessible::queryAccessibleInterface(&screen.list);
        QCOMPARE(list->role(), QAccessible::List);
        QCOMPARE(list->text(QAccessible::Name), u"Entries"_s);
        QCOMPARE(list->childCount(), 4);
        VERIFY_EACH(!list->child(4), !list->child(-1));
        QAccessibleInterface* row = list->child(1);
        QCOMPARE(row->role(), QAccessible::ListItem);
        QCOMPARE(row->text(QAccessible::Name), u"Row 3"_s);
        QCOMPARE(row->parent()->object(), &screen.list);
        QCOMPARE(list->indexOfChild(row), 1);
        QCOMPARE(list->childAt(row->rect().center().x(), row->rect().center().y())->object(), row->object());
        QCOMPARE(row->childCount(), 1);
        QCOMPARE(row->child(0)->text(QAccessible::Name), u"Start"_s);
        VERIFY_EACH(row->state().selectable, !row->state().selected, !row->state().disabled);

        row->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QTRY_VERIFY(row->state().selected);
        QVERIFY(row->state().focused);
        QCOMPARE(list->focusChild()->object(), row->object());
        row->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QTRY_VERIFY(!row->state().selected);
        screen.forget();
        row->actionInterface()->doAction(QAccessibleActionInterface::showMenuAction());
        QTRY_COMPARE(screen.calls, QStringList({u"menu 3"_s}));

        screen.window.setEnabled(false);
        VERIFY_EACH(!row->state().disabled, !list->state().disabled);
    }

    void longLists()
    {
        // Of usual rows, and longer than a widget can be.
        for (const double scale : {1.0, 15.0}) {
            const support::InRow inRow(QString::number(scale));
            Heights heights;
            for (int row = 0; row < 100'000; ++row)
                heights.push_back((65 + row % 5 * 14) * scale);
            ListOnScreen screen({}, QSize(300, 600));
            screen.load(heights);
            const auto cost = [&screen] { return std::exchange(screen.asked, {}).size(); };
            const double total = 9'300'000 * scale;
            QCOMPARE(screen.list.documentHeight(), total);

            screen.forget();
            screen.list.reloadData();
            QVERIFY(cost() <= 10);
            QCOMPARE(screen.heightsAsked, 100'000);
            wheelBy(screen, QPoint(0, -120));
            QVERIFY(cost() <= 2);
            QTest::keyClick(&screen.list, Qt::Key_PageDown);
            QVERIFY(cost() <= 10);
            QTest::keyClick(&screen.list, Qt::Key_End);
            QVERIFY(cost() <= 10);
            QCOMPARE(double(screen.list.scrollOffset()), total - 600);
            const QRect last = screen.cell(99'999).geometry();
            QCOMPARE(last.top() + last.height(), 600);
            QCOMPARE(screen.list.selectedRow(), 99'999);
            QCOMPARE(screen.heightsAsked, 100'000);
            QVERIFY(screen.viewport().findChildren<timesheet::RLListViewCell*>().size() <= 12);
        }
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(RLListViewTest)
#include "RLListViewTest.moc"
