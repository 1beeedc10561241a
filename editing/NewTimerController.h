#pragma once

#include "editing/ProjectQuillonAutocompleter.h"
#include "editing/TaskQuillonAutocompleter.h"

#include "platform/TimeSource.h"

#include <QObject>

#include <array>
#include <memory>
#include <optional>
#include <vector>

namespace service {
class QuillonApi;
}

namespace editing {

class NewTimerPanel;

/// Where "QuillonDurationBoxOpen" is kept: whether the duration box was open when the window was last closed.
inline constexpr QLatin1StringView QuillonDurationBoxOpenKey("QuillonDurationBoxOpen");

/// Runs the window in which a person starts a timer: project, task, notes and, where time is to be booked instead, a
/// duration. Made inside a run. Main thread only.
class NewTimerController final : public QObject, private QuillonAutocompleterDelegate
{
    Q_OBJECT
public:
    NewTimerController();
    ~NewTimerController() override;

    /// Shows the window for a timer on the most recent work. What a person is typing there stays, and so does what
    /// could not be started.
    void show();
    /// Closes the window.
    void hide();
    /// Null: there is none, so nothing can be chosen.
    void setEntry(model::DayEntry* entry);
    model::DayEntry* entry() const { return m_entry.get(); }
    /// Of the notes and both pickers.
    void setEnabled(bool enabled);
    void clearSelections();
    /// See QuillonAutocompleter.
    void catalogDidChange();

    // Actions.

    /// Sends what the window shows, unless that is already on its way. Once the timer has started the window closes; if
    /// that fails the window is back with what was typed.
    void save();
    void toggleDuration();

    bool durationBoxClosed() const;
    QString trimmedDuration() const;
    QString saveButtonTitle() const;
    bool hasValidSelections() const;

    NewTimerPanel& window() const { return *m_window; }
    ProjectQuillonAutocompleter& projectAutocompleter() { return m_projectAutocompleter; }
    TaskQuillonAutocompleter& taskAutocompleter() { return m_taskAutocompleter; }

private:
    enum class State
    {
        Idle,   ///< the fields hold the window's suggestion
        Typed,  ///< what a person put there
        Sent,   ///< that, or what it came up with, is on its way to the service
        Failed, ///< and was not started
    };
    /// What the fields request.
    struct Timer
    {
        store::Ref<model::Project> project;
        store::Ref<model::Task> task;
        QString notes;
        QString duration;
    };
    /// One on its way to the service.
    struct Start
    {
        int number;
        std::optional<Timer> left; ///< its content, once the fields have been reused for another one
    };

    void itemSelected(model::QuillonObject* selectedValue, QuillonAutocompleter& inCompleter) override;
    bool returnPressed(QuillonAutocompleter& inCompleter) override;

    std::array<QuillonAutocompleter*, 2> pickers() { return {&m_projectAutocompleter, &m_taskAutocompleter}; }
    void awakeFromNib();
    void setupCustomButtons();
    void controlTextDidChange();
    bool control(QWidget* field, TextCommand doCommandBySelector);
    void saveFromEnterIfPossible();
    bool send();
    void startDidEnd(int number, bool succeeded);
    std::vector<Start>::iterator startOfFields();
    Timer timerOfFields() const;
    void put(const Timer& timer);
    void setSaveButtonState();
    void offerProject(const QString& name);
    void openProjectPage();
    void takeNewProject();
    void showDurationBox(bool show);
    void focusDuration();
    void finishDuration();
    void centre();
    void orderOut();

    service::QuillonApi& m_api;
    std::unique_ptr<NewTimerPanel> m_window; ///< before the pickers in it
    ProjectQuillonAutocompleter m_projectAutocompleter;
    TaskQuillonAutocompleter m_taskAutocompleter;
    store::Ref<model::DayEntry> m_entry;
    State m_state = State::Idle; ///< of the fields
    std::vector<Start> m_starts;
    int m_lastStart = 0;
    std::unique_ptr<platform::TimeSource::Timer> m_newProjectPoll; ///< while its page may be open
    std::optional<Timer> m_notStarted;                             ///< waits until the fields are free for it
};

} // namespace editing
