#pragma once

#include "editing/TextFields.h"

#include <QPoint>
#include <QWidget>

class QAbstractItemModel;
class QListView;

namespace editing {

/// The window of a drop-down with its list: without a frame, above the window it belongs to, and never with the
/// keyboard focus.
class QuillonAutocompleterResultsWindow final : public QWidget
{
    Q_OBJECT
public:
    static constexpr int RowHeight = 26;
    /// Left and right of a row's text.
    static constexpr int TextMargin = 8;
    /// A row's role for whether it is drawn as a label.
    static constexpr int LabelRole = Qt::UserRole;

    QuillonAutocompleterResultsWindow(QWidget& above, Look look);

    QListView& resultsTableView() const { return *m_resultsTableView; }
    QPoint initialLocation() const { return m_initialLocation; }
    void setInitialLocation(QPoint location) { m_initialLocation = location; }

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    QListView* m_resultsTableView;
    QWidget* m_border;
    QPoint m_initialLocation;
};

} // namespace editing
