#pragma once

#include "timesheet/RLDropHighlight.h"

#include <QPointer>
#include <QString>
#include <QWidget>

namespace timesheet {

class RLListView;

/// One row of a list. A cell is reused: when its row is no longer visible it waits for another.
///
/// A subclass draws the row in `paintEvent` and sets `Qt::WA_OpaquePaintEvent` when it fills all of it, so that
/// scrolling moves pixels instead of drawing them. Drop highlight and focus are drawn on top by this class. The widgets
/// in a cell take the keyboard focus by a click only: the tab key leaves the list.
class RLListViewCell : public QWidget
{
    Q_OBJECT
public:
    /// Without an identifier the cell uses its class name.
    explicit RLListViewCell(const QString& reusableIdentifier = QString());
    ~RLListViewCell() override;

    QString reusableIdentifier() const;

    /// The list that shows the cell or keeps it for reuse; null before the cell was first shown.
    RLListView* listView() const { return m_listView; }
    /// -1 before the cell was first shown.
    int row() const { return m_row; }
    bool isSelected() const;

    void setDropHighlight(RLDropHighlight highlight);
    RLDropHighlight dropHighlight() const { return m_dropHighlight; }

    /// Called when the cell is reused for another row. Resets the drop highlight.
    virtual void prepareForReuse();
    /// Called when the list has positioned its visible cells again.
    virtual void layoutSubviews() {}

    /// What a screen reader says for the row; the widget's accessible name unless overridden.
    virtual QString accessibleText() const;

    /// Notifies assistive technology when the text has changed. The list calls it whenever it shows the cell; a cell
    /// that changes in between calls it itself.
    void tellName();

    /// A press by assistive technology: like a click with a modifier key.
    void press();
    /// Asks for the context menu of the cell as if by the keyboard.
    void showContextMenu();

protected:
    bool event(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    friend class RLListView;
    void drawDecorations();

    QString m_reusableIdentifier;
    QPointer<RLListView> m_listView;
    int m_row = -1;
    QString m_toldName;
    RLDropHighlight m_dropHighlight = RLDropHighlight::None;
};

} // namespace timesheet
