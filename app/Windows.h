#pragma once

#include <QDate>

#include <functional>
#include <memory>
#include <optional>

namespace model {
class Company;
class DayEntry;
} // namespace model

namespace skin {
struct Hint;
}

namespace app {

class WrenfoldMenulet;

/// A window that is only ever shown: about, preferences.
class Window
{
public:
    virtual ~Window() = default;
    /// Shows the window and brings it to the front.
    virtual void show() = 0;
};

/// The list of a day's entries, as far as the controller speaks to it.
class TimesheetWindow : public Window
{
public:
    /// Hides the window when it is visible, shows it otherwise.
    virtual void toggle() = 0;
    /// Null while there is none. The window keeps no plain pointer.
    virtual void setCompany(model::Company* company) = 0;
    virtual void setOffline(bool offline) = 0;
    /// The day that is shown. Invalid: none yet.
    virtual QDate currentDate() const = 0;
    virtual void reloadEntries() = 0;
    /// What is offered for choosing has changed.
    virtual void catalogDidChange() = 0;
    virtual void updateKeyEquivalents() = 0;
    /// Says it at the top of the window; empty: no longer.
    virtual void setHint(const std::optional<skin::Hint>& hint) = 0;
};

/// The window that starts a timer, as far as the controller speaks to it. How its own starts end it hears by itself.
class NewTimerWindow : public Window
{
public:
    /// Null: none. The window keeps no plain pointer.
    virtual void setEntry(model::DayEntry* entry) = 0;
    virtual void setEnabled(bool enabled) = 0;
    virtual void clearSelections() = 0;
    /// What there is to choose from was changed, or some of it deleted.
    virtual void catalogDidChange() = 0;
};

/// Makes each window on first use. Without a maker there is no such window: what would show it does nothing.
struct WindowMakers
{
    template <class Made>
    using Maker = std::function<std::unique_ptr<Made>(WrenfoldMenulet& owner)>;

    Maker<Window> about;
    Maker<Window> preferences;
    Maker<TimesheetWindow> timesheet;
    Maker<NewTimerWindow> newTimer;
};

} // namespace app
