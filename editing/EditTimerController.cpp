#include "editing/EditTimerController.h"

#include "editing/DatePicker.h"
#include "editing/EditTimerOwner.h"
#include "editing/HintLabel.h"
#include "editing/HoursInput.h"
#include "editing/ProjectQuillonAutocompleter.h"
#include "editing/TaskQuillonAutocompleter.h"
#include "editing/TimesheetEditSheet.h"
#include "model/Company.h"
#include "model/DateComparisons.h"
#include "model/DateFormatting.h"
#include "model/DayEntry.h"
#include "model/HoursMinutes.h"
#include "model/Project.h"
#include "model/Task.h"
#include "service/QuillonApi.h"
#include "skin/ImageButton.h"
#include "skin/QuillonButtonCell.h"
#include "skin/QuillonHoursTextField.h"
#include "skin/QuillonTextFieldBackground.h"

#include <QFocusEvent>
#include <QLabel>
#include <QPointer>
#include <QScrollBar>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace editing {

namespace {

constexpr int LightStyle = 1;
constexpr QPoint ProjectCorner(24, 49);
constexpr QPoint TaskCorner(24, 82);
constexpr qsizetype LongestReason = 300; ///< a service may explain itself at any length

QString hoursMinutes(const QDateTime& date)
{
    return model::DateFormatting::instance().hoursMinutesStringFromDate(date);
}

void setTextIfOther(QLineEdit& field, const QString& text)
{
    if (field.text() != text)
        field.setText(text);
}

bool isBlank(const QLineEdit& field)
{
    return field.text().trimmed().isEmpty();
}

} // namespace

EditTimerController::EditTimerController(model::DayEntry* entry)
    : m_api(service::QuillonApi::sharedApi()), m_entry(entry),
      m_projectAutocompleter(std::make_unique<ProjectQuillonAutocompleter>()),
      m_taskAutocompleter(std::make_unique<TaskQuillonAutocompleter>())
{
}

EditTimerController::~EditTimerController()
{
    // Before the sheet they are in, as they own parts of it.
    m_taskAutocompleter.reset();
    m_projectAutocompleter.reset();
    // Fields that lose the focus while being destroyed must not find the sheet.
    TimesheetEditSheet* const editTimerSheet = std::exchange(m_editTimerSheet, nullptr);
    InvalidEntrySheet* const invalidEntrySheet = std::exchange(m_invalidEntrySheet, nullptr);
    for (skin::Sheet* sheet : std::initializer_list<skin::Sheet*>{invalidEntrySheet, editTimerSheet}) {
        if (sheet)
            sheet->close();
        delete sheet;
    }
}

std::array<QuillonAutocompleter*, 2> EditTimerController::pickers() const
{
    return {m_projectAutocompleter.get(), m_taskAutocompleter.get()};
}

void EditTimerController::setTimesheetController(EditTimerOwner* timesheetController)
{
    m_timesheetController = timesheetController;
    if (!timesheetController || m_editTimerSheet)
        return;
    QWidget& window = timesheetController->editTimerWindow();
    m_editTimerSheet = new TimesheetEditSheet(window);
    m_invalidEntrySheet = new InvalidEntrySheet(window);
    addAutoCompleter(*m_projectAutocompleter, ProjectCorner);
    addAutoCompleter(*m_taskAutocompleter, TaskCorner);
    setTabOrder();
    wire();
    updateFields();
}

void EditTimerController::addAutoCompleter(QuillonAutocompleter& picker, QPoint atPoint)
{
    picker.setStyle(LightStyle);
    picker.addToView(*m_editTimerSheet->containerView, atPoint);
    picker.setEntry(m_entry.get());
    picker.setDelegate(this);
    picker.reloadData();
    picker.matchWidth(*m_editTimerSheet->notesBackground);
}

void EditTimerController::setTabOrder()
{
    TimesheetEditSheet& sheet = *m_editTimerSheet;
    m_projectAutocompleter->setNextKeyView(m_taskAutocompleter->textField());
    m_taskAutocompleter->setNextKeyView(sheet.notesField);
    editing::setTabOrder({m_projectAutocompleter->textField(), m_taskAutocompleter->textField(), sheet.notesField,
                          sheet.hoursField, sheet.startTimeField, sheet.endTimeField,
                          sheet.saveButton, // the first that Tab and Return come to
                          sheet.cancelButton, sheet.datePicker});
}

void EditTimerController::wire()
{
    TimesheetEditSheet& sheet = *m_editTimerSheet;
    connect(sheet.datePicker, &QDateEdit::dateChanged, this,
            [this](QDate proposed) { m_editTimerSheet->datePicker->setDate(datePickerCell(proposed)); });
    for (QLineEdit* field : {static_cast<QLineEdit*>(sheet.hoursField), sheet.startTimeField, sheet.endTimeField})
        field->installEventFilter(this);
    new TextCommands(*sheet.notesField, [this](TextCommand command) {
        switch (command) {
        case TextCommand::InsertLineBreak:
            m_editTimerSheet->notesField->insertLineBreak();
            return true;
        case TextCommand::InsertNewline:
            saveTimer();
            return true;
        default:
            return false;
        }
    });
    connect(sheet.hoursInput, &HoursInput::refused, this, [this] { explainHours(true); });
    connect(sheet.hoursInput, &HoursInput::accepted, this, [this] { explainHours(false); });
    connect(sheet.editHoursButton, &QAbstractButton::clicked, this, &EditTimerController::editHours);
    connect(sheet.cancelButton, &QAbstractButton::clicked, this, &EditTimerController::cancel);
    connect(sheet.saveButton, &QAbstractButton::clicked, this, &EditTimerController::saveTimer);
    connect(&sheet, &TimesheetEditSheet::cancelled, this, &EditTimerController::cancel);
    connect(m_invalidEntrySheet->acknowledgeButton, &QAbstractButton::clicked, this,
            &EditTimerController::acknowledgeError);
    connect(m_invalidEntrySheet, &skin::Sheet::closed, this, [this] {
        if (m_focusAfterMessage && m_focusAfterMessage->isEnabled())
            m_focusAfterMessage->setFocus(Qt::OtherFocusReason);
    });
}

void EditTimerController::setEntry(model::DayEntry* entry)
{
    m_entry = entry;
    updateFields();
    showTyped();
}

void EditTimerController::updateFields()
{
    model::DayEntry* entry = m_entry.get();
    if (!entry || !m_editTimerSheet)
        return;
    TimesheetEditSheet& sheet = *m_editTimerSheet;
    showNotes(entry->notes());
    m_hoursShown = entry->hoursMinutes();
    sheet.hoursInput->setText(m_hoursShown);
    m_projectAutocompleter->setEntry(entry);
    m_taskAutocompleter->setEntry(entry);
    if (entry->spentAt().isValid())
        sheet.datePicker->setDate(model::localDay(entry->spentAt()));

    if (entry->startedAt().isValid())
        sheet.startTimeField->setText(hoursMinutes(entry->startedAt()));
    m_startShown = sheet.startTimeField->text();
    showEnd(*entry);
    for (QLineEdit* field : {sheet.startTimeField, sheet.endTimeField})
        markTime(*field, false, false);

    const model::Company* company = entry->company();
    sheet.showTimestamps(company && company->hasTimestampTimers());
}

void EditTimerController::showNotes(const QString& notes)
{
    NotesField& field = *m_editTimerSheet->notesField;
    field.setText(notes);
    // Typing continues after the notes, whose beginning is visible.
    field.moveCursor(QTextCursor::End);
    field.verticalScrollBar()->setValue(0);
}

void EditTimerController::showTyped()
{
    const model::DayEntry* entry = m_entry.get();
    const auto typed =
        std::ranges::find_if(m_typed, [entry](const Typed& candidate) { return candidate.entry.get() == entry; });
    if (!entry || !m_editTimerSheet || typed == m_typed.end())
        return;
    if (typed->updatedAt != entry->updatedAt()) {
        m_typed.erase(typed); // changed by someone else since
        return;
    }
    TimesheetEditSheet& sheet = *m_editTimerSheet;
    if (model::Project* project = typed->project.get())
        m_projectAutocompleter->setSelectedValue(project);
    if (model::Task* task = typed->task.get())
        m_taskAutocompleter->setSelectedValue(task);
    showNotes(typed->notes);
    sheet.notesField->document()->setModified(typed->notes != entry->notes());
    sheet.datePicker->setDate(typed->day);
    if (typed->hours)
        sheet.hoursInput->setText(*typed->hours);
    sheet.startTimeField->setText(typed->start);
    if (sheet.endTimeField->isEnabled())
        sheet.endTimeField->setText(typed->end);
}

void EditTimerController::forgetTyped()
{
    std::erase_if(m_typed, [this](const Typed& typed) { return typed.entry.get() == m_entry.get(); });
}

void EditTimerController::entriesDidChange()
{
    std::erase_if(m_typed, [](const Typed& typed) { return !typed.entry; });
    const model::DayEntry* entry = m_entry.get();
    if (!entry || !m_editTimerSheet)
        return;
    // Times that nobody typed go on as others change them: sent back as they were, they would change the hours, too.
    QLineEdit& start = *m_editTimerSheet->startTimeField;
    if (!start.isModified() && start.text() == m_startShown && entry->startedAt().isValid()) {
        m_startShown = hoursMinutes(entry->startedAt());
        setTextIfOther(start, m_startShown);
    }
    QLineEdit& end = *m_editTimerSheet->endTimeField;
    const bool turns = entry->isRunning() == end.isEnabled();
    if (!end.isModified() && (turns ? !end.hasFocus() : end.text() == m_endShown))
        showEnd(*entry);
}

void EditTimerController::showEnd(const model::DayEntry& entry)
{
    QLineEdit& end = *m_editTimerSheet->endTimeField;
    const bool running = entry.isRunning();
    m_endShown = running ? QString() : hoursMinutes(entry.stoppedAt());
    if (end.isModified())
        end.setModified(false);
    setTextIfOther(end, m_endShown);
    end.setPlaceholderText(running ? tr("running") : tr("End"));
    end.setEnabled(!running);
}

void EditTimerController::catalogDidChange()
{
    for (QuillonAutocompleter* picker : pickers())
        picker->catalogDidChange();
}

void EditTimerController::showEditTimer()
{
    if (!m_editTimerSheet)
        return;
    for (skin::Sheet* sheet : std::initializer_list<skin::Sheet*>{m_editTimerSheet, m_invalidEntrySheet}) {
        sheet->setTopEdge(m_timesheetController->editTimerTopEdge());
        sheet->setUsable(m_timesheetController->partsUsableWhileEditing());
    }
    QLineEdit* first = m_projectAutocompleter->textField();
    m_editTimerSheet->open(first);
    first->selectAll();
}

bool EditTimerController::isShown() const
{
    return m_editTimerSheet && m_editTimerSheet->isOpen();
}

bool EditTimerController::validateTimestampField(QLineEdit& field)
{
    model::DayEntry* entry = m_entry.get();
    if (!entry)
        return false;
    if (entry->isRunning() && &field == m_editTimerSheet->endTimeField && isBlank(field))
        return true;
    model::DateFormatting& formatting = model::DateFormatting::instance();
    const QDateTime time = formatting.dateFromUnvalidatedStartedStoppedString(
        u"%1 %2"_s.arg(formatting.daydateStringFromDate(entry->spentAt()), field.text()));
    if (!time.isValid())
        return false;
    if (&field == m_editTimerSheet->startTimeField)
        entry->setStartedAt(time);
    else
        entry->setStoppedAt(time);
    setTextIfOther(field, hoursMinutes(time));
    return true;
}

void EditTimerController::controlTextDidEndEditing(QLineEdit& field)
{
    const TimesheetEditSheet& sheet = *m_editTimerSheet;
    const model::DayEntry* entry = m_entry.get();
    if (&field == sheet.hoursField) {
        sheet.hoursInput->endEditing();
    } else if (entry && (&field == sheet.startTimeField || &field == sheet.endTimeField)) {
        const bool valid = validateTimestampField(field);
        const bool refill = !valid && isBlank(field);
        if (refill)
            field.setText(hoursMinutes(&field == sheet.startTimeField ? entry->startedAt() : entry->stoppedAt()));
        markTime(field, !valid, !valid && !(refill && !isBlank(field)));
    }
}

void EditTimerController::explainHours(bool refused)
{
    TimesheetEditSheet& sheet = *m_editTimerSheet;
    const QString wrong = refused ? tr("Type hours with digits and colons only, like 1:30.") : QString();
    sheet.hoursField->setAccessibleDescription(wrong);
    refused ? sheet.timeHint->warn(wrong) : sheet.timeHint->advise({});
}

void EditTimerController::markTime(QLineEdit& field, bool error, bool explain)
{
    TimesheetEditSheet& sheet = *m_editTimerSheet;
    const bool start = &field == sheet.startTimeField;
    (start ? sheet.startTimeBackground : sheet.endTimeBackground)->setError(error);
    const QString wrong = explain ? tr("This is not a time of day. Type it like 9:15am, 9:15 or 0915.") : QString();
    field.setAccessibleDescription(wrong);
    field.setToolTip(wrong);
    const bool startWrong = !sheet.startTimeField->accessibleDescription().isEmpty();
    const bool endWrong = !sheet.endTimeField->accessibleDescription().isEmpty();
    if (startWrong && endWrong)
        sheet.timeHint->warn(tr("Type the times like 9:15am, 9:15 or 0915."));
    else if (startWrong)
        sheet.timeHint->warn(tr("Type the start time like 9:15am, 9:15 or 0915."));
    else if (endWrong)
        sheet.timeHint->warn(tr("Type the end time like 5:15pm, 17:15 or 1715."));
    else
        sheet.timeHint->advise({});
}

bool EditTimerController::validateEntry()
{
    const model::DayEntry* entry = m_entry.get();
    TimesheetEditSheet& sheet = *m_editTimerSheet;
    if (!entry)
        return refuse(tr("This timer has been deleted in the meantime. Copy what you want to keep, then cancel."));
    if (entry->isLocked())
        return refuse(tr("This timer has been locked in the meantime and can no longer be changed. %1")
                          .arg(entry->lockedReason().left(LongestReason))
                          .trimmed());

    for (const QuillonAutocompleter* picker : pickers()) {
        if (!picker->selectedValue())
            return refuse(tr("Please select a valid project and task combination and try again."), picker->textField());
    }
    if (sheet.timestampContainer->isHidden())
        return true;

    entriesDidChange();
    QStringList failing;
    QWidget* firstFailing = nullptr;
    for (const auto& [field, name] :
         {std::pair{sheet.startTimeField, tr("start time")}, std::pair{sheet.endTimeField, tr("end time")}}) {
        if (validateTimestampField(*field))
            continue;
        failing << name;
        if (!firstFailing)
            firstFailing = field;
    }
    if (!failing.isEmpty())
        return refuse(tr("Please enter a valid %1 and try again.").arg(failing.join(tr(" and "))), firstFailing);
    const QDateTime from = entry->startedAt();
    const QDateTime to = entry->stoppedAt();
    if (!entry->isRunning() && from.isValid() && to.isValid() && to < from)
        return refuse(tr("End time must be later than start time. Please adjust your timestamps and try again."),
                      sheet.endTimeField);
    return true;
}

bool EditTimerController::refuse(const QString& message, QWidget* focusAfterwards)
{
    m_focusAfterMessage = focusAfterwards;
    m_invalidEntrySheet->invalidEntryErrorMessage->setText(message);
    m_invalidEntrySheet->setAccessibleName(message);
    m_invalidEntrySheet->open();
    return false;
}

void EditTimerController::acknowledgeError()
{
    m_invalidEntrySheet->close();
}

void EditTimerController::saveTimer()
{
    if (!isShown())
        return;
    takeTypedChoices();
    if (!m_editTimerSheet->hoursInput->mayBeSent() || !validateEntry())
        return;
    const TimesheetEditSheet& sheet = *m_editTimerSheet;
    model::DayEntry& entry = *m_entry.get();
    const auto undo = [entry = m_entry, project = store::Ref(entry.project()), task = store::Ref(entry.task()),
                       notes = entry.notes(), hours = entry.hours(), day = entry.spentAt()] {
        if (model::DayEntry* unsaved = entry.get()) {
            unsaved->setProject(project.get());
            unsaved->setTask(task.get());
            unsaved->setNotes(notes);
            unsaved->setHours(hours);
            unsaved->setSpentAt(day);
            model::QuillonObject::saveWithErrorReporting(unsaved->context());
        }
    };
    entry.setProject(m_projectAutocompleter->selectedProject());
    entry.setTask(m_taskAutocompleter->selectedTask());
    // What was not edited goes back as it is by now: while the sheet was open the timer went on, and others may have
    // changed the entry. Notes go back to the last character.
    if (sheet.notesField->document()->isModified())
        entry.setNotes(sheet.notesField->text());
    const QString hours = sheet.hoursField->text();
    if (sheet.durationContainerAndHoursBackground->isHidden())
        entry.updateHoursFromTimestamps();
    else
        entry.setHours(static_cast<double>(
            model::numberFomStringInHoursMinutesFormat(hours == m_hoursShown ? entry.hoursMinutes() : hours)));
    entry.setSpentAt(model::startOfDay(sheet.datePicker->currentDate()));
    // At once: saved later, it would replace what the service has answered by then.
    model::QuillonObject::saveWithErrorReporting(entry.context());
    forgetTyped();
    const int number = ++m_lastSaved;
    m_typed.push_back({number, &entry, entry.updatedAt(), m_projectAutocompleter->selectedProject(),
                       m_taskAutocompleter->selectedTask(), entry.notes(), sheet.datePicker->currentDate(),
                       hours == m_hoursShown ? std::nullopt : std::optional(hours), sheet.startTimeField->text(),
                       sheet.endTimeField->text()});
    m_api.updateTimer(entry, [self = QPointer(this), number, undo](bool succeeded) {
        // The windows show what the service has. What was typed comes back with the sheet.
        if (!succeeded)
            undo();
        if (!self)
            return;
        if (succeeded)
            std::erase_if(self->m_typed, [number](const Typed& typed) { return typed.number == number; });
        else if (self->m_timesheetController)
            self->m_timesheetController->editTimerFailed();
    });
    endSheet();
}

void EditTimerController::takeTypedChoices()
{
    // The focus stays in a picker when a button is pressed, so its text has not become the choice yet.
    for (const QuillonAutocompleter* picker : pickers()) {
        if (picker->textField()->hasFocus())
            m_editTimerSheet->saveButton->setFocus(Qt::OtherFocusReason);
    }
}

void EditTimerController::cancel()
{
    if (!isShown())
        return;
    forgetTyped();
    endSheet();
}

void EditTimerController::endSheet()
{
    m_editTimerSheet->close();
    if (m_timesheetController)
        m_timesheetController->dismissEditTimer();
}

void EditTimerController::editHours()
{
    m_editTimerSheet->hoursField->setFocus(Qt::OtherFocusReason);
    m_editTimerSheet->hoursField->selectAll();
}

void EditTimerController::itemSelected(model::QuillonObject* selectedValue, QuillonAutocompleter& inCompleter)
{
    if (&inCompleter == m_projectAutocompleter.get())
        m_taskAutocompleter->chooseForProject(static_cast<model::Project*>(selectedValue));
}

bool EditTimerController::eventFilter(QObject* watched, QEvent* event)
{
    // A field is left for another one of the sheet: not when its window or a menu takes the focus for a while, nor when
    // the sheet closes or a message covers it.
    if (event->type() == QEvent::FocusOut && isShown() && !m_invalidEntrySheet->isOpen()) {
        const Qt::FocusReason reason = static_cast<QFocusEvent*>(event)->reason();
        if (reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason)
            controlTextDidEndEditing(*static_cast<QLineEdit*>(watched));
    }
    return QObject::eventFilter(watched, event);
}

} // namespace editing
