#pragma once

#include "editing/ProjectQuillonAutocompleter.h"
#include "editing/TaskQuillonAutocompleter.h"

#include <QObject>

#include <memory>

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

    /// Brings the window up for a timer on what was worked on last. What a person is typing there already stays, and so
    /// does what could not be started.
    void show();
    /// Closes the window.
    void hide();
    /// Null: none, nothing can be chosen.
    void setEntry(model::DayEntry* entry);
    model::DayEntry* entry() const { return m_entry.get(); }
    /// Of the notes and both pickers.
    void setEnabled(bool enabled);
    void clearSelections();
    /// See QuillonAutocompleter.
    void catalogDidChange();
    // How the last `save` ended. After a success the window closes; after a failure nothing that was typed is lost.
    void startDidSucceed();
    void startDidFail();

    // Actions.
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
    void itemSelected(model::QuillonObject* selectedValue, QuillonAutocompleter& inCompleter) override;
    bool returnPressed(QuillonAutocompleter& inCompleter) override;

    void awakeFromNib();
    void setupCustomButtons();
    void controlTextDidChange();
    bool control(QWidget* field, TextCommand doCommandBySelector);
    void saveFromEnterIfPossible();
    void setSaveButtonState();
    void showDurationBox(bool show);
    void focusDuration();
    void centre();
    void orderOut();

    service::QuillonApi& m_api;
    std::unique_ptr<NewTimerPanel> m_window; ///< before the pickers in it
    ProjectQuillonAutocompleter m_projectAutocompleter;
    TaskQuillonAutocompleter m_taskAutocompleter;
    store::Ref<model::DayEntry> m_entry;
    bool m_touched = false;  ///< the fields hold what a person put there
    bool m_starting = false; ///< and it is on its way to the service, and the window out of the way
    bool m_sent = false;     ///< by the button, with nothing changed since
    bool m_startFailed = false;
};

} // namespace editing
