#include "timesheet/RLListAccessible.h"

#include "timesheet/RLListView.h"
#include "timesheet/RLListViewCell.h"
#include "timesheet/RLListViewDelegate.h"

#include <QAccessibleWidget>

#include <algorithm>
#include <iterator>
#include <set>

namespace timesheet {
namespace {

class CellAccessible final : public QAccessibleWidget
{
public:
    explicit CellAccessible(RLListViewCell& cell) : QAccessibleWidget(&cell, QAccessible::ListItem) {}

    QAccessibleInterface* parent() const override
    {
        return cell().listView() ? QAccessible::queryAccessibleInterface(cell().listView())
                                 : QAccessibleWidget::parent();
    }

    QString text(QAccessible::Text which) const override
    {
        return which == QAccessible::Name ? cell().accessibleText() : QAccessibleWidget::text(which);
    }

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.disabled = false;
        state.selectable = true;
        state.focusable = true;
        state.selected = cell().isSelected();
        const RLListView* list = cell().listView();
        state.multiSelectable = list && list->allowsMultipleSelection();
        state.focused = list && list->hasFocus() && list->currentRow() == cell().row();
        return state;
    }

    QStringList actionNames() const override { return {pressAction(), showMenuAction()}; }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }

    void doAction(const QString& name) override
    {
        // Answer first: what follows may open a window, and the caller waits.
        if (name == pressAction())
            QMetaObject::invokeMethod(&cell(), &RLListViewCell::press, Qt::QueuedConnection);
        else if (name == showMenuAction())
            QMetaObject::invokeMethod(&cell(), &RLListViewCell::showContextMenu, Qt::QueuedConnection);
    }

private:
    RLListViewCell& cell() const { return *static_cast<RLListViewCell*>(object()); }
};

class ListAccessible final : public QAccessibleWidget
{
public:
    explicit ListAccessible(RLListView& list) : QAccessibleWidget(&list, QAccessible::List) {}

    int childCount() const override { return int(list().visibleCells().size()); }

    QAccessibleInterface* child(int index) const override
    {
        const auto cells = list().visibleCells();
        return index >= 0 && index < int(cells.size())
                   ? QAccessible::queryAccessibleInterface(cells[std::size_t(index)])
                   : nullptr;
    }

    int indexOfChild(const QAccessibleInterface* child) const override
    {
        const auto cells = list().visibleCells();
        const auto found = std::find(cells.begin(), cells.end(), child ? child->object() : nullptr);
        return found == cells.end() ? -1 : int(found - cells.begin());
    }

    QAccessibleInterface* childAt(int x, int y) const override
    {
        for (RLListViewCell* cell : list().visibleCells()) {
            QAccessibleInterface* row = QAccessible::queryAccessibleInterface(cell);
            if (row && row->rect().contains(x, y))
                return row;
        }
        return nullptr;
    }

    QAccessibleInterface* focusChild() const override
    {
        RLListViewCell* current = list().hasFocus() ? list().visibleCellForRow(list().currentRow()) : nullptr;
        return current ? QAccessible::queryAccessibleInterface(current) : QAccessibleWidget::focusChild();
    }

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.disabled = false;
        state.multiSelectable = list().allowsMultipleSelection();
        return state;
    }

private:
    RLListView& list() const { return *static_cast<RLListView*>(object()); }
};

QAccessibleInterface* makeInterface(const QString&, QObject* object)
{
    if (auto* cell = qobject_cast<RLListViewCell*>(object))
        return new CellAccessible(*cell);
    if (auto* list = qobject_cast<RLListView*>(object))
        return new ListAccessible(*list);
    return nullptr;
}

const void* objectOf(RLListView& list, int row)
{
    return list.delegate() ? list.delegate()->objectOfRow(list, row) : nullptr;
}

} // namespace

void installRLListAccessible()
{
    QAccessible::installFactory(makeInterface);
}

void RLListNotices::selectionChanged(RLListView& list)
{
    if (!QAccessible::isActive())
        return;
    std::vector<Row> selection;
    for (const int row : list.selectedRows())
        selection.emplace_back(row, objectOf(list, row));
    std::vector<Row> changed;
    std::ranges::set_symmetric_difference(selection, m_toldSelection, std::back_inserter(changed));
    m_toldSelection = std::move(selection);
    std::set<int> rows;
    for (const Row& row : changed)
        rows.insert(row.first);
    for (RLListViewCell* cell : list.visibleCellsForRowIndexes(rows)) {
        QAccessibleEvent event(cell, QAccessible::Selection);
        QAccessible::updateAccessibility(&event);
    }
}

void RLListNotices::focusMoved(RLListView& list)
{
    if (!QAccessible::isActive() || !list.hasFocus())
        return;
    RLListViewCell* cell = list.visibleCellForRow(list.currentRow());
    if (!cell)
        return;
    if (const Row current(cell->row(), objectOf(list, cell->row())); std::exchange(m_toldCurrent, current) != current) {
        QAccessibleEvent event(cell, QAccessible::Focus);
        QAccessible::updateAccessibility(&event);
    }
}

} // namespace timesheet
