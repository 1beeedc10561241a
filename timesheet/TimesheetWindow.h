#pragma once

#include "timesheet/StripWindow.h"

#include <optional>

class QAbstractButton;
class QPushButton;
class QVBoxLayout;

namespace skin {
class BottomBarView;
class HintCard;
class QuillonTextFieldCell;
class Spinner;
struct Hint;
} // namespace skin

namespace timesheet {

class RLListView;
class ToolbarView;

/// The timesheet's window. Only its layout: the controller fills and wires it.
///
/// Object names are the members' names.
class TimesheetWindow final : public StripWindow
{
    Q_OBJECT
public:
    TimesheetWindow();

    ToolbarView* toolbarView;
    QAbstractButton* backButton;
    QAbstractButton* forwardButton;
    QWidget* dateAndButtonContainer;
    skin::QuillonTextFieldCell* currentDateLabel;
    QAbstractButton* goToTodayButton;
    QAbstractButton* newTimerButton;

    /// Below the toolbar: the list, or the message for an empty day.
    QWidget* dailyTimesheetView;
    RLListView* dayEntriesListView;
    QWidget* noEntriesYetView;
    skin::QuillonTextFieldCell* noEntriesLabel;
    QPushButton* startNewTimerButton;
    QPushButton* goToQuillonButton;
    skin::QuillonTextFieldCell* emptyDayNote; ///< below the buttons: why there may be nothing
    QPushButton* signInButton;

    skin::BottomBarView* bottomBarView;
    QWidget* offlineIndicator;
    skin::Spinner* loadingIndicator;
    skin::QuillonTextFieldCell* totalLabel; ///< says what the hours beside it are
    skin::QuillonTextFieldCell* totalHoursLabel;

    /// Whether the keyboard focus is below the toolbar.
    bool isContentFocused() const;
    /// Moves the focus there, unless it is already on something shown there. Nothing can be pressed while neither list
    /// nor empty day is shown.
    void focusContent();

    /// Whether the list is shown and uncovered, so that its keys work.
    bool isListReachable() const;

    /// The date with the button beside it, or alone, centred in the toolbar.
    void centreDate(bool withButton);
    /// A null string: no note.
    void setEmptyDayNote(const QString& text);
    /// Below the toolbar; empty: none. A question stands above a hint.
    void setHint(const std::optional<skin::Hint>& hint) { setCard(m_hintCard, hint); }
    void setQuestion(const std::optional<skin::Hint>& question) { setCard(m_questionCard, question); }
    void setStartNewTimerTitle(const QString& title);
    /// Its hours right-aligned, as wide as their text.
    void placeTotal();
    void setTotalVisible(bool visible);

    /// Restores the place and size that the window had when it was last hidden; the first time those of a new window.
    void restoreFrame();
    void saveFrame() const;

protected:
    void resizeEvent(QResizeEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool handKeyToList(QKeyEvent& event);
    void layOut();
    void addKeys();
    void setCard(skin::HintCard*& card, const std::optional<skin::Hint>& hint);

    QVBoxLayout* m_rows;
    // Made on first use.
    skin::HintCard* m_hintCard = nullptr;
    skin::HintCard* m_questionCard = nullptr;
};

} // namespace timesheet
