#pragma once

#include "skin/Sheet.h"

class QLabel;
class QLineEdit;

namespace skin {
class QuillonButtonCell;
class QuillonEditHoursButtonCell;
class QuillonHoursTextField;
class QuillonTextFieldBackground;
} // namespace skin

namespace editing {

class DatePicker;
class HintLabel;
class HoursInput;
class NotesField;

/// The sheet in which an entry is edited. Only its layout: the controller fills and wires it, and puts the pickers into
/// `containerView`.
///
/// Object names are the members' names.
class TimesheetEditSheet final : public skin::Sheet
{
    Q_OBJECT
public:
    explicit TimesheetEditSheet(QWidget& window);

    QWidget* containerView;
    skin::QuillonTextFieldBackground* dateBackground;
    DatePicker* datePicker;
    skin::QuillonTextFieldBackground* notesBackground;
    NotesField* notesField;

    // One of the two is hidden.
    skin::QuillonTextFieldBackground* durationContainerAndHoursBackground;
    skin::QuillonHoursTextField* hoursField;
    HoursInput* hoursInput; ///< of that field
    skin::QuillonEditHoursButtonCell* editHoursButton;
    QWidget* timestampContainer;
    skin::QuillonTextFieldBackground* startTimeBackground;
    QLineEdit* startTimeField;
    skin::QuillonTextFieldBackground* endTimeBackground;
    QLineEdit* endTimeField;

    /// Says what is wrong with the times, or the hours.
    HintLabel* timeHint;
    skin::QuillonButtonCell* cancelButton;
    skin::QuillonButtonCell* saveButton;

    /// Shows the fields for start and end instead of those for the hours.
    void showTimestamps(bool timestamps);

signals:
    /// Escape was pressed.
    void cancelled();

private:
    void cancel() override { emit cancelled(); }

    QWidget* m_hoursRow;
};

/// The sheet over it that says why an entry cannot be saved.
class InvalidEntrySheet final : public skin::Sheet
{
    Q_OBJECT
public:
    explicit InvalidEntrySheet(QWidget& window);

    QLabel* invalidEntryErrorMessage;
    skin::QuillonButtonCell* acknowledgeButton;
};

} // namespace editing
