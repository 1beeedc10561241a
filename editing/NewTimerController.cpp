#include "editing/NewTimerController.h"

#include "editing/HUDCheckBox.h"
#include "editing/HintLabel.h"
#include "editing/HoursInput.h"
#include "editing/NewTimerPanel.h"
#include "model/HoursMinutes.h"
#include "platform/Desktop.h"
#include "platform/Run.h"
#include "platform/SystemEnvironment.h"
#include "service/QuillonApi.h"
#include "settings/QuillonPreferences.h"
#include "settings/UserDefaults.h"
#include "skin/Colors.h"
#include "skin/Fonts.h"
#include "skin/LinkButton.h"
#include "skin/QuillonButtonCell.h"

#include <QCursor>
#include <QGuiApplication>
#include <QPointer>
#include <QScreen>

#include <algorithm>
#include <utility>

namespace editing {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int DurationBoxHeight = 29;
constexpr int NewProjectNameWidth = 180;
constexpr auto NewProjectPoll = 1500ms;
constexpr int MostNewProjectPolls = 200;

} // namespace

NewTimerController::NewTimerController()
    : m_api(service::QuillonApi::sharedApi()), m_window(std::make_unique<NewTimerPanel>())
{
    awakeFromNib();
}

NewTimerController::~NewTimerController()
{
    for (QuillonAutocompleter* picker : pickers())
        picker->setDelegate(nullptr);
    if (m_window->isVisible())
        orderOut();
}

void NewTimerController::awakeFromNib()
{
    NewTimerPanel& window = *m_window;
    setupCustomButtons();
    m_projectAutocompleter.addToView(*window.contentView, {14, 38});
    m_taskAutocompleter.addToView(*window.contentView, {14, 72});
    for (QuillonAutocompleter* picker : pickers()) {
        picker->setDelegate(this);
        picker->setEntry(m_entry.get());
        picker->matchWidth(*window.notesText->parentWidget());
        connect(picker->textField(), &QLineEdit::textEdited, this, [this] { m_state = State::Typed; });
    }

    m_projectAutocompleter.setNextKeyView(m_taskAutocompleter.textField());
    m_taskAutocompleter.setNextKeyView(window.notesText);
    setTabOrder({m_projectAutocompleter.textField(), m_taskAutocompleter.textField(), window.notesText,
                 window.saveButton, window.cancelButton, window.showDurationCheckButton, window.durationTextField,
                 window.newProjectLink});
    m_projectAutocompleter.textField()->setFocus();

    for (QWidget* field : {static_cast<QWidget*>(window.notesText), static_cast<QWidget*>(window.durationTextField)})
        new TextCommands(*field, [this, field](TextCommand command) { return control(field, command); });
    connect(window.notesText, &QPlainTextEdit::textChanged, this, &NewTimerController::controlTextDidChange);
    connect(window.durationTextField, &QLineEdit::textChanged, this, &NewTimerController::controlTextDidChange);
    connect(window.durationTextField, &QLineEdit::editingFinished, this, &NewTimerController::finishDuration);
    connect(window.saveButton, &QAbstractButton::clicked, this, &NewTimerController::save);
    connect(window.cancelButton, &QAbstractButton::clicked, this, &NewTimerController::hide);
    m_projectAutocompleter.setOwnerOffersNewOne();
    connect(&m_projectAutocompleter, &QuillonAutocompleter::unknownNameChanged, this,
            &NewTimerController::offerProject);
    connect(window.newProjectLink, &QAbstractButton::clicked, this, &NewTimerController::openProjectPage);
    connect(&window, &NewTimerPanel::closeAsked, this, &NewTimerController::hide);
    connect(&window, &NewTimerPanel::unblocked, this, [this] {
        // Back to what could not be started: the desktop has another window as the previously active one.
        if (m_state == State::Failed && m_window->isVisible())
            m_window->activateWindow();
    });

    if (settings::UserDefaults::standardUserDefaults().boolForKey(QuillonDurationBoxOpenKey) && durationBoxClosed())
        showDurationBox(true);
    // However it is toggled: assistive technology does not click.
    connect(window.showDurationCheckButton, &QAbstractButton::toggled, this, [this](bool on) {
        // Opening the box is followed by typing a duration, closing it by going on with the notes.
        showDurationBox(on);
        on ? focusDuration() : m_window->notesText->setFocus();
    });
    connect(window.showDurationCheckButton, &HUDCheckBox::askedAgain, this, &NewTimerController::focusDuration);
    m_state = State::Idle;
}

void NewTimerController::setupCustomButtons()
{
    HUDCheckBox& button = *m_window->showDurationCheckButton;
    button.setFont(skin::interfaceFont(11));
    skin::dressed(button, [&button] {
        QPalette palette;
        palette.setColor(QPalette::WindowText, skin::color(skin::Role::HudCheckTitle));
        button.setPalette(palette);
    });
}

void NewTimerController::show()
{
    const bool wasVisible = m_window->isVisible();
    if (const auto start = startOfFields(); start != m_starts.end() && !wasVisible) {
        // Sent by Return, which is done with it; the next timer begins.
        start->left = timerOfFields();
        m_state = State::Idle;
    }
    const bool goesOn = m_state != State::Idle;
    setEntry(model::DayEntry::entryWithDefaults());
    if (!goesOn) {
        // A leftover from earlier would look like a choice.
        for (QuillonAutocompleter* picker : pickers()) {
            if (!picker->selectedValue())
                picker->clear();
            picker->setInvalid(false);
        }
        m_state = State::Idle;
        if (const auto notStarted = std::exchange(m_notStarted, {}))
            put(*notStarted);
    }
    setSaveButtonState();
    if (!wasVisible)
        centre();
    platform::environment().desktop().bringForward(*m_window);
    if (!m_projectAutocompleter.selectedValue()) {
        m_projectAutocompleter.setInvalid(false);
        m_projectAutocompleter.setInitialDisplay(true);
    }
    if (!goesOn) {
        m_projectAutocompleter.textField()->setFocus();
        m_projectAutocompleter.textField()->selectAll();
    }
}

void NewTimerController::hide()
{
    m_state = State::Idle;
    if (const auto start = startOfFields(); start != m_starts.end())
        m_starts.erase(start); // however it ends: cancelled is cancelled
    orderOut();
}

void NewTimerController::orderOut()
{
    m_newProjectPoll.reset();
    m_window->hide();
    auto& defaults = settings::UserDefaults::standardUserDefaults();
    defaults.setBool(QuillonDurationBoxOpenKey, !durationBoxClosed());
    // When that fails it is written with the next change.
    static_cast<void>(defaults.synchronize());
}

void NewTimerController::setEntry(model::DayEntry* entry)
{
    m_entry = entry;
    const bool idle = m_state == State::Idle;
    for (QuillonAutocompleter* picker : pickers()) {
        picker->setEnabled(true);
        idle ? picker->setEntry(entry) : picker->replaceEntry(entry);
    }
    if (!idle)
        return;
    m_window->notesText->setText(entry ? entry->notes() : QString());
    m_window->durationInput->setText(entry && entry->hours() ? entry->hoursMinutes() : QString());
    setSaveButtonState();
    m_state = State::Idle;
    // Typing replaces the existing text, also when that arrived after the window.
    for (const QuillonAutocompleter* picker : pickers()) {
        if (picker->textField()->hasFocus())
            picker->textField()->selectAll();
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
    // Requests on their way belong to another account.
    m_starts.clear();
    m_notStarted.reset();
    m_newProjectPoll.reset();
    m_state = State::Idle;
}

void NewTimerController::catalogDidChange()
{
    const State state = m_state;
    m_projectAutocompleter.catalogDidChange();
    m_taskAutocompleter.catalogDidChange();
    setSaveButtonState();
    m_state = state;
    if (m_newProjectPoll)
        takeNewProject();
}

void NewTimerController::offerProject(const QString& name)
{
    if (name.isEmpty()) {
        m_window->offerNewProject({});
        return;
    }
    settings::QuillonPreferences& preferences = settings::QuillonPreferences::sharedPreferences();
    QUrl page(preferences.fullUrl() + u"/projects"_s);
    if (preferences.timeIsKeptHere()) {
        page.setPath(u"/projects/new"_s);
        page.setQuery("name="_L1 + QString::fromLatin1(QUrl::toPercentEncoding(name)));
    }
    m_window->newProjectLink->setLink(page);
    const QString shown =
        m_window->newProjectLink->fontMetrics().elidedText(name, Qt::ElideMiddle, NewProjectNameWidth);
    m_window->offerNewProject(preferences.timeIsKeptHere() ? tr("New project “%1”…").arg(shown)
                                                           : tr("Manage Projects"));
}

void NewTimerController::openProjectPage()
{
    // The link has opened it. Whoever comes back from there finds what was made.
    m_newProjectPoll =
        platform::environment().time().repeat(NewProjectPoll, [this, left = MostNewProjectPolls]() mutable {
            if (left-- > 0)
                m_api.requestCompanyCacheVersion();
            else
                m_newProjectPoll.reset();
        });
}

void NewTimerController::takeNewProject()
{
    if (m_projectAutocompleter.selectedValue())
        return;
    model::QuillonObject* made = m_projectAutocompleter.findSelectionFromCurrentText(m_projectAutocompleter.text());
    if (!made)
        return;
    m_newProjectPoll.reset();
    m_projectAutocompleter.setSelectedValue(made);
}

void NewTimerController::save()
{
    send();
}

bool NewTimerController::send()
{
    // A second press while a slow service takes its time must not start a second timer.
    if (startOfFields() != m_starts.end() || !m_window->durationInput->mayBeSent())
        return false;
    model::DayEntry* entry = m_entry.get() ? m_entry.get() : model::DayEntry::entryWithDefaults();
    if (!entry)
        return false; // signed out since
    entry->setProject(m_projectAutocompleter.selectedProject());
    entry->setTask(m_taskAutocompleter.selectedTask());
    entry->setNotes(m_window->notesText->text());
    if (m_window->showDurationCheckButton->isEnabled())
        entry->setHours(
            static_cast<double>(model::numberFomStringInHoursMinutesFormat(m_window->durationTextField->text())));
    const int number = ++m_lastStart;
    m_starts.push_back({number, {}});
    m_state = State::Sent;
    m_api.startNewTimer(*entry, [self = QPointer(this), number](bool succeeded) {
        if (self)
            self->startDidEnd(number, succeeded);
    });
    return true;
}

void NewTimerController::startDidEnd(int number, bool succeeded)
{
    const auto start = std::ranges::find(m_starts, number, &Start::number);
    if (start == m_starts.end())
        return;
    const std::optional<Timer> left = std::move(start->left);
    m_starts.erase(start);
    if (left) {
        if (succeeded || !left->project)
            return;
        m_notStarted = left;
        if (m_state == State::Idle)
            show();
    } else if (m_state == State::Sent || !m_window->isVisible()) { // otherwise they have been edited since, and stay
        if (succeeded) {
            hide();
            return;
        }
        m_state = State::Failed;
        if (!m_window->isVisible())
            show();
    }
}

std::vector<NewTimerController::Start>::iterator NewTimerController::startOfFields()
{
    return std::ranges::find_if(m_starts, [](const Start& start) { return !start.left; });
}

NewTimerController::Timer NewTimerController::timerOfFields() const
{
    return {m_projectAutocompleter.selectedProject(), m_taskAutocompleter.selectedTask(), m_window->notesText->text(),
            m_window->durationTextField->text()};
}

void NewTimerController::put(const Timer& timer)
{
    m_projectAutocompleter.setSelectedValue(timer.project.get());
    if (model::Task* task = timer.task.get())
        m_taskAutocompleter.setSelectedValue(task);
    m_window->notesText->setText(timer.notes);
    m_window->durationInput->setText(timer.duration);
    m_state = State::Failed;
}

void NewTimerController::toggleDuration()
{
    m_window->showDurationCheckButton->toggle();
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
    return trimmedDuration().isEmpty() ? tr("Start") : tr("Save");
}

bool NewTimerController::hasValidSelections() const
{
    return m_projectAutocompleter.selectedValue() && m_taskAutocompleter.selectedValue();
}

void NewTimerController::itemSelected(model::QuillonObject* /*selectedValue*/, QuillonAutocompleter& inCompleter)
{
    m_state = State::Typed;
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
    m_state = State::Typed;
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
    if (hasValidSelections() && send())
        orderOut();
}

void NewTimerController::setSaveButtonState()
{
    // It counts all the same: nothing is booked that cannot be seen.
    m_window->setHiddenDuration(durationBoxClosed() ? trimmedDuration() : QString());
    m_window->saveButton->setText(saveButtonTitle());
    m_window->saveButton->setEnabled(hasValidSelections());
}

void NewTimerController::showDurationBox(bool show)
{
    m_window->durationHint->setVisible(show);
    m_window->durationContainer->setVisible(show);
    m_window->growBy(show ? DurationBoxHeight : 0);
    m_window->showDurationCheckButton->setChecked(show);
    if (!show) {
        finishDuration();
        m_window->durationInput->forgetRefusal();
    }
    setSaveButtonState();
}

void NewTimerController::focusDuration()
{
    m_window->durationTextField->setFocus(Qt::TabFocusReason);
}

void NewTimerController::finishDuration()
{
    const State state = m_state;
    m_window->durationInput->endEditing();
    m_state = state; // shown otherwise is not typed otherwise
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
