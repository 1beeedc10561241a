#pragma once

#include "editing/TextFields.h"
#include "model/QuillonObject.h"
#include "store/Object.h"

#include <QObject>
#include <QPointer>
#include <QTimer>

#include <map>
#include <vector>

class QListView;

namespace editing {

class ResultsRows;
class QuillonAutocompleterResultsController;
class QuillonAutocompleterResultsWindow;

/// Receives the choice in a drop-down.
class QuillonAutocompleterResultsDelegate
{
public:
    /// Never null.
    virtual void itemSelected(model::QuillonObject* item, QuillonAutocompleterResultsController& inResultsList) = 0;

protected:
    ~QuillonAutocompleterResultsDelegate() = default;
};

/// The drop-down below a picker: suggestions under the labels of their groups, one of them selected or none.
///
/// Holds no object that the catalog has lost: such a row stays until the next `setResults` and cannot be chosen.
class QuillonAutocompleterResultsController final : public QObject
{
    Q_OBJECT
public:
    /// Label → objects with a "name".
    using Results = std::map<QString, std::vector<model::QuillonObject*>>;

    explicit QuillonAutocompleterResultsController(QuillonAutocompleterResultsDelegate& resultsDelegate);
    ~QuillonAutocompleterResultsController() override;

    /// The frame it is attached to. Not owned.
    void setContainerView(QWidget* containerView);
    void setLook(Look look);

    /// Labels in code order, under each its objects by name. The selection stays if it is still among them, and keeps
    /// its place on the screen.
    void setResults(const Results& results);
    void showResults();
    void closeResults();
    /// False without rows: a window cannot have height 0.
    bool visible() const;

    // All return what `selectedObject` is from then on, empty for nothing.

    /// The first object under the first label.
    QString selectFirst();
    /// Show the drop-down.
    QString moveSelectionUp() { return moveSelection(-1); }
    QString moveSelectionDown() { return moveSelection(1); }
    void selectNone();
    /// Null: none.
    model::QuillonObject* selectedObject() const;

    int rowCount() const { return static_cast<int>(m_groupedResults.size()); }
    bool isLabelRow(int row) const;
    /// `direction`: positive is down.
    int newSelectedRowForMoving(int direction) const;
    void fixGeometry();
    /// The choice of the selected row; a click does this after a moment.
    void notifyDelegate();

    /// Null until first shown.
    QListView* resultsTableView() const;

    bool eventFilter(QObject* watched, QEvent* event) override;

signals:
    /// The suggestion that is selected in the open drop-down, empty when none is or it is closed.
    void highlightChanged(const QString& suggestion);

private:
    friend class ResultsRows;
    struct Row
    {
        store::Ref<model::QuillonObject> object;
        bool isLabel;
        mutable QString text; ///< of an object: null until it is asked for, as few rows of thousands are ever seen
        bool isGrey() const;  ///< drawn like a label
    };
    const QString& text(int row) const;

    QuillonAutocompleterResultsWindow& window();
    bool isBeside(const QObject* pressed) const;
    QString moveSelection(int direction);
    void select(int row);
    void tellHighlight();

    QuillonAutocompleterResultsDelegate& m_resultsDelegate;
    QPointer<QWidget> m_containerView;
    Look m_look = Look::Dark;
    std::vector<Row> m_groupedResults;
    int m_selectedRow = -1;
    QPointer<QuillonAutocompleterResultsWindow> m_window; ///< goes with the window it is above
    QTimer m_click;
};

} // namespace editing
