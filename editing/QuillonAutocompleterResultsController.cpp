#include "editing/QuillonAutocompleterResultsController.h"

#include "editing/QuillonAutocompleterResultsWindow.h"
#include "model/Client.h"
#include "skin/Geometrics.h"

#include <QAbstractButton>
#include <QAbstractListModel>
#include <QAccessible>
#include <QCoreApplication>
#include <QListView>
#include <QScreen>
#include <QScrollBar>

#include <algorithm>
#include <chrono>

namespace editing {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int GreatestHeight = 190;
constexpr double WidthOfContainer = 0.7;
constexpr auto ClickDelay = 100ms;
} // namespace

/// The rows, for views and screen readers.
class ResultsRows final : public QAbstractListModel
{
public:
    ResultsRows(const QuillonAutocompleterResultsController& controller, QListView* view)
        : QAbstractListModel(view), m_controller(controller), m_view(*view)
    {
    }

    int rowCount(const QModelIndex& parent = {}) const override
    {
        return parent.isValid() ? 0 : m_controller.rowCount();
    }
    Qt::ItemFlags flags(const QModelIndex& index) const override
    {
        return index.isValid() && m_controller.isLabelRow(index.row()) ? Qt::NoItemFlags
                                                                       : Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    }
    QVariant data(const QModelIndex& index, int role) const override
    {
        const QString& text = m_controller.text(index.row());
        switch (role) {
        case Qt::DisplayRole:
            return text;
        case QuillonAutocompleterResultsWindow::LabelRole:
            return m_controller.m_groupedResults[static_cast<std::size_t>(index.row())].isGrey();
        case Qt::ToolTipRole: {
            const int room = m_view.viewport()->width() - 2 * QuillonAutocompleterResultsWindow::TextMargin;
            return m_view.fontMetrics().horizontalAdvance(text) > room ? skin::toolTipFor(text.trimmed()) : QString();
        }
        default:
            return {};
        }
    }
    void reload()
    {
        beginResetModel();
        endResetModel();
    }

private:
    const QuillonAutocompleterResultsController& m_controller;
    const QListView& m_view;
};

QuillonAutocompleterResultsController::QuillonAutocompleterResultsController(
    QuillonAutocompleterResultsDelegate& resultsDelegate)
    : m_resultsDelegate(resultsDelegate)
{
    m_click.setSingleShot(true);
    m_click.setInterval(ClickDelay);
    connect(&m_click, &QTimer::timeout, this, &QuillonAutocompleterResultsController::notifyDelegate);
}

QuillonAutocompleterResultsController::~QuillonAutocompleterResultsController()
{
    delete m_window;
}

void QuillonAutocompleterResultsController::setContainerView(QWidget* containerView)
{
    m_containerView = containerView;
    if (visible())
        fixGeometry();
}

void QuillonAutocompleterResultsController::setLook(Look look)
{
    m_look = look;
    delete m_window;
}

void QuillonAutocompleterResultsController::setResults(const Results& results)
{
    m_click.stop();
    const model::QuillonObject* selected = selectedObject();
    const int selectedBefore = m_selectedRow;
    m_groupedResults.clear();
    m_selectedRow = -1;
    for (const auto& [label, objects] : results) {
        m_groupedResults.push_back({nullptr, true, skin::displayable(label)});
        // The names stay where they are: no copy of thousands for each key.
        std::vector<std::pair<QStringView, model::QuillonObject*>> named;
        named.reserve(objects.size());
        for (model::QuillonObject* object : objects) {
            const QString* name = std::get_if<QString>(&object->value("name"));
            named.emplace_back(name ? QStringView(*name) : QStringView(), object);
        }
        const auto byName = [](const auto& left, const auto& right) { return left.first < right.first; };
        if (!std::is_sorted(named.begin(), named.end(), byName))
            std::stable_sort(named.begin(), named.end(), byName);
        for (const auto& [name, object] : named) {
            if (object == selected)
                m_selectedRow = rowCount();
            m_groupedResults.push_back({object, false, {}});
        }
    }
    if (visible()) {
        const int scrolled = resultsTableView()->verticalScrollBar()->value();
        showResults();
        if (m_selectedRow >= 0)
            resultsTableView()->verticalScrollBar()->setValue(
                scrolled + (m_selectedRow - selectedBefore) * QuillonAutocompleterResultsWindow::RowHeight);
    }
}

void QuillonAutocompleterResultsController::showResults()
{
    if (m_groupedResults.empty() || !m_containerView || !m_containerView->isVisible()) {
        closeResults();
        return;
    }
    const bool opens = !visible();
    QuillonAutocompleterResultsWindow& shown = window();
    fixGeometry();
    static_cast<ResultsRows*>(resultsTableView()->model())->reload();
    select(m_selectedRow);
    if (!opens)
        return;
    resultsTableView()->scrollToTop();
    shown.show();
    QCoreApplication::instance()->installEventFilter(this);
    QAccessibleEvent event(&shown, QAccessible::PopupMenuStart);
    QAccessible::updateAccessibility(&event);
}

void QuillonAutocompleterResultsController::closeResults()
{
    m_click.stop();
    if (!visible())
        return;
    m_window->hide();
    QCoreApplication::instance()->removeEventFilter(this);
    QAccessibleEvent event(m_window.data(), QAccessible::PopupMenuEnd);
    QAccessible::updateAccessibility(&event);
    emit highlightChanged({});
}

bool QuillonAutocompleterResultsController::visible() const
{
    return m_window && m_window->isVisible();
}

QString QuillonAutocompleterResultsController::selectFirst()
{
    select(rowCount() < 2 ? -1 : 1);
    const model::QuillonObject* first = selectedObject();
    return first ? first->displayName() : u""_s;
}

QString QuillonAutocompleterResultsController::moveSelection(int direction)
{
    showResults();
    select(newSelectedRowForMoving(direction));
    // Screen readers read what has the focus, not what is selected elsewhere: to them it is in the list now.
    if (visible() && m_selectedRow >= 0) {
        QAccessibleEvent event(resultsTableView(), QAccessible::Focus);
        event.setChild(m_selectedRow);
        QAccessible::updateAccessibility(&event);
    }
    const model::QuillonObject* object = selectedObject();
    return object ? object->displayName() : u""_s;
}

void QuillonAutocompleterResultsController::selectNone()
{
    select(-1);
}

model::QuillonObject* QuillonAutocompleterResultsController::selectedObject() const
{
    return m_selectedRow >= 0 && m_selectedRow < rowCount()
               ? m_groupedResults[static_cast<std::size_t>(m_selectedRow)].object.get()
               : nullptr;
}

bool QuillonAutocompleterResultsController::Row::isGrey() const
{
    return isLabel || (object && object.get()->entity().name == model::Client::EntityName);
}

const QString& QuillonAutocompleterResultsController::text(int row) const
{
    const Row& shown = m_groupedResults[static_cast<std::size_t>(row)];
    if (const model::QuillonObject* object = shown.object.get(); object && shown.text.isNull())
        shown.text = (shown.isGrey() ? u""_s : u"  "_s) + skin::displayable(object->displayName());
    return shown.text;
}

bool QuillonAutocompleterResultsController::isLabelRow(int row) const
{
    return row >= 0 && row < rowCount() && m_groupedResults[static_cast<std::size_t>(row)].isLabel;
}

int QuillonAutocompleterResultsController::newSelectedRowForMoving(int direction) const
{
    const int step = direction > 0 ? 1 : -1;
    const int current = m_selectedRow >= 0 && m_selectedRow < rowCount() ? m_selectedRow : -1;
    int candidate = current + step;
    if (isLabelRow(candidate))
        candidate = current + 2 * step;
    if (candidate == -1)
        candidate = 1; // up from the first object
    // Up from nothing goes below -1, and lands where down from the last row does.
    return candidate < 0 || candidate >= rowCount() ? rowCount() - 1 : candidate;
}

void QuillonAutocompleterResultsController::select(int row)
{
    m_selectedRow = isLabelRow(row) ? -1 : row;
    if (!visible())
        return;
    QListView& view = *resultsTableView();
    const QModelIndex index = view.model()->index(m_selectedRow, 0);
    const QSignalBlocker quiet(view.selectionModel());
    view.selectionModel()->clear();
    if (index.isValid()) {
        view.selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
        // The label above the first object comes with it.
        if (m_selectedRow == 1)
            view.scrollToTop();
        else
            view.scrollTo(index);
    }
    view.viewport()->update();
    tellHighlight();
}

void QuillonAutocompleterResultsController::tellHighlight()
{
    const bool any = m_selectedRow >= 0 && m_selectedRow < rowCount();
    emit highlightChanged(any ? text(m_selectedRow).trimmed() : QString());
    QAccessibleEvent event(resultsTableView(), QAccessible::Selection);
    event.setChild(m_selectedRow);
    QAccessible::updateAccessibility(&event);
}

void QuillonAutocompleterResultsController::fixGeometry()
{
    if (!m_containerView || !m_window)
        return;
    const QRect container(m_containerView->mapToGlobal(QPoint(0, 0)), m_containerView->size());
    QRect frame(container.left() + 1, container.bottom() + 1, qRound(WidthOfContainer * container.width()),
                std::min(QuillonAutocompleterResultsWindow::RowHeight * rowCount(), GreatestHeight));
    // Above the field if there is no room below it.
    const QRect screen = m_containerView->screen()->availableGeometry();
    if (frame.bottom() > screen.bottom() && container.top() - screen.top() >= frame.height())
        frame.moveBottom(container.top() - 1);
    if (m_containerView->isRightToLeft())
        frame.moveRight(container.right() - 1);
    m_window->setInitialLocation(frame.topLeft());
    m_window->setGeometry(frame);
}

void QuillonAutocompleterResultsController::notifyDelegate()
{
    if (model::QuillonObject* object = selectedObject())
        m_resultsDelegate.itemSelected(object, *this);
}

QListView* QuillonAutocompleterResultsController::resultsTableView() const
{
    return m_window ? &m_window->resultsTableView() : nullptr;
}

QuillonAutocompleterResultsWindow& QuillonAutocompleterResultsController::window()
{
    QWidget* above = m_containerView->window();
    if (m_window && m_window->parentWidget() != above)
        delete m_window;
    if (!m_window) {
        m_window = new QuillonAutocompleterResultsWindow(*above, m_look);
        QListView* view = resultsTableView();
        view->setModel(new ResultsRows(*this, view));
        connect(view, &QListView::clicked, this, [this](const QModelIndex& index) {
            if (isLabelRow(index.row()))
                return;
            select(index.row());
            m_click.start();
        });
        above->installEventFilter(this);
    }
    return *m_window;
}

bool QuillonAutocompleterResultsController::eventFilter(QObject* watched, QEvent* event)
{
    // It follows the field wherever its window goes.
    if ((event->type() == QEvent::Move || event->type() == QEvent::Resize) && visible() &&
        watched == m_window->parentWidget())
        fixGeometry();
    if (event->type() != QEvent::MouseButtonPress || !visible() || !isBeside(watched))
        return false;
    // That is all it does: it would start to drag the window.
    closeResults();
    return true;
}

/// Whether a press there is on neither the drop-down, nor its field, nor anything else that a press is for.
bool QuillonAutocompleterResultsController::isBeside(const QObject* pressed) const
{
    const auto* widget = qobject_cast<const QWidget*>(pressed);
    if (!widget || widget->window() != m_window->parentWidget())
        return false;
    const bool isField = widget == m_containerView || m_containerView->isAncestorOf(widget);
    return !isField && !qobject_cast<const QAbstractButton*>(widget) && !(widget->focusPolicy() & Qt::ClickFocus);
}

} // namespace editing
