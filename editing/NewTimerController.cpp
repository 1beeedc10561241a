#include "editing/NewTimerController.h"

#include "editing/HUDCheckBox.h"
#include "editing/NewTimerPanel.h"
#include "model/HoursMinutes.h"
#include "service/QuillonApi.h"
#include "settings/UserDefaults.h"
#include "skin/Fonts.h"
#include "skin/QuillonButtonCell.h"

#include <QCursor>
#include <QGuiApplication>
#include <QLabel>
#include <QScreen>

#include <utility>

namespace editing {

using namespace Qt::StringLiterals;

namespace {

constexpr int durationBoxHeight = 29;

} // namespace

NewTimerController::NewTimerController()
    : m_api(service::QuillonApi::sharedApi()), m_window(std::make_unique<NewTimerPanel>())
{
    awakeFromNib();
}

NewTimerController::~NewTimerController()
{
    m_projectAutocompleter.setDelegate(nullptr);
    m_taskAutocompleter.setDelegate(nullptr);
    if (m_window->isVisible())
        orderOut();
}

void NewTimerController::awakeFromNib()
{
    NewTimerPanel& window = *m_window;
    setupCustomButtons();
    m_projectAutocompleter.addToView(*window.contentView, {14, 157});
    m_taskAutocompleter.addToView(*window.contentView, {14, 123});
    for (QuillonAutocompleter* picker : {static_cast<QuillonAutocompleter*>(&m_projectAutocompleter),
                                         static_cast<QuillonAutocompleter*>(&m_taskAutocompleter)}) {
        picker->setDelegate(this);
        picker->setEntry(m_entry.get());
        picker->matchWidth(*window.notesText->parentWidget());
        connect(picker->textField(), &QLineEdit::textEdited, this, [this] { m_touched = true; });
    }

    m_projectAutocompleter.setNextKeyView(m_taskAutocompleter.textField());
    m_taskAutocompleter.setNextKeyView(window.notesText);
    QWidget* const order[] = {m_projectAutocompleter.textField(),
                              m_taskAutocompleter.textField(),
                              window.notesText,
                              window.saveButton,
                              window.cancelButton,
                              window.showDurationCheckButton,
                              window.durationTextField};
    for (auto field = std::begin(order); std::next(field) != std::end(order); ++field)
        QWidget::setTabOrder(*field, *std::next(field));
    m_projectAutocompleter.textField()->setFocus();

    for (QWidget* field : {static_cast<QWidget*>(window.notesText), static_cast<QWidget*>(window.durationTextField)})
        new TextCommands(*field, [this, field](TextCommand command) { return control(field, command); });
    connect(window.notesText, &QPlainTextEdit::textChanged, this, &NewTimerController::controlTextDidChange);
    connect(window.durationTextField, &QLineEdit::textChanged, this, &NewTimerController::controlTextDidChange);
    connect(window.saveButton, &QAbstractButton::clicked, this, [this] {
        // Who presses again while a slow service takes its time wants no second timer.
        if (!std::exchange(m_sent, true))
            save();
    });
    connect(window.cancelButton, &QAbstractButton::clicked, this, &NewTimerController::hide);
    connect(window.showDurationCheckButton, &QAbstractButton::clicked, this, &NewTimerController::toggleDuration);
    connect(&window, &NewTimerPanel::closeAsked, this, &NewTimerController::hide);

    if (settings::UserDefaults::standardUserDefaults().boolForKey(QuillonDurationBoxOpenKey) && durationBoxClosed())
        showDurationBox(true);
    m_touched = false;
}

void NewTimerController::setupCustomButtons()
{
    HUDCheckBox& button = *m_window->showDurationCheckButton;
    button.setFont(skin::interfaceFont(11));
    QPalette palette;
    palette.setColor(QPalette::WindowText, QColor::fromRgbF(0.6F, 0.6F, 0.6F));
    button.setPalette(palette);
    button.resize(button.sizeHint());
}

void NewTimerController::show()
{
    const bool wasVisible = m_window->isVisible();
    if (m_starting)
        m_touched = false;
    m_starting = false;
    m_sent = false;
    const bool goesOn = m_touched;
    setEntry(model::DayEntry::entryWithDefaults());
    if (!goesOn) {
        // What is left of another time would look like a choice.
        for (QuillonAutocompleter* picker : {static_cast<QuillonAutocompleter*>(&m_projectAutocompleter),
                                             static_cast<QuillonAutocompleter*>(&m_taskAutocompleter)}) {
            if (!picker->selectedValue())
                picker->clear();
            picker->setInvalid(false);
        }
        m_touched = false;
    }
    setSaveButtonState();
    if (!wasVisible)
        centre();
    m_window->show();
    if (!m_projectAutocompleter.selectedValue()) {
        m_projectAutocompleter.setInvalid(false);
        m_projectAutocompleter.setInitialDisplay(true);
    }
    if (!wasVisible || !goesOn) {
        m_projectAutocompleter.textField()->setFocus();
        m_projectAutocompleter.textField()->selectAll();
    }
    m_window->raise();
    m_window->activateWindow();
}

void NewTimerController::hide()
{
    m_touched = false;
    m_starting = false;
    m_sent = false;
    orderOut();
}

void NewTimerController::orderOut()
{
    m_window->hide();
    auto& defaults = settings::UserDefaults::standardUserDefaults();
    defaults.setBool(QuillonDurationBoxOpenKey, !durationBoxClosed());
    // When that fails it is written with the next change.
    static_cast<void>(defaults.synchronize());
}

void NewTimerController::setEntry(model::DayEntry* entry)
{
    m_entry = entry;
    m_projectAutocompleter.setEnabled(true);
    m_taskAutocompleter.setEnabled(true);
    if (m_touched) {
        m_projectAutocompleter.replaceEntry(entry);
        m_taskAutocompleter.replaceEntry(entry);
        return;
    }
    m_projectAutocompleter.setEntry(entry);
    m_taskAutocompleter.setEntry(entry);
    m_window->notesText->setText(entry ? entry->notes() : QString());
    m_window->durationTextField->setText(entry && entry->hours() ? entry->hoursMinutes() : QString());
    setSaveButtonState();
    m_touched = false;
    // Whoever is about to type replaces what stands there, also when it came after the window.
    for (QLineEdit* field : {m_projectAutocompleter.textField(), m_taskAutocompleter.textField()}) {
        if (field->hasFocus())
            field->selectAll();
    }
}

void NewTimerController::setEnabled(bool enabled)
{
    m_window->notesText->setEnabled(enabled);
    m_projectAutocompleter.setEnabled(enabled);
    m_taskAutocompleter.setEnabled(enabled);
    if (enabled && m_window->isVisible() && !m_window->focusWidget())
        m_projectAutocompleter.textField()->setFocus();
}

void NewTimerController::clearSelections()
{
    m_window->notesText->setText({});
    m_projectAutocompleter.clear();
    m_taskAutocompleter.clear();
    setSaveButtonState();
    m_touched = false;
}

void NewTimerController::catalogDidChange()
{
    const bool touched = m_touched;
    m_projectAutocompleter.catalogDidChange();
    m_taskAutocompleter.catalogDidChange();
    setSaveButtonState();
    m_touched = touched;
}

void NewTimerController::startDidSucceed()
{
    // A service that gives its reason for a failure lets the call of success follow.
    if (!std::exchange(m_startFailed, false))
        hide();
}

void NewTimerController::startDidFail()
{
    m_starting = false;
    m_sent = false;
    m_startFailed = true;
}

void NewTimerController::save()
{
    model::DayEntry* entry = m_entry.get() ? m_entry.get() : model::DayEntry::entryWithDefaults();
    if (!entry)
        return; // nobody is signed in any more
    entry->setProject(m_projectAutocompleter.selectedProject());
    entry->setTask(m_taskAutocompleter.selectedTask());
    entry->setNotes(m_window->notesText->text());
    if (m_window->showDurationCheckButton->isEnabled())
        entry->setHours(
            static_cast<double>(model::numberFomStringInHoursMinutesFormat(m_window->durationTextField->text())));
    m_startFailed = false;
    m_api.startNewTimer(*entry);
}

void NewTimerController::toggleDuration()
{
    // Who opens the box is about to type a duration, and who closes it goes on with the notes.
    const bool opens = durationBoxClosed();
    showDurationBox(opens);
    if (opens)
        focusDuration();
    else
        m_window->notesText->setFocus();
}

bool NewTimerController::durationBoxClosed() const
{
    return m_window->durationHint->isHidden();
}

QString NewTimerController::trimmedDuration() const
{
    return m_window->durationTextField->text().trimmed();
}

QString NewTimerController::saveButtonTitle() const
{
    return trimmedDuration().isEmpty() ? u"Start"_s : u"Save"_s;
}

bool NewTimerController::hasValidSelections() const
{
    return m_projectAutocompleter.selectedValue() && m_taskAutocompleter.selectedValue();
}

void NewTimerController::itemSelected(model::QuillonObject* /*selectedValue*/, QuillonAutocompleter& inCompleter)
{
    m_touched = true;
    m_sent = false;
    if (&inCompleter == &m_projectAutocompleter)
        m_taskAutocompleter.chooseForProject(m_projectAutocompleter.selectedProject());
    setSaveButtonState();
}

bool NewTimerController::returnPressed(QuillonAutocompleter& /*inCompleter*/)
{
    if (!m_window->showDurationCheckButton->isChecked())
        return false;
    focusDuration();
    return true;
}

void NewTimerController::controlTextDidChange()
{
    m_touched = true;
    m_sent = false;
    setSaveButtonState();
}

bool NewTimerController::control(QWidget* field, TextCommand doCommandBySelector)
{
    const bool inNotes = field == m_window->notesText;
    if (inNotes && doCommandBySelector == TextCommand::InsertLineBreak)
        m_window->notesText->insertLineBreak();
    else if (doCommandBySelector != TextCommand::InsertNewline && doCommandBySelector != TextCommand::InsertLineBreak)
        return false;
    else if (inNotes && m_window->showDurationCheckButton->isChecked())
        focusDuration();
    else
        saveFromEnterIfPossible();
    return true;
}

void NewTimerController::saveFromEnterIfPossible()
{
    if (!hasValidSelections())
        return;
    save();
    m_starting = true;
    orderOut();
}

void NewTimerController::setSaveButtonState()
{
    const QString duration = trimmedDuration();
    m_window->setDurationInvalid(!duration.isEmpty() && !(model::numberFomStringInHoursMinutesFormat(duration) > 0));
    m_window->saveButton->setText(saveButtonTitle());
    m_window->saveButton->setEnabled(hasValidSelections());
}

void NewTimerController::showDurationBox(bool show)
{
    m_window->durationHint->setVisible(show);
    m_window->durationContainer->setVisible(show);
    m_window->growBy(show ? durationBoxHeight : 0);
    if (show)
        m_window->showDurationCheckButton->setChecked(true);
}

void NewTimerController::focusDuration()
{
    m_window->durationTextField->setFocus(Qt::TabFocusReason);
}

void NewTimerController::centre()
{
    const QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen)
        screen = m_window->screen();
    const QRect area = screen->availableGeometry();
    m_window->move(area.topLeft() +
                   QPoint((area.width() - m_window->width()) / 2, (area.height() - m_window->height()) / 2));
}

} // namespace editing
