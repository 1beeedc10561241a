#pragma once

#include "editing/QuillonAutocompleter.h"
#include "store/Object.h"

#include <QDate>
#include <QDateTime>
#include <QObject>
#include <QPointer>

#include <array>
#include <memory>
#include <optional>
#include <vector>

class QLineEdit;

namespace model {
class DayEntry;
class Project;
class Task;
} // namespace model

namespace service {
class QuillonApi;
}

namespace editing {

class EditTimerOwner;
class InvalidEntrySheet;
class ProjectQuillonAutocompleter;
class TaskQuillonAutocompleter;
class TimesheetEditSheet;

/// Runs the sheet that edits an entry of the timesheet: project, task, notes, day, and its hours or, in accounts that
/// record them, its start and end.
///
/// One per timesheet, reused for each entry. Saving sends the entry; cancelling sends nothing. If saving failed, what
/// was typed is back when the sheet is next opened on that entry, unless the entry has changed since. Changes from the
/// service leave an open sheet alone, except as `entriesDidChange` says; an entry that was deleted or locked meanwhile
/// is not sent, and the sheet says so. Main thread only.
class EditTimerController final : public QObject, private QuillonAutocompleterDelegate
{
    Q_OBJECT
public:
    /// Null: none yet.
    explicit EditTimerController(model::DayEntry* entry);
    ~EditTimerController() override;

    /// Null once it has been deleted.
    model::DayEntry* entry() const { return m_entry.get(); }
    /// Fills the fields again: with what could not be saved, if anything, otherwise from the entry.
    void setEntry(model::DayEntry* entry);
    /// Not owned. To be set before `showEditTimer`; its window outlives this object.
    void setTimesheetController(EditTimerOwner* timesheetController);
    EditTimerOwner* timesheetController() const { return m_timesheetController; }

    ProjectQuillonAutocompleter& projectAutocompleter() const { return *m_projectAutocompleter; }
    TaskQuillonAutocompleter& taskAutocompleter() const { return *m_taskAutocompleter; }

    void showEditTimer();
    bool isShown() const;
    /// Shows the entry's times. A missing start leaves the field unchanged.
    void updateFields();

    // To be called after each merge.

    /// Of any kind: the end can be edited only while the timer is stopped.
    void entriesDidChange();
    /// One that touched the catalog.
    void catalogDidChange();

    // Actions of the sheet's controls.

    void saveTimer();
    void cancel();
    /// Selects the hours, for typing.
    void editHours();
    /// Dismisses the message.
    void acknowledgeError();

    // Of the fields, so once there is a window.

    /// Whether the entry can be saved as typed. If not, a message over the sheet says why.
    bool validateEntry();
    /// Whether the field contains a time of day. If so the entry takes it, and the field shows it in the usual form.
    bool validateTimestampField(QLineEdit& field);
    void controlTextDidEndEditing(QLineEdit& field);

private:
    /// The sheet's content when it was saved, until saving is known to have succeeded.
    struct Typed
    {
        int number;
        store::Ref<model::DayEntry> entry;
        QDateTime updatedAt; ///< the entry it belongs to
        store::Ref<model::Project> project;
        store::Ref<model::Task> task;
        QString notes;
        QDate day;
        std::optional<QString> hours; ///< none: untouched, and running ones go on
        QString start;
        QString end;
    };

    void itemSelected(model::QuillonObject* selectedValue, QuillonAutocompleter& inCompleter) override;
    /// The day considered suggested: an entry may be on any.
    static QDate datePickerCell(QDate validateProposedDateValue) { return validateProposedDateValue; }
    bool eventFilter(QObject* watched, QEvent* event) override;

    std::array<QuillonAutocompleter*, 2> pickers() const;
    void wire();
    void addAutoCompleter(QuillonAutocompleter& picker, QPoint atPoint);
    void setTabOrder();
    void showEnd(const model::DayEntry& entry);
    void showNotes(const QString& notes);
    void showTyped();
    void forgetTyped();
    void explainHours(bool refused);
    void takeTypedChoices();
    /// Always false. `focusAfterwards`: null leaves the focus where it is.
    bool refuse(const QString& message, QWidget* focusAfterwards = nullptr);
    /// `explain`: the field's content is wrong.
    void markTime(QLineEdit& field, bool error, bool explain);
    void endSheet();

    service::QuillonApi& m_api;
    store::Ref<model::DayEntry> m_entry;
    EditTimerOwner* m_timesheetController = nullptr;
    std::unique_ptr<ProjectQuillonAutocompleter> m_projectAutocompleter;
    std::unique_ptr<TaskQuillonAutocompleter> m_taskAutocompleter;
    QPointer<TimesheetEditSheet> m_editTimerSheet;
    QPointer<InvalidEntrySheet> m_invalidEntrySheet;
    QPointer<QWidget> m_focusAfterMessage;
    QString m_hoursShown; ///< when the sheet was opened
    // The entry's times as last shown; a field with another text was typed into.
    QString m_startShown;
    QString m_endShown;
    std::vector<Typed> m_typed;
    int m_lastSaved = 0;
};

} // namespace editing
